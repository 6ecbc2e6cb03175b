#include "CPUHistory.h"
#include "ChannelHistory.h"
#include "CodecHistory.h"
#include "HistoryFrames.h"
#include "LineGraph.h"
#include "LineGraphControl.h"
#include "LineGraphLegendItem.h"
#include "LineValues.h"
#include "LineValuesGroup.h"
#include "ProfilerLineGraph.h"
#include "StatsHistory.h"

#include <QCheckBox>
#include <QLayout>
#include <QSpinBox>
#include <QTabWidget>
#include <QtTest>

using Texts = QMap<QString, QString>;
using Tails = QMap<QString, QList<float>>;

// The tabs and rows, and what the four stores' updates make of them.
class TestLineGraphControl : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tabsRowsAndSpinBoxes();
    void storesFeedRowsAndSeries_data();
    void storesFeedRowsAndSeries();
    void statsHideRows();
    void spinBoxFollowsTheLimit_data();
    void spinBoxFollowsTheLimit();
    void wrongSnapshotCountStaysInTheList();
    void tickingAndWidening();
};

namespace {
QByteArray cpuFrame(float dsp, float stream, float update, float geometry)
{
    return HistoryFrames::cpu(1, dsp, stream, update, geometry);
}

QByteArray channelFrame(const QList<qint32>& values)
{
    return HistoryFrames::ints(PacketKind::Channel, 0, values);
}

QByteArray codecFrame(const QList<qint32>& values)
{
    return HistoryFrames::ints(PacketKind::Codec, 0, values);
}

// CPU 12.34, 0.5, 1, 2 (dsp, stream, update, geometry).
QByteArray statsFrame(const QList<qint16>& counts, qint32 memory, qint32 memoryLimit)
{
    return HistoryFrames::stats(0, {12.34f, 0.5f, 1.0f, 2.0f}, counts, memory, memoryLimit);
}

const QList<qint16> someCounts = {10, 32, 20, 64, 1, 4, 0, 0, 2, 8, 0, 0, 0, 0, 0, 0, 3, 16};

// The lower panel over four stores that are fed by hand.
struct Panel
{
    CPUHistory cpu{nullptr};
    ChannelHistory channel{nullptr};
    CodecHistory codec{nullptr};
    StatsHistory stats{nullptr};
    ProfilerLineGraph widget{&cpu, &channel, &codec, &stats, nullptr, {}};
    LineGraphControl* control = widget.control();

    LineGraphLegendItem* row(const QString& name) const
    {
        for (LineGraphLegendItem* item : control->findChildren<LineGraphLegendItem*>()) {
            if (item->name() == name) {
                return item;
            }
        }
        return nullptr;
    }
    LineValues* line(const QString& name) const { return control->lineOf(row(name)); }
    LineValuesGroup* group(int tab) const { return widget.lineGraph()->groups().at(tab); }
    QSpinBox* spinBox(int tab) const
    {
        return control->tabWidget()->widget(tab)->findChild<QSpinBox*>();
    }

    // Consecutive frames of one kind arrive in one pass.
    void feed(const QList<QByteArray>& frames)
    {
        for (int first = 0, end = 0; first < frames.size(); first = end) {
            const char kind = frames.at(first).at(8);
            QList<QByteArray> pass;
            for (; end < frames.size() && frames.at(end).at(8) == kind; ++end) {
                pass.append(frames.at(end));
            }
            if (kind == 3) {
                cpu.processPackets(pass);
            } else if (kind == 4) {
                channel.processPackets(pass);
            } else if (kind == 5) {
                codec.processPackets(pass);
            } else {
                stats.processPackets(pass);
            }
        }
    }
};

// Colour names after a ':' become the "#rrggbb" that QColor gives them.
QString withHexColours(QString text)
{
    for (const QString& token : text.split(QRegularExpression("[|:]"))) {
        if (QColor::isValidColorName(token)) {
            text.replace(":" + token, ":" + QColor(token).name());
        }
    }
    return text;
}
} // namespace

