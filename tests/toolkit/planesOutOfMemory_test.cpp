// Figures of the plane, curves, sparse systems, containers and texts: what becomes of them when memory runs out.

#include "outOfMemory.h"

#include "trimora/contract/ko/BlockAllocator.h"
#include "trimora/contract/koGeom/ArrayOfSets.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/GridMesh.h"
#include "trimora/contract/koGeom/MeshSequence.h"
#include "trimora/contract/koGeom/Polyline.h"
#include "trimora/contract/koGeom/Polyline2d.h"
#include "trimora/contract/koGeom/Remap.h"
#include "trimora/contract/koOS/Filename.h"
#include "trimora/contract/koString/IString.h"
#include "trimora/contract/koUtil/CircularRange.h"
#include "trimora/contract/koUtil/Ordering.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/contract/koUtil/SMPSort.h"
#include "trimora/parameterize/ChordLengthParameterization.h"
#include "trimora/parameterize/ConjugateGradient.h"
#include "trimora/parameterize/Preconditioner.h"
#include "trimora/parameterize/SparseMatrix.h"
#include "trimora/planar/Interpolate2D.h"
#include "trimora/planar/InterpolateAlg.h"
#include "trimora/planar/MergeSegments.h"
#include "trimora/planar/PolylineBBoxCache.h"
#include "trimora/planar/PolylineIntersectPt.h"
#include "trimora/planar/PolylineProjectPt.h"
#include "trimora/planar/Smooth2D.h"
#include "trimora/planar/convexHull2d.h"
#include "trimora/planar/decimate.h"
#include "trimora/planar/fit.h"
#include "trimora/planar/minAreaBound.h"
#include "trimora/planar/overlap.h"
#include "trimora/planar/pack.h"
#include "trimora/planar/polygonRelations.h"
#include "trimora/planar/polylineTransform.h"
#include "trimora/planar/triangulatePolygon.h"
#include "trimora/spatial/sampleSequences.h"

#include <cmath>
#include <deque>
#include <doctest/doctest.h>
#include <functional>
#include <numeric>
#include <sstream>
#include <string>
#include <vector>

using koGeom::NVector;
using koGeom::Polyline;
using koGeom::Polyline2d;
using koGeom::SparseMatrix;
using koLinear::Point;
using koLinear::Point2;

