#include "trimora/topology/ExtrudeTopoFace.h"

#include "trimora/contract/ko/ImplBase.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/topology/detail/completeTwins.h"

#include <algorithm>
#include <cstddef>

namespace koGeom {

namespace {

/// Round the face, from its first edge on.
template <typename Visit>
void forEachEdge(TopoMeshFace face, Visit visit) {
    TopoMeshEdge const first = face.edge();
    TopoMeshEdge e = first;
    do {
        visit(e);
        e = e.next();
    } while (e != first);
}

ko::vector<TopoMeshVertex> cornersOf(TopoMeshFace face) {
    ko::vector<TopoMeshVertex> corners;
    forEachEdge(face, [&corners](TopoMeshEdge e) { corners.push_back(e.origin()); });
    return corners;
}

bool isFree(TopoMeshFace face) {
    bool hasTwin = false;
    forEachEdge(face, [&hasTwin](TopoMeshEdge e) { hasTwin = hasTwin || e.twin(); });
    return !hasTwin;
}

bool containsAll(TopoMesh const& mesh, ko::unordered_set<TopoMeshFace> const& faces) {
    return std::all_of(faces.begin(), faces.end(),
                       [&mesh](TopoMeshFace face) { return mesh.contains(face); });
}

bool isBorder(TopoMeshEdge e, ko::unordered_set<TopoMeshFace> const& faces) {
    return !e.twin() || faces.count(e.twin().face()) == 0;
}

/// Follows the border of the region from one of its edges.
///
/// Each step goes to the next edge, and crosses to the twin first unless the edge is on the border. Both are one to one
/// among the edges of the region, also where twins run the same way, so that the walk comes back to where it began.
void walkBorder(TopoMeshEdge first, ko::unordered_set<TopoMeshFace> const& region,
                ko::vector<TopoMeshEdge>& border) {
    TopoMeshEdge e = first;
    do {
        border.push_back(e);
        e = e.next();
        while (!isBorder(e, region))
            e = e.twin().next();
    } while (e != first);
}

}  // namespace

TopoMeshFace extrudeFace(TopoMesh& mesh, TopoMeshFace face, AffineMatrix const& matrix) {
    if (!mesh.contains(face))
        return TopoMeshFace();

    ko::vector<TopoMeshVertex> const old = cornersOf(face);
    bool const staysAsFloor = isFree(face);
    std::size_t const n = old.size();

    ko::vector<TopoMeshVertex> lifted;
    for (TopoMeshVertex const vertex : old)
        lifted.push_back(mesh.allocVertex(vertex.point() * matrix));
    if (!staysAsFloor)
        mesh.deleteFace(face);

    // Walls run against what they stand on: the floor's own rim, or the rim that the face left.
    for (std::size_t i = 0; i < n; ++i) {
        std::size_t const j = (i + 1) % n;
        if (staysAsFloor)
            mesh.allocQuad(old[j], old[i], lifted[i], lifted[j]);
        else
            mesh.allocQuad(old[i], old[j], lifted[j], lifted[i]);
    }
    if (staysAsFloor)
        std::reverse(lifted.begin(), lifted.end());
    TopoMeshFace const top = mesh.allocFace(lifted);

    TopoMeshModification modification(&mesh, TopoMeshModification::Topology);
    mesh.modified(modification);
    return top;
}

bool expandRegion(TopoMesh& mesh, ko::unordered_set<TopoMeshFace> const& faces,
                  ko::unordered_set<TopoMeshFace>& region, ko::vector<TopoMeshEdge>& border) {
    ko::unordered_set<TopoMeshFace> visited;
    TopoMeshEdge first;
    if (!containsAll(mesh, faces)) {
        region.swap(visited);
        return false;
    }

    ko::vector<TopoMeshFace> queue;
    if (!faces.empty())
        queue.push_back(*faces.begin());
    for (std::size_t i = 0; i < queue.size(); ++i) {
        if (!visited.insert(queue[i]).second)
            continue;
        forEachEdge(queue[i], [&](TopoMeshEdge e) {
            if (!isBorder(e, faces)) {
                if (visited.count(e.twin().face()) == 0)
                    queue.push_back(e.twin().face());
            } else if (!first) {
                first = e;
            }
        });
    }

    bool const isConnected = visited.size() == faces.size();
    region.swap(visited);
    if (first)
        walkBorder(first, region, border);
    return isConnected;
}

class ExtrudeTopoFaceImpl : public ko::ImplBase {
public:
    explicit ExtrudeTopoFaceImpl(TopoMesh& mesh) : mesh_(mesh) {}

