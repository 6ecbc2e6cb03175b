#pragma once

#include <QByteArray>
#include <QList>
#include <QStringList>

// A CSV file read as RFC 4180 has it: fields split at commas, quoted fields
// with doubled quotes inside, rows ended by CRLF.
inline QList<QStringList> readCsv(const QByteArray& bytes)
{
    QList<QStringList> rows;
    QStringList row;
    QByteArray field;
    bool quoted = false;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const char c = bytes[i];
        if (quoted) {
            if (c == '"' && i + 1 < bytes.size() && bytes[i + 1] == '"')
                field += bytes[++i];
            else if (c == '"')
                quoted = false;
            else
                field += c;
        } else if (c == '"') {
            quoted = true;
        } else if (c == ',' || (c == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n')) {
            row << QString::fromUtf8(field);
            field.clear();
            if (c == '\r') {
                rows << row;
                row.clear();
                ++i;
            }
        } else {
            field += c;
        }
    }
    return rows;
}
