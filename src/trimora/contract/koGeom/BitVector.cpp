#include "trimora/contract/koGeom/BitVector.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <utility>

namespace koGeom {

namespace {

std::unique_ptr<std::uint32_t[]> clearWords(int numWords) {
    if (numWords == 0)
        return nullptr;
    return std::make_unique<std::uint32_t[]>(static_cast<std::size_t>(numWords));
}

}  // namespace

BitVector::BitVector(int initialSize) {
    resize(initialSize);
}

BitVector::BitVector(BitVector const& other) {
    resize(other.size);
    std::copy_n(other.words, numWords(), words);
    count = other.count;
}

BitVector& BitVector::operator=(BitVector const& other) {
    if (this != &other) {
        BitVector copy(other);
        swap(copy);
    }
    return *this;
}

BitVector::~BitVector() {
    delete[] words;
}

BitVector& BitVector::operator|=(BitVector const& other) {
    int const numShared = std::min(numWords(), other.numWords());
    for (int w = 0; w < numShared; ++w)
        words[w] |= other.words[w];
    if (size % 32 != 0)
        words[numWords() - 1] &= (1u << (size % 32)) - 1u;

    count = 0;
    for (int w = 0; w < numWords(); ++w)
        count += std::popcount(words[w]);
    return *this;
}

bool BitVector::operator==(BitVector const& other) const {
    return size == other.size && count == other.count &&
           std::equal(words, words + numWords(), other.words);
}

void BitVector::resize(int newSize) {
    BitVector fresh;
    fresh.size = std::max(newSize, 0);
    if (fresh.size == size) {
        clearBits();
        return;
    }
    fresh.words = clearWords(fresh.numWords()).release();
    swap(fresh);
}

void BitVector::setAllBits() {
    std::fill_n(words, numWords(), ~0u);
    if (size % 32 != 0)
        words[numWords() - 1] = (1u << (size % 32)) - 1u;
    count = size;
}

void BitVector::clearBits() {
    std::fill_n(words, numWords(), 0u);
    count = 0;
}

void BitVector::setBits(int numIndices, int const* indices) {
    for (int k = 0; k < numIndices; ++k)
        setBit(indices[k]);
}

void BitVector::swap(BitVector& other) noexcept {
    std::swap(size, other.size);
    std::swap(count, other.count);
    std::swap(words, other.words);
}

}  // namespace koGeom
