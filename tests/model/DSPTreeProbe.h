#ifndef DSPTREEPROBE_H
#define DSPTREEPROBE_H

#include "DSPTree.h"

#include <QStringList>

// Read helpers over a decoded DSPTree: whole graphs written as sorted text
// ("A=1 B=2") so that one QCOMPARE checks them all.
class DSPTreeProbe
{
public:
    template <typename Property> static QString each(const DSPTree& tree, Property property)
    {
        QStringList items;
        for (const DSPNode* node : tree.nodes)
            items.append(node->name + QLatin1Char('=') + QString::number(property(node)));
        items.sort();
        return items.join(QLatin1Char(' '));
    }

    static QString depths(const DSPTree& tree)
    {
        return each(tree, [](const DSPNode* n) { return n->depth; });
    }

    static QString inclusiveTimes(const DSPTree& tree)
    {
        return each(tree, [](const DSPNode* n) { return n->inclusiveTime; });
    }

    // The inputs of a unit in order, with their flags: "A B+send C+sidechain".
    static QString inputs(const DSPNode* node)
    {
        QStringList items;
        for (const DSPConnection& c : node->inputs) {
            items.append(c.node->name + QLatin1String(c.send ? "+send" : "") +
                         QLatin1String(c.sidechain ? "+sidechain" : ""));
        }
        return items.join(QLatin1Char(' '));
    }

    static QString rootName(const DSPTree& tree)
    {
        return tree.head.inputs.isEmpty() ? QStringLiteral("-")
                                          : tree.head.inputs.first().node->name;
    }
};

#endif // DSPTREEPROBE_H
