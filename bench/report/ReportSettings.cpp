#include "ReportSettings.h"

#include <cstring>

namespace {

QString simPath;
double windowSeconds = ReportSettings::defaultSteadySeconds;

const char simFlag[] = "--sim=";
const char secondsFlag[] = "--steady-seconds=";

} // namespace

// Every call starts again from the defaults.
bool ReportSettings::parse(int* argc, char** argv, QString* error)
{
    simPath.clear();
    windowSeconds = defaultSteadySeconds;
    int kept = 1;
    for (int i = 1; i < *argc; ++i) {
        if (std::strncmp(argv[i], simFlag, sizeof simFlag - 1) != 0 &&
            std::strncmp(argv[i], secondsFlag, sizeof secondsFlag - 1) != 0) {
            argv[kept++] = argv[i];
            continue;
        }
        if (!take(argv[i], error))
            return false;
    }
    *argc = kept;
    return true;
}

bool ReportSettings::take(const char* argument, QString* error)
{
    if (std::strncmp(argument, simFlag, sizeof simFlag - 1) == 0) {
        simPath = QString::fromLocal8Bit(argument + sizeof simFlag - 1);
        return true;
    }
    bool ok = false;
    const double value = QString::fromLatin1(argument + sizeof secondsFlag - 1).toDouble(&ok);
    // Below a second the window holds too few snapshots to mean anything.
    if (!ok || value < 1.0 || value > 3600.0) {
        *error = QStringLiteral("--steady-seconds wants seconds from 1 to 3600");
        return false;
    }
    windowSeconds = value;
    return true;
}

QString ReportSettings::simProgram()
{
    return simPath;
}

double ReportSettings::steadySeconds()
{
    return windowSeconds;
}
