#include "LineRaster.h"

#include <QtAlgorithms>

#include <algorithm>
#include <cmath>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {
// Columns kept left of the layer for ink that starts before its edge: the
// running sum of a row must begin where the outline does.
constexpr int leftPad = 4;
// Cells per bit of the touched mask: a row's sweep skips the blocks that no
// edge reached, where the coverage is that of the block before.
constexpr uint blockCells = 4;

// The four channels of a premultiplied pixel times alpha / 255, two at a time.
inline QRgb scaled(QRgb pixel, uint alpha)
{
    if (alpha >= 255u) {
        return pixel;
    }
    uint low = (pixel & 0x00ff00ffu) * alpha + 0x00800080u;
    low = ((low + ((low >> 8) & 0x00ff00ffu)) >> 8) & 0x00ff00ffu;
    uint high = ((pixel >> 8) & 0x00ff00ffu) * alpha + 0x00800080u;
    high = (high + ((high >> 8) & 0x00ff00ffu)) & 0xff00ff00u;
    return low | high;
}

// A premultiplied source over what lies below it.
inline QRgb blended(QRgb source, QRgb below)
{
    const uint rest = 255u - qAlpha(source);
    return rest == 0u ? source : source + scaled(below, rest);
}

// The coverage of a running sum, non-zero rule, in 256 levels.
inline uint alphaOf(float sum)
{
    return uint(std::min(std::abs(sum), 1.0f) * 255.0f + 0.5f);
}

#ifdef __SSE2__
// Each channel of eight 16-bit lanes times alpha / 255, rounded as scaled()
// rounds: products and sums stay below 65536.
inline __m128i scaledLanes(__m128i channels, __m128i alpha)
{
    const __m128i t = _mm_add_epi16(_mm_mullo_epi16(channels, alpha), _mm_set1_epi16(0x80));
    return _mm_srli_epi16(_mm_add_epi16(t, _mm_srli_epi16(t, 8)), 8);
}

// Two pixels of the source over two below, in 16-bit lanes.
inline __m128i blendedLanes(__m128i colour, __m128i alpha, __m128i below)
{
    const __m128i source = scaledLanes(colour, alpha);
    const __m128i sourceAlpha = _mm_shufflehi_epi16(
        _mm_shufflelo_epi16(source, _MM_SHUFFLE(3, 3, 3, 3)), _MM_SHUFFLE(3, 3, 3, 3));
    const __m128i rest = _mm_sub_epi16(_mm_set1_epi16(255), sourceAlpha);
    return _mm_add_epi16(source, scaledLanes(below, rest));
}

// A block of four cells inside the layer: adds them to the running sum,
// empties them, and blends the four coverages over the four pixels, exactly
// as the loop of single pixels does. Returns whether any pixel took ink.
inline bool sweepBlock(float* cells, QRgb* pixels, QRgb premultiplied, float& sum)
{
    __m128 running = _mm_loadu_ps(cells);
    _mm_storeu_ps(cells, _mm_setzero_ps());
    running = _mm_add_ps(running, _mm_castsi128_ps(_mm_slli_si128(_mm_castps_si128(running), 4)));
    running = _mm_add_ps(running, _mm_castsi128_ps(_mm_slli_si128(_mm_castps_si128(running), 8)));
    running = _mm_add_ps(running, _mm_set1_ps(sum));
    sum = _mm_cvtss_f32(_mm_shuffle_ps(running, running, _MM_SHUFFLE(3, 3, 3, 3)));
    const __m128 magnitude = _mm_andnot_ps(_mm_set1_ps(-0.0f), running);
    const __m128 level =
        _mm_add_ps(_mm_mul_ps(_mm_min_ps(magnitude, _mm_set1_ps(1.0f)), _mm_set1_ps(255.0f)),
                   _mm_set1_ps(0.5f));
    const __m128i alpha = _mm_cvttps_epi32(level);
    if (_mm_movemask_epi8(_mm_cmpeq_epi32(alpha, _mm_setzero_si128())) == 0xffff) {
        return false;
    }
    const __m128i zero = _mm_setzero_si128();
    const __m128i colour = _mm_unpacklo_epi8(_mm_set1_epi32(int(premultiplied)), zero);
    const __m128i words = _mm_packs_epi32(alpha, alpha);
    const __m128i pairs = _mm_unpacklo_epi16(words, words);
    const __m128i below = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixels));
    const __m128i low =
        blendedLanes(colour, _mm_unpacklo_epi32(pairs, pairs), _mm_unpacklo_epi8(below, zero));
    const __m128i high =
        blendedLanes(colour, _mm_unpackhi_epi32(pairs, pairs), _mm_unpackhi_epi8(below, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(pixels), _mm_packus_epi16(low, high));
    return true;
}
#endif
} // namespace

LineRaster::LineRaster()
    : bits(nullptr), bytesPerLine(0), width(0), height(0), stride(0), words(0), sweepTop(0),
      sweepBottom(-1), inkTop(0), inkBottom(-1)
{
}

