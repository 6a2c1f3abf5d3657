#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

// Reads a response body into plain values (maps, lists, strings, numbers)
// and walks them with a key path — what the parsed-body value needs.
//
// XML is read into maps as follows: the document is a map holding the root
// element under its name. An element with neither attributes nor child
// elements becomes its text (a string). Any other element becomes a map
// holding its attributes (name -> text), its child elements (name -> value;
// a name that occurs more than once -> a list of the values in document
// order) and, when it has non-blank text, that text (trimmed) under "text".
class HXResponseBodyReader
{
public:
    // JSON through Qt's reader: objects to maps, arrays to lists, numbers,
    // strings; true and false read as the numbers 1 and 0. Nothing (an
    // invalid QVariant) when the body is not JSON.
    static QVariant objectFromJSON(const QByteArray &body);
    static QVariant objectFromXML(const QByteArray &body);
    // "a=1&b=x+y" -> {a: "1", b: "x y"}; percent escapes decoded as UTF-8.
    static QVariant objectFromFormURLEncoded(const QString &body);

    // Splits a key path at ".", "[" and "]" (a backslash makes the next
    // character literal; empty components are skipped) and walks `object`:
    // maps by key, lists by index. A number at the end gives its decimal
    // text, a string itself; anything else gives nothing (a null string).
    static QString stringAtKeyPath(const QString &keyPath, const QVariant &object);
    static QStringList keyPathComponents(const QString &keyPath);
};
