#include "FakeTarget.h"
#include "GraphFixture.h"
#include "ProfilerDSPNetGraph.h"
#include "ProfilerNetwork.h"

#include <QApplication>
#include <QCheckBox>
#include <QGroupBox>
#include <QImageReader>
#include <QLayout>
#include <QLineEdit>
#include <QMenu>
#include <QScrollArea>
#include <QScrollBar>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTimer>
#include <QtEndian>
#include <QtTest>

#include <functional>

// Clicks, the plate menu, and the panel around the graph. Commands travel over
// a real socket to a FakeTarget.
class TestDSPViewInput : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void clicks_data();
    void clicks();
    void menuCommands_data();
    void menuCommands();
    void spinBoxesChase_data();
    void spinBoxesChase();
    void wheel_data();
    void wheel();
    void dragAndFollow();
    void textCommands_data();
    void textCommands();
    void saveImage_data();
    void saveImage();
};

namespace {

// A link to a FakeTarget and the tree behind it; frames() lists what the
// target has received as "kind.subKind:id:value" or "kind.subKind:text".
struct Link
{
    Link() { network.connectToTarget(QStringLiteral("127.0.0.1"), target.port()); }

    bool load(const QString& description, const QString& options = QString())
    {
        GraphFixture f(description);
        f.apply(options);
        tree.acceptNetworkFrame(f.net.snapshot(6));
        Q_EMIT tree.dspNetTreeUpdated();
        return QTest::qWaitFor([this] { return network.isConnected() && target.hasClient(); });
    }

    QString frames()
    {
        tree.sendGroupText(QStringLiteral("end")); // marks the end of what was sent
        QStringList items;
        (void)QTest::qWaitFor([&] {
            items = parse(target.received());
            return !items.isEmpty() && items.last() == QLatin1String("7.1:end");
        });
        items.removeLast();
        return items.join(QLatin1Char(' '));
    }

    static QStringList parse(const QByteArray& bytes)
    {
        QStringList items;
        for (qsizetype at = 0; at + 21 <= bytes.size();) {
            const char* frame = bytes.constData() + at;
            const quint32 size = qFromLittleEndian<quint32>(frame);
            if (size < 21 || at + size > bytes.size())
                break;
            QString item = QString::asprintf("%d.%d:", frame[8], frame[9]);
            if (size == 21)
                item +=
                    QString::asprintf("%llu:%d", qFromLittleEndian<quint64>(frame + 12), frame[20]);
            else
                item += QString::fromUtf8(frame + 12);
            items << item;
            at += size;
        }
        return items;
    }

