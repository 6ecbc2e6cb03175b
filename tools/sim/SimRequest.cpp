#include "SimRequest.h"

#include <QtEndian>

namespace {

struct FrameType
{
    quint8 kind;
    quint8 subKind;
    SimRequest::Type type;
    int size;
};

const FrameType frameTypes[] = {
    {0, 0, SimRequest::Subscribe, 18},  {1, 1, SimRequest::DSPText, 140},
    {1, 2, SimRequest::Enable, 21},     {1, 3, SimRequest::Bypass, 21},
    {7, 1, SimRequest::GroupText, 140},
};

// The text field: up to its first zero byte, never past its 128 bytes.
// Control characters would garble the log line, so they become '?'.
QString readText(const char* field)
{
    QString text = QString::fromUtf8(field, qsizetype(qstrnlen(field, 128)));
    for (QChar& c : text) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7F)
            c = QLatin1Char('?');
    }
    return text;
}

} // namespace

bool SimRequest::parse(const QByteArray& frame, SimRequest* request, QString* error)
{
    if (frame.size() < 12) {
        *error = QStringLiteral("frame of %1 bytes is shorter than its header").arg(frame.size());
        return false;
    }
    const char* p = frame.constData();
    const quint8 kind = quint8(p[8]);
    const quint8 subKind = quint8(p[9]);
    for (const FrameType& t : frameTypes) {
        if (t.kind != kind || t.subKind != subKind)
            continue;
        if (frame.size() < t.size) {
            *error = QStringLiteral("frame %1/%2 of %3 bytes is shorter than its %4")
                         .arg(kind)
                         .arg(subKind)
                         .arg(frame.size())
                         .arg(t.size);
            return false;
        }
        *request = SimRequest();
        request->type = t.type;
        request->version = quint8(p[10]);
        if (t.type == Subscribe) {
            request->kind = quint8(p[12]);
            request->subKind = quint8(p[13]);
            request->rate = qFromLittleEndian<quint32>(p + 14);
        } else if (t.type == Enable || t.type == Bypass) {
            request->id = qFromLittleEndian<quint64>(p + 12);
            request->on = p[20] != 0;
        } else {
            request->text = readText(p + 12);
        }
        return true;
    }
    *error = QStringLiteral("unknown frame kind %1/%2 (%3 bytes)")
                 .arg(kind)
                 .arg(subKind)
                 .arg(frame.size());
    return false;
}

QString SimRequest::describe() const
{
    const QString idText = QStringLiteral("0x%1").arg(id, 16, 16, QLatin1Char('0'));
    switch (type) {
    case Subscribe:
        return QStringLiteral("subscription kind %1/%2 rate %3").arg(kind).arg(subKind).arg(rate);
    case Enable:
        return QStringLiteral("command enable id %1 = %2").arg(idText).arg(on ? 1 : 0);
    case Bypass:
        return QStringLiteral("command bypass id %1 = %2").arg(idText).arg(on ? 1 : 0);
    case DSPText:
        return QStringLiteral("command dsp-text \"%1\"").arg(text);
    case GroupText:
        return QStringLiteral("command group-text \"%1\"").arg(text);
    }
    return QString();
}
