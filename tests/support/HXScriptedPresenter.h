#pragma once

#include "HXPresenter.h"

#include <QList>

// Answers every alert with a chosen button at once, and remembers what it
// was shown. Save panels are answered with `savePath` (empty: cancelled).
class HXScriptedPresenter : public HXPresenter
{
public:
    int answer = 0;
    QString savePath;
    QList<Alert> alerts;
    QList<SavePanel> savePanels;
    QList<HXError> errors;

    void presentAlert(const Alert &alert, const std::function<void(int)> &completion) override
    {
        alerts.append(alert);
        if (completion)
            completion(answer);
    }
    void presentError(const HXError &error) override { errors.append(error); }
    void presentSavePanel(const SavePanel &panel, const std::function<void(const QString &)> &completion) override
    {
        savePanels.append(panel);
        if (completion)
            completion(savePath);
    }
};
