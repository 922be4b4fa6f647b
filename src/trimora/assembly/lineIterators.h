#pragma once

#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;

/// Walks both ends of each line of a mesh.
///
/// lifetime   the mesh outlives the iterator and keeps its lines
/// indices    index(), connected() and next() ask for valid()
class TRIMORA_API LineVertexIterator {
public:
    explicit LineVertexIterator(CompactMesh const& mesh);

    bool valid() const { return line_ < numLines_; }
    void next();
    int index() const;
    /// Whether the vertex goes on from the one before: it is the end of a line, or the start of one where the line before ends.
    /// The last line stands before the first.
    bool connected() const { return end_ == 1 || index() == previous_; }

private:
    MeshLine const* lines_;
    int numLines_;
    int line_ = 0;
    int end_ = 0;
    int previous_ = -1;
};

/// Walks the points of the line strips of a mesh. Each strip is followed by one more place, which names what comes behind its points.
///
/// lifetime   the mesh outlives the iterator and keeps its strips
class TRIMORA_API LineStripVertexIterator {
public:
    explicit LineStripVertexIterator(CompactMesh const& mesh);

    bool valid() const { return strip_ < numStrips_; }
    /// To the place behind a strip's last point, and from there to the next strip.
    void next();
    void nextStrip();
    /// Back to the first point of the first strip.
    void start();
    /// The vertex; behind a strip's points the first point of the next strip, -1 where there is none.
    int index() const;
    /// Whether the vertex goes on from the one before: within a strip always, at its start when it is the mesh's last strip point.
    bool connected() const { return position_ != 0 || index() == previous_; }

private:
    int const* points_;
    int const* lengths_;
    int numPoints_;
    int numStrips_;
    int strip_ = 0;
    int offset_ = 0;
    int length_ = 0;
    int position_ = 0;
    int previous_ = -1;
};

}  // namespace koGeom
