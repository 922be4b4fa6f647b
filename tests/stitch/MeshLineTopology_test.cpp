#include "lineMeshes.h"

#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/stitch/MeshLineTopology.h"

#include <algorithm>
#include <cmath>
#include <doctest/doctest.h>
#include <iterator>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

using namespace koGeom;
using lineMeshes::circle;
using lineMeshes::Loop;
using lineMeshes::meshOfLoops;
using lineMeshes::rectangle;
using lineMeshes::reversed;
using lineMeshes::rotated;
using MeshLineTopology::EdgeIterator;
using MeshLineTopology::TopologyAlg;
using EdgeRef = ko::Reference<MeshLineTopology::Edge>;
using VertexRef = ko::Reference<MeshLineTopology::Vertex>;

namespace {

/// Loops and their graph. Rectangles are a unit apart and have a point at every unit.
struct Graph {
    static constexpr double reach = 1.5;

    explicit Graph(std::vector<Loop> const& loops, double distance = reach)
        : Graph(meshOfLoops(loops), distance) {}
    Graph(CompactMesh lines, double distance)
        : mesh(std::move(lines)), topology(mesh), isOriented(topology.compute(distance)) {}

    std::vector<EdgeRef> edges() {
        std::vector<EdgeRef> all;
        for (EdgeIterator edge(topology); edge.valid(); edge.next())
            all.push_back(edge.getEdge());
        return all;
    }

