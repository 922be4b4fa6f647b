#include "trimora/assembly/lineIterators.h"

#include "trimora/contract/koGeom/CompactMesh.h"

#include <cassert>

namespace koGeom {

LineVertexIterator::LineVertexIterator(CompactMesh const& mesh)
    : lines_(mesh.getLines()), numLines_(mesh.getNumLines()) {
    if (numLines_ > 0)
        previous_ = lines_[numLines_ - 1][1];
}

int LineVertexIterator::index() const {
    assert(valid());
    return lines_[line_][end_];
}

void LineVertexIterator::next() {
    previous_ = index();
    if (end_ == 0) {
        end_ = 1;
    } else {
        ++line_;
        end_ = 0;
    }
}

LineStripVertexIterator::LineStripVertexIterator(CompactMesh const& mesh)
    : points_(mesh.getLineStripPoints()),
      lengths_(mesh.getLineStripLengths()),
      numPoints_(mesh.getNumLineStripPoints()),
      numStrips_(mesh.getNumLineStrips()) {
    for (start(); valid(); nextStrip())
        if (length_ > 0)
            previous_ = points_[offset_ + length_ - 1];
    start();
}

void LineStripVertexIterator::start() {
    strip_ = offset_ = position_ = 0;
    length_ = numStrips_ > 0 ? lengths_[0] : 0;
}

void LineStripVertexIterator::nextStrip() {
    if (!valid())
        return;
    position_ = 0;
    offset_ += length_;
    length_ = ++strip_ < numStrips_ ? lengths_[strip_] : 0;
}

void LineStripVertexIterator::next() {
    if (position_ >= length_)
        nextStrip();
    else
        ++position_;
}

int LineStripVertexIterator::index() const {
    int const place = offset_ + position_;
    return place < numPoints_ ? points_[place] : -1;
}

}  // namespace koGeom
