#include "support/damage.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>

namespace support {

using koGeom::CompactMesh;
using koGeom::MeshTriangle;
using koGeom::MeshVertex;

namespace {

/// A mesh as two lists, to be taken apart.
struct Lists {
    std::vector<MeshVertex> vertices;
    std::vector<MeshTriangle> triangles;

    explicit Lists(CompactMesh const& mesh)
        : vertices(mesh.getVertices(), mesh.getVertices() + mesh.getNumVertices()),
          triangles(mesh.getTriangles(), mesh.getTriangles() + mesh.getNumTriangles()) {}

    CompactMesh mesh() const {
        CompactMesh result(static_cast<int>(vertices.size()), vertices.data(), nullptr, nullptr,
                           nullptr);
        result.resizeTriangleArray(static_cast<int>(triangles.size()));
        std::copy(triangles.begin(), triangles.end(), result.getTriangles());
        return result;
    }
    int add(float x, float y, float z) {
        vertices.push_back({x, y, z});
        return static_cast<int>(vertices.size()) - 1;
    }
    int addCopy(int vertex) {
        MeshVertex const copy = at(vertex);
        vertices.push_back(copy);
        return static_cast<int>(vertices.size()) - 1;
    }
    void add(int a, int b, int c) {
        MeshTriangle triangle;
        triangle[0] = a;
        triangle[1] = b;
        triangle[2] = c;
        triangles.push_back(triangle);
    }
    MeshVertex& at(int vertex) { return vertices[static_cast<std::size_t>(vertex)]; }

    /// A share of the triangles, one at least where there are any.
    int share(int part) const {
        int const count = static_cast<int>(triangles.size());
        return count == 0 ? 0 : 1 + count / part;
    }
    MeshTriangle& any(Random& random) {
        return triangles[static_cast<std::size_t>(
            random.index(static_cast<int>(triangles.size())))];
    }
    int anyVertex(Random& random) {
        if (vertices.empty())
            return add(0.0f, 0.0f, 0.0f);
        return random.index(static_cast<int>(vertices.size()));
    }

