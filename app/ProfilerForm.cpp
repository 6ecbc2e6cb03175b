#include "ProfilerForm.h"

#include "CPUHistory.h"
#include "ChannelHistory.h"
#include "CodecHistory.h"
#include "DSPTree.h"
#include "PacketHeader.h"
#include "ProfilerDSPNetGraph.h"
#include "ProfilerLineGraph.h"
#include "ProfilerNetwork.h"
#include "StatsHistory.h"

#include <QCloseEvent>
#include <QFontMetrics>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSplitter>
#include <QVBoxLayout>

namespace {

const char* const connectText = "Connect";
const char* const disconnectText = "Disconnect";
const char* const pauseText = "Pause";
const char* const resumeText = "Resume";

} // namespace

ProfilerForm::ProfilerForm(QWidget* parent, Qt::WindowFlags flags)
    : ProfilerForm(new ProfilerNetwork(), parent, flags)
{
}

ProfilerForm::ProfilerForm(ProfilerNetwork* network, QWidget* parent, Qt::WindowFlags flags)
    : QWidget(parent, flags), network(network),
      // The order of creation is the order in which the decoders run on each
      // packetReady.
      dspTree(new DSPTree(network)), cpuHistory(new CPUHistory(network)),
      channelHistory(new ChannelHistory(network)), codecHistory(new CodecHistory(network)),
      statsHistory(new StatsHistory(network)), shownConnecting(false), shownConnected(false),
      statusTitleLabel(new QLabel()), statusLabel(new QLabel()), ipLabel(new QLabel()),
      ipEdit(new QLineEdit()), portLabel(new QLabel()), portEdit(new QLineEdit()),
      connectButton(new QPushButton()), pauseButton(new QPushButton()),
      connectionLayout(new QHBoxLayout()),
      dspNetGraphPanel(new ProfilerDSPNetGraph(dspTree, nullptr, {})), splitter(new QSplitter()),
      lineGraphPanel(new ProfilerLineGraph(cpuHistory, channelHistory, codecHistory, statsHistory,
                                           nullptr, {})),
      mainLayout(new QVBoxLayout())
{
    connect(network, SIGNAL(statusChanged(QString)), this, SLOT(slotStatusChanged(QString)));
    connect(dspTree, SIGNAL(statusChanged(QString)), this, SLOT(slotStatusChanged(QString)));
    connect(cpuHistory, SIGNAL(statusChanged(QString)), this, SLOT(slotStatusChanged(QString)));
    connect(channelHistory, SIGNAL(statusChanged(QString)), this, SLOT(slotStatusChanged(QString)));
    connect(codecHistory, SIGNAL(statusChanged(QString)), this, SLOT(slotStatusChanged(QString)));
    connect(statsHistory, SIGNAL(statusChanged(QString)), this, SLOT(slotStatusChanged(QString)));
    connect(connectButton, SIGNAL(clicked()), this, SLOT(slotConnect()));
    connect(pauseButton, SIGNAL(clicked()), this, SLOT(slotPause()));

    configureWidgets();
    fillLayouts();
    setLayout(mainLayout);
    setWindowTitle(QStringLiteral("Profiler"));
}

ProfilerForm::~ProfilerForm()
{
    // The data objects go in reverse order of creation, the network last; the
    // panels are children of the form and go with it.
    delete statsHistory;
    delete codecHistory;
    delete channelHistory;
    delete cpuHistory;
    delete dspTree;
    delete network;
}

void ProfilerForm::configureWidgets()
{
    statusTitleLabel->setText(QStringLiteral("Status:"));
    statusLabel->setText(QStringLiteral("Disconnected."));
    ipLabel->setText(QStringLiteral("IP:"));
    portLabel->setText(QStringLiteral("Port:"));

    ipEdit->setInputMask(QStringLiteral("000.000.000.000;_"));
    ipEdit->setAlignment(Qt::AlignHCenter);
    ipEdit->setText(QStringLiteral("127.0.0.1"));
    QFontMetrics metrics(ipEdit->font());
    ipEdit->setMaximumWidth(metrics.horizontalAdvance(QStringLiteral("  000.000.000.000  ")));
    ipEdit->setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Preferred);

    portEdit->setInputMask(QStringLiteral("00000;_"));
    portEdit->setAlignment(Qt::AlignHCenter);
    portEdit->setText(QStringLiteral("%1").arg(ProfilerNetwork::defaultPort));
    portEdit->setMaximumWidth(metrics.horizontalAdvance(QStringLiteral("  00000  ")));
    portEdit->setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Preferred);

    connectButton->setText(QString::fromLatin1(connectText));
    pauseButton->setText(QString::fromLatin1(pauseText));
    pauseButton->setEnabled(false);

    // Names for finding the controls from outside, as tests do.
    statusLabel->setObjectName(QStringLiteral("statusLabel"));
    ipEdit->setObjectName(QStringLiteral("ipEdit"));
    portEdit->setObjectName(QStringLiteral("portEdit"));
    connectButton->setObjectName(QStringLiteral("connectButton"));
    pauseButton->setObjectName(QStringLiteral("pauseButton"));
    splitter->setObjectName(QStringLiteral("splitter"));
}

