#include "support/builders.h"
#include "tube.h"

#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koGeom/MeshCurve.h"
#include "trimora/measure/MeshCollar.h"

#include <algorithm>
#include <cmath>
#include <doctest/doctest.h>
#include <iostream>
#include <numbers>
#include <sstream>

using namespace koGeom;

namespace {

using Samples = ko::vector<MeshCollar::Point>;

constexpr double pi = std::numbers::pi;

/// A place on the edge between two vertices, or on the first one.
MeshCoord placeOn(CompactMesh const& mesh, int a, int b, double param) {
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        MeshCoord coord(t, 0.0, 0.0, 0.0);
        int numFound = 0;
        for (int k = 0; k < 3; ++k) {
            int const corner = mesh.getTriangles()[t][k];
            coord.weights[k] = corner == a ? 1.0 - param : corner == b ? param : 0.0;
            numFound += corner == a || corner == b;
        }
        if (numFound == (a == b ? 1 : 2))
            return coord;
    }
    return MeshCoord();
}

MeshCoord placeOn(CompactMesh const& mesh, int vertex) {
    return placeOn(mesh, vertex, vertex, 0.0);
}

/// A mesh, its tables and collars of it, by a handle that shares its work with another one.
struct Collar {
    CompactMesh const mesh;
    SimpleMeshCache cache;
    ko::Reference<MeshAdjTris> const adjTris = cache.getAdjTris(mesh);
    ko::Reference<MeshBoundaries> const boundaries = cache.getBoundaries(mesh);
    MeshCollar const owner{mesh, *adjTris, *boundaries};
    MeshCollar collar{owner};
    MeshCollar::Params params;

    explicit Collar(CompactMesh const& source) : mesh(source) {}

    double distance(MeshCoord const& start, MeshCoord const& end, bool forward) {
        return collar.getDistance(start, end, 0, forward);
    }
    Samples along(MeshCoord const& start, MeshCoord const& end, bool forward) {
        Samples samples(3);
        collar.getPoints(start, end, params, 0, forward, samples);
        return checked(samples);
    }
    Samples along(MeshCurve const& curve) {
        Samples samples(3);
        collar.getPoints(params, curve, samples);
        return checked(samples);
    }
    Samples along(MeshCoord const& start, MeshCoord const& end, MeshCurve const& curve) {
        Samples samples(3);
        collar.getPoints(start, end, params, curve, samples);
        return checked(samples);
    }
    void cutInto(int numPieces) {
        params.useExistingPoints = false;
        params.numPoints = numPieces;
    }

private:
    /// What holds for samples on vertices and edges: unit vectors at right angles, or no direction at all.
    static Samples checked(Samples const& samples) {
        for (auto const& sample : samples) {
            CHECK(sample.normal.length() == doctest::Approx(1.0));
            CHECK((sample.direction == Vector() ||
                   std::abs(sample.direction.length() - 1.0) < 1e-12));
        }
        return samples;
    }
};

bool isNear(Vector const& v, Vector const& w) {
    return (v - w).length() < 1e-6;
}

/// Steps between neighbours, all equal.
void checkSteps(Samples const& samples, double step) {
    for (std::size_t i = 1; i < samples.size(); ++i)
        CHECK(koLinear::distance(samples[i - 1].position, samples[i].position) ==
              doctest::Approx(step));
}

/// A disk in z = 0: a hub in the middle, number 0, and its rim on the unit circle.
CompactMesh disk(int numRim) {
    std::vector<float> coordinates = {0, 0, 0};
    std::vector<int> triangles;
    for (int i = 0; i < numRim; ++i) {
        double const angle = 2.0 * pi * i / numRim;
        coordinates.insert(coordinates.end(), {static_cast<float>(std::cos(angle)),
                                               static_cast<float>(std::sin(angle)), 0.0f});
        triangles.insert(triangles.end(), {0, 1 + i, 1 + (i + 1) % numRim});
    }
    return support::meshOf(coordinates, triangles);
}

/// grid(2, 1) with its right square turned up.
CompactMesh folded() {
    CompactMesh mesh = support::grid(2, 1);
    for (int const v : {2, 5}) {
        mesh.getVertices()[v].x = 1.0f;
        mesh.getVertices()[v].z = 1.0f;
    }
    return mesh;
}

