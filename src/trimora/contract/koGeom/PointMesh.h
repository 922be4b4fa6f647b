#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/Entity.h"
#include "trimora/contract/koGeom/MeshAttributes.h"
#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/contract/koGeom/MeshModification.h"
#include "trimora/export.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace koGeom {

/// A cloud of vertices with named sets of floats, one element a vertex.
///
/// Positions and normals are such sets themselves: set 0 is "vertices", the positions, which always
/// exists; the others follow in the order of their creation. The typed getters are null for a set
/// that is absent, has no elements, or has another dimension than its name asks for. New elements
/// are zero. Pointers are valid until the count changes or the set is dropped; indices are not
/// checked.
class TRIMORA_API PointMesh : public Entity {
public:
    static koString::CString const VerticesName;  // "vertices", dimension 3
    static koString::CString const NormalsName;   // "normals", dimension 3
    static koString::CString const UVsName;       // "uvs", dimension 2
    static koString::CString const STsName;       // "sts", dimension 2
    static koString::CString const ColoursName;   // "colours", dimension 4

    PointMesh();
    /// Zero positions.
    explicit PointMesh(int numVertices);
    /// A deep copy in ordinary heap storage, selections included; connections stay with the source.
    PointMesh(PointMesh const& other);
    /// A deep copy; this mesh's own allocator and connections stay.
    PointMesh& operator=(PointMesh const& other);
    ~PointMesh() override;

    /// Puts all arrays of the mesh, and those to come, into storage of this allocator; null for
    /// ordinary heap storage.
    virtual void setArrayAllocator(ko::Reference<ArrayAllocator> allocator);

    /// The last step of every edit: drops what the modification makes stale, then raises the
    /// modification signal once.
    ///
    /// Topology drops every set but the positions, unless it was marked as modified or valid;
    /// Geometry drops computed normals unless marked; Attributes drops nothing. Positions and
    /// selections are never touched.
    virtual void modified(MeshModification& modification);

    /// Bytes in all arrays, sets and selections included.
    virtual std::size_t getSizeInBytes() const;

    int getNumVertices() const { return sets_.front()->getNumElements(); }

    MeshVertex* getVertices() { return reinterpret_cast<MeshVertex*>(getVerticesRaw()); }
    MeshVertex const* getVertices() const {
        return reinterpret_cast<MeshVertex const*>(getVerticesRaw());
    }
    float* getVerticesRaw() { return sets_.front()->asFloat(); }
    float const* getVerticesRaw() const { return sets_.front()->asFloat(); }

    MeshNormal* getNormals() { return reinterpret_cast<MeshNormal*>(getNormalsRaw()); }
    MeshNormal const* getNormals() const {
        return reinterpret_cast<MeshNormal const*>(getNormalsRaw());
    }
    float* getNormalsRaw();
    float const* getNormalsRaw() const;

    /// The set "uvs", dimension 2.
    MeshUV* getUVs() { return reinterpret_cast<MeshUV*>(getUVsRaw()); }
    MeshUV const* getUVs() const { return reinterpret_cast<MeshUV const*>(getUVsRaw()); }
    float* getUVsRaw();
    float const* getUVsRaw() const;

    /// The set "sts", dimension 2: a second texture coordinate.
    MeshUV* getSTs() { return reinterpret_cast<MeshUV*>(getSTsRaw()); }
    MeshUV const* getSTs() const { return reinterpret_cast<MeshUV const*>(getSTsRaw()); }
    float* getSTsRaw();
    float const* getSTsRaw() const;

    /// New normals are authored data until setNormalsComputed says otherwise.
    void allocNormalArray();
    void allocUVArray();
    void allocSTArray();
    /// Clears the computed flag too.
    void deleteNormals();
    void deleteUVs();
    void deleteSTs();

    /// Whether the normals were derived from the triangles and are no authored data.
    bool getNormalsComputed() const { return normalsComputed_; }
    void setNormalsComputed(bool computed) { normalsComputed_ = computed; }

    /// Resizes every set, keeping the leading elements; selections stay as they are. Below 0 is 0.
    void resizeVertexArray(int numVertices);
    /// Replaces all positions and resizes the other sets as above. The source may lie in this
    /// mesh's positions.
    void copyVertices(int numVertices, MeshVertex const* vertices);

    /// The named set or null.
    MeshAttributes* getAttributes(koString::CString const& name);
    MeshAttributes const* getAttributes(koString::CString const& name) const;
    /// The i-th set, null outside 0 to getNumAttributes() - 1.
    MeshAttributes* getAttributes(int i);
    MeshAttributes const* getAttributes(int i) const;
    int getNumAttributes() const { return static_cast<int>(sets_.size()); }
    /// Adds the names of all sets.
    void getAttributeNames(ko::set<koString::CString, ko::less<koString::CString>>& names) const;

    /// Creates a set of zeros, `dimension` floats a vertex. A set of that name is replaced in its
    /// place; the positions are left as they are. Null, and nothing created, for a dimension
    /// outside 1 to 4.
    MeshAttributes* allocAttributes(koString::CString const& name, int dimension);
    /// Nothing happens when there is no such set; the positions cannot be deleted. Without normals
    /// the computed flag is clear.
    void deleteAttributes(koString::CString const& name);

    BitVector& getSelectedVertices() { return selectedVertices_; }
    BitVector const& getSelectedVertices() const { return selectedVertices_; }

protected:
    /// The part of `modified` that drops stale sets; sends nothing.
    void dropStaleAttributes(MeshModification const& modification);
    /// Exchanges all data, not the connections; each mesh keeps its allocator.
    void swapPoints(PointMesh& other);

private:
    std::size_t findSet(koString::CString const& name) const;
    float* findRaw(koString::CString const& name, int dimension);
    float const* findRaw(koString::CString const& name, int dimension) const;

    std::vector<std::unique_ptr<MeshAttributes>> sets_;  // never empty: the positions come first
    ko::Reference<ArrayAllocator> allocator_;
    BitVector selectedVertices_;
    bool normalsComputed_ = false;
};

}  // namespace koGeom
