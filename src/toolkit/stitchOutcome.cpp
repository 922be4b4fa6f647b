// What stitching came to, in numbers and words.

#include "toolkit/meshStitching.h"

#include <algorithm>
#include <numeric>

namespace trimora {

namespace {

// A seam is whole with so much of its stretch, or all but so many distances at its ends.
constexpr double wholeShare = 0.9;
constexpr double wholeEnds = 2.0;

}  // namespace

int StitchOutcome::numSewn() const {
    return static_cast<int>(std::count_if(seams.begin(), seams.end(), [](Seam const& seam) {
        return seam.fate == Fate::Sewn || seam.fate == Fate::LeftOpen;
    }));
}

double StitchOutcome::sewnLength() const {
    return std::accumulate(seams.begin(), seams.end(), 0.0,
                           [](double sum, Seam const& seam) { return sum + seam.sewnLength; });
}

bool StitchOutcome::isComplete() const {
    if (refusal.empty() &&
        after.closed)  // where sides were of unequal length, what is sewn falls short of a stretch
        return true;
    bool const areWhole = std::all_of(seams.begin(), seams.end(), [this](Seam const& seam) {
        return seam.fate == Fate::Sewn &&
               seam.sewnLength >= std::min(wholeShare * seam.stretchLength,
                                           seam.stretchLength - wholeEnds * distance);
    });
    return areWhole && std::none_of(gaps.begin(), gaps.end(), [this](Gap const& gap) {
               return !gap.border.looksOuter && gap.width < distance;
           });
}

char const* nameOfFate(StitchOutcome::Fate fate) {
    switch (fate) {
    case StitchOutcome::Fate::Sewn:
        return "sewn";
    case StitchOutcome::Fate::LeftOpen:
        return "leftOpen";
    case StitchOutcome::Fate::Shifted:
        return "shifted";
    case StitchOutcome::Fate::NoPlace:
        return "noPlace";
    case StitchOutcome::Fate::NoWay:
        return "noWay";
    case StitchOutcome::Fate::TooFar:
        return "tooFar";
    case StitchOutcome::Fate::SameSense:
        break;
    }
    return "sameSense";
}

char const* wordsOfFate(StitchOutcome::Fate fate) {
    switch (fate) {
    case StitchOutcome::Fate::Sewn:
        return "";
    case StitchOutcome::Fate::LeftOpen:
        return "some edges would have made the surface non-manifold and stay open";
    case StitchOutcome::Fate::Shifted:
        return "its ends could not be found on the boundary";
    case StitchOutcome::Fate::NoPlace:
        return "an end is not on an open edge of the mesh";
    case StitchOutcome::Fate::NoWay:
        return "the boundary no longer leads from end to end, as an earlier seam runs through it";
    case StitchOutcome::Fate::TooFar:
        return "its ends would be sewn to places farther away than the distance";
    case StitchOutcome::Fate::SameSense:
        break;
    }
    return "the stretches run the same way";
}

}  // namespace trimora
