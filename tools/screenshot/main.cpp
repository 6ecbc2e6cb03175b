// Takes a picture of the profiler window connected to a live target, the way a
// user would see it: clicks "Connect", ticks the requested controls, waits for
// the views to fill and grabs the window into an image file.
#include "LineGraphLegendItem.h"
#include "MainForm.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QCommandLineParser>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTimer>

#include <cstdio>

namespace {

struct ShotOptions
{
    QString out;
    QString port;
    QSize size;
    int waitMs = 4000;
    bool cpuUsage = false;
    bool volume = false;
    int tab = 0;
    int rows = 0;
};

ShotOptions parseOptions(const QApplication& app)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Saves a picture of the profiler window."));
    parser.addHelpOption();
    parser.addOptions({
        {QStringLiteral("out"), QStringLiteral("Image file to write."), QStringLiteral("file"),
         QStringLiteral("zelto-profiler.png")},
        {QStringLiteral("port"), QStringLiteral("Target port."), QStringLiteral("port"),
         QStringLiteral("9264")},
        {QStringLiteral("size"), QStringLiteral("Window size."), QStringLiteral("WxH"),
         QStringLiteral("1000x720")},
        {QStringLiteral("wait"), QStringLiteral("Milliseconds live before the picture."),
         QStringLiteral("ms"), QStringLiteral("4000")},
        {QStringLiteral("cpu-usage"), QStringLiteral("Colour the plates by CPU usage.")},
        {QStringLiteral("volume"), QStringLiteral("Show the volume meters.")},
        {QStringLiteral("tab"), QStringLiteral("Line graph tab to show (0-3)."),
         QStringLiteral("index"), QStringLiteral("0")},
        {QStringLiteral("rows"), QStringLiteral("Legend rows to tick on every tab."),
         QStringLiteral("count"), QStringLiteral("3")},
    });
    parser.process(app);

    ShotOptions options;
    options.out = parser.value(QStringLiteral("out"));
    options.port = parser.value(QStringLiteral("port"));
    const QStringList size = parser.value(QStringLiteral("size")).split(QLatin1Char('x'));
    options.size = QSize(size.value(0).toInt(), size.value(1).toInt());
    options.waitMs = parser.value(QStringLiteral("wait")).toInt();
    options.cpuUsage = parser.isSet(QStringLiteral("cpu-usage"));
    options.volume = parser.isSet(QStringLiteral("volume"));
    options.tab = parser.value(QStringLiteral("tab")).toInt();
    options.rows = parser.value(QStringLiteral("rows")).toInt();
    return options;
}

template <typename T> T* findByText(QWidget* root, const QString& text)
{
    const QList<T*> all = root->findChildren<T*>();
    for (T* widget : all) {
        if (widget->text() == text)
            return widget;
    }
    return nullptr;
}

void tickControls(QWidget* window, const ShotOptions& options)
{
    if (options.cpuUsage) {
        if (QCheckBox* cpuUsage = findByText<QCheckBox>(window, QStringLiteral("CPU Usage")))
            cpuUsage->setChecked(true);
    }
    if (options.volume) {
        if (QCheckBox* volume = findByText<QCheckBox>(window, QStringLiteral("Volume")))
            volume->setChecked(true);
    }
    QTabWidget* tabs = window->findChild<QTabWidget*>();
    if (!tabs)
        return;
    for (int page = 0; page < tabs->count(); ++page) {
        int ticked = 0;
        for (LineGraphLegendItem* row : tabs->widget(page)->findChildren<LineGraphLegendItem*>()) {
            if (ticked++ >= options.rows)
                break;
            row->checkBox()->setChecked(true);
        }
    }
    tabs->setCurrentIndex(options.tab);
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const ShotOptions options = parseOptions(app);

    MainForm window(nullptr, {});
    window.resize(options.size);
    window.setWindowTitle(QStringLiteral("ZELTO Profiler"));
    window.show();

    QLineEdit* portEdit = window.findChild<QLineEdit*>(QStringLiteral("portEdit"));
    QPushButton* connectButton = window.findChild<QPushButton*>(QStringLiteral("connectButton"));
    if (!portEdit || !connectButton) {
        std::fprintf(stderr, "zelto-screenshot: the connection bar was not found\n");
        return 1;
    }
    portEdit->setText(options.port);
    tickControls(&window, options);
    connectButton->click();

    int result = 0;
    QTimer::singleShot(options.waitMs, &window, [&]() {
        QLabel* status = window.findChild<QLabel*>(QStringLiteral("statusLabel"));
        std::printf("status: %s\n", qPrintable(status ? status->text() : QString()));
        if (!window.grab().save(options.out)) {
            std::fprintf(stderr, "zelto-screenshot: cannot write %s\n", qPrintable(options.out));
            result = 1;
        }
        app.quit();
    });
    app.exec();
    return result;
}
