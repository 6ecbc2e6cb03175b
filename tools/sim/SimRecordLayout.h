#pragma once

// Where each field of a node record stands in one snapshot version. Offsets
// count from the record's first byte; -1 marks a field that the version does
// not carry.
struct SimRecordLayout
{
    int size;
    int idWidth; // 4: the low 32 bits of the id
    int groupOffset;
    int sendTargetOffset;
    int nameOffset;
    int countOffset;
    int countWidth;
    int activeOffset;
    int bypassOffset;
    int flagsOffset; // active, bypass, send and sidechain as bits
    int timeOffset;
    int timeWidth;
    int levelCountOffset;
    int levelsOffset;
    int levelWidth; // 4: big-endian amplitudes; 1: whole decibels

    // Versions 0 to 6; null for any other.
    static const SimRecordLayout* forVersion(int version);
    // Bytes between the frame header and the first record.
    static int headerSize(int version);
};
