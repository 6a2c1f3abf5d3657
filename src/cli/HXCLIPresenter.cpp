#include "HXCLIPresenter.h"

#include "HXCLICommand.h"

void HXCLIPresenter::presentAlert(const Alert &alert, const std::function<void(int)> &completion)
{
    HXCLI::writeErr(QStringLiteral("kea-cli: %1\n%2\n").arg(alert.message, alert.informativeText));
    const bool trustQuestion =
        alert.buttons.size() == 2 && alert.buttons.at(1) == u"Cancel" && alert.buttons.at(0) == u"Continue";
    if (completion)
        completion(trustQuestion ? 1 : 0);
}

void HXCLIPresenter::presentError(const HXError &error)
{
    HXCLI::writeErr(QStringLiteral("kea-cli: %1\n").arg(error.description));
}