    /// The largest extent, 1 of what has none, and the middle.
    float size() const {
        auto const [low, high] = box();
        float const largest = std::max({high[0] - low[0], high[1] - low[1], high[2] - low[2]});
        return largest > 0.0f && std::isfinite(largest) ? largest : 1.0f;
    }
    std::array<float, 3> middle() const {
        auto const [low, high] = box();
        return {0.5f * (low[0] + high[0]), 0.5f * (low[1] + high[1]), 0.5f * (low[2] + high[2])};
    }

private:
    std::pair<std::array<float, 3>, std::array<float, 3>> box() const {
        std::array<float, 3> low = {}, high = {};
        for (std::size_t i = 0; i < vertices.size(); ++i) {
            float const xyz[] = {vertices[i].x, vertices[i].y, vertices[i].z};
            for (std::size_t k = 0; k < 3; ++k) {
                low[k] = i == 0 ? xyz[k] : std::min(low[k], xyz[k]);
                high[k] = i == 0 ? xyz[k] : std::max(high[k], xyz[k]);
            }
        }
        return {low, high};
    }
};

float real(Random& random, double low, double high) {
    return static_cast<float>(random.real(low, high));
}

/// Between -1 and 1 each. Braces are worked out in their order, arguments in the compiler's.
std::array<float, 3> anyOffset(Random& random) {
    return {real(random, -1, 1), real(random, -1, 1), real(random, -1, 1)};
}

CompactMesh badIndices(CompactMesh const& mesh, Random& random) {
    Lists lists(mesh);
    int const count = mesh.getNumVertices();
    int const bad[] = {-1, count, count + 1, std::numeric_limits<int>::max(),
                       std::numeric_limits<int>::min()};
    if (lists.triangles.empty())
        lists.add(0, 1, 2);
    for (int i = lists.share(100); i > 0; --i)
        lists.any(random)[random.index(3)] = bad[random.index(5)];
    return lists.mesh();
}

CompactMesh duplicates(CompactMesh const& mesh, Random& random) {
    Lists lists(mesh);
    for (int i = lists.share(10); i > 0; --i) {
        MeshTriangle const t = lists.any(random);
        int const first = random.index(3);
        if (random.index(2) == 0)
            lists.add(t[first], t[(first + 1) % 3], t[(first + 2) % 3]);
        else
            lists.add(t[first], t[(first + 2) % 3], t[(first + 1) % 3]);
    }
    return lists.mesh();
}

CompactMesh flips(CompactMesh const& mesh, Random& random) {
    return flipped(mesh, 0.1, random.next());
}

CompactMesh edgeFan(CompactMesh const& mesh, Random& random) {
    Lists lists(mesh);
    int const a = lists.anyVertex(random);
    int const b = lists.triangles.empty() ? lists.add(1.0f, 0.0f, 0.0f) : lists.any(random)[0];
    MeshVertex const from = lists.at(a);
    for (int i = 0; i < 300; ++i) {
        float const reach = 0.5f * lists.size();
        auto const [x, y, z] = anyOffset(random);
        lists.add(a, b, lists.add(from.x + reach * x, from.y + reach * y, from.z + reach * z));
    }
    return lists.mesh();
}

CompactMesh bowTies(CompactMesh const& mesh, Random& random) {
    Lists lists(mesh);
    for (int i = std::min(lists.share(100), 50); i > 0; --i) {
        int const gone = lists.any(random)[0];
        int const kept = lists.any(random)[1];
        for (MeshTriangle& t : lists.triangles)
            for (int& v : t.vertices)
                v = v == gone ? kept : v;
    }
    return lists.mesh();
}

CompactMesh moebiusStrips(CompactMesh const& mesh, Random& random) {
    CompactMesh result = Lists(mesh).mesh();
    float const size = Lists(mesh).size();
    for (int i = 0; i < 3; ++i) {
        CompactMesh strip = moebius(5 + random.index(60));
        for (int v = 0; v < 3 * strip.getNumVertices(); ++v)
            strip.getVerticesRaw()[v] *= 0.2f * size;
        auto const [x, y, z] = anyOffset(random);
        result = joined(result, strip, size * x, size * y, size * z);
    }
    return result;
}

CompactMesh fins(CompactMesh const& mesh, Random& random) {
    Lists lists(mesh);
    for (int i = lists.share(20); i > 0; --i) {
        MeshTriangle const t = lists.any(random);
        MeshVertex const p = lists.at(t[0]);
        float const reach = 0.1f * lists.size();
        if (i % 64 == 1)  // two that share their tip, now and then
            lists.add(t[2], t[1], lists.addCopy(t[0]));
        auto const [x, y, z] = anyOffset(random);
        lists.add(t[0], t[1], lists.add(p.x + reach * x, p.y + reach * y, p.z + reach * z));
    }
    return lists.mesh();
}

/// Some triangles get corners of their own, a little off.
CompactMesh cracks(CompactMesh const& mesh, Random& random) {
    Lists lists(mesh);
    float const gap = 1e-4f * lists.size();
    for (int i = lists.share(10); i > 0; --i) {
        MeshTriangle& t = lists.any(random);
        for (int& v : t.vertices) {
            v = lists.addCopy(v);
            lists.vertices.back().x += gap * real(random, -1, 1);
            lists.vertices.back().y += gap * real(random, -1, 1);
        }
    }
    return lists.mesh();
}

/// A disk with a hole of many edges in it.
void addRing(Lists& lists, int numEdges, float radius) {
    int const first = static_cast<int>(lists.vertices.size());
    auto const middle = lists.middle();
    for (int i = 0; i < numEdges; ++i) {
        double const angle = 2.0 * std::numbers::pi * i / numEdges;
        for (float const r : {radius, 1.25f * radius})
            lists.add(middle[0] + r * static_cast<float>(std::cos(angle)),
                      middle[1] + r * static_cast<float>(std::sin(angle)), middle[2]);
    }
    for (int i = 0; i < numEdges; ++i) {
        int const a = first + 2 * i;
        int const b = first + 2 * ((i + 1) % numEdges);
        lists.add(a, a + 1, b + 1);
        lists.add(a, b + 1, b);
    }
}

/// Patches of all sizes round vertices are taken out, single triangles, and a ring is added that leaves a hole of 2000 edges.
CompactMesh holes(CompactMesh const& mesh, Random& random) {
    Lists lists(mesh);
    for (int i = std::min(lists.share(200), 40); i > 0 && lists.triangles.size() > 1; --i) {
        MeshVertex const p = lists.at(lists.any(random)[0]);
        float const radius = lists.size() * real(random, 0.0, 0.08);
        std::erase_if(lists.triangles, [&](MeshTriangle const& t) {
            MeshVertex const& q = lists.at(t[0]);
            return std::hypot(q.x - p.x, q.y - p.y, q.z - p.z) < radius;
        });
    }
    if (!lists.triangles.empty())
        lists.triangles.pop_back();
    addRing(lists, 2000, lists.size());
    return lists.mesh();
}

/// A corner moved to the side across, or next to it.
CompactMesh needles(CompactMesh const& mesh, Random& random) {
    Lists lists(mesh);
    for (int i = lists.share(20); i > 0; --i) {
        MeshTriangle const& t = lists.any(random);
        MeshVertex const a = lists.at(t[0]), b = lists.at(t[1]);
        float const share = real(random, 0.0, 1.0);
        float const off = random.index(2) == 0 ? 0.0f : 1e-6f * lists.size();
        lists.at(t[2]) = {a.x + share * (b.x - a.x), a.y + share * (b.y - a.y),
                          a.z + share * (b.z - a.z) + off};
    }
    return lists.mesh();
}

/// Some coordinates of some vertices become one of the values.
CompactMesh withValues(CompactMesh const& mesh, Random& random, std::vector<float> const& values) {
    Lists lists(mesh);
    for (int i = lists.share(100); i > 0; --i) {
        MeshVertex& p = lists.at(lists.anyVertex(random));
        float* const xyz[] = {&p.x, &p.y, &p.z};
        *xyz[random.index(3)] =
            values[static_cast<std::size_t>(random.index(static_cast<int>(values.size())))];
    }
    return lists.mesh();
}

CompactMesh nans(CompactMesh const& mesh, Random& random) {
    return withValues(mesh, random, {std::numeric_limits<float>::quiet_NaN()});
}

CompactMesh infinities(CompactMesh const& mesh, Random& random) {
    float const infinity = std::numeric_limits<float>::infinity();
    return withValues(mesh, random, {infinity, -infinity});
}

CompactMesh denormals(CompactMesh const& mesh, Random& random) {
    float const least = std::numeric_limits<float>::denorm_min();
    return withValues(mesh, random, {least, -least, 1e-40f, 1e-38f, -0.0f});
}

/// About the middle, at a given size.
CompactMesh scaledTo(CompactMesh const& mesh, double size) {
    Lists lists(mesh);
    auto const middle = lists.middle();
    double const scale = size / static_cast<double>(lists.size());
    for (MeshVertex& p : lists.vertices)
        p = {static_cast<float>(scale * (double(p.x) - double(middle[0]))),
             static_cast<float>(scale * (double(p.y) - double(middle[1]))),
             static_cast<float>(scale * (double(p.z) - double(middle[2])))};
    return lists.mesh();
}

CompactMesh tiny(CompactMesh const& mesh, Random&) {
    return scaledTo(mesh, 1e-30);
}

CompactMesh huge(CompactMesh const& mesh, Random&) {
    return scaledTo(mesh, 1e30);
}

CompactMesh onePoint(CompactMesh const& mesh, Random&) {
    Lists lists(mesh);
    std::fill(lists.vertices.begin(), lists.vertices.end(), MeshVertex{1.5f, -2.0f, 0.25f});
    return lists.mesh();
}

CompactMesh flat(CompactMesh const& mesh, Random&) {
    Lists lists(mesh);
    for (MeshVertex& p : lists.vertices)
        p.z = 0.0f;
    return lists.mesh();
}

/// Two hundred copies of the mesh, or of a part of it, in one place.
CompactMesh overlappingCopies(CompactMesh const& mesh, Random&) {
    constexpr std::size_t mostCopied = 250;
    Lists lists(mesh);
    std::vector<MeshTriangle> const part(
        lists.triangles.begin(),
        lists.triangles.begin() +
            static_cast<std::ptrdiff_t>(std::min(mostCopied, lists.triangles.size())));
    for (int copy = 1; copy < 200; ++copy)
        for (MeshTriangle const& t : part) {
            int const a = lists.addCopy(t[0]), b = lists.addCopy(t[1]);
            lists.add(a, b, lists.addCopy(t[2]));
        }
    return lists.mesh();
}

CompactMesh hugeFan(CompactMesh const& mesh, Random& random) {
    constexpr int numBlades = 100'000;
    Lists lists(mesh);
    int const hub = lists.anyVertex(random);
    MeshVertex const middle = lists.at(hub);
    float const radius = lists.size();
    int const first = static_cast<int>(lists.vertices.size());
    for (int i = 0; i < numBlades; ++i) {
        double const angle = 2.0 * std::numbers::pi * i / numBlades;
        lists.add(middle.x + radius * static_cast<float>(std::cos(angle)),
                  middle.y + radius * static_cast<float>(std::sin(angle)), middle.z);
    }
    for (int i = 0; i < numBlades; ++i)
        lists.add(hub, first + i, first + (i + 1) % numBlades);
    return lists.mesh();
}

/// In front of the used ones, between and behind; one is NaN.
CompactMesh unusedVertices(CompactMesh const& mesh, Random& random) {
    Lists lists(mesh);
    constexpr int numInFront = 100;
    for (MeshTriangle& t : lists.triangles)
        for (int& v : t.vertices)
            v += numInFront;
    std::vector<MeshVertex> const used = lists.vertices;
    lists.vertices.assign(numInFront, MeshVertex{3.0f, 4.0f, 5.0f});
    lists.vertices.insert(lists.vertices.end(), used.begin(), used.end());
    for (int i = 0; i < 1000; ++i) {
        auto const [x, y, z] = anyOffset(random);
        lists.add(x, y, z);
    }
    lists.vertices.back().y = std::numeric_limits<float>::quiet_NaN();
    return lists.mesh();
}

CompactMesh degenerates(CompactMesh const& mesh, Random& random) {
    Lists lists(mesh);
    for (int i = lists.share(20); i > 0; --i) {
        MeshTriangle& t = lists.any(random);
        int const a = random.index(3);
        int const b = (a + 1 + random.index(2)) % 3;
        if (random.index(3) == 0)
            lists.add(t[a], t[a], t[a]);
        else if (random.index(2) == 0)
            t[a] = t[b];
        else
            lists.add(t[a], t[b], lists.addCopy(t[a]));
    }
    return lists.mesh();
}

CompactMesh soups(CompactMesh const& mesh, Random& random) {
    return shuffled(soup(mesh), random.next());
}

/// Every vertex moved at random, by more than the mesh's edges are long.
CompactMesh crumpled(CompactMesh const& mesh, Random& random) {
    Lists lists(mesh);
    double const reach = 0.02 * static_cast<double>(lists.size());
    for (MeshVertex& p : lists.vertices) {
        p.x += real(random, -reach, reach);
        p.y += real(random, -reach, reach);
        p.z += real(random, -reach, reach);
    }
    return lists.mesh();
}

/// So far from the origin that a float's step is a hundredth of the mesh.
CompactMesh farAway(CompactMesh const& mesh, Random&) {
    Lists lists(mesh);
    float const distance = 1e5f * lists.size();
    for (MeshVertex& p : lists.vertices) {
        p.x += distance;
        p.y -= 0.5f * distance;
    }
    return lists.mesh();
}

constexpr Damage table[] = {
    {"badIndices", "corners that name no vertex, -1 and 2147483647 among them", &badIndices},
    {"duplicates", "triangles twice, also wound the other way", &duplicates},
    {"flips", "every tenth triangle wound the other way", &flips},
    {"edgeFan", "300 triangles on an edge", &edgeFan},
    {"bowTies", "vertices merged that lie apart", &bowTies},
    {"moebiusStrips", "strips that cannot be oriented", &moebiusStrips},
    {"fins", "triangles that hang on an edge", &fins},
    {"cracks", "triangles with corners of their own, a little off", &cracks},
    {"holes", "holes of 3 to 2000 edges", &holes},
    {"needles", "corners on the side across, or next to it", &needles},
    {"nans", "coordinates that are NaN", &nans},
    {"infinities", "coordinates that are infinite", &infinities},
    {"denormals", "coordinates next to zero, and -0", &denormals},
    {"tiny", "scaled to 1e-30", &tiny},
    {"huge", "scaled to 1e30", &huge},
    {"onePoint", "everything in one point", &onePoint},
    {"flat", "everything in one plane", &flat},
    {"overlappingCopies", "200 copies in one place", &overlappingCopies},
    {"hugeFan", "a fan of 100,000 triangles on one vertex", &hugeFan},
    {"unusedVertices", "vertices that no triangle uses, a NaN among them", &unusedVertices},
    {"degenerates", "triangles with equal corners", &degenerates},
    {"soup", "corners of its own for each triangle, in any order", &soups},
    {"crumpled", "every vertex moved at random", &crumpled},
    {"farAway", "so far from the origin that few digits are left", &farAway},
};
static_assert(std::size(table) == 24);

}  // namespace

std::span<Damage const> damages() {
    return table;
}

std::string objTextOf(CompactMesh const& mesh) {
    std::string text;
    char line[128];
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        MeshVertex const& p = mesh.getVertices()[v];
        std::snprintf(line, sizeof line, "v %.9g %.9g %.9g\n", double(p.x), double(p.y),
                      double(p.z));
        text += line;
    }
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        MeshTriangle const& corners = mesh.getTriangles()[t];
        std::snprintf(line, sizeof line, "f %lld %lld %lld\n", corners[0] + 1LL, corners[1] + 1LL,
                      corners[2] + 1LL);
        text += line;
    }
    return text;
}

}  // namespace support
