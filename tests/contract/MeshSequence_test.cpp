#include "trimora/contract/koGeom/MeshSequence.h"

#include <doctest/doctest.h>
#include <vector>

using koGeom::MeshSequence;
using koGeom::MeshSequenceShort;

namespace {

MeshSequence sample() {
    return MeshSequence(ko::vector<ko::vector<int>>{{4, 5, 6}, {}, {7}, {1, 2}});
}

}  // namespace

TEST_CASE("aSequenceOfListsConcatenatesThem") {
    MeshSequence const sequence = sample();
    CHECK(std::vector<int>(sequence.points.begin(), sequence.points.end()) ==
          std::vector<int>{4, 5, 6, 7, 1, 2});
    CHECK(std::vector<int>(sequence.lengths.begin(), sequence.lengths.end()) ==
          std::vector<int>{3, 0, 1, 2});
    MeshSequence const empty(ko::vector<ko::vector<int>>{});
    CHECK(empty.getStarts() == nullptr);
    CHECK(empty.getOffsets() == nullptr);
}

TEST_CASE("startsAndOffsetsAreFilledOnTheFirstRequestOnly") {
    MeshSequence const sequence = sample();
    CHECK(sequence.starts.size() == 0);
    CHECK(sequence.offsets.size() == 0);
    int const* const offsets = sequence.getOffsets();
    CHECK(std::vector<int>(offsets, offsets + 4) == std::vector<int>{0, 3, 3, 4});
    CHECK(sequence.starts.size() == 0);
    for (int run = 0; run < 4; ++run)
        CHECK(sequence.getStarts()[run] == sequence.points.data() + offsets[run]);
    CHECK(sequence.getOffsets() == offsets);
}

TEST_CASE("copiesMovesAndResizesNeverKeepOldStarts") {
    MeshSequence sequence = sample();
    sequence.getStarts();
    sequence.getOffsets();

    MeshSequence copy(sequence);
    CHECK(copy.getStarts()[0] == copy.points.data());
    MeshSequence assigned;
    assigned.resize(9, 9);
    assigned.getStarts();
    assigned = sequence;
    CHECK(assigned.getStarts()[3] == assigned.points.data() + 4);
    MeshSequence moved(std::move(copy));
    CHECK(moved.getStarts()[0] == moved.points.data());
    CHECK(copy.getStarts() == nullptr);

    sequence.resize(6, 5);
    CHECK(sequence.getLength(4) == 0);
    CHECK(sequence.getOffsets()[4] == 6);
}

TEST_CASE("shortSequencesHoldSixteenBitsAPoint") {
    MeshSequenceShort strips;
    strips.resize(3, 1);
    strips.lengths[0] = 3;
    strips.points[2] = 65535;
    CHECK(sizeof(strips.points[0]) == 2);
    CHECK(strips.getStarts()[0][2] == 65535);
}
