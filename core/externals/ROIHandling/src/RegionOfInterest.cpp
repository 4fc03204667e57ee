// SPDX-License-Identifier: Apache-2.0
#include "RegionOfInterest.h"

#include <algorithm>
#include <cmath>

#include "ALErrorHandling.h"
#include "ALMath.h"

namespace {

constexpr char_t kSourceFile[] = "core/externals/ROIHandling/src/RegionOfInterest";

/** Rectangles turned by less than this, in radians, are drawn parallel to the axes. */
constexpr float32_t kSmallestRotation = 0.0001F;
/** Edges with a smaller determinant count as parallel, or as horizontal. */
constexpr double kParallel = 1e-8;

/** The points of a polygon, the last joined to the first. */
struct Outline {
    explicit Outline(const ROIPolygon& polygon) noexcept
        : points(polygon.points2D),
          count(static_cast<int32_t>(
              std::min(polygon.noPoints, static_cast<uint32_t>(std::size(polygon.points2D))))) {}

    const AlgoPoint2D& last() const noexcept { return points[count - 1]; }
    const AlgoPoint2D& after(int32_t i) const noexcept { return points[i + 1 < count ? i + 1 : 0]; }

    const AlgoPoint2D* points;
    int32_t count;
};

AlgoPoint2D difference(const AlgoPoint2D& a, const AlgoPoint2D& b) noexcept {
    return {a.x - b.x, a.y - b.y};
}

int32_t windingNumber(const Outline& outline, const AlgoPoint2D& p) noexcept {
    if (outline.count == 0) {
        return 0;
    }
    int32_t wind = 0;
    AlgoPoint2D lastpoint = outline.last();
    for (int32_t i = 0; i < outline.count; ++i) {
        const AlgoPoint2D& q = outline.points[i];
        // Twice the signed area of the triangle of edge and point. The sign tells the point's side.
        const float32_t t = (p.x - q.x) * (lastpoint.y - p.y) + (q.y - p.y) * (lastpoint.x - p.x);
        if (p.y >= lastpoint.y) {
            wind += t > 0.0F && q.y > p.y ? 1 : 0;
        } else if (p.y < lastpoint.y) {
            wind -= t < 0.0F && q.y <= p.y ? 1 : 0;
        }
        lastpoint = q;
    }
    return wind;
}

bool inEllipse(const ROIEllipse& ellipse, float32_t cosine, float32_t sine, const AlgoPoint2D& p) noexcept {
    const float32_t dx = p.x - ellipse.center.x;
    const float32_t dy = p.y - ellipse.center.y;
    const float32_t u = cosine * dx + sine * dy;
    const float32_t v = sine * dx - cosine * dy;
    const float32_t minor = ellipse.lengthMinorAxis / 2.0F;
    const float32_t major = ellipse.lengthMajorAxis / 2.0F;
    return v * v / (minor * minor) + u * u / (major * major) <= 1.0F;
}

bool outOfImage(const Outline& outline, int32_t width, int32_t height) noexcept {
    const auto w = static_cast<float32_t>(width);
    const auto h = static_cast<float32_t>(height);
    return std::any_of(outline.points, outline.points + outline.count, [w, h](const AlgoPoint2D& p) {
        return p.x < 0.0F || p.x >= w || p.y < 0.0F || p.y >= h;
    });
}

/** How an outline turns from edge to edge. */
struct Turning {
    int32_t wind;           ///< full turns
    bool changesDirection;  ///< it turns both ways: concave
};

Turning turningOf(const Outline& outline) noexcept {
    Turning turning = {0, false};
    if (outline.count == 0) {
        return turning;
    }
    float32_t crsp = 0.0F;
    AlgoPoint2D previous = difference(outline.points[0], outline.last());
    for (int32_t i = 0; i < outline.count; ++i) {
        const AlgoPoint2D edge = difference(outline.after(i), outline.points[i]);
        const float32_t crs = previous.x * edge.y - edge.x * previous.y;
        if (crs * crsp < 0.0F) {
            turning.changesDirection = true;
        }
        if (previous.y > 0.0F) {
            turning.wind -= crs < 0.0F && edge.y <= 0.0F ? 1 : 0;
        } else {
            turning.wind += crs > 0.0F && edge.y > 0.0F ? 1 : 0;
        }
        if (crs != 0.0F) {
            crsp = crs;
        }
        previous = edge;
    }
    return turning;
}

/** Whether the edges a to b and c to d have a point in common; parallel ones never do. */
bool edgesCross(const AlgoPoint2D& a, const AlgoPoint2D& b, const AlgoPoint2D& c,
                const AlgoPoint2D& d) noexcept {
    const float32_t denom = (c.y - d.y) * (a.x - b.x) + (d.x - c.x) * (a.y - b.y);
    if (!(std::fabs(static_cast<double>(denom)) >= kParallel)) {
        return false;
    }
    const float32_t t1 = ((c.y - d.y) * (c.x - b.x) + (c.x - d.x) * (b.y - c.y)) / denom;
    const float32_t t2 = ((b.y - c.y) * (b.x - a.x) + (b.x - c.x) * (a.y - b.y)) / denom;
    return t1 >= 0.0F && t1 <= 1.0F && t2 >= 0.0F && t2 <= 1.0F;
}

bool cutsItself(const Outline& outline) noexcept {
    const int32_t n = outline.count;
    for (int32_t i = 0; i + 1 < n; ++i) {
        for (int32_t j = i + 2; j < n; ++j) {
            if (i == 0 && j == n - 1) {
                continue;  // the first edge and the last are neighbours
            }
            if (edgesCross(outline.points[i], outline.after(i), outline.points[j], outline.after(j))) {
                return true;
            }
        }
    }
    return false;
}

int32_t simplicity(const Outline& outline) noexcept {
    const Turning turning = turningOf(outline);
    if (turning.wind != 1 && turning.wind != -1) {
        return 0;
    }
    if (!turning.changesDirection) {
        return turning.wind;
    }
    return cutsItself(outline) ? 0 : 2 * turning.wind;
}

/** Counts the crossings of one edge with the centres of the lines of the image. */
void countCrossings(const AlgoPoint2D& last, const AlgoPoint2D& current, int32_t width, int32_t height,
                    uint8_t* corners) noexcept {
    const bool downwards = last.y < current.y;
    const AlgoPoint2D& point1 = downwards ? last : current;
    const AlgoPoint2D& point2 = downwards ? current : last;
    const auto w = static_cast<float32_t>(width);
    const float32_t denom = (point1.y - point2.y) * w;
    if (std::fabs(static_cast<double>(denom)) < kParallel) {
        return;
    }
    const int64_t pixelCount = int64_t{width} * height;
    const int32_t first = std::max(al_truncate(al_floor(point1.y + 0.5F)), 0);
    const int32_t end = std::min(al_truncate(al_floor(point2.y + 0.5F)), height);
    for (int32_t y = first; y < end; ++y) {
        const float32_t xf = (-w * (point1.x * point2.y - point1.y * point2.x) +
                              (static_cast<float32_t>(y) + 0.5F) * (point1.x - point2.x) * w) *
                             (1.0F / denom);
        const float32_t f = al_floor(xf);
        const int64_t column = int64_t{al_truncate(f)} + (f < xf - 0.5F ? 1 : 0);
        // Column `width` is the first pixel of the next line: the crossing lies in the line's last half
        // pixel.
        const int64_t pixel = int64_t{y} * width + column;
        if (pixel >= 0 && pixel < pixelCount) {
            ++corners[pixel];
        }
    }
}

void fillBetweenCrossings(const Outline& outline, int32_t id, int32_t width, int32_t height, uint64_t* mask,
                          uint8_t* corners) noexcept {
    if (outline.count == 0 || width < 1 || height < 1) {
        return;
    }
    const AlgoPoint2D* last = &outline.last();
    for (int32_t i = 0; i < outline.count; ++i) {
        countCrossings(*last, outline.points[i], width, height, corners);
        last = &outline.points[i];
    }
    const uint64_t bit = uint64_t{1} << id;
    for (int32_t y = 0; y < height; ++y) {
        const int64_t line = int64_t{y} * width;
        bool inside = false;
        for (int32_t x = 0; x < width; ++x) {
            const uint8_t crossings = corners[line + x];
            if ((crossings & 1) != 0) {
                inside = !inside;
            }
            // Two crossings in a pixel leave `inside` as it was; the pixel itself still counts.
            if (inside || (crossings & 2) != 0) {
                mask[line + x] |= bit;
            }
        }
    }
}

/** Sets the bit wherever `contains` the pixel's centre. */
template <class Contains>
void fillWhere(int32_t id, int32_t width, int32_t height, uint64_t* mask, Contains contains) noexcept {
    if (width < 1) {
        return;  // an image without columns needs no walk over its lines
    }
    const uint64_t bit = uint64_t{1} << id;
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            if (contains(AlgoPoint2D{static_cast<float32_t>(x) + 0.5F, static_cast<float32_t>(y) + 0.5F})) {
                mask[y * width + x] |= bit;
            }
        }
    }
}

