#include "HXApplicationInstance.h"

#include "HXDocument.h"
#include "HXDocumentController.h"
#include "HXPresenter.h"
#include "HXURLEventHandler.h"

#include <QCborArray>
#include <QCborValue>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLocalSocket>
#include <QLoggingCategory>
#include <QPointer>
#include <QTimer>
#include <QtEndian>

#include <cstdio>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcKeaInstance, "kea.ui.instance")

namespace {

constexpr qint64 kMaximumMessageSize = 1 << 20;
constexpr char kAcknowledgement = '\x01';
constexpr int kConnectionTimeoutMs = 5000;

// Toolkit options that take a value in the next argument.
const QStringList optionsWithValue = {
    QStringLiteral("platform"),        QStringLiteral("platformpluginpath"),
    QStringLiteral("platformtheme"),   QStringLiteral("plugin"),
    QStringLiteral("qmljsdebugger"),   QStringLiteral("style"),
    QStringLiteral("stylesheet"),      QStringLiteral("session"),
    QStringLiteral("display"),         QStringLiteral("geometry"),
    QStringLiteral("title"),           QStringLiteral("name"),
    QStringLiteral("qwindowgeometry"), QStringLiteral("qwindowicon"),
    QStringLiteral("qwindowtitle"),
};

QByteArray frame(const QStringList &arguments)
{
    const QByteArray payload = QCborValue(QCborArray::fromStringList(arguments)).toCbor();
    QByteArray message(4, '\0');
    qToBigEndian<quint32>(quint32(payload.size()), message.data());
    return message + payload;
}

void print(FILE *stream, const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}

} // namespace

HXApplicationInstance::HXApplicationInstance(QObject *parent) : QObject(parent)
{
    m_fileOpener = [this](const QString &path) { return _openFileWithoutWindow(path); };
    m_untitledDocumentMaker = [this] { return _makeUntitledDocumentWithoutWindow(); };
    connect(&m_server, &QLocalServer::newConnection, this, &HXApplicationInstance::_acceptConnection);
}

HXApplicationInstance::~HXApplicationInstance() = default;

QString HXApplicationInstance::helpText()
{
    return QStringLiteral(
        "Usage: kea [OPTION...] [FILE|URL...]\n"
        "Design, send and inspect HTTP requests.\n"
        "\n"
        "Each FILE is a Kea document to open. Each URL of the kea: scheme acts on a\n"
        "document: its host chooses the document and its path the action.\n"
        "  kea://new.document/requests/new?QUERY\n"
        "      a new document holding one request described by QUERY\n"
        "  kea://current.document/requests/new?QUERY\n"
        "      the request is added to the frontmost document\n"
        "  kea://current.document/requests/current/send\n"
        "      sends the selected requests of the frontmost document\n"
        "QUERY takes the keys url, method, name, headers (itself a query string),\n"
        "body, bodyType (form or multipart build a form body) and send (send the\n"
        "new request at once).\n"
        "\n"
        "When Kea is already running, the files and URLs are handed to it and this\n"
        "command ends.\n"
        "\n"
        "Options:\n"
        "  -h, --help       show this help and exit\n"
        "  --version        show the version and exit\n"
        "\n"
        "Example:\n"
        "  kea 'kea://new.document/requests/new?url=http://127.0.0.1:8765/&method=POST&body=hi&send=1'\n");
}

QString HXApplicationInstance::versionText()
{
    return QStringLiteral("kea %1\n").arg(QStringLiteral(KEA_VERSION_STRING));
}

QString HXApplicationInstance::serverName()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty() && QFileInfo(runtime).isDir())
        return QDir(runtime).absoluteFilePath(QStringLiteral("kea-instance"));
    return QDir(QDir::tempPath()).absoluteFilePath(QStringLiteral("kea-instance-%1").arg(::getuid()));
}

QStringList HXApplicationInstance::documentArguments(const QStringList &arguments)
{
    QStringList documents;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (argument.startsWith(u'-')) {
            QString option = argument.mid(argument.startsWith(QStringLiteral("--")) ? 2 : 1);
            if (!option.contains(u'=') && optionsWithValue.contains(option))
                ++i;
            continue;
        }
        if (HXURLEventHandler::isSchemeURL(argument))
            documents.append(argument);
        else if (!argument.isEmpty())
            documents.append(QFileInfo(argument).absoluteFilePath());
    }
    return documents;
}

