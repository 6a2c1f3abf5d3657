#pragma once

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

#include <algorithm>
#include <optional>

// A collection of requests read from or written to another tool's format,
// in neutral terms. Texts (URLs, header names and values, body text, field
// values, credentials) are templates in which "{{name}}" stands for the
// variable `name`, as Postman, and what the importers make of other formats,
// write them.

// One header row or form field.
struct HXInteropField
{
    QString name;
    QString value;
    bool enabled = true;
    bool isFile = false; // a multipart field whose value is a file path

    friend bool operator==(const HXInteropField &, const HXInteropField &) = default;
};

struct HXInteropRequest
{
    enum class Body { None, Raw, URLEncoded, FormData };
    enum class Auth { None, Basic, Bearer };

    QString name;
    QString method = QStringLiteral("GET");
    QString url;
    QList<HXInteropField> headers;
    Body body = Body::None;
    QString rawBody;
    QList<HXInteropField> fields; // URLEncoded and FormData
    Auth auth = Auth::None;
    QString username; // Basic
    QString password; // Basic
    QString token;    // Bearer
    QString description;
    std::optional<bool> followRedirects;
    std::optional<double> timeout; // seconds

    friend bool operator==(const HXInteropRequest &, const HXInteropRequest &) = default;
};

// A folder (with children) or a request.
struct HXInteropItem
{
    bool isFolder = false;
    QString name;
    HXInteropRequest request;
    QList<HXInteropItem> children;

    // Written out: the children make the type recursive.
    friend bool operator==(const HXInteropItem &a, const HXInteropItem &b)
    {
        return a.isFolder == b.isFolder && a.name == b.name && a.request == b.request &&
               std::equal(a.children.begin(), a.children.end(), b.children.begin(), b.children.end());
    }
};

struct HXInteropEnvironment
{
    QString name;
    QList<QPair<QString, QString>> values; // variable name, template
};

struct HXInteropCollection
{
    QString name;
    QList<HXInteropItem> items;
    // Values every environment starts from (collection variables).
    QList<QPair<QString, QString>> variables;
    QList<HXInteropEnvironment> environments;
    // What could not be carried over, one line each ("Upload: the file
    // body is not supported"), for the import or export report.
    QStringList skipped;
    // How many requests the collection holds, folders included.
    int requestCount() const
    {
        int count = 0;
        const auto countIn = [&count](const auto &self, const QList<HXInteropItem> &items) -> void {
            for (const HXInteropItem &item : items) {
                if (item.isFolder)
                    self(self, item.children);
                else
                    ++count;
            }
        };
        countIn(countIn, items);
        return count;
    }
};