void LineRaster::begin(QSize deviceSize, qreal ratio)
{
    if (image.size() != deviceSize) {
        image = QImage(deviceSize, QImage::Format_ARGB32_Premultiplied);
        width = deviceSize.width();
        height = deviceSize.height();
        // Whole blocks to a row, so that a block is swept as one vector.
        stride = int((uint(width + 2 * leftPad + 2) + blockCells - 1u) / blockCells * blockCells);
        area.assign(size_t(stride) * size_t(height), 0.0f);
        words = int((uint(stride) + blockCells * 64u - 1u) / (blockCells * 64u));
        touched.assign(size_t(height) * size_t(words), 0);
        image.fill(0);
        inkTop = height;
        inkBottom = -1;
    }
    image.setDevicePixelRatio(ratio);
    bits = image.bits();
    bytesPerLine = size_t(image.bytesPerLine());
    // Only the rows that the last series left ink in need clearing.
    for (int row = inkTop; row <= inkBottom; ++row) {
        std::fill_n(reinterpret_cast<QRgb*>(bits + size_t(row) * bytesPerLine), width, QRgb(0));
    }
    sweepTop = height;
    sweepBottom = -1;
    inkTop = height;
    inkBottom = -1;
}

void LineRaster::addPolyline(const QPointF* points, int count, double penWidth)
{
    // One closed outline: the right side forward, the square cap at the end,
    // the other side backward, the square cap at the start.
    const double half = penWidth / 2.0;
    outline.resize(0);
    addSide(points, count, 1, half);
    if (outline.isEmpty()) {
        return;
    }
    const QPointF endCap = lastDirection * half;
    const QPointF end = points[count - 1];
    outline.append(outline.last() + endCap);
    outline.append(end + QPointF(-lastDirection.y(), lastDirection.x()) * half + endCap);
    addSide(points, count, -1, half);
    const QPointF startCap = lastDirection * half;
    outline.append(outline.last() + startCap);
    outline.append(outline.first() + startCap);
    for (int i = 1; i < outline.size(); ++i) {
        addEdge(outline.at(i - 1), outline.at(i));
    }
    addEdge(outline.last(), outline.first());
}

void LineRaster::addSide(const QPointF* points, int count, int direction, double half)
{
    // One side of the stroke, offset to the right of the direction of
    // travel. Where the line turns towards this side the offset lines cross;
    // the side then goes through the corner itself, as Qt's stroker does, and
    // the non-zero rule covers the overlap once. On the outer side a straight
    // line joins the two offset ends: the bevel.
    auto at = [&](int i) { return direction > 0 ? points[i] : points[count - 1 - i]; };
    bool first = true;
    QPointF previous = at(0);
    for (int i = 1; i < count; ++i) {
        const QPointF next = at(i);
        const QPointF delta = next - previous;
        // The points lie within the plot and its margin: the plain root neither
        // overflows nor loses precision, and costs a fraction of hypot().
        const double length = std::sqrt(delta.x() * delta.x() + delta.y() * delta.y());
        if (!(length > 0.0)) {
            continue;
        }
        const QPointF unit = delta / length;
        const QPointF offset(unit.y() * half, -unit.x() * half);
        if (!first && lastDirection.x() * unit.y() - lastDirection.y() * unit.x() < 0.0) {
            outline.append(previous);
        }
        first = false;
        outline.append(previous + offset);
        outline.append(next + offset);
        lastDirection = unit;
        previous = next;
    }
}

inline void LineRaster::touch(int row, int first, int last)
{
    // Cells are never left of 0, so shifts divide.
    quint64* mask = touched.data() + size_t(row) * size_t(words);
    const uint firstBlock = uint(first) / blockCells;
    const uint lastBlock = uint(last) / blockCells;
    // A piece of an edge nearly always reaches one block or two: their bits
    // are set without a loop, and a loop only fills in what lies between.
    mask[firstBlock >> 6] |= quint64(1) << (firstBlock & 63u);
    mask[lastBlock >> 6] |= quint64(1) << (lastBlock & 63u);
    for (uint block = firstBlock + 1; block < lastBlock; ++block) {
        mask[block >> 6] |= quint64(1) << (block & 63u);
    }
}

