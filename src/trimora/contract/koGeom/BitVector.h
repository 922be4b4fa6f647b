#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/export.h"

#include <cstdint>

namespace koGeom {

/// A selection: one bit for each element, with a count of the set ones.
///
/// Bit i is bit (i mod 32) of word i / 32; unused high bits of the last word are 0. Hot loops read
/// `words` directly; only the operations keep `count` right. Setting, clearing and asking for a bit
/// outside 0 to size - 1 does nothing, or answers 0.
class TRIMORA_API BitVector {
public:
    int size = 0;                    // in bits
    int count = 0;                   // set bits
    std::uint32_t* words = nullptr;  // numWords() of them; null when size is 0

    BitVector() = default;
    /// All bits clear; a size below 1 is 0.
    explicit BitVector(int size);
    BitVector(BitVector const& other);
    BitVector(BitVector&& other) noexcept { swap(other); }
    BitVector& operator=(BitVector const& other);
    BitVector& operator=(BitVector&& other) noexcept {
        swap(other);
        return *this;
    }
    ~BitVector();

    /// Union. This size stays: a shorter right side adds what it has, bits of a longer one beyond
    /// this size are left out.
    BitVector& operator|=(BitVector const& other);
    bool operator==(BitVector const& other) const;

    /// Clears all bits, whatever the size was.
    void resize(int newSize);

    void setBit(int i) {
        if (!isInside(i))
            return;
        std::uint32_t& word = words[i >> 5];
        std::uint32_t const mask = 1u << (i & 31);
        count += (word & mask) == 0;
        word |= mask;
    }
    void clearBit(int i) {
        if (!isInside(i))
            return;
        std::uint32_t& word = words[i >> 5];
        std::uint32_t const mask = 1u << (i & 31);
        count -= (word & mask) != 0;
        word &= ~mask;
    }
    /// 1 when set, else 0.
    int isBitSet(int i) const {
        return isInside(i) ? static_cast<int>((words[i >> 5] >> (i & 31)) & 1u) : 0;
    }

    void setAllBits();
    void clearBits();
    /// Sets the listed bits; the others stay.
    void setBits(int numIndices, int const* indices);

    int numWords() const { return size / 32 + (size % 32 != 0); }
    void swap(BitVector& other) noexcept;

private:
    bool isInside(int i) const { return static_cast<unsigned>(i) < static_cast<unsigned>(size); }
};

}  // namespace koGeom
