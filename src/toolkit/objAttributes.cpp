// Texture coordinates and normals of corners to those of vertices: possible where all corners of a vertex name the same
// values. Serial and linear; a file whose corners all name the element of their vertex takes one copy.

#include "toolkit/detail/ObjJoin.h"

#include <algorithm>

namespace trimora {

bool AttributeJoiner::join(ReadReport::Attribute& report) {
    gather();
    if (all_.empty() || numVertices_ == 0)
        return false;
    if (isSimple()) {
        report.kept = true;
        return true;
    }

    elementOf_.assign(numVertices_, unused);
    isSeam_.assign(numVertices_, 0);
    std::size_t elementBase = 0;
    for (JoinedPiece const& piece : pieces_) {
        assign(piece, elementBase, report);
        elementBase += (piece.records.*values_).size() / dimension_;
    }
    report.missing = std::count(elementOf_.begin(), elementOf_.end(), none);
    bool const isNamed =
        std::any_of(elementOf_.begin(), elementOf_.end(), [](int element) { return element >= 0; });
    report.kept = isNamed && report.seams == 0 && report.missing == 0;

    // Where every vertex of a face has the element of its own number, so have the others.
    bool isOwn = numElements() == numVertices_;
    for (std::size_t v = 0; v < numVertices_ && isOwn; ++v)
        isOwn = elementOf_[v] == unused || elementOf_[v] == static_cast<int>(v);
    if (isOwn)
        elementOf_.clear();
    return report.kept;
}

void AttributeJoiner::gather() {
    std::size_t size = 0;
    for (JoinedPiece const& piece : pieces_)
        size += (piece.records.*values_).size();
    all_.reserve(size);
    for (JoinedPiece& piece : pieces_) {
        std::vector<float>& values = piece.records.*values_;
        all_.insert(all_.end(), values.begin(), values.end());
    }
}

/// One element a vertex, and all corners name that of their vertex, or there are no faces to name any.
bool AttributeJoiner::isSimple() const {
    return numElements() == numVertices_ &&
           std::all_of(pieces_.begin(), pieces_.end(), [this](JoinedPiece const& piece) {
               return piece.records.vertexOf.indices.empty() ||
                      (piece.records.*corners_).form == ObjCorners::Form::SameAsVertex;
           });
}

void AttributeJoiner::assign(JoinedPiece const& piece, std::size_t elementBase,
                             ReadReport::Attribute& report) {
    ObjCorners const& corners = piece.records.*corners_;
    std::vector<int> const& vertices = piece.records.vertexOf.indices;
    std::size_t nextRelative = 0;
    std::size_t corner = 0;
    for (std::size_t i = 0; i < piece.records.numFaces(); ++i) {
        std::size_t const end = corner + piece.records.faceSize(i);
        bool const isDropped = !piece.isDropped.empty() && piece.isDropped[i] != 0;
        for (; corner < end; ++corner) {
            std::int64_t element = corners.form == ObjCorners::Form::Missing ? ObjCorners::missing
                                   : corners.form == ObjCorners::Form::SameAsVertex
                                       ? vertices[corner]
                                       : corners.indices[corner];
            if (nextRelative < corners.relative.size() &&
                corners.relative[nextRelative] == corner) {
                ++nextRelative;
                element += static_cast<std::int64_t>(elementBase);
                element = element < 0 ? outOfRange : element;
            }
            if (!isDropped)
                assign(static_cast<std::size_t>(vertices[corner]), static_cast<int>(element),
                       report);
        }
    }
}

void AttributeJoiner::assign(std::size_t vertex, int element, ReadReport::Attribute& report) {
    int& present = elementOf_[vertex];
    if (present == unused)
        present = none;
    if (element == ObjCorners::missing)
        return;
    if (static_cast<std::size_t>(element) >= numElements()) {
        ++report.badIndex;
    } else if (present == none) {
        present = element;
    } else if (present != element && !isSeam_[vertex] && differ(present, element)) {
        isSeam_[vertex] = 1;
        ++report.seams;
    }
}

void AttributeJoiner::write(float* target) const {
    if (elementOf_.empty()) {
        std::copy(all_.begin(), all_.end(), target);
        return;
    }
    for (std::size_t v = 0; v < numVertices_; ++v) {
        if (elementOf_[v] >= 0)
            std::copy_n(&all_[static_cast<std::size_t>(elementOf_[v]) * dimension_], dimension_,
                        target + v * dimension_);
    }
}

}  // namespace trimora
