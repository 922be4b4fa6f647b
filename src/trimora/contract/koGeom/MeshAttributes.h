#pragma once

#include "trimora/contract/koGeom/Array.h"
#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/contract/koString/CString.h"
#include "trimora/export.h"

#include <vector>

namespace koGeom {

/// One named array of floats, `dimension` of them for each vertex of the mesh that owns it.
///
/// Made by PointMesh::allocAttributes and resized with the mesh; lives until the mesh drops the
/// set. The typed views show the same memory and fit sets of their own dimension only; all are null
/// while there is no element.
class TRIMORA_API MeshAttributes {
public:
    int dimension;  // floats an element, 1 to 4

    /// `numElements` elements, all zero.
    MeshAttributes(koString::CString const& name, int dimension, int numElements);
    /// A deep copy in ordinary heap storage, name and flag included.
    MeshAttributes(MeshAttributes const&) = default;
    MeshAttributes& operator=(MeshAttributes const&) = delete;
    ~MeshAttributes();

    koString::CString const& getName() const { return name_; }
    int getNumElements() const { return numElements_; }

    float* asFloat() { return data_.data(); }
    float const* asFloat() const { return data_.data(); }
    MeshFloat1* asFloat1() { return reinterpret_cast<MeshFloat1*>(asFloat()); }
    MeshFloat1 const* asFloat1() const { return reinterpret_cast<MeshFloat1 const*>(asFloat()); }
    MeshFloat2* asFloat2() { return reinterpret_cast<MeshFloat2*>(asFloat()); }
    MeshFloat2 const* asFloat2() const { return reinterpret_cast<MeshFloat2 const*>(asFloat()); }
    MeshFloat3* asFloat3() { return reinterpret_cast<MeshFloat3*>(asFloat()); }
    MeshFloat3 const* asFloat3() const { return reinterpret_cast<MeshFloat3 const*>(asFloat()); }
    MeshFloat4* asFloat4() { return reinterpret_cast<MeshFloat4*>(asFloat()); }
    MeshFloat4 const* asFloat4() const { return reinterpret_cast<MeshFloat4 const*>(asFloat()); }
    MeshUV* asMeshUV() { return reinterpret_cast<MeshUV*>(asFloat()); }
    MeshUV const* asMeshUV() const { return reinterpret_cast<MeshUV const*>(asFloat()); }

    /// Whether the set goes with the mesh when it is stored; true at first. Recreating the set on
    /// another mesh carries the flag over.
    bool isStoreable() const { return storeable_; }
    void setStoreable(bool storeable) { storeable_ = storeable; }

    /// Least and greatest value of one component (0 to dimension - 1) over all elements, NaN left
    /// out; lower above upper when there is none. Computed on the first request and kept: not safe
    /// against concurrent first calls.
    void getRange(int component, float& lower, float& upper) const;
    /// To be called after the data were written in bulk: the kept ranges are forgotten.
    void invalidateRange() { ranges_.clear(); }

private:
    friend class PointMesh;

    struct Range {
        float lower, upper;
    };

    void resize(int numElements);
    void copyFrom(float const* source, int numElements);
    void setAllocator(ko::Reference<ArrayAllocator> const& allocator);

    koString::CString name_;
    int numElements_;
    bool storeable_ = true;
    Array<float> data_;
    mutable std::vector<Range> ranges_;  // empty, or one for each component
};

}  // namespace koGeom