    CompactMesh mesh;
    TopologyAlg topology;
    bool isOriented;
};

/// With a line from the last strip but one to the last one: then no two vertices share what is near their place.
CompactMesh withLineBetweenLast(CompactMesh mesh) {
    int const numLines = mesh.getNumLines();
    std::vector<MeshLine> const lines(mesh.getLines(), mesh.getLines() + numLines);
    mesh.resizeLineArray(numLines + 1);
    std::copy(lines.begin(), lines.end(), mesh.getLines());
    int const last = mesh.getNumLineStrips() - 1;
    mesh.getLines()[numLines] = {
        {mesh.getLineStripStarts()[last - 1][0], mesh.getLineStripStarts()[last][0]}};
    return mesh;
}

std::string placeOf(MeshLineTopology::Point const& point) {
    return std::to_string(point.boundary) + ":" + std::to_string(point.position);
}

/// Of each edge the places of its ends and of its twin's, in the order of the iterator.
std::string edgesOf(Graph& graph) {
    std::string text;
    for (EdgeRef const& edge : graph.edges()) {
        EdgeRef const twin = edge->getTwin();
        text += (text.empty() ? "" : "  ") + placeOf(edge->getFirstPoint()) + "-" +
                placeOf(edge->getSecondPoint()) + (edge->isCircular() ? " o " : " | ") +
                placeOf(twin->getFirstPoint()) + "-" + placeOf(twin->getSecondPoint()) +
                (edge->isTwinReversed() ? " same way" : "");
    }
    return text;
}

std::vector<int> turnedStrips(Graph const& graph) {
    BitVector const& bits = graph.topology.getOrientation();
    CHECK(bits.size == graph.topology.getNumBoundaries());
    std::vector<int> turned;
    for (int strip = 0; strip < bits.size; ++strip)
        if (bits.isBitSet(strip) != 0)
            turned.push_back(strip);
    return turned;
}

void checkLinks(EdgeRef const& edge, double distance) {
    EdgeRef const twin = edge->getTwin();
    CHECK(twin->getTwin() == edge);
    CHECK(twin->getBoundary() != edge->getBoundary());
    CHECK(twin->isCircular() == edge->isCircular());
    CHECK(twin->isTwinReversed() == edge->isTwinReversed());
    CHECK(twin->getQuality() == edge->getQuality());
    CHECK_FALSE(edge->getLength() < 2.0 * distance);
    CHECK(edge->getNextOnBoundary()->getPrevOnBoundary() == edge);
    CHECK(edge->getPrevOnBoundary()->getNextOnBoundary() == edge);
    CHECK(edge->getNextOnBoundary()->getBoundary() == edge->getBoundary());
    if (edge->isCircular()) {
        CHECK(edge->getNextOnBoundary() == edge);
        CHECK(edge->getFirstPointPtr() == edge->getSecondPointPtr());
        CHECK(edge->getFirstPoint().position == 0);
        CHECK_FALSE(edge->getFirstVertex());
        CHECK_FALSE(edge->getSecondVertex());
        CHECK(edge->getDomain().isFull());
        return;
    }
    bool const sameWay = edge->isTwinReversed();
    CHECK(edge->getFirstVertex() == (sameWay ? twin->getFirstVertex() : twin->getSecondVertex()));
    // a shared point may lie in the neighbour's domain alone
    EdgeRef const next = edge->getNextOnBoundary();
    EdgeRef const prev = edge->getPrevOnBoundary();
    CHECK((edge->getDomain().contains(edge->getFirstPoint().position) ||
           edge->getFirstPointPtr() == prev->getSecondPointPtr()));
    CHECK((edge->getDomain().contains(edge->getSecondPoint().position) ||
           edge->getSecondPointPtr() == next->getFirstPointPtr()));
    CHECK(edge->getFirstPoint().boundary == edge->getBoundary());
    CHECK(edge->getSecondPoint().boundary == edge->getBoundary());
}

/// Everything that must hold of any graph.
void checkGraph(Graph& graph, double distance) {
    std::vector<EdgeRef> const edges = graph.edges();
    CHECK(graph.topology.getNumEdges() == static_cast<int>(edges.size()));
    std::vector<MeshLineTopology::Vertex*> vertices;
    int numLinear = 0;
    for (std::size_t i = 0; i < edges.size(); ++i) {
        checkLinks(edges[i], distance);
        if (i > 0 && edges[i - 1]->getBoundary() == edges[i]->getBoundary())
            CHECK(edges[i - 1]->getDomain().start <= edges[i]->getDomain().start);
        else if (i > 0)
            CHECK(edges[i - 1]->getBoundary() < edges[i]->getBoundary());
        if (edges[i]->isCircular())
            continue;
        ++numLinear;
        for (VertexRef const& vertex : {edges[i]->getFirstVertex(), edges[i]->getSecondVertex()})
            if (std::find(vertices.begin(), vertices.end(), vertex.get()) == vertices.end())
                vertices.push_back(vertex.get());
    }
    CHECK(graph.topology.getNumVertices() == static_cast<int>(vertices.size()));
    int degrees = 0;
    for (MeshLineTopology::Vertex const* const vertex : vertices) {
        degrees += vertex->getDegree();
        EdgeRef const first = vertex->getFirstEdge();
        CHECK(
            (first->getFirstVertex().get() == vertex || first->getSecondVertex().get() == vertex));
    }
    CHECK(degrees == numLinear);
}

/// Patches of a band round the z axis, one loop each; a twisted one has one side only.
std::vector<Loop> bandPatches(int numPatches, bool isTwisted) {
    constexpr double pi = std::numbers::pi;
    constexpr double radius = 10.0;
    constexpr double halfGap = 0.02;
    std::vector<Loop> loops;
    for (int patch = 0; patch < numPatches; ++patch) {
        double const from = 2.0 * pi * patch / numPatches + halfGap;
        double const to = 2.0 * pi * (patch + 1) / numPatches - halfGap;
        Loop loop;
        for (Point const& flat : rectangle(0.0, 0.0, 60.0, 10.0)) {
            double const u = from + (to - from) * flat.x / 60.0;
            double const v = 0.4 * (flat.y - 5.0);
            double const tilt = isTwisted ? u / 2.0 : pi / 2.0;
            double const r = radius + v * std::cos(tilt);
            loop.emplace_back(r * std::cos(u), r * std::sin(u), v * std::sin(tilt));
        }
        loops.push_back(loop);
    }
    return loops;
}

}  // namespace

