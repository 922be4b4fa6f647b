#include "harness.h"

#include "trimora/assembly/meshCompact.h"
#include "trimora/assembly/primitives.h"

#include <algorithm>
#include <numeric>

namespace bench {

namespace {

using namespace koGeom;

// Three own vertices a triangle, triangles in a shuffled order.
CompactMesh shuffledSoup(CompactMesh const& mesh) {
    int const numTriangles = mesh.getNumTriangles();
    std::vector<int> order(static_cast<std::size_t>(numTriangles));
    std::iota(order.begin(), order.end(), 0);
    std::uint64_t state = 1;
    for (std::size_t i = order.size() - 1; i > 0; --i) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        std::swap(order[i], order[static_cast<std::size_t>((state >> 33) % (i + 1))]);
    }
    CompactMesh soup(3 * numTriangles, nullptr, nullptr, nullptr, nullptr);
    float* out = soup.getVerticesRaw();
    for (int const t : order) {
        for (int k = 0; k < 3; ++k) {
            float const* const p =
                mesh.getVerticesRaw() +
                3 * static_cast<std::ptrdiff_t>(mesh.getTrianglesRaw()[3 * t + k]);
            out = std::copy(p, p + 3, out);
        }
    }
    soup.resizeTriangleArray(numTriangles);
    std::iota(soup.getTrianglesRaw(),
              soup.getTrianglesRaw() + 3 * static_cast<std::ptrdiff_t>(numTriangles), 0);
    return soup;
}

// 100 k and a million triangles. The mesh is let go between the runs, so that each pays for its memory.
void primitiveCases() {
    std::vector<int> const sizes =
        options().smallOnly ? std::vector<int>{79} : std::vector<int>{79, 250};
    for (int const n : sizes) {
        std::string const name = n < 100 ? "100 k" : "1 M";
        int const numTriangles = 16 * n * n - 8 * n;
        CompactMesh work;
        auto const clear = [&] { work = CompactMesh(); };
        auto const middle = [&] {
            return figure("x", work.getVertices()[work.getNumVertices() / 3].x);
        };
        run({"sphere", name, numTriangles, 0.0, clear,
             [&] { constructSphere(Point(), 1.0f, n, work); }, middle},
            {1});
        run({"disk", name, numTriangles, 0.0, clear,
             [&] { constructDisk(Point(), 1.0f, 2, numTriangles, work); }, middle},
            {1});
    }
}

}  // namespace

void assemblyCases() {
    primitiveCases();
    for (NamedMesh const* const named : bothMeshes()) {
        CompactMesh const soup = shuffledSoup(named->mesh);
        CompactMesh work;
        run({"weld", named->name, soup.getNumTriangles(), 0.0, [&] { work = soup; },
             [&] {
                 koUtil::Progress progress;
                 meshCompact(work, progress);
             },
             [&] { return figure("vertices", work.getNumVertices()); }});
    }
}

}  // namespace bench
