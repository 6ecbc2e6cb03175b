#include "SampleFrame.h"

#include "ProfilerNetwork.h"

namespace SampleFrame {

QString oldVersionStatus()
{
    return QStringLiteral("Connected. (Old version detected, reduced functionality)");
}

QString incompatibleVersionStatus()
{
    return QStringLiteral("Connected. (Incompatible version detected, reduced functionality)");
}

QList<QByteArray> takeAll(ProfilerNetwork* network, quint8 kind, quint8 subKind)
{
    QList<QByteArray> frames;
    if (network == nullptr) {
        return frames;
    }
    // Count once per round, not before every take, and move each frame straight into
    // its place: a flood of samples brings thousands of frames to every pass.
    for (int count = network->countPackets(kind, subKind); count > 0;
         count = network->countPackets(kind, subKind)) {
        const qsizetype start = frames.size();
        frames.resize(start + count);
        QByteArray* taken = frames.data() + start;
        for (int i = 0; i < count; ++i) {
            taken[i] = network->takePacket(kind, subKind);
            if (taken[i].isEmpty()) {
                frames.resize(start + i);
                return frames; // the queue disagrees with its own count: stop, never spin
            }
        }
    }
    return frames;
}

} // namespace SampleFrame
