// HXDocumentWindow: the toolbar (send and stop, the status area, the
// environment chooser, the view switcher, the warnings button and the code
// inspector toggle).

#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXDocumentWindow.h"
#include "HXViewSwitcher.h"
#include "HXWarningsButton.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QProgressBar>
#include <QToolBar>
#include <QToolButton>

#include <functional>

void HXDocumentWindow::_buildToolbar()
{
    QToolBar *bar = addToolBar(tr("Toolbar"));
    bar->setObjectName(QStringLiteral("mainToolbar"));
    bar->setMovable(false);
    bar->setFloatable(false);
    bar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);

    m_send = new QToolButton;
    m_send->setText(tr("Send"));
    m_send->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_send->setPopupMode(QToolButton::MenuButtonPopup);
    auto *sendMenu = new QMenu(m_send);
    sendMenu->addAction(tr("Send All"), m_commands, &HXDocumentCommands::sendAllRequests);
    m_send->setMenu(sendMenu);
    connect(m_send, &QToolButton::clicked, this, &HXDocumentWindow::sendSelected);
    m_stop = new QToolButton;
    m_stop->setText(tr("Stop"));
    m_stop->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    connect(m_stop, &QToolButton::clicked, m_commands, &HXDocumentCommands::stopRequests);
    bar->addWidget(m_send);
    bar->addWidget(m_stop);
    bar->addSeparator();

    // The status area: what is being sent, how far it is.
    auto *status = new QWidget;
    status->setObjectName(QStringLiteral("statusArea"));
    auto *statusLayout = new QHBoxLayout(status);
    statusLayout->setContentsMargins(8, 0, 8, 0);
    statusLayout->setSpacing(8);
    m_statusName = new QLabel;
    QFont bold = m_statusName->font();
    bold.setBold(true);
    m_statusName->setFont(bold);
    m_statusText = new QLabel(tr("Ready"));
    m_statusText->setObjectName(QStringLiteral("statusText"));
    m_progress = new QProgressBar;
    m_progress->setRange(0, 100);
    m_progress->setTextVisible(false);
    m_progress->setFixedWidth(120);
    m_progress->setMaximumHeight(8);
    m_progress->setVisible(false);
    statusLayout->addWidget(m_statusName);
    statusLayout->addWidget(m_statusText, 1);
    statusLayout->addWidget(m_progress);
    status->setMinimumWidth(260);
    status->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    bar->addWidget(status);
    bar->addSeparator();

    m_environments = new QComboBox;
    m_environments->setToolTip(tr("Environment"));
    m_environments->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    connect(m_environments, &QComboBox::activated, this, &HXDocumentWindow::_environmentChosen);
    bar->addWidget(m_environments);

    m_viewSwitcher = new HXViewSwitcher({tr("Request"), tr("Split"), tr("Response")});
    connect(m_viewSwitcher, &HXViewSwitcher::chosen, this, &HXDocumentWindow::setViewType);
    bar->addWidget(m_viewSwitcher);

    m_warnings = new HXWarningsButton;
    m_warningsItem = bar->addWidget(m_warnings);
    m_warningsItem->setVisible(false);

    m_inspectorToggle = new QToolButton;
    m_inspectorToggle->setObjectName(QStringLiteral("codeInspectorToggle"));
    m_inspectorToggle->setText(tr("Code"));
    m_inspectorToggle->setToolTip(tr("Show Code Inspector"));
    m_inspectorToggle->setCheckable(true);
    // Flat while off, like the other tool buttons, so "on" stands out in dark palettes too.
    m_inspectorToggle->setAutoRaise(true);
    m_inspectorToggle->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    connect(m_inspectorToggle, &QToolButton::toggled, this, &HXDocumentWindow::setCodeInspectorShown);
    bar->addWidget(m_inspectorToggle);
    _updateIcons();
}

void HXDocumentWindow::_updateIcons()
{
    // Drawn in the palette's text colour, so they read in light and dark.
    const QColor ink = palette().color(QPalette::ButtonText);
    auto symbol = [this](const std::function<void(QPainter &)> &draw) {
        const qreal ratio = devicePixelRatioF();
        QPixmap pixmap(QSize(16, 16) * ratio);
        pixmap.setDevicePixelRatio(ratio);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        draw(painter);
        painter.end();
        return QIcon(pixmap);
    };
    m_send->setIcon(symbol([&ink](QPainter &painter) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(ink);
        painter.drawPolygon(QPolygonF({QPointF(3.5, 2), QPointF(14, 8), QPointF(3.5, 14)}));
    }));
    m_stop->setIcon(symbol([&ink](QPainter &painter) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(ink);
        painter.drawRoundedRect(QRectF(3, 3, 10, 10), 1.5, 1.5);
    }));
    // The code inspector's "</>".
    m_inspectorToggle->setIcon(symbol([&ink](QPainter &painter) {
        painter.setPen(QPen(ink, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawPolyline(QPolygonF({QPointF(5, 4), QPointF(1.5, 8), QPointF(5, 12)}));
        painter.drawPolyline(QPolygonF({QPointF(11, 4), QPointF(14.5, 8), QPointF(11, 12)}));
        painter.drawLine(QPointF(9.2, 3), QPointF(6.8, 13));
    }));
}
