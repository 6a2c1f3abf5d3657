#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>

#include <functional>
#include <vector>

class HXEntityDescription;
class HXManagedObject;
class HXManagedObjectContext;

// Writes the objects of a context as a Kea document.
//
// The output is deterministic — objects by entity name then id, attributes
// one per line by name, relationship targets by id — so saving an unchanged
// graph gives the same bytes, a one-field change is a one-line diff, and an
// added object adds only its own lines. An object's id is its uuid where it
// has one, else its random store identifier, so objects added on two
// branches of one document never share an id and the branches merge.
//
// No whole-file checksum is written: any such line changes with every save
// and would make every merge conflict on it. Damage is caught by the strict
// reader instead (a truncated or broken file never reads), and saves replace
// the file atomically. Older files end with an <integrity> line, which the
// reader still checks.
class HXXMLStoreWriter
{
public:
    static constexpr int formatVersion = 1;
    // What comes before the digest of older files, and what ends them.
    static QByteArray integrityMarker();
    static QByteArray documentEnd();

    // The document's bytes handed to `sink` in chunks.
    static void serialize(const HXManagedObjectContext &context, const std::function<void(QByteArrayView)> &sink);

    // The id each object is written with (see above), in the order of
    // `objects`; no two get the same.
    static std::vector<QByteArray> fileIdentifiers(const QList<HXManagedObject *> &objects);
    // The id an object gets in the file unless another object claims it
    // first: its uuid (requests, variables) when usable, else its store
    // identifier.
    static QByteArray preferredIdentifier(const HXManagedObject &object);
    // Whether an id is a counter id ("p12") of files written before.
    static bool isLegacyIdentifier(QByteArrayView identifier);

    // Whether a relationship is written on this side of its pair: the to-one
    // side where there is one, else the side whose name sorts first.
    static bool writesRelationship(const HXEntityDescription *entity, int index);
};
