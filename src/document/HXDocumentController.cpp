#include "HXDocumentController.h"

#include "HXDocument.h"
#include "HXThreading.h"

#include <QFileInfo>

HXDocumentController *HXDocumentController::sharedDocumentController()
{
    HX_ASSERT_MAIN_THREAD();
    static HXDocumentController controller;
    return &controller;
}

HXDocumentController::HXDocumentController()
{
    HXDocumentResolver::setSharedResolver(this);
}

HXDocumentController::~HXDocumentController()
{
    if (HXDocumentResolver::sharedResolver() == this)
        HXDocumentResolver::setSharedResolver(nullptr);
}

QList<HXEvaluationDocument *> HXDocumentController::openDocuments() const
{
    QList<HXEvaluationDocument *> documents;
    documents.reserve(m_documents.size());
    for (HXDocument *document : m_documents)
        documents.append(document);
    return documents;
}

void HXDocumentController::addDocument(HXDocument *document)
{
    if (document == nullptr || m_documents.contains(document))
        return;
    m_documents.prepend(document);
    Q_EMIT documentsChanged();
}

void HXDocumentController::removeDocument(HXDocument *document)
{
    if (m_documents.removeAll(document) > 0)
        Q_EMIT documentsChanged();
}

void HXDocumentController::bringToFront(HXDocument *document)
{
    const qsizetype index = m_documents.indexOf(document);
    if (index <= 0)
        return;
    m_documents.move(index, 0);
    Q_EMIT documentsChanged();
}

HXDocument *HXDocumentController::documentForFile(const QString &path) const
{
    const QString wanted = QFileInfo(path).absoluteFilePath();
    for (HXDocument *document : m_documents) {
        if (!document->fileName().isEmpty() && QFileInfo(document->fileName()).absoluteFilePath() == wanted)
            return document;
    }
    return nullptr;
}
