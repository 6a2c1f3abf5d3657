#pragma once

#include <QLocalServer>
#include <QObject>
#include <QStringList>

#include <optional>

class HXDocument;
class QLocalSocket;

// Keeps one Kea per user. The first `kea` becomes the instance and listens on
// a per-user local socket; a later `kea FILE...` or `kea kea://...` hands its
// files and URLs to that instance and ends.
//
// A hand-off is one message: a 4-byte big-endian length and a CBOR array of
// the arguments (files made absolute). The instance answers with one byte
// once it has acted on them, so a sender that exits 0 knows they arrived.
class HXApplicationInstance : public QObject
{
    Q_OBJECT
public:
    explicit HXApplicationInstance(QObject *parent = nullptr);
    ~HXApplicationInstance() override;

    // What runs before the application object exists: --help and --version
    // print and give 0; files and URLs go to a running instance when there
    // is one and give 0, or 1 when it did not take them. No value: this
    // process is to become the instance.
    static std::optional<int> runBeforeApplication(int argc, char **argv);

    static QString helpText();
    static QString versionText();

    // The per-user socket: in $XDG_RUNTIME_DIR, else in the temporary folder
    // under a name holding the user id.
    static QString serverName();

    // The files and URLs among command-line arguments (the program's name
    // excluded): toolkit options and their values are left out, files are
    // made absolute.
    static QStringList documentArguments(const QStringList &arguments);

    // Sends `arguments` to the running instance; false when there is none or
    // it did not answer within `timeoutMs`.
    static bool handOff(const QStringList &arguments, int timeoutMs);

    // Starts listening; false when another instance already listens (or the
    // socket cannot be made, which is logged).
    bool listen();
    bool isListening() const { return m_server.isListening(); }

    // Opens the files and acts on the URLs: what the instance does with its
    // own arguments and with those handed to it.
    void openArguments(const QStringList &arguments);

    // How files and untitled documents are opened and shown. By default a
    // document is opened without a window and kept by this object.
    void setFileOpener(std::function<HXDocument *(const QString &path)> opener);
    void setUntitledDocumentMaker(std::function<HXDocument *()> maker);

Q_SIGNALS:
    // Arguments handed over by another `kea`, after they were opened.
    void argumentsReceived(const QStringList &arguments);

private:
    static bool deliver(QLocalSocket &socket, const QStringList &arguments, int timeoutMs);
    void _acceptConnection();
    HXDocument *_openFileWithoutWindow(const QString &path);
    HXDocument *_makeUntitledDocumentWithoutWindow();

    QLocalServer m_server;
    std::function<HXDocument *(const QString &path)> m_fileOpener;
    std::function<HXDocument *()> m_untitledDocumentMaker;
};
