#ifndef SIMPROCESS_H
#define SIMPROCESS_H

#include <QObject>
#include <QProcess>
#include <QStringList>

// The simulated target as a child process, for end-to-end tests: started on
// 127.0.0.1 and a port of its own choice, its event log collected line by
// line, and stopped with SIGTERM as a user would stop it.
class SimProcess : public QObject
{
    Q_OBJECT

public:
    explicit SimProcess(QObject* parent = nullptr);
    ~SimProcess() override;

    // From ZELTO_SIM; empty when it is not set.
    static QString program();
    // A port on 127.0.0.1 that was free a moment ago.
    static quint16 freePort();

    // Waits for "listening on"; on a free port unless the arguments name one.
    bool start(const QStringList& arguments = QStringList(), int timeoutMs = 10000);
    // Starts it without waiting (for a simulator that refuses at first).
    void launch(const QStringList& arguments);
    // The port named by the latest "listening on" line; 0 before it.
    quint16 port() const { return listeningPort; }
    bool isRunning() const { return process->state() != QProcess::NotRunning; }

    QStringList lines() const { return received; }
    int count(const QString& fragment) const { return int(received.filter(fragment).size()); }
    // Runs the event loop until `occurrences` lines hold `fragment` or it is too late.
    bool waitForLine(const QString& fragment, int timeoutMs, int occurrences = 1);
    // SIGTERM; the exit code, or -1 when it crashed or had to be killed.
    int stop(int timeoutMs = 5000);
    // Prints the log of a failed test, stops and deletes; 0 without a simulator.
    static int finish(SimProcess*& sim, bool testFailed);

Q_SIGNALS:
    void lineReceived(QString line);

private Q_SLOTS:
    void slotReadyRead();

private:
    QProcess* process;
    QByteArray partialLine;
    QStringList received;
    quint16 listeningPort;
};

#endif
