#pragma once

#include "HXCollectionImport.h"
#include "HXDocument.h"
#include "HXDynamicStringTextFormat.h"
#include "HXEnvironment.h"
#include "HXEnvironmentVariable.h"
#include "HXEnvironmentVariableValue.h"
#include "HXFetchRequest.h"
#include "HXImportSource.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"

#include <QFile>

// Reading fixtures and listing what an import put into a document, in the
// readable token form, so that expectations read like what a user sees
// (line breaks in bodies as \u23CE).
namespace HXInteropTest {

inline QByteArray fixture(const QString &name)
{
    QFile file(QStringLiteral(KEA_INTEROP_FIXTURES "/") + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline void listItems(HXDocument &document, const QList<HXRequestTreeItem *> &items, const QString &path,
                      QStringList &lines)
{
    const HXDynamicStringTextContext context{document.managedObjectContext(), {}};
    auto readable = [&](const QString &stored) {
        return HXDynamicStringTextFormat::stringFromArchivedString(stored, context);
    };
    for (HXRequestTreeItem *item : items) {
        const QString itemPath = path.isEmpty() ? item->name() : path + u'/' + item->name();
        if (auto *folder = dynamic_cast<HXRequestGroup *>(item)) {
            lines.append(itemPath + u'/');
            listItems(document, HXDocument::sortedItems(folder->children()), itemPath, lines);
            continue;
        }
        auto *request = static_cast<HXRequest *>(item);
        lines.append(itemPath + QStringLiteral(": ") + request->method() + u' ' + readable(request->url()));
        for (HXKeyValue *row : request->headers())
            lines.append(QStringLiteral("  %1%2: %3")
                             .arg(row->enabled() ? QString() : QStringLiteral("!"), readable(row->name()),
                                  readable(row->value())));
        if (!request->body().isEmpty())
            lines.append(QStringLiteral("  body ") + readable(request->body()).replace(u'\n', u'\u23CE'));
    }
}

// The tree, then each environment with its values.
inline QStringList listing(HXDocument &document)
{
    QStringList lines;
    listItems(document, document.topLevelItems(), QString(), lines);
    HXManagedObjectContext *context = document.managedObjectContext();
    HXFetchRequest fetch(HXEnvironmentVariable::staticEntityName());
    fetch.sortBy(QStringLiteral("name"));
    const auto variables = context->executeFetchRequest(fetch).valueOr({});
    for (HXEnvironment *environment : HXEnvironment::environmentsSortedByName(context)) {
        QStringList values;
        for (HXManagedObject *object : variables) {
            auto *variable = static_cast<HXEnvironmentVariable *>(object);
            const HXEnvironmentVariableValue *record = environment->valueForVariable(variable);
            values.append(variable->name() + u'=' +
                          (record ? HXDynamicStringTextFormat::stringFromArchivedString(record->value(), {context, {}})
                                  : QString()));
        }
        lines.append(QStringLiteral("env %1: %2").arg(environment->name(), values.join(QStringLiteral(", "))));
    }
    return lines;
}

} // namespace HXInteropTest
