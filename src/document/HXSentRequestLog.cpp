#include "HXSentRequestLog.h"

#include "HXHTTPProxyConfiguration.h"
#include "HXHTTPRequest.h"
#include "HXHTTPRequestMessage.h"
#include "HXResponse.h"

#include <QCoreApplication>

#include <algorithm>

namespace {

QString hexEscape(char16_t c)
{
    const bool wide = c > 0xff;
    return (wide ? QStringLiteral("\\u") : QStringLiteral("\\x")) +
           QString::number(c, 16).toUpper().rightJustified(wide ? 4 : 2, u'0');
}

// Characters that change how the text around them is laid out or read
// without showing themselves: direction marks, embeddings and isolates, the
// Unicode line and paragraph separators, and the byte-order mark.
bool isInvisibleFormat(char16_t c)
{
    return c == 0x061c || c == 0x200e || c == 0x200f || (c >= 0x202a && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069) ||
           c == 0x2028 || c == 0x2029 || c == 0xfeff;
}

} // namespace

HXSentRequestLog::HXSentRequestLog(QObject *parent) : QObject(parent) {}

HXSentRequestLog *HXSentRequestLog::logForDocument(QObject *document)
{
    if (document == nullptr)
        return nullptr;
    auto *log = document->findChild<HXSentRequestLog *>(QString(), Qt::FindDirectChildrenOnly);
    return log != nullptr ? log : new HXSentRequestLog(document);
}

QString HXSentRequestLog::keyForResponse(const HXResponse &response)
{
    const QDateTime date = response.date();
    return response.requestUUID() + u'|' + QString::number(date.isValid() ? date.toMSecsSinceEpoch() : 0) + u'|' +
           QString::number(qHash(response.headersData(), 0), 16);
}

void HXSentRequestLog::recordRequest(const HXResponse &response, const HXHTTPRequest &sent)
{
    const QUrl url = sent.URL();
    const QByteArray body = sent.requestBodyData();
    const QByteArray keptBody = body.left(maximumBodyLength);
    const HXHTTPSettings &settings = sent.settings();
    const QString engine = sent.libraryIdentifier();

    // To a plain HTTP proxy the request line carries the whole URL. The Qt
    // engine always follows the system's proxy, which is not known here.
    int proxyMode = HXHTTPProxyDecision::ProxyModeDirect;
    if (engine != u"URLConnection" &&
        (settings.proxyConfiguration == u"NoProxy" || settings.proxyConfiguration == u"Custom")) {
        QUrl pacURL;
        if (HXHTTPProxyConfiguration::decisionFromSettings(url, settings, &pacURL).proxyMode ==
            HXHTTPProxyDecision::ProxyModeHTTP)
            proxyMode = HXHTTPProxyDecision::ProxyModeHTTP;
    }

    Entry entry;
    if (engine == u"GCDHTTPRequest") {
        // The own engine reports its headers as it wrote them, defaults
        // included, so building the message again adds nothing: these are
        // its bytes, with the body left out where it leaves it out.
        HXHTTPHeaderList headers = sent.requestHeaders();
        const QByteArray message = HXHTTPRequestMessage::build(url, sent.method(), headers, keptBody, proxyMode,
                                                               settings.alwaysSendRequestBody, sent.URLText());
        const qsizetype headEnd = message.indexOf("\r\n\r\n");
        entry.head = message.left(headEnd);
        entry.body = message.mid(headEnd + 4);
        entry.omittedBodyLength = entry.body.isEmpty() ? 0 : body.size() - keptBody.size();
    } else {
        // The other engines get the headers folded by name and add their
        // own, which they do not report.
        const QString version = response.httpVersion();
        QString head = sent.method() + u' ' +
                       QString::fromLatin1(HXHTTPRequestMessage::requestTarget(url, proxyMode, sent.URLText())) + u' ' +
                       (version.startsWith(u"HTTP/") ? version : QStringLiteral("HTTP/1.1"));
        const QMap<QString, QString> headers = HXHTTPHeaders::headersDictionaryFromArray(sent.requestHeaders());
        for (auto it = headers.cbegin(); it != headers.cend(); ++it)
            head += QStringLiteral("\r\n") + it.key() + QStringLiteral(": ") + it.value();
        entry.head = head.toUtf8();
        entry.body = keptBody;
        entry.omittedBodyLength = body.size() - keptBody.size();
    }
    insertEntry(keyForResponse(response), std::move(entry));
}

void HXSentRequestLog::insertEntry(const QString &key, Entry entry)
{
    if (entry.body.size() > maximumBodyLength) {
        entry.omittedBodyLength += entry.body.size() - maximumBodyLength;
        entry.body.truncate(maximumBodyLength);
    }
    if (const auto existing = m_entries.find(key); existing != m_entries.end()) {
        m_totalLength -= _length(existing->second);
        m_entries.erase(existing);
        m_order.erase(std::find(m_order.begin(), m_order.end(), key));
    }
    m_totalLength += _length(entry);
    m_entries.emplace(key, std::move(entry));
    m_order.push_back(key);
    // The newest entry stays even when it alone is over the total.
    while (m_order.size() > 1 && (m_order.size() > size_t(maximumEntries) || m_totalLength > maximumTotalLength)) {
        const auto oldest = m_entries.find(m_order.front());
        m_totalLength -= _length(oldest->second);
        m_entries.erase(oldest);
        m_order.pop_front();
    }
}

const HXSentRequestLog::Entry *HXSentRequestLog::entryForResponse(const HXResponse &response) const
{
    const auto found = m_entries.find(keyForResponse(response));
    return found == m_entries.end() ? nullptr : &found->second;
}

QString HXSentRequestLog::visibleText(QStringView text)
{
    QString visible;
    visible.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        if (c == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n')
            continue;
        if (c == u'\n' || c == u'\t')
            visible += QChar(c);
        else if (c < 0x20 || (c >= 0x7f && c <= 0x9f) || isInvisibleFormat(c))
            visible += hexEscape(c);
        else
            visible += QChar(c);
    }
    return visible;
}

QString HXSentRequestLog::displayText(const Entry &entry)
{
    QString text = visibleText(QString::fromUtf8(entry.head)) + u'\n';
    if (!entry.body.isEmpty())
        text += u'\n' + visibleText(QString::fromUtf8(entry.body));
    if (entry.omittedBodyLength > 0)
        text += u'\n' + tr("… %1 more bytes of the body were sent and are not shown.").arg(entry.omittedBodyLength);
    return text;
}
