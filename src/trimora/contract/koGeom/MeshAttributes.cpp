#include "trimora/contract/koGeom/MeshAttributes.h"

#include <algorithm>
#include <cassert>
#include <limits>
#include <new>

namespace koGeom {

namespace {

int numFloats(int numElements, int dimension) {
    if (numElements > std::numeric_limits<int>::max() / dimension)
        throw std::bad_alloc();
    return std::max(numElements, 0) * dimension;
}

}  // namespace

MeshAttributes::MeshAttributes(koString::CString const& name, int floatsAnElement, int numElements)
    : dimension(std::clamp(floatsAnElement, 1, 4)), name_(name), numElements_(0) {
    resize(numElements);
}

MeshAttributes::~MeshAttributes() = default;

void MeshAttributes::resize(int numElements) {
    data_.setSizeZeroed(numFloats(numElements, dimension));
    numElements_ = std::max(numElements, 0);
    invalidateRange();
}

void MeshAttributes::copyFrom(float const* source, int numElements) {
    data_.copyFrom(source, numFloats(numElements, dimension));
    numElements_ = std::max(numElements, 0);
    invalidateRange();
}

void MeshAttributes::setAllocator(ko::Reference<ArrayAllocator> const& allocator) {
    data_.setAllocator(allocator);
}

void MeshAttributes::getRange(int component, float& lower, float& upper) const {
    assert(component >= 0 && component < dimension);
    if (ranges_.empty()) {
        float const infinity = std::numeric_limits<float>::infinity();
        ranges_.assign(static_cast<std::size_t>(dimension), Range{infinity, -infinity});
        float const* value = asFloat();
        for (int i = 0; i < numElements_; ++i) {
            for (Range& range : ranges_) {
                range.lower = *value < range.lower ? *value : range.lower;
                range.upper = *value > range.upper ? *value : range.upper;
                ++value;
            }
        }
    }
    Range const& range = ranges_[static_cast<std::size_t>(component)];
    lower = range.lower;
    upper = range.upper;
}

}  // namespace koGeom
