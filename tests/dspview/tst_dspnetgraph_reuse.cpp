#include "DSPNetGraph.h"
#include "DSPTree.h"
#include "TestNetwork.h"

#include <QImage>
#include <QPainter>
#include <QStringList>
#include <QTest>

#include <algorithm>
#include <limits>
#include <memory>

// A snapshot of the same shape as the one before is not decoded and laid out
// again; only its values are copied into what the last one built. Nobody may
// see the difference: a tree and a graph that live through a sequence of
// snapshots must end up, after each of them, exactly like a fresh tree and
// graph that saw only that snapshot. The same holds when the graph lays each
// new shape out in a later turn of the event loop, as it does for large
// networks.
class TestDSPNetGraphReuse : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sequenceMatchesFreshPass_data();
    void sequenceMatchesFreshPass();
};

namespace {

const QString base = QStringLiteral("R<-A,B,C,D,E,F; A<-G; B<-G+sidechain,H; C<-A+send; H<-B");
const QString grown = base + QStringLiteral("; E<-I");

// R's six inputs are cut to A, B, E and F, and the sub-trees of C and D
// (C, A, G, D) are hidden; the changes below are made to units that show.
//
// One snapshot and the group table sent with it, from "network | options |
// seed". Options: "off:A,B", "bypass:A", "group:B,E" (group 9), "name:B=Amp",
// "table:Bus" (a table naming group 9 inside a nesting group 20). The seed
// sets every unit's time and levels and the header's figures.
struct Step
{
    QByteArray snapshot;
    QByteArray groups;
    bool showInactive = false; // option "inactive": the graph's switch, not the network
};

void applyOption(TestNetwork& net, const QString& option, QList<TestGroup>* table)
{
    const QString key = option.section(QLatin1Char(':'), 0, 0);
    const QString value = option.section(QLatin1Char(':'), 1);
    if (key == QLatin1String("name")) {
        net.node(value.section(QLatin1Char('='), 0, 0)).name = value.section(QLatin1Char('='), 1);
        return;
    }
    if (key == QLatin1String("table")) {
        *table = {{9, 20, QUuid(), value},
                  {20, 0, QUuid(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11), "Top"}};
        return;
    }
    for (const QString& name : value.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        if (key == QLatin1String("off"))
            net.node(name).active = false;
        else if (key == QLatin1String("bypass"))
            net.node(name).bypass = true;
        else if (key == QLatin1String("group"))
            net.node(name).groupId = 9;
    }
}

Step makeStep(const QString& text, int version)
{
    const QStringList parts = text.split(QLatin1Char('|'));
    TestNetwork net(parts.at(0));
    QList<TestGroup> table;
    bool showInactive = false;
    for (const QString& option : parts.at(1).split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        showInactive |= option == QLatin1String("inactive");
        applyOption(net, option, &table);
    }
    const int seed = parts.at(2).trimmed().toInt();
    const QStringList names = net.names();
    for (int i = 0; i < names.size(); ++i) {
        TestNode& node = net.node(names.at(i));
        node.exclusiveTime = quint32((seed * 37 + i * 11) % 500 + 1);
        node.decibels = {qint8(-((seed * 7 + i) % 80)), qint8(-((seed + i * 3) % 80))};
        node.amplitudes = {0.05f * float(seed + i), 0.9f / float(seed + i)};
    }
    net.totalCPU = 0.1f * float(seed);
    net.sampleRate = 48000;
    net.blockLength = 256 * seed;
    return Step{net.snapshot(version), TestFrames::groupTable(table), showInactive};
}

QString number(float value)
{
    return QString::number(double(value), 'g', 9);
}

QString levelsText(const QList<float>& levels)
{
    QStringList items;
    for (float level : levels)
        items << number(level);
    return items.join(QLatin1Char(','));
}

// Every field of every unit, in id order, and of the tree itself.
QString treeText(const DSPTree& tree)
{
    QList<quint64> ids = tree.nodes.keys();
    std::sort(ids.begin(), ids.end());
    QStringList lines{QStringLiteral("v%1 cpu %2 rate %3 block %4 root %5")
                          .arg(tree.networkVersion)
                          .arg(number(tree.totalCPU))
                          .arg(tree.sampleRate)
                          .arg(tree.blockLength)
                          .arg(tree.head.inputs.isEmpty() ? 0 : tree.head.inputs[0].node->id)};
    for (quint64 id : ids) {
        const DSPNode* n = tree.nodes.value(id);
        QStringList inputs;
        for (const DSPConnection& c : n->inputs)
            inputs << QStringLiteral("%1%2%3")
                          .arg(c.node->id)
                          .arg(c.send ? "s" : "")
                          .arg(c.sidechain ? "c" : "");
        QStringList levels;
        for (qint8 level : n->volumeLevels)
            levels << QString::number(level);
        lines << QStringLiteral("%1 %2 g%3 t%4 %5%6 i%7/%8 e%9/%10 [%11] <%12> d%13")
                     .arg(id)
                     .arg(n->name)
                     .arg(n->groupId)
                     .arg(n->sendTargetId)
                     .arg(n->active)
                     .arg(n->bypass)
                     .arg(n->inclusiveTime)
                     .arg(number(n->inclusiveCPU))
                     .arg(n->exclusiveTime)
                     .arg(number(n->exclusiveCPU))
                     .arg(levels.join(QLatin1Char(',')), inputs.join(QLatin1Char(',')))
                     .arg(n->depth);
    }
    for (const DSPGroup* g : tree.groups)
        lines << QStringLiteral("group %1<%2 %3 %4")
                     .arg(g->id)
                     .arg(g->parentId)
                     .arg(g->name, g->guid.toString());
    return lines.join(QLatin1Char('\n'));
}

QString linesText(const QList<QLine>& lines)
{
    QStringList items;
    for (const QLine& l : lines)
        items << QStringLiteral("%1,%2>%3,%4").arg(l.x1()).arg(l.y1()).arg(l.x2()).arg(l.y2());
    return items.join(QLatin1Char(' '));
}

// Every list of the layout, every field.
QString layoutText(const DSPNetGraphLayout& layout)
{
    QStringList lines;
    for (const GraphNode& n : layout.nodes)
        lines << QStringLiteral("%1@%2,%3 #%4 g%5 t%6 %7%8 %9/%10 [%11]")
                     .arg(n.name)
                     .arg(n.position.x())
                     .arg(n.position.y())
                     .arg(n.id)
                     .arg(n.groupId)
                     .arg(n.sendTargetId)
                     .arg(n.active)
                     .arg(n.bypass)
                     .arg(number(n.inclusiveCPU), number(n.exclusiveCPU), levelsText(n.levels));
    for (const QList<QLine>* l : {&layout.standardLines, &layout.sendLines, &layout.sidechainLines,
                                  &layout.sendSidechainLines})
        lines << linesText(*l);
    QStringList points;
    for (const QPoint& p : layout.ellipsisPoints)
        points << QStringLiteral("%1,%2").arg(p.x()).arg(p.y());
    lines << points.join(QLatin1Char(' '));
    for (const GraphGroup& g : layout.groups)
        lines << QStringLiteral("group %1<%2 %3 %4 L%5 %6,%7 %8x%9")
                     .arg(g.id)
                     .arg(g.parentId)
                     .arg(g.name, g.guid)
                     .arg(g.level)
                     .arg(g.rect.x())
                     .arg(g.rect.y())
                     .arg(g.rect.width())
                     .arg(g.rect.height());
    lines << QStringLiteral("max %1,%2 selected %3 at %4,%5")
                 .arg(layout.maxX)
                 .arg(layout.maxY)
                 .arg(layout.selectedTreeNode != nullptr)
                 .arg(layout.selectedNewPosition.x())
                 .arg(layout.selectedNewPosition.y());
    return lines.join(QLatin1Char('\n'));
}

// A tree and its graph, with every value shown on the plates.
struct Viewer
{
    explicit Viewer(bool deferred = false)
    {
        graph.setDeferredLayoutUnits(deferred ? 0 : std::numeric_limits<qsizetype>::max());
        graph.setShowCPUUsage(true);
        graph.setShowVolumeLevels(true);
    }