//   21 +---------+      the two rectangles face each other with 11 points each;
//      |    1    |      at a constant distance the whole stretch stays
//   11 0--------10
//   10 30-------20      A:0 is the lower left corner
//      |    0    |
//    0 +---------+
//      0        10
TEST_CASE("facingSidesBecomeOnePairOfEdges") {
    Loop const lower = rectangle(0, 0, 10, 10);
    Loop const upper = rectangle(0, 11, 10, 21);
    Graph graph({lower, upper});
    CHECK(graph.isOriented);
    CHECK(edgesOf(graph) == "0:20-0:30 | 1:0-1:10  1:0-1:10 | 0:20-0:30");
    CHECK(graph.topology.getNumBoundaries() == 2);
    CHECK(graph.topology.getNumVertices() == 2);
    CHECK(turnedStrips(graph).empty());
    EdgeRef const edge = graph.edges()[0];
    CHECK(edge->getLength() == 10.0);
    CHECK(edge->getQuality() == 0.1);
    CHECK(edge->getDomain() == koUtil::CircularRange(20, 30, 40));
    CHECK(edge->getFirstVertex()->getPosition() == Point(10, 10.5, 0));
    CHECK(edge->getSecondVertex()->getPosition() == Point(0, 10.5, 0));
    CHECK(edge->getFirstVertex()->getDegree() == 1);
    CHECK(edge->getFirstVertex()->getFirstEdge() == edge);
    CHECK(graph.topology.getFirstEdgeOnBoundary(0) == edge);
    CHECK_FALSE(graph.topology.getFirstEdgeOnBoundary(2));
    CHECK_FALSE(graph.topology.getFirstEdgeOnBoundary(-1));

    // Turned round, the ends of the twin change places. Of two strips none is the smaller set: the first stays.
    Graph turned({lower, reversed(upper)});
    CHECK(edgesOf(turned) == "0:20-0:30 | 1:29-1:39 same way  1:29-1:39 | 0:20-0:30 same way");
    CHECK(turned.isOriented);
    CHECK(turnedStrips(turned) == std::vector<int>{1});
    CHECK(turned.edges()[0]->getSecondVertex()->getPosition() == Point(0, 10.5, 0));
}

TEST_CASE("aStretchThroughTheStartOfAStripIsOneRegion") {
    for (int first = 0; first < 40; ++first) {
        CAPTURE(first);
        Graph graph({rotated(rectangle(0, 0, 10, 10), first), rectangle(0, 11, 10, 21)});
        std::string const from = std::to_string((60 - first) % 40);
        std::string const to = std::to_string((70 - first) % 40);
        CHECK(edgesOf(graph) ==
              "0:" + from + "-0:" + to + " | 1:0-1:10  1:0-1:10 | 0:" + from + "-0:" + to);
        CHECK(graph.edges()[0]->getLength() == doctest::Approx(10.0));
    }
}

TEST_CASE("concentricLoopsBecomeOneCircularPair") {
    for (int count : {3, 40, 97})
        for (double angle : {0.0, 0.3, 2.0})
            for (bool turn : {false, true}) {
                CAPTURE(count);
                Loop const inner = circle(40, 1.0);
                Loop const outer = circle(count, count == 3 ? 2.0 : 1.1, 0.0, angle);
                // three points: the long sides come near, but only where they touch
                Graph graph({inner, turn ? reversed(outer) : outer}, count == 3 ? 0.05 : 0.25);
                checkGraph(graph, count == 3 ? 0.05 : 0.25);
                if (count == 3)
                    continue;
                CHECK(edgesOf(graph) ==
                      (turn ? "0:0-0:0 o 1:0-1:0  1:0-1:0 o 0:0-0:0"
                            : "0:0-0:0 o 1:0-1:0 same way  1:0-1:0 o 0:0-0:0 same way"));
                CHECK(graph.topology.getNumVertices() == 0);
                CHECK(graph.isOriented);
                CHECK(turnedStrips(graph) == (turn ? std::vector<int>{} : std::vector<int>{1}));
            }
}

//   21 +-------------------+
//      |         2         |
//   11 0--------10 11-----21
//   10 30------20   30----20
//      |   0    |   |  1  |        1 starts at (11, 0): its left side runs through its index 0
//    0 +-------10   0-----+
//      0       10  11    21
TEST_CASE("threeLoopsMeetInOneVertex") {
    std::vector<Loop> const loops = {rectangle(0, 0, 10, 10), rectangle(11, 0, 21, 10),
                                     rectangle(0, 11, 21, 21)};
    Graph graph(loops);
    CHECK(edgesOf(graph) == "0:10-0:20 | 1:30-1:0  0:20-0:30 | 2:0-2:11  "
                            "1:20-1:30 | 2:11-2:21  1:30-1:0 | 0:10-0:20  "
                            "2:0-2:11 | 0:20-0:30  2:11-2:21 | 1:20-1:30");
    checkGraph(graph, Graph::reach);
    CHECK(graph.topology.getNumVertices() == 4);
    CHECK(graph.isOriented);
    CHECK(turnedStrips(graph).empty());

    // Where the gap is narrower farther down, the ends still stay where all three stretches are.
    std::vector<Loop> narrow = loops;
    for (std::size_t i = 31; i < 35; ++i)
        narrow[1][i].x = 10.9;
    Graph narrowGraph(narrow);
    CHECK(edgesOf(narrowGraph) == edgesOf(graph));

    std::vector<EdgeRef> const edges = graph.edges();
    VertexRef const middle = edges[0]->getSecondVertex();
    CHECK(middle->getDegree() == 3);
    CHECK(equivalent(middle->getPosition(), Point(64.0 / 6.0, 62.0 / 6.0, 0.0), 1e-12));
    for (EdgeRef const& edge : {edges[1], edges[3], edges[5]})
        CHECK(edge->getFirstVertex() == middle);
    for (EdgeRef const& edge : {edges[2], edges[4]})
        CHECK(edge->getSecondVertex() == middle);
    CHECK(edges[0]->getSecondPointPtr() == edges[1]->getFirstPointPtr());
    CHECK(edges[1]->getSecondPointPtr() != edges[0]->getFirstPointPtr());
    CHECK(edges[4]->getSecondPointPtr() == edges[5]->getFirstPointPtr());

    // The first strip stays, so both others would turn: instead it turns alone.
    Graph turned({reversed(loops[0]), loops[1], loops[2]});
    CHECK(turned.isOriented);
    CHECK(turnedStrips(turned) == std::vector<int>{0});
    checkGraph(turned, Graph::reach);
}

