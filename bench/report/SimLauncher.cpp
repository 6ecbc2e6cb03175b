#include "SimLauncher.h"

#include <QDeadlineTimer>
#include <QProcess>
#include <QRegularExpression>

SimLauncher::SimLauncher() : process(new QProcess()), listeningPort(0) {}

SimLauncher::~SimLauncher()
{
    stop();
    delete process;
}

bool SimLauncher::start(const QString& program, const QStringList& arguments, int timeoutMs)
{
    process->setProcessChannelMode(QProcess::MergedChannels);
    process->start(program, QStringList(arguments)
                                << QStringLiteral("--port") << QStringLiteral("0"));
    if (!process->waitForStarted(timeoutMs)) {
        reason = QStringLiteral("cannot start %1: %2").arg(program, process->errorString());
        return false;
    }
    return readPort(timeoutMs);
}

// Lines before the listening line (a large network takes a while to build)
// are read and dropped; the rest of the log stays in the pipe's buffer, which
// QProcess keeps emptying while the event loop runs.
bool SimLauncher::readPort(int timeoutMs)
{
    static const QRegularExpression listening(QStringLiteral("listening on [^ ]+:(\\d+)"));
    QDeadlineTimer deadline(timeoutMs);
    while (!deadline.hasExpired()) {
        while (process->canReadLine()) {
            const QString line = QString::fromUtf8(process->readLine());
            const QRegularExpressionMatch match = listening.match(line);
            if (match.hasMatch()) {
                listeningPort = quint16(match.captured(1).toUInt());
                return true;
            }
        }
        if (!process->waitForReadyRead(int(deadline.remainingTime())))
            break;
    }
    reason = QStringLiteral("the simulated target did not listen within %1 ms").arg(timeoutMs);
    return false;
}

void SimLauncher::stop()
{
    if (process->state() == QProcess::NotRunning)
        return;
    process->terminate();
    if (!process->waitForFinished(5000)) {
        process->kill();
        process->waitForFinished(5000);
    }
}

QString SimLauncher::takeLog()
{
    return QString::fromUtf8(process->readAll());
}
