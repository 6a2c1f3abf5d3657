#pragma once

#include <QList>
#include <QString>
#include <QStringList>

// How one kind of dynamic value is spelled in the readable text form of
// dynamic strings (HXDynamicStringTextFormat): its word, the stored
// properties its arguments fill in order, and names for enumerated numbers.
//
// A positional entry is a property name, or "=word" for a fixed word that
// must stand at that place (it tells apart kinds sharing the same word:
// {{response "Log in" body token}} and {{response "Log in" raw}}).
struct HXDynamicStringTextKind
{
    QString word;
    QString className;
    QStringList positional;
    // The property holding key/value rows written as name=value arguments;
    // empty when the kind has none.
    QString rowsProperty;
    // Per enumerated property: the names of its values 0, 1, 2...
    QList<std::pair<QString, QStringList>> enumerations;
    // A one-line description and an example for the help text.
    QString help;

    QStringList enumerationFor(const QString &property) const;

    // Every kind, in the order the help lists them. Several entries may
    // share a class: the first is the one printed.
    static const QList<HXDynamicStringTextKind> &all();
    static const HXDynamicStringTextKind *forClassName(const QString &className);
};