// A band cut into patches: with a twist the last patch meets the first the wrong way round. Two patches contradict each
// other directly, three by way of the third.
TEST_CASE("stripsOfAMoebiusBandCannotAgree") {
    for (int numPatches : {2, 3, 4}) {
        CAPTURE(numPatches);
        Graph plain(bandPatches(numPatches, false), 0.7);
        CHECK(plain.isOriented);
        CHECK(turnedStrips(plain).empty());
        CHECK(plain.topology.getNumEdges() == 2 * numPatches);
        checkGraph(plain, 0.7);

        for (int first : {0, 30, 65, 100, 135}) {  // whichever stretch comes first
            std::vector<Loop> loops = bandPatches(numPatches, true);
            loops[1] = rotated(loops[1], first);
            Graph twisted(loops, 0.7);
            CHECK_FALSE(twisted.isOriented);
            CHECK(twisted.topology.getNumEdges() == 2 * numPatches);
            checkGraph(twisted, 0.7);
        }
    }
}

// The upper square hangs over by 10 - overlap. Diagonals are within reach too, so the stretch is one longer than
// the overlap; what its twin is near to is not.
TEST_CASE("stretchesShorterThanTwiceTheDistanceDisappear") {
    for (int overlap : {0, 1, 2, 3, 4, 5, 9}) {
        CAPTURE(overlap);
        Graph graph({rectangle(0, 0, 10, 10), rectangle(10 - overlap, 11, 20 - overlap, 21)});
        CHECK(graph.topology.getNumEdges() == (overlap > 3 ? 2 : 0));
        CHECK(graph.isOriented);
        checkGraph(graph, Graph::reach);
    }
}

// Points of the finer strip between those that are nearest to something count too, as long as they are near themselves.
TEST_CASE("stripsOfDifferentFinenessFaceEachOther") {
    for (double const step : {0.125, 0.25, 0.5, 2.0}) {
        CAPTURE(step);
        Graph graph({rectangle(0, 0, 10, 10), rectangle(0, 11, 10, 21, step)});
        std::string const last = std::to_string(static_cast<int>(10.0 / step));
        CHECK(edgesOf(graph) == "0:20-0:30 | 1:0-1:" + last + "  1:0-1:" + last + " | 0:20-0:30");
    }
}

//    +---+   +---+
//    |   |   |   |     the notch is out of reach, though the border below is near to both its corners all along:
//    +---+   +---+     what it is near to falls into two pieces, and nothing is paired
//    +-----------+
TEST_CASE("stretchesThatFaceTwoPiecesOfAStripAreNotPaired") {
    Loop const whole = rectangle(0, 11, 10, 21);
    Loop notched;
    for (Point const& p : whole) {
        for (int y = 12; y < 16 && p == Point(5, 11, 0); ++y)
            notched.emplace_back(4, y, 0);
        notched.emplace_back(p.x, p == Point(5, 11, 0) ? 16 : p.y, 0);
        for (int y = 15; y > 11 && p == Point(5, 11, 0); --y)
            notched.emplace_back(6, y, 0);
    }
    CHECK(notched.size() == 48);
    for (Loop const& upper : {whole, notched}) {
        Graph graph({rectangle(0, 0, 10, 10), upper});
        CHECK(graph.topology.getNumEdges() == (upper.size() == 48 ? 0 : 2));
    }
}

