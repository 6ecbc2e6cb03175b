#ifndef LINKWATCHER_H
#define LINKWATCHER_H

#include <QObject>
#include <QString>

class ProfilerNetwork;

// Follows a profiler's link from outside: counts the passes of the receive
// loop, notices the end frame of a flood and any status line that means the
// link broke or a frame was refused. Made after the decoders, it runs after
// them on every pass, when they have taken their frames.
class LinkWatcher : public QObject
{
    Q_OBJECT

public:
    // Hears the link's status lines; watchStatus adds those of a decoder.
    explicit LinkWatcher(ProfilerNetwork* network);
    void watchStatus(QObject* source);

    // Forgets the counts and the end, for the next connection.
    void reset();
    int passes() const { return passCount; }
    // The end frame has arrived and the decoders left nothing but it.
    bool endedCleanly() const { return ended && onlyEndLeft; }
    bool hasEnded() const { return ended; }
    bool hasFailed() const { return !failure.isEmpty(); }
    QString failureText() const { return failure; }

Q_SIGNALS:
    // The end frame arrived, or the link failed.
    void finished();

public Q_SLOTS:
    void slotPacketReady();
    void slotStatusChanged(QString status);

private:
    ProfilerNetwork* network;
    int passCount;
    bool ended;
    bool onlyEndLeft;
    QString failure;
};

#endif
