#include "HXServerTrustDialog.h"

#include "HXDocument.h"
#include "HXServerTrust.h"
#include "HXTrustedCertificates.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QStyle>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace {
QString nameOf(const QSslCertificate &certificate, bool issuer)
{
    const auto field = [&](QSslCertificate::SubjectInfo info) {
        return (issuer ? certificate.issuerInfo(info) : certificate.subjectInfo(info)).join(QStringLiteral(", "));
    };
    QString name = field(QSslCertificate::CommonName);
    if (name.isEmpty())
        name = field(QSslCertificate::Organization);
    return name.isEmpty() ? QObject::tr("(no name)") : name;
}
} // namespace

HXServerTrustDialog::HXServerTrustDialog(const HXPresenter::Alert &alert, QWidget *parent)
    : QDialog(parent), m_alert(alert)
{
    setObjectName(QStringLiteral("serverTrustDialog"));
    setWindowTitle(tr("Server Certificate"));
    setWindowModality(parent != nullptr ? Qt::WindowModal : Qt::ApplicationModal);

    // What is wrong, per certificate; errors without a certificate belong
    // to the server's own (first) one.
    for (qsizetype i = 0; i < alert.certificateChain.size(); ++i)
        m_errors.append(QString());
    const QList<QSslError> errors = HXServerTrust{alert.certificateChain, alert.host, {}}.evaluate();
    for (const QSslError &error : errors) {
        qsizetype index = error.certificate().isNull() ? 0 : alert.certificateChain.indexOf(error.certificate());
        if (index < 0 || index >= m_errors.size())
            index = 0;
        if (!m_errors.isEmpty() && !m_errors[index].contains(error.errorString()))
            m_errors[index] += (m_errors[index].isEmpty() ? QString() : QStringLiteral("\n")) + error.errorString();
    }

    auto *icon = new QLabel;
    const int size = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
    icon->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxWarning, nullptr, this).pixmap(size, size));
    icon->setAlignment(Qt::AlignTop);
    auto *message = new QLabel(alert.message);
    message->setWordWrap(true);
    QFont bold = message->font();
    bold.setBold(true);
    message->setFont(bold);
    auto *informative = new QLabel(alert.informativeText);
    informative->setWordWrap(true);
    auto *texts = new QVBoxLayout;
    texts->addWidget(message);
    texts->addWidget(informative);
    texts->addStretch(1);
    auto *top = new QHBoxLayout;
    top->setSpacing(16);
    top->addWidget(icon);
    top->addLayout(texts, 1);

    // The chain from its root down to the server's certificate.
    m_chain = new QTreeWidget;
    m_chain->setHeaderHidden(true);
    m_chain->setRootIsDecorated(false);
    QTreeWidgetItem *parentItem = nullptr;
    QTreeWidgetItem *leaf = nullptr;
    for (qsizetype i = alert.certificateChain.size() - 1; i >= 0; --i) {
        const QSslCertificate &certificate = alert.certificateChain.at(i);
        auto *item = parentItem ? new QTreeWidgetItem(parentItem) : new QTreeWidgetItem(m_chain);
        item->setText(0, nameOf(certificate, false));
        item->setData(0, Qt::UserRole, int(i));
        if (!m_errors.value(i).isEmpty())
            item->setIcon(0, style()->standardIcon(QStyle::SP_MessageBoxWarning, nullptr, this));
        parentItem = item;
        leaf = item;
    }
    m_chain->expandAll();
    m_chain->setIndentation(14);
    // As tall as the chain, up to five rows.
    const int rows = std::clamp(int(alert.certificateChain.size()), 1, 5);
    const int rowHeight = std::max(m_chain->fontMetrics().height() + 6, m_chain->sizeHintForRow(0));
    m_chain->setFixedHeight(rows * rowHeight + 2 * m_chain->frameWidth() + 2);
    m_details = new QLabel;
    m_details->setObjectName(QStringLiteral("certificateDetails"));
    m_details->setTextFormat(Qt::RichText);
    m_details->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_details->setWordWrap(true);
    m_details->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    connect(m_chain, &QTreeWidget::currentItemChanged, this, [this](QTreeWidgetItem *item) {
        if (item != nullptr)
            _showCertificate(item->data(0, Qt::UserRole).toInt());
    });

    m_always = new QCheckBox(tr("Always trust this certificate for %1").arg(alert.host));
    m_always->setEnabled(!alert.certificateChain.isEmpty() && !alert.host.isEmpty());

    auto *buttons = new QDialogButtonBox;
    const QStringList names = alert.buttons.isEmpty() ? QStringList{tr("OK")} : alert.buttons;
    for (qsizetype i = 0; i < names.size(); ++i) {
        const bool cancel = i > 0 && i == names.size() - 1;
        QPushButton *button =
            buttons->addButton(names.at(i), cancel ? QDialogButtonBox::RejectRole : QDialogButtonBox::AcceptRole);
        button->setDefault(i == 0);
        connect(button, &QPushButton::clicked, this, [this, i, cancel] {
            m_chosen = int(i);
            cancel ? reject() : accept();
        });
    }
    m_chosen = int(names.size()) - 1;

    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(10);
    layout->addLayout(top);
    layout->addWidget(m_chain);
    layout->addWidget(m_details);
    layout->addSpacing(4);
    layout->addWidget(m_always);
    layout->addWidget(buttons);
    // The server's own certificate first; the dialog fits its details.
    if (leaf != nullptr)
        m_chain->setCurrentItem(leaf);
    setMinimumWidth(560);
    resize(560, layout->totalHeightForWidth(560));
}

bool HXServerTrustDialog::alwaysTrust() const
{
    return m_always->isEnabled() && m_always->isChecked();
}

void HXServerTrustDialog::_showCertificate(int index)
{
    const QSslCertificate certificate = m_alert.certificateChain.value(index);
    const QLocale locale;
    auto row = [](const QString &label, const QString &value) {
        return QStringLiteral("<tr><td style='padding-right:12px'><b>%1</b></td><td>%2</td></tr>")
            .arg(label.toHtmlEscaped(), value.toHtmlEscaped());
    };
    QString html = QStringLiteral("<table>");
    html += row(tr("Subject"), nameOf(certificate, false));
    html += row(tr("Issuer"), nameOf(certificate, true));
    html += row(tr("Valid from"), locale.toString(certificate.effectiveDate().toLocalTime(), QLocale::ShortFormat));
    html += row(tr("Valid until"), locale.toString(certificate.expiryDate().toLocalTime(), QLocale::ShortFormat));
    html += row(tr("SHA-256"), HXTrustedCertificates::fingerprint(certificate));
    if (!m_errors.value(index).isEmpty())
        html +=
            QStringLiteral("<tr><td style='padding-right:12px'><b>%1</b></td><td style='color:#d03030'>%2</td></tr>")
                .arg(tr("Problems").toHtmlEscaped(),
                     m_errors.value(index).toHtmlEscaped().replace(u'\n', QStringLiteral("<br>")));
    html += QStringLiteral("</table>");
    m_details->setText(html);
}