// Both strips begin with a long step, so there is room enough; the stretch itself is 2 long.
TEST_CASE("shortStretchesDisappearHoweverMuchRoomThereIs") {
    auto const withLongStart = [](Loop loop) {
        loop.erase(loop.begin() + 1, loop.begin() + 10);
        return loop;
    };
    Graph graph({withLongStart(rectangle(0, 0, 10, 10)),
                 withLongStart(rotated(rectangle(9, 11, 19, 21), 20))});
    CHECK(graph.topology.getNumEdges() == 0);
}

//   y = 3      o---o---o---o---o---o        every point has two equally near ones, and takes the first that it meets:
//            o---o---o---o---o---o  y = 2   four points are faced, not five, so three units are free, not four
TEST_CASE("theFirstOfEquallyNearPointsCounts") {
    for (double const distance : {1.45, 1.5}) {  // three units are more than 2.9
        Graph graph({rectangle(0, 0, 5, 2), rectangle(1.5, 3, 6.5, 5)}, distance);
        CHECK(graph.topology.getNumEdges() == (distance < 1.5 ? 2 : 0));
    }
}

// The flat loop is near the border all round, and the border is near to one side of it: a whole strip and a part of one.
TEST_CASE("aWholeStripIsNotPairedWithAPart") {
    Graph graph({rectangle(0, 0, 10, 10), rectangle(2, 10.5, 8, 11.25, 0.75)});
    CHECK(graph.topology.getNumEdges() == 0);
}

//      +--+  +--+  +-
//   +--+  +--+  +--+       steps along the border vote against, steps across it for: here nine and nine. The first step
//   -------------------    is beside the last point of the stretch and has no vote; a tie is not the same way.
TEST_CASE("aTieOfVotesIsNotTheSameWay") {
    Loop stairs = {Point(0, 11, 0)};
    for (int x = 1; x <= 10; ++x) {
        double const y = stairs.back().y;
        stairs.emplace_back(x, y, 0);
        if (x < 10)
            stairs.emplace_back(x, y > 11.1 ? 11.0 : 11.3, 0);
    }
    Loop const frame = rectangle(0, 11, 10, 21);
    stairs.insert(stairs.end(), frame.begin() + 11, frame.end());
    Graph graph({rectangle(0, 0, 10, 10), stairs});
    REQUIRE(graph.topology.getNumEdges() == 2);
    CHECK_FALSE(graph.edges()[0]->isTwinReversed());
}

// What is left of a strip is measured from the start of the strip: fine points there count for little.
TEST_CASE("roomOnAStripIsMeasuredFromItsStart") {
    Loop coarse = rectangle(0, 0, 10, 10);
    Loop fine = rectangle(0, 0, 10, 10);
    for (int i = 1; i < 20; ++i)
        fine.insert(fine.begin() + i, Point(0.05 * i, 0, 0));
    for (bool isFine : {false, true}) {
        Graph graph({isFine ? fine : coarse, rectangle(0, 11, 10, 21)});
        CHECK(graph.topology.getNumEdges() == (isFine ? 0 : 2));
    }
}

// Two squares over the upper side of the first one; the gap between what they face is bridged when it is short.
TEST_CASE("gapsBelowTheDistanceJoinStretches") {
    // Points two units apart, one over each: no gap, though the squares are out of reach of each other.
    Graph adjacent(
        {rectangle(0, 0, 20, 10, 2), rectangle(0, 11, 8, 16), rectangle(10, 11, 20, 16)});
    CHECK(adjacent.topology.getNumEdges() == 4);
    CHECK(adjacent.topology.getNumVertices() == 3);

    struct {
        int left, right;  // end of the one, start of the other
        bool isJoined;
    } const cases[] = {{5, 7, true},    // one point between: a gap without length
                       {5, 8, true},    // two points, 1 long
                       {5, 9, false}};  // three points, 2 long
    for (auto const& each : cases) {
        auto const [left, right, isJoined] = each;
        CAPTURE(each.right);
        // Two units from its end the second square is nearer. No point is near both squares, so where they are joined
        // the end stays: one beyond the square, which the diagonal reaches.
        Loop second = rectangle(right, 11, 14, 16);
        second[2].y = isJoined ? 10.9 : 11.0;
        Graph graph({rectangle(0, 0, 14, 10), rectangle(0, 11, left, 16), second});
        checkGraph(graph, Graph::reach);
        CHECK(graph.topology.getNumEdges() == 4);
        CHECK(graph.topology.getNumVertices() == (isJoined ? 3 : 4));
        // along the upper side, right to left: 24 to 38
        std::vector<EdgeRef> const edges = graph.edges();
        CHECK((edges[0]->getSecondPointPtr() == edges[1]->getFirstPointPtr()) == isJoined);
        CHECK((edges[0]->getSecondVertex() == edges[1]->getFirstVertex()) == isJoined);
        CHECK(edges[0]->getSecondVertex()->getDegree() == (isJoined ? 2 : 1));
        CHECK(edges[0]->getSecondPoint().position == 38 - right + (isJoined ? 1 : 0));
    }
}

