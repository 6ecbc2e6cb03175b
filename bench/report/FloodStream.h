#ifndef FLOODSTREAM_H
#define FLOODSTREAM_H

#include <QByteArray>
#include <QtGlobal>

// The byte stream that a busy target sends, built once and sent again and
// again: frames of all six received kinds, cut by the simulated target from a
// living network of the given size, in the mix of the profiler's own
// subscriptions (a snapshot and a group table every 100 ms, each sample kind
// every 200 ms, so 8 frames per 200 ms). The clock of the network moves one
// step between two rounds of the mix, so consecutive snapshots differ.
//
// The second mix holds the four sample kinds alone, one of each per round:
// frames of 28 to 72 bytes, so that the cost of each frame, not the copying
// of large snapshots, sets the pace.
class FloodStream
{
public:
    enum Mix
    {
        Subscriptions,
        SamplesOnly
    };

    // A frame of a kind that no decoder takes, sent once behind the flood: it
    // stays in the profiler's queue, which tells the bench that every frame in
    // front of it has been through the decoders.
    static constexpr quint8 endKind = 8;
    static constexpr int framesPerRound = 8;

    FloodStream(int units, int rounds, Mix mix = Subscriptions);

    // The rounds back to back, without the end frame.
    const QByteArray& bytes() const { return stream; }
    int frameCount() const { return frames; }
    static QByteArray endFrame();

private:
    QByteArray stream;
    int frames;
};

#endif
