#ifndef REPORTSETTINGS_H
#define REPORTSETTINGS_H

#include <QString>

// The options of the report bench beside Google Benchmark's own:
//   --sim=PATH            the simulated target, for the steady-cost figures
//   --steady-seconds=N    length of each steady-cost window (default 60)
// They are taken out of the argument list before Google Benchmark reads it.
class ReportSettings
{
public:
    static constexpr double defaultSteadySeconds = 60.0;

    // False, with a one-line reason, on a bad value.
    static bool parse(int* argc, char** argv, QString* error);

    static QString simProgram();
    static double steadySeconds();

private:
    static bool take(const char* argument, QString* error);
};

#endif