    void extrude(ko::unordered_set<TopoMeshFace>& faces, ko::unordered_set<TopoMeshFace>& result,
                 AffineMatrix const& matrix);

private:
    void copyVertices();
    void copyFaces(ko::unordered_set<TopoMeshFace>& result);
    bool findBorder(ko::unordered_set<TopoMeshFace> const& faces);
    void deleteFaces(ko::unordered_set<TopoMeshFace>& faces);
    void makeWalls();
    void moveCopies(AffineMatrix const& matrix);

    TopoMesh& mesh_;
    ko::vector<TopoMeshFace> faces_;  // in order of creation: results do not depend on a hash
    ko::vector<TopoMeshVertex> borderVertices_;
    ko::set<TopoMeshVertex> regionVertices_;
    ko::map<TopoMeshVertex, TopoMeshVertex> copies_;
    ko::map<TopoMeshVertex, TopoMeshVertex> borderCopies_;
    ko::vector<TopoMeshEdge> borderEdges_;
};

void ExtrudeTopoFaceImpl::extrude(ko::unordered_set<TopoMeshFace>& faces,
                                  ko::unordered_set<TopoMeshFace>& result,
                                  AffineMatrix const& matrix) {
    result.clear();
    if (faces.empty() || !containsAll(mesh_, faces))
        return;

    faces_.assign(faces.begin(), faces.end());
    std::sort(faces_.begin(), faces_.end(), ko::less<TopoMeshFace>());
    copyVertices();
    copyFaces(result);

    // The border is read before the faces go that its edges belong to.
    bool const isWithinSurface = findBorder(faces);
    if (isWithinSurface)
        deleteFaces(faces);
    makeWalls();
    moveCopies(matrix);
    detail::completeTwins(mesh_, true);
}

void ExtrudeTopoFaceImpl::copyVertices() {
    regionVertices_.clear();
    for (TopoMeshFace const face : faces_)
        forEachEdge(face, [this](TopoMeshEdge e) { regionVertices_.insert(e.origin()); });
    copies_.clear();
    for (TopoMeshVertex const vertex : regionVertices_)
        copies_[vertex] = mesh_.allocVertex(vertex.point());
}

void ExtrudeTopoFaceImpl::copyFaces(ko::unordered_set<TopoMeshFace>& result) {
    for (TopoMeshFace const face : faces_) {
        ko::vector<TopoMeshVertex> corners = cornersOf(face);
        for (TopoMeshVertex& corner : corners)
            corner = copies_.find(corner)->second;
        result.insert(mesh_.allocFace(corners));
    }
}

/// True when the surface goes on beyond the border.
bool ExtrudeTopoFaceImpl::findBorder(ko::unordered_set<TopoMeshFace> const& faces) {
    ko::unordered_set<TopoMeshFace> region;
    borderEdges_.clear();
    expandRegion(mesh_, faces, region, borderEdges_);

    borderVertices_.clear();
    borderCopies_.clear();
    bool hasTwin = false;
    for (TopoMeshEdge const e : borderEdges_) {
        TopoMeshVertex const vertex = e.origin();
        borderVertices_.push_back(vertex);
        borderCopies_[vertex] = copies_.find(vertex)->second;
        hasTwin = hasTwin || e.twin();
    }
    return hasTwin;
}

void ExtrudeTopoFaceImpl::deleteFaces(ko::unordered_set<TopoMeshFace>& faces) {
    for (TopoMeshFace const face : faces_)
        mesh_.deleteFace(face);
    faces.clear();
}

void ExtrudeTopoFaceImpl::makeWalls() {
    std::size_t const n = borderVertices_.size();
    for (std::size_t i = 0; i < n; ++i) {
        TopoMeshVertex const from = borderVertices_[i];
        TopoMeshVertex const to = borderVertices_[(i + 1) % n];
        mesh_.allocQuad(from, to, borderCopies_.find(to)->second, borderCopies_.find(from)->second);
    }
}

void ExtrudeTopoFaceImpl::moveCopies(AffineMatrix const& matrix) {
    for (auto const& [vertex, copy] : copies_)
        mesh_.setPoint(copy, copy.point() * matrix);
}

ExtrudeTopoFace::ExtrudeTopoFace(TopoMesh& mesh)
    : impl_(new ExtrudeTopoFaceImpl(mesh)), ownsImpl_(true) {}

ExtrudeTopoFace::ExtrudeTopoFace(ExtrudeTopoFace const& other)
    : impl_(other.impl_), ownsImpl_(false) {}

ExtrudeTopoFace::~ExtrudeTopoFace() {
    if (ownsImpl_)
        delete impl_;
}

void ExtrudeTopoFace::operator()(ko::unordered_set<TopoMeshFace>& faces,
                                 ko::unordered_set<TopoMeshFace>& result,
                                 AffineMatrix const& matrix) {
    impl_->extrude(faces, result, matrix);
}

}  // namespace koGeom
