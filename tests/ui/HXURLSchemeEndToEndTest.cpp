#include "HXApplicationInstance.h"
#include "HXTestHTTPServer.h"
#include "HXTestSupport.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Two real kea processes: the first one runs, the second hands it a kea://
// URL that makes a new document holding a POST request and sends it.
TEST(URLSchemeEndToEnd, ASecondKeaHandsAURLToTheRunningOne)
{
    HXTestHTTPServer server;
    ASSERT_TRUE(server.listen());
    server.setDefaultScript(HXTestHTTPScript::respond("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"));

    QTemporaryDir home;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *folder : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR"})
        environment.insert(QString::fromLatin1(folder), home.path());
    if (!environment.contains(u"DISPLAY"_s))
        environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);

    QProcess first;
    first.setProcessEnvironment(environment);
    first.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    first.start(QStringLiteral(KEA_APP_PATH), {});
    ASSERT_TRUE(first.waitForStarted(10000));
    const QString socket = home.filePath(u"kea-instance"_s);
    ASSERT_TRUE(HXTest::waitUntil([&] { return QFileInfo::exists(socket); }, 20000));

    QProcess second;
    second.setProcessEnvironment(environment);
    const QString url =
        u"kea://new.document/requests/new?url=%1&method=post&body=hi&send=1"_s.arg(server.url(u"/echo"_s).toString());
    QElapsedTimer timer;
    timer.start();
    second.start(QStringLiteral(KEA_APP_PATH), {url});
    ASSERT_TRUE(second.waitForFinished(10000));
    const qint64 elapsed = timer.elapsed();
    EXPECT_EQ(second.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(second.exitCode(), 0) << second.readAllStandardError().constData();
#ifdef __SANITIZE_ADDRESS__
    constexpr qint64 handOffLimit = 3000; // the instrumented build starts several times slower
#else
    constexpr qint64 handOffLimit = 1000;
#endif
    EXPECT_LT(elapsed, handOffLimit);

    ASSERT_TRUE(server.waitForRequests(1, 10000));
    const QByteArray request = server.receivedRequests().first();
    EXPECT_TRUE(request.startsWith("POST /echo HTTP/1.1\r\n")) << request.constData();
    EXPECT_TRUE(request.endsWith("\r\n\r\nhi")) << request.constData();

    first.terminate();
    if (!first.waitForFinished(5000))
        first.kill();
}

} // namespace
