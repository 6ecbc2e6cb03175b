#include "../history/HistoryFrames.h"
#include "DSPNetGraph.h"
#include "FakeTarget.h"
#include "FormProbe.h"
#include "LineGraph.h"
#include "LineGraphControl.h"
#include "LineGraphLegendItem.h"
#include "LineValuesGroup.h"
#include "MainForm.h"
#include "ProfilerForm.h"
#include "ProfilerNetwork.h"
#include "ProfilerSimpleLabel.h"
#include "TestNetwork.h"

#include <QApplication>
#include <QIcon>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QTabBar>
#include <QTabWidget>
#include <QTimer>
#include <QtTest>

namespace {

// One change of the line graph's panel, as "ROW current minimum maximum limit"
// for the legend row of that name, "tab N" to bring tab N on top, or "title N
// TEXT" to name tab N anew (which changes the tab bar's size).
void applyStep(ProfilerForm* form, const QString& step)
{
    const QStringList words = step.split(QLatin1Char(' '));
    QTabWidget* tabs = form->findChild<LineGraphControl*>()->tabWidget();
    if (words.first() == QLatin1String("tab")) {
        tabs->setCurrentIndex(words.at(1).toInt());
        return;
    }
    if (words.first() == QLatin1String("title")) {
        tabs->tabBar()->setTabText(words.at(1).toInt(), words.at(2));
        return;
    }
    for (LineGraphLegendItem* row : form->findChildren<LineGraphLegendItem*>()) {
        if (row->name() == words.first())
            row->setValues(words.at(1).toFloat(), words.at(2).toFloat(), words.at(3).toFloat(),
                           words.at(4).toFloat());
    }
}

// What was painted on screen over time, not a fresh rendering of the widgets.
QImage shownPixels(ProfilerForm* form)
{
    QTest::qWait(30);
    return form->screen()->grabWindow(form->winId()).toImage();
}

const QString socketError = QStringLiteral("A socket error has occurred... Disconnected.");
const QString targetClosed = QStringLiteral("Target closed... Attempting reconnection.");
const QString oldVersion =
    QStringLiteral("Connected. (Old version detected, reduced functionality)");

// The six subscriptions as the target must receive them, in order.
QByteArray subscriptions()
{
    return QByteArray::fromHex("120000000000000000000000010064000000"
                               "120000000000000000000000070064000000"
                               "1200000000000000000000000300c8000000"
                               "1200000000000000000000000400c8000000"
                               "1200000000000000000000000500c8000000"
                               "1200000000000000000000000900c8000000");
}

} // namespace

class tst_ProfilerForm : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void runs_data();
    void runs();
    void portField_data();
    void portField();
    void decoderOrder();
    void realErrorBox();
    void plates_data();
    void plates();
    void icon();
    void labelPaintsAsThePainterDraws_data();
    void labelPaintsAsThePainterDraws();
    void legendChangesShowAsInAFreshWindow_data();
    void legendChangesShowAsInAFreshWindow();

private:
    void play(const QString& step);
    template <typename T> T* child(const char* name) const { return form->child<T>(name); }

    FakeTarget* target = nullptr;
    CountingForm* form = nullptr;
};

void tst_ProfilerForm::init()
{
    target = new FakeTarget();
    form = new CountingForm();
    child<QLineEdit>("portEdit")->setText(QString::number(target->port()));
}

void tst_ProfilerForm::cleanup()
{
    delete form;
    delete target;
}

