#pragma once

#include "HXDynamicProperty.h"
#include "HXDynamicResult.h"
#include "HXStringEncoding.h"

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <memory>
#include <optional>

class HXDynamicValue;
using HXDynamicValuePtr = std::shared_ptr<HXDynamicValue>;

// The base of every dynamic value: a token embedded in a dynamic string that
// is computed each time the text is evaluated.
//
// Writing a kind
// --------------
// A kind is a subclass with a few stored properties. The base class keeps the
// stored values (in a map keyed by property name); the kind declares them and
// adds typed accessors over valueForKey()/setValue():
//
//     class HXHashDynamicValue : public HXDynamicValue
//     {
//     public:
//         static QString staticClassName() { return QStringLiteral("HXHashDynamicValue"); }
//         static void registerKind();            // see HXDynamicValueCatalogue.h
//         QString className() const override { return staticClassName(); }
//
//         // The stored properties, in declared order. Only these are archived,
//         // described and part of the value's identity.
//         const QList<HXDynamicProperty> &dynamicKeyPaths() const override
//         {
//             static const QList<HXDynamicProperty> keys = {
//                 {QStringLiteral("hashType"), HXDynamicPropertyType::Integer},
//                 {QStringLiteral("input"), HXDynamicPropertyType::String},
//             };
//             return keys;
//         }
//
//         quint32 hashType() const { return quint32(integerValue(QStringLiteral("hashType"))); }
//         void setHashType(quint32 t) { setValue(QStringLiteral("hashType"), qint64(t)); }
//         QString input() const { return stringValue(QStringLiteral("input")); }  // an archived dynamic string
//         void setInput(const QString &s) { setValue(QStringLiteral("input"), s); }
//
//         void registerDefaultValues() override { setHashType(5); }  // optional
//         HXDynamicResult evaluate() override;                        // string, bytes or nothing
//         QString displayString() const override;                     // text shown on the token
//         // choice list of "hashType" (see valueForUndefinedKey below)
//         std::optional<QVariantList> contentObjectsFor(const QString &property) const override;
//         std::optional<QString> localizedStringFor(const QString &property, const QVariant &object) const override;
//     };
//
// Creating values: always through HXDynamicValue::make<Kind>() (or the
// catalogue), which constructs the bare object and then calls
// registerDefaultValues(). Values read from an archive are constructed bare
// and get no defaults. A kind's constructor must therefore not set defaults.
// Values are shared through HXDynamicValuePtr (std::shared_ptr).
//
// Evaluating nested dynamic strings: a property that holds an archived
// dynamic string (input, key, username, rows of a table...) is evaluated with
// the engine inside the current context, so caching and the recursion guard
// cover it:
//
//     QByteArray bytes = HXDynamicValueEngine::evaluateStringAsData(input());        // current encoding
//     QString text = HXDynamicValueEngine::evaluateStringAsString(key(), HXStringEncoding::UTF8);
//     QString shown = HXDynamicValueEngine::displayStringFromString(input());         // for displayString()
//
// The current context's string encoding (UTF-8 when no context is running) is
// HXDynamicValueContext::currentContextStringEncoding(); the request being
// evaluated, if any, is HXRequestEvaluationContext::currentRequestEvaluationContext().
// evaluate() is only ever called by the engine, inside a context.
//
// Identity: uniqueIdentifier() is the MD5 of the keyed archive (class name and
// stored properties), so two values of one kind with equal stored properties
// are equal and share one cache entry within an evaluation pass.
//
// Threads: main thread only, like all evaluation.
class HXDynamicValue : public std::enable_shared_from_this<HXDynamicValue>
{
public:
    // The pasteboard type of one value, and the file name of the attachment
    // that carries a value inside a dynamic string.
    static QString pasteboardType() { return QStringLiteral("kestrelworks.Kea.DynamicValue"); }

    virtual ~HXDynamicValue();

    // Constructs a value of kind T and applies its defaults.
    template <typename T>
    static std::shared_ptr<T> make()
    {
        auto value = std::make_shared<T>();
        value->registerDefaultValues();
        return value;
    }

    // ---- what a kind overrides -------------------------------------------

