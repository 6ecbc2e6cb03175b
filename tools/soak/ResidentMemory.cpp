#include "ResidentMemory.h"

#include <QFile>
#include <QList>

qint64 ResidentMemory::currentKilobytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    // The file is a few kilobytes; a bound keeps a strange procfs harmless.
    return parseKilobytes(status.read(64 * 1024));
}

qint64 ResidentMemory::parseKilobytes(const QByteArray& statusText)
{
    const QList<QByteArray> lines = statusText.split('\n');
    for (const QByteArray& line : lines) {
        if (!line.startsWith("VmRSS:"))
            continue;
        const QList<QByteArray> fields = line.mid(6).simplified().split(' ');
        if (fields.size() != 2 || fields.at(1) != "kB")
            return -1;
        bool ok = false;
        const qint64 value = fields.at(0).toLongLong(&ok);
        return ok && value >= 0 ? value : -1;
    }
    return -1;
}

double ResidentMemory::growthPercent(qint64 first, qint64 last)
{
    if (first <= 0)
        return 0.0;
    return 100.0 * double(last - first) / double(first);
}