void tst_ProfilerForm::runs_data()
{
    QTest::addColumn<QString>("steps");
    QTest::addColumn<QStringList>("statuses"); // as the link sends them
    QTest::addColumn<QString>("line");         // the status line at the end
    QTest::addColumn<QString>("finalLook");
    QTest::addColumn<int>("errorBoxes");

    const QString attempting = QStringLiteral("Attempting to connect...");
    const QString connected = QStringLiteral("Connected.");
    const QString disconnected = QStringLiteral("Disconnected.");
    const QString lost = QStringLiteral("click live pause ");
    QTest::newRow("target answers")
        << "click attempt live" << QStringList{attempting, connected} << connected << "Live" << 0;
    QTest::newRow("paused and resumed")
        << "click live pause resume" << QStringList{attempting, connected} << connected << "Live"
        << 0;
    QTest::newRow("target refuses")
        << "refusing click"
        << QStringList{attempting, QStringLiteral("Connection failed... Disconnected.")}
        << "Connection failed... Disconnected."
        << "Idle" << 1;
    QTest::newRow("disconnect while live")
        << "click attempt live click" << QStringList{attempting, connected, disconnected}
        << disconnected << "Idle" << 0;
    QTest::newRow("disconnect during the first attempt")
        << "click attempt click" << QStringList{attempting, disconnected} << disconnected << "Idle"
        << 1;
    // A decoder's line changes the line and nothing else.
    QTest::newRow("a decoder's line while idle")
        << "decoder idle" << QStringList{} << oldVersion << "Idle" << 0;
    QTest::newRow("a decoder's line while live")
        << "click live decoder" << QStringList{attempting, connected} << oldVersion << "Live" << 0;
    // A paused bar loses its target: the loss ends the pause, and the retries
    // run until one succeeds or the button ends them.
    QTest::newRow("closed, the retry subscribes again")
        << lost + "close retrying attempt live"
        << QStringList{attempting, connected, targetClosed, connected} << connected << "Live" << 0;
    QTest::newRow("closed, \"Disconnect\" ends the retries with the error box")
        << lost + "close retrying attempt click"
        << QStringList{attempting, connected, targetClosed, disconnected} << disconnected << "Idle"
        << 1;
    QTest::newRow("silent, \"Connect\" ends the retries")
        << lost + "silence retrying idle click"
        << QStringList{attempting, connected, targetClosed, disconnected} << disconnected << "Idle"
        << 0;
    // A write that falls short drops the link at once, like a broken frame:
    // no retry, no error box, and what was queued stays queued.
    QTest::newRow("short write of a command")
        << "click live untaken short command" << QStringList{attempting, connected, socketError}
        << socketError << "Idle" << 0;
    QTest::newRow("short write of a subscription")
        << "click live untaken short subscribe" << QStringList{attempting, connected, socketError}
        << socketError << "Idle" << 0;
    // The error comes from inside the handling of "Connected.".
    QTest::newRow("short write of the subscriptions at connection")
        << "short click" << QStringList{attempting, socketError, connected} << socketError << "Idle"
        << 0;
}

void tst_ProfilerForm::runs()
{
    QFETCH(QString, steps);
    QFETCH(QStringList, statuses);
    QFETCH(QString, line);
    QFETCH(QString, finalLook);
    QFETCH(int, errorBoxes);

    ShortWriteNetwork* network = form->link();
    QSignalSpy status(network, SIGNAL(statusChanged(QString)));
    for (const QString& step : steps.split(QLatin1Char(' '))) {
        play(step);
        if (QTest::currentTestFailed())
            return;
    }
    QTRY_COMPARE(status.count(), statuses.size());
    for (int i = 0; i < statuses.size(); ++i)
        QCOMPARE(status.at(i).at(0).toString(), statuses.at(i));
    QCOMPARE(child<QLabel>("statusLabel")->text(), line);
    QCOMPARE(form->look(), finalLook);
    QCOMPARE(form->errorBoxes, errorBoxes);
    QVERIFY(!network->isConnecting() && !network->isReconnectTimerActive());
    QVERIFY(!network->isIdleTimerActive());
    QCOMPARE(network->queuedPacketCount(), steps.contains(QLatin1String("untaken")) ? 1 : 0);
    if (steps.contains(QLatin1String("short")))
        QCOMPARE(target->received(), steps.startsWith("short") ? QByteArray() : subscriptions());
    if (finalLook != QLatin1String("Live"))
        return;
    // A marker behind shows that a second round would have arrived by now.
    network->subscribe(0, 0, 0);
    QTRY_COMPARE(target->received().size(), subscriptions().size() + 18);
    QVERIFY(target->received().startsWith(subscriptions()));
}

