#ifndef PLATEIMAGE_H
#define PLATEIMAGE_H

#include <QColor>
#include <QImage>

// The glass plate that the network graph lays over each DSP's state colour.
// Drawn pixel by pixel so that the result does not depend on the paint
// engine's antialiasing: 240 by 90, twice the plate's size on screen, or
// `factor` times that for screens with more device pixels per logical pixel.
class PlateImage
{
public:
    static constexpr int width = 240;
    static constexpr int height = 90;

    explicit PlateImage(int factor);
    QImage draw(const QColor& rimColor) const;

private:
    float outerCoverage(int x, int y) const;
    float insideDepth(float px, float py) const;
    QRgb glassPixel(int x, int y) const;
    static float diagonalBand(float px, float py);
    static QRgb blend(QRgb glass, const QColor& rim, float rimWeight, float coverage);

    float f;
    int w;
    int h;
};

#endif