void ProfilerForm::fillLayouts()
{
    connectionLayout->setContentsMargins(2, 2, 2, 2);
    connectionLayout->setSpacing(6);
    connectionLayout->addWidget(statusTitleLabel);
    connectionLayout->addWidget(statusLabel);
    connectionLayout->addStretch(0);
    connectionLayout->addWidget(ipLabel);
    connectionLayout->addWidget(ipEdit);
    connectionLayout->addWidget(portLabel);
    connectionLayout->addWidget(portEdit);
    connectionLayout->addWidget(connectButton);
    connectionLayout->addWidget(pauseButton);

    // 6 + 6 pixels keep the two views apart around the splitter's handle.
    dspNetGraphPanel->layout()->setContentsMargins(0, 0, 0, 6);
    lineGraphPanel->layout()->setContentsMargins(0, 6, 0, 0);

    splitter->setOrientation(Qt::Vertical);
    splitter->setChildrenCollapsible(false);
    // The views are laid out again only when the handle is released.
    splitter->setOpaqueResize(false);
    splitter->setContentsMargins(0, 0, 0, 0);
    splitter->addWidget(dspNetGraphPanel);
    splitter->addWidget(lineGraphPanel);
    // The network graph takes all that a growing window adds.
    splitter->setStretchFactor(0, 1);

    mainLayout->addLayout(connectionLayout);
    mainLayout->addWidget(splitter);
    mainLayout->setSpacing(2);
}

void ProfilerForm::slotConnect()
{
    if (network->isConnected() || network->isConnecting()) {
        network->disconnectFromTarget();
        return;
    }
    // An empty field or a number beyond 16 bits gives 0, which the link
    // turns into the default port.
    quint16 port = portEdit->text().toUShort(nullptr, 10);
    network->connectToTarget(ipEdit->text(), port);
}

void ProfilerForm::slotPause()
{
    network->paused = !network->paused;
    pauseButton->setText(QString::fromLatin1(network->paused ? resumeText : pauseText));
}

// The bar follows the link one message behind: shownConnecting and
// shownConnected hold what the bar shows, so comparing them with the link
// finds the edges (attempt started, link up, link lost, attempt ended).
void ProfilerForm::slotStatusChanged(QString status)
{
    const bool wasConnecting = shownConnecting;
    const bool wasConnected = shownConnected;
    statusLabel->setText(status);

    if (!wasConnecting && network->isConnecting()) {
        shownConnecting = true;
        shownConnected = false;
        showAttemptLook();
    }
    const bool connected = network->isConnected();
    if (!wasConnected && connected) {
        shownConnecting = false;
        shownConnected = true;
        showLiveLook();
        subscribeAll();
        return;
    }
    if (wasConnected && !connected) {
        shownConnecting = false;
        shownConnected = false;
        showIdleLook();
        return;
    }
    if (wasConnecting && !network->isConnecting() && !connected) {
        shownConnecting = false;
        shownConnected = false;
        showIdleLook();
        showConnectionError();
    }
}

void ProfilerForm::closeEvent(QCloseEvent* event)
{
    Q_UNUSED(event);
    Q_EMIT signalWindowClose();
}

void ProfilerForm::showConnectionError()
{
    QMessageBox box;
    box.setIcon(QMessageBox::Information);
    box.setWindowTitle(QStringLiteral("Connection Error"));
    box.setText(QStringLiteral("Could not connect to target."));
    box.setInformativeText(QStringLiteral(
        "> Target IP address or port is incorrect.\n\n"
        "> Target is not running or not yet initialized.\n\n"
        "> Target has not enabled profiling with ZELTO_INIT_PROFILE_ENABLE in System::init."));
    box.exec();
}

void ProfilerForm::showIdleLook()
{
    showLook(true, QString::fromLatin1(connectText), false);
}

void ProfilerForm::showAttemptLook()
{
    showLook(false, QString::fromLatin1(disconnectText), false);
}

void ProfilerForm::showLiveLook()
{
    showLook(false, QString::fromLatin1(disconnectText), true);
}

// Every change of look also ends a pause: a new link starts delivering.
void ProfilerForm::showLook(bool editsEnabled, const QString& connectButtonText, bool pauseEnabled)
{
    ipEdit->setEnabled(editsEnabled);
    portEdit->setEnabled(editsEnabled);
    connectButton->setText(connectButtonText);
    pauseButton->setEnabled(pauseEnabled);
    pauseButton->setText(QString::fromLatin1(pauseText));
    network->paused = false;
}

// The six packets the views need, each time the link comes up.
void ProfilerForm::subscribeAll()
{
    network->subscribe(PacketKind::DSPNetwork, 0, 100);
    network->subscribe(PacketKind::DSPGroup, 0, 100);
    network->subscribe(PacketKind::CPU, 0, 200);
    network->subscribe(PacketKind::Channel, 0, 200);
    network->subscribe(PacketKind::Codec, 0, 200);
    network->subscribe(PacketKind::Stats, 0, 200);
}
