#include "trimora/contract/koGeom/MeshModification.h"

#include "trimora/contract/koGeom/PointMesh.h"

#include <algorithm>

namespace koGeom {

namespace {

// The marker that stands for a set of this name; 0 for sets that have only their name.
unsigned partOf(koString::CString const& name) {
    if (koString::equal(name, PointMesh::NormalsName))
        return MeshModification::Normals;
    if (koString::equal(name, PointMesh::UVsName))
        return MeshModification::UVs;
    if (koString::equal(name, PointMesh::STsName))
        return MeshModification::STs;
    if (koString::equal(name, PointMesh::ColoursName))
        return MeshModification::Colours;
    return 0;
}

bool contains(std::vector<koString::CString> const& names, koString::CString const& name) {
    return std::any_of(names.begin(), names.end(), [&name](koString::CString const& other) {
        return koString::equal(other, name);
    });
}

}  // namespace

MeshModification::MeshModification(PointMesh const* mesh, Type type, MeshRemap* remap)
    : EntityModification(mesh), type_(type), remap_(remap) {}

MeshModification::~MeshModification() = default;

void MeshModification::vertexAttribsModified(koString::CString const& name) {
    modified_ |= partOf(name);
    if (!contains(names_, name))
        names_.push_back(name);
}

bool MeshModification::keepsVertexAttribs(koString::CString const& name) const {
    return ((modified_ | valid_) & partOf(name)) != 0 || contains(names_, name);
}

}  // namespace koGeom
