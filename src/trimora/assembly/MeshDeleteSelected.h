#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/Remap.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class MeshAdjTris;

/// Deletes the selected triangles of a mesh, and the selected vertices that no other triangle
/// needs.
///
/// Lives no longer than the mesh. Copies share the stored map.
/// kept      vertices and triangles keep their order. A vertex outside the selection stays, even if
///           no triangle uses it any more; a selected one stays if a triangle outside the selection
///           uses it
/// carried   positions and UVs. Normals and other sets are not renumbered: they go with the
///           modification
/// refuses   without a selected triangle: nothing happens, nothing is sent
/// cost      linear
/// sends     one Topology modification with both renumberings; without them when every triangle is
///           selected: the mesh is then empty, unselected vertices included
class TRIMORA_API MeshDeleteSelected {
public:
    explicit MeshDeleteSelected(CompactMesh& mesh);
    MeshDeleteSelected(MeshDeleteSelected const& other);
    MeshDeleteSelected& operator=(MeshDeleteSelected const& other);
    ~MeshDeleteSelected();

    /// Deletes by the mesh's selections, which are empty afterwards. Bits that a selection lacks
    /// count as clear.
    void operator()();

    /// Selects the listed triangles, and the vertices from them, in place of the mesh's selections;
    /// then the same.
    void operator()(MeshAdjTris const& adjTris, ko::vector<int> const& triangles);

    /// Old to new vertex numbers of the last run that kept a triangle; null before.
    ko::Reference<Remap> getVertexMap() const { return vertexMap_; }

private:
    CompactMesh* mesh_;
    ko::Reference<Remap> vertexMap_;
};

}  // namespace koGeom