    // The class name, which is what the keyed archive records and what the
    // catalogue knows the kind by ("HXHashDynamicValue").
    virtual QString className() const = 0;
    // True for the own class name, "HXDynamicValue" and the names of the
    // kind's base classes. A kind deriving from another kind overrides it:
    //     return name == ParentKind::staticClassName() || HXDynamicValue::isKindOfClass(name);
    virtual bool isKindOfClass(const QString &name) const;
    // The stored properties (an unordered set in meaning; listed in declared
    // order for description()). Base: none.
    virtual const QList<HXDynamicProperty> &dynamicKeyPaths() const;
    // Sets the defaults of a new value. Base: nothing.
    virtual void registerDefaultValues();
    // The computation: a string, bytes, or nothing. Base: nothing.
    virtual HXDynamicResult evaluate();
    // The short text shown on the token. Base: a null string (nothing).
    virtual QString displayString() const;
    // Choice lists, by the property name with its first letter upper-cased
    // ("HashType" for hashType). contentObjectsFor: the objects offered,
    // nothing when the kind has no list for that property.
    // localizedStringFor: the label of one object; nothing when the kind has
    // no labels for that property.
    virtual std::optional<QVariantList> contentObjectsFor(const QString &property) const;
    virtual std::optional<QString> localizedStringFor(const QString &property, const QVariant &object) const;

    // ---- everything below is provided by the base class ------------------

    // The menu title of the kind (translated), from the catalogue.
    QString localizedName() const;
    // The name of the kind's editor in the user interface: the class name.
    QString editingNibName() const { return className(); }
    // The keys whose change changes the value's result and token text: all
    // stored properties (for observers such as editors and previews).
    QStringList keyPathsForValuesAffectingEvaluate() const;
    QStringList keyPathsForValuesAffectingEvaluatedString() const { return keyPathsForValuesAffectingEvaluate(); }
    QStringList keyPathsForValuesAffectingDisplayString() const { return keyPathsForValuesAffectingEvaluate(); }
    // The declaration of one stored property, or null.
    const HXDynamicProperty *propertyForKey(const QString &key) const;
    // The model class that archives the property by reference ("HXRequest",
    // "HXEnvironmentVariable"), or an empty string.
    QString dynamicArchivingClassForKey(const QString &key) const;

    // Stored values. valueForKey returns an invalid QVariant for a property
    // that was never set (and for an unknown key). setValue converts the
    // value to the declared type of the property (see HXDynamicPropertyType)
    // and returns false, storing nothing, for an unknown key or a value that
    // cannot be converted; an invalid QVariant clears the property.
    QVariant valueForKey(const QString &key) const;
    bool setValue(const QString &key, const QVariant &value);

    // Typed reads; an unset property gives "", 0, false, 0.0, an invalid
    // date, empty bytes, no rows or a null object.
    QString stringValue(const QString &key) const;
    qint64 integerValue(const QString &key) const;
    bool boolValue(const QString &key) const;
    double doubleValue(const QString &key) const;
    QDateTime dateValue(const QString &key) const;
    QByteArray dataValue(const QString &key) const;
    HXDynamicKeyValueRows keyValueRowsValue(const QString &key) const;
    HXManagedObject *objectValue(const QString &key) const;
    void setObjectValue(const QString &key, HXManagedObject *object);

    // The choice list for a key ending in "Content" ("hashTypeContent"): the
    // objects of contentObjectsFor, each number labelled by
    // localizedStringFor when the kind has labels. Nothing for other keys.
    std::optional<QList<HXDynamicChoice>> valueForUndefinedKey(const QString &key) const;

    // The keyed archive: deterministic CBOR, a map of "$class" and every set
    // stored property, keys ordered by their UTF-8 bytes. References are
    // written as what their archiving class stores (the uuid).
    QByteArray keyedArchive() const;
    // Reads a keyed archive: the kind named by "$class" (it must be
    // registered in the catalogue), constructed bare (no defaults), then each
    // stored property that the archive holds with an acceptable type;
    // anything else is skipped key by key. Nothing for unreadable bytes or an
    // unknown class. Never throws.
    static HXDynamicValuePtr valueWithKeyedArchive(const QByteArray &archive);

    // MD5 of keyedArchive() as 32 upper-case hexadecimal digits. Recomputed
    // on every call.
    QString uniqueIdentifier() const;
    // Same kind (or a subclass of the other's kind) and equal identifiers.
    bool isEqual(const HXDynamicValue &other) const;
    bool isEqualTo(const HXDynamicValue &other) const { return isEqual(other); }
    // "<HXHashDynamicValue: 0x...> hashType: 5, input: abc"
    QString description() const;
    // The archived form of a dynamic string holding just this value.
    QString archivedString() const;
    // A new value with the same stored properties (through the archive).
    HXDynamicValuePtr copy() const;

    // Evaluation through the engine (caching, recursion guard, conversion).
    QString evaluatedStringWithStringEncoding(HXStringEncoding encoding);
    QByteArray evaluatedDataWithStringEncoding(HXStringEncoding encoding);
    QString evaluatedString() { return evaluatedStringWithStringEncoding(HXStringEncoding::UTF8); }

protected:
    HXDynamicValue() = default;
    HXDynamicValue(const HXDynamicValue &) = default;
    HXDynamicValue &operator=(const HXDynamicValue &) = default;

private:
    QHash<QString, QVariant> m_values;
};
