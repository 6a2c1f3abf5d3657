#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <utility>

// Something wrong with a request, with buttons that repair it. Each button's
// action changes the request as one undoable step and processes the pending
// changes of the document's store, so that views refresh. Actions do nothing
// once the document's store is gone or the objects they change were deleted.
class HXWarning
{
public:
    using Action = std::function<void()>;

    // A warning without buttons.
    explicit HXWarning(const QString &text) : m_text(text) {}
    // A warning with buttons: names and actions, in order.
    HXWarning(const QString &text, const QList<std::pair<QString, Action>> &buttonsNamesAndActions);

    QString text() const { return m_text; }
    QStringList buttonsNames() const { return m_buttonsNames; }
    // Same length and order as buttonsNames().
    QList<Action> buttonsActions() const { return m_buttonsActions; }

    void addButton(const QString &name, Action action);
    // Runs the action of the button named `name`; false when there is none.
    bool performButtonNamed(const QString &name) const;

private:
    QString m_text;
    QStringList m_buttonsNames;
    QList<Action> m_buttonsActions;
};
