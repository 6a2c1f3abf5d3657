#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <vector>

class HXEntityDescription;

// The names an entity's attributes and stored relationships have in a
// document, looked up by the UTF-8 bytes the reader meets, with no QString
// made for each. Lookups start after the last name found, because a document
// lists an object's properties in this same order.
class HXXMLEntityNames
{
public:
    explicit HXXMLEntityNames(const HXEntityDescription *entity);

    const HXEntityDescription *entity() const { return m_entity; }
    QByteArrayView name() const { return m_name; }
    // The attribute's index in the entity, or -1.
    int attributeIndex(QByteArrayView name);
    // The type name the attribute at `index` is written with.
    QByteArrayView attributeType(int index) const { return m_attributeTypes[size_t(index)]; }
    // The index of a relationship the document stores on this side, or -1.
    int relationshipIndex(QByteArrayView name);

private:
    struct Name
    {
        QByteArray bytes;
        int index;
    };
    static int find(const std::vector<Name> &names, QByteArrayView name, size_t &next);

    const HXEntityDescription *m_entity;
    QByteArray m_name;
    std::vector<Name> m_attributes;
    std::vector<QByteArray> m_attributeTypes;
    std::vector<Name> m_relationships;
    size_t m_nextAttribute = 0;
    size_t m_nextRelationship = 0;
};
