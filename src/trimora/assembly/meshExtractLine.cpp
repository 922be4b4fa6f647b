#include "trimora/assembly/meshExtractLine.h"

#include "trimora/contract/koGeom/MeshCurve.h"
#include "trimora/contract/koGeom/Remap.h"
#include "trimora/detail/callerContract.h"

#include <algorithm>
#include <cassert>
#include <numeric>

// A run's vertices get new numbers in the order in which they are first met; the strips are the
// runs through that map, and the lines follow from the strips.

namespace koGeom {

namespace {

// New numbers for the vertices of `numPoints` points that have none yet.
void numberVertices(int const* points, int numPoints, Remap& newVertices) {
    int* const table = newVertices.table.data();
    for (int k = 0; k < numPoints; ++k) {
        if (table[points[k]] < 0)
            table[points[k]] = newVertices.rangeSize++;
    }
}

void copyPositions(CompactMesh const& mesh, Remap const& newVertices, CompactMesh& lineMesh) {
    MeshVertex const* const from = mesh.getVertices();
    MeshVertex* const to = lineMesh.getVertices();
    int const* const table = newVertices.table.data();
    for (int v = 0; v < newVertices.getDomainSize(); ++v) {
        if (table[v] >= 0)
            to[table[v]] = from[v];
    }
}

int numLinesOf(int numPoints, bool closed) {
    return numPoints < 1 ? 0 : numPoints - (closed ? 0 : 1);
}

// Each strip's consecutive pairs and, when closed, the pair from its end to its start.
void linesFromStrips(CompactMesh& lineMesh, bool closed) {
    MeshSequence const& strips = lineMesh.lineStrips;
    int numLines = 0;
    for (int const length : strips.lengths)
        numLines += numLinesOf(length, closed);
    lineMesh.resizeLineArray(numLines);

    MeshLine* line = lineMesh.getLines();
    int const* point = strips.points.data();
    for (int const length : strips.lengths) {
        for (int k = 0; k < numLinesOf(length, closed); ++k)
            *line++ = MeshLine{{point[k], point[k + 1 < length ? k + 1 : 0]}};
        point += length;
    }
}

// The lines of a mesh whose strips hold runs of the old vertex numbers.
ko::Reference<CompactMesh> lineMeshOf(CompactMesh const& mesh, MeshSequence const& runs,
                                      bool closed) {
    Remap newVertices(mesh.getNumVertices(), 0);
    numberVertices(runs.points.data(), runs.getNumPoints(), newVertices);

    ko::Reference<CompactMesh> lineMesh(
        new CompactMesh(newVertices.rangeSize, nullptr, nullptr, nullptr, nullptr));
    copyPositions(mesh, newVertices, *lineMesh);
    lineMesh->lineStrips = runs;
    newVertices(lineMesh->getLineStripPoints(), lineMesh->getNumLineStripPoints());
    linesFromStrips(*lineMesh, closed);
    return lineMesh;
}

}  // namespace

ko::Reference<CompactMesh> meshExtractLine(CompactMesh const& mesh, MeshCurve const& curve) {
    assert(detail::areAllOn(curve.points, mesh));
    int const numPoints = static_cast<int>(curve.points.size());
    ko::Reference<CompactMesh> lineMesh(
        new CompactMesh(numPoints, nullptr, nullptr, nullptr, nullptr));
    if (numPoints < 1)
        return lineMesh;

    MeshVertex* vertex = lineMesh->getVertices();
    for (MeshCoord const& coord : curve.points) {
        Point const position = coord.evaluate(mesh.getVertices(), mesh.getTriangles());
        double const xyz[3] = {position.x, position.y, position.z};
        (vertex++)->set(xyz);
    }
    lineMesh->resizeLineStripArrays(numPoints, 1);
    lineMesh->getLineStripLengths()[0] = numPoints;
    std::iota(lineMesh->getLineStripPoints(), lineMesh->getLineStripPoints() + numPoints, 0);
    linesFromStrips(*lineMesh, curve.closed);
    return lineMesh;
}

ko::Reference<CompactMesh> meshExtractLine(CompactMesh const& mesh, MeshSequence const& sequence,
                                           int run, bool closed) {
    MeshSequence single;
    if (run >= 0 && run < sequence.getNumRuns()) {
        int const length = sequence.getLength(run);
        single.resize(length, 1);
        single.lengths[0] = length;
        std::copy_n(sequence.getStarts()[run], length, single.points.data());
    }
    assert(detail::hasSoundRuns(single, mesh.getNumVertices()));
    return lineMeshOf(mesh, single, closed);
}

ko::Reference<CompactMesh> meshExtractLines(CompactMesh const& mesh, MeshSequence const& sequence,
                                            bool closed) {
    assert(detail::hasSoundRuns(sequence, mesh.getNumVertices()));
    return lineMeshOf(mesh, sequence, closed);
}

}  // namespace koGeom
