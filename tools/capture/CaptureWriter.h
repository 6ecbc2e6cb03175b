#pragma once

#include "CaptureFormat.h"

#include <QByteArray>
#include <QString>

class QFile;
class QIODevice;
struct ZSTD_CCtx_s;

// Writes a capture file: the head, then records through one zstd stream.
// Records gather in memory and are compressed in large pieces; flush() pushes
// everything written so far to the file in a form a reader can decode, and
// the owner calls it at least once a second.
class CaptureWriter
{
public:
    CaptureWriter();
    ~CaptureWriter();
    CaptureWriter(const CaptureWriter&) = delete;
    CaptureWriter& operator=(const CaptureWriter&) = delete;

    // Creates the file. An existing file is refused unless `overwrite`.
    bool open(const QString& path, bool overwrite, qint64 startMs, QString* error);
    // Writes into a device that is open for writing; it is not owned.
    bool open(QIODevice* device, qint64 startMs, QString* error);

    void appendFrame(CaptureFormat::RecordType type, quint64 timeUs, const QByteArray& frame);
    void appendEvent(CaptureFormat::LinkEvent event, quint64 timeUs);
    // False once writing has failed; error() says why.
    bool flush();
    // Writes the end record, ends the stream and closes the file.
    bool finish(quint64 timeUs);

    qint64 recordBytes() const { return plainBytes; }
    qint64 fileBytes() const { return writtenBytes; }
    qint64 records() const { return recordCount; }
    QString error() const { return errorText; }

private:
    void appendRecord(quint8 type, quint8 event, quint64 timeUs, const char* data,
                      qsizetype length);
    bool compress(int mode);
    bool fail(const QString& text);

    ZSTD_CCtx_s* context;
    QFile* file = nullptr;
    QIODevice* device = nullptr;
    QByteArray pending;
    QByteArray output;
    qint64 plainBytes = 0;
    qint64 writtenBytes = 0;
    qint64 recordCount = 0;
    QString errorText;
};
