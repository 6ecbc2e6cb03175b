#ifndef SAMPLEFRAME_H
#define SAMPLEFRAME_H

#include "PacketHeader.h"

#include <QByteArray>
#include <QList>
#include <QString>

class ProfilerNetwork;

// Reading and passing over the small periodic sample frames (CPU, channels, codecs,
// stats). Each frame is the whole packet, header included; payload offsets count
// from its first byte.
namespace SampleFrame {

constexpr int versionOffset = PacketHeader::versionOffset;

// What one pass does with one frame, decided from its version byte and its length.
enum class Verdict
{
    Accept,    // current version, long enough for its layout
    AcceptOld, // older version that is still decoded, with a status line
    Refuse,    // unknown version: a status line, nothing else
    Drop       // too short for its layout: silently ignored, no status line
};

QString oldVersionStatus();
QString incompatibleVersionStatus();

// Every frame of the kind that is queued in `network`, oldest first. A null network
// yields nothing. The frames are borrowed: their bytes may belong to the receive pass
// that announced them, so a pass reads them and keeps only what it decodes.
QList<QByteArray> takeAll(ProfilerNetwork* network, quint8 kind, quint8 subKind);

// The version rule is looked at before the length: a frame of an unknown version is
// refused with a status line even when it is short, since its layout is not known
// anyway. A frame too short to hold its version byte says nothing and is dropped.
// For a kind that has only version 0 and payloads ending at `frameSize`.
inline Verdict classifyCurrentOnly(const QByteArray& frame, int frameSize)
{
    if (frame.size() <= versionOffset) {
        return Verdict::Drop;
    }
    if (quint8(frame.at(versionOffset)) != 0) {
        return Verdict::Refuse;
    }
    return frame.size() >= frameSize ? Verdict::Accept : Verdict::Drop;
}

// Signed views of the wire readers. The frame's length is checked against its layout
// before any of these runs; the readers check it again field by field.
inline qint32 readInt32(const QByteArray& frame, int offset)
{
    return qint32(Wire::readU32(frame, offset));
}

inline qint16 readInt16(const QByteArray& frame, int offset)
{
    return qint16(Wire::readU16(frame, offset));
}

inline float readFloat(const QByteArray& frame, int offset)
{
    return Wire::readFloat(frame, offset);
}

// Counts from the target are added the way its own 32-bit counters would wrap, so
// that hostile values cannot make the sum undefined.
inline int wrappingAdd(int a, int b)
{
    return int(quint32(a) + quint32(b));
}

// Index of the first frame whose snapshot survives the pass: only the last `keep`
// accepted frames of a burst are decoded, so a burst of N frames costs N cheap
// checks and at most `keep` decodes, never a decode and a removal per frame.
template <typename Classify>
int firstKeptFrame(const QList<QByteArray>& frames, int keep, Classify classify)
{
    int kept = 0;
    for (int i = frames.size() - 1; i >= 0; --i) {
        const Verdict verdict = classify(frames.at(i));
        if (verdict == Verdict::Accept || verdict == Verdict::AcceptOld) {
            if (++kept == keep) {
                return i;
            }
        }
    }
    return 0;
}

// One pass over `frames` in arrival order: status lines for old and refused versions
// (one per frame, in order), the decoded snapshots appended to `list`, which keeps
// at most `maxSnapshots`. Returns the number of accepted frames. Nothing is held
// across a call of `report`, so a slot that runs inside it cannot invalidate the pass.
template <typename Snapshot, typename Classify, typename Decode, typename Report>
int runPass(const QList<QByteArray>& frames, QList<Snapshot>* list, int maxSnapshots,
            Classify classify, Decode decode, Report report)
{
    const int firstKept = firstKeptFrame(frames, maxSnapshots, classify);
    int accepted = 0;
    for (int i = 0; i < frames.size(); ++i) {
        const Verdict verdict = classify(frames.at(i));
        if (verdict == Verdict::Drop) {
            continue;
        }
        if (verdict == Verdict::Refuse) {
            report(incompatibleVersionStatus());
            continue;
        }
        if (verdict == Verdict::AcceptOld) {
            report(oldVersionStatus());
        }
        ++accepted;
        if (i < firstKept) {
            continue; // pushed out of the list by later frames of this same pass
        }
        list->append(decode(frames.at(i)));
        if (list->size() > maxSnapshots) {
            list->removeFirst();
        }
    }
    return accepted;
}

} // namespace SampleFrame

#endif // SAMPLEFRAME_H
