#include "CaptureCommand.h"

#include "CaptureExport.h"
#include "CaptureInfo.h"
#include "CapturePlatform.h"
#include "CaptureReader.h"
#include "CaptureRelay.h"
#include "CaptureReplay.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <cstdio>

namespace {
const char usage[] =
    "usage:\n"
    "  zelto-capture record --target HOST[:PORT] --listen PORT -o FILE [--force]\n"
    "  zelto-capture record --target HOST[:PORT] --subscribe -o FILE [--force]\n"
    "  zelto-capture replay FILE [--port N] [--speed X] [--loop] [--from SECONDS] [--to SECONDS]\n"
    "  zelto-capture info FILE\n"
    "  zelto-capture export FILE --csv DIR [--force]\n";

QCommandLineOption option(const char* name, const char* valueName = nullptr)
{
    QCommandLineOption result(QString::fromLatin1(name));
    if (valueName)
        result.setValueName(QString::fromLatin1(valueName));
    return result;
}

// Parses `arguments` (the command's name first) and checks the number of
// positional arguments.
bool parse(QCommandLineParser* parser, const QStringList& arguments, int positional, QString* error)
{
    parser->setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    if (!parser->parse(arguments)) {
        *error = parser->errorText();
        return false;
    }
    if (parser->positionalArguments().size() != positional) {
        *error = positional == 0 ? QStringLiteral("unexpected argument %1")
                                       .arg(parser->positionalArguments().value(0))
                                 : QStringLiteral("name one capture file");
        return false;
    }
    return true;
}

bool readPort(const QString& text, quint16* port)
{
    bool ok = false;
    const uint value = text.toUInt(&ok);
    if (!ok || value > 65535)
        return false;
    *port = quint16(value);
    return true;
}

bool readSeconds(const QString& text, double* value)
{
    bool ok = false;
    *value = text.toDouble(&ok);
    return ok && *value >= 0 && *value < 1e9;
}
} // namespace

int CaptureCommand::run(const QStringList& arguments)
{
    const QString command = arguments.value(1);
    const QStringList rest = arguments.mid(1);
    if (command == QLatin1String("help") || arguments.contains(QLatin1String("--help")) ||
        arguments.contains(QLatin1String("-h"))) {
        std::fputs(usage, stdout);
        return 0;
    }
    if (command == QLatin1String("record"))
        return record(rest);
    if (command == QLatin1String("replay"))
        return replay(rest);
    if (command == QLatin1String("info"))
        return info(rest);
    if (command == QLatin1String("export"))
        return exportCsv(rest);
    if (command.isEmpty()) {
        std::fputs(usage, stderr);
        return 2;
    }
    return badUse(QStringLiteral("unknown command %1 (try --help)").arg(command));
}

int CaptureCommand::record(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.addOptions({option("target", "host[:port]"), option("listen", "port"),
                       option("subscribe"), QCommandLineOption({"o", "output"}, {}, "file"),
                       option("force")});
    QString error;
    if (!parse(&parser, arguments, 0, &error))
        return badUse(error);
    RelaySettings settings;
    const QString target = parser.value(QStringLiteral("target"));
    const qsizetype colon = target.lastIndexOf(QLatin1Char(':'));
    settings.targetHost = colon < 0 ? target : target.left(colon);
    if (settings.targetHost.isEmpty())
        return badUse(QStringLiteral("--target HOST[:PORT] is needed"));
    if (colon >= 0 && !readPort(target.mid(colon + 1), &settings.targetPort))
        return badUse(QStringLiteral("bad target port in %1").arg(target));
    settings.subscribe = parser.isSet(QStringLiteral("subscribe"));
    if (settings.subscribe == parser.isSet(QStringLiteral("listen")))
        return badUse(QStringLiteral("give either --listen PORT (a profiler connects through the "
                                     "relay) or --subscribe (no profiler)"));
    if (!settings.subscribe &&
        !readPort(parser.value(QStringLiteral("listen")), &settings.listenPort))
        return badUse(QStringLiteral("bad --listen port"));
    settings.path = parser.value(QStringLiteral("o"));
    if (settings.path.isEmpty())
        return badUse(QStringLiteral("-o FILE is needed"));
    settings.overwrite = parser.isSet(QStringLiteral("force"));
    settings.progress = CapturePlatform::errorIsTerminal();

    CapturePlatform platform;
    CaptureRelay relay(settings);
    QObject::connect(&platform, SIGNAL(terminationRequested()), &relay, SLOT(slotStop()));
    QObject::connect(&relay, SIGNAL(finished(int)), QCoreApplication::instance(), SLOT(exit(int)));
    if (!relay.start())
        return 1;
    return QCoreApplication::exec();
}

