#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/koGeom/MeshSequence.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/export.h"

#include <cstdint>

namespace koGeom {

/// Walks triangles that lie one after the other as three vertex numbers each.
///
/// lifetime   the array is the caller's and outlives the iterator
/// indices    get() asks for valid(); seek() takes 0 to numTri()
/// threads    one iterator a thread; iterators over one array do not disturb each other
class TRIMORA_API RawTriIterator : public ko::ReferenceCount {
public:
    RawTriIterator(int numTriangles, int const* triangles);
    RawTriIterator(RawTriIterator const&);
    ~RawTriIterator() override;

    bool valid() const { return current_ < count_; }
    void next() { ++current_; }
    void seek(int i) { current_ = i; }
    /// As seek(): every place can be walked on from.
    void start(int i) { seek(i); }
    int numTri() const { return count_; }
    void get(int& a, int& b, int& c) const {
        int const* const corners = triangles_ + 3 * static_cast<std::int64_t>(current_);
        a = corners[0], b = corners[1], c = corners[2];
    }
    void get(unsigned int& a, unsigned int& b, unsigned int& c) const;
    /// A new one at the same place.
    ko::Reference<RawTriIterator> clone() const;

private:
    int const* triangles_;
    int count_;
    int current_ = 0;
};

/// Walks the triangles of strips of 16-bit vertex numbers; every other triangle of a strip has its first two corners exchanged, so
/// that all keep the winding of the strip's first.
///
/// strips     of three points or more each; the caller's, unchanged, and outlives the iterator
/// indices    get() asks for valid(); seek() takes 0 to numTri() - 1, start() 0 to numTri()
/// threads    make one iterator on the calling thread and clones of it for the others, which only read
class TRIMORA_API ShortTriStripIterator : public ko::ReferenceCount {
public:
    explicit ShortTriStripIterator(MeshSequenceShort const& strips);
    ShortTriStripIterator(ShortTriStripIterator const&);
    ~ShortTriStripIterator() override;

    bool valid() const { return strip_ < numStrips_; }
    void next();
    /// Goes to one triangle in a few steps, for a look at it: next() does not notice the end of the strip from there on, and the
    /// first two triangles of a strip other than the first can be missed, for the end of the strip before.
    void seek(int i);
    /// Goes to one triangle by going through the strips, to walk on from there; numTri() leaves nothing to walk.
    void start(int i);
    int numTri() const { return numPoints_ - 2 * numStrips_; }
    void get(int& a, int& b, int& c) const;
    void get(unsigned int& a, unsigned int& b, unsigned int& c) const;
    /// A new one at the same place.
    ko::Reference<ShortTriStripIterator> clone() const;

private:
    std::uint16_t const* points_;
    int const* lengths_;
    int const* offsets_;
    int numStrips_;
    int numPoints_;
    int strip_ = 0;
    int stripEnd_ = 0;  // place behind the strip's last point
    int position_ = 0;  // place of the triangle's last point
    bool isOdd_ = false;
};

}  // namespace koGeom
