#include "DSPNetGraphRepaint.h"

#include "DSPNetGraphLayout.h"
#include "DSPNetGraphSettings.h"

// The lists other than the plates' values change only with a full pass of
// the layout, so their part of the key is kept until the next one; the
// values are hashed after every pass.
void DSPNetGraphRepaint::layoutDone(const DSPNetGraphLayout& layout,
                                    const DSPNetGraphSettings& settings)
{
    if (layout.listsVersion != shapeKeyVersion) {
        shapeKey = hashShape(layout);
        shapeKeyVersion = layout.listsVersion;
    }
    size_t seed = qHashMulti(shapeKey, settings.showCPUUsage, settings.showVolumeLevels);
    if (settings.showCPUUsage || settings.showVolumeLevels) {
        for (const GraphNode& node : layout.nodes) {
            if (settings.showCPUUsage)
                seed = qHashMulti(seed, node.inclusiveCPU, node.exclusiveCPU);
            if (settings.showVolumeLevels)
                seed = qHashRange(node.levels.cbegin(), node.levels.cend(), seed);
        }
    }
    listsKey = seed;
}

size_t DSPNetGraphRepaint::hashShape(const DSPNetGraphLayout& layout)
{
    size_t seed = qHashMulti(0, layout.maxX, layout.maxY, layout.nodes.size(), layout.platesKey);
    for (const QList<QLine>* lines : {&layout.standardLines, &layout.sendLines,
                                      &layout.sidechainLines, &layout.sendSidechainLines}) {
        seed = qHash(lines->size(), seed);
        for (const QLine& line : *lines)
            seed = qHashMulti(seed, line.x1(), line.y1(), line.x2(), line.y2());
    }
    for (const QPoint& point : layout.ellipsisPoints)
        seed = qHashMulti(seed, point.x(), point.y());
    for (const GraphGroup& group : layout.groups)
        seed = qHashMulti(seed, group.rect.x(), group.rect.y(), group.rect.width(),
                          group.rect.height(), group.name, group.guid, group.level);
    return seed;
}

bool DSPNetGraphRepaint::needsRepaint(const DSPNetGraphSettings& settings) const
{
    return !paintedValid || pictureKey(settings) != paintedKey;
}

void DSPNetGraphRepaint::painted(const DSPNetGraphSettings& settings, bool wholeView)
{
    const size_t key = pictureKey(settings);
    if (wholeView) {
        paintedKey = key;
        paintedValid = true;
    } else if (key != paintedKey) {
        paintedValid = false;
    }
}

size_t DSPNetGraphRepaint::pictureKey(const DSPNetGraphSettings& settings) const
{
    return qHash(settings, listsKey);
}
