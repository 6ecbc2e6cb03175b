#include "MainForm.h"

#include "ProfilerForm.h"

#include <QIcon>

MainForm::MainForm(QWidget* parent, Qt::WindowFlags flags)
    : QMainWindow(parent, flags), profilerForm(new ProfilerForm(nullptr, {}))
{
    setCentralWidget(profilerForm);

    QIcon icon;
    for (int size : {16, 32, 48, 64, 128})
        icon.addFile(QStringLiteral(":Profiler/icons/zelto-profiler-%1.png").arg(size),
                     QSize(size, size));
    setWindowIcon(icon);
}

// The central widget belongs to the window and goes with it.
MainForm::~MainForm() = default;
