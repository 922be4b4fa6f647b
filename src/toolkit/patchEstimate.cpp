#include "toolkit/detail/patchEstimate.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <queue>
#include <tuple>

namespace trimora {

namespace {

using koLinear::Point;
using koLinear::Vector;

// Area of a refined patch's triangle in squares of the edge length around it. Refinement splits a triangle in three while its
// corners are farther than 1 / sqrt 2 edge lengths from its centre, so an equilateral one that is kept has 0.22 to 0.65;
// measured on scans, 0.47 comes closest.
constexpr double refinedArea = 0.47;
constexpr double mostTriangles = 1e15;  // beyond it the number means nothing but "too many"

/// The sum of the cross products along the loop: for a planar one, twice its area along its normal.
Vector loopNormal(std::vector<Point> const& loop) {
    Vector sum;
    for (std::size_t i = 2; i < loop.size(); ++i)
        sum += cross(loop[i - 1] - loop[0], loop[i] - loop[0]);
    return sum;
}

class EarCutter {
public:
    EarCutter(std::vector<Point> const& loop, std::vector<double> const& edgeLengths);

    PatchEstimate run();

private:
    struct Ear {
        bool isReflex;  // it lies outside a planar loop: the last choice
        double diagonal2;
        int place;
        int version;  // a later one of the same place has taken over when they differ

        bool operator>(Ear const& other) const {
            return std::tie(isReflex, diagonal2, place, version) >
                   std::tie(other.isReflex, other.diagonal2, other.place, other.version);
        }
    };

    Point const& pointAt(int place) const { return loop_[static_cast<std::size_t>(place)]; }
    double lengthAt(int place) const { return edgeLengths_[static_cast<std::size_t>(place)]; }
    int& next(int place) { return next_[static_cast<std::size_t>(place)]; }
    int& previous(int place) { return previous_[static_cast<std::size_t>(place)]; }
    int& version(int place) { return versions_[static_cast<std::size_t>(place)]; }

    void offer(int place);
    void take(int place);
    void count(int a, int b, int c);

    std::vector<Point> const& loop_;
    std::vector<double> const& edgeLengths_;
    Vector const normal_;
    std::vector<int> next_;
    std::vector<int> previous_;
    std::vector<int> versions_;
    std::priority_queue<Ear, std::vector<Ear>, std::greater<>> ears_;
    PatchEstimate estimate_;
};

EarCutter::EarCutter(std::vector<Point> const& loop, std::vector<double> const& edgeLengths)
    : loop_(loop), edgeLengths_(edgeLengths), normal_(loopNormal(loop)), versions_(loop.size(), 0) {
    int const size = static_cast<int>(loop.size());
    for (int place = 0; place < size; ++place) {
        next_.push_back((place + 1) % size);
        previous_.push_back((place + size - 1) % size);
    }
}

PatchEstimate EarCutter::run() {
    int left = static_cast<int>(loop_.size());
    for (int place = 0; place < left; ++place)
        offer(place);
    while (left > 2) {
        Ear const ear = ears_.top();
        ears_.pop();
        if (ear.version != version(ear.place))
            continue;
        take(ear.place);
        --left;
    }
    estimate_.refinedTriangles = std::min(estimate_.refinedTriangles, mostTriangles);
    return estimate_;
}

void EarCutter::offer(int place) {
    Point const& a = pointAt(previous(place));
    Point const& b = pointAt(place);
    Point const& c = pointAt(next(place));
    double const diagonal2 = distance2(a, c);
    ears_.push({dot(cross(b - a, c - b), normal_) < 0.0,
                std::isnan(diagonal2) ? HUGE_VAL : diagonal2, place, ++version(place)});
}

void EarCutter::take(int place) {
    int const before = previous(place);
    int const behind = next(place);
    count(before, place, behind);
    next(before) = behind;
    previous(behind) = before;
    ++version(place);
    offer(before);
    offer(behind);
}

void EarCutter::count(int a, int b, int c) {
    double const area = 0.5 * cross(pointAt(b) - pointAt(a), pointAt(c) - pointAt(a)).length();
    double const length = (lengthAt(a) + lengthAt(b) + lengthAt(c)) / 3.0;
    double const pieces = area / (refinedArea * length * length);
    estimate_.area += std::isfinite(area) ? area : 0.0;
    estimate_.flatTriangles += 1.0;
    estimate_.refinedTriangles += pieces > 1.0 ? pieces : 1.0;  // NaN counts as one
}

}  // namespace

PatchEstimate estimatePatch(std::vector<Point> const& loop,
                            std::vector<double> const& edgeLengths) {
    return loop.size() < 3 ? PatchEstimate() : EarCutter(loop, edgeLengths).run();
}

}  // namespace trimora
