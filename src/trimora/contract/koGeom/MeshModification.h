#pragma once

#include "trimora/contract/koGeom/Entity.h"
#include "trimora/contract/koString/CString.h"
#include "trimora/export.h"

#include <vector>

namespace koGeom {

class PointMesh;
struct MeshRemap;

/// Tells a mesh, and through it all who listen, what an algorithm did to it.
///
/// Made on the stack, marked, and handed once to the mesh's `modified`, after the last edit. The
/// type says what changed; marker calls say which arrays are right all the same. What is not marked
/// is stale after a change of the mesh's topology and is dropped; CompactMesh::modified tells the
/// details.
class TRIMORA_API MeshModification : public EntityModification {
public:
    enum Type {
        Geometry = 0,    // positions moved, connectivity the same
        Topology = 1,    // vertices or triangles were added, removed or renumbered
        Attributes = 2,  // only derived or attached data changed
    };

    /// What a marker can stand for.
    enum Part : unsigned {
        Normals = 1u << 0,
        UVs = 1u << 1,
        STs = 1u << 2,
        Colours = 1u << 3,
        TriangleNormals = 1u << 4,
        StripsAndFans = 1u << 5,
        Polys = 1u << 6,
        Lines = 1u << 7,
        LineStrips = 1u << 8,
    };

    /// `remap` tells how vertices and triangles were renumbered; null when the mesh was built
    /// afresh. Not owned.
    MeshModification(PointMesh const* mesh, Type type, MeshRemap* remap);
    ~MeshModification() override;

    Type getType() const { return type_; }
    MeshRemap* getRemap() const { return remap_; }

    // "...Modified": this array was rewritten by the operation.
    void normalsModified() { modified_ |= Normals; }
    void uvsModified() { modified_ |= UVs; }
    void stsModified() { modified_ |= STs; }
    void triangleNormalsModified() { modified_ |= TriangleNormals; }
    void stripsAndFansModified() { modified_ |= StripsAndFans; }
    void polysModified() { modified_ |= Polys; }
    void linesModified() { modified_ |= Lines; }
    void lineStripsModified() { modified_ |= LineStrips; }
    /// A named set; "normals", "uvs", "sts" and "colours" count as their own markers too.
    void vertexAttribsModified(koString::CString const& name);

    // "...Valid": despite the change this array is still right.
    void normalsValid() { valid_ |= Normals; }
    void uvsValid() { valid_ |= UVs; }
    void stsValid() { valid_ |= STs; }
    void coloursValid() { valid_ |= Colours; }
    void triangleNormalsValid() { valid_ |= TriangleNormals; }

    bool isModified(Part part) const { return (modified_ & part) != 0; }
    bool isValid(Part part) const { return (valid_ & part) != 0; }
    /// Modified or valid: the array stays.
    bool keeps(Part part) const { return isModified(part) || isValid(part); }
    /// The same for an attribute set by its name.
    bool keepsVertexAttribs(koString::CString const& name) const;
    /// The names given to vertexAttribsModified, each once, in the order of the first calls.
    std::vector<koString::CString> const& modifiedVertexAttribs() const { return names_; }

private:
    Type type_;
    MeshRemap* remap_;
    unsigned modified_ = 0;
    unsigned valid_ = 0;
    std::vector<koString::CString> names_;
};

}  // namespace koGeom