void LineRaster::addEdge(QPointF from, QPointF to)
{
    // The signed area that the edge adds to each cell it crosses, and the
    // rest of its height to the cell after it; a row's running sum then
    // gives each pixel's coverage. Rows outside the layer are skipped, and
    // the edge's ends are held within the padded columns.
    if (from.y() == to.y()) {
        return;
    }
    const bool downwards = from.y() < to.y();
    if (!downwards) {
        std::swap(from, to);
    }
    const double left = -leftPad;
    const double right = width + leftPad;
    const QPointF shift(leftPad, 0.0);
    from = QPointF(std::clamp(from.x(), left, right), from.y()) + shift;
    to = QPointF(std::clamp(to.x(), left, right), to.y()) + shift;
    const double slope = (to.x() - from.x()) / (to.y() - from.y());
    // Columns are at or right of 0 here, so truncation is the floor; rows
    // are held within the layer before they are rounded.
    const double top = std::max(from.y(), 0.0);
    const double bottom = std::min(to.y(), double(height));
    if (!(top < bottom)) {
        return;
    }
    const int firstRow = int(top);
    const int endRow = int(bottom) + (bottom > int(bottom) ? 1 : 0);
    // Single precision from here on: a few thousand pixels wide, it keeps
    // far finer steps than the 256 levels of the result.
    const float fromY = float(from.y());
    const float toY = float(to.y());
    const float step = float(slope);
    const float sign = downwards ? 1.0f : -1.0f;
    float x = float(from.x() + (firstRow > from.y() ? (firstRow - from.y()) * slope : 0.0));
    sweepTop = std::min(sweepTop, firstRow);
    sweepBottom = std::max(sweepBottom, endRow - 1);
    float* line = area.data() + size_t(firstRow) * size_t(stride);
    for (int row = firstRow; row < endRow; ++row, line += stride) {
        const float dy = std::min(float(row + 1), toY) - std::max(float(row), fromY);
        const float xNext = x + step * dy;
        const float d = dy * sign;
        const float x0 = std::min(x, xNext);
        const float x1 = std::max(x, xNext);
        const int x0i = int(x0);
        const int x1i = int(x1) + (x1 > float(int(x1)) ? 1 : 0);
        if (x1i <= x0i + 1) {
            const float middle = 0.5f * (x + xNext) - float(x0i);
            line[x0i] += d - d * middle;
            line[x0i + 1] += d * middle;
        } else {
            const float s = 1.0f / (x1 - x0);
            const float x0f = x0 - float(x0i);
            const float a0 = 0.5f * s * (1.0f - x0f) * (1.0f - x0f);
            const float x1f = x1 - float(x1i) + 1.0f;
            const float am = 0.5f * s * x1f * x1f;
            line[x0i] += d * a0;
            if (x1i == x0i + 2) {
                line[x0i + 1] += d * (1.0f - a0 - am);
            } else {
                const float a1 = s * (1.5f - x0f);
                line[x0i + 1] += d * (a1 - a0);
                for (int xi = x0i + 2; xi < x1i - 1; ++xi) {
                    line[xi] += d * s;
                }
                const float a2 = a1 + float(x1i - x0i - 3) * s;
                line[x1i - 1] += d * (1.0f - a2 - am);
            }
            line[x1i] += d * am;
        }
        touch(row, x0i, std::max(x1i, x0i + 1));
        x = xNext;
    }
}

void LineRaster::fill(const QColor& color)
{
    // Walks only the touched blocks of each touched row, and the stretches
    // between them that lie inside the line, and leaves the buffer empty for
    // the next series.
    const QRgb premultiplied = qPremultiply(color.rgba());
    for (int row = sweepTop; row <= sweepBottom; ++row) {
        quint64* mask = touched.data() + size_t(row) * size_t(words);
        float* cells = area.data() + size_t(row) * size_t(stride);
        QRgb* pixels = reinterpret_cast<QRgb*>(bits + size_t(row) * bytesPerLine) - leftPad;
        // Cells left of the layer and right of it carry the sum but take no ink.
        const int firstPixel = leftPad;
        const int endPixel = leftPad + width;
        float sum = 0.0f;
        int done = 0;
        bool inked = false;
        for (int word = 0; word < words; ++word) {
            while (mask[word] != 0) {
                const int block = word * 64 + int(qCountTrailingZeroBits(mask[word]));
                mask[word] &= mask[word] - 1;
                const int first = block * int(blockCells);
                const int end = std::min(first + int(blockCells), stride);
                if (const uint alpha = alphaOf(sum)) {
                    const QRgb source = scaled(premultiplied, alpha);
                    for (int i = std::max(done, firstPixel); i < std::min(first, endPixel); ++i) {
                        pixels[i] = blended(source, pixels[i]);
                    }
                    inked = true;
                }
#ifdef __SSE2__
                if (first >= firstPixel && end <= endPixel && end - first == int(blockCells)) {
                    inked = sweepBlock(cells + first, pixels + first, premultiplied, sum) || inked;
                    done = end;
                    continue;
                }
#endif
                for (int i = first; i < end; ++i) {
                    sum += cells[i];
                    cells[i] = 0.0f;
                    const uint alpha = alphaOf(sum);
                    if (alpha != 0 && i >= firstPixel && i < endPixel) {
                        pixels[i] = blended(scaled(premultiplied, alpha), pixels[i]);
                        inked = true;
                    }
                }
                done = end;
            }
        }
        if (inked) {
            inkTop = std::min(inkTop, row);
            inkBottom = std::max(inkBottom, row);
        }
    }
    sweepTop = height;
    sweepBottom = -1;
}
