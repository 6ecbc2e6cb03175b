#include "SimOptions.h"

#include <QCommandLineParser>

namespace {

const char* const shapeNames[] = {"mixer", "chain", "fanin", "ladder", "cycle"};
const char* const splitNames[] = {"none", "bytes", "random"};
const char* const closeStyleNames[] = {"clean", "mid-frame", "reset"};
const char* const hostileNames[] = {
    "none", "size0", "size5", "huge", "lying-count", "unterminated-name", "many-levels", "short"};

template <typename Enum, int N>
bool readName(const QString& text, const char* const (&names)[N], Enum* value)
{
    for (int i = 0; i < N; ++i) {
        if (text == QLatin1String(names[i])) {
            *value = static_cast<Enum>(i);
            return true;
        }
    }
    return false;
}

bool readSeconds(const QCommandLineParser& parser, const QString& name, double* value,
                 QString* error)
{
    if (!parser.isSet(name))
        return true;
    bool ok = false;
    *value = parser.value(name).toDouble(&ok);
    // A day is far beyond any demo; the bound keeps the timer arithmetic in range.
    if (!ok || *value < 0 || *value > 86400) {
        *error = QStringLiteral("--%1 wants seconds from 0 to 86400").arg(name);
        return false;
    }
    return true;
}

bool readInt(const QCommandLineParser& parser, const QString& name, int low, int high, int* value,
             QString* error)
{
    if (!parser.isSet(name))
        return true;
    bool ok = false;
    const int v = parser.value(name).toInt(&ok);
    if (!ok || v < low || v > high) {
        *error =
            QStringLiteral("--%1 wants a whole number from %2 to %3").arg(name).arg(low).arg(high);
        return false;
    }
    *value = v;
    return true;
}

} // namespace

void SimOptions::addTo(QCommandLineParser* parser)
{
    parser->setApplicationDescription(QStringLiteral(
        "Stands in for an application built on the ZELTO audio engine with profiling enabled:\n"
        "listens for the profiler, sends the packets that it subscribes to, and obeys its "
        "commands.\nOne line per event is printed on stdout."));
    parser->addHelpOption();
    parser->addOptions({
        {QStringLiteral("address"), QStringLiteral("Address to listen on (default 127.0.0.1)."),
         QStringLiteral("address")},
        {QStringLiteral("port"),
         QStringLiteral("Port to listen on (default 9264; 0: any free one)."),
         QStringLiteral("port")},
        {QStringLiteral("dsp-version"),
         QStringLiteral("Version of the DSP network snapshot, 0 to 6 (default 6)."),
         QStringLiteral("version")},
        {QStringLiteral("cpu-version"),
         QStringLiteral("Version of the CPU packet, 0 or 1 (default 1)."),
         QStringLiteral("version")},
        {QStringLiteral("bad-version"),
         QStringLiteral("Every second frame of this kind (1, 3, 4, 5, 7 or 9) carries a version "
                        "that the profiler does not know. May be repeated."),
         QStringLiteral("kind")},
        {QStringLiteral("shape"),
         QStringLiteral("Network shape: mixer, chain, fanin, ladder or cycle (default mixer)."),
         QStringLiteral("shape")},
        {QStringLiteral("nodes"),
         QStringLiteral("Number of units, up to %1 (default: the natural size of the shape; "
                        "the mixer keeps its base mix and grows a crowd to reach the number).")
             .arg(maxNodes),
         QStringLiteral("count")},
        {QStringLiteral("stall-after"),
         QStringLiteral("Stop sending this many seconds into each connection, keeping it open."),
         QStringLiteral("seconds")},
        {QStringLiteral("close-after"),
         QStringLiteral("Close each connection this many seconds after it came up."),
         QStringLiteral("seconds")},
        {QStringLiteral("close-style"),
         QStringLiteral("How --close-after ends a connection: clean (default), mid-frame (the "
                        "first half of a snapshot goes out last) or reset (no orderly close)."),
         QStringLiteral("style")},
        {QStringLiteral("refuse-for"),
         QStringLiteral("Do not listen during the first seconds after the start."),
         QStringLiteral("seconds")},
        {QStringLiteral("split"),
         QStringLiteral("Send frames in single bytes or in random pieces: bytes or random."),
         QStringLiteral("mode")},
        {QStringLiteral("noise"), QStringLiteral("Interleave frames of kinds that nobody reads.")},
        {QStringLiteral("hostile"),
         QStringLiteral("Send broken frames: size0, size5, huge, lying-count, unterminated-name, "
                        "many-levels or short."),
         QStringLiteral("mode")},
        {QStringLiteral("burst"),
         QStringLiteral("One second into each connection, send nothing for 2 s, then this many "
                        "sample frames at once (up to %1).")
             .arg(maxBurst),
         QStringLiteral("count")},
        {QStringLiteral("seed"),
         QStringLiteral("Seed of the pseudo-random choices of --split random and --noise."),
         QStringLiteral("number")},
    });
}

