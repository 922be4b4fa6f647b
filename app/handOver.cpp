#include "handOver.h"

#include "toolkit/meshCounts.h"

#include <cassert>
#include <utility>

namespace app {

namespace {

HandOver* stageAtWork = nullptr;

/// Faces of a mesh without triangles, as a reader makes them of a file: fans from the first corner.
void cutPolygons(koGeom::CompactMesh& mesh, std::vector<int>& trianglePolygon) {
    koGeom::MeshSequence const& polygons = mesh.polys;
    mesh.resizeTriangleArray(polygons.getNumPoints() - 2 * polygons.getNumRuns());
    trianglePolygon.clear();
    int* triangle = mesh.getTrianglesRaw();
    int const* corner = polygons.points.data();
    for (int face = 0; face < polygons.getNumRuns(); ++face) {
        int const numCorners = polygons.lengths.data()[face];
        for (int k = 2; k < numCorners; ++k) {
            *triangle++ = corner[0];
            *triangle++ = corner[k - 1];
            *triangle++ = corner[k];
            trianglePolygon.push_back(face);
        }
        corner += numCorners;
    }
    if (mesh.getNumTriangles() == polygons.getNumRuns())
        trianglePolygon.clear();  // each face is a triangle
}

void dropWhatNoFileHolds(koGeom::CompactMesh& mesh) {
    if (mesh.getNormalsComputed())
        mesh.deleteNormals();
    mesh.deleteTriangleNormals();
    mesh.clearSelection();
    mesh.resizeLineArray(0);
    for (koGeom::MeshSequence* const faces :
         {&mesh.polys, &mesh.lineStrips, &mesh.triStrips, &mesh.triFans})
        faces->clear();
}

void nameAttributes(koGeom::CompactMesh const& mesh, trimora::ReadReport& report) {
    using koGeom::PointMesh;
    for (int i = 0; koGeom::MeshAttributes const* const set = mesh.getAttributes(i); ++i) {
        koString::CString const& name = set->getName();
        if (name == PointMesh::UVsName)
            report.textureCoordinates.kept = true;
        else if (name == PointMesh::NormalsName)
            report.normals.kept = true;
        else if (name == PointMesh::ColoursName)
            report.colours.kept = true;
        else if (name != PointMesh::VerticesName)
            report.keptSets.push_back(name.asChar());
    }
}

/// The report of a file that holds just this mesh. What the first file was, and its shift, stay.
trimora::ReadReport reportOf(koGeom::CompactMesh const& mesh, std::vector<int> trianglePolygon,
                             trimora::ReadReport const& first) {
    trimora::ReadReport report;
    report.format = first.format;
    report.variant = first.variant;
    report.name = first.name;
    report.shift = first.shift;
    report.vertices = mesh.getNumVertices();
    report.triangles = mesh.getNumTriangles();
    report.faces = report.triangles;
    if (!trianglePolygon.empty()) {
        report.faces = trianglePolygon.back() + 1;
        for (std::size_t t = 1; t < trianglePolygon.size(); ++t)
            report.polygons += trianglePolygon[t] == trianglePolygon[t - 1] &&
                               (t < 2 || trianglePolygon[t - 2] != trianglePolygon[t]);
    }
    nameAttributes(mesh, report);
    report.nonfiniteVertices = trimora::numNonfiniteVertices(mesh);
    report.trianglePolygon = std::move(trianglePolygon);
    return report;
}

/// Turns a mesh as a stage has left it into one as the next stage would read it.
void readAnew(LoadedMesh& loaded) {
    std::vector<int> trianglePolygon;
    if (loaded.mesh.getNumTriangles() == 0 && loaded.mesh.getNumPolys() > 0)
        cutPolygons(loaded.mesh, trianglePolygon);
    dropWhatNoFileHolds(loaded.mesh);
    loaded.report = reportOf(loaded.mesh, std::move(trianglePolygon), loaded.report);
}

}  // namespace

HandOver::HandOver(CarriedMesh& mesh, Purpose purpose, std::string target)
    : mesh_(mesh), purpose_(purpose), target_(std::move(target)) {
    assert(stageAtWork == nullptr);
    stageAtWork = this;
}

HandOver::~HandOver() {
    stageAtWork = nullptr;
}

HandOver* HandOver::current() {
    return stageAtWork;
}

void HandOver::take(LoadedMesh& loaded) {
    if (purpose_ == Purpose::Probe)
        throw Probed();
    isTaken_ = true;
    if (purpose_ == Purpose::Change)
        loaded.mesh.swap(mesh_.loaded.mesh);
    else
        loaded.mesh = mesh_.loaded.mesh;
    loaded.report = mesh_.loaded.report;
    if (mesh_.isOfStage)
        readAnew(loaded);
}

void HandOver::leave(koGeom::CompactMesh const& mesh, trimora::WriteOptions const& writing) {
    mesh_.loaded.mesh = mesh;
    mesh_.writing = writing;
    mesh_.isOfStage = true;
    isLeft_ = true;
}

}  // namespace app