void TestLineGraphControl::tabsRowsAndSpinBoxes()
{
    Panel p;
    // Per tab: title, then each row from the top as name:colour:text.
    const QStringList expected = {
        "CPU|DSP:red:0.00 [0.00 - 0.00] / "
        "0.00%|Stream:green|Geometry:yellow|Update:blue|Total:orange",
        "Channel|Hardware:cornflowerblue:0 [0 - 0] / 0 channel(s)|Software:plum|Real:indianred|"
        "Virtual:khaki|Playing:linen",
        "Codec|Vorbis:seagreen:0 [0 - 0] / 0 codec(s)|ZADPCM:lightslategray|ADPCM:peru|"
        "MPEG:yellowgreen|XMA:seashell|AT9:mediumorchid|PCM:tomato",
        "Memory|Current:skyblue:0.000 [0.000 - 0.000] / 0.000 MB"};
    // The series of the codec group are created, and painted, in another order.
    const QStringList codecCreation = {"MPEG", "ADPCM", "XMA", "PCM", "ZADPCM", "Vorbis", "AT9"};
    QTabWidget* tabs = p.control->tabWidget();
    QCOMPARE(tabs->count(), expected.size());
    for (int tab = 0; tab < tabs->count(); ++tab) {
        QString seen = tabs->tabText(tab);
        QLayout* layout = tabs->widget(tab)->layout();
        for (int i = 0; qobject_cast<LineGraphLegendItem*>(layout->itemAt(i)->widget()); ++i) {
            auto* item = qobject_cast<LineGraphLegendItem*>(layout->itemAt(i)->widget());
            QVERIFY(!item->isChecked() && !p.line(item->name())->isActive());
            seen += "|" + item->name() + ":" + QColor(p.line(item->name())->pen().color()).name();
            seen += i == 0 ? ":" + item->text() : QString();
        }
        QCOMPARE(seen, withHexColours(expected.at(tab)));
        QCOMPARE(p.group(tab)->name(), tabs->tabText(tab));

        // "Auto" at the bottom of 0..100, wrapping both ways; the group follows.
        QSpinBox* box = p.spinBox(tab);
        QCOMPARE(box->text(), QString("Auto"));
        QVERIFY(box->isAccelerated());
        box->stepBy(-1);
        QCOMPARE(box->text(), "100" + p.group(tab)->suffix());
        QVERIFY(!p.group(tab)->autoMaximum() && p.group(tab)->maximum() == 100.0f);
        box->stepBy(1);
        QVERIFY(box->text() == "Auto" && p.group(tab)->autoMaximum());
        box->stepBy(1);
        QCOMPARE(box->text(), "1" + p.group(tab)->suffix());
        QVERIFY(!p.group(tab)->autoMaximum() && p.group(tab)->maximum() == 1.0f);
    }
    for (int i = 0; i < codecCreation.size(); ++i) {
        QCOMPARE(p.group(2)->lines().at(i)->name(), codecCreation.at(i));
    }
}

