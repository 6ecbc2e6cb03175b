#include "IconImage.h"
#include "PlateImage.h"

#include <QDir>
#include <QGuiApplication>
#include <QImageWriter>
#include <cstdio>

namespace {

// Quality 100 stores the PNG without deflate compression, so the resource
// holds plain 8-bit RGBA rows.
bool save(const QImage& image, const QString& path)
{
    QImageWriter writer(path, "png");
    writer.setQuality(100);
    if (writer.write(image))
        return true;
    std::fprintf(stderr, "cannot write %s: %s\n", qPrintable(path),
                 qPrintable(writer.errorString()));
    return false;
}

} // namespace

int main(int argc, char* argv[])
{
    QGuiApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: zelto-imagegen <resources directory>\n");
        return 2;
    }
    QDir dir(QString::fromLocal8Bit(argv[1]));
    if (!dir.mkpath(QStringLiteral("icons")))
        return 1;
    // The @2x images are what Qt's naming gives screens of two device pixels
    // per logical pixel.
    bool ok = true;
    for (int factor : {1, 2}) {
        const PlateImage plate(factor);
        const QString suffix = factor == 1 ? QStringLiteral(".png") : QStringLiteral("@2x.png");
        ok = save(plate.draw(QColor(218, 218, 218)), dir.filePath("node-faceplate" + suffix)) && ok;
        ok = save(plate.draw(QColor(229, 229, 67)),
                  dir.filePath("node-faceplate-highlight" + suffix)) &&
             ok;
    }
    for (int size : {16, 32, 48, 64, 128}) {
        QString name = QStringLiteral("icons/zelto-profiler-%1.png").arg(size);
        ok = save(IconImage::draw(size), dir.filePath(name)) && ok;
    }
    return ok ? 0 : 1;
}
