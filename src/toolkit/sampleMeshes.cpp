// Generated meshes: an octahedron split and pushed onto a bumpy sphere, and damage done to it. All choices come from
// a splitmix64 stream of the seed, so that a mesh can be named by its seed.

#include "toolkit/sampleMeshes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <numbers>
#include <utility>
#include <vector>

namespace trimora {

namespace {

using Position = std::array<double, 3>;
using Corners = std::array<int, 3>;
using Soup = std::vector<std::array<Position, 3>>;

class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() {
        state_ += 0x9E3779B97F4A7C15ull;
        std::uint64_t z = state_;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }

    double real(double low, double high) {
        return low + (high - low) * static_cast<double>(next() >> 11) * 0x1.0p-53;
    }

    std::size_t index(std::size_t count) { return static_cast<std::size_t>(next() % count); }

    Position direction() {
        double const z = real(-1.0, 1.0);
        double const turn = real(0.0, 2.0 * std::numbers::pi);
        double const r = std::sqrt(1.0 - z * z);
        return {r * std::cos(turn), r * std::sin(turn), z};
    }

private:
    std::uint64_t state_;
};

double dot(Position const& a, Position const& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

Position scaled(Position const& a, double factor) {
    return {a[0] * factor, a[1] * factor, a[2] * factor};
}

Position sum(Position const& a, Position const& b) {
    return {a[0] + b[0], a[1] + b[1], a[2] + b[2]};
}

Position unit(Position const& a) {
    return scaled(a, 1.0 / std::sqrt(dot(a, a)));
}

struct Surface {
    std::vector<Position> points;
    std::vector<Corners> triangles;
};

// The new vertices on the edges of one splitting pass.
class EdgeMiddles {
public:
    explicit EdgeMiddles(Surface& surface) : surface_(surface) {}

    int of(int a, int b) {
        auto const [found, isNew] =
            middles_.try_emplace(std::minmax(a, b), static_cast<int>(surface_.points.size()));
        if (isNew) {
            Position const middle = sum(surface_.points[static_cast<std::size_t>(a)],
                                        surface_.points[static_cast<std::size_t>(b)]);
            surface_.points.push_back(unit(middle));
        }
        return found->second;
    }

private:
    Surface& surface_;
    std::map<std::pair<int, int>, int> middles_;
};

void split(Surface& surface) {
    EdgeMiddles middles(surface);
    std::vector<Corners> parts;
    parts.reserve(4 * surface.triangles.size());
    for (auto const& [a, b, c] : surface.triangles) {
        int const ab = middles.of(a, b);
        int const bc = middles.of(b, c);
        int const ca = middles.of(c, a);
        parts.insert(parts.end(), {{a, ab, ca}, {ab, b, bc}, {ca, bc, c}, {ab, bc, ca}});
    }
    surface.triangles = std::move(parts);
}

Surface unitSphere(int levels) {
    Surface surface;
    surface.points = {{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}};
    surface.triangles = {{0, 2, 4}, {2, 1, 4}, {1, 3, 4}, {3, 0, 4},
                         {2, 0, 5}, {1, 2, 5}, {3, 1, 5}, {0, 3, 5}};
    for (int level = 0; level < levels; ++level)
        split(surface);
    return surface;
}

// Bumps of falling size: low ones give the head, high ones the grain of a scan.
class Bumps {
public:
    explicit Bumps(Random& random) {
        for (int i = 0; i < 24; ++i) {
            double const frequency = 2.0 * std::pow(1.25, i);
            waves_.push_back({random.direction(), frequency, 0.25 / frequency,
                              random.real(0.0, 2.0 * std::numbers::pi)});
        }
    }

    double radius(Position const& direction) const {
        double r = 0.85;
        for (Wave const& wave : waves_)
            r += wave.height * std::sin(wave.frequency * dot(direction, wave.axis) + wave.phase);
        return r;
    }

private:
    struct Wave {
        Position axis;
        double frequency;
        double height;
        double phase;
    };
    std::vector<Wave> waves_;
};

Surface bumpySphere(int levels, Random& random) {
    Surface surface = unitSphere(levels);
    Bumps const bumps(random);
    for (Position& point : surface.points)
        point = scaled(point, bumps.radius(point));
    return surface;
}

koGeom::CompactMesh toMesh(Surface const& surface) {
    koGeom::CompactMesh mesh(static_cast<int>(surface.points.size()), nullptr, nullptr, nullptr,
                             nullptr);
    float* out = mesh.getVerticesRaw();
    for (Position const& point : surface.points)
        out = std::transform(point.begin(), point.end(), out,
                             [](double x) { return static_cast<float>(x); });
    mesh.copyTriangles(static_cast<int>(surface.triangles.size()),
                       surface.triangles.data()->data());
    return mesh;
}

// Where a hole is cut or a patch turned over: all within an angle of a direction.
struct Patch {
    Position axis;
    double cosine;

    bool holds(std::array<Position, 3> const& corners) const {
        Position const middle = unit(sum(corners[0], sum(corners[1], corners[2])));
        return dot(middle, axis) > cosine;
    }
};

std::vector<Patch> makePatches(int count, double minAngle, double maxAngle, Random& random) {
    std::vector<Patch> patches;
    for (int i = 0; i < count; ++i) {
        Position const axis = random.direction();
        patches.push_back({axis, std::cos(random.real(minAngle, maxAngle))});
    }
    return patches;
}

bool inAny(std::vector<Patch> const& patches, std::array<Position, 3> const& corners) {
    return std::any_of(patches.begin(), patches.end(),
                       [&corners](Patch const& patch) { return patch.holds(corners); });
}

Soup toSoup(Surface const& surface) {
    Soup soup;
    for (Corners const& corners : surface.triangles) {
        soup.push_back({surface.points[static_cast<std::size_t>(corners[0])],
                        surface.points[static_cast<std::size_t>(corners[1])],
                        surface.points[static_cast<std::size_t>(corners[2])]});
    }
    return soup;
}

void cutHolesAndTurnPatches(Soup& soup, Random& random) {
    std::vector<Patch> const holes = makePatches(4, 0.08, 0.22, random);
    std::vector<Patch> const turned = makePatches(5, 0.15, 0.40, random);
    std::erase_if(soup, [&holes](auto const& corners) { return inAny(holes, corners); });
    for (auto& corners : soup) {
        if (inAny(turned, corners))
            std::swap(corners[1], corners[2]);
    }
}

void doubleAndCollapse(Soup& soup, Random& random) {
    std::size_t const count = soup.size();
    for (std::size_t i = 0; i < count / 200 + 1; ++i) {
        auto const& doubled = soup[random.index(count)];
        soup.push_back({doubled[1], doubled[2], doubled[0]});
        auto const& base = soup[random.index(count)];
        soup.push_back({base[0], base[1], base[1]});
    }
}

void addFinAndBowTie(Soup& soup, Random& random) {
    auto const edge = soup[random.index(soup.size() / 2)];
    Position const tip = scaled(sum(edge[0], edge[1]), 0.5 * 1.15);
    soup.push_back({edge[0], edge[1], tip});

    Position const touch = soup[soup.size() / 3][0];
    Position const a = sum(scaled(touch, 1.25), {0.06, 0.0, 0.0});
    Position const b = sum(scaled(touch, 1.25), {-0.03, 0.05, 0.0});
    Position const c = sum(scaled(touch, 1.25), {-0.03, -0.05, 0.04});
    soup.insert(soup.end(), {{touch, b, a}, {touch, a, c}, {touch, c, b}, {a, b, c}});
}

void addMoebiusStrip(Soup& soup) {
    constexpr int numSteps = 24;
    auto const rung = [](int step, double side) -> Position {
        double const turn = 2.0 * std::numbers::pi * step / numSteps;
        double const r = 0.35 + side * std::cos(0.5 * turn);
        return {r * std::cos(turn), r * std::sin(turn), 1.7 + side * std::sin(0.5 * turn)};
    };
    for (int step = 0; step < numSteps; ++step) {
        Position const a = rung(step, -0.12);
        Position const b = rung(step, 0.12);
        bool const last = step + 1 == numSteps;  // after one turn the two sides have changed places
        Position const c = last ? rung(0, 0.12) : rung(step + 1, -0.12);
        Position const d = last ? rung(0, -0.12) : rung(step + 1, 0.12);
        soup.insert(soup.end(), {{a, c, d}, {a, d, b}});
    }
}

}  // namespace

koGeom::CompactMesh makeScan(int levels, std::uint64_t seed) {
    Random random(seed);
    return toMesh(bumpySphere(std::clamp(levels, 0, 10), random));
}

koGeom::CompactMesh makeDamagedScan(int levels, std::uint64_t seed) {
    Random random(seed);
    Soup soup = toSoup(bumpySphere(std::clamp(levels, 2, 10), random));
    cutHolesAndTurnPatches(soup, random);
    doubleAndCollapse(soup, random);
    addFinAndBowTie(soup, random);
    addMoebiusStrip(soup);

    Surface damaged;
    for (auto const& corners : soup) {
        int const first = static_cast<int>(damaged.points.size());
        damaged.points.insert(damaged.points.end(), corners.begin(), corners.end());
        damaged.triangles.push_back({first, first + 1, first + 2});
    }
    return toMesh(damaged);
}

}  // namespace trimora
