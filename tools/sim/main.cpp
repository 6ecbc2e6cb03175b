#include "SimLog.h"
#include "SimOptions.h"
#include "SimServer.h"
#include "SimSignalWatcher.h"
#include "SimTarget.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <csignal>
#include <cstdio>

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("zelto-target-sim"));
    // A client that vanishes while a frame is being written must not end us.
    std::signal(SIGPIPE, SIG_IGN);

    QCommandLineParser parser;
    SimOptions::addTo(&parser);
    SimOptions options;
    QString error;
    if (!parser.parse(QCoreApplication::arguments()))
        error = parser.errorText();
    else if (parser.isSet(QStringLiteral("help"))) {
        std::fputs(qPrintable(parser.helpText()), stdout);
        return 0;
    } else
        options.read(parser, &error);
    if (!error.isEmpty()) {
        std::fprintf(stderr, "zelto-target-sim: %s\nTry --help.\n", qPrintable(error));
        return 2;
    }

    SimSignalWatcher watcher;
    SimTarget target(options.shape, options.nodes, options.cpuVersion != 0);
    SimServer server(&target, options);
    QObject::connect(&watcher, SIGNAL(terminationRequested()), &server, SLOT(slotStop()));
    QObject::connect(&server, SIGNAL(finished(int)), &app, SLOT(exit(int)));
    if (!server.start())
        return 1;
    const int code = app.exec();
    SimLog::write(code == 0 ? QStringLiteral("stopped") : QStringLiteral("stopped after an error"));
    return code;
}
