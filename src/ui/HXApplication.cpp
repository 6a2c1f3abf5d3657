#include "HXApplication.h"

#include "HXCompletionManager.h"
#include "HXDocumentWindow.h"
#include "HXRequestEvaluationContext.h"
#include "HXResponseManager.h"
#include "HXUIPreferencesManager.h"
#include "HXUserDefaults.h"
#include "HXWindowManager.h"
#include "HXWindowPresenter.h"

#include <QIcon>

HXApplication::HXApplication(int &argc, char **argv)
    : QApplication(argc, argv), m_presenter(std::make_unique<HXWindowPresenter>())
{
    setOrganizationName(QStringLiteral("kestrelworks"));
    setApplicationName(QStringLiteral("Kea"));
    setApplicationVersion(QStringLiteral(KEA_VERSION_STRING));
    setApplicationDisplayName(QStringLiteral("Kea"));
    setDesktopFileName(QStringLiteral("com.kestrelworks.Kea"));
    setWindowIcon(QIcon(QStringLiteral(":/icons/kea.svg")));
    setQuitOnLastWindowClosed(true);
    HXUserDefaults::registerApplicationDefaults();
    HXRequestEvaluationContext::installDefaultContextFactory();
    HXPresenter::setSharedPresenter(m_presenter.get());
    // The response store also answers every request's last response.
    HXResponseManager::sharedManager();
    HXCompletionManager::sharedCompletionManager(); // requests learn the headers they send
    connect(this, &QApplication::aboutToQuit, this, [] {
        HXResponseManager::sharedManager()->saveUpdates();
        HXCompletionManager::sharedCompletionManager()->saveUpdates();
        HXUIPreferencesManager::sharedManager()->saveUpdates();
    });
}

HXApplication::~HXApplication()
{
    HXPresenter::setSharedPresenter(nullptr);
}

void HXApplication::openInitialWindows(const QStringList &paths)
{
    for (const QString &path : paths)
        HXWindowManager::openFile(path);
    if (HXWindowManager::windows().isEmpty())
        HXWindowManager::newDocument();
}
