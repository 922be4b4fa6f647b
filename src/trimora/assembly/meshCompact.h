#pragma once

#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/contract/koUtil/SortKeys.h"
#include "trimora/export.h"

#include <cstdint>

namespace koUtil {
class Progress;
}

namespace koGeom {

class CompactMesh;
class Remap;

/// Decides which vertices a weld merges. A host may derive from it.
class TRIMORA_API IMeshVertexEqualityChecker {
public:
    virtual ~IMeshVertexEqualityChecker();
    /// True when the two are to become one. Called on the calling thread alone, with pointers into the mesh's array.
    virtual bool equal(MeshVertex const* a, MeshVertex const* b) = 0;
};

/// Exactly equal coordinates: NaN equals nothing, 0.0 equals -0.0.
class TRIMORA_API DefaultMeshVertexEqualityChecker : public IMeshVertexEqualityChecker {
public:
    ~DefaultMeshVertexEqualityChecker() override;
    bool equal(MeshVertex const* a, MeshVertex const* b) override;
};

/// Orders vertices by x, y, z, without tolerance. A NaN counts as equal to everything here; sortKey puts it last.
struct VertexCompare {
    float const* vertices;  ///< 3 each

    /// -1, 0 or 1.
    TRIMORA_API int compare(int a, int b) const;
    bool operator()(int a, int b) const { return compare(a, b) < 0; }
    std::uint64_t sortKey(int index) const {
        float const* const p = vertices + 3 * static_cast<std::size_t>(index);
        return koUtil::sortKeyOf(p[0]) << 32 | koUtil::sortKeyOf(p[1]);
    }
};

/// The same, then by the normal.
struct VertexNormalCompare {
    float const* vertices;  ///< 3 each
    float const* normals;   ///< 3 each

    TRIMORA_API int compare(int a, int b) const;
    bool operator()(int a, int b) const { return compare(a, b) < 0; }
    std::uint64_t sortKey(int index) const { return VertexCompare{vertices}.sortKey(index); }
};

/// The same, then by the texture coordinate.
struct VertexNormalUVCompare {
    float const* vertices;  ///< 3 each
    float const* normals;   ///< 3 each
    float const* uvs;       ///< 2 each

    TRIMORA_API int compare(int a, int b) const;
    bool operator()(int a, int b) const { return compare(a, b) < 0; }
    std::uint64_t sortKey(int index) const { return VertexCompare{vertices}.sortKey(index); }
};

/// Welds: merges equal vertices and renumbers the triangles, strips and fans.
///
/// Vertices are put in lexicographic order of x, y, z, then of the normal if the mesh has authored normals (not computed
/// ones), then of the texture coordinate if it has both. Each is compared with the first of the run before it: by the
/// checker, and by == of the further keys. Texture coordinates without authored normals keep nothing apart.
///
/// mesh      edited in place: positions, authored normals and texture coordinates, triangles, strips and fans.
///           Triangles stay even where they become degenerate. Computed normals, other named sets, lines, line strips,
///           polygons and selections are not renumbered: what the modification does not keep is dropped by it
/// progress  0.8 for the sort and 0.2 for the rest; a weld cannot be stopped
/// remap     out: the new index of each old one; the identity where nothing merges
/// order     where anything merges all vertices come out in lexicographic order; of merged ones the highest old index
///           gives the data. Where nothing merges the mesh stays as it was, and no modification is sent; else one of
///           type Topology with the remap
/// nan       merges with nothing and comes last
/// cost      the default checker: O(n) and about 25 bytes of scratch a vertex; another one: a sort of all vertices.
///           Runs on the shared pool; the result does not depend on it
TRIMORA_API void meshCompact(CompactMesh& mesh, koUtil::Progress& progress, Remap& remap,
                             IMeshVertexEqualityChecker& checker);
TRIMORA_API void meshCompact(CompactMesh& mesh, koUtil::Progress& progress, Remap& remap);
TRIMORA_API void meshCompact(CompactMesh& mesh, koUtil::Progress& progress);

}  // namespace koGeom
