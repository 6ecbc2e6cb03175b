#include "SimLog.h"

#include <QElapsedTimer>
#include <cstdio>

void SimLog::write(const QString& line)
{
    static QElapsedTimer clock;
    if (!clock.isValid())
        clock.start();
    const QByteArray text =
        QString::asprintf("%9.3f  ", double(clock.elapsed()) / 1000.0).toUtf8() + line.toUtf8() +
        '\n';
    std::fwrite(text.constData(), 1, size_t(text.size()), stdout);
    std::fflush(stdout);
}
