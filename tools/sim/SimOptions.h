#pragma once

#include <QHostAddress>
#include <QList>
#include <QString>

class QCommandLineParser;

enum class SimShape
{
    Mixer,
    Chain,
    FanIn,
    Ladder,
    Cycle
};
enum class SimSplit
{
    None,
    Bytes,
    Random
};
enum class SimHostile
{
    None,
    Size0,
    Size5,
    Huge,
    LyingCount,
    UnterminatedName,
    ManyLevels,
    Short
};
enum class SimCloseStyle
{
    Clean,
    MidFrame,
    Reset
};

// What the command line asks of the simulated target.
class SimOptions
{
public:
    // Largest network that --nodes accepts: a version 5 snapshot of it is
    // close to 100 MB, which is as much as one frame should ever carry.
    static constexpr int maxNodes = 500000;
    // Largest --burst: a million sample frames are some 100 MB on the wire.
    static constexpr int maxBurst = 1000000;

    QHostAddress address = QHostAddress(QHostAddress::LocalHost);
    quint16 port = 9264;
    int dspVersion = 6;
    int cpuVersion = 1;
    QList<int> badVersionKinds;
    SimShape shape = SimShape::Mixer;
    int nodes = 0; // 0: the natural size of the shape
    double stallAfter = 0;
    double closeAfter = 0;
    SimCloseStyle closeStyle = SimCloseStyle::Clean;
    double refuseFor = 0;
    SimSplit split = SimSplit::None;
    bool noise = false;
    SimHostile hostile = SimHostile::None;
    int burst = 0;
    quint32 seed = 1;

    static void addTo(QCommandLineParser* parser);
    // Reads the options of a parser that has parsed the arguments. On a bad
    // value, returns false with a one-line reason.
    bool read(const QCommandLineParser& parser, QString* error);

    static QString shapeName(SimShape shape);
    static QString hostileName(SimHostile hostile);
};
