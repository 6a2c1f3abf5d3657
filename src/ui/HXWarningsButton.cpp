#include "HXWarningsButton.h"

#include "HXDocument.h"
#include "HXRequest.h"

#include <QLabel>
#include <QMenu>
#include <QStyle>
#include <QWidgetAction>

HXWarningsButton::HXWarningsButton(QWidget *parent) : QToolButton(parent)
{
    setObjectName(QStringLiteral("warningsButton"));
    setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    connect(this, &QToolButton::clicked, this, &HXWarningsButton::showPopover);
}

void HXWarningsButton::setRequest(HXRequest *request, HXDocument *document)
{
    m_request = request;
    m_document = document;
    refresh();
}

void HXWarningsButton::refresh()
{
    if (m_request != nullptr && !m_request->isLive())
        m_request = nullptr;
    const qsizetype count = m_request && m_document ? m_request->warningsWithDocument(m_document).size() : 0;
    m_count = int(count);
    // The icon is looked up when the button is first needed: most windows
    // open on a request without warnings.
    if (count > 0 && icon().isNull())
        setIcon(style()->standardIcon(QStyle::SP_MessageBoxWarning));
    setText(QString::number(count));
    setToolTip(count == 1 ? tr("1 Warning") : tr("%1 Warnings").arg(count));
}

void HXWarningsButton::showPopover()
{
    if (m_request == nullptr || !m_document)
        return;
    auto *menu = new QMenu(this);
    menu->setObjectName(QStringLiteral("warningsPopover"));
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const QList<HXWarning> warnings = m_request->warningsWithDocument(m_document);
    if (warnings.isEmpty())
        menu->addAction(tr("No Warnings"))->setEnabled(false);
    for (const HXWarning &warning : warnings) {
        if (!menu->isEmpty())
            menu->addSeparator();
        auto *text = new QLabel(warning.text());
        text->setWordWrap(true);
        text->setMaximumWidth(420);
        text->setContentsMargins(12, 6, 12, 2);
        auto *item = new QWidgetAction(menu);
        item->setDefaultWidget(text);
        menu->addAction(item);
        for (const QString &button : warning.buttonsNames())
            menu->addAction(button, this, [warning, button] { warning.performButtonNamed(button); });
    }
    menu->popup(mapToGlobal(QPoint(0, height())));
}
