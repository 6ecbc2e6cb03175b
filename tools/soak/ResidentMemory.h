#ifndef RESIDENTMEMORY_H
#define RESIDENTMEMORY_H

#include <QByteArray>
#include <QtGlobal>

// The resident memory of this process, as the kernel reports it in
// /proc/self/status, and the comparison a soak run is judged by.
class ResidentMemory
{
public:
    // VmRSS of this process in kilobytes; -1 when it cannot be read.
    static qint64 currentKilobytes();
    // The VmRSS line of a /proc/<pid>/status text in kilobytes; -1 when the
    // text has no such line or its value is not a plain number of kB.
    static qint64 parseKilobytes(const QByteArray& statusText);
    // Growth from `first` to `last` in percent of `first` (negative when
    // memory shrank); 0 when `first` is not positive.
    static double growthPercent(qint64 first, qint64 last);
};

#endif