/// Normals and directions by their formulas, from the arrays of an oriented mesh.
struct Formulas {
    CompactMesh const& mesh;
    double const cornerAngle = 0.17453292519943295;

    koLinear::Point at(int v) const { return mesh.getVertices()[v].asPoint(); }
    Vector faceVector(int t) const {
        MeshTriangle const& corners = mesh.getTriangles()[t];
        return cross(at(corners[1]) - at(corners[0]), at(corners[2]) - at(corners[0]));
    }
    /// The triangle with the edge from a to b, -1 where there is none.
    int faceOf(int a, int b) const {
        for (int t = 0; t < mesh.getNumTriangles(); ++t)
            for (int k = 0; k < 3; ++k)
                if (mesh.getTriangles()[t][k] == a && mesh.getTriangles()[t][(k + 1) % 3] == b)
                    return t;
        return -1;
    }
    Vector sumAround(int v, bool ofUnitOnes) const {
        Vector sum;
        for (int t = 0; t < mesh.getNumTriangles(); ++t)
            for (int k = 0; k < 3; ++k)
                if (mesh.getTriangles()[t][k] == v)
                    sum += ofUnitOnes ? unit(faceVector(t)) : faceVector(t);
        return sum;
    }
    static Vector unit(Vector const& v) { return v.length() < 1e-6 ? Vector() : v / v.length(); }

    /// before, after   the neighbours of v on the border, -1 in the interior
    /// own             the end of the sample's own border edge at v, one of the two
    Vector normalOn(int v, int before, int after, int own) const {
        if (before < 0)
            return unit(sumAround(v, true));
        Vector const arriving = unit(faceVector(faceOf(before, v)));
        Vector const leaving = unit(faceVector(faceOf(v, after)));
        double const cosine = dot(unit(at(v) - at(before)), unit(at(after) - at(v)));
        if (std::abs(cosine) < 1.0 - cornerAngle)
            return own == before ? arriving : leaving;
        return unit(arriving + leaving);
    }
    Vector lean(int v, Vector const& n) const {
        return unit(cross(n, cross(n, sumAround(v, true))));
    }
    Vector offTheBorder(int before, int v, int after, Vector const& n) const {
        return unit(cross(unit(at(v) - at(before)), n) + cross(unit(at(after) - at(v)), n));
    }
    Vector leanBetween(int a, int b, Vector const& n) const {
        Vector const difference = lean(b, n) - lean(a, n);
        return unit(cross(cross(n, difference), n));
    }
};

MeshCurve curveThrough(CompactMesh const& mesh, std::vector<int> const& vertices, bool closed) {
    std::deque<MeshCoord> points;
    for (int const v : vertices)
        points.push_back(placeOn(mesh, v));
    return MeshCurve(points, closed);
}

}  // namespace

