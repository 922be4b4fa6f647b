#include "trimora/planar/decimate.h"

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/Polyline.h"
#include "trimora/contract/koLinear/lines.h"

#include <algorithm>
#include <limits>
#include <utility>

// Greedy removal. Vertices that stay are linked in two directions, and a knockout tree over the indices holds the least error. What a
// removal changes lies close together in the tree, so that a step costs a handful of cache misses; a heap costs one a level.
//
// An error is the maximum over a span, and spans grow. Two things keep the walks short. Walking stops at the tolerance, from which on
// all errors are alike. And where the line is the one that was measured before, as on an exactly straight run, on which removals
// would otherwise walk from its start each time, only the vertices that have come in are measured.

namespace koGeom {

namespace {

constexpr double notBelow =
    std::numeric_limits<double>::infinity();  ///< an error that reaches the tolerance, or is none

/// Errors by index, and the least of them: a knockout tree over blocks of neighbours, which share a cache line.
class ErrorTree {
public:
    explicit ErrorTree(ko::vector<double> errors) : errors_(std::move(errors)) {
        errors_.resize((errors_.size() + blockSize - 1) / blockSize * blockSize, notBelow);
        while (numLeaves_ * blockSize < errors_.size())
            numLeaves_ *= 2;
        winners_.resize(2 * numLeaves_, {notBelow, 0});
        for (std::size_t block = 0; block * blockSize < errors_.size(); ++block)
            winners_[numLeaves_ + block] = winnerOfBlock(block);
        for (std::size_t node = numLeaves_ - 1; node > 0; --node)
            winners_[node] = winnerOfPair(node);
    }

    double error(int i) const { return errors_[static_cast<std::size_t>(i)]; }
    double leastError() const { return winners_[1].error; }
    /// The lowest index with the least error.
    int leastIndex() const { return winners_[1].index; }
    /// O(log n).
    void set(int i, double error) {
        errors_[static_cast<std::size_t>(i)] = error;
        std::size_t const block = static_cast<std::size_t>(i) / blockSize;
        std::size_t node = numLeaves_ + block;
        Winner winner = winnerOfBlock(block);
        while (winners_[node] != winner) {
            winners_[node] = winner;
            node /= 2;
            if (node == 0)
                return;
            winner = winnerOfPair(node);
        }
    }

private:
    static constexpr std::size_t blockSize = 8;

    struct Winner {
        double error;
        int index;

        bool operator==(Winner const&) const = default;
    };

    Winner winnerOfBlock(std::size_t block) const {
        auto const begin = errors_.begin() + static_cast<std::ptrdiff_t>(block * blockSize);
        auto const least = std::min_element(begin, begin + blockSize);
        return {*least, static_cast<int>(least - errors_.begin())};
    }
    Winner winnerOfPair(std::size_t node) const {
        Winner const& left = winners_[2 * node];
        Winner const& right = winners_[2 * node + 1];
        return right.error < left.error ? right : left;
    }

    ko::vector<double> errors_;   ///< filled up to whole blocks
    ko::vector<Winner> winners_;  ///< at 1 the least of all; the children of i are 2 i and 2 i + 1
    std::size_t numLeaves_ = 1;
};

class DecimateAlg {
public:
    DecimateAlg(Polyline const& polyline, double tolerance);

    /// Returns the number of vertices taken out.
    int run();
    ko::vector<Polyline::vertex> remaining() const;

private:
    struct Links {
        int previous;
        int next;
    };

    Links& links(int i) { return links_[static_cast<std::size_t>(i)]; }
    bool isLocked(int i) const { return i == 0 || i == lastIndex_; }
    Line lineBetween(int i, int j) const {
        return {polyline_.getVertex(i), Point(polyline_.getVertex(j))};
    }
    ko::vector<double> firstErrors() const;
    double largestDistance(Line const& line, int from, int to, double known) const;
    void take(int index);
    void measure(int index, Line const& measuredLine, double measured, int measuredEnd);

