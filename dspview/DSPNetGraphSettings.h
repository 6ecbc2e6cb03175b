#ifndef DSPNETGRAPHSETTINGS_H
#define DSPNETGRAPHSETTINGS_H

#include <QHashFunctions>
#include <QString>

// How the lists of a layout are drawn: the switches of the panel, the zoom,
// the CPU colour scale, the search text and the selected node. Everything
// here is an input of the picture, and the repaint decision compares all of
// it: a field added here must be added to qHash below.
struct DSPNetGraphSettings
{
    static constexpr quint64 noSelection = ~quint64(0);

    QString highlightText;
    quint64 selectedId = noSelection;
    quint64 selectedGroupId = noSelection;
    float scale = 1.0f;
    float minCPU = 0.0f;
    float maxCPU = 100.0f;
    bool useInclusiveCPU = false;
    bool showCPUUsage = false;
    bool showVolumeLevels = false;
    bool showGroups = false;
    bool showGuids = false;
    bool showSends = false;
    bool showLegend = false;
};

inline size_t qHash(const DSPNetGraphSettings& s, size_t seed = 0)
{
    const size_t switches = qHashMulti(seed, s.useInclusiveCPU, s.showCPUUsage, s.showVolumeLevels,
                                       s.showGroups, s.showGuids, s.showSends, s.showLegend);
    return qHashMulti(switches, s.highlightText, s.selectedId, s.selectedGroupId, s.scale, s.minCPU,
                      s.maxCPU);
}

#endif // DSPNETGRAPHSETTINGS_H
