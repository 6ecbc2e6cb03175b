#ifndef FORMPROBE_H
#define FORMPROBE_H

#include "ProfilerForm.h"
#include "ProfilerNetwork.h"

#include <QLineEdit>
#include <QPushButton>

// A link whose writes can be made to fall one byte short.
class ShortWriteNetwork : public ProfilerNetwork
{
public:
    bool shortWrites = false;

protected:
    qint64 writeToSocket(const char* data, qint64 size) override
    {
        return shortWrites ? size - 1 : ProfilerNetwork::writeToSocket(data, size);
    }
};

// The form with its error box counted instead of shown, for the form tests
// and the end-to-end tests of the whole form.
class CountingForm : public ProfilerForm
{
public:
    CountingForm() : ProfilerForm(new ShortWriteNetwork(), nullptr, {}) {}
    ShortWriteNetwork* link() const { return static_cast<ShortWriteNetwork*>(targetNetwork()); }
    int errorBoxes = 0;

    // The bar's look as the user sees it: "Idle", "Attempt" or "Live", with
    // anything inconsistent spelled out.
    QString look() const
    {
        const bool edits = child<QLineEdit>("ipEdit")->isEnabled();
        const QPushButton* pause = child<QPushButton>("pauseButton");
        QString name = QStringLiteral("%1/%2/%3")
                           .arg(edits)
                           .arg(child<QPushButton>("connectButton")->text())
                           .arg(pause->isEnabled());
        if (name == QLatin1String("1/Connect/0"))
            name = QStringLiteral("Idle");
        else if (name == QLatin1String("0/Disconnect/0"))
            name = QStringLiteral("Attempt");
        else if (name == QLatin1String("0/Disconnect/1"))
            name = QStringLiteral("Live");
        if (pause->text() != QLatin1String("Pause") || targetNetwork()->paused)
            name += QStringLiteral(" paused");
        if (child<QLineEdit>("portEdit")->isEnabled() != edits)
            name += QStringLiteral(" mixed edits");
        return name;
    }

    template <typename T> T* child(const char* name) const
    {
        return findChild<T*>(QLatin1String(name));
    }

protected:
    void showConnectionError() override { ++errorBoxes; }
};

#endif // FORMPROBE_H
