#include "CaptureWriter.h"

#include "PacketHeader.h"

#include <QFile>
#include <zstd.h>

namespace {
// Records are compressed in pieces of about this size between flushes.
constexpr qsizetype compressChunk = 256 * 1024;
// Level 3 keeps the cost of a 200-unit network far below a percent of a core;
// its 2 MB window still reaches the previous snapshot, which is what makes a
// living network cheap to keep.
constexpr int compressionLevel = 3;
} // namespace

CaptureWriter::CaptureWriter() : context(ZSTD_createCCtx())
{
    ZSTD_CCtx_setParameter(context, ZSTD_c_compressionLevel, compressionLevel);
    ZSTD_CCtx_setParameter(context, ZSTD_c_checksumFlag, 1);
    output.resize(qsizetype(ZSTD_CStreamOutSize()));
}

CaptureWriter::~CaptureWriter()
{
    ZSTD_freeCCtx(context);
    delete file;
}

bool CaptureWriter::open(const QString& path, bool overwrite, qint64 startMs, QString* error)
{
    if (!overwrite && QFile::exists(path)) {
        *error = QStringLiteral("%1 exists (use --force to overwrite it)").arg(path);
        return false;
    }
    file = new QFile(path);
    if (!file->open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        *error = QStringLiteral("cannot write %1: %2").arg(path, file->errorString());
        return false;
    }
    return open(file, startMs, error);
}

bool CaptureWriter::open(QIODevice* target, qint64 startMs, QString* error)
{
    device = target;
    char head[CaptureFormat::headSize] = {};
    std::memcpy(head, CaptureFormat::magic, sizeof CaptureFormat::magic);
    Wire::writeU16(head + 8, CaptureFormat::majorVersion);
    Wire::writeU16(head + 10, CaptureFormat::minorVersion);
    Wire::writeU64(head + 16, quint64(startMs));
    if (device->write(head, sizeof head) != qint64(sizeof head)) {
        *error = QStringLiteral("cannot write: %1").arg(device->errorString());
        return false;
    }
    writtenBytes = sizeof head;
    return flush();
}

void CaptureWriter::appendFrame(CaptureFormat::RecordType type, quint64 timeUs,
                                const QByteArray& frame)
{
    appendRecord(type, 0, timeUs, frame.constData(), frame.size());
}

void CaptureWriter::appendEvent(CaptureFormat::LinkEvent event, quint64 timeUs)
{
    appendRecord(CaptureFormat::Event, event, timeUs, nullptr, 0);
}

void CaptureWriter::appendRecord(quint8 type, quint8 event, quint64 timeUs, const char* data,
                                 qsizetype length)
{
    char head[CaptureFormat::recordHeadSize] = {};
    Wire::writeU32(head, quint32(length));
    Wire::writeU8(head + 4, type);
    Wire::writeU8(head + 5, event);
    Wire::writeU64(head + 8, timeUs);
    pending.append(head, sizeof head);
    if (length > 0)
        pending.append(data, length);
    plainBytes += qint64(sizeof head) + length;
    ++recordCount;
    if (pending.size() >= compressChunk)
        compress(ZSTD_e_continue);
}

bool CaptureWriter::flush()
{
    return compress(ZSTD_e_flush);
}

bool CaptureWriter::finish(quint64 timeUs)
{
    appendRecord(CaptureFormat::End, 0, timeUs, nullptr, 0);
    const bool ok = compress(ZSTD_e_end);
    if (file)
        file->close();
    device = nullptr;
    return ok;
}

bool CaptureWriter::compress(int mode)
{
    if (!device)
        return false;
    ZSTD_inBuffer in = {pending.constData(), size_t(pending.size()), 0};
    size_t remaining;
    do {
        ZSTD_outBuffer out = {output.data(), size_t(output.size()), 0};
        remaining = ZSTD_compressStream2(context, &out, &in, ZSTD_EndDirective(mode));
        if (ZSTD_isError(remaining))
            return fail(QString::fromLatin1(ZSTD_getErrorName(remaining)));
        if (out.pos > 0 && device->write(output.constData(), qint64(out.pos)) != qint64(out.pos))
            return fail(device->errorString());
        writtenBytes += qint64(out.pos);
    } while (mode == ZSTD_e_continue ? in.pos < in.size : remaining != 0);
    pending.truncate(0);
    if (mode != ZSTD_e_continue && file)
        file->flush();
    return true;
}

bool CaptureWriter::fail(const QString& text)
{
    errorText = QStringLiteral("cannot write the capture: %1").arg(text);
    device = nullptr;
    return false;
}
