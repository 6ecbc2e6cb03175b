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
    return network == nullptr ? QList<QByteArray>() : network->borrowAllPackets(kind, subKind);
}

} // namespace SampleFrame