void TestLineGraphControl::storesFeedRowsAndSeries_data()
{
    QTest::addColumn<QList<QByteArray>>("frames");
    QTest::addColumn<Texts>("texts");
    QTest::addColumn<Tails>("tails"); // the newest samples of a series

    QTest::newRow("cpu batch enters oldest first")
        << QList<QByteArray>{cpuFrame(1, 0.5f, 2, 1), cpuFrame(2, 0.5f, 2, 1),
                             cpuFrame(3, 0.5f, 2, 1)}
        << Texts{{"DSP", "3.00 [0.00 - 0.00] / 100.00%"}, {"Total", "6.50 [0.00 - 0.00] / 100.00%"}}
        << Tails{{"DSP", {1, 2, 3}}, {"Geometry", {1, 1, 1}}};
    QTest::newRow("channel counts and limits")
        << QList<QByteArray>{channelFrame({3, 32, 10, 64, 20, 100})}
        << Texts{{"Real", "13 [0 - 0] / 96 channel(s)"}, {"Playing", "33 [0 - 0] / 100 channel(s)"}}
        << Tails{{"Software", {10}}, {"Playing", {33}}};
    QTest::newRow("codec packet leaves the other three rows alone")
        << QList<QByteArray>{codecFrame({1, 16, 2, 32, 3, 8, -4, 4})}
        << Texts{{"PCM", "-4 [0 - 0] / 4 codec(s)"}, {"Vorbis", "0 [0 - 0] / 0 codec(s)"}}
        << Tails{{"XMA", {0, 3}}, {"AT9", {0, 0}}};
    QTest::newRow("stats give average, minimum and maximum")
        << QList<QByteArray>{statsFrame(someCounts, 1500000, 8000000),
                             statsFrame(QList<qint16>{20} + someCounts.mid(1), 1000000, 8000000)}
        << Texts{{"Geometry", "2.00 [2.00 - 2.00] / 100.00%"},
                 {"Real", "15 [10 - 20] / 32 channel(s)"},
                 {"Playing", "35 [30 - 40] / 64 channel(s)"},
                 {"Current", "1.250 [1.000 - 1.500] / 8.000 MB"}}
        << Tails{{"Update", {1, 1}}, {"Real", {10, 20}}, {"Current", {1.5f, 1}}};
    QTest::newRow("the later store writes the row")
        << QList<QByteArray>{statsFrame(someCounts, 0, 0), cpuFrame(7, 0, 0, 0)}
        << Texts{{"DSP", "7.00 [12.34 - 12.34] / 100.00%"}} << Tails{{"DSP", {12.34f, 7}}};
}

void TestLineGraphControl::storesFeedRowsAndSeries()
{
    QFETCH(QList<QByteArray>, frames);
    QFETCH(Texts, texts);
    QFETCH(Tails, tails);
    Panel p;

    p.feed(frames);
    for (auto it = texts.cbegin(); it != texts.cend(); ++it) {
        QCOMPARE(p.row(it.key())->text(), it.value());
    }
    for (auto it = tails.cbegin(); it != tails.cend(); ++it) {
        QCOMPARE(p.line(it.key())->values().mid(LineValues::sampleCount - it.value().size()),
                 it.value());
    }
}

void TestLineGraphControl::statsHideRows()
{
    Panel p;
    p.row("ZADPCM")->checkBox()->click();
    p.feed({channelFrame({3, 32, 10, 64, 20, 100})});
    QVERIFY(!p.row("Hardware")->isHidden());

    // ZADPCM has a limit of 0 here: hidden, but still ticked and drawn.
    p.feed({statsFrame(someCounts, 1, 2000000)});
    QVERIFY(p.row("Hardware")->isHidden() && p.row("Software")->isHidden());
    QVERIFY(p.row("ZADPCM")->isHidden() && p.row("ZADPCM")->isChecked() &&
            p.line("ZADPCM")->isActive());
    QVERIFY(!p.row("ADPCM")->isHidden());

    QList<qint16> counts = someCounts;
    counts[7] = 6;
    p.feed({statsFrame(counts, 1, 2000000), channelFrame({3, 32, 10, 64, 20, 100})});
    QVERIFY(!p.row("ZADPCM")->isHidden());
    QVERIFY(p.row("Hardware")->isHidden());
}