    FakeTarget target;
    ProfilerNetwork network;
    DSPTree tree{&network};
};

// Picks a menu entry, or none, without a nested event loop; whileOpen runs
// first, as a snapshot arriving during the menu's own loop would.
class MenuGraph : public DSPNetGraph
{
public:
    using DSPNetGraph::DSPNetGraph;
    QString shown;
    int entry = -1;
    std::function<void()> whileOpen;

protected:
    void execContextMenu(QMenu* menu, const QPoint&) override
    {
        shown = menu->title();
        for (QAction* action : menu->actions())
            shown += QStringLiteral(" %1=%2").arg(action->text()).arg(action->isChecked());
        if (whileOpen)
            whileOpen();
        if (entry >= 0)
            menu->actions().at(entry)->trigger();
    }
};

class SavePanel : public ProfilerDSPNetGraph
{
public:
    using ProfilerDSPNetGraph::ProfilerDSPNetGraph;
    QString fileName;

protected:
    QString askSaveFileName() override { return fileName; }
};

void sendMove(QWidget* widget, QPoint to)
{
    QMouseEvent move(QEvent::MouseMove, to, widget->mapToGlobal(to), Qt::NoButton, Qt::LeftButton,
                     Qt::NoModifier);
    QApplication::sendEvent(widget, &move);
}

bool sendWheel(QWidget* widget, QPoint delta)
{
    QWheelEvent wheel(QPointF(50, 50), QPointF(50, 50), QPoint(), delta, Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    return QApplication::sendEvent(widget, &wheel);
}

QString scrollText(QScrollArea* area)
{
    return QString::asprintf("%d,%d", area->horizontalScrollBar()->value(),
                             area->verticalScrollBar()->value());
}

} // namespace

// R<-A,B: B stands at (210, 85). R is selected before each row.
void TestDSPViewInput::clicks_data()
{
    QTest::addColumn<float>("scale");
    QTest::addColumn<int>("button");
    QTest::addColumn<QPoint>("at");
    QTest::addColumn<bool>("moved");
    QTest::addColumn<QString>("selected");
    QTest::addColumn<QString>("menu");

    const int left = Qt::LeftButton, right = Qt::RightButton, middle = Qt::MiddleButton;
    // clang-format off
    QTest::newRow("0.5: top left corner") << 0.5f << left << QPoint(105, 43) << false << "B" << "";
    QTest::newRow("0.5: bottom right") << 0.5f << left << QPoint(165, 65) << false << "B" << "";
    QTest::newRow("0.5: just right of it") << 0.5f << left << QPoint(166, 65) << false << "" << "";
    QTest::newRow("2.0: right click opens the menu") << 2.0f << right << QPoint(660, 260) << false
        << "B" << "B Active=1 Bypass=0";
    QTest::newRow("2.0: beside") << 2.0f << right << QPoint(661, 200) << false << "" << "";
    QTest::newRow("a move cancels") << 1.0f << left << QPoint(250, 100) << true << "R" << "";
    QTest::newRow("middle button is no click") << 1.0f << middle << QPoint(250, 100) << false << "R"
        << "";
    // clang-format on
}

void TestDSPViewInput::clicks()
{
    QFETCH(float, scale);
    QFETCH(int, button);
    QFETCH(QPoint, at);
    DSPTree tree(nullptr);
    TestNetwork net(QStringLiteral("R<-A,B"));
    tree.acceptNetworkFrame(net.snapshot(6));
    MenuGraph graph(&tree);
    Q_EMIT tree.dspNetTreeUpdated();
    QTest::mouseClick(&graph, Qt::LeftButton, {}, QPoint(20, 20));
    graph.setScale(scale);
    QTest::mousePress(&graph, Qt::MouseButton(button), {}, at);
    QFETCH(bool, moved);
    if (moved)
        sendMove(&graph, at + QPoint(1, 0));
    QTest::mouseRelease(&graph, Qt::MouseButton(button), {}, at);
    const char* names[] = {"", "R", "A", "B"};
    const quint64 id = graph.viewSettings().selectedId;
    QTEST(QString::fromLatin1(id < 4 ? names[id] : ""), "selected");
    QTEST(graph.shown, "menu");
}

// Unit A (id 2) is right-clicked; the entry chosen and the frame sent.
void TestDSPViewInput::menuCommands_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<int>("entry");
    QTest::addColumn<bool>("snapshotWhileOpen");
    QTest::addColumn<QString>("sent");

    // clang-format off
    QTest::newRow("active: Active disables") << "" << 0 << false << "1.2:2:0";
    QTest::newRow("active: Bypass bypasses") << "" << 1 << false << "1.3:2:1";
    QTest::newRow("off: Active enables") << "off:A bypass:A inactive" << 0 << false << "1.2:2:1";
    QTest::newRow("bypassed: Bypass unbypasses") << "off:A bypass:A inactive" << 1 << false
        << "1.3:2:0";
    QTest::newRow("a snapshot without A while open") << "" << 0 << true << "1.2:2:0";
    QTest::newRow("closed without a choice") << "" << -1 << false << "";
    // clang-format on
}

void TestDSPViewInput::menuCommands()
{
    QFETCH(QString, options);
    Link link;
    MenuGraph graph(&link.tree);
    QVERIFY(link.load(QStringLiteral("R<-A,B"), options));
    graph.setShowInactive(true);
    QFETCH(int, entry);
    graph.entry = entry;
    QFETCH(bool, snapshotWhileOpen);
    if (snapshotWhileOpen)
        graph.whileOpen = [&link] { link.load(QStringLiteral("R<-B")); };
    QTest::mouseClick(&graph, Qt::RightButton, {}, QPoint(250, 20));
    QTEST(link.frames(), "sent");
}

void TestDSPViewInput::spinBoxesChase_data()
{
    QTest::addColumn<int>("low");
    QTest::addColumn<int>("high");
    QTest::addColumn<QString>("ranges");
    QTest::addColumn<float>("minCPU");
    QTest::addColumn<float>("maxCPU");

    QTest::newRow("at start") << 0 << 20 << "0-19% 1-100%" << 0.0f << 0.2f;
    QTest::newRow("low 19 lifts high's floor") << 19 << 20 << "0-19% 20-100%" << 0.19f << 0.2f;
    QTest::newRow("high 5 lowers low's ceiling") << 0 << 5 << "0-4% 1-100%" << 0.0f << 0.05f;
    QTest::newRow("high cannot reach low") << 3 << 2 << "0-3% 4-100%" << 0.03f << 0.04f;
}

