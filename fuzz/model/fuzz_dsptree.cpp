#include "DSPTree.h"

#include <QByteArray>
#include <QSet>

#include <algorithm>
#include <cstdlib>

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

// What the view relies on after an accepted snapshot: one root, every unit
// reachable with a depth, every input a unit of the table, no more than 32
// levels.
void checkGraph(const DSPTree& tree)
{
    require(tree.head.inputs.size() == 1);
    QSet<const DSPNode*> owned;
    for (const DSPNode* node : tree.nodes)
        owned.insert(node);
    for (const DSPNode* node : tree.nodes) {
        require(node->depth >= 0);
        require(node->volumeLevels.size() <= 32);
        for (const DSPConnection& connection : node->inputs)
            require(owned.contains(connection.node));
    }
}

// Whether two trees hold the same units, field by field, in reading order.
bool sameUnits(const DSPTree& a, const DSPTree& b)
{
    if (a.nodes.size() != b.nodes.size())
        return false;
    for (qsizetype i = 0; i < a.nodes.size(); ++i) {
        const DSPNode* x = a.nodes.at(i);
        const DSPNode* y = b.nodes.at(i);
        if (x->id != y->id || x->groupId != y->groupId || x->sendTargetId != y->sendTargetId ||
            x->name != y->name || x->active != y->active || x->bypass != y->bypass ||
            x->inclusiveTime != y->inclusiveTime || x->exclusiveTime != y->exclusiveTime ||
            !std::equal(x->volumeLevels.cbegin(), x->volumeLevels.cend(), y->volumeLevels.cbegin(),
                        y->volumeLevels.cend()) ||
            x->depth != y->depth || x->inputs.size() != y->inputs.size())
            return false;
        for (qsizetype k = 0; k < x->inputs.size(); ++k) {
            const DSPConnection& c = x->inputs.at(k);
            const DSPConnection& d = y->inputs.at(k);
            if (c.node->id != d.node->id || c.send != d.send || c.sidechain != d.sidechain)
                return false;
        }
    }
    return true;
}

} // namespace

// Any byte string as a snapshot frame and as a group table frame. The frame
// is not copied, so a read one byte past its end is caught.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray frame =
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    DSPTree tree(nullptr);
    if (tree.acceptNetworkFrame(frame)) {
        checkGraph(tree);
        // A second time replaces the graph it built.
        require(tree.acceptNetworkFrame(frame));
        checkGraph(tree);
        // One byte changed: a time or a level takes the path that keeps the
        // units it has, anything else a full pass; either must hold.
        QByteArray changed(frame.constData(), frame.size());
        changed[changed.size() / 2] = char(changed.at(changed.size() / 2) ^ 0x5a);
        if (tree.acceptNetworkFrame(changed))
            checkGraph(tree);
        // Another byte changed, read over the units of the first shape when
        // both changes made new shapes: it must give what a new tree gives.
        QByteArray other(frame.constData(), frame.size());
        other[other.size() / 3] = char(other.at(other.size() / 3) ^ 0x5a);
        if (tree.acceptNetworkFrame(other)) {
            DSPTree fresh(nullptr);
            require(fresh.acceptNetworkFrame(other));
            require(sameUnits(tree, fresh));
        }
    }
    if (tree.acceptGroupFrame(frame))
        require(tree.groups.size() <= qsizetype(size / 296));
    return 0;
}
