#pragma once

#include "HXDocumentResolver.h"

#include <QList>
#include <QObject>

class HXDocument;

// Knows the open documents, front to back. Documents add themselves when
// they are created and remove themselves when they go away; the window
// layer brings a document to the front when its window is activated. The
// shared controller is the installed document resolver.
class HXDocumentController : public QObject, public HXDocumentResolver
{
    Q_OBJECT
public:
    static HXDocumentController *sharedDocumentController();

    // Open documents, the frontmost first.
    QList<HXDocument *> documents() const { return m_documents; }
    QList<HXEvaluationDocument *> openDocuments() const override;
    void addDocument(HXDocument *document);
    void removeDocument(HXDocument *document);
    void bringToFront(HXDocument *document);
    // The open document whose file is `path` (compared as canonical paths).
    HXDocument *documentForFile(const QString &path) const;

Q_SIGNALS:
    void documentsChanged();

private:
    HXDocumentController();
    ~HXDocumentController() override;

    QList<HXDocument *> m_documents;
};
