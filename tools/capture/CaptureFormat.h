#pragma once

#include <QtGlobal>

// The layout of a capture file; docs/capture-format.md describes it for
// readers written elsewhere.
//
// A file is a 24-byte head, written plainly, and behind it one zstd stream
// that holds the records. The writer flushes the stream at least once a
// second, so a reader can decode everything up to the last flush of a file
// whose writer was killed.
namespace CaptureFormat {

// The head: magic, major and minor version, reserved, start time.
//   0  8  magic "ZELTOCAP"
//   8  u16 major   a reader refuses a file of a higher major version
//   10 u16 minor   additions a reader of the same major version may ignore
//   12 u32 reserved, written as 0
//   16 i64 start   milliseconds since 1970-01-01 UTC when recording began
constexpr char magic[8] = {'Z', 'E', 'L', 'T', 'O', 'C', 'A', 'P'};
constexpr int headSize = 24;
constexpr quint16 majorVersion = 1;
constexpr quint16 minorVersion = 0;

// Each record: a 16-byte record head and its payload.
//   0  u32 length  of the payload
//   4  u8  type    RecordType
//   5  u8  event   for Event records: LinkEvent; 0 otherwise
//   6  u16 reserved, written as 0
//   8  u64 time    microseconds since the start of the recording
constexpr int recordHeadSize = 16;

enum RecordType : quint8
{
    // A whole frame as it passed from the target to the profiler.
    ToProfiler = 1,
    // A whole frame as it passed from the profiler to the target.
    ToTarget = 2,
    // A change of one of the two links; no payload.
    Event = 3,
    // The writer closed the file in order; no payload, nothing behind it.
    End = 4
};

enum LinkEvent : quint8
{
    TargetUp = 1,
    TargetClosed = 2, // the target ended the stream in order
    TargetReset = 3,  // the target's end went away without an orderly close
    ProfilerUp = 4,
    ProfilerGone = 5
};

// Flush period of the writer. A kill must lose at most a second; half of
// that leaves the other half for a busy machine that runs the timer late.
constexpr int flushIntervalMs = 500;

} // namespace CaptureFormat
