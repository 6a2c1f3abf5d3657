#pragma once

#include <QPointer>
#include <QToolButton>

class HXDocument;
class HXRequest;

// The toolbar's warnings button: the count of the selected request's
// warnings as its badge. The toolbar hides it when there are none. Clicking it shows the
// warnings with their repair buttons.
class HXWarningsButton : public QToolButton
{
    Q_OBJECT
public:
    explicit HXWarningsButton(QWidget *parent = nullptr);

    void setRequest(HXRequest *request, HXDocument *document);
    void refresh();
    int count() const { return m_count; }
    void showPopover();

private:
    HXRequest *m_request = nullptr;
    QPointer<HXDocument> m_document;
    int m_count = 0;
};
