#ifndef MAINFORM_H
#define MAINFORM_H

#include <QMainWindow>

class ProfilerForm;

// The main window: nothing but a frame around the ProfilerForm.
class MainForm : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainForm(QWidget* parent = nullptr, Qt::WindowFlags flags = {});
    ~MainForm() override;

    ProfilerForm* form() const { return profilerForm; }

private:
    ProfilerForm* profilerForm;
};

#endif
