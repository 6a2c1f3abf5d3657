#pragma once

#include "HXDynamicValue.h"

#include <QList>
#include <QString>

#include <functional>

// One entry of the catalogue of dynamic value kinds.
struct HXDynamicValueKind
{
    QString className; // identifier: the class name recorded by the keyed archive
    QString title;     // menu title, English (translate with HXDynamicValueCatalogue::localizedTitle)
    QString group;     // submenu of the insertion menu, English
    int menuOrder = 0; // position in the insertion menu (0-based, all built-in kinds)
    // Constructs a bare value (no defaults); null while the kind is not built
    // into this program.
    std::function<HXDynamicValuePtr()> construct;
};

// The catalogue of the built-in kinds of dynamic value: titles, groups and menu
// order are fixed here; a kind becomes usable (creatable, readable from an
// archive, reachable from `kea-cli eval`) when it registers its constructor.
//
// Registering a kind
// ------------------
// kea_core is a static library, so a kind's object file is linked only when
// something references it; file-scope static initialisers are not enough.
// Registration is therefore explicit:
//   1. the kind implements a static `registerKind()`:
//          void HXHashDynamicValue::registerKind()
//          {
//              HXDynamicValueCatalogue::registerKind<HXHashDynamicValue>();
//          }
//   2. and adds one line calling it to registerBuiltInKinds() in
//      HXDynamicValueBuiltInKinds.cpp (plus its #include there).
// Every catalogue lookup calls registerBuiltInKinds() first (once), so no
// caller has to remember to do it. A name outside the built-in ones is accepted too
// (tests register their own kinds): it is listed after the built-in ones, with no
// group, and is not offered in the insertion menu.
class HXDynamicValueCatalogue
{
public:
    // Registers every kind built into Kea. Idempotent; called by every lookup.
    static void registerBuiltInKinds();

    static bool registerKind(const QString &className, std::function<HXDynamicValuePtr()> construct);
    template <typename T>
    static bool registerKind()
    {
        return registerKind(T::staticClassName(), [] { return HXDynamicValuePtr(std::make_shared<T>()); });
    }

    // All built-in kinds in menu order, registered or not.
    static QList<HXDynamicValueKind> allKinds();
    // The registered kinds in menu order: what the insertion menu offers.
    static QList<HXDynamicValueKind> availableKinds();
    // The menu groups in order: "Values", "File", "Response", "Encoding",
    // "Crypto", "Authorization", "Environment", "Cookies", "Request Body".
    static QStringList groups();
    // "Add Dynamic Value..." (translated).
    static QString menuTitle();

    // The kind named `className`, or null when it is not one of the built-in ones.
    static const HXDynamicValueKind *kindForClassName(const QString &className);
    static QString localizedTitle(const QString &className);
    static QString localizedGroup(const QString &group);

    // A new value of the named kind, with its defaults; null when the kind is
    // unknown or not registered.
    static HXDynamicValuePtr createValue(const QString &className);
    // A bare value (no defaults), for reading archives.
    static HXDynamicValuePtr constructBareValue(const QString &className);
};