    // The switch first, so that a fresh graph never lays out without it.
    void feed(const Step& step)
    {
        graph.setShowInactive(step.showInactive);
        tree.acceptNetworkFrame(step.snapshot);
        tree.acceptGroupFrame(step.groups);
        Q_EMIT tree.dspNetTreeUpdated();
        QCoreApplication::processEvents();
    }

    QImage image(QSize size)
    {
        QImage result(size, QImage::Format_ARGB32);
        result.fill(Qt::transparent);
        QPainter painter(&result);
        graph.render(&painter, true);
        return result;
    }

    DSPTree tree{nullptr};
    DSPNetGraph graph{&tree};
};

} // namespace

void TestDSPNetGraphReuse::sequenceMatchesFreshPass_data()
{
    QTest::addColumn<int>("version");
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<bool>("deferred");
    const QString b = base;
    const struct
    {
        const char* name;
        int version;
        QStringList steps;
    } rows[] = {
        {"values only", 6, {b + "||1", b + "||2", b + "||3"}},
        {"shape", 6, {b + "||1", grown + "||2", b + "||3", b + "||4"}},
        {"flags", 6, {b + "||1", b + "|off:H|2", b + "|off:H|3", b + "|bypass:B|4", b + "||5"}},
        {"names", 6, {b + "||1", b + "|name:B=Amp|2", b + "|name:B=Amp|3", b + "||4"}},
        {"groups",
         6,
         {b + "||1", b + "|group:B,E|2", b + "|group:B,E table:Bus|3", b + "|group:B,E table:Mix|4",
          b + "|group:B,E table:Mix|5", b + "||6"}},
        {"switch",
         6,
         {b + "|off:H|1", b + "|off:H inactive|2", b + "|off:H inactive|3", b + "|off:H|4"}},
        {"float levels",
         4,
         {b + "||1", b + "||2", b + "|off:H|3", b + "|name:H=Hall|4", b + "||5"}},
        {"32-bit times", 1, {b + "||1", b + "||2", grown + "||3", b + "||4"}},
    };
    for (bool deferred : {false, true}) {
        for (const auto& row : rows) {
            QTest::addRow("%s%s", row.name, deferred ? ", laid out a turn later" : "")
                << row.version << row.steps << deferred;
        }
    }
}

void TestDSPNetGraphReuse::sequenceMatchesFreshPass()
{
    QFETCH(int, version);
    QFETCH(QStringList, steps);
    QFETCH(bool, deferred);
    Viewer living(deferred);
    QString lastShape;
    for (const QString& text : steps) {
        const Step step = makeStep(text, version);
        const quint64 generation = living.tree.shapeGeneration;
        living.feed(step);
        // The sequence must take the reusing path exactly where it may.
        const QString shape = text.section(QLatin1Char('|'), 0, 1).remove(" inactive");
        QCOMPARE(living.tree.shapeGeneration == generation, shape == lastShape);
        lastShape = shape;
        auto fresh = std::make_unique<Viewer>();
        fresh->feed(step);
        QCOMPARE(treeText(living.tree), treeText(fresh->tree));
        QCOMPARE(layoutText(living.graph.graphLayout()), layoutText(fresh->graph.graphLayout()));
        const QSize size = fresh->graph.graphLayout().neededSize(1.0f);
        QVERIFY(living.image(size) == fresh->image(size));
    }
}

QTEST_MAIN(TestDSPNetGraphReuse)
#include "tst_dspnetgraph_reuse.moc"