namespace {

struct Call {
    std::string name;
    std::function<void()> run;
};

Polyline2d squareAt(double x, double y) {
    Polyline2d square;
    for (auto const& [u, v] : {std::pair{0.0, 0.0}, {2.0, 0.0}, {2.0, 2.0}, {0.0, 2.0}, {0.0, 0.0}})
        square.appendVertex({x + u, y + v});
    return square;
}

ko::vector<Point> ring() {
    ko::vector<Point> points;
    for (int i = 0; i < 9; ++i)
        points.emplace_back(std::cos(0.7 * i), std::sin(0.7 * i), 0.1 * i);
    return points;
}

/// A wave along x, above it by `height`.
Polyline wave(double height) {
    std::vector<Polyline::vertex> vertices;
    for (int i = 0; i < 12; ++i)
        vertices.emplace_back(i, height + 0.1 * std::sin(i), 0.0, i);
    return {static_cast<int>(vertices.size()), vertices.data()};
}

/// Second differences: 2 on the diagonal, -1 beside it.
void fillDifferences(SparseMatrix& matrix, int size) {
    for (int i = 0; i < size; ++i) {
        matrix.addToElement(i, i, 2.5);
        if (i > 0)
            matrix.addToElement(i, i - 1, -1.0);
        if (i + 1 < size)
            matrix.addToElement(i, i + 1, -1.0);
    }
}

NVector ones(int size) {
    NVector vector(size);
    for (int i = 0; i < size; ++i)
        vector[i] = 1.0;
    return vector;
}

std::vector<Call> const figures = {
    {"triangulatePolygon",
     [] {
         ko::vector<int> triangles;
         koGeom::BitVector forbidden(9);
         koUtil::Progress progress;
         koGeom::triangulatePolygon(ring(), triangles, &forbidden, &progress);
     }},
    {"convexHull2d",
     [] {
         ko::vector<Point2> points;
         for (Point const& p : ring())
             points.emplace_back(p.x, p.y);
         ko::vector<int> hull;
         koGeom::convexHull2d(points, hull);
         ko::vector<Point2> corners;
         koGeom::convexHull2d(points, corners);
         Polyline const line = wave(0.0);
         ko::vector<Point> inSpace;
         koGeom::convexHull2d(ko::vector<Polyline const*>{&line}, inSpace);
     }},
    {"minAreaBound",
     [] {
         Polyline2d const square = squareAt(0, 0);
         koGeom::Rect2 rect;
         float anisotropy = 0;
         koGeom::minAreaBound(ko::vector<Polyline2d const*>{&square}, 0.1, rect, anisotropy);
         Polyline const line = wave(0.0);
         koGeom::minAreaBound(ko::vector<Polyline const*>{&line}, 0.1, rect, anisotropy);
     }},
    {"intersectPolygons",
     [] {
         koGeom::EPolygonsIntersection status{};
         Polyline2d common;
         koGeom::intersectPolygons(squareAt(0, 0), squareAt(1, 0.5), status, common, 1e-9);
         Polyline2d copy(common);
         copy.swap(common);
     }},
    {"sectors and segments with polygons",
     [] {
         koGeom::ESectorPolygonIntersection inSector{};
         Polyline2d part;
         koGeom::isSectorPolygonIntersect({-1, 1}, {1, 0.1}, {1, 0.3}, squareAt(0, 0), inSector,
                                          part, 1e-9);
         koGeom::ELineSegmentPolygonIntersection onSegment{};
         ko::vector<Point2> points;
         ko::vector<double> parameters;
         koGeom::intersectLineSegmentWithPolygon({-1, 1}, {3, 1.2}, squareAt(0, 0), onSegment,
                                                 points, parameters, 1e-9);
     }},
    {"overlap",
     [] {
         koLinear::Range1d ofA;
         koLinear::Range1d ofB;
         double area = 0;
         double farthest = 0;
         double length = 0;
         bool isReversed = false;
         koGeom::overlap(wave(0.0), wave(0.05), 0.2, 0.2, false, ofA, ofB, area, farthest, length,
                         isReversed);
     }},
    {"polylines",
     [] {
         Polyline line = wave(0.0);
         koGeom::decimate(line, 0.05);
         koGeom::polylineTransform(line, koLinear::AffineMatrix(1.0));
         koGeom::PolylineBBoxCache const boxes(line);
         koGeom::PolylineProjectPt const projection(line);
         projection.project({3.3, 1.0, 0.0});
         koGeom::PolylineIntersectPt intersection(line);
         koGeom::PolylineIntersectPt copy(intersection);
         double onLine = 0;
         double onRay = 0;
         copy.intersect(koLinear::ParamLine(Point(3.3, -1, 0), Point(3.3, 1, 0)), onLine, onRay);
     }},
    {"MergeSegments",
     [] {
         std::deque<koGeom::Segment> segments;
         for (int i = 0; i < 6; ++i) {
             float const from[3] = {static_cast<float>(i), 0, 0};
             float const to[3] = {static_cast<float>(i + 1), 0, 0};
             segments.emplace_back(from, to);
         }
         ko::vector<ko::Reference<Polyline>> lines;
         koGeom::MergeSegments()(lines, segments, 0.1f);
     }},
    {"planes and rectangles",
     [] {
         koLinear::Plane plane;
         koGeom::recognizePlane(ring(), plane, 10.0);
         ko::vector<koLinear::Range2d> rects(3);
         for (koLinear::Range2d& rect : rects) {
             rect.include(Point2(0.0, 0.0));
             rect.include(Point2(0.2, 0.3));
         }
         koGeom::pack(rects);
     }},
    {"strokes",
     [] {
         ko::Reference<koGeom::Interpolate2D> const stroke(new koGeom::SmoothInterpolate2D());
         ko::Reference<koGeom::Interpolate2D> const plain(new koGeom::FltInterpolate2D());
         for (int i = 0; i < 5; ++i) {
             stroke->add_point({0.1f * static_cast<float>(i), 0.2f});
             plain->add_point({0.1f * static_cast<float>(i), 0.2f});
         }
         koLinear::Point2Flt place;
         stroke->interpolate(place, nullptr);
         koGeom::Smooth2D smooth;
         smooth.add_point({0.1f, 0.2f});
     }},
    {"InterpolateAlg",
     [] {
         for (auto const hint : {koGeom::InterpolateAlg::EInterpolationHint::CubicSpline,
                                 koGeom::InterpolateAlg::EInterpolationHint::Neville,
                                 koGeom::InterpolateAlg::EInterpolationHint::DividedDifferences}) {
             koGeom::InterpolateAlg function;
             function.setInterpolationHint(hint);
             function.setInput({{0.0f, 0.0f}, {0.3f, 1.0f}, {0.6f, 0.5f}, {1.0f, 0.7f}});
             function.evaluate(0.4);
             function.release();
         }
     }},
    {"sample sequences",
     [] {
         koGeom::HammersleyPermutation2 table;
         table.calculate(5);
         koGeom::ScrambledHammersleySequence sequence;
         sequence.calculate(5, 3);
         ko::vector<koLinear::Vector> directions;
         koGeom::computeHemisphereVectors({0, 0, 1}, directions);
     }},
};

std::vector<Call> const systems = {
    {"SparseMatrix",
     [] {
         SparseMatrix matrix(6);
         fillDifferences(matrix, 6);
         SparseMatrix other(6);
         matrix.transpose(other);
         matrix.getUpperTriangular(other);
         other.copy(matrix);
         NVector product(6);
         matrix.getMatrixTimesVector(ones(6), product);
         matrix.isPositiveDefinite();
         matrix.toMmaString();
     }},
    {"ConjugateGradient",
     [] {
         for (bool const isDiagonal : {true, false}) {
             koGeom::ConjugateGradient solver(6);
             fillDifferences(solver.A(), 6);
             if (isDiagonal)
                 solver.initDiagonalPreconditioner();
             else
                 solver.initIncompleteCholeskyPreconditioner();
             solver.initialize(ones(6), NVector(6));
             for (int i = 0; i < 4; ++i)
                 solver.iterate(1e-9, 1e-30);
         }
     }},
    {"grids",
     [] {
         koGeom::GridMesh grid(3, 3);
         for (int v = 0; v < 9; ++v)
             grid.getVertices()[v].set(static_cast<float>(v % 3), static_cast<float>(v / 3), 0.0f);
         koLinear::Range2d range;
         range.include(Point2(0.0, 0.0));
         range.include(Point2(1.0, 1.0));
         koGeom::createUniformParameterization(grid, "flat", range, 0.0);
         koGeom::ChordLengthParameterization map;
         map.measureChordLengths(grid, range);
         koGeom::MeshAttributes* const chord = grid.allocAttributes("chord", 2);
         map.createChordLengthMapping(*grid.getAttributes("flat"), *chord);
     }},
};

std::vector<Call> const containers = {
    {"sets and selections",
     [] {
         int const pairs[] = {0, 3, 1, 2, 0, 1, 2, 3};
         koGeom::ArrayOfSets sets;
         sets.assignFromPairs(3, 4, pairs);
         koGeom::ArrayOfSets inverse;
         inverse.assignInverse(4, sets);
         koGeom::ArrayOfSets copy(inverse);
         copy = sets;
         koGeom::BitVector bits(70);
         bits.setAllBits();
         koGeom::BitVector other(bits);
         other.resize(200);
         bits = other;
         koGeom::Remap remap(70, 50);
         remap.setSequential();
         remap.setDeleteMap(bits);
         koGeom::MeshSequence const runs(ko::vector<ko::vector<int>>{{0, 1, 2}, {2, 3}});
         koGeom::MeshSequence const second(runs);
     }},
    {"blocks",
     [] {
         ko::BlockAllocator blocks(24, 4);
         std::vector<void*> items;
         for (int i = 0; i < 9; ++i)
             items.push_back(blocks.allocate());
         for (void* item : items)
             blocks.deallocate(item);
     }},
    {"orders",
     [] {
         koUtil::Ordering order;
         order.resize(9);
         ko::vector<koUtil::CircularRange> ranges;
         koUtil::merge(ranges, {1, 3, 20});
         koUtil::merge(ranges, {7, 9, 20});
         koUtil::subtract(ranges, {2, 8, 20});
     }},
    {"texts",
     [] {
         koString::CString text("a name that is longer than what is stored in place");
         text.append(" and longer");
         text.format("%d of %s", 3, "a text that is longer than what is stored in place");
         koString::IString const other("\xc3\xa4 and as much text as goes beyond",
                                       koString::Encoding::Utf8);
         other.asMultibyte(koString::Encoding::Utf8);
         koOS::Filename const file("a/folder/with/a/long/name/and/a/file.with.ending");
         file.dirname();
         file.basename();
         file.baseTrunk();
     }},
    {"listeners",
     [] {
         koUtil::Progress progress;
         int numCalls = 0;
         progress.setListener([&numCalls](double, char const*) { ++numCalls; });
         koUtil::Progress part;
         progress.subPhase(0.5, part);
         part.setCaption("a caption that is longer than what is stored in place");
         part.set(0.5);
     }},
};

void tryAll(std::vector<Call> const& calls) {
    outOfMemory::OneThread const oneThread;
    exhaustion::Tally tally("calls", "allocations");
    for (Call const& call : calls) {
        CAPTURE(call.name);
        outOfMemory::failEverywhere(tally, [&] {
            return outOfMemory::Trial{call.run, [](bool) {}};
        });
    }
}

}  // namespace

TEST_CASE("figuresOfThePlaneComeOutOfMemory") {
    tryAll(figures);
}

TEST_CASE("sparseSystemsComeOutOfMemory") {
    tryAll(systems);
}

TEST_CASE("containersAndTextsComeOutOfMemory") {
    tryAll(containers);
}
