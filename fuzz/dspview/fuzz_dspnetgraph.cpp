#include "DSPNetGraph.h"
#include "DSPTree.h"

#include <QApplication>
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
void checkLayout(const DSPNetGraph& graph, const DSPTree& tree)
{
    require(graph.graphNodes().size() <= tree.nodes.size());
    QSet<quint32> keys;
    for (const GraphNode& node : graph.graphNodes()) {
        require(node.position.x() >= 0 && node.position.y() >= 0);
        keys.insert(quint32(node.id));
    }
    require(keys.size() == graph.graphNodes().size());
    for (const QList<QLine>* lines :
         {&graph.graphStandardLines(), &graph.graphSendLines(), &graph.graphSidechainLines(),
          &graph.graphSendSidechainLines()}) {
        for (const QLine& line : *lines)
            require(line.x1() >= 0 && line.y1() >= 0);
    }
    for (const GraphGroup& group : graph.graphGroups())
        require(group.level >= 0);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QApplication app(*argc, *argv);
    // The first graph loads the image plugins and the fonts, which Qt keeps
    // for the life of the process; made here, they are no leak of an input.
    static DSPTree tree(nullptr);
    static DSPNetGraph graph(&tree);
    return 0;
}

// Byte 0 holds the switches (bit 0 excessive inputs, bit 1 inactive inputs),
// bytes 1 to 4 the length of the snapshot frame that follows; the rest is a
// group table frame. Painting is left to the tests: the glyph caches that the
// target's names would fill live as long as the process.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 5)
        return 0;
    const char* bytes = reinterpret_cast<const char*>(data);
    const quint32 length =
        std::min<quint32>(qFromLittleEndian<quint32>(bytes + 1), quint32(size - 5));
    // The switches go in while the tree is empty, and the tree keeps quiet
    // while it takes both frames: one layout per input, of the final state.
    DSPTree tree(nullptr);
    DSPNetGraph graph(&tree);
    graph.setShowExcessive((data[0] & 1) != 0);
    graph.setShowInactive((data[0] & 2) != 0);
    tree.blockSignals(true);
    tree.acceptNetworkFrame(QByteArray::fromRawData(bytes + 5, qsizetype(length)));
    tree.acceptGroupFrame(
        QByteArray::fromRawData(bytes + 5 + length, qsizetype(size - 5 - length)));
    graph.slotProcessTree();
    checkLayout(graph, tree);
    return 0;
}
