#pragma once

#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/topology/MeshConvertRep.h"
#include "trimora/topology/detail/SelectionMap.h"

namespace koGeom {

/// The region of a bridge, its half-edge mesh and the tables between them.
///
/// The half-edge mesh is private, so that its first vertices are those of the region, in the same order: the slot of a
/// vertex of the region is the creation number of its handle.
class MeshConvertRep::ConvertImpl {
public:
    ConvertImpl(CompactMesh const& source, BitVector const& triangles, BitVector const& vertices,
                MeshAdjTris const& table);
    ConvertImpl(ConvertImpl const&) = delete;
    ConvertImpl& operator=(ConvertImpl const&) = delete;
    virtual ~ConvertImpl();

    virtual TopoMesh& extract();

    CompactMesh const& mesh;
    BitVector
        selectedTriangles;  ///< as given; from extract() on one bit for each triangle of the mesh
    BitVector selectedVertices;
    MeshAdjTris const& adj;
    SelectionMap<TopoMeshVertex> vertexMap;
    SelectionMap<TopoMeshFace> triangleMap;
    TopoMesh topo;
    bool isExtracted = false;
};

}  // namespace koGeom
