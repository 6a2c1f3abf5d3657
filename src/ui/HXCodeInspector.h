#pragma once

#include "HXCodeGenerator.h"

#include <QPointer>
#include <QWidget>

class HXDocument;
class HXRequest;
class QComboBox;
class QPlainTextEdit;
class QPushButton;

// The code inspector: the selected request as code in a chosen language
// (cURL unless the user chose another), following the code settings, with
// a button that copies it. It regenerates when the request, the document or
// the current environment changes, once per event-loop turn.
class HXCodeInspector : public QWidget
{
    Q_OBJECT
public:
    explicit HXCodeInspector(QWidget *parent = nullptr);

    void setRequest(HXRequest *request, HXDocument *document);
    // Regenerates on the next turn of the event loop (changes come in bursts).
    void scheduleUpdate();

    HXCodeGenerator::Language language() const { return m_language; }
    void setLanguage(HXCodeGenerator::Language language);
    QString code() const;
    QComboBox *languageMenu() const { return m_languages; }
    QPushButton *copyButton() const { return m_copy; }

    // The languages by the names users see ("cURL", "HTTPie", ...).
    static QString titleForLanguage(HXCodeGenerator::Language language);
    // The language a setting names; cURL when it names none.
    static HXCodeGenerator::Language languageForSetting(const QString &key);
    // The requests as code, one after the other, with the current settings.
    static QString codeForRequests(const QList<HXRequest *> &requests, HXDocument *document,
                                   HXCodeGenerator::Language language);

protected:
    void showEvent(QShowEvent *event) override;

private:
    void _update();

    HXRequest *m_request = nullptr;
    QPointer<HXDocument> m_document;
    HXCodeGenerator::Language m_language = HXCodeGenerator::Language::Curl;
    QComboBox *m_languages = nullptr;
    QPushButton *m_copy = nullptr;
    QPlainTextEdit *m_text = nullptr;
    bool m_updateScheduled = false;
};
