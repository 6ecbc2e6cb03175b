#include "DSPTree.h"

#include <QByteArray>
#include <QSet>

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
    }
    if (tree.acceptGroupFrame(frame))
        require(tree.groups.size() <= qsizetype(size / 296));
    return 0;
}
