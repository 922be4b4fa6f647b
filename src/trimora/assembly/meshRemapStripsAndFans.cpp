#include "trimora/assembly/meshRemapStripsAndFans.h"

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshModification.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/detail/callerContract.h"

#include <algorithm>
#include <cassert>
#include <cstddef>

namespace koGeom {

namespace {

/// The vertices copied last, first in, first out.
///
/// One place more is written to than is looked at, so that each round one vertex is forgotten early. A vertex comes in only when it is
/// not found, so its newest place is the only one to look at.
class VertexFifo {
public:
    VertexFifo(int size, int numVertices)
        : size_(static_cast<std::size_t>(size)),
          ring_(size_ + 1, -1),
          placeOf_(static_cast<std::size_t>(numVertices)) {}

    bool contains(int vertex) const {
        std::size_t const place = placeOf_[static_cast<std::size_t>(vertex)];
        return place < size_ && ring_[place] == vertex;
    }
    void add(int vertex) {
        ring_[cursor_] = vertex;
        placeOf_[static_cast<std::size_t>(vertex)] = cursor_;
        cursor_ = cursor_ == size_ ? 0 : cursor_ + 1;
    }

private:
    std::size_t size_;
    ko::vector<int> ring_;
    ko::vector<std::size_t> placeOf_;
    std::size_t cursor_ = 0;
};

/// Numbers the points anew and keeps from which old vertex each new one comes.
class Renumbering {
public:
    Renumbering(int cacheSize, int numVertices)
        : fifo_(cacheSize, numVertices), newOf_(static_cast<std::size_t>(numVertices)) {}

    void renumber(int* points, int count) {
        for (int* p = points; p != points + count; ++p) {
            int& newest = newOf_[static_cast<std::size_t>(*p)];
            if (!fifo_.contains(*p)) {
                newest = static_cast<int>(oldOf_.size());
                oldOf_.push_back(*p);
                fifo_.add(*p);
            }
            *p = newest;
        }
    }
    ko::vector<int> const& oldOf() const { return oldOf_; }

private:
    VertexFifo fifo_;
    ko::vector<int> newOf_;  // the last copy of each old vertex
    ko::vector<int> oldOf_;
};

void setTriangle(MeshTriangle& triangle, int a, int b, int c) {
    triangle[0] = a, triangle[1] = b, triangle[2] = c;
}

/// Triangles of strips, each with the winding of its strip's first.
void writeStrips(MeshSequence const& strips, MeshTriangle* out) {
    int const* p = strips.points.data();
    for (int run = 0; run < strips.getNumRuns(); p += strips.getLength(run++))
        for (int k = 2; k < strips.getLength(run); ++k)
            if (k % 2 == 0)
                setTriangle(*out++, p[k - 2], p[k - 1], p[k]);
            else
                setTriangle(*out++, p[k - 1], p[k - 2], p[k]);
}

/// Triangles of fans; every other one is turned round, deliberately.
void writeFans(MeshSequence const& fans, MeshTriangle* out) {
    int const* p = fans.points.data();
    for (int run = 0; run < fans.getNumRuns(); p += fans.getLength(run++))
        for (int k = 2; k < fans.getLength(run); ++k)
            if (k % 2 == 0)
                setTriangle(*out++, p[0], p[k - 1], p[k]);
            else
                setTriangle(*out++, p[k - 1], p[0], p[k]);
}

template <typename Element>
ko::vector<Element> gathered(Element const* source, ko::vector<int> const& oldOf) {
    ko::vector<Element> elements;
    if (source == nullptr)
        return elements;
    elements.reserve(oldOf.size());
    for (int const vertex : oldOf)
        elements.push_back(source[vertex]);
    return elements;
}

}  // namespace

void meshRemapStripsAndFans(CompactMesh& mesh, int cacheSize) {
    assert(detail::hasSoundRuns(mesh.triStrips, mesh.getNumVertices()));
    assert(detail::hasSoundRuns(mesh.triFans, mesh.getNumVertices()));
    koOS::StopWatch watch;
    watch.start();

    int const numStripPoints = mesh.getNumTriStripPoints();
    int const numFanPoints = mesh.getNumTriFanPoints();
    int const oldNumVertices = mesh.getNumVertices();
    int const numPoints = numStripPoints + numFanPoints;
    Renumbering renumbering(std::clamp(cacheSize, 0, numPoints), oldNumVertices);
    // In copies: until there is memory for all, the mesh stays as it is.
    ko::vector<int> stripPoints(mesh.triStrips.points.begin(), mesh.triStrips.points.end());
    ko::vector<int> fanPoints(mesh.triFans.points.begin(), mesh.triFans.points.end());
    renumbering.renumber(stripPoints.data(), numStripPoints);
    renumbering.renumber(fanPoints.data(), numFanPoints);
    ko::vector<int> const& oldOf = renumbering.oldOf();
    ko::vector<MeshVertex> const vertices = gathered(mesh.getVertices(), oldOf);
    ko::vector<MeshNormal> const normals = gathered(mesh.getNormals(), oldOf);
    ko::vector<MeshUV> const uvs = gathered(mesh.getUVs(), oldOf);

    int const numVertices = static_cast<int>(oldOf.size());
    mesh.resizeVertexArray(std::max(numVertices, oldNumVertices));
    int const numStripTriangles = std::max(numStripPoints - 2, 0);
    mesh.resizeTriangleArray(numStripTriangles + std::max(numFanPoints - 2, 0));
    std::copy(stripPoints.begin(), stripPoints.end(), mesh.getTriStripPoints());
    std::copy(fanPoints.begin(), fanPoints.end(), mesh.getTriFanPoints());
    writeStrips(mesh.triStrips, mesh.getTriangles());
    writeFans(mesh.triFans, mesh.getTriangles() + numStripTriangles);

    mesh.resizeVertexArray(numVertices);
    MeshModification modification(&mesh, MeshModification::Topology, nullptr);
    modification.stripsAndFansModified();
    std::copy(vertices.begin(), vertices.end(), mesh.getVertices());
    if (!normals.empty()) {
        std::copy(normals.begin(), normals.end(), mesh.getNormals());
        modification.normalsModified();
    }
    if (!uvs.empty()) {
        std::copy(uvs.begin(), uvs.end(), mesh.getUVs());
        modification.uvsModified();
    }
    mesh.modified(modification);

    double const increase =
        oldNumVertices > 0 ? static_cast<double>(numVertices) / oldNumVertices : 1.0;
    debugChannel().print("meshRemapStripsAndFans: vertex increased %f, %f s\n", increase,
                         watch.clear());
}

}  // namespace koGeom