void tst_ProfilerForm::play(const QString& step)
{
    ShortWriteNetwork* network = form->link();
    if (step == QLatin1String("click")) {
        QTest::mouseClick(child<QPushButton>("connectButton"), Qt::LeftButton);
    } else if (step == QLatin1String("refusing")) {
        child<QLineEdit>("portEdit")->setText(QString::number(FakeTarget::unusedPort()));
    } else if (step == QLatin1String("attempt") || step == QLatin1String("idle")) {
        QCOMPARE(form->look(), step == QLatin1String("idle") ? "Idle" : "Attempt");
    } else if (step == QLatin1String("live")) {
        QTRY_COMPARE_WITH_TIMEOUT(form->look(), QStringLiteral("Live"), 15000);
        QTRY_COMPARE(target->received(), subscriptions());
    } else if (step == QLatin1String("pause") || step == QLatin1String("resume")) {
        QTest::mouseClick(child<QPushButton>("pauseButton"), Qt::LeftButton);
        const bool paused = step == QLatin1String("pause");
        QCOMPARE(child<QPushButton>("pauseButton")->text(), paused ? "Resume" : "Pause");
        QCOMPARE(form->look(), paused ? "Live paused" : "Live");
    } else if (step == QLatin1String("close")) {
        target->closeClient();
    } else if (step == QLatin1String("silence")) {
        target->send(TestFrames::frame(4, 0, 0));
    } else if (step == QLatin1String("retrying")) {
        QTRY_COMPARE_WITH_TIMEOUT(child<QLabel>("statusLabel")->text(), targetClosed, 10000);
        QVERIFY(network->isConnecting() && network->isReconnectTimerActive());
        QVERIFY(!network->isIdleTimerActive());
    } else if (step == QLatin1String("untaken")) {
        target->send(TestFrames::frame(2, 0, 0)); // a kind that no decoder takes
        QTRY_COMPARE(network->queuedPacketCount(), 1);
        QVERIFY(network->isIdleTimerActive());
    } else if (step == QLatin1String("decoder")) {
        form->slotStatusChanged(oldVersion);
    } else if (step == QLatin1String("short")) {
        network->shortWrites = true;
    } else if (step == QLatin1String("command")) {
        network->sendPacket(TestFrames::frame(1, 2, 6, QByteArray(9, '\1')).constData());
    } else if (step == QLatin1String("subscribe")) {
        network->subscribe(1, 0, 100);
    } else {
        QFAIL(qPrintable(step));
    }
}

void tst_ProfilerForm::portField_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("port");
    QTest::newRow("empty") << "" << 9264;
    QTest::newRow("beyond 16 bits") << "99999" << 9264;
    QTest::newRow("zero") << "0" << 9264;
    QTest::newRow("highest port") << "65535" << 65535;
}

void tst_ProfilerForm::portField()
{
    QFETCH(QString, text);
    QFETCH(int, port);
    QLineEdit* portEdit = child<QLineEdit>("portEdit");
    portEdit->setText(text);
    child<QLineEdit>("ipEdit")->setText(QStringLiteral("127.0.0.3"));
    form->slotConnect();
    QCOMPARE(int(form->targetNetwork()->lastTargetPort()), port);
    QCOMPARE(form->targetNetwork()->lastTargetAddress(), QStringLiteral("127.0.0.3"));
    QCOMPARE(portEdit->text(), text);
    form->targetNetwork()->disconnectFromTarget();
}

// A frame for each decoder in one pass, sent in reverse: the views learn of them in
// the order the form created the decoders.
void tst_ProfilerForm::decoderOrder()
{
    play(QStringLiteral("click"));
    play(QStringLiteral("live"));
    const DSPNetGraph* graph = form->findChild<DSPNetGraph*>();
    const QList<LineValuesGroup*> tabs = form->findChild<LineGraph*>()->groups();
    QStringList order;
    const QStringList names{"cpu", "channels", "codecs", "memory"};
    for (int i = 0; i < tabs.size(); ++i) {
        connect(tabs.at(i), &LineValuesGroup::dataChanged, this, [&, i]() {
            if (order.isEmpty() && !graph->graphNodes().isEmpty())
                order.append(QStringLiteral("network"));
            if (order.isEmpty() || order.last() != names.at(i))
                order.append(names.at(i));
        });
    }
    target->send(HistoryFrames::marked(PacketKind::Stats, 0, 1) +
                 HistoryFrames::marked(PacketKind::Codec, 0, 1) +
                 HistoryFrames::marked(PacketKind::Channel, 0, 1) +
                 HistoryFrames::marked(PacketKind::CPU, 1, 1) + TestNetwork("R<-A").snapshot(6));
    // The stats packet feeds series on all four tabs.
    QTRY_COMPARE(order.join(QLatin1Char(' ')),
                 QStringLiteral("network cpu channels codecs cpu channels codecs memory"));
}

