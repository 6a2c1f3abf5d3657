// HXDocumentWindow: the interface state kept for each document outside it
// (the selection, expanded folders, views, list order and arrangement,
// splitter sizes, code inspector and environment), restored when the window
// opens and saved when it closes.

#include "HXCodeInspector.h"
#include "HXDocument.h"
#include "HXDocumentWindow.h"
#include "HXEnvironment.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestListView.h"
#include "HXUIPreferencesManager.h"

#include <QSplitter>
#include <QTreeView>

#include <algorithm>

void HXDocumentWindow::_restoreInterfaceState()
{
    HXUIPreferencesManager *preferences = HXUIPreferencesManager::sharedManager();
    const HXDocument *document = m_document.get();
    if (HXEnvironment *environment = preferences->selectedEnvironmentForDocument(document))
        m_document->setCurrentEnvironment(environment);
    const QSet<QString> expanded = preferences->expandedItemsForDocument(document).value_or(QSet<QString>());
    m_list->expandItems(expanded.values());
    if (expanded.isEmpty())
        m_list->treeView()->expandAll();
    QList<HXRequestTreeItem *> selection;
    for (const QString &uri : preferences->selectedItemsForDocument(document).value_or(QSet<QString>())) {
        auto *item = dynamic_cast<HXRequestTreeItem *>(m_document->managedObjectContext()->objectWithURI(uri));
        if (item != nullptr && item->isLive())
            selection.append(item);
    }
    // Without a remembered selection start on the first request, so a new
    // window is never blank.
    for (HXRequestTreeItem *item : m_document->topLevelItems()) {
        if (!selection.isEmpty())
            break;
        if (dynamic_cast<HXRequest *>(item) != nullptr)
            selection.append(item);
    }
    m_list->selectItems(selection);
    if (const auto geometry = preferences->getListViewWidth(document); geometry && geometry->listViewWidth > 80) {
        m_mainSplitter->setSizes({int(geometry->listViewWidth), width() - int(geometry->listViewWidth)});
        if (geometry->mainViewRatio > 0.05 && geometry->mainViewRatio < 0.95)
            m_detailSplitter->setSizes(
                {int(1000 * geometry->mainViewRatio), int(1000 * (1 - geometry->mainViewRatio))});
    }
    setViewType(preferences->mainViewTypeForDocument(document).value_or(SplitView));
    setOrderBy(preferences->orderByForDocument(document).value_or(0));
    setArrangeBy(preferences->arrangeByForDocument(document).value_or(0));
    if (const double height = preferences->requestInspectorHeightForDocument(document).value_or(0); height > 0) {
        setCodeInspectorShown(true);
        m_listSplitter->setSizes({std::max(120, m_listSplitter->height() - int(height)), std::max(80, int(height))});
    }
}

void HXDocumentWindow::_saveInterfaceState()
{
    HXUIPreferencesManager *preferences = HXUIPreferencesManager::sharedManager();
    const HXDocument *document = m_document.get();
    preferences->setMainViewType(m_viewType, document);
    preferences->setOrderBy(m_orderBy, document);
    preferences->setArrangeBy(m_arrangeBy, document);
    preferences->setRequestInspectorHeight(isCodeInspectorShown() ? m_inspector->height() : 0, document);
    const QList<int> sizes = m_detailSplitter->sizes();
    const int total = sizes.value(0) + sizes.value(1);
    preferences->setListViewWidth(m_mainSplitter->sizes().value(0), total > 0 ? double(sizes.value(0)) / total : 0.4,
                                  document);
    const QStringList expanded = m_list->expandedItemURIs();
    preferences->setExpandedItems(QSet<QString>(expanded.begin(), expanded.end()), document);
    QSet<QString> selected;
    for (HXRequestTreeItem *item : m_list->selectedItems())
        selected.insert(item->objectURI());
    preferences->setSelectedItems(selected, document);
    preferences->setSelectedEnvironment(m_document->currentEnvironment(), document);
    preferences->saveUpdates();
}
