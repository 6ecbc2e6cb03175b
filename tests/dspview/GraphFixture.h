#ifndef GRAPHFIXTURE_H
#define GRAPHFIXTURE_H

#include "DSPNetGraph.h"
#include "DSPTree.h"
#include "TestNetwork.h"

#include <QLine>
#include <QStringList>

// A network described in the compact test text, decoded by a DSPTree without
// a link, and the graph that shows it. load() plays one snapshot arriving.
struct GraphFixture
{
    explicit GraphFixture(const QString& description) : net(description) {}

    // "off:A,B" makes units inactive, "bypass:A" bypassed, "group:A" puts them
    // in group 9; "excessive" and "inactive" switch those inputs on first.
    void apply(const QString& options)
    {
        for (const QString& option : options.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
            const QString key = option.section(QLatin1Char(':'), 0, 0);
            const QStringList names =
                option.section(QLatin1Char(':'), 1).split(QLatin1Char(','), Qt::SkipEmptyParts);
            for (const QString& name : names) {
                if (key == QLatin1String("off"))
                    net.node(name).active = false;
                if (key == QLatin1String("bypass"))
                    net.node(name).bypass = true;
                if (key == QLatin1String("group"))
                    net.node(name).groupId = 9;
            }
            if (key == QLatin1String("excessive"))
                graph.setShowExcessive(true);
            if (key == QLatin1String("inactive"))
                graph.setShowInactive(true);
        }
    }

    // An empty description makes a frame the tree refuses, which leaves it as
    // before the first snapshot.
    void load()
    {
        tree.acceptNetworkFrame(net.snapshot(6));
        Q_EMIT tree.dspNetTreeUpdated();
    }

    TestNetwork net;
    DSPTree tree{nullptr};
    DSPNetGraph graph{&tree};
};

// "R@10,10 A@210,10" for the plates in their order.
inline QString nodesText(const DSPNetGraph& graph)
{
    QStringList items;
    for (const GraphNode& node : graph.graphNodes())
        items << QStringLiteral("%1@%2,%3")
                     .arg(node.name)
                     .arg(node.position.x())
                     .arg(node.position.y());
    return items.join(QLatin1Char(' '));
}

// "410,32>330,32" for a line from (410, 32) to (330, 32).
inline QString linesText(const QList<QLine>& lines)
{
    QStringList items;
    for (const QLine& l : lines)
        items << QStringLiteral("%1,%2>%3,%4").arg(l.x1()).arg(l.y1()).arg(l.x2()).arg(l.y2());
    return items.join(QLatin1Char(' '));
}

// Plates | standard lines | "..." corners | widget size, in one line.
inline QString layoutText(const DSPNetGraph& graph)
{
    QStringList points;
    for (const QPoint& p : graph.graphEllipsisPoints())
        points << QStringLiteral("%1,%2").arg(p.x()).arg(p.y());
    return QStringLiteral("%1 | %2 | %3 | %4x%5")
        .arg(nodesText(graph), linesText(graph.graphStandardLines()), points.join(QLatin1Char(' ')))
        .arg(graph.width())
        .arg(graph.height());
}

#endif // GRAPHFIXTURE_H
