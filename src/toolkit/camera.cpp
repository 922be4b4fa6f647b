// A corner (x, y, z) of the box, z towards the eye, is within the half width h of a picture plane at unit depth, from an eye
// shifted by s and at distance d, when |x - s| <= h (d - z): d >= (z + x / h) - s / h and d >= (z - x / h) + s / h. With A and B
// for the largest of the brackets, s = h (A - B) / 2 makes both bounds (A + B) / 2, which is the least distance. The same
// in y; the greater distance serves both.

#include "toolkit/camera.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <numbers>

namespace trimora {

namespace {

using koLinear::Point;
using koLinear::Vector;

constexpr double halfAngle = 15.0 * std::numbers::pi / 180.0;  // calm, as through a portrait lens

std::map<std::string, View> const namedViews = {
    {"front", {0.0, 0.0}}, {"back", {180.0, 0.0}},  {"right", {90.0, 0.0}},  {"left", {-90.0, 0.0}},
    {"top", {0.0, 90.0}},  {"iso", {45.0, 35.264}}, {"bottom", {0.0, -90.0}}};

std::optional<double> parseDegrees(char const* begin, char const* end) {
    double value = 0.0;
    auto const [stop, error] = std::from_chars(begin, end, value);
    bool const isWhole = error == std::errc() && stop == end && begin != end;
    return isWhole && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

/// Sines and cosines of right angles are exact, so that the six sides are seen straight.
struct Turn {
    double sine;
    double cosine;

    explicit Turn(double degrees) {
        double const rest = std::remainder(degrees, 360.0);
        double const radians = rest * std::numbers::pi / 180.0;
        sine = std::abs(rest) == 180.0 ? 0.0 : std::sin(radians);
        cosine = std::abs(rest) == 90.0 ? 0.0 : std::cos(radians);
    }
};

/// Towards the viewer is z and up is y; for the other up axis the front looks along y.
Vector turned(Vector const& v, UpAxis up) {
    return up == UpAxis::Y ? v : Vector(v.x, -v.z, v.y);
}

struct Reach {
    double plus = -1e300;   // the largest z + x / h
    double minus = -1e300;  // the largest z - x / h

    void add(double x, double z, double half) {
        plus = std::max(plus, z + x / half);
        minus = std::max(minus, z - x / half);
    }
    double distance() const { return 0.5 * (plus + minus); }
    double shift(double half) const { return 0.5 * half * (plus - minus); }
};

}  // namespace

std::optional<View> parseView(std::string const& text) {
    if (auto const named = namedViews.find(text); named != namedViews.end())
        return named->second;
    std::size_t const comma = text.find(',');
    if (comma == std::string::npos)
        return std::nullopt;
    char const* const begin = text.data();
    auto const azimuth = parseDegrees(begin, begin + comma);
    auto const elevation = parseDegrees(begin + comma + 1, begin + text.size());
    if (!azimuth || !elevation || std::abs(*elevation) > 90.0)
        return std::nullopt;
    return View{*azimuth, *elevation};
}

Camera fitCamera(koGeom::BoundingBox const& box, View const& view, UpAxis up, int width, int height,
                 double margin) {
    Turn const azimuth(view.azimuth);
    Turn const elevation(view.elevation);
    Camera camera;
    camera.width = width;
    camera.height = height;
    camera.centreX = 0.5 * width;
    camera.centreY = 0.5 * height;
    camera.up = turned({0.0, 1.0, 0.0}, up);
    camera.right = turned({azimuth.cosine, 0.0, -azimuth.sine}, up);
    camera.forward = turned(
        {-azimuth.sine * elevation.cosine, -elevation.sine, -azimuth.cosine * elevation.cosine},
        up);
    camera.down = cross(camera.forward, camera.right);
    double const shorter = std::min(width, height);
    camera.focal = 0.5 * shorter / std::tan(halfAngle);

    double const halfX = (0.5 * width - margin * shorter) / camera.focal;
    double const halfY = (0.5 * height - margin * shorter) / camera.focal;
    Point const low(box.min(0), box.min(1), box.min(2));
    Point const high(box.max(0), box.max(1), box.max(2));
    Point const middle = combine(low, high);
    Reach across;
    Reach along;
    double nearestCorner = 0.0;
    for (int corner = 0; corner < 8; ++corner) {
        Vector const way =
            Point((corner & 1) != 0 ? high.x : low.x, (corner & 2) != 0 ? high.y : low.y,
                  (corner & 4) != 0 ? high.z : low.z) -
            middle;
        double const z = -dot(way, camera.forward);
        across.add(dot(way, camera.right), z, halfX);
        along.add(dot(way, camera.down), z, halfY);
        nearestCorner = std::max(nearestCorner, z);
    }
    double distance = std::max(across.distance(), along.distance());
    if (!(distance > 0.0))
        distance = 1.0;  // a single point
    camera.eye = middle - camera.forward * distance + camera.right * across.shift(halfX) +
                 camera.down * along.shift(halfY);
    camera.nearest = std::max(1e-3 * (distance - nearestCorner), 1e-6 * distance);
    return camera;
}

}  // namespace trimora
