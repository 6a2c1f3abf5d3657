#include "HXPostmanExporter.h"

#include "HXBasicAuthDynamicValue.h"
#include "HXBodyFormKeyValueDynamicValue.h"
#include "HXBodyMultipartFormDataDynamicValue.h"
#include "HXDocument.h"
#include "HXDynamicStringTextFormat.h"
#include "HXDynamicValueEngine.h"
#include "HXEnvironment.h"
#include "HXEnvironmentVariable.h"
#include "HXEnvironmentVariableDynamicValue.h"
#include "HXEnvironmentVariableValue.h"
#include "HXFetchRequest.h"
#include "HXFileContentDynamicValue.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXTimestampDynamicValue.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUuid>

namespace {

class Exporter
{
public:
    Exporter(HXDocument *document, QStringList *notes)
        : m_document(document),
          m_notes(notes), m_context{document->managedObjectContext(), QFileInfo(document->fileName()).absolutePath()}
    {}

    // A stored dynamic string as Postman text.
    QString text(const QString &stored)
    {
        const HXDynamicString string = HXDynamicValueEngine::unarchiveAttributedString(stored);
        QString result;
        string.enumerateComponentsWithBlock([&](const HXDynamicStringComponent &component, bool &) {
            if (component.isText()) {
                result += component.text;
                return;
            }
            const HXDynamicValuePtr value = component.attachment ? component.attachment->dynamicValue() : nullptr;
            if (!value)
                return;
            if (auto variable = std::dynamic_pointer_cast<HXEnvironmentVariableDynamicValue>(value)) {
                if (variable->environmentVariable() != nullptr) {
                    result += QStringLiteral("{{") + variable->environmentVariable()->name() + QStringLiteral("}}");
                    return;
                }
            }
            if (auto timestamp = std::dynamic_pointer_cast<HXTimestampDynamicValue>(value)) {
                if (timestamp->format() == HXTimestampDynamicValue::FormatEpochTime) {
                    result += QStringLiteral("{{$timestamp}}");
                    return;
                }
                if (timestamp->format() == HXTimestampDynamicValue::FormatISO8601) {
                    result += QStringLiteral("{{$isoTimestamp}}");
                    return;
                }
            }
            result += QStringLiteral("{{") + tokenVariable(*value) + QStringLiteral("}}");
        });
        return result;
    }

    QJsonArray items(const QList<HXRequestTreeItem *> &treeItems)
    {
        QJsonArray array;
        for (HXRequestTreeItem *item : treeItems) {
            if (auto *folder = dynamic_cast<HXRequestGroup *>(item)) {
                QJsonObject object{{QStringLiteral("name"), folder->name()},
                                   {QStringLiteral("item"), items(HXDocument::sortedItems(folder->children()))}};
                array.append(object);
            } else if (auto *request = dynamic_cast<HXRequest *>(item)) {
                array.append(QJsonObject{{QStringLiteral("name"), request->name()},
                                         {QStringLiteral("request"), requestObject(request)}});
            }
        }
        return array;
    }

    QJsonArray variables()
    {
        QJsonArray array;
        HXManagedObjectContext *context = m_document->managedObjectContext();
        HXEnvironment *environment = m_document->currentEnvironment();
        const QList<HXEnvironment *> all = HXEnvironment::environmentsSortedByName(context);
        if (environment == nullptr && !all.isEmpty())
            environment = all.first();
        HXFetchRequest fetch(HXEnvironmentVariable::staticEntityName());
        fetch.sortBy(QStringLiteral("name"));
        for (HXManagedObject *object : context->executeFetchRequest(fetch).valueOr({})) {
            auto *variable = static_cast<HXEnvironmentVariable *>(object);
            const HXEnvironmentVariableValue *record =
                environment != nullptr ? environment->valueForVariable(variable) : nullptr;
            array.append(QJsonObject{{QStringLiteral("key"), variable->name()},
                                     {QStringLiteral("value"), record != nullptr ? text(record->value()) : QString()}});
        }
        for (const QJsonValue &token : std::as_const(m_tokenVariables))
            array.append(token);
        return array;
    }

private:
    QString tokenVariable(const HXDynamicValue &value)
    {
        const QString readable = HXDynamicStringTextFormat::stringForDynamicValue(value, m_context);
        const QString word = readable.mid(2).section(u' ', 0, 0).remove(QStringLiteral("}}"));
        const QString key = QStringLiteral("kea_%1_%2").arg(word).arg(m_tokenVariables.size() + 1);
        const QString note = QStringLiteral("Kea token %1 has no Postman counterpart").arg(readable);
        m_tokenVariables.append(QJsonObject{
            {QStringLiteral("key"), key}, {QStringLiteral("value"), readable}, {QStringLiteral("description"), note}});
        if (m_notes != nullptr)
            m_notes->append(QStringLiteral("{{%1}}: %2").arg(key, note));
        return key;
    }