bool idsAreValidAndUnique(const RegionsOfInterest& regions, uint32_t count) noexcept {
    uint64_t idcheck = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const ROIItem& item = regions.ROIs[i];
        if (item.type == ROITypeInvalid) {
            continue;
        }
        if (item.ID < 0 || item.ID >= kMaxRegions || (idcheck >> item.ID & 1) != 0) {
            return false;
        }
        idcheck |= uint64_t{1} << item.ID;
    }
    return true;
}

void turnRectangleIntoPolygon(ROIItem& item) noexcept {
    const ROIRectangle& rectangle = item.rectangle;
    const float32_t hw = rectangle.width * 0.5F;
    const float32_t hh = rectangle.height * 0.5F;
    const AlgoPoint2D corners[] = {{-hw, -hh}, {hw, -hh}, {hw, hh}, {-hw, hh}};
    const bool rotated = al_fabsf(rectangle.angle) > kSmallestRotation;
    const float32_t sa = al_sinf(rectangle.angle);
    const float32_t ca = al_cosf(rectangle.angle);
    for (size_t i = 0; i < std::size(corners); ++i) {
        AlgoPoint2D p = corners[i];
        if (rotated) {
            p = {ca * p.x - sa * p.y, sa * p.x + ca * p.y};
        }
        item.polygon.points2D[i] = {p.x + rectangle.center.x, p.y + rectangle.center.y};
    }
    item.polygon.noPoints = static_cast<uint32_t>(std::size(corners));
    item.type = ROITypePolygon;
}

