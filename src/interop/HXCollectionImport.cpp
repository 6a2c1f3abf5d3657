#include "HXCollectionImport.h"

#include "HXDocument.h"
#include "HXDynamicStringTextFormat.h"
#include "HXDynamicValueEngine.h"
#include "HXEnvironment.h"
#include "HXEnvironmentVariable.h"
#include "HXEnvironmentVariableValue.h"
#include "HXFetchRequest.h"
#include "HXInteropText.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXUndoManager.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace {

class Writer
{
public:
    Writer(HXDocument *document, const QString &documentFolder, HXImportReport &report)
        : m_document(document), m_context(document->managedObjectContext()),
          m_report(report), m_textContext{m_context, documentFolder}
    {}

    // The stored form of a readable text; on a parse error (which the
    // conversion should never produce) the text is kept as plain text.
    QString stored(const QString &readable, const QString &where)
    {
        auto archived = HXDynamicStringTextFormat::archivedStringFromText(readable, m_textContext);
        if (archived)
            return *archived;
        m_report.skipped.append(QStringLiteral("%1: kept as plain text (%2)").arg(where, archived.error().description));
        return HXDynamicValueEngine::archiveAttributedString(HXDynamicString(readable));
    }
    QString storedTemplate(const QString &text, const QString &where)
    {
        return stored(HXInteropText::readableText(text), where);
    }

    HXEnvironmentVariable *variableNamed(const QString &name)
    {
        HXFetchRequest fetch(HXEnvironmentVariable::staticEntityName());
        for (HXManagedObject *object : m_context->executeFetchRequest(fetch).valueOr({})) {
            auto *variable = static_cast<HXEnvironmentVariable *>(object);
            if (variable->name() == name)
                return variable;
        }
        return nullptr;
    }

    void writeVariables(const HXInteropCollection &collection)
    {
        // Every name the texts and environments use, in a stable order.
        QStringList names;
        auto note = [&names](const QString &name) {
            if (!names.contains(name))
                names.append(name);
        };
        for (const auto &[name, value] : collection.variables)
            note(name);
        for (const HXInteropEnvironment &environment : collection.environments) {
            for (const auto &[name, value] : environment.values)
                note(name);
        }
        QSet<QString> used;
        QSet<QString> generated;
        collectNames(collection.items, used, generated);
        for (const auto &[name, value] : collection.variables)
            HXInteropText::readableText(value, &used, &generated);
        QStringList sortedUsed(used.begin(), used.end());
        sortedUsed.sort();
        for (const QString &name : std::as_const(sortedUsed))
            note(name);
        QStringList sortedGenerated(generated.begin(), generated.end());
        sortedGenerated.sort();
        for (const QString &name : std::as_const(sortedGenerated))
            m_report.skipped.append(
                QStringLiteral("{{%1}}: a generated value with no Kea counterpart; it became a variable").arg(name));

        QList<HXEnvironment *> environments;
        for (const HXInteropEnvironment &imported : collection.environments) {
            HXEnvironment *environment = nullptr;
            for (HXEnvironment *existing : HXEnvironment::environmentsSortedByName(m_context)) {
                if (existing->name() == imported.name)
                    environment = existing;
            }
            if (environment == nullptr) {
                environment = HXEnvironment::addEnvironment(imported.name, m_context);
                ++m_report.environments;
            }
            environments.append(environment);
        }
        if (!names.isEmpty() && HXEnvironment::createDefaultEnvironmentIfNeeded(m_context) != nullptr)
            ++m_report.environments;

        // Variables first (empty), so that values may refer to each other.
        QList<HXEnvironmentVariable *> added;
        for (const QString &name : std::as_const(names)) {
            if (variableNamed(name) == nullptr) {
                added.append(HXEnvironment::addEnvironmentVariable(name, QString(), m_context));
                ++m_report.variables;
            }
        }
        for (const auto &[name, value] : collection.variables) {
            HXEnvironmentVariable *variable = variableNamed(name);
            if (!added.contains(variable))
                continue;
            const QString storedValue = storedTemplate(value, QStringLiteral("variable ") + name);
            for (HXEnvironmentVariableValue *record : variable->values())
                record->setValue(storedValue);
        }
        for (qsizetype i = 0; i < environments.size(); ++i) {
            for (const auto &[name, value] : collection.environments.at(i).values) {
                HXEnvironmentVariableValue *record = environments.at(i)->valueForVariable(variableNamed(name));
                if (record != nullptr)
                    record->setValue(storedTemplate(value, QStringLiteral("variable ") + name));
            }
        }
    }

    void writeItems(const QList<HXInteropItem> &items, HXRequestGroup *parent)
    {
        QList<HXRequestTreeItem *> siblings =
            parent != nullptr ? HXDocument::sortedItems(parent->children()) : m_document->topLevelItems();
        HXRequestTreeItem *last = siblings.isEmpty() ? nullptr : siblings.last();
        for (const HXInteropItem &item : items) {
            if (item.isFolder) {
                auto *folder = m_context->insertNewObject<HXRequestGroup>(HXRequestGroup::staticEntityName());
                folder->setName(item.name);
                folder->setOrderAndParent(parent, last);
                ++m_report.folders;
                writeItems(item.children, folder);
                last = folder;
            } else {
                auto *request = m_context->insertNewObject<HXRequest>(HXRequest::staticEntityName());
                request->setOrderAndParent(parent, last);
                writeRequest(item.request, request);
                ++m_report.requests;
                last = request;
            }
        }
    }

private:
    static void collectNames(const QList<HXInteropItem> &items, QSet<QString> &used, QSet<QString> &generated)
    {
        for (const HXInteropItem &item : items) {
            if (item.isFolder) {
                collectNames(item.children, used, generated);
                continue;
            }
            const HXInteropRequest &request = item.request;
            QStringList texts = {request.url, request.rawBody, request.username, request.password, request.token};
            for (const HXInteropField &field : request.headers + request.fields)
                texts << field.name << field.value;
            for (const QString &text : std::as_const(texts))
                HXInteropText::readableText(text, &used, &generated);
        }
    }

