#include "HXXMLString.h"

#include "HXTextLogging.h"

#include <libxml/globals.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlsave.h>

#include <climits>
#include <memory>

namespace {
struct DocDeleter
{
    void operator()(xmlDoc *doc) const { xmlFreeDoc(doc); }
};
struct BufferDeleter
{
    void operator()(xmlBuffer *buffer) const { xmlBufferFree(buffer); }
};

// libxml2 takes the indent of a save context from a per-thread global when
// the context is made; this sets it for one save and puts the old one back.
class IndentScope
{
public:
    explicit IndentScope(const char *indent) : m_saved(xmlTreeIndentString) { xmlTreeIndentString = indent; }
    ~IndentScope() { xmlTreeIndentString = m_saved; }
    IndentScope(const IndentScope &) = delete;
    IndentScope &operator=(const IndentScope &) = delete;

private:
    const char *m_saved;
};
} // namespace

std::optional<QByteArray> HXXMLString::prettyPrintXML(const QByteArray &bytes, const QByteArray &indent, bool format,
                                                      const char *encoding)
{
    if (bytes.isEmpty() || bytes.size() > INT_MAX)
        return std::nullopt;
    // Entities are not substituted and no DTD is loaded, so a body cannot
    // reach files or the network; libxml2's own limits bound depth and size.
    const int options = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOBLANKS;
    std::unique_ptr<xmlDoc, DocDeleter> doc(
        xmlReadMemory(bytes.constData(), int(bytes.size()), nullptr, encoding, options));
    if (!doc || xmlDocGetRootElement(doc.get()) == nullptr)
        return std::nullopt;

    std::unique_ptr<xmlBuffer, BufferDeleter> buffer(xmlBufferCreate());
    if (!buffer)
        return std::nullopt;
    const QByteArray indentString = indent; // kept alive while the context exists
    long written = -1;
    {
        IndentScope scope(indentString.constData());
        xmlSaveCtxt *save = xmlSaveToBuffer(buffer.get(), "UTF-8", format ? XML_SAVE_FORMAT : 0);
        if (save == nullptr)
            return std::nullopt;
        written = xmlSaveDoc(save, doc.get());
        if (xmlSaveClose(save) < 0)
            written = -1;
    }
    if (written < 0) {
        qCWarning(lcKeaText) << "could not serialize an XML document";
        return std::nullopt;
    }
    return QByteArray(reinterpret_cast<const char *>(xmlBufferContent(buffer.get())), xmlBufferLength(buffer.get()));
}

QString HXXMLString::stringByPrettyPrintingXML(const QString &text)
{
    if (const std::optional<QByteArray> pretty = prettyPrintXML(text.toUtf8()))
        return QString::fromUtf8(*pretty);
    return text;
}
