#include "trimora/assembly/triangleIterators.h"

#include <cassert>
#include <utility>

namespace koGeom {

RawTriIterator::RawTriIterator(int numTriangles, int const* triangles)
    : triangles_(triangles), count_(numTriangles) {}

RawTriIterator::RawTriIterator(RawTriIterator const&) = default;

RawTriIterator::~RawTriIterator() = default;

void RawTriIterator::get(unsigned int& a, unsigned int& b, unsigned int& c) const {
    int i, j, k;
    get(i, j, k);
    a = static_cast<unsigned>(i), b = static_cast<unsigned>(j), c = static_cast<unsigned>(k);
}

ko::Reference<RawTriIterator> RawTriIterator::clone() const {
    return new RawTriIterator(*this);
}

ShortTriStripIterator::ShortTriStripIterator(MeshSequenceShort const& strips)
    : points_(strips.points.data()),
      lengths_(strips.lengths.data()),
      offsets_(strips.getOffsets()),
      numStrips_(strips.getNumRuns()),
      numPoints_(strips.getNumPoints()) {
    if (numStrips_ > 0) {
        position_ = 2;
        stripEnd_ = lengths_[0];
    }
}

ShortTriStripIterator::ShortTriStripIterator(ShortTriStripIterator const&) = default;

ShortTriStripIterator::~ShortTriStripIterator() = default;

void ShortTriStripIterator::next() {
    if (++position_ != stripEnd_) {
        isOdd_ = !isOdd_;
        return;
    }
    if (++strip_ < numStrips_) {
        isOdd_ = false;
        stripEnd_ += lengths_[strip_];
        position_ += 2;
    }
}

void ShortTriStripIterator::seek(int i) {
    assert(i >= 0 && (i < numTri() || i == 0));
    // Kept as it is: a strip is taken for two triangles longer than it is, and its end is not told from its length.
    int low = 0, high = numStrips_ - 1;
    int middle = 0;
    while (low <= high) {
        middle = (low + high) / 2;
        position_ = i + 2 * middle + 2;
        int const first = offsets_[middle] + 2;
        if (position_ < first)
            high = middle - 1;
        else if (position_ < first + lengths_[middle])
            break;
        else
            low = middle + 1;
    }
    if (numStrips_ < 1)
        return;
    strip_ = middle;
    stripEnd_ = lengths_[middle];
    isOdd_ = (position_ - offsets_[middle]) % 2 != 0;
}

void ShortTriStripIterator::start(int i) {
    assert(i >= 0 && i <= numTri());
    strip_ = 0;
    while (strip_ < numStrips_ && i >= lengths_[strip_] - 2)
        i -= lengths_[strip_++] - 2;
    if (!valid())
        return;
    position_ = offsets_[strip_] + 2 + i;
    stripEnd_ = offsets_[strip_] + lengths_[strip_];
    isOdd_ = i % 2 != 0;
}

void ShortTriStripIterator::get(int& a, int& b, int& c) const {
    assert(valid());
    std::uint16_t const* const last = points_ + position_;
    a = last[-2], b = last[-1], c = last[0];
    if (isOdd_)
        std::swap(a, b);
}

void ShortTriStripIterator::get(unsigned int& a, unsigned int& b, unsigned int& c) const {
    int i, j, k;
    get(i, j, k);
    a = static_cast<unsigned>(i), b = static_cast<unsigned>(j), c = static_cast<unsigned>(k);
}

ko::Reference<ShortTriStripIterator> ShortTriStripIterator::clone() const {
    return new ShortTriStripIterator(*this);
}

}  // namespace koGeom
