// Cuts along a chain of edges that someone chose, in place of the graph that makeDisk finds.

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/connectivity/MeshCache.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/parameterize/cutSurface.h"
#include "trimora/parameterize/detail/VertexSplits.h"
#include "trimora/parameterize/detail/sortFanInto.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace koGeom {

namespace {

std::vector<int> sortedFan(int vertex, MeshTriangle* triangles, MeshAdjTris const& adjacency) {
    std::vector<int> fan;
    detail::sortFanInto(vertex, triangles, adjacency, fan);
    return fan;
}

/// Splits a vertex inside the chain: the copy gets the triangles on one side, from the edge before to the edge behind.
void splitInside(int previous, itineraryItem& item, MeshTriangle* triangles,
                 MeshAdjTris const& adjacency, detail::VertexSplits& splits) {
    std::vector<int> const fan = sortedFan(item.start, triangles, adjacency);
    std::size_t const count = fan.size();
    auto const holdsAt = [&](std::size_t position, int vertex) {
        return Boundary::findEdge(vertex, triangles[fan[position % count]]) >= 0;
    };
    std::size_t first = 0;
    while (first < count && (!holdsAt(first, previous) || holdsAt(first + 1, previous)))
        ++first;
    if (first == count)
        return;

    item.newStart = splits.addCopy(item.start);
    bool isLast = false;
    for (std::size_t step = 0; step < count && !isLast; ++step) {
        splits.giveTriangle(fan[(first + step) % count], item.start, item.newStart);
        isLast = holdsAt(first + step, item.end);
    }
}

/// Splits the last vertex of the chain, which lies on the boundary.
void splitLast(itineraryItem const& last, MeshTriangle* triangles, MeshAdjTris const& adjacency,
               detail::VertexSplits& splits) {
    int const copy = splits.addCopy(last.end);
    std::vector<int> const fan = sortedFan(last.end, triangles, adjacency);
    int const count = static_cast<int>(fan.size());
    auto const triangleAt = [&fan](int position) {
        return fan[static_cast<std::size_t>(position)];
    };
    auto const holdsBehind = [&](int position) {
        int rotated[3];
        cutSurface().orientVertices(last.end, triangles[triangleAt(position)].vertices, rotated);
        return rotated[1] == last.start || rotated[2] == last.start;
    };
    int position = 0;
    while (position + 1 < count && !(holdsBehind(position) && holdsBehind(position + 1)))
        ++position;
    if (position + 1 >= count)
        return;

    for (bool stops = false; !stops && position >= 0; --position) {
        splits.giveTriangle(triangleAt(position), last.end, copy);
        stops = cutSurface().boundaryTriangle(triangleAt(position), triangles, fan.data(), count,
                                              last.end);
    }
}

}  // namespace

// A copy, as the signature has it.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
bool cutSurface::boundaryVertex(MeshBoundaries boundaries, int vertex) {
    for (int i = 0; i < boundaries.size(); ++i)
        if (std::find(boundaries.getStart(i), boundaries.getEnd(i), vertex) != boundaries.getEnd(i))
            return true;
    return false;
}

bool cutSurface::boundaryTriangle(int triangle, MeshTriangle* triangles, int const* fan, int count,
                                  int) {
    MeshTriangle const& t = triangles[triangle];
    return std::count_if(fan, fan + count, [&](int other) {
               MeshTriangle const& u = triangles[other];
               return (u[1] == t[1] && u[2] == t[2]) || (u[1] == t[2] && u[2] == t[1]);
           }) == 1;
}

void cutSurface::makeSingleCurveCut(ko::list<itineraryItem>& curve, CompactMesh& mesh,
                                    MeshCache& cache) {
    constexpr int numEdges = 4;
    ko::Reference<MeshAdjVertices> const adjacency = cache.getAdjVertices(mesh);
    int vertex = 0;
    for (int i = 0; i < numEdges && vertex < adjacency->numVertices; ++i) {
        if (adjacency->numNeighbours(vertex) == 0)
            return;
        int const next = adjacency->neighbours(vertex)[0];
        curve.push_back({0, 0, vertex, next, vertex, next});
        vertex = next;
    }
}

void cutSurface::processSingleCurveCut(ko::list<itineraryItem>& curve, MeshTriangle* triangles,
                                       MeshAdjTris const& adjacency, CompactMesh& mesh,
                                       MeshCache& cache) {
    if (curve.empty())
        return;
    MeshBoundaries boundaries;
    meshComputeBoundary(mesh, adjacency, *cache.getAdjVertices(mesh), boundaries);
    detail::VertexSplits splits(mesh.getNumVertices());

    // The copy of the first vertex takes no triangles: its fan would have to be entered behind the first edge's start, which is that
    // very vertex.
    itineraryItem& first = curve.front();
    if (boundaryVertex(boundaries, first.start))
        first.newStart = splits.addCopy(first.start);
    for (auto item = std::next(curve.begin()); item != curve.end(); ++item)
        splitInside(std::prev(item)->start, *item, triangles, adjacency, splits);
    if (boundaryVertex(boundaries, curve.back().end))
        splitLast(curve.back(), triangles, adjacency, splits);
    if (!splits.isEmpty())
        splits.make(mesh, triangles);
}

void cutSurface::updateVertReferences(ko::list<itineraryItem>& curve, MeshTriangle* triangles,
                                      CompactMesh& mesh) {
    int numVertices = mesh.getNumVertices();
    ko::set<int> visited;
    for (auto item = curve.begin(); item != curve.end(); ++item)
        if (!visited.insert(item->start).second) {
            item->newStart = numVertices++;
            std::prev(item)->newEnd = item->newStart;
        }

    mesh.resizeVertexArray(numVertices);
    MeshVertex* const vertices = mesh.getVertices();
    for (itineraryItem const& item : curve) {
        MeshTriangle& triangle = triangles[item.triangle];
        if (item.start != item.newStart) {
            vertices[item.newStart] = vertices[item.start];
            detail::VertexSplits::replaceCorner(triangle, item.start, item.newStart);
        }
        if (item.end != item.newEnd)
            detail::VertexSplits::replaceCorner(triangle, item.end, item.newEnd);
    }
}

}  // namespace koGeom
