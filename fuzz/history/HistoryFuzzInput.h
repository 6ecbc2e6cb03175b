#ifndef HISTORYFUZZINPUT_H
#define HISTORYFUZZINPUT_H

#include <QByteArray>
#include <QList>

#include <cstddef>
#include <cstdint>

// The fuzz input is a run of frames, each written as one length byte and then that
// many bytes (a last frame cut short keeps what is there). All frames form one pass.
namespace HistoryFuzzInput {

inline QList<QByteArray> split(const uint8_t* data, size_t size)
{
    QList<QByteArray> frames;
    size_t at = 0;
    while (at < size) {
        const size_t length = data[at++];
        const size_t taken = length < size - at ? length : size - at;
        frames.append(QByteArray(reinterpret_cast<const char*>(data + at), int(taken)));
        at += taken;
    }
    return frames;
}

inline QByteArray join(const QList<QByteArray>& frames)
{
    QByteArray bytes;
    for (const QByteArray& frame : frames) {
        bytes.append(char(quint8(frame.size())));
        bytes.append(frame);
    }
    return bytes;
}

} // namespace HistoryFuzzInput

#endif // HISTORYFUZZINPUT_H
