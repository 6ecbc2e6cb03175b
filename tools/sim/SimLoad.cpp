#include "SimLoad.h"

#include <QtMath>
#include <cmath>

namespace {

const double roundSeconds = 30.0;
const double startSeconds = 5.0; // the loudness at the start is a middling 0.25

qint32 rounded(double value)
{
    return qint32(std::lround(qMax(0.0, value)));
}

qint32 share(double fraction, qint32 whole)
{
    return qint32(std::floor(fraction * whole));
}

void shareCodecs(SimSample* s)
{
    // Every real channel plays one stream, decoded by one codec. This
    // platform has no XMA and no AT9 decoder: their limits are 0.
    const qint32 real = s->hardwareCount + s->softwareCount;
    s->vorbisLimit = 32;
    s->adpcmLimit = 32;
    s->pcmLimit = 64;
    s->mpegLimit = 16;
    s->zadpcmLimit = 16;
    // Shares rounded down leave a small rest, which the last codec takes.
    s->vorbisCount = qMin(s->vorbisLimit, share(0.40, real));
    s->adpcmCount = qMin(s->adpcmLimit, share(0.25, real));
    s->pcmCount = qMin(s->pcmLimit, share(0.20, real));
    s->mpegCount = qMin(s->mpegLimit, share(0.10, real));
    const qint32 rest = real - s->vorbisCount - s->adpcmCount - s->pcmCount - s->mpegCount;
    s->zadpcmCount = qBound(0, rest, s->zadpcmLimit);
}

} // namespace

float SimLoad::loudness(double seconds)
{
    const double angle = 2.0 * M_PI * (seconds + startSeconds) / roundSeconds;
    return float(0.5 - 0.5 * std::cos(angle));
}

SimSample SimLoad::sampleAt(double seconds, float dspPercent, bool hasGeometry)
{
    const double e = loudness(seconds);
    SimSample s;
    s.dsp = dspPercent;
    s.stream = float(0.8 + 1.6 * e + 0.3 * std::sin(seconds * 1.7));
    s.update = float(2.5 + 0.8 * std::sin(seconds * 0.7));
    s.geometry = hasGeometry ? float(0.4 + 0.3 * e + 0.1 * std::sin(seconds * 2.3)) : 0.0f;

    s.hardwareLimit = 8;
    s.hardwareCount = qMin(s.hardwareLimit, rounded(2 + 5 * e));
    s.softwareLimit = 64;
    s.softwareCount = qMin(s.softwareLimit, rounded(6 + 30 * e + 3 * std::sin(seconds * 1.1)));
    s.virtualLimit = 512;
    s.virtualCount = rounded(10 + 40 * e + 5 * std::sin(seconds * 0.9));
    shareCodecs(&s);

    // Memory grows with the number of voices, and a slow streaming buffer
    // cycle rides on top.
    s.memoryLimitBytes = 256000000;
    s.memoryBytes = rounded(40e6 + 25e6 * e + 3e6 * std::sin(seconds / 3.0));
    return s;
}
