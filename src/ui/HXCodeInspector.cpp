#include "HXCodeInspector.h"

#include "HXDocument.h"
#include "HXRequest.h"
#include "HXUserDefaults.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTextDocument>
#include <QTimer>
#include <QVBoxLayout>

namespace {
using Language = HXCodeGenerator::Language;
const QList<Language> languages = {Language::Curl, Language::HTTPie, Language::Python, Language::JavaScript,
                                   Language::Go};
const QString showRequestsCodeKey = QStringLiteral("HXUserDefaultShowRequestsCode");
} // namespace

HXCodeInspector::HXCodeInspector(QWidget *parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("codeInspector"));
    m_languages = new QComboBox;
    m_languages->setToolTip(tr("Language"));
    for (Language language : languages)
        m_languages->addItem(titleForLanguage(language), int(language));
    m_copy = new QPushButton(tr("Copy"));
    m_copy->setToolTip(tr("Copy the code"));
    m_text = new QPlainTextEdit;
    m_text->setReadOnly(true);
    // The panel is narrow: long options wrap rather than hide.
    m_text->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    m_text->setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    m_text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_text->setFrameShape(QFrame::NoFrame);
    // Lined up with the title above it.
    m_text->document()->setDocumentMargin(6);
    m_text->setPlaceholderText(tr("No Request Selected"));

    auto *title = new QLabel(tr("Code"));
    QFont bold = title->font();
    bold.setBold(true);
    title->setFont(bold);
    auto *bar = new QHBoxLayout;
    bar->setContentsMargins(6, 4, 6, 4);
    bar->addWidget(title);
    bar->addStretch(1);
    bar->addWidget(m_languages);
    bar->addWidget(m_copy);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(bar);
    layout->addWidget(m_text, 1);

    setLanguage(languageForSetting(showRequestsCodeKey));
    connect(m_languages, &QComboBox::activated, this, [this](int index) {
        setLanguage(Language(m_languages->itemData(index).toInt()));
        HXUserDefaults::standardUserDefaults().setObject(titleForLanguage(m_language), showRequestsCodeKey);
    });
    connect(m_copy, &QPushButton::clicked, this, [this] { QApplication::clipboard()->setText(code()); });
}

QString HXCodeInspector::titleForLanguage(Language language)
{
    switch (language) {
    case Language::Curl:
        return QStringLiteral("cURL");
    case Language::HTTPie:
        return QStringLiteral("HTTPie");
    case Language::Python:
        return QStringLiteral("Python");
    case Language::JavaScript:
        return QStringLiteral("JavaScript");
    case Language::Go:
        return QStringLiteral("Go");
    }
    return QString();
}

HXCodeGenerator::Language HXCodeInspector::languageForSetting(const QString &key)
{
    return HXCodeGenerator::languageNamed(HXUserDefaults::standardUserDefaults().stringForKey(key))
        .value_or(Language::Curl);
}

QString HXCodeInspector::codeForRequests(const QList<HXRequest *> &requests, HXDocument *document, Language language)
{
    const HXCodeOptions options = HXCodeOptions::fromUserDefaults();
    QStringList pieces;
    for (HXRequest *request : requests)
        pieces.append(QString::fromUtf8(
            HXCodeGenerator::generate(language, HXCodeGenerator::codeRequest(request, document), options)));
    return pieces.join(QLatin1Char('\n'));
}

void HXCodeInspector::setLanguage(Language language)
{
    m_language = language;
    m_languages->setCurrentIndex(int(languages.indexOf(language)));
    scheduleUpdate();
}

void HXCodeInspector::setRequest(HXRequest *request, HXDocument *document)
{
    m_request = request;
    m_document = document;
    scheduleUpdate();
}

QString HXCodeInspector::code() const
{
    return m_text->toPlainText();
}

void HXCodeInspector::scheduleUpdate()
{
    // Hidden, it waits for showEvent.
    if (m_updateScheduled || !isVisible())
        return;
    m_updateScheduled = true;
    QTimer::singleShot(0, this, &HXCodeInspector::_update);
}

void HXCodeInspector::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    scheduleUpdate();
}

void HXCodeInspector::_update()
{
    m_updateScheduled = false;
    const bool live = m_request != nullptr && m_request->isLive() && m_document != nullptr;
    m_copy->setEnabled(live);
    const QString text = live ? codeForRequests({m_request}, m_document, m_language) : QString();
    if (text != m_text->toPlainText())
        m_text->setPlainText(text);
}
