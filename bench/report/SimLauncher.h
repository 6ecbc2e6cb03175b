#ifndef SIMLAUNCHER_H
#define SIMLAUNCHER_H

#include <QString>
#include <QStringList>

class QProcess;

// The simulated target as a child process on 127.0.0.1 and a free port of its
// own choice, which it names in its "listening on" line. Stopped with SIGTERM
// when the launcher goes.
class SimLauncher
{
public:
    SimLauncher();
    ~SimLauncher();

    // Starts `program` with `arguments` and waits for the port. False, with a
    // reason in error(), when it did not start or did not listen in time.
    bool start(const QString& program, const QStringList& arguments, int timeoutMs);
    quint16 port() const { return listeningPort; }
    QString error() const { return reason; }
    // What the target has logged since the listening line or the last call.
    QString takeLog();
    void stop();

private:
    bool readPort(int timeoutMs);

    QProcess* process;
    quint16 listeningPort;
    QString reason;
};

#endif
