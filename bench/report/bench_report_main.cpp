#include "ReportSettings.h"

#include <QApplication>

#include <benchmark/benchmark.h>

#include <csignal>
#include <cstdio>

int main(int argc, char** argv)
{
    // A peer that hangs up while a flood is being written must not end us.
    std::signal(SIGPIPE, SIG_IGN);
    QString error;
    if (!ReportSettings::parse(&argc, argv, &error)) {
        std::fprintf(stderr, "bench_report: %s\n", qPrintable(error));
        return 2;
    }
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