// The second square stands upright on the first one's border, 1.3 away; the third lies 1 away in the plane.
TEST_CASE("theBestOfTwoRivalsGetsTheStretch") {
    Loop upright = rectangle(0, 0, 10, 10);
    for (Point& p : upright)
        p = Point(p.x, 10.0, 1.3 + p.y);
    Loop const flat = rectangle(0, 11, 10, 21);
    Graph both({rectangle(0, 0, 10, 10), upright, flat});
    CHECK(edgesOf(both) == "0:20-0:30 | 2:0-2:10  2:0-2:10 | 0:20-0:30");
    Graph alone({rectangle(0, 0, 10, 10), upright});
    CHECK(alone.topology.getNumEdges() == 2);
}

// The last point of the fine border is nearer to a point of the coarse one that has itself nothing near: what a stretch
// faces must lie in its twin.
TEST_CASE("twinsContainWhatTheOtherFaces") {
    Loop const coarse = rectangle(0, 0, 12, 8, 4);  // 0, 4, 8 and 12 above
    for (double const right : {9.5, 10.5}) {
        Loop const fine = rectangle(0, 9, right, 16, 0.5);
        Graph first({coarse, fine});
        CHECK(first.topology.getNumEdges() == (right < 10.0 ? 2 : 0));
        Graph second({fine, coarse});
        CHECK(second.topology.getNumEdges() == (right < 10.0 ? 2 : 0));
    }
}

// A piece of the inner circle's way is nearer, and taken first; the whole circles drive it out.
TEST_CASE("wholeCirclesLeaveNoRoomForOthers") {
    Loop arc;
    for (int i = 0; i <= 10; ++i)
        arc.emplace_back(0.94 * std::cos(0.1 * i), 0.94 * std::sin(0.1 * i), 0.0);
    for (int i = 10; i >= 0; --i)
        arc.emplace_back(0.6 * std::cos(0.1 * i), 0.6 * std::sin(0.1 * i), 0.0);
    Graph alone({arc, circle(160, 1.0)}, 0.25);
    CHECK(alone.topology.getNumEdges() == 2);
    Graph graph({arc, circle(160, 1.0), circle(160, 1.22)}, 0.25);
    CHECK(edgesOf(graph) == "1:0-1:0 o 2:0-2:0 same way  2:0-2:0 o 1:0-1:0 same way");
    checkGraph(graph, 0.25);
}

// Three circles, one above the other: the middle one goes to the nearer of the two, whole.
TEST_CASE("aCircleIsPairedOnce") {
    Graph graph({circle(40, 1.0, 0.0), circle(40, 1.0, 0.15), circle(40, 1.0, 0.25)}, 0.2);
    CHECK(edgesOf(graph) == "1:0-1:0 o 2:0-2:0 same way  2:0-2:0 o 1:0-1:0 same way");
    checkGraph(graph, 0.2);
}

// The sides come nearest in the middle, where the ends of the stretch end up: each half may go as far.
TEST_CASE("endsMoveToTheNearestPointOfTheirHalf") {
    Loop const lower = rectangle(0, 0, 10, 10);
    Loop upper = rectangle(0, 11, 10, 21);
    for (int i = 0; i <= 10; ++i)
        upper[static_cast<std::size_t>(i)].y += 0.01 * std::abs(i - 5);
    Graph graph({lower, upper});
    // halves of 11: 20 to 25 and 26 to 30; of the upper one 0 to 5 and 6 to 10
    CHECK(edgesOf(graph) == "0:25-0:26 | 1:5-1:6  1:5-1:6 | 0:25-0:26");
}

