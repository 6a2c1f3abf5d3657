#include "HXCLIRunReport.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QXmlStreamWriter>

#include <algorithm>

namespace {

// XML 1.0 admits no control characters besides tab and line ends; anything
// from a server or a document could hold them.
QString xmlSafe(const QString &text)
{
    QString safe = text;
    for (QChar &c : safe) {
        const char16_t code = c.unicode();
        if ((code < 0x20 && code != u'\t' && code != u'\n' && code != u'\r') || code == 0xFFFE || code == 0xFFFF)
            c = QChar(0xFFFD);
    }
    return safe;
}

QString secondsText(double value)
{
    return QString::number(value, 'f', 3);
}

QString outcomeName(HXCLIRunReport::Outcome outcome)
{
    switch (outcome) {
    case HXCLIRunReport::Outcome::Passed:
        return QStringLiteral("passed");
    case HXCLIRunReport::Outcome::Failed:
        return QStringLiteral("failed");
    case HXCLIRunReport::Outcome::Error:
        return QStringLiteral("error");
    case HXCLIRunReport::Outcome::Skipped:
        break;
    }
    return QStringLiteral("skipped");
}

} // namespace

int HXCLIRunReport::count(Outcome outcome) const
{
    return int(std::count_if(cases.cbegin(), cases.cend(), [outcome](const Case &c) { return c.outcome == outcome; }));
}

QByteArray HXCLIRunReport::junitXML() const
{
    QByteArray bytes;
    QXmlStreamWriter xml(&bytes);
    xml.setAutoFormatting(true);
    xml.setAutoFormattingIndent(2);
    xml.writeStartDocument();
    const auto writeCounts = [&] {
        xml.writeAttribute(QStringLiteral("tests"), QString::number(cases.size()));
        xml.writeAttribute(QStringLiteral("failures"), QString::number(count(Outcome::Failed)));
        xml.writeAttribute(QStringLiteral("errors"), QString::number(count(Outcome::Error)));
        xml.writeAttribute(QStringLiteral("skipped"), QString::number(count(Outcome::Skipped)));
        xml.writeAttribute(QStringLiteral("time"), secondsText(seconds));
    };
    xml.writeStartElement(QStringLiteral("testsuites"));
    xml.writeAttribute(QStringLiteral("name"), xmlSafe(suiteName));
    writeCounts();
    xml.writeStartElement(QStringLiteral("testsuite"));
    xml.writeAttribute(QStringLiteral("name"), xmlSafe(suiteName));
    writeCounts();
    xml.writeAttribute(QStringLiteral("timestamp"), started.toUTC().toString(Qt::ISODate));
    for (const Case &c : cases) {
        xml.writeStartElement(QStringLiteral("testcase"));
        xml.writeAttribute(QStringLiteral("name"), xmlSafe(c.name));
        xml.writeAttribute(QStringLiteral("classname"), xmlSafe(c.folder.isEmpty() ? suiteName : c.folder));
        xml.writeAttribute(QStringLiteral("time"), secondsText(c.seconds));
        switch (c.outcome) {
        case Outcome::Passed:
            break;
        case Outcome::Failed:
        case Outcome::Error:
            xml.writeStartElement(c.outcome == Outcome::Failed ? QStringLiteral("failure") : QStringLiteral("error"));
            xml.writeAttribute(QStringLiteral("message"), xmlSafe(c.message));
            xml.writeAttribute(QStringLiteral("type"), c.outcome == Outcome::Failed ? QStringLiteral("HTTPStatus")
                                                                                    : QStringLiteral("Transport"));
            xml.writeCharacters(xmlSafe(c.details.isEmpty() ? c.message : c.details));
            xml.writeEndElement();
            break;
        case Outcome::Skipped:
            xml.writeEmptyElement(QStringLiteral("skipped"));
            xml.writeAttribute(QStringLiteral("message"), xmlSafe(c.message));
            break;
        }
        if (!c.method.isEmpty()) {
            QString out = c.method + u' ' + c.url;
            if (!c.statusLine.isEmpty())
                out += QStringLiteral("\n") + c.statusLine;
            xml.writeTextElement(QStringLiteral("system-out"), xmlSafe(out));
        }
        xml.writeEndElement();
    }
    xml.writeEndElement();
    xml.writeEndElement();
    xml.writeEndDocument();
    return bytes;
}

QByteArray HXCLIRunReport::json() const
{
    QJsonArray requests;
    for (const Case &c : cases) {
        QJsonObject entry{
            {QStringLiteral("name"), c.name},    {QStringLiteral("folder"), c.folder},
            {QStringLiteral("uuid"), c.uuid},    {QStringLiteral("result"), outcomeName(c.outcome)},
            {QStringLiteral("time"), c.seconds},
        };
        if (!c.method.isEmpty()) {
            entry.insert(QStringLiteral("method"), c.method);
            entry.insert(QStringLiteral("url"), c.url);
        }
        entry.insert(QStringLiteral("status"), c.statusCode > 0 ? QJsonValue(c.statusCode) : QJsonValue());
        if (!c.statusLine.isEmpty())
            entry.insert(QStringLiteral("statusLine"), c.statusLine);
        entry.insert(QStringLiteral("failure"), c.message.isEmpty() ? QJsonValue() : QJsonValue(c.message));
        requests.append(entry);
    }
    const QJsonObject root{
        {QStringLiteral("document"), suiteName},
        {QStringLiteral("started"), started.toUTC().toString(Qt::ISODate)},
        {QStringLiteral("time"), seconds},
        {QStringLiteral("tests"), int(cases.size())},
        {QStringLiteral("passed"), count(Outcome::Passed)},
        {QStringLiteral("failed"), count(Outcome::Failed)},
        {QStringLiteral("errors"), count(Outcome::Error)},
        {QStringLiteral("skipped"), count(Outcome::Skipped)},
        {QStringLiteral("requests"), requests},
    };
    return QJsonDocument(root).toJson(QJsonDocument::Indented);
}

bool HXCLIRunReport::writeFile(const QString &path, const QByteArray &bytes, QString &error)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size() || !file.flush()) {
        error = QStringLiteral("%1: the report could not be written: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}
