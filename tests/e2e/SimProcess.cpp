#include "SimProcess.h"

#include <QEventLoop>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTimer>

SimProcess::SimProcess(QObject* parent)
    : QObject(parent), process(new QProcess(this)), listeningPort(0)
{
    process->setProcessChannelMode(QProcess::MergedChannels);
    connect(process, SIGNAL(readyReadStandardOutput()), this, SLOT(slotReadyRead()));
}

SimProcess::~SimProcess()
{
    if (isRunning())
        stop();
}

QString SimProcess::program()
{
    return qEnvironmentVariable("ZELTO_SIM");
}

quint16 SimProcess::freePort()
{
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost, 0))
        return 0;
    return probe.serverPort();
}

bool SimProcess::start(const QStringList& arguments, int timeoutMs)
{
    launch(arguments);
    return waitForLine(QStringLiteral("listening on"), timeoutMs);
}

void SimProcess::launch(const QStringList& arguments)
{
    QStringList all = arguments;
    if (!all.contains(QStringLiteral("--port")))
        all << QStringLiteral("--port") << QStringLiteral("0");
    process->start(program(), all);
}

bool SimProcess::waitForLine(const QString& fragment, int timeoutMs, int occurrences)
{
    QEventLoop loop;
    QTimer deadline;
    deadline.setSingleShot(true);
    connect(&deadline, SIGNAL(timeout()), &loop, SLOT(quit()));
    connect(this, SIGNAL(lineReceived(QString)), &loop, SLOT(quit()));
    connect(process, SIGNAL(finished(int, QProcess::ExitStatus)), &loop, SLOT(quit()));
    connect(process, SIGNAL(errorOccurred(QProcess::ProcessError)), &loop, SLOT(quit()));
    deadline.start(timeoutMs);
    while (count(fragment) < occurrences && deadline.isActive() &&
           (isRunning() || process->bytesAvailable() > 0))
        loop.exec();
    return count(fragment) >= occurrences;
}

int SimProcess::finish(SimProcess*& sim, bool testFailed)
{
    if (!sim)
        return 0;
    for (const QString& line : testFailed ? sim->received : QStringList())
        qInfo("sim| %s", qPrintable(line));
    const int exitCode = sim->stop();
    delete sim;
    sim = nullptr;
    return exitCode;
}

int SimProcess::stop(int timeoutMs)
{
    if (isRunning()) {
        process->terminate();
        if (!process->waitForFinished(timeoutMs)) {
            process->kill();
            process->waitForFinished(timeoutMs);
            return -1;
        }
        slotReadyRead();
    }
    return process->exitStatus() == QProcess::NormalExit ? process->exitCode() : -1;
}

void SimProcess::slotReadyRead()
{
    partialLine += process->readAllStandardOutput();
    static const QRegularExpression listening(QStringLiteral("listening on [^ ]+:(\\d+)"));
    qsizetype end;
    while ((end = partialLine.indexOf('\n')) >= 0) {
        const QString line = QString::fromUtf8(partialLine.left(end));
        partialLine.remove(0, end + 1);
        const QRegularExpressionMatch match = listening.match(line);
        if (match.hasMatch())
            listeningPort = quint16(match.captured(1).toUInt());
        received.append(line);
        Q_EMIT lineReceived(line);
    }
}
