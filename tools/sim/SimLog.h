#pragma once

#include <QString>

// The event log of the simulated target: one line per event on stdout,
// flushed at once so that a test or a user reading the pipe sees it at once.
// Each line starts with the seconds since the start.
class SimLog
{
public:
    static void write(const QString& line);
};