    QJsonArray rows(const HXDynamicKeyValueRows &keyValues, bool files)
    {
        QJsonArray array;
        for (const HXDynamicKeyValueRow &row : keyValues) {
            QJsonObject field{{QStringLiteral("key"), text(row.name)}};
            const HXDynamicValuePtr only =
                HXDynamicValueEngine::unarchiveAttributedString(row.value).onlyDynamicValue();
            auto file = std::dynamic_pointer_cast<HXFileContentDynamicValue>(only);
            if (files && file) {
                field.insert(QStringLiteral("type"), QStringLiteral("file"));
                // A file in the document's folder is named relative to it.
                QString path =
                    HXFileContentDynamicValue::pathForBookmarkData(file->bookmarkData(), m_context.documentFolder)
                        .value_or(QString());
                const QString relative = QDir(m_context.documentFolder).relativeFilePath(path);
                if (!path.isEmpty() && !m_context.documentFolder.isEmpty() &&
                    !relative.startsWith(QStringLiteral("..")))
                    path = relative;
                field.insert(QStringLiteral("src"), path);
            } else {
                field.insert(QStringLiteral("value"), text(row.value));
                if (files)
                    field.insert(QStringLiteral("type"), QStringLiteral("text"));
            }
            if (!row.enabled)
                field.insert(QStringLiteral("disabled"), true);
            array.append(field);
        }
        return array;
    }

    QJsonObject requestObject(HXRequest *request)
    {
        QJsonObject object{{QStringLiteral("method"), request->method()}};
        QJsonArray headers;
        for (HXKeyValue *row : request->headers()) {
            if (row->isBlank())
                continue;
            const QString name = text(row->name());
            const HXDynamicString value = HXDynamicValueEngine::unarchiveAttributedString(row->value());
            if (name.compare(QStringLiteral("Authorization"), Qt::CaseInsensitive) == 0 && row->enabled() &&
                !object.contains(QStringLiteral("auth"))) {
                if (auto basic = std::dynamic_pointer_cast<HXBasicAuthDynamicValue>(value.onlyDynamicValue())) {
                    object.insert(
                        QStringLiteral("auth"),
                        authObject(QStringLiteral("basic"), {{QStringLiteral("username"), text(basic->username())},
                                                             {QStringLiteral("password"), text(basic->password())}}));
                    continue;
                }
                const QString bearer = text(row->value());
                if (bearer.startsWith(QStringLiteral("Bearer "))) {
                    object.insert(QStringLiteral("auth"),
                                  authObject(QStringLiteral("bearer"), {{QStringLiteral("token"), bearer.mid(7)}}));
                    continue;
                }
            }
            QJsonObject header{{QStringLiteral("key"), name}, {QStringLiteral("value"), text(row->value())}};
            if (!row->enabled())
                header.insert(QStringLiteral("disabled"), true);
            headers.append(header);
        }
        object.insert(QStringLiteral("header"), headers);
        object.insert(QStringLiteral("url"), QJsonObject{{QStringLiteral("raw"), text(request->url())}});
        const HXDynamicString body = HXDynamicValueEngine::unarchiveAttributedString(request->body());
        const HXDynamicValuePtr only = body.onlyDynamicValue();
        if (auto form = std::dynamic_pointer_cast<HXBodyFormKeyValueDynamicValue>(only)) {
            object.insert(QStringLiteral("body"),
                          QJsonObject{{QStringLiteral("mode"), QStringLiteral("urlencoded")},
                                      {QStringLiteral("urlencoded"), rows(form->keyValues(), false)}});
        } else if (auto multipart = std::dynamic_pointer_cast<HXBodyMultipartFormDataDynamicValue>(only)) {
            object.insert(QStringLiteral("body"),
                          QJsonObject{{QStringLiteral("mode"), QStringLiteral("formdata")},
                                      {QStringLiteral("formdata"), rows(multipart->keyValues(), true)}});
        } else if (!body.isEmpty()) {
            object.insert(QStringLiteral("body"), QJsonObject{{QStringLiteral("mode"), QStringLiteral("raw")},
                                                              {QStringLiteral("raw"), text(request->body())}});
        }
        return object;
    }

    static QJsonObject authObject(const QString &type, const QList<QPair<QString, QString>> &parameters)
    {
        QJsonArray array;
        for (const auto &[key, value] : parameters)
            array.append(QJsonObject{{QStringLiteral("key"), key},
                                     {QStringLiteral("value"), value},
                                     {QStringLiteral("type"), QStringLiteral("string")}});
        return QJsonObject{{QStringLiteral("type"), type}, {type, array}};
    }

    HXDocument *m_document;
    QStringList *m_notes;
    HXDynamicStringTextContext m_context;
    QJsonArray m_tokenVariables;
};

} // namespace

QByteArray HXPostmanExporter::exportDocument(HXDocument *document, QStringList *notes)
{
    Exporter exporter(document, notes);
    const QJsonArray items = exporter.items(document->topLevelItems());
    const QString name = QFileInfo(document->fileName()).completeBaseName();
    QJsonObject collection{
        {QStringLiteral("info"),
         QJsonObject{{QStringLiteral("_postman_id"), QUuid::createUuid().toString(QUuid::WithoutBraces)},
                     {QStringLiteral("name"), name.isEmpty() ? QStringLiteral("Kea") : name},
                     {QStringLiteral("schema"),
                      QStringLiteral("https://schema.getpostman.com/json/collection/v2.1.0/collection.json")}}},
        {QStringLiteral("item"), items},
        {QStringLiteral("variable"), exporter.variables()},
    };
    return QJsonDocument(collection).toJson(QJsonDocument::Indented);
}