std::optional<int> HXApplicationInstance::runBeforeApplication(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    if (arguments.contains(QStringLiteral("--help")) || arguments.contains(QStringLiteral("-h"))) {
        print(stdout, helpText());
        return 0;
    }
    if (arguments.contains(QStringLiteral("--version"))) {
        print(stdout, versionText());
        return 0;
    }
    QLocalSocket socket;
    socket.connectToServer(serverName());
    if (!socket.waitForConnected(1000))
        return std::nullopt;
    if (deliver(socket, documentArguments(arguments), kConnectionTimeoutMs))
        return 0;
    print(stderr, QStringLiteral("kea: the running Kea did not take the files and URLs; try again\n"));
    return 1;
}

bool HXApplicationInstance::handOff(const QStringList &arguments, int timeoutMs)
{
    QLocalSocket socket;
    socket.connectToServer(serverName());
    return socket.waitForConnected(timeoutMs) && deliver(socket, arguments, timeoutMs);
}

bool HXApplicationInstance::deliver(QLocalSocket &socket, const QStringList &arguments, int timeoutMs)
{
    socket.write(frame(arguments));
    if (!socket.waitForBytesWritten(timeoutMs))
        return false;
    while (socket.bytesAvailable() < 1) {
        if (!socket.waitForReadyRead(timeoutMs))
            return false;
    }
    char answer = 0;
    return socket.getChar(&answer) && answer == kAcknowledgement;
}

bool HXApplicationInstance::listen()
{
    const QString name = serverName();
    // Listening would take the name over from an instance that answers on
    // it; a socket file that nobody answers on was left by one that ended
    // abnormally and is replaced.
    QLocalSocket probe;
    probe.connectToServer(name);
    if (probe.waitForConnected(500))
        return false;
    QLocalServer::removeServer(name);
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    if (m_server.listen(name))
        return true;
    qCWarning(lcKeaInstance).noquote()
        << QStringLiteral("Cannot listen for other Kea processes on %1: %2").arg(name, m_server.errorString());
    return false;
}

void HXApplicationInstance::_acceptConnection()
{
    while (QLocalSocket *socket = m_server.nextPendingConnection()) {
        auto buffer = std::make_shared<QByteArray>();
        QPointer<QLocalSocket> guard(socket);
        QTimer::singleShot(kConnectionTimeoutMs, socket, [guard] {
            if (guard)
                guard->abort();
        });
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        auto consume = [this, socket, buffer] {
            buffer->append(socket->readAll());
            if (buffer->size() < 4)
                return;
            const quint32 length = qFromBigEndian<quint32>(buffer->constData());
            if (length > kMaximumMessageSize) {
                qCWarning(lcKeaInstance) << "Refused an oversized message from another Kea process";
                socket->abort();
                return;
            }
            if (buffer->size() < qsizetype(length) + 4)
                return;
            const QCborValue message = QCborValue::fromCbor(buffer->mid(4, qsizetype(length)));
            QStringList arguments;
            if (message.isArray()) {
                for (const QCborValue &item : message.toArray()) {
                    if (item.isString())
                        arguments.append(item.toString());
                }
            }
            buffer->clear();
            // Answer first: acting on the arguments may show dialogs, and the
            // sender only waits to know they arrived. Nothing captured is
            // used after this, as the socket may go away meanwhile.
            socket->write(QByteArray(1, kAcknowledgement));
            socket->flush();
            socket->disconnectFromServer();
            HXApplicationInstance *self = this;
            self->openArguments(arguments);
            Q_EMIT self->argumentsReceived(arguments);
        };
        connect(socket, &QLocalSocket::readyRead, this, consume);
        if (socket->bytesAvailable() > 0)
            consume();
    }
}

void HXApplicationInstance::openArguments(const QStringList &arguments)
{
    for (const QString &argument : arguments) {
        if (HXURLEventHandler::isSchemeURL(argument)) {
            HXURLEventHandler::handleURLString(argument, m_untitledDocumentMaker);
            continue;
        }
        if (HXDocument *open = HXDocumentController::sharedDocumentController()->documentForFile(argument)) {
            HXDocumentController::sharedDocumentController()->bringToFront(open);
            continue;
        }
        if (m_fileOpener)
            m_fileOpener(argument);
    }
}

void HXApplicationInstance::setFileOpener(std::function<HXDocument *(const QString &path)> opener)
{
    m_fileOpener = std::move(opener);
}

void HXApplicationInstance::setUntitledDocumentMaker(std::function<HXDocument *()> maker)
{
    m_untitledDocumentMaker = std::move(maker);
}

HXDocument *HXApplicationInstance::_openFileWithoutWindow(const QString &path)
{
    auto opened = HXDocument::openDocument(path);
    if (!opened) {
        HXPresenter::sharedPresenter()->presentError(opened.error());
        return nullptr;
    }
    HXDocument *document = opened->release();
    document->setParent(this);
    return document;
}

HXDocument *HXApplicationInstance::_makeUntitledDocumentWithoutWindow()
{
    return new HXDocument(this);
}
