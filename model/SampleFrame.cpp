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
    // Count once per round, not before every take: each count walks the whole queue,
    // so counting per take would make a burst of N frames cost N * N.
    for (int count = network->countPackets(kind, subKind); count > 0;
         count = network->countPackets(kind, subKind)) {
        frames.reserve(frames.size() + count);
        for (int i = 0; i < count; ++i) {
            QByteArray frame = network->takePacket(kind, subKind);
            if (frame.isEmpty()) {
                return frames; // the queue disagrees with its own count: stop, never spin
            }
            frames.append(frame);
        }
    }
    return frames;
}

} // namespace SampleFrame
