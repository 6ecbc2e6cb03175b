#include "MainForm.h"
#include "SoakRunner.h"

#include <QApplication>
#include <QCommandLineParser>
#include <cstdio>

namespace {

bool readNumber(const QCommandLineParser& parser, const char* name, int low, int high, int* value)
{
    const QString key = QLatin1String(name);
    if (!parser.isSet(key))
        return true;
    bool ok = false;
    const int v = parser.value(key).toInt(&ok);
    if (!ok || v < low || v > high) {
        std::fprintf(stderr, "zelto-soak: --%s wants a whole number from %d to %d\n", name, low,
                     high);
        return false;
    }
    *value = v;
    return true;
}

} // namespace

// Runs the profiler's main window against a target for a soak or a scripted
// session; see SoakRunner. Arguments that Qt knows (-platform ...) go to Qt.
int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Runs the profiler window against a target, clicking its connection bar, and prints "
        "the resident memory as it goes."));
    parser.addHelpOption();
    parser.addOptions({
        {QStringLiteral("port"), QStringLiteral("Port of the target (default 9264)."),
         QStringLiteral("port")},
        {QStringLiteral("seconds"), QStringLiteral("Length of the soak (default 600)."),
         QStringLiteral("seconds")},
        {QStringLiteral("report-every"),
         QStringLiteral("Seconds between two memory lines (default 10)."),
         QStringLiteral("seconds")},
        {QStringLiteral("rate-scale"),
         QStringLiteral("Ask the target for every kind this many times as often as the window "
                        "does (default 20; 1: the window's own rates)."),
         QStringLiteral("factor")},
        {QStringLiteral("script"),
         QStringLiteral("Scripted session instead of a soak: connect, take packets for this "
                        "many seconds, disconnect, connect again, as long again, close."),
         QStringLiteral("seconds")},
    });
    parser.process(application);
    SoakSettings settings;
    int port = settings.port;
    if (!readNumber(parser, "port", 1, 65535, &port) ||
        !readNumber(parser, "seconds", 2, 7 * 24 * 3600, &settings.durationSeconds) ||
        !readNumber(parser, "report-every", 1, 3600, &settings.reportSeconds) ||
        !readNumber(parser, "rate-scale", 1, 100, &settings.rateScale) ||
        !readNumber(parser, "script", 1, 3600, &settings.scriptSeconds))
        return 2;
    settings.port = quint16(port);

    MainForm window(nullptr, {});
    window.resize(800, 600);
    window.setWindowTitle(QStringLiteral("ZELTO Profiler"));
    window.show();
    SoakRunner runner(&window, settings);
    runner.start();
    application.exec();
    return runner.exitCode();
}
