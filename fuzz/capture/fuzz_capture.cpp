#include "CaptureFormat.h"
#include "CaptureInfo.h"
#include "CaptureReader.h"

#include <QBuffer>
#include <cstdlib>
#include <zstd.h>

namespace {

// The first byte chooses what the rest is: 0, a whole capture file as it
// lies on disk; anything else, the records alone, compressed here behind a
// good head, so that mutations reach the record layer and not only the
// decompressor.
QByteArray fileFrom(const uint8_t* data, size_t size)
{
    const char* rest = reinterpret_cast<const char*>(data + 1);
    if (data[0] == 0)
        return QByteArray(rest, qsizetype(size - 1));
    QByteArray file(CaptureFormat::headSize, '\0');
    std::memcpy(file.data(), CaptureFormat::magic, sizeof CaptureFormat::magic);
    file[8] = char(CaptureFormat::majorVersion);
    QByteArray packed(qsizetype(ZSTD_compressBound(size - 1)), '\0');
    const size_t length = ZSTD_compress(packed.data(), size_t(packed.size()), rest, size - 1, 1);
    if (ZSTD_isError(length))
        std::abort();
    return file + packed.left(qsizetype(length));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    QByteArray file = fileFrom(data, size);
    QBuffer device(&file);
    device.open(QIODevice::ReadOnly);
    CaptureReader reader;
    QString error;
    if (!reader.open(&device, &error))
        return 0;
    CaptureInfo info;
    CaptureRecord record;
    quint64 lastTime = 0;
    qint64 plainBytes = 0;
    while (reader.next(&record)) {
        // What every reader relies on: time never runs back, a frame record
        // holds a whole frame whose size field is its length, and no record
        // holds more than the stream gave.
        const bool frame =
            record.type == CaptureFormat::ToProfiler || record.type == CaptureFormat::ToTarget;
        plainBytes += CaptureFormat::recordHeadSize + record.data.size();
        if (record.timeUs < lastTime || (frame && record.data.size() < 12) ||
            (!frame && !record.data.isEmpty()) || plainBytes != reader.recordBytesRead())
            std::abort();
        lastTime = record.timeUs;
        info.add(record);
    }
    if (reader.status() == CaptureReader::Reading || reader.next(&record))
        std::abort();
    info.text(QStringLiteral("fuzz"), reader);
    return 0;
}
