#include "TestNetwork.h"

#include <QDir>
#include <QFile>
#include <QString>

#include <cstdio>

namespace {

bool write(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

} // namespace

// Writes valid seed frames into the directory given: a snapshot of every
// version with shared units, a loop, flags, groups and levels, and a group
// table.
int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_dsptree_corpus <directory>\n");
        return 2;
    }
    const QString dir = QString::fromLocal8Bit(argv[1]);
    QDir().mkpath(dir);
    TestNetwork net("R<-A+send,B+sidechain,C; A<-D; B<-D+send+sidechain,E; E<-B");
    net.totalCPU = 0.3f;
    net.sampleRate = 48000;
    net.blockLength = 1024;
    int time = 3;
    for (const QString& name : net.names()) {
        TestNode& node = net.node(name);
        node.exclusiveTime = quint32(time);
        node.groupId = quint64(time % 2);
        node.sendTargetId = name == QLatin1String("C") ? 1 : 0;
        node.amplitudes = {1.0f, 0.25f};
        node.decibels = {-6, 3};
        time += 4;
    }
    bool ok = true;
    for (int version = 0; version <= 6; ++version)
        ok =
            write(QStringLiteral("%1/snapshot-v%2").arg(dir).arg(version), net.snapshot(version)) &&
            ok;
    const QList<TestGroup> groups{
        {1, 0, QUuid(0x12345678, 0x9abc, 0xdef0, 1, 2, 3, 4, 5, 6, 7, 8), QStringLiteral("Master")},
        {2, 1, QUuid(), QStringLiteral("Effects")}};
    ok = write(dir + QStringLiteral("/groups"), TestFrames::groupTable(groups)) && ok;
    return ok ? 0 : 1;
}
