#ifndef PLATEIMAGE_H
#define PLATEIMAGE_H

#include <QColor>
#include <QImage>

// The glass plate that the network graph lays over each DSP's state colour.
// Drawn pixel by pixel so that the result does not depend on the paint
// engine's antialiasing: 240 by 90, twice the plate's size on screen.
class PlateImage
{
public:
    static constexpr int width = 240;
    static constexpr int height = 90;

    static QImage draw(const QColor& rimColor);

private:
    static float outerCoverage(int x, int y);
    static float insideDepth(float px, float py);
    static QRgb glassPixel(int x, int y);
    static float diagonalBand(int x, int y);
    static QRgb blend(QRgb glass, const QColor& rim, float rimWeight, float coverage);
};

#endif
