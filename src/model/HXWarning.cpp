#include "HXWarning.h"

HXWarning::HXWarning(const QString &text, const QList<std::pair<QString, Action>> &buttonsNamesAndActions)
    : m_text(text)
{
    for (const auto &[name, action] : buttonsNamesAndActions)
        addButton(name, action);
}

void HXWarning::addButton(const QString &name, Action action)
{
    m_buttonsNames.append(name);
    m_buttonsActions.append(std::move(action));
}

bool HXWarning::performButtonNamed(const QString &name) const
{
    const qsizetype index = m_buttonsNames.indexOf(name);
    if (index < 0)
        return false;
    if (m_buttonsActions.at(index))
        m_buttonsActions.at(index)();
    return true;
}
