#pragma once

#include "HXPresenter.h"

// The presenter of the commands that send: questions are answered without a
// user. An untrusted server is refused (use --insecure), anything else takes
// its default button; what is shown goes to stderr.
class HXCLIPresenter : public HXPresenter
{
public:
    void presentAlert(const Alert &alert, const std::function<void(int)> &completion) override;
    void presentError(const HXError &error) override;
};