// Every row also checks the start values that reach the graph through
// the slots; untouched controls leave the graph's own defaults.
void TestDSPViewInput::spinBoxesChase()
{
    QFETCH(int, low);
    QFETCH(int, high);
    Link link;
    ProfilerDSPNetGraph panel(&link.tree, nullptr, {});
    const DSPNetGraph* g = panel.graphWidget();
    const DSPNetGraphSettings& s = g->viewSettings();
    const QList<bool> flags = {g->graphLayout().showExcessive,
                               g->graphLayout().showInactive,
                               s.showGroups,
                               s.showSends,
                               s.showCPUUsage,
                               s.showVolumeLevels,
                               s.showGuids,
                               s.showLegend,
                               s.useInclusiveCPU};
    QCOMPARE(flags, QList<bool>({true, true, true, true, false, false, false, false, false}));
    QCOMPARE(g->size(), QSize(270, 95)); // laid out once, before any snapshot
    auto* cpuGroup = panel.findChild<QGroupBox*>(QStringLiteral("cpuGroup"));
    QVERIFY(!cpuGroup->isEnabled() && panel.layout());
    auto* lowBox = panel.findChild<QSpinBox*>(QStringLiteral("lowSpinBox"));
    auto* highBox = panel.findChild<QSpinBox*>(QStringLiteral("highSpinBox"));
    lowBox->setValue(low);
    highBox->setValue(high);
    const auto range = [](const QSpinBox* box) {
        return QStringLiteral("%1-%2%3").arg(box->minimum()).arg(box->maximum()).arg(box->suffix());
    };
    QTEST(range(lowBox) + QLatin1Char(' ') + range(highBox), "ranges");
    QTEST(s.minCPU, "minCPU");
    QTEST(s.maxCPU, "maxCPU");
    for (QCheckBox* box : panel.findChildren<QCheckBox*>()) {
        if (box->text() == QLatin1String("CPU Usage"))
            box->click();
    }
    QVERIFY(cpuGroup->isEnabled() && s.showCPUUsage);
}

// A wide network in a small panel, scrolled to (300, 50). Plate F stands at
// (610, 10); when selected it must stay where it stands on the screen.
void TestDSPViewInput::wheel_data()
{
    QTest::addColumn<float>("start");
    QTest::addColumn<QPoint>("delta");
    QTest::addColumn<bool>("selectF");
    QTest::addColumn<float>("scale");

    QTest::newRow("notch down keeps the selected plate") << 1.0f << QPoint(0, -120) << true << 0.9f;
    QTest::newRow("notch up keeps the selected plate") << 1.0f << QPoint(0, 120) << true << 1.1f;
    QTest::newRow("floor: no change, no jump") << 0.2f << QPoint(0, -120) << false << 0.2f;
    QTest::newRow("horizontal wheel eaten") << 1.0f << QPoint(120, 0) << false << 1.0f;
    QTest::newRow("part of a notch eaten") << 1.0f << QPoint(0, 119) << false << 1.0f;
}

void TestDSPViewInput::wheel()
{
    QFETCH(float, start);
    QFETCH(QPoint, delta);
    QFETCH(bool, selectF);
    Link link;
    SavePanel panel(&link.tree, nullptr, {});
    panel.resize(500, 300);
    panel.show();
    QVERIFY(
        link.load(QStringLiteral("R<-A,B,C,D; A<-E; E<-F; F<-G; G<-H; H<-I; I<-J; J<-K; K<-L")));
    DSPNetGraph* graph = panel.graphWidget();
    QScrollArea* area = panel.graphScrollArea();
    graph->setScale(start);
    area->horizontalScrollBar()->setValue(300);
    area->verticalScrollBar()->setValue(50);
    const QString scroll = scrollText(area);
    if (selectF)
        QTest::mouseClick(graph, Qt::LeftButton, {}, QPoint(670, 32));
    const QPoint centre = graph->mapTo(&panel, QPoint(670, 32));
    QVERIFY(sendWheel(graph, delta));
    QTEST(graph->scale(), "scale");
    if (graph->scale() == start)
        QCOMPARE(scrollText(area), scroll);
    if (selectF) {
        const QPoint after = graph->mapTo(&panel, (QPointF(670, 32) * graph->scale()).toPoint());
        QVERIFY2((after - centre).manhattanLength() <= 2, qPrintable(scrollText(area)));
    }
}

