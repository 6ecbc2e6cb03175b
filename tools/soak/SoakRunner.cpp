#include "SoakRunner.h"

#include "LineGraph.h"
#include "LineValues.h"
#include "LineValuesGroup.h"
#include "MainForm.h"
#include "ProfilerForm.h"
#include "ProfilerNetwork.h"
#include "ResidentMemory.h"

#include <QLineEdit>
#include <QPushButton>
#include <QTimer>
#include <cstdio>

namespace {

const char* const connectedStatus = "Connected.";
// A scripted session under a memory checker runs some fifty times slower
// than it would alone; past this margin it is taken as stuck.
const int scriptMarginSeconds = 600;
const int reconnectDelayMilliseconds = 1000;

} // namespace

SoakRunner::SoakRunner(MainForm* window, const SoakSettings& settings, QObject* parent)
    : QObject(parent), window(window),
      connectButton(window->findChild<QPushButton*>(QStringLiteral("connectButton"))),
      reportTimer(new QTimer(this)), endTimer(new QTimer(this)), phaseTimer(new QTimer(this)),
      reconnectTimer(new QTimer(this)), settings(settings)
{
    reportTimer->setInterval(qMax(1, settings.reportSeconds) * 1000);
    endTimer->setSingleShot(true);
    phaseTimer->setSingleShot(true);
    reconnectTimer->setSingleShot(true);
    connect(window->form()->targetNetwork(), SIGNAL(statusChanged(QString)), this,
            SLOT(slotStatusChanged(QString)));
    connect(reportTimer, SIGNAL(timeout()), this, SLOT(slotReportTimeout()));
    connect(endTimer, SIGNAL(timeout()), this, SLOT(slotEndTimeout()));
    connect(phaseTimer, SIGNAL(timeout()), this, SLOT(slotPhaseTimeout()));
    connect(reconnectTimer, SIGNAL(timeout()), this, SLOT(slotReconnectTimeout()));
    // Samples of the first CPU series, one per CPU or stats packet taken.
    const LineGraph* lineGraph = window->findChild<LineGraph*>();
    if (lineGraph && !lineGraph->groups().isEmpty() &&
        !lineGraph->groups().first()->lines().isEmpty())
        connect(lineGraph->groups().first()->lines().first(), SIGNAL(dataChanged()), this,
                SLOT(slotSampleAdded()));
    window->findChild<QLineEdit*>(QStringLiteral("portEdit"))
        ->setText(QString::number(settings.port));
}

void SoakRunner::start()
{
    clock.start();
    reportTimer->start();
    if (settings.scriptSeconds > 0)
        endTimer->start((2 * settings.scriptSeconds + scriptMarginSeconds) * 1000);
    else
        endTimer->start(settings.durationSeconds * 1000);
    report(QStringLiteral("start"));
    connectButton->click();
}

void SoakRunner::slotStatusChanged(QString status)
{
    if (phase == Phase::Done)
        return;
    report(status);
    const ProfilerNetwork* network = window->form()->targetNetwork();
    if (status == QLatin1String(connectedStatus)) {
        ++connections;
        subscribeFaster();
        if (settings.scriptSeconds > 0)
            phaseTimer->start(settings.scriptSeconds * 1000);
        return;
    }
    // The link gave up (a socket error, say): a soak goes on with a new
    // connection, as the user would click for one.
    if (phase != Phase::Reconnecting && !network->isConnected() && !network->isConnecting()) {
        ++linkFailures;
        reconnectTimer->start(reconnectDelayMilliseconds);
    }
}

void SoakRunner::slotSampleAdded()
{
    ++samples;
}

void SoakRunner::slotReportTimeout()
{
    const int referencePoint = qMin(referenceSeconds, settings.durationSeconds / 2);
    if (settings.scriptSeconds == 0 && referenceKilobytes < 0 && seconds() >= referencePoint) {
        referenceKilobytes = ResidentMemory::currentKilobytes();
        report(QStringLiteral("reference"));
        return;
    }
    report(QString());
}

void SoakRunner::slotEndTimeout()
{
    if (settings.scriptSeconds > 0) {
        report(QStringLiteral("scripted session did not finish in time"));
        connections = 0;
    }
    finish();
}

void SoakRunner::slotPhaseTimeout()
{
    if (phase == Phase::FirstConnection) {
        phase = Phase::Reconnecting;
        connectButton->click(); // "Disconnect"
        reconnectTimer->start(reconnectDelayMilliseconds);
        return;
    }
    if (phase == Phase::SecondConnection)
        finish();
}

void SoakRunner::slotReconnectTimeout()
{
    if (phase == Phase::Reconnecting)
        phase = Phase::SecondConnection;
    const ProfilerNetwork* network = window->form()->targetNetwork();
    if (!network->isConnected() && !network->isConnecting())
        connectButton->click();
}

// Sent behind the window's own six subscriptions, these replace their rates.
void SoakRunner::subscribeFaster()
{
    if (settings.rateScale <= 1)
        return;
    ProfilerNetwork* network = window->form()->targetNetwork();
    const quint32 fast = quint32(qMax(1, 100 / settings.rateScale));
    const quint32 slow = quint32(qMax(1, 200 / settings.rateScale));
    network->subscribe(1, 0, fast);
    network->subscribe(7, 0, fast);
    for (quint8 kind : {3, 4, 5, 9})
        network->subscribe(kind, 0, slow);
}

void SoakRunner::report(const QString& what)
{
    std::printf("%8.1f s  rss %lld kB  connections %lld  samples %lld  %s\n", seconds(),
                ResidentMemory::currentKilobytes(), connections, samples, qPrintable(what));
    std::fflush(stdout);
}

void SoakRunner::finish()
{
    phase = Phase::Done;
    reportTimer->stop();
    endTimer->stop();
    phaseTimer->stop();
    reconnectTimer->stop();
    const qint64 last = ResidentMemory::currentKilobytes();
    report(QStringLiteral("end"));
    std::printf("links lost and connected again by hand: %lld\n", linkFailures);
    if (settings.scriptSeconds > 0) {
        result = connections >= 2 ? 0 : 2;
        std::printf("scripted session: %s\n", result == 0 ? "done" : "FAILED");
    } else if (connections == 0 || referenceKilobytes < 0) {
        result = 2;
        std::printf("soak: no connection or no reference point: FAILED\n");
    } else {
        const double growth = ResidentMemory::growthPercent(referenceKilobytes, last);
        result = growth <= allowedGrowthPercent ? 0 : 1;
        std::printf("soak: rss %lld kB at the reference point, %lld kB at the end, growth %.1f %% "
                    "(limit %.0f %%): %s\n",
                    referenceKilobytes, last, growth, allowedGrowthPercent,
                    result == 0 ? "PASS" : "FAIL");
    }
    std::fflush(stdout);
    window->close();
}

double SoakRunner::seconds() const
{
    return double(clock.elapsed()) / 1000.0;
}
