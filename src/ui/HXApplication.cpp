#include "HXApplication.h"

#include "HXCompletionManager.h"
#include "HXDocumentWindow.h"
#include "HXFileStamp.h"
#include "HXRequestEvaluationContext.h"
#include "HXResponseManager.h"
#include "HXUIPreferencesManager.h"
#include "HXUserDefaults.h"
#include "HXWindowManager.h"
#include "HXWindowPresenter.h"

#include <QBuffer>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QIcon>
#include <QImageReader>
#include <QThread>

namespace {
void prepareWindowResources()
{
    // The font database: reading the font configuration is the longest step
    // of the first window's set-up. The window's first text waits for it
    // (the database is shared between threads and locked while it loads).
    QFontDatabase::families();
    // The fallback fonts of the interface font, kept in the database too.
    QFontMetricsF(QFont()).height();
    // The image plugins, loaded and asked in turn the first time an image is
    // read whose format is not known from its name (the toolbar's own
    // icons): the signature of a PNG file is enough for that.
    QByteArray signature("\x89PNG\r\n\x1a\n");
    QBuffer read(&signature);
    read.open(QIODevice::ReadOnly);
    QImageReader(&read).format();
    // The digest that notices a document changed on disk sets up the
    // crypto library on its first use, when the document is opened.
    HXFileStamp::digestOf(QByteArrayView());
}
} // namespace

HXApplication::HXApplication(int &argc, char **argv, bool prepareWindows)
    : QApplication(argc, argv), m_presenter(std::make_unique<HXWindowPresenter>())
{
    if (prepareWindows) {
        m_preparation.reset(QThread::create(prepareWindowResources));
        m_preparation->start();
    }
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
    if (m_preparation)
        m_preparation->wait();
    HXPresenter::setSharedPresenter(nullptr);
}

void HXApplication::openInitialWindows(const QStringList &paths)
{
    for (const QString &path : paths)
        HXWindowManager::openFile(path);
    if (HXWindowManager::windows().isEmpty())
        HXWindowManager::newDocument();
}
