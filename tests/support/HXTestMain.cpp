// The main() of every Kea test executable: an application object on the
// main thread, settings kept in memory with the application's registered
// defaults, and the standard folders redirected to a temporary place so no
// test touches the user's files.

#include "HXRequestEvaluationContext.h"
#include "HXUserDefaults.h"

#include <QCoreApplication>
#include <QDir>
#include <QStandardPaths>
#include <QTemporaryDir>
#ifdef KEA_TEST_GUI
#include <QApplication>
#endif

#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    QTemporaryDir home;
    qputenv("XDG_DATA_HOME", QFile::encodeName(home.filePath(QStringLiteral("data"))));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.filePath(QStringLiteral("config"))));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(home.filePath(QStringLiteral("cache"))));
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(home.path()));
#ifdef KEA_TEST_GUI
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
#else
    QCoreApplication app(argc, argv);
#endif
    QCoreApplication::setOrganizationName(QStringLiteral("kestrelworks"));
    QCoreApplication::setApplicationName(QStringLiteral("Kea"));
    HXUserDefaults::standardUserDefaults().useSettingsFile(QString());
    HXUserDefaults::registerApplicationDefaults();
    HXRequestEvaluationContext::installDefaultContextFactory();

    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
