#include "CaptureReader.h"

#include "CaptureFormat.h"
#include "PacketHeader.h"

#include <QFile>
#include <zstd.h>

namespace {
constexpr qsizetype inputChunk = 256 * 1024;
// Small enough that decoding one piece never holds up replay for long.
constexpr qsizetype plainChunk = 64 * 1024;
// No record is longer than the largest frame that the profiler takes.
constexpr quint32 maxRecordLength = PacketHeader::maxFrameSize;
} // namespace

CaptureReader::CaptureReader() : context(ZSTD_createDCtx())
{
    // A hostile stream must not make the decoder reserve a huge window.
    ZSTD_DCtx_setParameter(context, ZSTD_d_windowLogMax, 27);
}

CaptureReader::~CaptureReader()
{
    ZSTD_freeDCtx(context);
    delete file;
}

bool CaptureReader::open(const QString& path, QString* error)
{
    file = new QFile(path);
    if (!file->open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read %1: %2").arg(path, file->errorString());
        return false;
    }
    if (!open(file, error)) {
        *error = QStringLiteral("%1: %2").arg(path, *error);
        return false;
    }
    return true;
}

bool CaptureReader::open(QIODevice* source, QString* error)
{
    device = source;
    const QByteArray head = device->read(CaptureFormat::headSize);
    if (head.size() < CaptureFormat::headSize ||
        std::memcmp(head.constData(), CaptureFormat::magic, sizeof CaptureFormat::magic) != 0) {
        *error = QStringLiteral("not a capture file");
        return false;
    }
    majorVersion = Wire::readU16(head, 8);
    minorVersion = Wire::readU16(head, 10);
    startTime = qint64(Wire::readU64(head, 16));
    if (majorVersion > CaptureFormat::majorVersion) {
        *error = QStringLiteral("capture format %1.%2 is newer than this program reads (%3.x)")
                     .arg(majorVersion)
                     .arg(minorVersion)
                     .arg(CaptureFormat::majorVersion);
        return false;
    }
    fileBytes = head.size();
    return true;
}

bool CaptureReader::next(CaptureRecord* record)
{
    if (state != Reading)
        return false;
    if (!fill(CaptureFormat::recordHeadSize))
        return false;
    const char* head = plain.constData() + plainOffset;
    const quint32 length = quint32(Wire::readUnsigned(head, 16, 0, 4));
    const quint8 type = quint8(head[4]);
    const quint64 timeUs = Wire::readUnsigned(head, 16, 8, 8);
    const bool frame = type == CaptureFormat::ToProfiler || type == CaptureFormat::ToTarget;
    if (type < CaptureFormat::ToProfiler || type > CaptureFormat::End)
        return stop(Damaged, QStringLiteral("unknown record type %1").arg(type));
    if (frame ? (length < PacketHeader::headerSize || length > maxRecordLength) : length != 0)
        return stop(Damaged, QStringLiteral("record length %1 does not fit its type").arg(length));
    if (timeUs < lastTime)
        return stop(Damaged, QStringLiteral("record time goes backwards"));
    if (!fill(CaptureFormat::recordHeadSize + qsizetype(length)))
        return false;
    head = plain.constData() + plainOffset;
    if (frame && Wire::readUnsigned(head + CaptureFormat::recordHeadSize, length, 0, 4) != length)
        return stop(Damaged, QStringLiteral("frame size differs from its record"));
    record->type = type;
    record->event = quint8(head[5]);
    record->timeUs = timeUs;
    record->data = QByteArray(head + CaptureFormat::recordHeadSize, length);
    lastTime = timeUs;
    plainOffset += CaptureFormat::recordHeadSize + qsizetype(length);
    recordBytes += CaptureFormat::recordHeadSize + qsizetype(length);
    if (type == CaptureFormat::End)
        state = Clean;
    return true;
}

// Decodes until `wanted` plain bytes wait at plainOffset. False, with the
// status set, when the stream ends or breaks first.
bool CaptureReader::fill(qsizetype wanted)
{
    while (plainEnd - plainOffset < wanted) {
        if (plainOffset > 0) {
            std::memmove(plain.data(), plain.constData() + plainOffset, plainEnd - plainOffset);
            plainEnd -= plainOffset;
            plainOffset = 0;
        }
        if (plain.size() < qMax(wanted, plainEnd + plainChunk))
            plain.resize(qMax(wanted, plainEnd + plainChunk));
        if (inputOffset == input.size()) {
            if (inputDone || !device)
                return stop(CutOff, plainEnd > 0 ? QStringLiteral("the last record is incomplete")
                                                 : QStringLiteral("no end record"));
            input = device->read(inputChunk);
            inputOffset = 0;
            fileBytes += input.size();
            inputDone = input.isEmpty();
            continue;
        }
        ZSTD_inBuffer in = {input.constData(), size_t(input.size()), size_t(inputOffset)};
        ZSTD_outBuffer out = {plain.data() + plainEnd, size_t(plain.size() - plainEnd), 0};
        const size_t result = ZSTD_decompressStream(context, &out, &in);
        if (ZSTD_isError(result))
            return stop(Damaged, QStringLiteral("compressed data is damaged (%1)")
                                     .arg(QString::fromLatin1(ZSTD_getErrorName(result))));
        inputOffset = qsizetype(in.pos);
        plainEnd += qsizetype(out.pos);
    }
    return true;
}

bool CaptureReader::stop(Status status, const QString& text)
{
    state = status;
    problemText = text;
    return false;
}
