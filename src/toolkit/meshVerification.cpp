#include "toolkit/meshVerification.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/meshSubdivision.h"

#include "trimora/repair/MeshVerify.h"

namespace trimora {

namespace {

using Info = koGeom::MeshVerify::Info;

struct Row {
    char const* name;
    char const* meaning;
    bool Info::*flag;
};

constexpr Row rows[] = {
    {"corners", "no face has a corner of 0 degrees", &Info::checkCorners},
    {"directedEdges", "no edge is run twice the same way", &Info::checkDirectedEdges},
    {"faceRings", "no face names a vertex twice", &Info::checkFaceRings},
    {"vertexFans", "the faces at a vertex form one fan", &Info::checkVertexFans},
    {"vertexEdges", "the edges at a vertex are as many as the faces there",
     &Info::checkVertexEdges}};

bool passes(koGeom::TopoMesh& topoMesh, bool Info::*flag) {
    Info only;
    for (Row const& row : rows)
        only.*row.flag = row.flag == flag;
    return koGeom::MeshVerify()(topoMesh, only);
}

}  // namespace

VerifyOutcome verifyMesh(koGeom::CompactMesh const& mesh, std::vector<int> const& trianglePolygon,
                         koUtil::Progress& progress) {
    VerifyOutcome outcome;
    if (isRefused(outcome, mesh))
        return outcome;
    if (SurfaceFault const fault = faultOfFaces(mesh, trianglePolygon)) {
        refuse(outcome, fault);
        return outcome;
    }
    if (progress.cancelled())
        return cancelledOutcome<VerifyOutcome>();
    koGeom::TopoMesh topoMesh;
    fillTopoMesh(topoMesh, mesh, trianglePolygon);
    outcome.vertices = topoMesh.numVertices();
    outcome.faces = topoMesh.numFaces();
    outcome.halfEdges = topoMesh.numEdges();
    for (koGeom::TopoMeshEdge e = topoMesh.firstEdge(); e; e = e.nextInList())
        outcome.openEdges += e.twin() ? 0 : 1;
    outcome.passed = true;
    for (std::size_t i = 0; i < outcome.checks.size(); ++i) {
        progress.set(double(i + 1) / double(outcome.checks.size() + 1));
        if (progress.cancelled())
            return cancelledOutcome<VerifyOutcome>();
        outcome.checks[i] = {rows[i].name, rows[i].meaning, passes(topoMesh, rows[i].flag)};
        outcome.passed = outcome.passed && outcome.checks[i].passed;
    }
    progress.set(1.0);
    return outcome;
}

}  // namespace trimora
