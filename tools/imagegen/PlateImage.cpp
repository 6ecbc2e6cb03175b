#include "PlateImage.h"

#include <QtGlobal>
#include <algorithm>
#include <cmath>

namespace {

const float cornerRadius = 4.0f;
const float rimWidth = 4.0f;   // opaque rim; the fifth pixel blends into the glass
const float bevelWidth = 6.0f; // glass that darkens towards the rim
const int gradientTop = 13;    // rows above hold the lightest grey
const int gradientBottom = 80; // rows below hold the darkest grey
const float greyTop = 238.0f;
const float greyBottom = 11.0f;
const int alphaUpper = 163;
const int alphaLower = 158;
// How much the bevel darkens and thickens the glass right next to the rim.
// The top edge is the strongest, like light falling in from above.
const float sideDarken = 0.384f;
const float sideAlpha = 26.0f;
const float topDarken = 0.527f;
const float topAlpha = 42.0f;
const float bandGrey = 7.0f;
const float bandAlpha = 4.0f;

float clamp01(float v)
{
    return std::min(1.0f, std::max(0.0f, v));
}

} // namespace

PlateImage::PlateImage(int factor) : f(float(factor)), w(width * factor), h(height * factor) {}

QImage PlateImage::draw(const QColor& rimColor) const
{
    QImage image(w, h, QImage::Format_ARGB32);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            // The rim's inner edge blends over one pixel of this image, so
            // that the larger image has a rim as sharp as the smaller one's.
            float depth = insideDepth(x + 0.5f, y + 0.5f);
            float rimWeight = clamp01(rimWidth * f + 1.0f - depth);
            image.setPixel(x, y, blend(glassPixel(x, y), rimColor, rimWeight, outerCoverage(x, y)));
        }
    }
    return image;
}

// Share of the pixel inside the rounded outline, from a 4 by 4 grid of samples.
float PlateImage::outerCoverage(int x, int y) const
{
    int inside = 0;
    for (int sy = 0; sy < 4; ++sy) {
        for (int sx = 0; sx < 4; ++sx) {
            if (insideDepth(x + (sx + 0.5f) / 4.0f, y + (sy + 0.5f) / 4.0f) > 0.0f)
                ++inside;
        }
    }
    return inside / 16.0f;
}

// Distance in pixels of this image from the rounded outline towards the
// middle; negative outside.
float PlateImage::insideDepth(float px, float py) const
{
    const float radius = cornerRadius * f;
    float qx = std::fabs(px - w / 2.0f) - (w / 2.0f - radius);
    float qy = std::fabs(py - h / 2.0f) - (h / 2.0f - radius);
    float outside = std::hypot(std::max(qx, 0.0f), std::max(qy, 0.0f));
    float inner = std::min(std::max(qx, qy), 0.0f);
    return radius - (outside + inner);
}

// The glass is drawn in the coordinates of the 240 by 90 plate: a pixel of
// the larger image takes the glass at its centre there.
QRgb PlateImage::glassPixel(int x, int y) const
{
    const float px = (x + 0.5f) / f;
    const float py = (y + 0.5f) / f;
    float row = qBound(float(gradientTop), py - 0.5f, float(gradientBottom));
    float step = (greyTop - greyBottom) / (gradientBottom - gradientTop);
    float grey = greyTop - (row - gradientTop) * step;
    float alpha = py < height / 2 ? alphaUpper : alphaLower;

    // Bevel: 1 right next to the rim, falling to 0 at the bevel's inner end.
    float glassStart = rimWidth + 1.0f;
    float fromSide = std::min(px, width - px) - glassStart;
    float fromTop = py - glassStart;
    float fromBottom = height - py - glassStart;
    float side = clamp01((bevelWidth - std::min(fromSide, fromBottom)) / bevelWidth);
    float top = clamp01((bevelWidth - fromTop) / bevelWidth);
    float darken = std::max(side * sideDarken, top * topDarken);
    float thicken = std::max(side * sideAlpha, top * topAlpha);

    float band = diagonalBand(px, py);
    grey = grey * (1.0f - darken) + band * bandGrey;
    alpha = alpha + thicken + band * bandAlpha;
    int g = qBound(0, qRound(grey), 255);
    return qRgba(g, g, g, qBound(0, qRound(alpha), 255));
}

// A faint lighter stripe that leans to the right, in the plate's right half,
// with soft 3-pixel edges.
float PlateImage::diagonalBand(float px, float py)
{
    float s = px + 0.4f * py;
    const float start = 186.0f;
    const float end = 212.0f;
    const float soft = 3.0f;
    return std::min(clamp01((s - start) / soft), clamp01((end - s) / soft));
}

QRgb PlateImage::blend(QRgb glass, const QColor& rim, float rimWeight, float coverage)
{
    float glassAlpha = qAlpha(glass) / 255.0f * (1.0f - rimWeight);
    float alpha = rimWeight + glassAlpha;
    if (alpha <= 0.0f || coverage <= 0.0f)
        return qRgba(0, 0, 0, 0);
    auto mix = [&](int rimChannel, int glassChannel) {
        return qBound(0, qRound((rimChannel * rimWeight + glassChannel * glassAlpha) / alpha), 255);
    };
    int a = qBound(0, qRound(alpha * coverage * 255.0f), 255);
    return qRgba(mix(rim.red(), qRed(glass)), mix(rim.green(), qGreen(glass)),
                 mix(rim.blue(), qBlue(glass)), a);
}
