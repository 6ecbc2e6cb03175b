#pragma once

#include "CaptureReader.h"
#include "SimFrameReader.h"

#include <QElapsedTimer>
#include <QObject>
#include <QSet>
#include <QString>

class QTcpServer;
class QTcpSocket;
class QTimer;

// What `zelto-capture replay` was asked to do.
struct ReplaySettings
{
    QString path;
    quint16 port = 9264;
    double speed = 1.0;
    bool loop = false;
    double fromSeconds = 0.0;
    double toSeconds = -1.0; // below 0: to the end
};

// Serves a recorded session as a target: a profiler that connects and
// subscribes is sent the recorded frames of the kinds it subscribed to, each
// at its recorded time (counted from the first frame to the profiler at or
// after the start point) divided by the speed. Commands are printed, not
// acted on. One profiler at a time; each new one sees the session from the
// start point again.
class CaptureReplay : public QObject
{
    Q_OBJECT

public:
    explicit CaptureReplay(const ReplaySettings& settings, QObject* parent = nullptr);
    ~CaptureReplay() override;

    // Reads the file's head and listens; false, with a line on standard
    // error, when either fails.
    bool start();

Q_SIGNALS:
    // 0 when the session has been played to its end (without --loop) or
    // after slotStop(); 1 on an error.
    void finished(int exitCode);

public Q_SLOTS:
    void slotStop();

private Q_SLOTS:
    void slotNewConnection();
    void slotClientReadyRead();
    void slotClientDisconnected();
    void slotPlayTimeout();

private:
    bool rewind(QString* error);
    bool readNext();
    void beginPlaying();
    void endOfSession();
    void dropClient();

    ReplaySettings settings;
    QTcpServer* server;
    QTimer* playTimer;
    QTcpSocket* client = nullptr;
    CaptureReader* reader = nullptr;
    SimFrameReader requests;
    QSet<quint16> subscribed; // kind << 8 | subKind
    CaptureRecord upcoming;
    bool haveUpcoming = false;
    bool playing = false;
    bool ending = false;
    quint64 baseUs = 0;
    qint64 pauseUs = 0; // before the first frame of a pass
    QElapsedTimer clock;
};
