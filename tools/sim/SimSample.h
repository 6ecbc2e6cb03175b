#pragma once

#include <QtGlobal>

// Everything that the four sample packets carry at one moment. The CPU,
// channel and codec packets and the combined stats packet are all cut from
// one of these, so that they agree with each other.
struct SimSample
{
    float dsp = 0; // percent of the CPU
    float stream = 0;
    float update = 0;
    float geometry = 0;

    qint32 hardwareCount = 0;
    qint32 hardwareLimit = 0;
    qint32 softwareCount = 0;
    qint32 softwareLimit = 0;
    qint32 virtualCount = 0;
    qint32 virtualLimit = 0;

    qint32 mpegCount = 0;
    qint32 mpegLimit = 0;
    qint32 adpcmCount = 0;
    qint32 adpcmLimit = 0;
    qint32 xmaCount = 0;
    qint32 xmaLimit = 0;
    qint32 pcmCount = 0;
    qint32 pcmLimit = 0;
    qint32 zadpcmCount = 0;
    qint32 zadpcmLimit = 0;
    qint32 vorbisCount = 0;
    qint32 vorbisLimit = 0;
    qint32 at9Count = 0;
    qint32 at9Limit = 0;

    qint32 memoryBytes = 0;
    qint32 memoryLimitBytes = 0;
};
