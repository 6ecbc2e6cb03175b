#include "MainForm.h"

#include <QApplication>

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    MainForm mainForm(nullptr, {});
    mainForm.resize(800, 600);
    mainForm.setWindowTitle(QStringLiteral("ZELTO Profiler"));
    mainForm.show();
    return application.exec();
}
