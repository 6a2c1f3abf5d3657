#pragma once

#include <QList>
#include <QObject>

class HXDocument;

// Knows the open documents, front to back. Documents add themselves when
// they are created and remove themselves when they go away; the window
// layer brings a document to the front when its window is activated.
class HXDocumentController : public QObject
{
    Q_OBJECT
public:
    static HXDocumentController *sharedDocumentController();

    // Open documents, the frontmost first.
    QList<HXDocument *> documents() const { return m_documents; }
    void addDocument(HXDocument *document);
    void removeDocument(HXDocument *document);
    void bringToFront(HXDocument *document);
    // The open document whose file is `path` (compared as canonical paths).
    HXDocument *documentForFile(const QString &path) const;

Q_SIGNALS:
    void documentsChanged();

private:
    QList<HXDocument *> m_documents;
};
