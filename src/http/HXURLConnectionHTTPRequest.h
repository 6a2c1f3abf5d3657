#pragma once

#include "HXHTTPRequest.h"

#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>
#include <QSslError>
#include <QTimer>

// The Qt Network engine (identifier "URLConnection", shown as "Qt Network"):
// a thin adapter over one QNetworkAccessManager on the main thread. Like the
// libcurl engine it folds the request headers into a dictionary, adds headers
// of its own, decodes compressed bodies, and reports a rebuilt head whose
// reason phrase is the platform's text for the code, upper-cased ("OK" for
// 200); the status line always reads HTTP/1.1, so HTTP/2 is not offered.
//
// It always uses the system's proxy settings. When Qt finds a problem with
// a server's certificate, the delegate judges the chain (unless validation is
// ignored); a valid chain is not asked about. The time limit covers the whole
// request, and is suspended while the delegate decides.
class HXURLConnectionHTTPRequest : public HXHTTPRequest
{
    Q_OBJECT

public:
    explicit HXURLConnectionHTTPRequest(const QUrl &url, QObject *parent = nullptr);
    ~HXURLConnectionHTTPRequest() override;

    QString libraryIdentifier() const override { return QStringLiteral("URLConnection"); }
    static QString localizedName();

    // The cache policy for shouldUseCache: 0 (the protocol's rules) when on,
    // 1 (ignore any local cache) when off.
    int cachePolicy() const { return shouldUseCache() ? 0 : 1; }

    // The domain of Qt's network errors, which carry QNetworkReply's code.
    static QString networkErrorDomain();
    // A Qt failure as this engine reports it: a time-out and an unknown host
    // become the fixed errors with Qt's error underneath; anything else is
    // Qt's error unchanged.
    static HXError translatedError(QNetworkReply::NetworkError code, const QString &text);
    // The reason phrase for a status code: the platform's text, "no error"
    // replaced by "OK", upper-cased.
    static QString reasonPhraseForStatusCode(qint64 statusCode);

    // The network request for the current properties.
    QNetworkRequest URLRequest() const;

protected:
    void _start() override;
    void _cancel() override;

private:
    void sendRequest();
    void releaseReply();
    void replyDidReceiveResponse();
    void replyDidReceiveData();
    // Adds a piece of the body, within the maximum response length; on
    // failure the request has failed.
    bool appendToBody(const QByteArray &piece);
    void replyDidFinish();
    void replyDidReceiveSSLErrors(const QList<QSslError> &errors);
    void trustAnswered(bool accepted, const QList<QSslCertificate> &chain);
    void timeoutFired();
    void restartTimeoutTimer();

    QPointer<QNetworkReply> m_reply;
    QTimer m_timeoutTimer;
    bool m_timedOut = false;
    bool m_headersReported = false;
    // Set while the delegate judges a chain after the connection was given up.
    bool m_awaitingTrust = false;
    bool m_trustRefused = false;
    // The chain the delegate accepted after Qt gave up the first connection.
    QList<QSslCertificate> m_acceptedChain;
};
