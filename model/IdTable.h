#ifndef IDTABLE_H
#define IDTABLE_H

#include <QHashFunctions>
#include <QtGlobal>

#include <algorithm>
#include <vector>

// A table from 64-bit identifiers to small values, in one array: open
// addressing, a taken slot sending the search on to the next group (next()).
// Identifiers that differ only in their low bits (units made one after
// another, which a snapshot lists one after another) keep their order inside
// a group of 64 slots, so that a run of lookups walks the array instead of
// jumping about it: in a network of 100,000 units a jump is a cache miss that
// the next lookup has to wait for. The groups themselves are placed by a hash
// seeded per process like QHash's, from all the bits outside the ordered ones,
// so a target cannot choose identifiers that meet in one probe sequence; at
// worst its identifiers share one slot per group. Entries are only added;
// reset() empties the table for the next network. A slot belongs to the
// current contents only if it carries the table's stamp, so a reset that
// keeps the capacity writes nothing: a large network's table is megabytes,
// and clearing them would only push them out of the caches.
template <typename Value> class IdTable
{
public:
    // Empties the table and makes room for `expected` entries without growing.
    // `alignment`: the number of low bits in which all keys agree, which
    // carry no order.
    void reset(qsizetype expected, int alignment = 0)
    {
        shift = std::clamp(alignment, 0, 63);
        size_t capacity = 16;
        while (capacity < size_t(std::max<qsizetype>(expected, 0)) * 2)
            capacity *= 2;
        count = 0;
        if (slots.size() == capacity && ++stamp != 0)
            return;
        slots.assign(capacity, Slot());
        stamp = 1;
    }

    const Value* find(quint64 key) const
    {
        if (slots.empty())
            return nullptr;
        for (size_t i = home(key);; i = next(i)) {
            const Slot& slot = slots[i];
            if (slot.stamp != stamp)
                return nullptr;
            if (slot.key == key)
                return &slot.value;
        }
    }

    // The value stored under key, made from `value` if the key is new; `added`
    // tells which.
    Value& insert(quint64 key, const Value& value, bool* added)
    {
        if (size_t(count + 1) * 2 > slots.size())
            grow();
        for (size_t i = home(key);; i = next(i)) {
            Slot& slot = slots[i];
            const bool used = slot.stamp == stamp;
            if (used && slot.key != key)
                continue;
            *added = !used;
            if (!used) {
                slot = Slot{key, value, stamp};
                ++count;
            }
            return slot.value;
        }
    }

    qsizetype size() const { return count; }

    // The number of slots a lookup of key walks: what a hostile choice of
    // identifiers would try to make long.
    qsizetype probeLength(quint64 key) const
    {
        qsizetype walked = 1;
        for (size_t i = home(key); slots[i].stamp == stamp && slots[i].key != key; i = next(i))
            ++walked;
        return walked;
    }

private:
    struct Slot
    {
        quint64 key = 0;
        Value value{};
        quint32 stamp = 0; // in use while it equals the table's stamp
    };

    size_t mask() const { return slots.size() - 1; }
    // A taken slot sends the search on to the next group, one slot further on.
    // A run of identifiers whose group another run took first then lies in the
    // next group in its order, found at the second slot looked at, where a
    // step of one slot would walk through the whole run in its way. The step
    // is odd, so the search still visits every slot of the table.
    size_t next(size_t i) const { return (i + (size_t(1) << groupBits) + 1) & mask(); }
    size_t home(quint64 key) const
    {
        // The bits below the alignment choose the group too: a key that
        // breaks the alignment must land in a group of its own, not probe
        // through every key that agrees with it above the alignment.
        const quint64 ordered = key >> shift;
        const quint64 below = key & ((quint64(1) << shift) - 1);
        const size_t group = qHashMulti(QHashSeed::globalSeed(), ordered >> groupBits, below);
        return ((group << groupBits) | size_t(ordered & ((1u << groupBits) - 1))) & mask();
    }

    void grow()
    {
        std::vector<Slot> old;
        old.swap(slots);
        const quint32 oldStamp = stamp;
        reset(std::max<qsizetype>(count * 2, 8), shift);
        for (const Slot& slot : old) {
            bool added = false;
            if (slot.stamp == oldStamp)
                insert(slot.key, slot.value, &added);
        }
    }

    static constexpr int groupBits = 6;

    std::vector<Slot> slots;
    qsizetype count = 0;
    int shift = 0;
    quint32 stamp = 1;
};

#endif // IDTABLE_H