    void writeRequest(const HXInteropRequest &imported, HXRequest *request)
    {
        const QString where = imported.name;
        request->setName(imported.name);
        request->setMethod(imported.method.toUpper());
        request->setUrl(storedTemplate(imported.url, where + QStringLiteral(" (URL)")));
        for (const HXInteropField &header : imported.headers) {
            HXKeyValue *row = HXKeyValue::addKeyValueName(storedTemplate(header.name, where),
                                                          storedTemplate(header.value, where + u' ' + header.name),
                                                          QStringLiteral("request"), request);
            row->setEnabled(header.enabled);
        }
        if (imported.auth == HXInteropRequest::Auth::Basic) {
            const QString value = QStringLiteral("{{basic %1 %2}}")
                                      .arg(HXInteropText::quotedArgument(imported.username),
                                           HXInteropText::quotedArgument(imported.password));
            HXKeyValue::addKeyValueName(QStringLiteral("Authorization"),
                                        stored(value, where + QStringLiteral(" (auth)")), QStringLiteral("request"),
                                        request);
        } else if (imported.auth == HXInteropRequest::Auth::Bearer) {
            HXKeyValue::addKeyValueName(
                QStringLiteral("Authorization"),
                stored(QStringLiteral("Bearer ") + HXInteropText::readableText(imported.token), where),
                QStringLiteral("request"), request);
        }
        switch (imported.body) {
        case HXInteropRequest::Body::None:
            break;
        case HXInteropRequest::Body::Raw:
            request->setBody(storedTemplate(imported.rawBody, where + QStringLiteral(" (body)")));
            break;
        case HXInteropRequest::Body::URLEncoded:
        case HXInteropRequest::Body::FormData: {
            const bool multipart = imported.body == HXInteropRequest::Body::FormData;
            QString token = multipart ? QStringLiteral("{{multipart") : QStringLiteral("{{form");
            for (const HXInteropField &field : imported.fields) {
                QString value = HXInteropText::quotedArgument(field.value);
                if (field.isFile) {
                    // A file that is not there (yet) leaves the field's file
                    // to be chosen rather than failing the whole body.
                    const QString path = QDir(m_textContext.documentFolder).absoluteFilePath(field.value);
                    if (!field.value.isEmpty() && QFileInfo(path).isFile()) {
                        value = QStringLiteral("\"{{file %1}}\"").arg(HXInteropText::quotedArgument(path));
                    } else {
                        value = QStringLiteral("\"{{file null}}\"");
                        m_report.skipped.append(
                            field.value.isEmpty()
                                ? QStringLiteral("%1: field '%2' names no file; choose one").arg(where, field.name)
                                : QStringLiteral("%1: file '%2' of field '%3' not found; choose it again")
                                      .arg(where, field.value, field.name));
                    }
                }
                token += QStringLiteral(" %1%2=%3")
                             .arg(field.enabled ? QString() : QStringLiteral("!"),
                                  HXInteropText::quotedArgument(field.name), value);
            }
            request->setBody(stored(token + QStringLiteral("}}"), where + QStringLiteral(" (body)")));
            break;
        }
        }
        if (imported.followRedirects)
            request->setFollowRedirects(*imported.followRedirects);
        if (imported.timeout)
            request->setTimeoutInterval(*imported.timeout);
    }

    HXDocument *m_document;
    HXManagedObjectContext *m_context;
    HXImportReport &m_report;
    HXDynamicStringTextContext m_textContext;
};

} // namespace

QString HXImportReport::text() const
{
    auto count = [](int n, const char *one, const char *many) {
        return QStringLiteral("%1 %2").arg(n).arg(QString::fromLatin1(n == 1 ? one : many));
    };
    QString text = QStringLiteral("Imported %1 in %2, %3, %4.\n")
                       .arg(count(requests, "request", "requests"), count(folders, "folder", "folders"),
                            count(variables, "new variable", "new variables"),
                            count(environments, "new environment", "new environments"));
    if (!skipped.isEmpty()) {
        text += QStringLiteral("Not imported:\n");
        for (const QString &line : skipped)
            text += QStringLiteral("  ") + line + u'\n';
    }
    return text;
}

HXImportReport HXCollectionImport::importCollection(const HXInteropCollection &collection, HXDocument *document,
                                                    HXRequestGroup *parent, const QString &documentFolder)
{
    HXImportReport report;
    report.skipped = collection.skipped;
    HXManagedObjectContext *context = document->managedObjectContext();
    context->processPendingChanges();
    HXUndoManager *undo = context->undoManager();
    if (undo != nullptr)
        undo->beginUndoGrouping();
    Writer writer(document, documentFolder, report);
    writer.writeVariables(collection);
    writer.writeItems(collection.items, parent);
    context->processPendingChanges();
    if (undo != nullptr) {
        undo->setActionName(QCoreApplication::translate("HXCollectionImport", "Import"));
        undo->endUndoGrouping();
    }
    return report;
}