void TestLineGraphControl::spinBoxFollowsTheLimit_data()
{
    QTest::addColumn<int>("tab");
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<int>("chosen");
    QTest::addColumn<QByteArray>("after");
    QTest::addColumn<float>("groupMaximum"); // 0 for automatic mode

    const QList<qint16> noCodecs = {0, 0, 0, 0, 0, -3, 0, -3, 0, -3, 0, -3, 0, -3, 0, -3, 0, -3};
    QTest::newRow("channel limit falls below the chosen maximum")
        << 1 << channelFrame({0, 0, 0, 0, 0, 100}) << 40 << channelFrame({0, 0, 0, 0, 0, 32})
        << 32.0f;
    QTest::newRow("channel limit above the chosen maximum keeps it")
        << 1 << channelFrame({0, 0, 0, 0, 0, 100}) << 40 << channelFrame({0, 0, 0, 0, 0, 64})
        << 40.0f;
    QTest::newRow("memory limit below 1 MB gives Auto")
        << 3 << statsFrame(someCounts, 0, 8000000) << 5 << statsFrame(someCounts, 0, 999999)
        << 0.0f;
    QTest::newRow("negative codec limits keep Auto at the bottom")
        << 2 << codecFrame({0, 8, 0, 0, 0, 0, 0, 0}) << 5 << statsFrame(noCodecs, 0, 0) << 0.0f;
}

void TestLineGraphControl::spinBoxFollowsTheLimit()
{
    QFETCH(int, tab);
    QFETCH(QByteArray, before);
    QFETCH(int, chosen);
    QFETCH(QByteArray, after);
    QFETCH(float, groupMaximum);
    Panel p;

    p.feed({before});
    p.spinBox(tab)->setValue(chosen);
    QCOMPARE(p.group(tab)->maximum(), float(chosen));
    p.feed({after});
    const QString number = QString::number(int(groupMaximum)) + p.group(tab)->suffix();
    QCOMPARE(p.spinBox(tab)->text(), groupMaximum == 0.0f ? QString("Auto") : number);
    QCOMPARE(p.spinBox(tab)->minimum(), 0);
    QCOMPARE(p.group(tab)->autoMaximum(), groupMaximum == 0.0f);
    if (groupMaximum != 0.0f) {
        QCOMPARE(p.group(tab)->maximum(), groupMaximum);
    }
}

void TestLineGraphControl::wrongSnapshotCountStaysInTheList()
{
    Panel p;
    QObject::disconnect(&p.cpu, nullptr, p.control, nullptr);
    p.feed({cpuFrame(1, 0, 0, 0), cpuFrame(2, 0, 0, 0)});
    p.control->slotProcessCPUHistory(1000);
    p.control->slotProcessCPUHistory(-5);
    QCOMPARE(p.line("DSP")->values().mid(LineValues::sampleCount - 3), (QList<float>{0, 1, 2}));
    QCOMPARE(p.row("DSP")->text(), QString("2.00 [0.00 - 0.00] / 100.00%"));
}

void TestLineGraphControl::tickingAndWidening()
{
    Panel p;
    p.feed({cpuFrame(4, 9, 0, 0)});
    QCOMPARE(p.group(0)->maximum(), 0.0f);
    p.row("DSP")->checkBox()->click();
    QCOMPARE(p.group(0)->maximum(), 4.0f);
    p.control->tabWidget()->setCurrentIndex(2);
    QVERIFY(p.line("DSP")->isActive());
    p.row("DSP")->checkBox()->click();
    QVERIFY(!p.line("DSP")->isActive() && p.group(0)->maximum() == 0.0f);

    // The plot takes the width; the tabs keep theirs.
    QVERIFY(p.widget.layout());
    p.widget.resize(800, 250);
    p.widget.show();
    QVERIFY(QTest::qWaitForWindowExposed(&p.widget));
    const int controlWidth = p.control->width();
    const int plotWidth = p.widget.lineGraph()->width();
    p.widget.resize(1000, 250);
    QTRY_COMPARE(p.widget.lineGraph()->width(), plotWidth + 200);
    QCOMPARE(p.control->width(), controlWidth);
}

QTEST_MAIN(TestLineGraphControl)
#include "tst_linegraphcontrol.moc"
