#pragma once

#include "HXError.h"

#include <QList>
#include <QPointer>
#include <QSslCertificate>
#include <QString>
#include <QStringList>

#include <functional>

// How the core asks the user something or tells them of an error: a message,
// an explanatory text and buttons, answered through a completion with the
// index of the chosen button. The desktop application shows dialogs; the
// command line and tests answer programmatically.
class HXDocument;

class HXPresenter
{
public:
    // What an alert asks, so a front end can answer or style it without
    // reading its texts.
    enum class AlertKind {
        Generic,
        RequestFailed,               // "Kea can't get a response" (one button)
        ServerTrust,                 // continue (0) or cancel (1); certificateChain is set
        StopRequest,                 // stop & send (0), cancel (1), stop (2)
        StopAndSendAllRequests,      // stop & send all (0), cancel (1), stop (2)
        SendAllRequests,             // send all (0), cancel (1)
        DeleteRequestTreeItems,      // delete (0), cancel (1)
        DeleteEnvironment,           // delete (0), cancel (1)
        DeleteResponse,              // delete (0), cancel (1)
        DeleteAllResponsesOfRequest, // delete (0), cancel (1)
        DeleteAllResponses,          // move to trash (0), cancel (1)
    };

    struct Alert
    {
        QString message;
        QString informativeText;
        QStringList buttons; // the first is the default
        AlertKind kind = AlertKind::Generic;
        // The document whose window shows the alert as a sheet; null for an
        // application-wide alert.
        QPointer<HXDocument> document;
        // For a trust question: the server's certificates, leaf first, and
        // the host they were presented for.
        QList<QSslCertificate> certificateChain;
        QString host;
    };

    // A save panel: where to write an exported file.
    struct SavePanel
    {
        QString message;
        QString nameFieldLabel;
        QString nameFieldStringValue; // the suggested file name
        QStringList allowedFileTypes; // extensions without the dot; empty: any
        QPointer<HXDocument> document;
    };

    virtual ~HXPresenter() = default;
    virtual void presentAlert(const Alert &alert, const std::function<void(int button)> &completion) = 0;
    virtual void presentError(const HXError &error) = 0;
    // Asks for a file path; the completion gets an empty path when the user
    // cancels. Without a user to ask, the panel is cancelled.
    virtual void presentSavePanel(const SavePanel &panel, const std::function<void(const QString &path)> &completion);

    // The presenter the core uses; by default one that chooses each alert's
    // first button and logs errors.
    static HXPresenter *sharedPresenter();
    static void setSharedPresenter(HXPresenter *presenter);
};
