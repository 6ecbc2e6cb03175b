#include "TestNetwork.h"

#include <QFile>
#include <QString>
#include <QtEndian>

#include <cstdio>

namespace {

bool write(const QString& path, char switches, const QByteArray& snapshot, const QByteArray& table)
{
    QByteArray bytes(5, '\0');
    bytes[0] = switches;
    qToLittleEndian<quint32>(quint32(snapshot.size()), bytes.data() + 1);
    bytes += snapshot + table;
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

} // namespace

// Writes seeds into the directory given: networks with a collapse, a hidden
// sibling, loops, shared units, sends, flags and nested groups, with and
// without the two layout switches.
int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_dspnetgraph_seeds <directory>\n");
        return 2;
    }
    const QString dir = QString::fromLocal8Bit(argv[1]);
    TestNetwork net(
        "R<-P,Q+send,S+sidechain; P<-I0,I1,I2,I3,I4,I5; I2<-I4,P; Q<-I2,B+send+sidechain;"
        "S<-A,B,C,D,E; B<-S");
    int i = 0;
    for (const QString& name : net.names()) {
        TestNode& node = net.node(name);
        node.active = i % 5 != 3;
        node.bypass = i % 4 == 1;
        node.groupId = quint64(1 + i % 3);
        node.sendTargetId = name == QLatin1String("E") ? 1 : 0;
        node.decibels = {-80, -6, 0, 9};
        node.exclusiveTime = quint32(10 * i++);
    }
    net.sampleRate = 48000;
    net.blockLength = 1024;
    const QByteArray table = TestFrames::groupTable(
        {{1, 4, {}, QStringLiteral("One")},
         {2, 4, {}, QStringLiteral("Two")},
         {4, 5, QUuid(QStringLiteral("{6f1c2a3b-0000-4000-8000-00000000abcd}")),
          QStringLiteral("Bus")},
         {5, 0, {}, QStringLiteral("Master")},
         {3, 5, {}, QStringLiteral("Three")}});
    bool ok = true;
    for (char switches = 0; switches < 4; ++switches)
        ok = ok && write(QStringLiteral("%1/seed-%2").arg(dir).arg(int(switches)), switches,
                         net.snapshot(6), table);
    ok = ok && write(dir + QStringLiteral("/seed-v4"), 0, net.snapshot(4), QByteArray());
    return ok ? 0 : 1;
}
