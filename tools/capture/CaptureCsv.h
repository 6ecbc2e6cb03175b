#pragma once

#include <QString>
#include <string>

class QFile;

// One CSV file as RFC 4180 has it: comma-separated, CRLF line ends, a field
// quoted when it holds a comma, a quote or a line break, '.' decimals and
// numbers in their shortest exact form. Rows are built in memory and written
// in large pieces.
class CaptureCsv
{
public:
    CaptureCsv();
    ~CaptureCsv();
    CaptureCsv(const CaptureCsv&) = delete;
    CaptureCsv& operator=(const CaptureCsv&) = delete;

    // Creates the file; an existing one is refused unless `overwrite`.
    bool open(const QString& path, bool overwrite, QString* error);
    bool close(QString* error);

    void addText(const QString& text);
    void addTime(quint64 timeUs); // seconds, six decimals
    void addNumber(double value);
    void addNumber(float value);
    void addNumber(qint64 value);
    void addNumber(quint64 value);
    void addNumber(int value) { addNumber(qint64(value)); }
    void endRow();

private:
    // Room for `bytes` more, and the field separator when the row has begun;
    // returns where the field's text goes.
    char* field(size_t bytes)
    {
        if (used + bytes + 1 > buffer.size())
            grow(bytes + 1);
        if (rowStarted)
            buffer[used++] = ',';
        rowStarted = true;
        return buffer.data() + used;
    }
    void grow(size_t bytes);
    bool writeOut();

    QFile* file;
    std::string buffer; // [0, used) waits to be written
    size_t used = 0;
    std::string lastTimeText;
    quint64 lastTimeUs = 0;
    bool rowStarted = false;
    bool failed = false;
};
