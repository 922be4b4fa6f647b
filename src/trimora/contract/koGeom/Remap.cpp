#include "trimora/contract/koGeom/Remap.h"

#include "trimora/contract/koGeom/BitVector.h"

#include <numeric>

namespace koGeom {

Remap::Remap() = default;

Remap::Remap(int domain, int range) {
    resize(domain, range);
}

Remap::~Remap() = default;

void Remap::resize(int domain, int range) {
    table.setSize(domain);
    table.fill(-1);
    rangeSize = range;
}

void Remap::operator()(int* indices, int numIndices) const {
    int const* const images = table.data();
    unsigned const domain = static_cast<unsigned>(table.size());
    for (int k = 0; k < numIndices; ++k) {
        unsigned const index = static_cast<unsigned>(indices[k]);
        indices[k] = index < domain ? images[index] : -1;
    }
}

void Remap::setSequential() {
    std::iota(table.begin(), table.end(), 0);
    rangeSize = table.size();
}

void Remap::setDeleteMap(BitVector const& deleted) {
    table.setSize(deleted.size);
    int* const images = table.data();
    int rank = 0;
    for (int i = 0; i < deleted.size; ++i) {
        int const isDeleted = static_cast<int>((deleted.words[i >> 5] >> (i & 31)) & 1u);
        images[i] = isDeleted != 0 ? -1 : rank;
        rank += 1 - isDeleted;
    }
    rangeSize = rank;
}

}  // namespace koGeom
