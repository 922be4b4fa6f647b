#pragma once

#include "trimora/contract/koGeom/TopoMesh.h"

#include <functional>
#include <string>
#include <vector>

/// Sequences of edits of a half-edge mesh, each judged as it is done: for random tests and for fuzzing.
namespace topoEdits {

enum Kind : int {
    FaceAtPoint,
    FaceAcross,
    FaceChain,
    EdgeAtPoint,
    SplitEdge,
    SplitVertexAlong,
    SplitVertexBetween,
    Swap,
    Collapse,
    Contract,
    Merge,
    DeleteVertex,
    DeleteEdge,
    DeleteFace,
    AllocTriangle,
    SetTwins,
    NumKinds
};

/// The names of the kinds as they stand above.
extern char const* const kindNames[NumKinds];

/// Operands are drawn numbers that pick among what the mesh then has, so that any part of a sequence can be run.
struct Step {
    Kind kind;
    unsigned a, b, c;
};

struct Start {
    std::string name;
    std::function<void(koGeom::TopoMesh&)> fill;
};

/// Closed, open and non-manifold meshes, of triangles and of mixed polygons.
std::vector<Start> starts();

/// Runs the steps on a mesh that `fill` makes, and checks it after each with the independent checker: an allowed edit must do
/// what it promises, a forbidden one nothing.
///
/// done        out unless null: how often each kind was allowed, added up
/// returns     empty, or what is wrong and in which step
std::string runSteps(std::function<void(koGeom::TopoMesh&)> const& fill,
                     std::vector<Step> const& steps, std::vector<int>* done = nullptr);

}  // namespace topoEdits
