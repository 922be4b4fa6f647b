#include "support/builders.h"

#include "trimora/contract/koGeom/BitVector.h"

#include <algorithm>
#include <doctest/doctest.h>
#include <utility>
#include <vector>

using koGeom::BitVector;

namespace {

// All that hot loops and callers rely on: bits, count, and zero bits above the size.
bool agrees(BitVector const& bits, std::vector<bool> const& expected) {
    bool same = bits.size == static_cast<int>(expected.size()) &&
                bits.count == std::count(expected.begin(), expected.end(), true);
    for (int i = 0; i < bits.numWords() * 32; ++i) {
        bool const isSet = ((bits.words[i / 32] >> (i % 32)) & 1u) != 0;
        bool const shouldBe = i < bits.size && expected[static_cast<std::size_t>(i)];
        same = same && isSet == shouldBe && (bits.isBitSet(i) != 0) == shouldBe;
    }
    return same;
}

}  // namespace

TEST_CASE("bitsFollowAVectorOfBoolThroughRandomOperations") {
    support::Random random(2);
    BitVector bits;
    std::vector<bool> expected;
    for (int step = 0; step < 4000; ++step) {
        int const size = random.index(140);
        int const i = random.index(160) - 10;
        bool const inside = i >= 0 && i < bits.size;
        switch (random.index(8)) {
        case 0:
            if (random.index(4) == 0) {
                bits.resize(size);
                expected.assign(static_cast<std::size_t>(size), false);
            }
            break;
        case 1:
            bits.setAllBits();
            expected.assign(expected.size(), true);
            break;
        case 2:
            bits.clearBits();
            expected.assign(expected.size(), false);
            break;
        case 3: {
            BitVector other(size);
            for (int k = 0; k < size; k += 3)
                other.setBit(k);
            bits |= other;
            for (int k = 0; k < std::min(size, bits.size); k += 3)
                expected[static_cast<std::size_t>(k)] = true;
            break;
        }
        case 4: {
            BitVector copy(bits);
            bits.clearBits();
            bits = copy;
            bits = std::move(copy);
            break;
        }
        case 5: {
            int const listed[3] = {i, i + 1, i};
            bits.setBits(3, listed);
            for (int const k : listed) {
                if (k >= 0 && k < bits.size)
                    expected[static_cast<std::size_t>(k)] = true;
            }
            break;
        }
        case 6:
            bits.clearBit(i);
            if (inside)
                expected[static_cast<std::size_t>(i)] = false;
            break;
        default:
            bits.setBit(i);
            if (inside)
                expected[static_cast<std::size_t>(i)] = true;
            break;
        }
        REQUIRE(agrees(bits, expected));
    }
}

TEST_CASE("resizeClearsEvenToTheSameSize") {
    BitVector bits(40);
    bits.setAllBits();
    std::uint32_t const* const words = bits.words;
    bits.resize(40);
    CHECK(bits.count == 0);
    CHECK(bits.words == words);
    bits.setAllBits();
    bits.resize(64);
    CHECK(bits.count == 0);
    bits.resize(-5);
    CHECK(bits.size == 0);
    CHECK(bits.words == nullptr);
}

TEST_CASE("aLongerRightSideAddsNoBitsBeyondTheSize") {
    BitVector bits(33);
    BitVector longer(100);
    longer.setAllBits();
    bits |= longer;
    CHECK(bits.size == 33);
    CHECK(bits.count == 33);
    CHECK(bits.words[1] == 1u);
}
