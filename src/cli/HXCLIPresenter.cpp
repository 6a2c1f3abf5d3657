#include "HXCLIPresenter.h"

#include "HXCLICommand.h"

void HXCLIPresenter::presentAlert(const Alert &alert, const std::function<void(int)> &completion)
{
    using Kind = HXPresenter::AlertKind;
    QString text = QStringLiteral("kea-cli: %1\n").arg(alert.message);
    if (!alert.informativeText.isEmpty())
        text += alert.informativeText + (alert.informativeText.endsWith(u'\n') ? QString() : QStringLiteral("\n"));
    HXCLI::writeErr(text);
    int answer = 0;
    switch (alert.kind) {
    case Kind::ServerTrust:
        answer = 1;
        break;
    case Kind::StopRequest:
    case Kind::StopAndSendAllRequests:
    case Kind::SendAllRequests:
    case Kind::DeleteRequestTreeItems:
    case Kind::DeleteEnvironment:
    case Kind::DeleteResponse:
    case Kind::DeleteAllResponsesOfRequest:
    case Kind::DeleteAllResponses:
        answer = m_confirm ? 0 : 1;
        m_refused = m_refused || !m_confirm;
        break;
    case Kind::Generic:
    case Kind::RequestFailed:
        break;
    }
    if (completion)
        completion(answer);
}

void HXCLIPresenter::presentError(const HXError &error)
{
    HXCLI::writeErr(QStringLiteral("kea-cli: %1\n").arg(error.description));
}
