#include "CaptureCsv.h"

#include <QFile>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace {
constexpr size_t writeChunk = 1024 * 1024;
// The longest spelling of any number written: 24 characters for a double.
constexpr size_t maxNumber = 32;
} // namespace

CaptureCsv::CaptureCsv() : file(new QFile) {}

CaptureCsv::~CaptureCsv()
{
    delete file;
}

bool CaptureCsv::open(const QString& path, bool overwrite, QString* error)
{
    file->setFileName(path);
    if (!overwrite && file->exists()) {
        *error = QStringLiteral("%1 exists (use --force to overwrite it)").arg(path);
        return false;
    }
    if (!file->open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        *error = QStringLiteral("cannot write %1: %2").arg(path, file->errorString());
        return false;
    }
    return true;
}

bool CaptureCsv::close(QString* error)
{
    writeOut();
    file->close();
    if (failed)
        *error = QStringLiteral("cannot write %1: %2").arg(file->fileName(), file->errorString());
    return !failed;
}

void CaptureCsv::addText(const QString& text)
{
    // Most names are plain ASCII without a character that needs quoting:
    // they go in as they are, without a UTF-8 copy.
    bool plain = true;
    for (QChar c : text) {
        const char16_t u = c.unicode();
        if (u >= 0x80 || u == ',' || u == '"' || u == '\n' || u == '\r') {
            plain = false;
            break;
        }
    }
    if (plain) {
        char* out = field(size_t(text.size()));
        for (QChar c : text)
            *out++ = char(c.unicode());
        used += size_t(text.size());
        return;
    }
    const QByteArray utf8 = text.toUtf8();
    const bool quoted =
        utf8.contains(',') || utf8.contains('"') || utf8.contains('\n') || utf8.contains('\r');
    char* out = field(size_t(utf8.size()) * 2 + 2);
    char* start = out;
    if (quoted)
        *out++ = '"';
    for (char c : utf8) {
        if (c == '"')
            *out++ = '"';
        *out++ = c;
    }
    if (quoted)
        *out++ = '"';
    used += size_t(out - start);
}

void CaptureCsv::addTime(quint64 timeUs)
{
    // Many rows in turn share one time: it is spelled once.
    if (timeUs != lastTimeUs || lastTimeText.empty()) {
        char digits[32];
        char* end = std::to_chars(digits, digits + 24, timeUs / 1000000).ptr;
        *end++ = '.';
        const quint64 fraction = timeUs % 1000000;
        for (quint64 scale = 100000; scale > 0; scale /= 10)
            *end++ = char('0' + (fraction / scale) % 10);
        lastTimeText.assign(digits, end);
        lastTimeUs = timeUs;
    }
    char* out = field(lastTimeText.size());
    std::memcpy(out, lastTimeText.data(), lastTimeText.size());
    used += lastTimeText.size();
}

void CaptureCsv::addNumber(double value)
{
    char* out = field(maxNumber);
    // A spreadsheet has no word for these; an empty field is what it reads as missing.
    if (std::isfinite(value))
        used += size_t(std::to_chars(out, out + maxNumber, value).ptr - out);
}

void CaptureCsv::addNumber(float value)
{
    char* out = field(maxNumber);
    if (std::isfinite(value))
        used += size_t(std::to_chars(out, out + maxNumber, value).ptr - out);
}

void CaptureCsv::addNumber(qint64 value)
{
    char* out = field(maxNumber);
    used += size_t(std::to_chars(out, out + maxNumber, value).ptr - out);
}

void CaptureCsv::addNumber(quint64 value)
{
    char* out = field(maxNumber);
    used += size_t(std::to_chars(out, out + maxNumber, value).ptr - out);
}

void CaptureCsv::endRow()
{
    if (used + 2 > buffer.size())
        grow(2);
    buffer[used++] = '\r';
    buffer[used++] = '\n';
    rowStarted = false;
    if (used >= writeChunk)
        writeOut();
}

void CaptureCsv::grow(size_t bytes)
{
    buffer.resize(std::max(buffer.size() * 2, used + bytes + 4096));
}

bool CaptureCsv::writeOut()
{
    if (used > 0 && file->write(buffer.data(), qint64(used)) != qint64(used))
        failed = true;
    used = 0;
    return !failed;
}
