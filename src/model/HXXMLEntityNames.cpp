#include "HXXMLEntityNames.h"

#include "HXEntityDescription.h"
#include "HXXMLStoreWriter.h"

#include <algorithm>

HXXMLEntityNames::HXXMLEntityNames(const HXEntityDescription *entity)
    : m_entity(entity), m_name(entity->name().toUtf8())
{
    const auto &attributes = entity->attributes();
    for (int i = 0; i < attributes.size(); ++i) {
        m_attributes.push_back({attributes.at(i).name.toUtf8(), i});
        m_attributeTypes.push_back(HXAttributeTypeName(attributes.at(i).type).toLatin1());
    }
    std::sort(m_attributes.begin(), m_attributes.end(), [&attributes](const Name &a, const Name &b) {
        return attributes.at(a.index).name < attributes.at(b.index).name;
    });
    const auto &relationships = entity->relationships();
    for (int i = 0; i < relationships.size(); ++i) {
        if (HXXMLStoreWriter::writesRelationship(entity, i))
            m_relationships.push_back({relationships.at(i).name.toUtf8(), i});
    }
    std::sort(m_relationships.begin(), m_relationships.end(), [&relationships](const Name &a, const Name &b) {
        return relationships.at(a.index).name < relationships.at(b.index).name;
    });
}

int HXXMLEntityNames::attributeIndex(QByteArrayView name)
{
    return find(m_attributes, name, m_nextAttribute);
}

int HXXMLEntityNames::relationshipIndex(QByteArrayView name)
{
    return find(m_relationships, name, m_nextRelationship);
}

int HXXMLEntityNames::find(const std::vector<Name> &names, QByteArrayView name, size_t &next)
{
    const size_t count = names.size();
    for (size_t step = 0; step < count; ++step) {
        const size_t at = (next + step) % count;
        const QByteArray &candidate = names[at].bytes;
        if (candidate.size() == name.size() && std::equal(name.begin(), name.end(), candidate.begin())) {
            next = at + 1;
            return names[at].index;
        }
    }
    return -1;
}
