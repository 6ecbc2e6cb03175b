#include "CaptureCommand.h"

#include <QCoreApplication>

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("zelto-capture"));
    return CaptureCommand::run(QCoreApplication::arguments());
}
