#include "HXApplicationInstance.h"
#include "HXDocument.h"
#include "HXDocumentController.h"
#include "HXManagedObjectContext.h"
#include "HXTestSupport.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <future>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(ApplicationInstance, DocumentArgumentsSkipToolkitOptions)
{
    const QStringList found = HXApplicationInstance::documentArguments(
        {u"-platform"_s, u"offscreen"_s, u"a.kea"_s, u"--style=fusion"_s, u"-reverse"_s, u"kea://new.document/"_s,
         u"--style"_s, u"fusion"_s, u"/tmp/b.kea"_s, QString()});
    EXPECT_EQ(found,
              QStringList({QDir::current().absoluteFilePath(u"a.kea"_s), u"kea://new.document/"_s, u"/tmp/b.kea"_s}));
}

// One process plays both parts: the hand-off runs on another thread while
// this one serves.
TEST(ApplicationInstance, OneInstanceTakesTheArgumentsOfTheNext)
{
    // A socket file left by an instance that ended abnormally is taken over.
    QFile stale(HXApplicationInstance::serverName());
    ASSERT_TRUE(stale.open(QIODevice::WriteOnly));
    stale.close();

    HXApplicationInstance first;
    ASSERT_TRUE(first.listen());
    HXApplicationInstance second;
    EXPECT_FALSE(second.listen());

    QTemporaryDir folder;
    const QString path = folder.filePath(u"handed.kea"_s);
    {
        HXDocument document;
        ASSERT_TRUE(document.saveAs(path));
    }
    QStringList opened;
    first.setFileOpener([&opened](const QString &file) {
        opened.append(file);
        return nullptr;
    });
    QSignalSpy received(&first, &HXApplicationInstance::argumentsReceived);
    const QStringList arguments = {path, u"kea://other.document/"_s};
    auto delivered =
        std::async(std::launch::async, [&arguments] { return HXApplicationInstance::handOff(arguments, 5000); });
    ASSERT_TRUE(HXTest::waitUntil(
        [&] { return delivered.wait_for(std::chrono::milliseconds(0)) == std::future_status::ready; }));
    EXPECT_TRUE(delivered.get());
    ASSERT_EQ(received.size(), 1);
    EXPECT_EQ(received.first().first().toStringList(), arguments);
    EXPECT_EQ(opened, QStringList({path}));
}

TEST(ApplicationInstance, HelpAndVersionNeedNoDisplay)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(u"DISPLAY"_s);
    environment.remove(u"WAYLAND_DISPLAY"_s);
    environment.remove(u"QT_QPA_PLATFORM"_s);
    struct Case
    {
        QString option;
        QByteArray expected;
    };
    for (const Case &c : {Case{u"--help"_s, "Usage: kea "}, Case{u"-h"_s, "Usage: kea "},
                          Case{u"--version"_s, "kea " KEA_VERSION_STRING "\n"}}) {
        QProcess kea;
        kea.setProcessEnvironment(environment);
        kea.start(QStringLiteral(KEA_APP_PATH), {c.option});
        ASSERT_TRUE(kea.waitForFinished(10000));
        EXPECT_EQ(kea.exitCode(), 0) << qPrintable(c.option);
        EXPECT_TRUE(kea.readAllStandardOutput().startsWith(c.expected)) << qPrintable(c.option);
    }
}

} // namespace