TEST_CASE("theCollarOfAFlatDiskPointsOutward") {
    int const numRim = 16;
    Collar disk16(disk(numRim));
    double const chord = 2.0 * std::sin(pi / numRim);
    auto const rim = [&](int i) { return placeOn(disk16.mesh, 1 + i % numRim); };
    auto const between = [&](int i, double param) {
        return placeOn(disk16.mesh, 1 + i % numRim, 1 + (i + 1) % numRim, param);
    };

    // From 12 over the joint of the loop to 3, and the other way.
    CHECK(disk16.distance(rim(12), rim(3), true) == doctest::Approx(7.0 * chord));
    CHECK(disk16.distance(rim(12), rim(3), false) == doctest::Approx(9.0 * chord));
    for (bool const forward : {true, false}) {
        Samples const samples = disk16.along(rim(12), rim(3), forward);
        REQUIRE(samples.size() == (forward ? 8 : 10));
        checkSteps(samples, chord);
        for (auto const& sample : samples) {
            CHECK(isNear(sample.normal, Vector::zAxis));
            CHECK(isNear(sample.direction, sample.position.asVector()));
            CHECK(sample.curvature == 0.0);
        }
    }

    // Ends in the middle of edges.
    CHECK(disk16.distance(between(14, 0.25), between(1, 0.5), true) ==
          doctest::Approx(3.25 * chord));
    CHECK(disk16.distance(between(14, 0.25), between(1, 0.5), false) ==
          doctest::Approx(12.75 * chord));
    CHECK(disk16.distance(between(5, 0.25), between(5, 0.75), true) ==
          doctest::Approx(0.5 * chord));
    CHECK(disk16.distance(between(5, 0.25), between(5, 0.75), false) ==
          doctest::Approx(15.5 * chord));
    CHECK(disk16.distance(between(5, 0.5), between(5, 0.5), true) == doctest::Approx(16.0 * chord));
    CHECK(disk16.distance(rim(6), between(5, 0.5), true) == doctest::Approx(15.5 * chord));
    CHECK(disk16.distance(rim(6), between(5, 0.5), false) == doctest::Approx(0.5 * chord));
    CHECK(disk16.distance(rim(6), rim(7), true) == doctest::Approx(chord));
    CHECK(disk16.distance(rim(6), rim(7), false) == doctest::Approx(15.0 * chord));
    CHECK(disk16.along(between(14, 0.25), between(1, 0.5), true).size() == 5);

    // k pieces; samples on the edges look off the surface at right angles.
    disk16.cutInto(7);
    Samples const seven = disk16.along(between(5, 0.0), between(8, 0.5), true);
    REQUIRE(seven.size() == 8);
    checkSteps({seven.begin(), seven.begin() + 3}, 0.5 * chord);
    CHECK(isNear(seven[1].direction, seven[1].position.asVector() / std::cos(pi / numRim)));
}

TEST_CASE("stretchesOfNothingAreEmptyAndWhatCannotBeCutIsLeftAlone") {
    Collar square(support::grid(2, 2));
    MeshCoord const corner = placeOn(square.mesh, 0);
    MeshCoord const middle = placeOn(square.mesh, 4);
    MeshCoord const far = placeOn(square.mesh, 8);
    CHECK(square.along(corner, corner, true).empty());
    CHECK(square.distance(corner, corner, true) == 0.0);
    CHECK(square.along(corner, middle, true).empty());  // in the interior
    CHECK(square.along(MeshCoord(), far, true).empty());
    CHECK(square.along(MeshCoord(99, 1.0, 0.0, 0.0), far, true).empty());
    CHECK(square.collar.getDistance(corner, far, 1, true) == 0.0);
    CHECK(square.collar.getDistance(corner, far, -1, true) == 0.0);
    CHECK(square.distance(corner, far, true) == 4.0);
    for (int const pieces : {0, -3}) {
        square.cutInto(pieces);
        CHECK(square.along(corner, far, true).size() == 5);
    }
    square.cutInto(1);
    CHECK(square.along(corner, far, true).size() == 2);
}

TEST_CASE("anLShapedBorderIsFollowedRoundItsCorners") {
    //    6 - 7
    //    |   |          grid(2, 2) without its upper right square
    //    3 - 4 - 5
    //    |   |   |
    //    0 - 1 - 2
    CompactMesh ell = support::grid(2, 2);
    ell.resizeTriangleArray(6);
    Collar collar(ell);
    Samples const samples = collar.along(placeOn(ell, 2), placeOn(ell, 7), true);
    REQUIRE(samples.size() == 4);
    double const half = std::sqrt(0.5);
    CHECK(isNear(samples[0].direction, Vector(half, -half, 0)));
    CHECK(isNear(samples[1].direction, Vector(half, half, 0)));
    CHECK(isNear(samples[2].direction, Vector(half, half, 0)));  // the inner corner
    CHECK(isNear(samples[3].direction, Vector(half, half, 0)));
    CHECK(collar.distance(placeOn(ell, 2, 5, 0.5), placeOn(ell, 4, 7, 0.5), true) == 2.0);
}

