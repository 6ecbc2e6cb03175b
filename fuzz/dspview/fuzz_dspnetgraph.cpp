#include "DSPNetGraphLayout.h"
#include "DSPTree.h"

#include <QCoreApplication>
#include <QSet>
#include <QtEndian>

#include <cstdlib>

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

// What painting and hit testing rely on: every plate at a real place, one
// plate per node key, no line to a hidden plate, levels never negative.
void checkLayout(const DSPNetGraphLayout& layout, const DSPTree& tree)
{
    require(layout.nodes.size() <= tree.nodes.size());
    QSet<quint32> keys;
    for (const GraphNode& node : layout.nodes) {
        require(node.position.x() >= 0 && node.position.y() >= 0);
        keys.insert(quint32(node.id));
    }
    require(keys.size() == layout.nodes.size());
    for (const QList<QLine>* lines : {&layout.standardLines, &layout.sendLines,
                                      &layout.sidechainLines, &layout.sendSidechainLines}) {
        for (const QLine& line : *lines)
            require(line.x1() >= 0 && line.y1() >= 0);
    }
    for (const GraphGroup& group : layout.groups)
        require(group.level >= 0);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static QCoreApplication app(*argc, *argv);
    return 0;
}

// Byte 0 holds the switches (bit 0 excessive inputs, bit 1 inactive inputs),
// bytes 1 to 4 the length of the snapshot frame that follows; the rest is a
// group table frame. Only the layout runs, without a widget; painting is left
// to the tests: the glyph caches that the target's names would fill live as
// long as the process.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 5)
        return 0;
    const char* bytes = reinterpret_cast<const char*>(data);
    const quint32 length =
        std::min<quint32>(qFromLittleEndian<quint32>(bytes + 1), quint32(size - 5));
    DSPTree tree(nullptr);
    tree.acceptNetworkFrame(QByteArray::fromRawData(bytes + 5, qsizetype(length)));
    tree.acceptGroupFrame(
        QByteArray::fromRawData(bytes + 5 + length, qsizetype(size - 5 - length)));
    DSPNetGraphLayout layout;
    layout.showExcessive = (data[0] & 1) != 0;
    layout.showInactive = (data[0] & 2) != 0;
    layout.processTree(tree, ~quint64(0), ~quint64(0));
    checkLayout(layout, tree);
    return 0;
}
