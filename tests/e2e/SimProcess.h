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

    // The simulator's path, from the environment variable ZELTO_SIM; empty
    // when it is not set.
    static QString program();
    // A port on 127.0.0.1 that was free a moment ago, for a test that must
    // know the port before the simulator listens on it.
    static quint16 freePort();

    // Starts the simulator with `arguments` and waits for its "listening on"
    // line. Unless the arguments name a port, it listens on a free one.
    // False when it did not start or did not listen in time.
    bool start(const QStringList& arguments = QStringList(), int timeoutMs = 10000);
    // Starts it without waiting (for a simulator that refuses at first).
    void launch(const QStringList& arguments);
    // The port named by the latest "listening on" line; 0 before it.
    quint16 port() const { return listeningPort; }
    bool isRunning() const;

    QStringList lines() const { return received; }
    // How many lines so far contain `fragment`.
    int count(const QString& fragment) const;
    // Runs the event loop until `occurrences` lines contain `fragment`, the
    // time is up or the process ends.
    bool waitForLine(const QString& fragment, int timeoutMs, int occurrences = 1);
    // Stops the simulator with SIGTERM and returns its exit code; -1 when it
    // crashed or had to be killed after `timeoutMs`.
    int stop(int timeoutMs = 5000);
    // Ends a test's simulator, if it has one: prints its log when the test
    // failed, stops and deletes it. Returns the exit code, 0 without one.
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
