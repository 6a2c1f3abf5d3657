#pragma once

#include <QByteArrayView>
#include <QHashFunctions>

#include <cstring>
#include <vector>

class HXManagedObject;

// The objects read so far, by the id they have in the file. Open addressing
// over the ids' seeded hashes, kept in the slots: a lookup touches one slot
// and the id's bytes, where QHash goes through its span and its node as well.
// The ids point into the bytes being read, which must outlive the table.
class HXXMLObjectsById
{
public:
    explicit HXXMLObjectsById(size_t expected = 0) { grow(expected); }

    // Eight bytes at a time, each step a multiply folded onto itself, from
    // Qt's per-process seed: ids of 32 bytes hash in a few nanoseconds, and
    // a file cannot choose ids that collide without knowing the seed.
    static size_t hashOf(QByteArrayView id)
    {
        const auto mix = [](quint64 value) {
            value *= 0x9E3779B97F4A7C15ull;
            return value ^ (value >> 29);
        };
        static const quint64 seed = mix(quint64(QHashSeed::globalSeed()) | 1);
        quint64 hash = seed ^ quint64(id.size());
        const char *at = id.data();
        qsizetype left = id.size();
        for (; left >= 8; at += 8, left -= 8) {
            quint64 word;
            std::memcpy(&word, at, 8);
            hash = mix(hash ^ word);
        }
        quint64 tail = 0;
        if (left > 0)
            std::memcpy(&tail, at, size_t(left));
        return size_t(mix(mix(hash ^ tail) ^ seed));
    }

    // The object read with `id`, or null.
    HXManagedObject *value(QByteArrayView id) const { return value(id, hashOf(id)); }
    // The same, with the id's hash worked out before.
    HXManagedObject *value(QByteArrayView id, size_t hash) const
    {
        for (size_t at = hash & mask();; at = (at + 1) & mask()) {
            const Slot &slot = m_slots[at];
            if (slot.object == nullptr)
                return nullptr;
            if (slot.hash == hash && slot.id == id)
                return slot.object;
        }
    }

    // Starts loading the slot an id of this hash is looked up in first, for
    // a lookup a little later.
    void prefetch(size_t hash) const { __builtin_prefetch(&m_slots[hash & mask()]); }
    // Then the id the slot holds, once the slot is at hand.
    void prefetchId(size_t hash) const { __builtin_prefetch(m_slots[hash & mask()].id.data()); }

    // Records `object` under an id that is not in the table yet.
    void insert(QByteArrayView id, HXManagedObject *object)
    {
        if (2 * (m_count + 1) > m_slots.size())
            grow(m_count + 1);
        place({hashOf(id), id, object});
        ++m_count;
    }

private:
    struct Slot
    {
        size_t hash = 0;
        QByteArrayView id;
        HXManagedObject *object = nullptr;
    };

    size_t mask() const { return m_slots.size() - 1; }

    void place(const Slot &slot)
    {
        size_t at = slot.hash & mask();
        while (m_slots[at].object != nullptr)
            at = (at + 1) & mask();
        m_slots[at] = slot;
    }

    // Room for `count` objects with the table at most half full.
    void grow(size_t count)
    {
        size_t size = 16;
        while (size < 2 * count)
            size *= 2;
        if (size <= m_slots.size())
            return;
        std::vector<Slot> old(size);
        old.swap(m_slots);
        for (const Slot &slot : old) {
            if (slot.object != nullptr)
                place(slot);
        }
    }

    std::vector<Slot> m_slots;
    size_t m_count = 0;
};
