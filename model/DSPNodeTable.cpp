#include "DSPNodeTable.h"

#include "DSPTree.h"

DSPNode* DSPNodeTable::value(quint64 id) const
{
    DSPNode* const* found = byId.find(id);
    return found ? *found : nullptr;
}

QList<quint64> DSPNodeTable::keys() const
{
    QList<quint64> result;
    result.reserve(size());
    for (const DSPNode* node : ordered)
        result.append(node->id);
    return result;
}

QList<DSPNode*> DSPNodeTable::values() const
{
    return QList<DSPNode*>(ordered.cbegin(), ordered.cend());
}

void DSPNodeTable::reset(qsizetype expected, int alignment)
{
    byId.reset(expected, alignment);
    ordered.clear();
    ordered.reserve(size_t(expected));
}

void DSPNodeTable::swap(DSPNodeTable& other)
{
    std::swap(byId, other.byId);
    ordered.swap(other.ordered);
}
