#ifndef DSPNETGRAPHREPAINT_H
#define DSPNETGRAPHREPAINT_H

#include <QtGlobal>

#include <cstddef>

class DSPNetGraphLayout;
struct DSPNetGraphSettings;

// Whether the screen still shows the picture that the lists and settings
// make. A steady network sends the same picture many times a second, and a
// repaint of a large network is dear; but a skipped repaint must never leave
// an older picture on the screen. So the decision compares with what was last
// painted, not with the last layout: a change that never reached the screen
// (a click beside the plates ends the selection without a repaint) is painted
// with the next snapshot.
class DSPNetGraphRepaint
{
public:
    // After each layout. Shares and meters count only while they are shown.
    void layoutDone(const DSPNetGraphLayout& layout, const DSPNetGraphSettings& settings);
    bool needsRepaint(const DSPNetGraphSettings& settings) const;
    // After each paint; wholeView tells whether all of the visible part was
    // painted, since a partial paint leaves older pixels beside it.
    void painted(const DSPNetGraphSettings& settings, bool wholeView);

private:
    size_t pictureKey(const DSPNetGraphSettings& settings) const;
    static size_t hashShape(const DSPNetGraphLayout& layout);

    size_t shapeKey = 0;
    quint64 shapeKeyVersion = 0; // the layout's listsVersion that shapeKey hashes
    size_t listsKey = 0;
    size_t paintedKey = 0;
    bool paintedValid = false; // false while the screen may mix pictures
};

#endif // DSPNETGRAPHREPAINT_H
