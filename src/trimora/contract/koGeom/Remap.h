#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/koGeom/Array.h"
#include "trimora/export.h"

namespace koGeom {

class BitVector;

/// A map from a domain of indices, 0 to domain - 1, to a range of indices; -1 for an index without
/// image.
class TRIMORA_API Remap : public ko::ReferenceCount {
public:
    Array<int> table;   // one entry for each index of the domain
    int rangeSize = 0;  // images lie in 0 to rangeSize - 1

    Remap();
    /// No index has an image yet.
    Remap(int domain, int range);
    ~Remap() override;

    /// Sets both sizes and forgets all images.
    void resize(int domain, int range);

    /// `from` outside the domain does nothing.
    void set(int from, int to) {
        if (isInside(from))
            table[from] = to;
    }
    /// The image; -1 when there is none, and for -1 and all else outside the domain.
    int operator()(int from) const { return isInside(from) ? table[from] : -1; }
    /// Maps an array in place.
    void operator()(int* indices, int numIndices) const;

    int getDomainSize() const { return table.size(); }

    /// Identity over the domain; the range becomes as large.
    void setSequential();
    /// A set bit marks an index as deleted: its image is -1; the others are sent to their rank
    /// among those that stay. Domain and range take the sizes that follow from the bits.
    void setDeleteMap(BitVector const& deleted);

private:
    bool isInside(int i) const {
        return static_cast<unsigned>(i) < static_cast<unsigned>(table.size());
    }
};

/// The two renumberings of a mesh that go with a modification; either may be null. Owns nothing.
struct MeshRemap {
    Remap* vertices;
    Remap* triangles;

    MeshRemap(Remap* vertexRemap, Remap* triangleRemap)
        : vertices(vertexRemap), triangles(triangleRemap) {}
};

}  // namespace koGeom
