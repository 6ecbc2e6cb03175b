#ifndef GRAPHFIXTURE_H
#define GRAPHFIXTURE_H

#include "DSPNetGraph.h"
#include "DSPTree.h"
#include "TestNetwork.h"

#include <QLine>
#include <QStringList>

// A network in the compact test text, decoded by a DSPTree without a link.
struct NetworkFixture
{
    explicit NetworkFixture(const QString& description) : net(description) {}

    // "off:A,B" makes units inactive, "bypass:A" bypassed, "group:A" puts them
    // in group 9, "alias:B=A" gives B the id of A with other high 32 bits;
    // "excessive" and "inactive" switch those inputs on first.
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
                if (key == QLatin1String("alias"))
                    net.node(name.section(QLatin1Char('='), 0, 0)).id =
                        net.node(name.section(QLatin1Char('='), 1)).id + (quint64(1) << 32);
            }
            layout.showExcessive |= key == QLatin1String("excessive");
            layout.showInactive |= key == QLatin1String("inactive");
        }
    }

    // An empty description leaves the tree as before the first snapshot.
    void load()
    {
        tree.acceptNetworkFrame(net.snapshot(6));
        Q_EMIT tree.dspNetTreeUpdated();
    }

    const DSPNetGraphLayout& layOut()
    {
        load();
        layout.processTree(tree, DSPNetGraph::noSelection, DSPNetGraph::noSelection);
        return layout;
    }

    TestNetwork net;
    DSPTree tree{nullptr};
    DSPNetGraphLayout layout;
};

// The same with the graph widget that shows it.
struct GraphFixture : NetworkFixture
{
    using NetworkFixture::NetworkFixture;

    void apply(const QString& options)
    {
        NetworkFixture::apply(options);
        graph.setShowExcessive(layout.showExcessive);
        graph.setShowInactive(layout.showInactive);
    }

    DSPNetGraph graph{&tree};
};

// "R@10,10 A@210,10" for the plates in their order.
inline QString nodesText(const DSPNetGraphLayout& layout)
{
    QStringList items;
    for (const GraphNode& node : layout.nodes)
        items << node.name + QString::asprintf("@%d,%d", node.position.x(), node.position.y());
    return items.join(QLatin1Char(' '));
}

// "410,32>330,32" for a line from (410, 32) to (330, 32).
inline QString linesText(const QList<QLine>& lines)
{
    QStringList items;
    for (const QLine& l : lines)
        items << QString::asprintf("%d,%d>%d,%d", l.x1(), l.y1(), l.x2(), l.y2());
    return items.join(QLatin1Char(' '));
}

// Plates | standard lines | "..." corners | size at scale 1.0, in one line.
inline QString layoutText(const DSPNetGraphLayout& layout)
{
    QStringList points;
    for (const QPoint& p : layout.ellipsisPoints)
        points << QString::asprintf("%d,%d", p.x(), p.y());
    const QSize size = layout.neededSize(1.0f);
    return QStringList{nodesText(layout), linesText(layout.standardLines),
                       points.join(QLatin1Char(' ')),
                       QString::asprintf("%dx%d", size.width(), size.height())}
        .join(QStringLiteral(" | "));
}

#endif // GRAPHFIXTURE_H
