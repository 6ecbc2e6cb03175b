#ifndef PROFILERFORM_H
#define PROFILERFORM_H

#include <QString>
#include <QWidget>

class CPUHistory;
class ChannelHistory;
class CodecHistory;
class DSPTree;
class ProfilerDSPNetGraph;
class ProfilerLineGraph;
class ProfilerNetwork;
class StatsHistory;
class QCloseEvent;
class QHBoxLayout;
class QLabel;
class QLineEdit;
class QPushButton;
class QSplitter;
class QVBoxLayout;

// The window's content: the connection bar with its status line above the
// network graph and the line graphs. Owns the link and the decoders, starts
// and stops the link at the user's word and subscribes when it comes up.
class ProfilerForm : public QWidget
{
    Q_OBJECT

public:
    explicit ProfilerForm(QWidget* parent = nullptr, Qt::WindowFlags flags = {});
    ~ProfilerForm() override;

    ProfilerNetwork* targetNetwork() const { return network; }

Q_SIGNALS:
    void signalWindowClose();

public Q_SLOTS:
    void slotConnect();
    void slotPause();
    void slotStatusChanged(QString status);

protected:
    // The form with a link made elsewhere (a test's), owned like its own.
    ProfilerForm(ProfilerNetwork* network, QWidget* parent, Qt::WindowFlags flags);

    void closeEvent(QCloseEvent* event) override;
    // The modal "Connection Error" box after a first attempt that ended
    // without a connection. Virtual so that a test can see it without
    // running its event loop.
    virtual void showConnectionError();

private:
    void configureWidgets();
    void fillLayouts();
    void showIdleLook();
    void showAttemptLook();
    void showLiveLook();
    void showLook(bool editsEnabled, const QString& connectButtonText, bool pauseEnabled);
    void subscribeAll();

    ProfilerNetwork* network;
    DSPTree* dspTree;
    CPUHistory* cpuHistory;
    ChannelHistory* channelHistory;
    CodecHistory* codecHistory;
    StatsHistory* statsHistory;
    bool shownConnecting;
    bool shownConnected;
    QLabel* statusTitleLabel;
    QLabel* statusLabel;
    QLabel* ipLabel;
    QLineEdit* ipEdit;
    QLabel* portLabel;
    QLineEdit* portEdit;
    QPushButton* connectButton;
    QPushButton* pauseButton;
    QHBoxLayout* connectionLayout;
    ProfilerDSPNetGraph* dspNetGraphPanel;
    QSplitter* splitter;
    ProfilerLineGraph* lineGraphPanel;
    QVBoxLayout* mainLayout;
};

#endif