TEST_CASE("edgesThatOutliveTheirGraphKnowNothing") {
    EdgeRef edge;
    VertexRef vertex;
    {
        Graph graph({rectangle(0, 0, 10, 10), rectangle(0, 11, 10, 21)});
        edge = graph.edges()[0];
        vertex = edge->getFirstVertex();
        CHECK(graph.topology.compute(Graph::reach));  // a new graph
        CHECK_FALSE(edge->getTwin());
        CHECK(graph.topology.getNumEdges() == 2);
        edge = graph.edges()[0];
        vertex = edge->getFirstVertex();
    }
    CHECK(edge->getFirstPoint().position == 20);
    CHECK(edge->getBoundary() == -1);
    CHECK_FALSE(edge->getTwin());
    CHECK_FALSE(edge->getNextOnBoundary());
    CHECK_FALSE(edge->getPrevOnBoundary());
    CHECK_FALSE(edge->getFirstVertex());
    CHECK_FALSE(edge->getSecondVertex());
    CHECK_FALSE(vertex->getFirstEdge());
    CHECK(vertex->getPosition() == Point(10, 10.5, 0));
}

TEST_CASE("verticesAreTheMeanOfTheirPoints") {
    MeshLineTopology::Vertex vertex;
    CHECK(vertex.getDegree() == 0);
    vertex.addVertexPoint(Point(4, 0, 0));
    CHECK(vertex.getPosition() == Point(4, 0, 0));
    vertex.addEdgePoint(Point(0, 4, 0));
    CHECK(vertex.getPosition() == Point(2, 2, 0));
    vertex.addEdgePoint(Point(2, 2, 9));
    CHECK(equivalent(vertex.getPosition(), Point(2, 2, 3), 1e-15));
    CHECK(vertex.getDegree() == 1);
}

TEST_CASE("fewStripsAndShortStripsHaveNoEdges") {
    Loop const square = rectangle(0, 0, 10, 10);
    std::vector<std::vector<Loop>> const cases = {
        {},
        {square},
        {square, {}},
        {{}, {}},
        {{Point(0, 0, 0)}, {Point(0, 0, 1)}, {Point(0, 1, 0)}},
        {square, {Point(5, 11, 0)}, {Point(5, 10.5, 0)}},
        {{Point(0, 0, 0), Point(1, 0, 0)}, {Point(0, 1, 0), Point(1, 1, 0)}},
        {Loop(5, Point(0, 0, 0)), Loop(5, Point(0, 0, 0))},
        {square, square}};
    for (std::vector<Loop> const& loops : cases) {
        CAPTURE(loops.size());
        Graph graph(loops);
        CHECK(graph.isOriented);
        CHECK(graph.topology.getNumBoundaries() == static_cast<int>(loops.size()));
        if (!(loops.size() == 2 && loops[1].size() == 40))
            CHECK(graph.topology.getNumEdges() == 0);
        turnedStrips(graph);
        checkGraph(graph, Graph::reach);
    }
    // two points are enough when they are far apart
    Graph pair({{Point(0, 0, 0), Point(9, 0, 0)}, {Point(0, 1, 0), Point(9, 1, 0)}});
    CHECK(edgesOf(pair) == "0:0-0:0 o 1:0-1:0 same way  1:0-1:0 o 0:0-0:0 same way");
}

TEST_CASE("distancesThatAreNoneFindNothing") {
    for (double const distance : {0.0, -1.5, std::numeric_limits<double>::quiet_NaN(),
                                  -std::numeric_limits<double>::infinity()}) {
        Graph graph({rectangle(0, 0, 10, 10), rectangle(0, 11, 10, 21)}, distance);
        CHECK(graph.isOriented);
        CHECK(graph.topology.getNumEdges() == 0);
    }
}

