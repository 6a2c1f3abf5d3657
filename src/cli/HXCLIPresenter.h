#pragma once

#include "HXPresenter.h"

// Answers the core's questions without a user. Every alert is shown on
// stderr. An untrusted server is refused (kea-cli send --insecure turns the
// check off instead); a confirmation (delete, send all) is given only when
// `confirm` is set, as --yes does; anything else takes its default button.
class HXCLIPresenter : public HXPresenter
{
public:
    explicit HXCLIPresenter(bool confirm = false) : m_confirm(confirm) {}

    void presentAlert(const Alert &alert, const std::function<void(int)> &completion) override;
    void presentError(const HXError &error) override;

    // Whether a confirmation was asked for and refused.
    bool refusedConfirmation() const { return m_refused; }

private:
    bool m_confirm;
    bool m_refused = false;
};
