#include "harness.h"
#include "toolkit/sampleMeshes.h"

#include "trimora/assembly/MeshDeleteSelected.h"
#include "trimora/assembly/MeshSelect.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/parameterize/ConjugateGradient.h"
#include "trimora/repair/detail/FairingSystem.h"
#include "trimora/repair/meshHoleFill.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

namespace bench {

namespace {

using namespace koGeom;
using koGeom::detail::FairingSolver;
using koGeom::detail::FairingSystem;

/// A mesh with its tables.
struct Holed {
    CompactMesh mesh;
    MeshAdjTris adjTris;
    MeshAdjVertices adjVertices;
    MeshBoundaries boundaries;

    explicit Holed(CompactMesh const& source) : mesh(source) {
        meshAdjTris(mesh, adjTris);
        meshAdjVertices(mesh, adjTris, adjVertices);
        meshComputeBoundary(mesh, adjTris, adjVertices, boundaries);
    }
};

/// One wavy sheet with a round hole of that many edges in its middle, all edges of about the same length.
CompactMesh sheetWithHole(int numEdges) {
    constexpr int numRings = 6;
    double const step = 2.0 * std::numbers::pi / numEdges;
    std::vector<float> coordinates;
    std::vector<int> triangles;
    for (int ring = 0; ring < numRings; ++ring)
        for (int i = 0; i < numEdges; ++i) {
            double const angle = step * (i + 0.5 * ring);
            double const radius = 1.0 + step * ring;
            double const x = radius * std::cos(angle);
            double const y = radius * std::sin(angle);
            double const z = 0.1 * std::sin(3.0 * x) + 0.1 * std::cos(2.0 * y);
            for (double const coordinate : {x, y, z})
                coordinates.push_back(static_cast<float>(coordinate));
        }
    for (int ring = 0; ring + 1 < numRings; ++ring)
        for (int i = 0; i < numEdges; ++i) {
            int const a = ring * numEdges + i;
            int const b = ring * numEdges + (i + 1) % numEdges;
            triangles.insert(triangles.end(), {a, a + numEdges, b});
            triangles.insert(triangles.end(), {b, a + numEdges, b + numEdges});
        }
    CompactMesh mesh(static_cast<int>(coordinates.size() / 3), nullptr, nullptr, nullptr, nullptr);
    std::copy(coordinates.begin(), coordinates.end(), mesh.getVerticesRaw());
    mesh.copyTriangles(static_cast<int>(triangles.size() / 3), triangles.data());
    return mesh;
}

/// The mesh with the triangles around some vertices taken out; around every fourth four rings of them.
CompactMesh punched(CompactMesh const& mesh, int numHoles) {
    std::uint64_t state = 5 * 0x9E3779B97F4A7C15u + 1;
    auto const next = [&state] {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        return state * 0x2545F4914F6CDD1Du;
    };
    CompactMesh holed = mesh;
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    BitVector& doomed = holed.getSelectedTriangles();
    doomed.resize(mesh.getNumTriangles());
    for (int i = 0; i < numHoles; ++i) {
        BitVector triangles(mesh.getNumTriangles());
        BitVector vertices(mesh.getNumVertices());
        vertices.setBit(
            static_cast<int>(next() % static_cast<std::uint64_t>(mesh.getNumVertices())));
        MeshSelect select(mesh, adjTris, triangles, vertices);
        select.selectTrianglesFromVertices(1);
        for (int ring = 1; ring < (i % 4 == 0 ? 4 : 1); ++ring)
            select.selectTrianglesRecursive(true);
        doomed |= triangles;
    }
    MeshSelect(holed, adjTris).selectVerticesFromTriangles();
    MeshDeleteSelected deleteSelected(holed);
    deleteSelected();
    return inOrderOfUse(holed);
}

struct Job {
    char const* name;
    HoleQuality quality;
};

std::vector<Job> const everyQuality = {{"fill_flat", HoleQualityFlat},
                                       {"fill_refine", HoleQualityRefined},
                                       {"fill_refine_fair", HoleQualityFair}};

/// All loops, but the longest when it is the border of the whole.
void fillCase(std::string const& name, CompactMesh const& mesh, bool hasOuterBorder,
              std::vector<Job> const& jobs = everyQuality) {
    Holed const tables(mesh);
    ko::list<int> holes;
    int longest = 0;
    for (int i = 0; i < tables.boundaries.size(); ++i) {
        holes.push_back(i);
        if (tables.boundaries.getStart(i)[0] > tables.boundaries.getStart(longest)[0])
            longest = i;
    }
    if (hasOuterBorder)
        holes.remove(longest);
    CompactMesh work;
    int numFilled = 0;
    for (Job const& job : jobs)
        run({job.name, name, mesh.getNumTriangles(), 0.0, [&] { work = mesh; },
             [&] {
                 koUtil::Progress progress;
                 numFilled = meshHoleFill(work, tables.adjTris, tables.adjVertices,
                                          tables.boundaries, holes, job.quality, progress);
             },
             [&] {
                 return figure("filled", numFilled) +
                        figure("of", static_cast<double>(holes.size())) +
                        figure("new_t", work.getNumTriangles() - mesh.getNumTriangles()) +
                        figure("new_v", work.getNumVertices() - mesh.getNumVertices());
             }},
            {1});
}

/// The same with the loops found and the tables made in the timed part: what a host pays from a bare mesh.
void fillFromBareMesh(std::string const& name, CompactMesh const& mesh) {
    char const* const jobs[] = {"fill_flat_and_tables", "fill_refine_and_tables",
                                "fill_refine_fair_and_tables"};
    std::unique_ptr<Holed> work;
    int numFilled = 0;
    for (int quality = HoleQualityFlat; quality <= HoleQualityFair; ++quality) {
        CompactMesh copy;
        run({jobs[quality], name, mesh.getNumTriangles(), 0.0, [&] { copy = mesh; },
             [&] {
                 work = std::make_unique<Holed>(copy);
                 ko::list<int> holes;
                 for (int i = 0; i < work->boundaries.size(); ++i)
                     holes.push_back(i);
                 koUtil::Progress progress;
                 numFilled =
                     meshHoleFill(work->mesh, work->adjTris, work->adjVertices, work->boundaries,
                                  holes, static_cast<HoleQuality>(quality), progress);
             },
             [&] { return figure("filled", numFilled); }},
            {1});
    }
}

/// The equations of a patch on a square grid with fixed vertices around it, whose middle rises.
FairingSystem gridSystem(int side) {
    FairingSystem system;
    auto const isInside = [side](int x, int y) { return x >= 0 && y >= 0 && x < side && y < side; };
    auto const addTerm = [&](int x, int y, double weight) {
        if (isInside(x, y))
            system.add(y * side + x, weight);
        else
            system.rightSide() -= weight * Vector(x, y, 0.1 * x * y);
    };
    int const around[6][2] = {{1, 0}, {1, 1}, {0, 1}, {-1, 0}, {-1, -1}, {0, -1}};
    auto const addLaplacian = [&](int x, int y, double factor) {
        for (auto const& [dx, dy] : around)
            addTerm(x + dx, y + dy, factor);
        addTerm(x, y, -6.0 * factor);
    };
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x) {
            system.beginRow(Point(x, y, 0.0));
            addLaplacian(x, y, -6.0);
            for (auto const& [dx, dy] : around)
                addLaplacian(x + dx, y + dy, 1.0);
        }
    return system;
}

/// The solver alone, and what the plain one takes for the same.
void solverCase(int side) {
    FairingSystem const system = gridSystem(side);
    int const n = system.size();
    std::string const name = "grid_" + std::to_string(n);
    int numIterations = 0;
    double height = 0.0;
    auto const check = [&] { return figure("iterations", numIterations) + figure("z", height); };
    run({"fair_solver", name, 2 * n, 0.0, [&] { numIterations = 0; },
         [&] {
             FairingSolver solver(system);
             while (!solver.iterate(epsilonTol, epsilonTol))
                 ++numIterations;
             height = solver.position(n / 2 + side / 2).z;
         },
         check},
        {1});

    std::unique_ptr<ConjugateGradient> plain;
    run({"fair_solver", name, 2 * n, 0.0, [&] { numIterations = 0; },
         [&] {
             plain = std::make_unique<ConjugateGradient>(3 * n);
             NVector b(3 * n);
             NVector start(3 * n);
             for (int i = 0; i < n; ++i) {
                 double const right[] = {system.rightSide(i).x, system.rightSide(i).y,
                                         system.rightSide(i).z};
                 double const from[] = {system.start(i).x, system.start(i).y, system.start(i).z};
                 for (int c = 0; c < 3; ++c) {
                     b[3 * i + c] = right[c];
                     start[3 * i + c] = from[c];
                     for (auto const* e = system.rowBegin(i); e != system.rowEnd(i); ++e)
                         plain->A().addToElement(3 * i + c, 3 * e->column + c, e->value);
                 }
             }
             plain->initDiagonalPreconditioner();
             plain->initialize(b, start);
             while (!plain->iterate(epsilonTol, epsilonTol).isDone())
                 ++numIterations;
             height = plain->x()[3 * (n / 2 + side / 2) + 2];
         },
         check, "Trimora ConjugateGradient"},
        {1});
}

}  // namespace

void fillCases() {
    for (int const numEdges : {30, 100, 300})
        fillCase("sheet_" + std::to_string(numEdges), sheetWithHole(numEdges), true);
    // Its fair patch has 73,000 new vertices and takes minutes: only for those who ask for it by its whole name.
    std::vector<Job> jobs(everyQuality.begin(), everyQuality.begin() + 2);
    auto const& only = options().only;
    if (std::find(only.begin(), only.end(), "fill_long_fair") != only.end())
        jobs.push_back({"fill_long_fair", HoleQualityFair});
    fillCase("sheet_1000", sheetWithHole(1000), true, jobs);
    fillCase("scan_100_holes", punched(trimora::makeScan(6, 1), 100), false);
    for (int const side : {32, 100})
        solverCase(side);

    CompactMesh const bunny = corpusMesh("stanford_bunny.obj");
    if (bunny.getNumTriangles() == 0)
        return;
    CompactMesh const holey = punched(bunny, 200);
    fillCase("holey_bunny", holey, false);
    fillFromBareMesh("holey_bunny", holey);
}

}  // namespace bench
