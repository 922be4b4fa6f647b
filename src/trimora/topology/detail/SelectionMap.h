#pragma once

#include "trimora/contract/koGeom/BitVector.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace koGeom {

/// Calls visit(i) for each set bit, in ascending order.
template <typename Visit>
void forEachSetBit(BitVector const& bits, Visit const& visit) {
    for (int w = 0; w < bits.numWords(); ++w)
        for (std::uint32_t word = bits.words[w]; word != 0; word &= word - 1)
            visit(32 * w + std::countr_zero(word));
}

/// Values for the selected elements of an array, asked for by the element's number.
///
/// One slot for each selected element, in ascending order. A count of the bits before each word of the selection leads to
/// the slot, so that a question costs O(1) without a table as long as the array. A null value counts as none.
template <typename V>
class SelectionMap {
public:
    /// A slot with a null value for each set bit; the selection must stay as it is, where it is.
    void assign(BitVector const& selection) {
        selection_ = &selection;
        slotsBefore_.resize(static_cast<std::size_t>(selection.numWords()));
        int numSlots = 0;
        for (std::size_t w = 0; w < slotsBefore_.size(); ++w) {
            slotsBefore_[w] = numSlots;
            numSlots += std::popcount(selection.words[w]);
        }
        values_.assign(static_cast<std::size_t>(numSlots), V());
    }

    int numSlots() const { return static_cast<int>(values_.size()); }
    /// The slot of an element, -1 when it is not selected.
    int slotOf(int element) const {
        if (selection_ == nullptr || !selection_->isBitSet(element))
            return -1;
        auto const word = static_cast<std::size_t>(element >> 5);
        std::uint32_t const below = (1u << (element & 31)) - 1u;
        return slotsBefore_[word] + std::popcount(selection_->words[word] & below);
    }

    V& operator[](int slot) { return values_[static_cast<std::size_t>(slot)]; }
    V const& operator[](int slot) const { return values_[static_cast<std::size_t>(slot)]; }
    /// The value of an element, null when there is none.
    V find(int element) const {
        int const slot = slotOf(element);
        return slot >= 0 ? (*this)[slot] : V();
    }

private:
    BitVector const* selection_ = nullptr;
    std::vector<int> slotsBefore_;  // by word of the selection
    std::vector<V> values_;         // by slot
};

}  // namespace koGeom
