#ifndef SOAKRUNNER_H
#define SOAKRUNNER_H

#include <QElapsedTimer>
#include <QObject>
#include <QString>

class MainForm;
class QPushButton;
class QTimer;

// What a run is asked to do. In soak mode the window stays connected for
// durationSeconds and the target drops the link now and then; in scripted
// mode (scriptSeconds > 0) the window connects, takes packets for
// scriptSeconds, disconnects, connects again, takes packets as long once
// more and is closed.
struct SoakSettings
{
    quint16 port = 9264;
    int durationSeconds = 600;
    int reportSeconds = 10;
    // The target is asked for every kind this many times as often as the
    // window itself asks.
    int rateScale = 20;
    int scriptSeconds = 0;
};

// Drives the real main window as a user would, by clicks on its connection
// bar, and prints the process's resident memory as it goes.
class SoakRunner : public QObject
{
    Q_OBJECT

public:
    // Memory is compared between this point of the run (or half the run, if
    // that comes first) and its end.
    static constexpr int referenceSeconds = 60;
    // Growth beyond this share of the reference fails the soak.
    static constexpr double allowedGrowthPercent = 10.0;

    SoakRunner(MainForm* window, const SoakSettings& settings, QObject* parent = nullptr);

    // Clicks "Connect" and starts the clocks.
    void start();
    // 0 when the run passed; 1 when memory grew too much; 2 when the window
    // never got a connection.
    int exitCode() const { return result; }

private Q_SLOTS:
    void slotStatusChanged(QString status);
    void slotSampleAdded();
    void slotReportTimeout();
    void slotEndTimeout();
    void slotPhaseTimeout();
    void slotReconnectTimeout();

private:
    enum class Phase
    {
        FirstConnection,
        Reconnecting,
        SecondConnection,
        Done
    };

    void subscribeFaster();
    void report(const QString& what);
    void finish();
    double seconds() const;

    MainForm* window;
    QPushButton* connectButton;
    QTimer* reportTimer;
    QTimer* endTimer;
    QTimer* phaseTimer;
    QTimer* reconnectTimer;
    SoakSettings settings;
    QElapsedTimer clock;
    Phase phase = Phase::FirstConnection;
    qint64 referenceKilobytes = -1;
    qint64 connections = 0;
    qint64 samples = 0;
    qint64 linkFailures = 0;
    int result = 2;
};

#endif