void drawEllipse(const ROIItem& item, int32_t width, int32_t height, uint64_t* mask) noexcept {
    const ROIEllipse& ellipse = item.ellipse;
    const float32_t cosine = al_cosf(ellipse.angle);
    const float32_t sine = al_sinf(ellipse.angle);
    fillWhere(item.ID, width, height, mask,
              [&](const AlgoPoint2D& p) { return inEllipse(ellipse, cosine, sine, p); });
}

void drawPolygon(const ROIItem& item, uint32_t region, int32_t width, int32_t height, uint8_t* corners,
                 RegionOfInterestOutput& output) noexcept {
    const Outline outline(item.polygon);
    const bool complex = simplicity(outline) == 0;
    const bool outOfBounds = outOfImage(outline, width, height);
    output.polygonComplex[region] = complex ? 1 : 0;
    output.polygonOutOfBounds[region] = outOfBounds ? 1 : 0;
    if (complex || outOfBounds) {
        fillWhere(item.ID, width, height, output.mask,
                  [&](const AlgoPoint2D& p) { return windingNumber(outline, p) != 0; });
        return;
    }
    std::fill_n(corners, kPixelCount, uint8_t{0});
    fillBetweenCrossings(outline, item.ID, width, height, output.mask, corners);
}

}  // namespace

int32_t RegionOfInterest_Apply(const RegionOfInterestInput* input, RegionOfInterestScratch* scratch,
                               RegionOfInterestOutput* output) noexcept {
    if (input == nullptr || scratch == nullptr || output == nullptr) {
        return reportFailure(kSourceFile);
    }
    const int32_t width = input->width;
    const int32_t height = input->height;
    std::fill_n(output->mask, kPixelCount, uint64_t{0});
    const uint32_t count = std::min(input->regions.noROIs, static_cast<uint32_t>(kMaxRegions));
    if (!idsAreValidAndUnique(input->regions, count)) {
        return reportFailure(kSourceFile);
    }
    if (width > 0 && height > 0 && int64_t{width} * height > kPixelCount) {
        return reportFailure(kSourceFile);
    }
    scratch->regions = input->regions;
    for (uint32_t i = 0; i < count; ++i) {
        ROIItem& item = scratch->regions.ROIs[i];
        if (item.type == ROITypeRectangle) {
            turnRectangleIntoPolygon(item);
        }
        if (item.type == ROITypePolygon) {
            drawPolygon(item, i, width, height, scratch->corners, *output);
        } else if (item.type == ROITypeEllipse) {
            drawEllipse(item, width, height, output->mask);
        }
    }
    output->width = width;
    output->height = height;
    return 0;
}

int32_t polywind(ROIPolygon polygon, AlgoPoint2D point) noexcept {
    return windingNumber(Outline(polygon), point);
}

int32_t point_in_ellipse(ROIEllipse ellipse, AlgoPoint2D point) noexcept {
    return inEllipse(ellipse, al_cosf(ellipse.angle), al_sinf(ellipse.angle), point) ? 1 : 0;
}

int32_t ispolyoutofimagebounds(ROIPolygon polygon, int32_t width, int32_t height) noexcept {
    return outOfImage(Outline(polygon), width, height) ? 1 : 0;
}

int32_t ispolysimple(ROIPolygon polygon) noexcept {
    return simplicity(Outline(polygon));
}

void edgeflag(ROIPolygon polygon, int32_t id, int32_t width, int32_t height, uint64_t* mask,
              uint8_t* corners) noexcept {
    if (id >= 0 && id < kMaxRegions) {
        fillBetweenCrossings(Outline(polygon), id, width, height, mask, corners);
    }
}
