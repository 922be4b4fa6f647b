#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshModification.h"
#include "trimora/contract/koUtil/Progress.h"

#include <vector>

namespace koGeom::detail {

/// Raises a mesh's signal by itself. `modified` would drop the computed normals first, which the
/// next pass of a smoother still needs.
struct NoticeOnly : CompactMesh {
    static void send(CompactMesh const& mesh, EntityModification& modification) {
        (mesh.*&NoticeOnly::sendMessage)(modification);
    }
};

/// What all smoothers share: works out where each selected vertex goes, then moves them all and
/// sends one notice. Cancelled: nothing moves, nothing is sent.
///
/// newPlace   of (vertex number): its new position, a PointFlt
template <class NewPlace>
void smoothSelected(CompactMesh& mesh, koUtil::Progress& progress, NewPlace const& newPlace) {
    struct Moved {
        int vertex;
        PointFlt to;
    };
    constexpr int pollStride = 1000;

    BitVector const& selection = mesh.getSelectedVertices();
    int const numSelected = selection.count;
    std::vector<Moved> moves;
    moves.reserve(static_cast<std::size_t>(numSelected));
    for (int vertex = 0; vertex < mesh.getNumVertices(); ++vertex) {
        if (moves.size() % pollStride == 0) {
            if (progress.cancelled())
                return;
            progress.set(numSelected > 0 ? (static_cast<double>(moves.size()) + 1.0) / numSelected
                                         : 1.0);
        }
        if (selection.isBitSet(vertex) != 0)
            moves.push_back({vertex, newPlace(vertex)});
    }

    MeshVertex* const vertices = mesh.getVertices();
    for (Moved const& moved : moves)
        vertices[moved.vertex].set(moved.to.x, moved.to.y, moved.to.z);
    MeshModification modification(&mesh, MeshModification::Geometry, nullptr);
    NoticeOnly::send(mesh, modification);
}

}  // namespace koGeom::detail
