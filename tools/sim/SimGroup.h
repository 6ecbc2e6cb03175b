#pragma once

#include <QByteArray>
#include <QUuid>

// One record of the group table: a mixer group that units belong to.
struct SimGroup
{
    quint64 id = 0;
    quint64 parentId = 0; // 0: a top-level group
    QUuid guid;           // may be null
    QByteArray name;      // UTF-8, at most 259 bytes
};
