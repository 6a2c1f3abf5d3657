#pragma once

#include <QByteArray>
#include <QList>

#include <string_view>
#include <vector>

class HXManagedObject;

// The ids the objects of one save are written with, found by object: an
// open-addressing table of pointers, so a lookup is one probe as a rule and
// nothing is allocated per object.
class HXXMLObjectIds
{
public:
    // `objects` and `identifiers` pair up by position; the table points into
    // `identifiers`, which must outlive it.
    HXXMLObjectIds(const QList<HXManagedObject *> &objects, const std::vector<QByteArray> &identifiers)
    {
        int bits = 4;
        while ((size_t(1) << bits) < 2 * size_t(objects.size()))
            ++bits;
        m_shift = 64 - bits;
        m_slots.resize(size_t(1) << bits);
        for (qsizetype i = 0; i < objects.size(); ++i) {
            size_t at = slotOf(objects.at(i));
            while (m_slots[at].object != nullptr && m_slots[at].object != objects.at(i))
                at = (at + 1) & (m_slots.size() - 1);
            const QByteArray &identifier = identifiers[size_t(i)];
            m_slots[at] = {objects.at(i), std::string_view(identifier.constData(), size_t(identifier.size()))};
        }
    }

    // The object's id; empty for an object that is not in the save.
    std::string_view of(const HXManagedObject *object) const
    {
        for (size_t at = slotOf(object);; at = (at + 1) & (m_slots.size() - 1)) {
            if (m_slots[at].object == object)
                return m_slots[at].identifier;
            if (m_slots[at].object == nullptr)
                return {};
        }
    }

private:
    struct Slot
    {
        const HXManagedObject *object = nullptr;
        std::string_view identifier;
    };

    // Fibonacci hashing: the high bits of the pointer times 2^64 / phi.
    size_t slotOf(const HXManagedObject *object) const
    {
        return size_t((quint64(quintptr(object)) * 0x9E3779B97F4A7C15ull) >> m_shift);
    }

    std::vector<Slot> m_slots;
    int m_shift = 60;
};