// The real box, found and closed while its own event loop runs.
void tst_ProfilerForm::realErrorBox()
{
    ProfilerForm realForm;
    realForm.findChild<QLineEdit*>(QStringLiteral("portEdit"))
        ->setText(QString::number(FakeTarget::unusedPort()));
    QString seen;
    QTimer poll;
    poll.setInterval(10);
    poll.callOnTimeout([&]() {
        QMessageBox* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (box == nullptr)
            return;
        seen = QStringList{box->windowTitle(), box->text(), box->informativeText()}.join('|');
        box->done(0); // the box lives until its loop returns, after this
        QCOMPARE(box->icon(), QMessageBox::Information);
    });
    poll.start();
    realForm.slotConnect();
    QTRY_COMPARE(seen, QStringLiteral("Connection Error|Could not connect to target.|"
                                      "> Target IP address or port is incorrect.\n\n"
                                      "> Target is not running or not yet initialized.\n\n"
                                      "> Target has not enabled profiling with "
                                      "ZELTO_INIT_PROFILE_ENABLE in System::init."));
}

void tst_ProfilerForm::plates_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QColor>("rim");

    QTest::newRow("plate") << ":Profiler/node-faceplate.png" << QColor(218, 218, 218);
    QTest::newRow("highlighted plate")
        << ":Profiler/node-faceplate-highlight.png" << QColor(229, 229, 67);
}

void tst_ProfilerForm::plates()
{
    QFETCH(QString, path);
    QFETCH(QColor, rim);

    QImage image(path);
    QCOMPARE(image.size(), QSize(240, 90));
    QVERIFY(image.hasAlphaChannel());
    QCOMPARE(qAlpha(image.pixel(0, 0)), 0); // outside the rounded corner
    QCOMPARE(qAlpha(image.pixel(239, 89)), 0);
    for (QPoint rimPoint : {QPoint(2, 45), QPoint(120, 1), QPoint(237, 45), QPoint(120, 88)})
        QCOMPARE(image.pixelColor(rimPoint), rim);
    // The glass lets the state colour through and darkens downwards.
    const QColor upper = image.pixelColor(60, 20);
    const QColor lower = image.pixelColor(60, 70);
    QVERIFY(upper.alpha() > 100 && upper.alpha() < 230);
    QVERIFY(lower.alpha() > 100 && lower.alpha() < 230);
    QVERIFY(upper.red() > lower.red() + 100);
    QCOMPARE(upper.red(), upper.blue()); // grey, whatever the rim
}

void tst_ProfilerForm::icon()
{
    MainForm window;
    QVERIFY(qobject_cast<ProfilerForm*>(window.centralWidget()) != nullptr);
    const QList<QSize> sizes = window.windowIcon().availableSizes();
    QCOMPARE(sizes.size(), 5);
    for (int size : {16, 32, 48, 64, 128})
        QVERIFY(sizes.contains(QSize(size, size)));
}

// Whatever the label keeps of earlier texts, its size is the font's metrics and its
// pixels those of the painter's own drawText.
void tst_ProfilerForm::labelPaintsAsThePainterDraws_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QSize>("grow"); // how much larger than its text the widget is
    QTest::addColumn<bool>("rightToLeft");
    QTest::addColumn<int>("points"); // a font size for the text's second showing, or 0

    const QString legend = QStringLiteral("12.35 [10.00 - 15.00] / 100.00%");
    QTest::newRow("legend numbers") << legend << QSize() << false << 0;
    QTest::newRow("blanks around") << QStringLiteral("  3 [1 - 4] / 8  ") << QSize() << false << 0;
    QTest::newRow("marks and symbols")
        << QStringLiteral("e\u0301 \u00b5s \u2713 \u00e6") << QSize() << false << 0;
    QTest::newRow("right to left")
        << QStringLiteral("ms \u05de\u05e1\u05e4\u05e8 12 / 3") << QSize() << true << 0;
    QTest::newRow("larger widget, odd sizes") << legend << QSize(7, 5) << false << 0;
    QTest::newRow("smaller widget, clipped") << legend << QSize(-9, -3) << false << 0;
    QTest::newRow("line break") << QStringLiteral("12\n345") << QSize() << false << 0;
    QTest::newRow("tab") << QStringLiteral("1\t2") << QSize() << false << 0;
    QTest::newRow("a text back in another font") << legend << QSize() << false << 20;
}