TEST_CASE("normalsAtCornersFollowTheSamplesOwnEdge") {
    // The border 0, 1, 2 of the folded sheet lies along x, then along z.
    Collar fold(folded());
    MeshCoord const zero = placeOn(fold.mesh, 0);
    MeshCoord const one = placeOn(fold.mesh, 1);
    MeshCoord const two = placeOn(fold.mesh, 2);
    Vector const up = Vector::zAxis;
    Vector const back = -Vector::xAxis;
    // At the ends the boundary edge outside the stretch counts.
    CHECK(isNear(fold.along(one, two, true).front().normal, up));
    CHECK(isNear(fold.along(zero, one, true).back().normal, back));
    CHECK(isNear(fold.along(one, zero, false).front().normal, back));
    CHECK(isNear(fold.along(two, one, false).back().normal, up));
    // At a corner the side on which the stretch goes on, without one the mean.
    CHECK(isNear(fold.along(zero, two, true)[1].normal, back));
    CHECK(isNear(fold.along(two, zero, false)[1].normal, up));
    // A closed curve has no ends.
    fold.cutInto(0);
    MeshCurve const border = curveThrough(fold.mesh, {1, 2, 5, 4, 3, 0}, true);
    CHECK(isNear(fold.along(border).front().normal, back));
    fold.cutInto(4);
    CHECK(isNear(fold.along(zero, two, true)[1].normal, up));
    CHECK(isNear(fold.along(zero, two, true)[3].normal, back));
    fold.params.cornerAngle = 1.0;
    Vector const mean = (up + back) / std::sqrt(2.0);
    CHECK(isNear(fold.along(zero, two, true)[2].normal, mean));
    fold.params.cornerAngle = 1.0 + 1e-9;
    Vector const blend = 0.5 * up + 0.5 * mean;
    // Vertex 0 is where two edges of one square meet, so that its mean is that square's normal.
    CHECK(isNear(fold.along(zero, two, true)[1].normal, blend / blend.length()));
}

TEST_CASE("theRimOfAConePointsDownItsSlope") {
    // Two triangles on each rim vertex lean nowhere but along their mean.
    int const numRim = 40;
    CompactMesh cone = disk(numRim);
    cone.getVertices()[0].z = 1.0f;
    Collar collar(cone);
    Samples const samples = collar.along(placeOn(cone, 30), placeOn(cone, 10), true);
    REQUIRE(samples.size() == 21);
    for (std::size_t i = 1; i + 1 < samples.size(); ++i) {
        Vector const slope = samples[i].position - koLinear::Point(0, 0, 1);
        CHECK(isNear(samples[i].direction, slope / slope.length()));
    }
}

TEST_CASE("theRimOfATubeBendsAlongTheLeanOfItsTriangles") {
    // One triangle lies on one side of a rim vertex and two on the other: they lean along the rim, and so does the direction. The
    // plane of the cut is that of the rim.
    int const numAround = 40;
    Collar tube(support::tube(numAround, 3));
    MeshCoord const start = placeOn(tube.mesh, 38);
    MeshCoord const end = placeOn(tube.mesh, 3);
    tube.params.computeCurvature = true;
    std::ostringstream printed;
    std::streambuf* const usual = std::cout.rdbuf(printed.rdbuf());
    Samples const onVertices = tube.along(start, end, true);
    tube.cutInto(10);
    Samples const samples = tube.along(start, end, true);
    std::cout.rdbuf(usual);

    REQUIRE(onVertices.size() == 6);
    for (std::size_t i = 1; i < 5; ++i) {
        Vector const out = onVertices[i].position.asVector();
        Vector const along = cross(Vector::zAxis, out);
        CHECK(isNear(onVertices[i].normal, out));
        CHECK(isNear(onVertices[i].direction, -along));
        // The nearest, the middle and the farthest point are the vertex and its two neighbours in turn: half of 1 / radius.
        CHECK(onVertices[i].curvature == doctest::Approx(0.5 * std::cos(pi / numAround)));
    }
    std::string const text = printed.str();
    CHECK(std::count(text.begin(), text.end(), '\n') == 6 + 11);
    CHECK(text.find("curvature: 0.498459\n") != std::string::npos);

    // Between the vertices the two ends lean to each other, and one triangle has no bend.
    Vector const out(Normal(samples[1].position.asVector()));
    CHECK(isNear(samples[1].normal, out));
    CHECK(isNear(samples[1].direction, -cross(Vector::zAxis, out)));
    CHECK(samples[1].curvature < 1e-9);
}

