#include "trimora/topology/constructSubdividedOctahedron.h"

#include "trimora/contract/koGeom/TopoMesh.h"

#include <memory>
#include <vector>

/// Refinement by the mesh's own edits: a face of k sides gets a middle joined to its corners, its sides get middles joined
/// to that of the face, and the joins to the corners go again. That leaves k quads, as in Catmull-Clark subdivision
/// without the smoothing.
namespace koGeom {

namespace {

void makeOctahedron(TopoMesh& mesh, ParamPlane const& frame, double radius) {
    Point const& center = frame.origin;
    Vector const normal = radius * Vector(frame.normal);
    Vector const u = radius * Vector(frame.uAxis);
    Vector const v = radius * Vector(frame.vAxis);
    TopoMeshVertex const top = mesh.allocVertex(center + normal);
    TopoMeshVertex const bottom = mesh.allocVertex(center - normal);
    TopoMeshVertex const uPlus = mesh.allocVertex(center + u);
    TopoMeshVertex const uMinus = mesh.allocVertex(center - u);
    TopoMeshVertex const vPlus = mesh.allocVertex(center + v);
    TopoMeshVertex const vMinus = mesh.allocVertex(center - v);

    mesh.allocTriangle(uPlus, vPlus, top);
    mesh.allocTriangle(vPlus, uMinus, top);
    mesh.allocTriangle(uMinus, vMinus, top);
    mesh.allocTriangle(vMinus, uPlus, top);
    mesh.allocTriangle(vPlus, uPlus, bottom);
    mesh.allocTriangle(uPlus, vMinus, bottom);
    mesh.allocTriangle(vMinus, uMinus, bottom);
    mesh.allocTriangle(uMinus, vPlus, bottom);
}

/// One half-edge of each pair of twins, the older one.
std::vector<TopoMeshEdge> collectEdges(TopoMesh const& mesh) {
    std::vector<TopoMeshEdge> edges;
    for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInList())
        if (!e.twin() || ko::less<TopoMeshEdge>()(e, e.twin()))
            edges.push_back(e);
    return edges;
}

/// A middle for every face, joined to its corners.
std::vector<TopoMeshVertex> splitFaces(TopoMesh& mesh) {
    std::vector<TopoMeshFace> faces;
    for (TopoMeshFace f = mesh.firstFace(); f; f = f.nextInList())
        faces.push_back(f);
    std::vector<TopoMeshVertex> middles;
    for (TopoMeshFace f : faces)
        middles.push_back(mesh.subdivideFace(f, f.centroid()));
    return middles;
}

std::vector<TopoMeshEdge> collectSpokes(std::vector<TopoMeshVertex> const& middles) {
    std::vector<TopoMeshEdge> spokes;
    for (TopoMeshVertex v : middles)
        for (TopoMeshEdgeVertexIterator i = {v, v.edge(), 1}; i.edge; i.next())
            spokes.push_back(i.edge);
    return spokes;
}

/// A middle for the edge, joined to the middles of its faces.
TopoMeshVertex splitEdge(TopoMesh& mesh, TopoMeshEdge e) {
    TopoMeshEdge const twin = e.twin();
    Point const middle = combine(e.origin().point(), e.next().origin().point());
    TopoMeshVertex const third = e.prev().origin();
    TopoMeshVertex const twinThird = twin.prev().origin();
    TopoMeshVertex const v = mesh.subdivideEdge(e, middle);
    mesh.subdivideFace(e.face(), third, v);
    mesh.subdivideFace(twin.face(), twinThird, v);
    return v;
}

/// Quarters the mesh; returns the new vertices.
std::vector<TopoMeshVertex> refine(TopoMesh& mesh) {
    std::vector<TopoMeshEdge> const edges = collectEdges(mesh);
    std::vector<TopoMeshVertex> created = splitFaces(mesh);
    std::vector<TopoMeshEdge> const spokes = collectSpokes(created);
    for (TopoMeshEdge e : edges)
        created.push_back(splitEdge(mesh, e));
    for (TopoMeshEdge spoke : spokes)
        mesh.deleteEdge(spoke);
    return created;
}

}  // namespace

TopoMesh* constructSubdividedOctahedron(ParamPlane const& frame, int levels, double radius) {
    auto mesh = std::make_unique<TopoMesh>();
    makeOctahedron(*mesh, frame, radius);
    for (int level = 0; level < levels; ++level) {
        for (TopoMeshVertex v : refine(*mesh)) {
            Normal const outward(v.point() - frame.origin);
            mesh->setPoint(v, frame.origin + radius * Vector(outward));
        }
    }
    return mesh.release();
}

}  // namespace koGeom