void tst_ProfilerForm::labelPaintsAsThePainterDraws()
{
    QFETCH(QString, text);
    QFETCH(QSize, grow);
    QFETCH(bool, rightToLeft);
    QFETCH(int, points);
    ProfilerSimpleLabel label;
    label.setColor(QColor(20, 40, 200));
    if (rightToLeft)
        label.setLayoutDirection(Qt::RightToLeft);
    // The last two steps keep the text: one changes the font, one flips the direction.
    const QStringList sequence{text, QStringLiteral("0.00"), text, text, text};
    for (int i = 0; i < sequence.size(); ++i) {
        const QString& shown = sequence.at(i);
        if ((i == 2 && points > 0) || i == 3) {
            QFont font = label.font();
            font.setPointSize(i == 3 ? font.pointSize() + 3 : points);
            label.setFont(font);
        }
        if (i == 4)
            label.setLayoutDirection(Qt::LeftToRight);
        label.setText(shown);
        const QSize pinned = QFontMetrics(label.font()).size(0, shown);
        if (i < 3) {
            QCOMPARE(label.minimumSize(), pinned);
            QCOMPARE(label.maximumSize(), pinned);
        }
        label.setMinimumSize(0, 0);
        label.setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
        label.resize(pinned + grow);
        QImage painted(label.size(), QImage::Format_ARGB32_Premultiplied);
        painted.fill(QColor(49, 56, 64));
        QImage expected = painted;
        label.render(&painted, QPoint(), QRegion(), QWidget::RenderFlags());
        QPainter painter(&expected);
        painter.setFont(label.font());
        painter.setPen(label.color());
        painter.setLayoutDirection(label.layoutDirection());
        painter.drawText(label.rect(), label.alignment(), shown);
        painter.end();
        QVERIFY2(painted == expected, qPrintable(shown));
    }
}

// Whatever the window spares itself in layout and repaint, the screen must show
// what a window built fresh with the same numbers shows, after every change.
void tst_ProfilerForm::legendChangesShowAsInAFreshWindow_data()
{
    QTest::addColumn<QStringList>("steps");

    QTest::newRow("hidden row narrows and widens below the widest")
        << QStringList{"MPEG 10 4 11 32", "MPEG 8 4 11 32", "MPEG 10 4 11 32", "MPEG 8 4 11 32"};
    QTest::newRow("shown row widens past all and back")
        << QStringList{"Geometry 1.5 0.5 2 100", "Geometry 123456.5 0.5 123456.5 100000",
                       "Geometry 1.5 0.5 2 100", "DSP 10.25 0 99.5 100", "DSP 20.75 0 99.5 100"};
    QTest::newRow("hidden row widens past all and back") << QStringList{
        "Current 12.5 1 13 64", "Current 1234567.5 1 1234567.5 9999999", "Current 12.5 1 13 64"};
    QTest::newRow("changes on a tab brought on top") << QStringList{
        "tab 2", "ADPCM 3 1 9 16", "ADPCM 12 1 12 16", "tab 0", "ADPCM 3 1 12 16", "tab 2"};
    QTest::newRow("tab bar narrows") << QStringList{"title 1 Chan", "DSP 3.5 0 9 100"};
}

void tst_ProfilerForm::legendChangesShowAsInAFreshWindow()
{
    QFETCH(QStringList, steps);
    const QSize size(800, 600);
    QList<QImage> shown;
    {
        CountingForm form;
        form.resize(size);
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        for (const QString& step : steps) {
            applyStep(&form, step);
            shown.append(shownPixels(&form));
        }
    }
    for (int i = 0; i < steps.size(); ++i) {
        CountingForm fresh;
        for (int j = 0; j <= i; ++j)
            applyStep(&fresh, steps.at(j));
        fresh.resize(size);
        fresh.show();
        QVERIFY(QTest::qWaitForWindowExposed(&fresh));
        const QImage expected = shownPixels(&fresh);
        QVERIFY2(shown.at(i) == expected, qPrintable(steps.at(i)));
    }
}

QTEST_MAIN(tst_ProfilerForm)
#include "tst_ProfilerForm.moc"
