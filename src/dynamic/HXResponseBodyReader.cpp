#include "HXResponseBodyReader.h"

#include "HXStringAdditions.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QLocale>

#include <libxml/parser.h>
#include <libxml/tree.h>

namespace {

QVariant plainJSONValue(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
        return QVariant(qint64(value.toBool() ? 1 : 0));
    case QMetaType::QVariantMap: {
        QVariantMap map = value.toMap();
        for (auto it = map.begin(); it != map.end(); ++it)
            it.value() = plainJSONValue(it.value());
        return map;
    }
    case QMetaType::QVariantList: {
        QVariantList list = value.toList();
        for (QVariant &item : list)
            item = plainJSONValue(item);
        return list;
    }
    default:
        return value;
    }
}

QString xmlText(const xmlChar *text)
{
    return text != nullptr ? QString::fromUtf8(reinterpret_cast<const char *>(text)) : QString();
}

// Element to value, without recursion (deep documents must not exhaust the
// stack): children are converted before their parents, in document order.
QVariant convertElement(xmlNode *root)
{
    struct Frame
    {
        xmlNode *node;
        xmlNode *nextChild;
        QVariantMap map;
        QStringList repeated;
        QString text;
        bool hasStructure;
    };
    auto finish = [](Frame &frame) -> QVariant {
        if (!frame.hasStructure)
            return frame.text;
        const QString trimmed = frame.text.trimmed();
        if (!trimmed.isEmpty())
            frame.map.insert(QStringLiteral("text"), trimmed);
        return frame.map;
    };
    auto open = [](xmlNode *node) {
        Frame frame{node, node->children, {}, {}, {}, node->properties != nullptr};
        for (xmlAttr *attribute = node->properties; attribute != nullptr; attribute = attribute->next) {
            xmlChar *value = xmlNodeListGetString(node->doc, attribute->children, 1);
            frame.map.insert(xmlText(attribute->name), xmlText(value));
            xmlFree(value);
        }
        return frame;
    };
    std::vector<Frame> stack;
    stack.push_back(open(root));
    QVariant result;
    while (!stack.empty()) {
        Frame &frame = stack.back();
        xmlNode *child = frame.nextChild;
        if (child == nullptr) {
            QVariant value = finish(frame);
            const QString name = xmlText(frame.node->name);
            stack.pop_back();
            if (stack.empty()) {
                result = QVariantMap{{name, value}};
                break;
            }
            Frame &parent = stack.back();
            parent.hasStructure = true;
            if (!parent.map.contains(name)) {
                parent.map.insert(name, value);
            } else if (parent.repeated.contains(name)) {
                QVariantList list = parent.map.value(name).toList();
                list.append(value);
                parent.map.insert(name, list);
            } else {
                parent.repeated.append(name);
                parent.map.insert(name, QVariantList{parent.map.value(name), value});
            }
            continue;
        }
        frame.nextChild = child->next;
        if (child->type == XML_ELEMENT_NODE) {
            stack.push_back(open(child));
        } else if (child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE) {
            frame.text += xmlText(child->content);
        }
    }
    return result;
}

} // namespace

QVariant HXResponseBodyReader::objectFromJSON(const QByteArray &body)
{
    QJsonParseError error;
    QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error == QJsonParseError::NoError)
        return plainJSONValue(document.toVariant());
    // Qt's reader takes only objects and arrays at the top: read a single
    // value as the only element of an array.
    document = QJsonDocument::fromJson("[" + body + "]", &error);
    if (error.error != QJsonParseError::NoError || !document.isArray() || document.array().size() != 1)
        return {};
    return plainJSONValue(document.toVariant().toList().first());
}

QVariant HXResponseBodyReader::objectFromXML(const QByteArray &body)
{
    if (body.isEmpty() || body.size() > std::numeric_limits<int>::max())
        return {};
    xmlDoc *document = xmlReadMemory(body.constData(), int(body.size()), nullptr, nullptr,
                                     XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOCDATA);
    if (document == nullptr)
        return {};
    xmlNode *root = xmlDocGetRootElement(document);
    QVariant result = root != nullptr ? convertElement(root) : QVariant();
    xmlFreeDoc(document);
    return result;
}

QVariant HXResponseBodyReader::objectFromFormURLEncoded(const QString &body)
{
    QVariantMap map;
    const QStringList pairs = body.split(u'&', Qt::SkipEmptyParts);
    for (const QString &pair : pairs) {
        const qsizetype equals = pair.indexOf(u'=');
        const QString name = equals < 0 ? pair : pair.left(equals);
        const QString value = equals < 0 ? QString() : pair.mid(equals + 1);
        map.insert(
            HXStringAdditions::stringByReplacingPercentEscapesUsingEncoding(name, HXStringEncoding::UTF8, true),
            HXStringAdditions::stringByReplacingPercentEscapesUsingEncoding(value, HXStringEncoding::UTF8, true));
    }
    return map;
}

QStringList HXResponseBodyReader::keyPathComponents(const QString &keyPath)
{
    QStringList components;
    QString current;
    for (qsizetype i = 0; i < keyPath.size(); ++i) {
        const QChar c = keyPath.at(i);
        if (c == u'\\' && i + 1 < keyPath.size()) {
            current += keyPath.at(++i);
        } else if (c == u'.' || c == u'[' || c == u']') {
            if (!current.isEmpty())
                components.append(current);
            current.clear();
        } else {
            current += c;
        }
    }
    if (!current.isEmpty())
        components.append(current);
    return components;
}

QString HXResponseBodyReader::stringAtKeyPath(const QString &keyPath, const QVariant &object)
{
    QVariant current = object;
    for (const QString &component : keyPathComponents(keyPath)) {
        if (current.typeId() == QMetaType::QVariantMap) {
            const QVariantMap map = current.toMap();
            const auto it = map.constFind(component);
            if (it == map.constEnd())
                return QString();
            current = it.value();
        } else if (current.typeId() == QMetaType::QVariantList) {
            const QVariantList list = current.toList();
            bool ok = false;
            const qint64 index = component.toLongLong(&ok);
            if (!ok || index < 0 || index >= list.size())
                return QString();
            current = list.at(index);
        } else {
            return QString();
        }
    }
    switch (current.typeId()) {
    case QMetaType::QString:
        return current.toString();
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::UInt:
    case QMetaType::ULongLong:
        return QString::number(current.toLongLong());
    case QMetaType::Double:
        return QString::number(current.toDouble(), 'g', QLocale::FloatingPointShortest);
    default:
        return QString();
    }
}
