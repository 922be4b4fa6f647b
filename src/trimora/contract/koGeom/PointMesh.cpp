#include "trimora/contract/koGeom/PointMesh.h"

#include <algorithm>
#include <new>
#include <utility>

// The sets are held one by one on the heap, so that they stay where they are while others come and
// go. Looking up a set by name walks the short list: algorithms fetch their pointers once.

namespace koGeom {

koString::CString const PointMesh::VerticesName("vertices");
koString::CString const PointMesh::NormalsName("normals");
koString::CString const PointMesh::UVsName("uvs");
koString::CString const PointMesh::STsName("sts");
koString::CString const PointMesh::ColoursName("colours");

PointMesh::PointMesh() : PointMesh(0) {}

PointMesh::PointMesh(int numVertices) {
    sets_.push_back(std::make_unique<MeshAttributes>(VerticesName, 3, numVertices));
}

PointMesh::PointMesh(PointMesh const& other)
    : Entity(other),
      selectedVertices_(other.selectedVertices_),
      normalsComputed_(other.normalsComputed_) {
    for (std::unique_ptr<MeshAttributes> const& set : other.sets_)
        sets_.push_back(std::make_unique<MeshAttributes>(*set));
}

PointMesh& PointMesh::operator=(PointMesh const& other) {
    if (this != &other) {
        PointMesh copy(other);
        swapPoints(copy);
    }
    return *this;
}

PointMesh::~PointMesh() = default;

void PointMesh::setArrayAllocator(ko::Reference<ArrayAllocator> allocator) {
    for (std::unique_ptr<MeshAttributes> const& set : sets_)
        set->setAllocator(allocator);
    allocator_ = allocator;
}

void PointMesh::modified(MeshModification& modification) {
    dropStaleAttributes(modification);
    sendMessage(modification);
}

std::size_t PointMesh::getSizeInBytes() const {
    std::size_t numBytes =
        sizeof(std::uint32_t) * static_cast<std::size_t>(selectedVertices_.numWords());
    for (std::unique_ptr<MeshAttributes> const& set : sets_) {
        numBytes += sizeof(float) * static_cast<std::size_t>(set->dimension) *
                    static_cast<std::size_t>(set->getNumElements());
    }
    return numBytes;
}

float* PointMesh::getNormalsRaw() {
    return findRaw(NormalsName, 3);
}

float const* PointMesh::getNormalsRaw() const {
    return findRaw(NormalsName, 3);
}

float* PointMesh::getUVsRaw() {
    return findRaw(UVsName, 2);
}

float const* PointMesh::getUVsRaw() const {
    return findRaw(UVsName, 2);
}

float* PointMesh::getSTsRaw() {
    return findRaw(STsName, 2);
}

float const* PointMesh::getSTsRaw() const {
    return findRaw(STsName, 2);
}

void PointMesh::allocNormalArray() {
    allocAttributes(NormalsName, 3);
}

void PointMesh::allocUVArray() {
    allocAttributes(UVsName, 2);
}

void PointMesh::allocSTArray() {
    allocAttributes(STsName, 2);
}

void PointMesh::deleteNormals() {
    deleteAttributes(NormalsName);
}

void PointMesh::deleteUVs() {
    deleteAttributes(UVsName);
}

void PointMesh::deleteSTs() {
    deleteAttributes(STsName);
}

void PointMesh::resizeVertexArray(int numVertices) {
    // The positions, which are the count, come last: without memory for all what has grown shrinks back.
    int const oldNumVertices = getNumVertices();
    try {
        for (std::size_t i = sets_.size(); i-- > 0;)
            sets_[i]->resize(numVertices);
    } catch (std::bad_alloc const&) {
        for (std::size_t i = sets_.size(); i-- > 1;)
            sets_[i]->resize(oldNumVertices);
        throw;
    }
}

void PointMesh::copyVertices(int numVertices, MeshVertex const* vertices) {
    for (std::size_t i = sets_.size(); i-- > 1;)  // before the positions, as above
        sets_[i]->resize(numVertices);
    sets_.front()->copyFrom(reinterpret_cast<float const*>(vertices), numVertices);
}

MeshAttributes* PointMesh::getAttributes(koString::CString const& name) {
    std::size_t const i = findSet(name);
    return i < sets_.size() ? sets_[i].get() : nullptr;
}

MeshAttributes const* PointMesh::getAttributes(koString::CString const& name) const {
    std::size_t const i = findSet(name);
    return i < sets_.size() ? sets_[i].get() : nullptr;
}

MeshAttributes* PointMesh::getAttributes(int i) {
    return i >= 0 && i < getNumAttributes() ? sets_[static_cast<std::size_t>(i)].get() : nullptr;
}

MeshAttributes const* PointMesh::getAttributes(int i) const {
    return i >= 0 && i < getNumAttributes() ? sets_[static_cast<std::size_t>(i)].get() : nullptr;
}

void PointMesh::getAttributeNames(
    ko::set<koString::CString, ko::less<koString::CString>>& names) const {
    for (std::unique_ptr<MeshAttributes> const& set : sets_)
        names.insert(set->getName());
}

MeshAttributes* PointMesh::allocAttributes(koString::CString const& name, int dimension) {
    if (dimension < 1 || dimension > 4)
        return nullptr;
    std::size_t const i = findSet(name);
    if (i == 0)
        return sets_.front().get();

    auto set = std::make_unique<MeshAttributes>(name, dimension, getNumVertices());
    set->setAllocator(allocator_);
    if (koString::equal(name, NormalsName))
        normalsComputed_ = false;
    if (i == sets_.size())
        sets_.push_back(nullptr);
    sets_[i] = std::move(set);  // last use of `name`: it may be the replaced set's own
    return sets_[i].get();
}

void PointMesh::deleteAttributes(koString::CString const& name) {
    if (koString::equal(name, NormalsName))
        normalsComputed_ = false;
    std::size_t const i = findSet(name);
    if (i > 0 && i < sets_.size())  // after the last use of `name`: it may be the set's own
        sets_.erase(sets_.begin() + static_cast<std::ptrdiff_t>(i));
}

void PointMesh::dropStaleAttributes(MeshModification const& modification) {
    if (modification.getType() == MeshModification::Geometry) {
        if (normalsComputed_ && !modification.keeps(MeshModification::Normals))
            deleteNormals();
        return;
    }
    if (modification.getType() != MeshModification::Topology)
        return;
    for (int i = getNumAttributes() - 1; i > 0; --i) {
        koString::CString const name = getAttributes(i)->getName();
        if (!modification.keepsVertexAttribs(name))
            deleteAttributes(name);
    }
}

void PointMesh::swapPoints(PointMesh& other) {
    sets_.swap(other.sets_);
    selectedVertices_.swap(other.selectedVertices_);
    std::swap(normalsComputed_, other.normalsComputed_);
    for (std::unique_ptr<MeshAttributes> const& set : sets_)
        set->setAllocator(allocator_);
    for (std::unique_ptr<MeshAttributes> const& set : other.sets_)
        set->setAllocator(other.allocator_);
}

std::size_t PointMesh::findSet(koString::CString const& name) const {
    auto const found = std::find_if(sets_.begin(), sets_.end(),
                                    [&name](std::unique_ptr<MeshAttributes> const& set) {
                                        return koString::equal(set->getName(), name);
                                    });
    return static_cast<std::size_t>(found - sets_.begin());
}

float* PointMesh::findRaw(koString::CString const& name, int dimension) {
    MeshAttributes* const set = getAttributes(name);
    return set != nullptr && set->dimension == dimension ? set->asFloat() : nullptr;
}

float const* PointMesh::findRaw(koString::CString const& name, int dimension) const {
    MeshAttributes const* const set = getAttributes(name);
    return set != nullptr && set->dimension == dimension ? set->asFloat() : nullptr;
}

}  // namespace koGeom