// A drag moves the view twice as far as the mouse; the view follows the selection.
void TestDSPViewInput::dragAndFollow()
{
    Link link;
    ProfilerDSPNetGraph panel(&link.tree, nullptr, {});
    panel.resize(400, 250);
    panel.show();
    QVERIFY(link.load(QStringLiteral("R<-A,B,C,D,E,F,G,H; A<-I; I<-J; J<-K; K<-L; L<-M; M<-N")));
    DSPNetGraph* graph = panel.graphWidget();
    QScrollArea* area = panel.graphScrollArea();
    area->horizontalScrollBar()->setValue(100);
    area->verticalScrollBar()->setValue(100);
    QTest::mousePress(graph, Qt::LeftButton, {}, QPoint(400, 300));
    QCOMPARE(graph->cursor().shape(), Qt::ClosedHandCursor);
    sendMove(graph, QPoint(390, 295));
    QTest::mouseRelease(graph, Qt::LeftButton, {}, QPoint(390, 295));
    QCOMPARE(scrollText(area), QStringLiteral("120,110"));
    QCOMPARE(graph->cursor().shape(), Qt::OpenHandCursor);
    QTest::mouseClick(graph, Qt::LeftButton, {}, QPoint(250, 550)); // selects H at (210, 535)
    QCOMPARE(graph->cursor().shape(), Qt::OpenHandCursor);
    QTest::mouseClick(graph, Qt::LeftButton, {}, QPoint(5, 600)); // beside: graph keeps it
    QCOMPARE(graph->cursor().shape(), Qt::ClosedHandCursor);
    QTest::mouseClick(graph, Qt::LeftButton, {}, QPoint(250, 550));
    graph->setScale(0.5f);
    area->verticalScrollBar()->setValue(100);
    QVERIFY(link.load(
        QStringLiteral("R<-A,B,C,D,E,F,G,H; A<-I; I<-J; J<-K; K<-L; L<-M; M<-N; G<-X,Y")));
    QCOMPARE(area->verticalScrollBar()->value(), 138); // 37.5 rounded away from zero
}

void TestDSPViewInput::textCommands_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("sent");

    // clang-format off
    QTest::newRow("the word") << "Show" << "1.1:Show 7.1:Show";
    QTest::newRow("any case") << "sHOW" << "1.1:sHOW 7.1:sHOW";
    QTest::newRow("each keystroke") << "SHOWx" << "1.1:SHOW 7.1:SHOW 1.1:SHOWx 7.1:SHOWx";
    QTest::newRow("a deletion back to the word") << "Showx\b"
        << "1.1:Show 7.1:Show 1.1:Showx 7.1:Showx 1.1:Show 7.1:Show";
    QTest::newRow("three letters") << "Sho" << "";
    QTest::newRow("the word further back") << "x Show" << "";
    // clang-format on
}

void TestDSPViewInput::textCommands()
{
    QFETCH(QString, typed);
    Link link;
    ProfilerDSPNetGraph panel(&link.tree, nullptr, {});
    QVERIFY(link.load(QStringLiteral("R<-A")));
    auto* edit = panel.findChild<QLineEdit*>(QStringLiteral("highlightEdit"));
    QTest::keyClicks(edit, typed);
    QCOMPARE(panel.graphWidget()->viewSettings().highlightText, edit->text());
    QTEST(link.frames(), "sent");
}

void TestDSPViewInput::saveImage_data()
{
    QTest::addColumn<QString>("network");
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QByteArray>("format");

    const QString small = QStringLiteral("R<-A,B");
    QTest::newRow("png") << small << "png" << QByteArray("png");
    QTest::newRow("jpg") << small << "jpg" << QByteArray("jpeg");
    QTest::newRow("bmp") << small << "bmp" << QByteArray("bmp");
    QTest::newRow("cancelled") << small << "" << QByteArray();
    // 100 columns by 190 rows would need an image of more than a gigabyte.
    QStringList huge;
    for (int i = 0; i < 100; ++i)
        huge << QStringLiteral("C%1<-C%2").arg(i).arg(i + 1);
    for (int i = 0; i < 190; ++i)
        huge << QStringLiteral("C0<-L%1").arg(i);
    QTest::newRow("too large: nothing written")
        << huge.join(QLatin1Char(';')) << "png" << QByteArray();
}

// Made at scale 1.0 whatever the zoom, on a transparent background.
void TestDSPViewInput::saveImage()
{
    QFETCH(QString, network);
    QFETCH(QString, suffix);
    QFETCH(QByteArray, format);
    QTemporaryDir dir;
    Link link;
    SavePanel panel(&link.tree, nullptr, {});
    QVERIFY(link.load(network));
    panel.graphWidget()->setScale(0.5f);
    const QString path = dir.filePath(QStringLiteral("graph.") + suffix);
    panel.fileName = suffix.isEmpty() ? QString() : path;
    panel.slotSaveImage();
    QCOMPARE(panel.graphWidget()->scale(), 0.5f);
    QImageReader reader(path);
    QCOMPARE(reader.format(), format);
    const QImage image = reader.read();
    QCOMPARE(image.size(), format.isEmpty() ? QSize(0, 0) : QSize(480, 180));
    if (format == "png")
        QVERIFY(qAlpha(image.pixel(0, 0)) == 0 && qAlpha(image.pixel(250, 20)) == 255);
}

QTEST_MAIN(TestDSPViewInput)
#include "tst_dspview_input.moc"
