#pragma once

#include <QStringList>

// The command line of zelto-capture: picks the command, checks its options
// and runs it. Bad use gets one line on standard error and a non-zero exit:
// 2 for arguments that make no sense, 1 for a file, port or target that
// fails.
class CaptureCommand
{
public:
    // Needs a QCoreApplication; runs its event loop for record and replay.
    static int run(const QStringList& arguments);

private:
    static int record(const QStringList& arguments);
    static int replay(const QStringList& arguments);
    static int info(const QStringList& arguments);
    static int exportCsv(const QStringList& arguments);
    static int badUse(const QString& line);
    static int failure(const QString& line);
};
