#pragma once

#include <QByteArray>
#include <QString>

class QFile;
class QIODevice;
struct ZSTD_DCtx_s;

// One record of a capture file.
struct CaptureRecord
{
    quint8 type = 0;
    quint8 event = 0;
    quint64 timeUs = 0;
    QByteArray data; // the whole frame, header included, for frame records
};

// Reads a capture file record by record. The file is as untrusted as the
// wire: every length is checked against the bytes at hand and a cap, and a
// record that cannot be right ends the reading with status Damaged. A file
// that stops inside a record or without the end record has status CutOff;
// everything before that point is read.
class CaptureReader
{
public:
    enum Status
    {
        Reading,
        Clean,   // the end record was read
        CutOff,  // the data stopped before the end record
        Damaged, // a record or the compressed stream cannot be right
    };

    CaptureReader();
    ~CaptureReader();
    CaptureReader(const CaptureReader&) = delete;
    CaptureReader& operator=(const CaptureReader&) = delete;

    // Opens a file and reads its head. False with a one-line reason for a file
    // that cannot be read, is no capture or has a newer major version.
    bool open(const QString& path, QString* error);
    // Reads from a device that is open for reading; it is not owned.
    bool open(QIODevice* device, QString* error);

    // The next record; false when there is none, and status() says why.
    bool next(CaptureRecord* record);

    Status status() const { return state; }
    // For CutOff and Damaged: what was wrong, in a few words.
    QString problem() const { return problemText; }
    qint64 startMs() const { return startTime; }
    quint16 major() const { return majorVersion; }
    quint16 minor() const { return minorVersion; }
    // Bytes of the compressed stream taken from the file so far, head included.
    qint64 fileBytesRead() const { return fileBytes; }
    // Bytes of records decoded so far.
    qint64 recordBytesRead() const { return recordBytes; }

private:
    bool fill(qsizetype wanted);
    bool stop(Status status, const QString& text);

    ZSTD_DCtx_s* context;
    QFile* file = nullptr;
    QIODevice* device = nullptr;
    QByteArray input;
    qsizetype inputOffset = 0;
    QByteArray plain;
    qsizetype plainOffset = 0;
    qsizetype plainEnd = 0;
    bool inputDone = false;
    Status state = Reading;
    QString problemText;
    qint64 startTime = 0;
    quint16 majorVersion = 0;
    quint16 minorVersion = 0;
    qint64 fileBytes = 0;
    qint64 recordBytes = 0;
    quint64 lastTime = 0;
};
