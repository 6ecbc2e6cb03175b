// Writes the seed corpus of fuzz_capture: short sessions of the simulated
// target as whole files, the same cut off and damaged, and bare record
// streams with one fault each.
#include "CaptureSimulation.h"
#include "CaptureWriter.h"
#include "SimTarget.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <cstdio>

namespace {

QString folder;

void seed(const char* name, char mode, const QByteArray& bytes)
{
    QFile file(QDir(folder).filePath(QLatin1String(name)));
    if (!file.open(QIODevice::WriteOnly))
        std::exit(1);
    file.write(QByteArray(1, mode) + bytes);
}

QByteArray session(qint64 ms, bool finish)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    CaptureWriter writer;
    QString error;
    writer.open(&buffer, 1700000000000, &error);
    SimTarget target(SimShape::Chain, 12, true);
    CaptureSimulation::write(&writer, &target, 0, ms);
    writer.appendEvent(CaptureFormat::TargetClosed, quint64(ms) * 1000);
    if (finish)
        writer.finish(quint64(ms) * 1000);
    else
        writer.flush();
    return buffer.data();
}

QByteArray record(quint8 type, quint64 timeUs, const QByteArray& payload, qint64 length = -1)
{
    QByteArray head(CaptureFormat::recordHeadSize, '\0');
    const quint32 size = quint32(length < 0 ? payload.size() : length);
    for (int i = 0; i < 4; ++i)
        head[i] = char(size >> (8 * i));
    head[4] = char(type);
    for (int i = 0; i < 8; ++i)
        head[8 + i] = char(timeUs >> (8 * i));
    return head + payload;
}

QByteArray frame(quint8 kind, int length)
{
    QByteArray bytes(length, '\0');
    bytes[0] = char(length);
    bytes[1] = char(length >> 8);
    bytes[8] = char(kind);
    return bytes;
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_capture_seeds <corpus folder>\n");
        return 2;
    }
    folder = QString::fromLocal8Bit(argv[1]);
    QDir().mkpath(folder);

    const QByteArray clean = session(300, true);
    seed("file-clean", 0, clean);
    seed("file-unfinished", 0, session(300, false));
    seed("file-cut-in-head", 0, clean.left(13));
    seed("file-cut-in-stream", 0, clean.left(clean.size() / 2));
    seed("file-cut-before-end", 0, clean.left(clean.size() - 5));
    QByteArray flipped = clean;
    flipped[flipped.size() / 2] = char(flipped[flipped.size() / 2] ^ 0x40);
    seed("file-damaged", 0, flipped);
    QByteArray newer = clean;
    newer[8] = 2;
    seed("file-newer-major", 0, newer);

    const QByteArray good = record(3, 0, QByteArray()) + record(1, 10, frame(3, 28)) +
                            record(2, 20, frame(0, 18)) + record(1, 30, frame(9, 72));
    seed("records-good", 1, good + record(4, 40, QByteArray()));
    seed("records-after-end", 1, good + record(4, 40, QByteArray()) + record(1, 50, frame(3, 28)));
    seed("records-time-backwards", 1, good + record(1, 5, frame(4, 36)));
    seed("records-length-lies", 1, good + record(1, 50, frame(3, 28), 4000));
    seed("records-frame-size-lies", 1, good + record(1, 50, frame(3, 28).replace(0, 1, "\x10")));
    seed("records-unknown-type", 1, good + record(9, 50, QByteArray()));
    seed("records-huge-length", 1, good + record(2, 50, QByteArray(), 0x7FFFFFFF));
    seed("records-cut-in-head", 1, good + record(1, 50, frame(3, 28)).left(9));
    return 0;
}
