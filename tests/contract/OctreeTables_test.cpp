#include "trimora/contract/koGeom/OctreeTables.h"

#include <doctest/doctest.h>

using namespace koGeom;

namespace {

template <class Table>
void checkTable(int (Table::*count)(int) const, int const* (Table::*first)(int) const) {
    int const pairs[] = {0, 7, 2, 5, 2, 9};
    ArrayOfSets sets;
    sets.assignFromPairs(3, 3, pairs);
    Table filled(sets);
    CHECK(sets.getNumSets() == 0);  // taken, not copied

    Table table;
    for (int const voxel : {0, 1, 1000000})
        CHECK((table.*count)(voxel) == 0);
    table.swap(filled);
    CHECK((filled.*count)(0) == 0);
    CHECK((table.*count)(0) == 1);
    CHECK((table.*count)(1) == 0);
    CHECK((table.*count)(2) == 2);
    CHECK((table.*count)(-1) == 0);  // what inner nodes have in the place of a voxel
    CHECK((table.*first)(2)[0] == 5);
    CHECK((table.*first)(2)[1] == 9);
    CHECK(table.getData().getNumSets() == 3);
}

}  // namespace

TEST_CASE("tablesTakeTheirSetsAndAnswerForEmptyOnes") {
    checkTable<OctreeTris>(&OctreeTris::numTris, &OctreeTris::firstTri);
    checkTable<OctreeLines>(&OctreeLines::numLines, &OctreeLines::firstLine);
}
