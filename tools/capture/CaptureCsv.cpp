#include "CaptureCsv.h"

#include <QFile>
#include <charconv>
#include <cmath>

namespace {
constexpr size_t writeChunk = 1024 * 1024;
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

void CaptureCsv::separate()
{
    if (rowStarted)
        buffer += ',';
    rowStarted = true;
}

void CaptureCsv::addText(const QString& text)
{
    separate();
    const QByteArray utf8 = text.toUtf8();
    if (utf8.contains(',') || utf8.contains('"') || utf8.contains('\n') || utf8.contains('\r')) {
        buffer += '"';
        for (char c : utf8) {
            if (c == '"')
                buffer += '"';
            buffer += c;
        }
        buffer += '"';
    } else {
        buffer.append(utf8.constData(), size_t(utf8.size()));
    }
}

void CaptureCsv::addTime(quint64 timeUs)
{
    separate();
    char digits[32];
    const int length = std::snprintf(digits, sizeof digits, "%llu.%06llu",
                                     static_cast<unsigned long long>(timeUs / 1000000),
                                     static_cast<unsigned long long>(timeUs % 1000000));
    buffer.append(digits, size_t(length));
}

void CaptureCsv::addNumber(double value)
{
    separate();
    // A spreadsheet has no word for these; an empty field is what it reads as missing.
    if (!std::isfinite(value))
        return;
    char digits[32];
    const std::to_chars_result result = std::to_chars(digits, digits + sizeof digits, value);
    buffer.append(digits, size_t(result.ptr - digits));
}

void CaptureCsv::addNumber(float value)
{
    separate();
    if (!std::isfinite(value))
        return;
    char digits[32];
    const std::to_chars_result result = std::to_chars(digits, digits + sizeof digits, value);
    buffer.append(digits, size_t(result.ptr - digits));
}

void CaptureCsv::addNumber(qint64 value)
{
    separate();
    char digits[24];
    const std::to_chars_result result = std::to_chars(digits, digits + sizeof digits, value);
    buffer.append(digits, size_t(result.ptr - digits));
}

void CaptureCsv::addNumber(quint64 value)
{
    separate();
    char digits[24];
    const std::to_chars_result result = std::to_chars(digits, digits + sizeof digits, value);
    buffer.append(digits, size_t(result.ptr - digits));
}

void CaptureCsv::endRow()
{
    buffer += "\r\n";
    rowStarted = false;
    if (buffer.size() >= writeChunk)
        writeOut();
}

bool CaptureCsv::writeOut()
{
    if (!buffer.empty() &&
        file->write(buffer.data(), qint64(buffer.size())) != qint64(buffer.size()))
        failed = true;
    buffer.clear();
    return !failed;
}
