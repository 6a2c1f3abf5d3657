#pragma once

#include "HXPresenter.h"

// Shows the core's alerts and errors as window-modal dialogs on the active
// document window (application-modal when there is none).
class HXWindowPresenter : public HXPresenter
{
public:
    void presentAlert(const Alert &alert, const std::function<void(int button)> &completion) override;
    void presentError(const HXError &error) override;
};