bool SimOptions::read(const QCommandLineParser& parser, QString* error)
{
    if (!parser.positionalArguments().isEmpty()) {
        *error = QStringLiteral("unexpected argument %1").arg(parser.positionalArguments().first());
        return false;
    }
    if (parser.isSet(QStringLiteral("address")) &&
        !address.setAddress(parser.value(QStringLiteral("address")))) {
        *error = QStringLiteral("--address wants an IP address");
        return false;
    }
    int portValue = port;
    int seedValue = 1;
    if (!readInt(parser, QStringLiteral("port"), 0, 65535, &portValue, error) ||
        !readInt(parser, QStringLiteral("dsp-version"), 0, 6, &dspVersion, error) ||
        !readInt(parser, QStringLiteral("cpu-version"), 0, 1, &cpuVersion, error) ||
        !readInt(parser, QStringLiteral("nodes"), 0, maxNodes, &nodes, error) ||
        !readInt(parser, QStringLiteral("burst"), 0, maxBurst, &burst, error) ||
        !readInt(parser, QStringLiteral("seed"), 0, 2147483647, &seedValue, error) ||
        !readSeconds(parser, QStringLiteral("stall-after"), &stallAfter, error) ||
        !readSeconds(parser, QStringLiteral("close-after"), &closeAfter, error) ||
        !readSeconds(parser, QStringLiteral("refuse-for"), &refuseFor, error))
        return false;
    port = quint16(portValue);
    seed = quint32(seedValue);
    for (const QString& text : parser.values(QStringLiteral("bad-version"))) {
        const int kind = text.toInt();
        if (kind != 1 && kind != 3 && kind != 4 && kind != 5 && kind != 7 && kind != 9) {
            *error = QStringLiteral(
                "--bad-version wants a kind that the target sends: 1, 3, 4, 5, 7 or 9");
            return false;
        }
        if (!badVersionKinds.contains(kind))
            badVersionKinds.append(kind);
    }
    if (parser.isSet(QStringLiteral("shape")) &&
        !readName(parser.value(QStringLiteral("shape")), shapeNames, &shape)) {
        *error = QStringLiteral("--shape wants mixer, chain, fanin, ladder or cycle");
        return false;
    }
    if (parser.isSet(QStringLiteral("split")) &&
        !readName(parser.value(QStringLiteral("split")), splitNames, &split)) {
        *error = QStringLiteral("--split wants bytes or random");
        return false;
    }
    if (parser.isSet(QStringLiteral("close-style")) &&
        !readName(parser.value(QStringLiteral("close-style")), closeStyleNames, &closeStyle)) {
        *error = QStringLiteral("--close-style wants clean, mid-frame or reset");
        return false;
    }
    if (parser.isSet(QStringLiteral("hostile")) &&
        !readName(parser.value(QStringLiteral("hostile")), hostileNames, &hostile)) {
        *error = QStringLiteral("--hostile wants size0, size5, huge, lying-count, "
                                "unterminated-name, many-levels or short");
        return false;
    }
    noise = parser.isSet(QStringLiteral("noise"));
    return true;
}

QString SimOptions::shapeName(SimShape shape)
{
    return QLatin1String(shapeNames[int(shape)]);
}

QString SimOptions::hostileName(SimHostile hostile)
{
    return QLatin1String(hostileNames[int(hostile)]);
}
