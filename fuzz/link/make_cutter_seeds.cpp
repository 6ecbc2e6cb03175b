// Writes the seed corpus of fuzz_framecutter: valid frames of every kind that
// crosses the link, in both directions, alone and mixed, revealed in chunks
// that split headers and payloads, in the form of CutterFuzzInput.
// Usage: make_cutter_seeds <directory>
#include "CutterFuzzInput.h"
#include "HistoryFrames.h"
#include "PacketHeader.h"
#include "TestNetwork.h"

#include <QDir>
#include <QFile>

#include <cstdio>

namespace {

bool write(const QDir& dir, const char* name, const QByteArray& stream, const QList<qint64>& chunks,
           qint64 maxQueuedBytes = 0)
{
    CutterFuzzInput input;
    input.maxQueuedBytes = maxQueuedBytes;
    input.chunks = chunks;
    input.stream = stream;
    const QByteArray bytes = input.join();
    QFile file(dir.filePath(QString::fromLatin1(name)));
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray outboundFrames()
{
    QByteArray frames;
    const quint8 kinds[] = {PacketKind::DSPNetwork, PacketKind::DSPGroup, PacketKind::CPU,
                            PacketKind::Channel,    PacketKind::Codec,    PacketKind::Stats};
    for (quint8 kind : kinds) {
        QByteArray payload(6, '\0');
        Wire::writeU8(payload.data(), kind);
        Wire::writeU32(payload.data() + 2, kind <= PacketKind::DSPGroup ? 100 : 200);
        frames += TestFrames::frame(PacketKind::Subscription, 0, 0, payload);
    }
    const QByteArray enable = QByteArray::fromHex("050000000000000001");
    frames += TestFrames::frame(PacketKind::DSPNetwork, PacketSubKind::DSPEnable, 6, enable);
    frames += TestFrames::frame(PacketKind::DSPNetwork, PacketSubKind::DSPBypass, 6, enable);
    QByteArray text(128, '\0');
    text.replace(0, 4, "Show");
    frames += TestFrames::frame(PacketKind::DSPNetwork, PacketSubKind::Text, 6, text);
    frames += TestFrames::frame(PacketKind::DSPGroup, PacketSubKind::Text, 0, text);
    return frames;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_cutter_seeds <directory>\n");
        return 2;
    }
    const QDir dir(QString::fromLocal8Bit(argv[1]));
    using namespace HistoryFrames;
    TestNetwork net("R<-A+send,B; A<-C; B<-C+sidechain");
    const QByteArray snapshot6 = net.snapshot(6);
    const QByteArray snapshot0 = net.snapshot(0);
    const QByteArray groups = TestFrames::groupTable(
        {{1, 0, QUuid(), QStringLiteral("Master")}, {2, 1, QUuid(), QStringLiteral("Effects")}});
    const QByteArray cpuFrame = cpu(1, 1.5f, 0.5f, 2.0f, 1.0f);
    const QByteArray channelFrame = ints(PacketKind::Channel, 0, {3, 32, 10, 64, 20, 100});
    const QByteArray codecFrame = ints(PacketKind::Codec, 0, {1, 16, 2, 32, 3, 8, 4, 4});
    const QByteArray statsFrame = stats(0, {1.5f}, {3, 32}, 1500000, 8000000);
    const QByteArray mixed =
        snapshot6 + groups + cpuFrame + channelFrame + codecFrame + statsFrame + cpuFrame;

    // Each alone, its header cut in two.
    bool ok = write(dir, "snapshot-v6", snapshot6, {7, 9});
    ok = write(dir, "snapshot-v0", snapshot0, {7, 9}) && ok;
    ok = write(dir, "groups", groups, {7, 9}) && ok;
    ok = write(dir, "cpu", cpuFrame, {7, 9}) && ok;
    ok = write(dir, "channel", channelFrame, {7, 9}) && ok;
    ok = write(dir, "codec", codecFrame, {7, 9}) && ok;
    ok = write(dir, "stats", statsFrame, {7, 9}) && ok;
    ok = write(dir, "outbound", outboundFrames(), {18, 18, 0, 30, 1}) && ok;
    // Every kind in one stream, in uneven chunks, with an empty readyRead.
    ok = write(dir, "mixed", mixed, {1, 11, 30, 0, 200, 255, 12}) && ok;
    // The same stream against a queue that its first three frames fill
    // exactly, and against one a byte smaller.
    const qint64 threeFrames = snapshot6.size() + groups.size() + cpuFrame.size();
    ok = write(dir, "mixed-queue-full", mixed, {64, 128}, threeFrames) && ok;
    ok = write(dir, "mixed-queue-cap", mixed, {255, 255, 255}, threeFrames - 1) && ok;
    // Small frames a byte at a time.
    ok = write(dir, "bytewise", cpuFrame + codecFrame, QList<qint64>(40, 1)) && ok;
    return ok ? 0 : 1;
}
