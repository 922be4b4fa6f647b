#include "support/builders.h"

#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/Remap.h"

#include <doctest/doctest.h>
#include <vector>

using koGeom::BitVector;
using koGeom::Remap;

namespace {

std::vector<int> tableOf(Remap const& remap) {
    return {remap.table.begin(), remap.table.end()};
}

}  // namespace

TEST_CASE("aNewOrResizedRemapHasNoImages") {
    Remap remap(3, 2);
    CHECK(tableOf(remap) == std::vector<int>{-1, -1, -1});
    CHECK(remap.rangeSize == 2);
    remap.setSequential();
    remap.resize(3, 7);
    CHECK(tableOf(remap) == std::vector<int>{-1, -1, -1});
    CHECK(remap.rangeSize == 7);
}

TEST_CASE("setSequentialIsTheIdentityAndSetsTheRange") {
    Remap remap(4, 0);
    remap.setSequential();
    CHECK(tableOf(remap) == std::vector<int>{0, 1, 2, 3});
    CHECK(remap.rangeSize == 4);
}

TEST_CASE("whatHasNoImageMapsToMinusOne") {
    Remap remap(3, 2);
    remap.set(0, 1);
    remap.set(2, 0);
    remap.set(3, 9);
    remap.set(-1, 9);
    CHECK(remap(0) == 1);
    CHECK(remap(1) == -1);
    CHECK(remap(-1) == -1);
    CHECK(remap(3) == -1);
    int indices[] = {2, 1, 0, -1, 2, 400};
    remap(indices, 6);
    CHECK(std::vector<int>(indices, indices + 6) == std::vector<int>{0, -1, 1, -1, 0, -1});
}

TEST_CASE("theDeleteMapSendsSurvivorsToTheirRank") {
    support::Random random(3);
    for (int round = 0; round < 200; ++round) {
        BitVector deleted(random.index(100));
        for (int i = 0; i < deleted.size; ++i) {
            if (random.index(3) == 0)
                deleted.setBit(i);
        }
        if (round == 0)
            deleted.setAllBits();
        if (round == 1)
            deleted.clearBits();

        Remap remap(5, 5);
        remap.setDeleteMap(deleted);
        std::vector<int> expected;
        int rank = 0;
        for (int i = 0; i < deleted.size; ++i)
            expected.push_back(deleted.isBitSet(i) ? -1 : rank++);
        REQUIRE(tableOf(remap) == expected);
        REQUIRE(remap.getDomainSize() == deleted.size);
        REQUIRE(remap.rangeSize == rank);
    }
}