// Lines between strips, a strip that goes over its points twice, points shared by strips: the first place counts.
TEST_CASE("strayLinesAndRepeatedPointsAreSurvived") {
    CompactMesh mesh = meshOfLoops({rectangle(0, 0, 10, 10), rectangle(0, 11, 10, 21, 0.5)});
    int const numLines = mesh.getNumLines();
    mesh.resizeVertexArray(122);
    mesh.getVertices()[120].set(3, 10.5f, 0);
    mesh.getVertices()[121].set(7, 10.5f, 0);
    mesh.resizeLineArray(numLines + 2);
    mesh.getLines()[numLines] = {{120, 121}};    // on no strip
    mesh.getLines()[numLines + 1] = {{25, 50}};  // from one to the other
    TopologyAlg stray(mesh);
    CHECK(stray.compute(Graph::reach));
    CHECK(stray.getNumEdges() == 2);
    CHECK(stray.getFirstEdgeOnBoundary(0)->getDomain() == koUtil::CircularRange(20, 30, 40));
    CHECK(stray.getFirstEdgeOnBoundary(0)->getQuality() == 0.1);
    CHECK(stray.getFirstEdgeOnBoundary(1)->getDomain() == koUtil::CircularRange(0, 20, 80));

    mesh.resizeLineStripArrays(200, 4);
    for (int i = 0; i < 80; ++i)
        mesh.getLineStripPoints()[120 + i] = i % 40;  // the first loop, twice
    mesh.getLineStripLengths()[2] = 80;
    mesh.getLineStripLengths()[3] = 0;
    TopologyAlg twice(mesh);
    twice.compute(Graph::reach);
    CHECK(twice.getNumEdges() >= 0);
}

TEST_CASE("anyLoopsGiveAConsistentGraphTwice") {
    for (std::uint64_t seed = 0; seed < 150; ++seed) {
        CAPTURE(seed);
        support::Random random(seed);
        bool const onLattice = random.index(2) == 0;
        auto const coordinate = [&](int size) {
            return onLattice ? random.index(size) : random.real(0.0, size);
        };
        std::vector<Loop> loops(static_cast<std::size_t>(random.index(7)));
        for (Loop& loop : loops) {
            Point const middle(coordinate(6), coordinate(6), coordinate(2));
            int const kind = random.index(4);
            if (kind == 0)
                for (int i = random.index(12); i > 0; --i)
                    loop.emplace_back(coordinate(6), coordinate(6), coordinate(2));
            else
                loop = kind == 1 ? circle(3 + random.index(40), random.real(1, 4))
                                 : rectangle(0, 0, 1 + random.index(6), 1 + random.index(6),
                                             random.index(2) == 0 ? 0.25 : 1.0);
            for (Point& p : loop)
                p += kind == 0 ? Vector() : middle.asVector();
            if (random.index(20) == 0 && !loop.empty())
                loop[0].x = random.index(2) == 0 ? std::nan("") : INFINITY;
            if (random.index(2) == 0)
                std::reverse(loop.begin(), loop.end());
        }
        for (double const distance : {0.3, 1.2, 5.0}) {
            CAPTURE(distance);
            Graph graph(loops, distance);
            checkGraph(graph, distance);
            Graph again(loops, distance);
            CHECK(edgesOf(again) == edgesOf(graph));
            CHECK(again.isOriented == graph.isOriented);
        }
    }
}

// Many copies of a loop in one place look for what is near once for all of them.
TEST_CASE("loopsInOnePlaceAreNearWhatEachAloneIsNear") {
    std::size_t numEdges = 0;
    for (std::uint64_t seed = 0; seed < 60; ++seed) {
        CAPTURE(seed);
        support::Random random(seed);
        std::vector<Loop> loops;
        for (int i = 1 + random.index(3); i > 0; --i) {
            int const left = random.index(3);
            Loop const loop = random.index(2) == 0
                                  ? rectangle(left, 0, left + 3, 1 + random.index(3), 0.5)
                                  : circle(10 + random.index(30), 1 + random.index(3));
            for (int copy = random.index(4); copy >= 0; --copy)
                loops.push_back(random.index(3) == 0 ? reversed(loop)
                                                     : rotated(loop, random.index(10)));
        }
        if (random.index(4) == 0)
            loops[0][0].x = random.index(2) == 0 ? std::nan("") : INFINITY;
        for (double const height : {1000.0, 2000.0})
            loops.push_back(circle(12, 1.0, height));
        for (double const distance : {0.4, 1.2}) {
            CAPTURE(distance);
            Graph together(loops, distance);
            Graph oneByOne(withLineBetweenLast(meshOfLoops(loops)), distance);
            CHECK(edgesOf(together) == edgesOf(oneByOne));
            CHECK(together.isOriented == oneByOne.isOriented);
            auto const edges = together.edges();
            auto const others = oneByOne.edges();
            numEdges += edges.size();
            for (std::size_t i = 0; i < std::min(edges.size(), others.size()); ++i) {
                CHECK(edges[i]->getQuality() == others[i]->getQuality());
                CHECK(edges[i]->getDomain() == others[i]->getDomain());
            }
        }
    }
    CHECK(numEdges > 100);
}
