// Writes the seed corpus of fuzz_history: one file per packet kind and version that
// the stores know or refuse, and one mixed pass, in the length-prefixed form of
// HistoryFuzzInput. Usage: make_history_seeds <directory>
#include "HistoryFrames.h"
#include "HistoryFuzzInput.h"

#include <QDir>
#include <QFile>

#include <cstdio>

namespace {

bool write(const QDir& dir, const char* name, const QList<QByteArray>& frames)
{
    const QByteArray bytes = HistoryFuzzInput::join(frames);
    QFile file(dir.filePath(QString::fromLatin1(name)));
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_history_seeds <directory>\n");
        return 2;
    }
    const QDir dir(QString::fromLocal8Bit(argv[1]));
    using namespace HistoryFrames;
    const QByteArray statsFrame =
        stats(0, {1.5f, 0.5f, 2.0f, 1.0f},
              {3, 32, 20, 100, 1, 4, 2, 8, 3, 2, 4, 0, 5, 0, 6, 0, 7, 1}, 1500000, 8000000);
    const QByteArray channelFrame = ints(PacketKind::Channel, 0, {3, 32, 10, 64, 20, 100});
    const QByteArray codecFrame = ints(PacketKind::Codec, 0, {1, 16, 2, 32, 3, 8, 4, 4});
    bool ok = write(dir, "cpu-v0", {cpu(0, 1.0f, 2.0f, 3.0f, 0.0f)});
    ok = ok && write(dir, "cpu-v1", {cpu(1, 1.5f, 0.5f, 2.0f, 1.0f)});
    ok = ok && write(dir, "cpu-v2", {cpu(2, 1.5f, 0.5f, 2.0f, 1.0f)});
    ok = ok && write(dir, "channel-v0", {channelFrame});
    ok = ok && write(dir, "channel-v1", {ints(PacketKind::Channel, 1, {3, 32, 10, 64, 20, 100})});
    ok = ok && write(dir, "codec-v0", {codecFrame});
    ok = ok && write(dir, "codec-v1", {ints(PacketKind::Codec, 1, {1, 16, 2, 32, 3, 8, 4, 4})});
    ok = ok && write(dir, "stats-v0", {statsFrame});
    ok = ok && write(dir, "stats-v1", {stats(1, {1.0f}, {1, 2}, 3, 4)});
    ok = ok && write(dir, "mixed-pass",
                     {statsFrame, cpu(0, 1.0f, 2.0f, 3.0f, 0.0f), channelFrame, statsFrame.left(40),
                      codecFrame, cpu(1, 1.5f, 0.5f, 2.0f, 1.0f)});
    return ok ? 0 : 1;
}
