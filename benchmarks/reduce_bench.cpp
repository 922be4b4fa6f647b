#include "deviation.h"
#include "harness.h"

#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/reduce/meshReduce.h"

namespace bench {

namespace {

using namespace koGeom;

/// Of the box's diagonal.
constexpr double tolerance = 0.001;

double diagonalOf(CompactMesh const& mesh) {
    double low[3];
    double high[3];
    meshBoundingBox(mesh, low, high);
    return distance(Point(low[0], low[1], low[2]), Point(high[0], high[1], high[2]));
}

std::string figures(CompactMesh const& source, CompactMesh const& reduced, int passes) {
    Deviation const deviation = twoSidedDeviation(source, reduced);
    return figure("vertices", reduced.getNumVertices()) + " " + figure("passes", passes) + " " +
           figure("rms/diag", deviation.rms) + " " + figure("max/diag", deviation.largest);
}

void toFraction(NamedMesh const& named, char const* job, double fraction) {
    CompactMesh reduced;
    MeshReduceReport report;
    run({job, named.name, named.mesh.getNumTriangles(), 0.0, [&] { reduced = named.mesh; },
         [&] {
             koUtil::Progress progress;
             ko::vector<Point> removedPoints;
             meshReduceToFraction(reduced, fraction, progress, removedPoints, report);
         },
         [&] { return figures(named.mesh, reduced, report.passes); }});
}

void withTolerance(NamedMesh const& named) {
    double const diagonal = diagonalOf(named.mesh);
    CompactMesh reduced;
    MeshReduceReport report;
    double found = 0.0;
    run({"reduce_tolerance_0.1%", named.name, named.mesh.getNumTriangles(), 0.0,
         [&] { reduced = named.mesh; },
         [&] {
             koUtil::Progress progress;
             ko::vector<Point> removedPoints;
             found = meshReduceWithTolerance(reduced, tolerance * diagonal, progress, removedPoints,
                                             report);
         },
         [&] {
             return figures(named.mesh, reduced, report.passes) + " " +
                    figure("found/diag", found / diagonal);
         }});
}

}  // namespace

void reduceCases() {
    std::vector<NamedMesh const*> meshes = bothMeshes();
    if (!options().smallOnly)
        meshes.push_back(&wavyMesh());
    for (NamedMesh const* const named : meshes) {
        toFraction(*named, "reduce_fraction_10%", 0.1);
        toFraction(*named, "reduce_fraction_1%", 0.01);
        withTolerance(*named);
    }
}

}  // namespace bench