    Polyline const& polyline_;
    double tolerance_;
    int lastIndex_;
    ko::vector<Links> links_;
    ErrorTree errors_;
};

/// Whether distances to the two lines, which have one origin, are the same to the last bit: turned round, all products are the same
/// but for the sign.
bool measureAlike(Line const& a, Line const& b) {
    return a.direction == b.direction ||
           (a.direction.valid && b.direction.valid && a.direction == -b.direction);
}

DecimateAlg::DecimateAlg(Polyline const& polyline, double tolerance)
    : polyline_(polyline),
      tolerance_(tolerance),
      lastIndex_(polyline.getNumVertices() - 1),
      errors_(firstErrors()) {
    links_.reserve(static_cast<std::size_t>(lastIndex_) + 1);
    for (int i = 0; i <= lastIndex_; ++i)
        links_.push_back({i - 1, i + 1});
}

/// With all neighbours there.
ko::vector<double> DecimateAlg::firstErrors() const {
    ko::vector<double> errors(static_cast<std::size_t>(lastIndex_) + 1, notBelow);
    for (int i = 1; i < lastIndex_; ++i)
        errors[static_cast<std::size_t>(i)] =
            largestDistance(lineBetween(i - 1, i + 1), i, i + 1, 0.0);
    return errors;
}

int DecimateAlg::run() {
    int numTaken = 0;
    for (; errors_.leastError() < tolerance_; ++numTaken)
        take(errors_.leastIndex());
    return numTaken;
}

ko::vector<Polyline::vertex> DecimateAlg::remaining() const {
    ko::vector<Polyline::vertex> vertices;
    for (int i = 0; i <= lastIndex_; i = links_[static_cast<std::size_t>(i)].next)
        vertices.push_back(polyline_.getVertex(i));
    return vertices;
}

//  p ---- a ---- r ---- b ---- q     r goes. The span of a, which was p to r, grows to p to b; that of b, which was r to q, to a to q.
//                                    Measured so far: p to r by a, a to b by r.
void DecimateAlg::take(int r) {
    auto const [a, b] = links(r);
    double const error = errors_.error(r);
    errors_.set(r, notBelow);
    links(a).next = b;
    links(b).previous = a;

    if (!isLocked(a))
        measure(a, lineBetween(links(a).previous, r), errors_.error(a), r);
    if (!isLocked(b))
        measure(b, lineBetween(a, b), error, b);
}

/// Measures a vertex whose span begins with vertices that have been measured to a line with the same origin.
///
/// measuredLine   through the span's first vertex
/// measured       the largest distance to it, of the vertices before `measuredEnd`
void DecimateAlg::measure(int index, Line const& measuredLine, double measured, int measuredEnd) {
    int const first = links(index).previous;
    int const last = links(index).next;
    Line const line = lineBetween(first, last);
    errors_.set(index, measureAlike(line, measuredLine)
                           ? largestDistance(line, measuredEnd, last, measured)
                           : largestDistance(line, first + 1, last, 0.0));
}

/// The largest distance of the vertices from..to - 1 to the line, if it is larger than what is known; `notBelow` as soon as one
/// reaches the tolerance or is NaN.
double DecimateAlg::largestDistance(Line const& line, int from, int to, double known) const {
    double largest = known;
    for (int i = from; i < to; ++i) {
        double const away = distance(polyline_.getVertex(i), line);
        if (!(away < tolerance_))
            return notBelow;
        largest = std::max(largest, away);
    }
    return largest;
}

}  // namespace

void decimate(Polyline& polyline, double tolerance) {
    if (polyline.getNumVertices() < 3 || !(tolerance > 0.0))
        return;

    DecimateAlg alg(polyline, tolerance);
    if (alg.run() == 0)
        return;
    ko::vector<Polyline::vertex> const vertices = alg.remaining();
    polyline.initialize(static_cast<int>(vertices.size()), vertices.data());
}

}  // namespace koGeom