// A sheet with waves: no two triangles alike, corners at the ends of its sides.
TEST_CASE("samplesOfAWavySheetAreThoseOfTheFormulas") {
    Collar sheet(support::terrain(7, 6, 3));
    Formulas const formulas{sheet.mesh};
    int const* const loop = sheet.boundaries->getStart(0);
    int const length = sheet.boundaries->getLength(0);
    auto const on = [&](int place) { return loop[(place + length) % length]; };
    for (bool const forward : {true, false})
        for (int const numPieces : {0, 31}) {  // on the vertices; between them
            int const step = forward ? 1 : -1;
            int const numEdges = 17;
            sheet.cutInto(numPieces);
            Samples const samples = sheet.along(
                placeOn(sheet.mesh, on(3)), placeOn(sheet.mesh, on(3 + step * numEdges)), forward);
            REQUIRE(samples.size() == (numPieces == 0 ? 18u : 32u));
            int edge = 0;  // of the stretch, on which the sample lies
            for (std::size_t i = 1; i + 1 < samples.size(); ++i) {
                Vector normal, direction;
                if (numPieces == 0) {
                    int const here = 3 + step * static_cast<int>(i);
                    normal =
                        formulas.normalOn(on(here), on(here - 1), on(here + 1), on(here + step));
                    direction = formulas.lean(on(here), normal);
                    if (direction == Vector())  // a corner of one triangle
                        direction =
                            formulas.offTheBorder(on(here - 1), on(here), on(here + 1), normal);
                } else {
                    auto const ends = [&](int e) {
                        int const a = 3 + step * e;
                        return std::pair(std::min(a, a + step), std::max(a, a + step));
                    };
                    auto const param = [&](int e) {
                        koLinear::Point const a = formulas.at(on(ends(e).first));
                        koLinear::Point const b = formulas.at(on(ends(e).second));
                        Vector const way = samples[i].position - a;
                        double const along = dot(way, b - a) / (b - a).length2();
                        return (way - along * (b - a)).length() < 1e-9 ? along : -1.0;
                    };
                    while (edge < numEdges && !(param(edge) >= 0.0 && param(edge) <= 1.0))
                        ++edge;
                    REQUIRE(edge < numEdges);
                    auto const [a, b] = ends(edge);
                    double const weight = param(edge);
                    normal = formulas.unit(
                        (1.0 - weight) * formulas.normalOn(on(a), on(a - 1), on(b), on(b)) +
                        weight * formulas.normalOn(on(b), on(a), on(b + 1), on(a)));
                    direction = formulas.leanBetween(on(a), on(b), normal);
                }
                CHECK(isNear(samples[i].normal, normal));
                CHECK(isNear(samples[i].direction, direction));
            }
        }

    // On an inner vertex, on an inner edge and in a face.
    MeshTriangle const& corners = sheet.mesh.getTriangles()[sheet.mesh.getNumTriangles() / 2 + 3];
    int const face = sheet.mesh.getNumTriangles() / 2 + 3;
    sheet.cutInto(0);
    Samples const inner =
        sheet.along(MeshCurve({placeOn(sheet.mesh, corners[0]), MeshCoord(face, 0.75, 0.25, 0.0),
                               MeshCoord(face, 0.2, 0.3, 0.5)},
                              false));
    REQUIRE(inner.size() == 3);
    Vector const atFirst = formulas.normalOn(corners[0], -1, -1, -1);
    CHECK(isNear(inner[0].normal, atFirst));
    CHECK(isNear(inner[0].direction, formulas.lean(corners[0], atFirst)));
    Vector const onEdge =
        formulas.unit(0.75 * atFirst + 0.25 * formulas.normalOn(corners[1], -1, -1, -1));
    CHECK(isNear(inner[1].normal, onEdge));
    CHECK(isNear(inner[1].direction, formulas.leanBetween(corners[0], corners[1], onEdge)));
    Vector mean;
    for (int const corner : corners.vertices)
        mean += formulas.unit(formulas.sumAround(corner, false));
    CHECK(isNear(inner[2].normal, formulas.unit(formulas.faceVector(face))));
    CHECK(isNear(inner[2].direction, formulas.unit(mean)));
}

