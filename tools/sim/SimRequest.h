#pragma once

#include <QByteArray>
#include <QString>

// One frame from the profiler, read: a subscription or a command.
struct SimRequest
{
    enum Type
    {
        Subscribe,
        Enable,
        Bypass,
        DSPText,
        GroupText
    };

    Type type = Subscribe;
    quint8 version = 0;
    quint8 kind = 0;    // of a subscription: the kind asked for
    quint8 subKind = 0; // of a subscription: the sub-kind asked for
    quint32 rate = 0;
    quint64 id = 0;  // of an enable or bypass command
    bool on = false; // of an enable or bypass command
    QString text;    // of a text command

    // Reads a whole frame. False, with a reason, for a kind that the target
    // does not take or a frame too short for its layout; longer frames are
    // read up to their layout and the rest is ignored.
    static bool parse(const QByteArray& frame, SimRequest* request, QString* error);
    // The request as one line of the log.
    QString describe() const;
};
