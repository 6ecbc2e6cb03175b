#ifndef DSPNODETABLE_H
#define DSPNODETABLE_H

#include "IdTable.h"

#include <QList>
#include <QtGlobal>

#include <vector>

struct DSPNode;

// The units of one snapshot: found by id, and walked in the order they were
// read. Reads like a QHash of ids to units (value, contains, keys, values,
// iteration over the units), but holds one array of slots and one of
// pointers instead of a hash node per unit, and iterates in reading order,
// which is also the order of the units in memory.
class DSPNodeTable
{
public:
    using const_iterator = std::vector<DSPNode*>::const_iterator;

    qsizetype size() const { return qsizetype(ordered.size()); }
    bool isEmpty() const { return ordered.empty(); }
    // The unit with this id; null when there is none.
    DSPNode* value(quint64 id) const;
    bool contains(quint64 id) const { return value(id) != nullptr; }
    QList<quint64> keys() const;
    QList<DSPNode*> values() const;
    // The unit read `index`-th among the units.
    DSPNode* at(qsizetype index) const { return ordered[size_t(index)]; }

    const_iterator begin() const { return ordered.cbegin(); }
    const_iterator end() const { return ordered.cend(); }
    const_iterator cbegin() const { return ordered.cbegin(); }
    const_iterator cend() const { return ordered.cend(); }

    // Empties the table and makes room for `expected` units whose ids agree
    // in their `alignment` low bits.
    void reset(qsizetype expected, int alignment = 0);
    // The unit with this id; when there is none, the unit that make()
    // returns, added under it behind the others. `added` tells which. One
    // walk of the table where a lookup and an add would take two.
    template <typename Make> DSPNode* findOrAdd(quint64 id, bool* added, Make make)
    {
        DSPNode*& slot = byId.insert(id, nullptr, added);
        if (*added) {
            slot = make();
            ordered.push_back(slot);
        }
        return slot;
    }
    void swap(DSPNodeTable& other);

private:
    IdTable<DSPNode*> byId;
    std::vector<DSPNode*> ordered;
};

#endif // DSPNODETABLE_H