int CaptureCommand::replay(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.addOptions({option("port", "n"), option("speed", "x"), option("loop"),
                       option("from", "seconds"), option("to", "seconds")});
    QString error;
    if (!parse(&parser, arguments, 1, &error))
        return badUse(error);
    ReplaySettings settings;
    settings.path = parser.positionalArguments().first();
    settings.loop = parser.isSet(QStringLiteral("loop"));
    if (parser.isSet(QStringLiteral("port")) &&
        !readPort(parser.value(QStringLiteral("port")), &settings.port))
        return badUse(QStringLiteral("bad --port"));
    if (parser.isSet(QStringLiteral("speed")) &&
        (!readSeconds(parser.value(QStringLiteral("speed")), &settings.speed) ||
         settings.speed < 0.01 || settings.speed > 1000))
        return badUse(QStringLiteral("--speed takes a factor from 0.01 to 1000"));
    if (parser.isSet(QStringLiteral("from")) &&
        !readSeconds(parser.value(QStringLiteral("from")), &settings.fromSeconds))
        return badUse(QStringLiteral("bad --from"));
    if (parser.isSet(QStringLiteral("to")) &&
        (!readSeconds(parser.value(QStringLiteral("to")), &settings.toSeconds) ||
         settings.toSeconds <= settings.fromSeconds))
        return badUse(QStringLiteral("--to must be a time after --from"));

    CapturePlatform platform;
    CaptureReplay replayer(settings);
    QObject::connect(&platform, SIGNAL(terminationRequested()), &replayer, SLOT(slotStop()));
    QObject::connect(&replayer, SIGNAL(finished(int)), QCoreApplication::instance(),
                     SLOT(exit(int)));
    if (!replayer.start())
        return 1;
    return QCoreApplication::exec();
}

int CaptureCommand::info(const QStringList& arguments)
{
    QCommandLineParser parser;
    QString error;
    if (!parse(&parser, arguments, 1, &error))
        return badUse(error);
    const QString path = parser.positionalArguments().first();
    CaptureReader reader;
    if (!reader.open(path, &error))
        return failure(error);
    CaptureInfo summary;
    CaptureRecord record;
    while (reader.next(&record))
        summary.add(record);
    std::fputs(qPrintable(summary.text(path, reader)), stdout);
    return 0;
}

int CaptureCommand::exportCsv(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.addOptions({option("csv", "dir"), option("force")});
    QString error;
    if (!parse(&parser, arguments, 1, &error))
        return badUse(error);
    const QString directory = parser.value(QStringLiteral("csv"));
    if (directory.isEmpty())
        return badUse(QStringLiteral("--csv DIR is needed"));
    CaptureReader reader;
    if (!reader.open(parser.positionalArguments().first(), &error))
        return failure(error);
    CaptureExport csv;
    if (!csv.open(directory, parser.isSet(QStringLiteral("force")), &error))
        return failure(error);
    CaptureRecord record;
    while (reader.next(&record))
        csv.add(record);
    if (!csv.close(&error))
        return failure(error);
    if (reader.status() != CaptureReader::Clean)
        std::fprintf(stderr,
                     "zelto-capture: the file ends early (%s); everything before was "
                     "exported\n",
                     qPrintable(reader.problem()));
    return 0;
}

int CaptureCommand::badUse(const QString& line)
{
    std::fprintf(stderr, "zelto-capture: %s\n", qPrintable(line));
    return 2;
}

int CaptureCommand::failure(const QString& line)
{
    std::fprintf(stderr, "zelto-capture: %s\n", qPrintable(line));
    return 1;
}