TEST_CASE("curvesAreCutIntoEqualStepsOpenAndClosed") {
    Collar sheet(support::grid(4, 4));
    //   the square 6, 8, 18, 16 by its corners and edge middles
    MeshCurve const ring = curveThrough(sheet.mesh, {6, 7, 8, 13, 18, 17, 16, 11}, true);
    MeshCurve const line = curveThrough(sheet.mesh, {6, 7, 8, 13}, false);
    CHECK(sheet.along(ring).size() == 8);
    CHECK(sheet.along(line).size() == 4);
    for (auto const& sample : sheet.along(ring)) {
        CHECK(isNear(sample.normal, Vector::zAxis));
        CHECK(sample.direction == Vector());
    }
    sheet.cutInto(16);
    Samples const steps = sheet.along(ring);
    REQUIRE(steps.size() == 16);
    checkSteps(steps, 0.5);
    CHECK(steps[15].position == koLinear::Point(1.0, 1.5, 0.0));
    sheet.cutInto(6);
    checkSteps(sheet.along(line), 0.5);
    CHECK(sheet.along(line).back().position == koLinear::Point(3.0, 2.0, 0.0));

    // Parts, in either direction; the places may lie beside the curve.
    MeshCoord const quarter = placeOn(sheet.mesh, 6, 7, 0.25);
    MeshCoord const beside = placeOn(sheet.mesh, 13, 14, 0.5);
    sheet.cutInto(11);
    Samples const there = sheet.along(quarter, beside, line);
    Samples const back = sheet.along(beside, quarter, line);
    REQUIRE(there.size() == 12);
    REQUIRE(back.size() == 12);
    checkSteps(there, 2.75 / 11);
    for (std::size_t i = 0; i < there.size(); ++i)
        CHECK(koLinear::distance(there[i].position, back[11 - i].position) < 1e-12);
    CHECK(there.front().position == koLinear::Point(1.25, 1.0, 0.0));
    CHECK(there.back().position == koLinear::Point(3.0, 2.0, 0.0));
    CHECK(sheet.along(quarter, quarter, line).empty());
    // A part that ends on a point has it once; 12 is as near to 7 as to 13, and the first of them counts.
    sheet.cutInto(0);
    CHECK(sheet.along(quarter, placeOn(sheet.mesh, 8), line).size() == 3);
    Samples const first = sheet.along(placeOn(sheet.mesh, 12), placeOn(sheet.mesh, 6), line);
    REQUIRE(first.size() == 2);
    CHECK(first[0].position == koLinear::Point(2.0, 1.0, 0.0));
    sheet.cutInto(11);
    // Part of the closing stretch, from 11 back to 6.
    Samples const closing =
        sheet.along(placeOn(sheet.mesh, 11, 6, 0.75), placeOn(sheet.mesh, 16), ring);
    checkSteps(closing, 1.75 / 11);
    CHECK(closing.front().position == koLinear::Point(1.0, 1.25, 0.0));

    // Places in faces, and across them.
    sheet.params.useExistingPoints = true;
    MeshCurve const across({MeshCoord(0, 0.2, 0.3, 0.5), MeshCoord(0, 0.0, 0.5, 0.5),
                            MeshCoord(1, 0.0, 0.5, 0.5), MeshCoord(-1, 1.0, 0.0, 0.0)},
                           false);
    Samples const faces = sheet.along(across);
    CHECK(faces.size() == 3);
    CHECK(isNear(faces[0].direction, Vector::zAxis));
    sheet.cutInto(40);
    CHECK(sheet.along(across).size() == 41);
}

TEST_CASE("bordersOfAnyMeshGiveAsManySamplesAsAskedFor") {
    for (support::NamedMesh const& named : support::zoo()) {
        CAPTURE(named.name);
        CompactMesh const& mesh = named.mesh;
        Collar collar(mesh);
        for (int b = 0; b < collar.boundaries->size(); ++b) {
            int const* const loop = collar.boundaries->getStart(b);
            int const length = collar.boundaries->getLength(b);
            MeshCoord const start = placeOn(mesh, loop[0]);
            MeshCoord const end = placeOn(mesh, loop[length / 2]);
            for (bool const forward : {true, false}) {
                double const distance = collar.collar.getDistance(start, end, b, forward);
                collar.cutInto(9);
                Samples samples;
                collar.collar.getPoints(start, end, collar.params, b, forward, samples);
                CHECK((samples.size() == 10 || !(distance > 0.0)));
            }
        }
    }
}
