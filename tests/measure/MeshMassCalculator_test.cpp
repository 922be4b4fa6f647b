#include "support/TemporaryFolder.h"
#include "support/builders.h"
#include "support/corpus.h"
#include "support/oracles.h"

#include "trimora/assembly/meshReadObj.h"
#include "trimora/connectivity/meshTransform.h"
#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/measure/MeshMassCalculator.h"

#include <cmath>
#include <doctest/doctest.h>
#include <numbers>

using namespace koGeom;

namespace {

constexpr MeshMassCalculator::Axis axes[] = {MeshMassCalculator::X, MeshMassCalculator::Y,
                                             MeshMassCalculator::Z};

struct Moments {
    double volume = 0.0;
    Vector first, second;
};

Moments momentsOf(CompactMesh const& mesh, MeshMassCalculator::Axis axis) {
    ko::list<ko::Reference<CompactMesh>> meshes;
    meshes.emplace_back(new CompactMesh(mesh));
    MeshMassCalculator mass(meshes);
    Moments moments;
    moments.volume = mass.calculateVolume();
    mass.calculateFirstMom(moments.first.x, moments.first.y, moments.first.z, axis);
    mass.calculateSecondMom(moments.second.x, moments.second.y, moments.second.z, axis);
    return moments;
}

// In doubles, from the tetrahedra between the triangles and a point near by: the integrals of x and
// x^2 over one are V s / 4 and V (sum x^2 + s^2) / 20, with s the sum over its corners.
Moments byTetrahedra(CompactMesh const& mesh) {
    Moments moments;
    Point const apex = mesh.getVertices()[0].asPoint();
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        Point at[4] = {apex};
        for (int k = 0; k < 3; ++k)
            at[k + 1] = mesh.getVertices()[mesh.getTriangles()[t][k]].asPoint();
        double const volume = dot(at[1] - apex, cross(at[2] - apex, at[3] - apex)) / 6.0;
        Vector sum, squares;
        for (Point const& p : at) {
            sum += p.asVector();
            squares += Vector(p.x * p.x, p.y * p.y, p.z * p.z);
        }
        moments.volume += volume;
        moments.first += volume / 4.0 * sum;
        moments.second +=
            volume / 20.0 * (squares + Vector(sum.x * sum.x, sum.y * sum.y, sum.z * sum.z));
    }
    return moments;
}

CompactMesh moved(CompactMesh mesh, float scaleX, float scaleY, float scaleZ, float shift) {
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        MeshVertex& p = mesh.getVertices()[v];
        p = {scaleX * p.x + shift, scaleY * p.y + shift, scaleZ * p.z - shift};
    }
    return mesh;
}

void checkAgainstTetrahedra(CompactMesh const& mesh, double size, double tolerance) {
    Moments const expected = byTetrahedra(mesh);
    for (MeshMassCalculator::Axis const axis : axes) {
        Moments const found = momentsOf(mesh, axis);
        double const volume = std::abs(expected.volume);
        CHECK(std::abs(found.volume - expected.volume) <= tolerance * volume);
        CHECK(equivalent(found.first, expected.first, tolerance * size * volume));
        CHECK(equivalent(found.second, expected.second, tolerance * size * size * volume));
    }
}

}  // namespace

TEST_CASE("massOfABoxIsWhatOneWorksOutByHand") {
    CompactMesh const box = moved(support::cube(), 2.0f, 3.0f, 4.0f, 0.0f);
    for (MeshMassCalculator::Axis const axis : axes) {
        Moments const moments = momentsOf(box, axis);
        CHECK(moments.volume == 24.0);
        CHECK(equivalent(moments.first, Vector(24.0, 36.0, 48.0), 1e-12));
        CHECK(equivalent(moments.second, Vector(32.0, 72.0, 128.0), 1e-12));  // V a^2 / 3
    }
    ko::list<ko::Reference<CompactMesh>> meshes;
    meshes.emplace_back(new CompactMesh(box));
    CHECK(MeshMassCalculator(meshes).calculateArea() == 52.0);
}

TEST_CASE("momentsAreThoseOfTheTetrahedraInside") {
    for (CompactMesh const& mesh :
         {support::tetrahedron(), support::sphere(3), support::torus(40, 20),
          support::shuffled(support::cube(), 5)}) {
        checkAgainstTetrahedra(mesh, 1.0, 1e-6);
        checkAgainstTetrahedra(moved(mesh, 1.0f, 0.5f, 2.0f, 20.0f), 20.0, 1e-4);
    }
}

// The closed forms of solids of size 1 with their middle at `at`: V, V c, and V (c^2 + a part of the size).
TEST_CASE("closedFormsHoldTenSizesAway") {
    struct Solid {
        CompactMesh mesh;
        double area, volume;
        Vector centre;   // of mass, before it is moved
        Vector central;  // second moments about that, by the volume
    };
    double const a = 1.0 / 12.0, t = 3.0 / 80.0;
    Solid const solids[] = {
        {support::cube(), 6.0, 1.0, {0.5, 0.5, 0.5}, {a, a, a}},
        {support::tetrahedron(), 1.5 + std::sqrt(0.75), 1.0 / 6.0, {0.25, 0.25, 0.25}, {t, t, t}},
        {support::octahedron(), std::sqrt(48.0), 4.0 / 3.0, Vector(), {0.1, 0.1, 0.1}}};
    for (Solid const& solid : solids) {
        for (float const shift : {0.0f, 10.0f, -10.3f}) {
            CAPTURE(shift);
            double const tolerance = shift == 0.0f ? 1e-6 : 1e-4;
            CompactMesh const mesh = moved(solid.mesh, 1.0f, 1.0f, 1.0f, shift);
            Vector const centre = solid.centre + double{shift} * Vector(1.0, 1.0, -1.0);
            Vector const squares(centre.x * centre.x, centre.y * centre.y, centre.z * centre.z);
            Vector const first = solid.volume * centre;
            Vector const second = solid.volume * (solid.central + squares);
            for (MeshMassCalculator::Axis const axis : axes) {
                Moments const found = momentsOf(mesh, axis);
                CHECK(std::abs(found.volume - solid.volume) <= tolerance * solid.volume);
                CHECK(equivalent(found.first, first, tolerance * (1e-3 + first.length())));
                CHECK(equivalent(found.second, second, tolerance * second.length()));
            }
            ko::list<ko::Reference<CompactMesh>> meshes;
            meshes.emplace_back(new CompactMesh(mesh));
            CHECK(MeshMassCalculator(meshes).calculateArea() ==
                  doctest::Approx(solid.area).epsilon(tolerance));
        }
    }
}

TEST_CASE("massOfASphereConverges") {
    double const volume = 4.0 / 3.0 * std::numbers::pi;
    double errors[2];
    for (int level = 0; level < 2; ++level) {
        Moments const moments = momentsOf(support::sphere(3 + level), MeshMassCalculator::Y);
        errors[level] = volume - moments.volume;
        ko::list<ko::Reference<CompactMesh>> meshes;
        meshes.emplace_back(new CompactMesh(moved(support::sphere(3 + level), 1, 1, 1, 20)));
        double const area = 3.0 * volume;
        CHECK(std::abs(MeshMassCalculator(meshes).calculateArea() - area) < errors[level] * 3.0);
        CHECK(equivalent(moments.first, Vector::zero, 1e-6));
        double const second = volume / 5.0;
        CHECK(equivalent(moments.second, Vector(second, second, second), 2.0 * errors[level]));
    }
    CHECK(errors[1] < 0.26 * errors[0]);
}

TEST_CASE("reversedWindingNegates") {
    CompactMesh const mesh = support::torus(20, 10);
    CompactMesh const reversed = support::flipped(mesh, 1.0, 1);
    for (MeshMassCalculator::Axis const axis : axes) {
        Moments const outward = momentsOf(mesh, axis), inward = momentsOf(reversed, axis);
        CHECK(inward.volume == doctest::Approx(-outward.volume).epsilon(1e-14));
        CHECK(equivalent(inward.first, -outward.first, 1e-6 * outward.volume));
        CHECK(equivalent(inward.second, -outward.second, 1e-6 * outward.volume));
    }
}

TEST_CASE("realMeshesFollowTranslationsAndTurns") {
    for (char const* const name : {"nefertiti.obj", "rocker_arm.obj", "fandisk.obj"}) {
        CompactMesh mesh;
        std::string const file = support::corpusFile(name);
        if (file.empty() || !meshReadObj(mesh, support::nameOf(file)) ||
            support::numBorderEdges(mesh) > 0)
            continue;
        BoundingBox const box = [&] {
            BoundingBox all;
            for (int v = 0; v < mesh.getNumVertices(); ++v)
                all.extend(mesh.getVertices()[v].asPointFlt());
            return all;
        }();
        double const size = static_cast<double>(box.diagonalLength());
        checkAgainstTetrahedra(mesh, size, 1e-5);
        AffineMatrix matrix;
        Vector const x = rotate(Vector::xAxis, Normal(Vector(1, 2, 3)), 0.7);
        Vector const y = rotate(Vector::yAxis, Normal(Vector(1, 2, 3)), 0.7);
        matrix.setFrame({size, 0.0, -size}, x, y, cross(x, y));
        Moments const before = momentsOf(mesh, MeshMassCalculator::X);
        meshTransform(mesh, AffineMatrixFlt(matrix));
        Moments const after = momentsOf(mesh, MeshMassCalculator::Z);
        CHECK(after.volume == doctest::Approx(before.volume).epsilon(1e-5));
        Vector const expected = before.first * matrix + before.volume * Vector(size, 0.0, -size);
        CHECK(equivalent(after.first, expected, 1e-5 * size * before.volume));
        checkAgainstTetrahedra(mesh, 2.0 * size, 1e-5);
    }
}

// One triangle whose sums do not fit into a float: they are rounded before they are multiplied, and products are not.
TEST_CASE("sumsAreFloatsAndProductsAreDoubles") {
    float const x[3] = {1000.1f, 3.3f, 0.7f}, y[3] = {0.1f, 77.7f, 1.3f},
                z[3] = {5.5f, 0.3f, 900.9f};
    CompactMesh const mesh =
        support::meshOf({x[0], y[0], z[0], x[1], y[1], z[1], x[2], y[2], z[2]}, {0, 1, 2});
    auto const edge = [](float const* at, int corner) {
        return double(at[corner]) - double(at[0]);
    };
    double const nx = edge(y, 1) * edge(z, 2) - edge(y, 2) * edge(z, 1);
    auto const sum = [](float const* at) { return double(at[0] + at[1] + at[2]); };
    auto const products = [](float const* a, float const* b) {
        return double(a[0] * b[0] + a[1] * b[1] + a[2] * b[2]);
    };
    auto const cubic = [](float const* a, float const* b) {
        double const a0 = double(a[0]), a1 = double(a[1]), a2 = double(a[2]);
        return (2.0 * a0 * a0 - a1 * a2) * double(b[0]) + (2.0 * a1 * a1 - a2 * a0) * double(b[1]) +
               (2.0 * a2 * a2 - a0 * a1) * double(b[2]);
    };
    Moments const found = momentsOf(mesh, MeshMassCalculator::X);
    auto const isSame = [](double a, double b) { return a == doctest::Approx(b).epsilon(1e-14); };
    CHECK(isSame(found.first.x, (products(x, x) + sum(x) * sum(x)) * nx / 48.0));
    CHECK(isSame(found.first.y, (products(y, x) + sum(y) * sum(x)) * nx / 24.0));
    CHECK(isSame(found.second.x, (cubic(x, x) + sum(x) * sum(x) * sum(x)) * nx / 180.0));
    CHECK(isSame(found.second.z, (cubic(z, x) + sum(z) * sum(z) * sum(x)) * nx / 60.0));
}

TEST_CASE("openSurfaceIsClosedTowardsTheMiddleOfTheLastBox") {
    // a square at x = 1 alone, then with a list that ends in another mesh
    ko::Reference<CompactMesh> const wall(
        new CompactMesh(support::meshOf({1, 0, 0, 1, 1, 0, 1, 1, 1, 1, 0, 1}, {0, 1, 2, 0, 2, 3})));
    ko::list<ko::Reference<CompactMesh>> meshes = {wall};
    CHECK(MeshMassCalculator(meshes).calculateVolume() == 0.0);
    meshes.emplace_back(new CompactMesh(support::meshOf({-4, 0, 0, 0, 0, 0}, {})));
    CHECK(MeshMassCalculator(meshes).calculateVolume() == doctest::Approx(3.0));
}

TEST_CASE("centroidCountsEachMeshAlike") {
    ko::list<ko::Reference<CompactMesh>> meshes;
    MeshMassCalculator const none(meshes);
    meshes.emplace_back(new CompactMesh(moved(support::cube(), 1.0f, 1.0f, 1.0f, 0.0f)));
    meshes.emplace_back(new CompactMesh(moved(support::cube(), 8.0f, 8.0f, 8.0f, 0.0f)));
    MeshMassCalculator mass(none);
    double x, y, z;
    mass.calculateCentroid(x, y, z);
    CHECK((std::isnan(x) && std::isnan(y) && std::isnan(z)));
    CHECK(mass.calculateVolume() == 0.0);
    CHECK(mass.calculateArea() == 0.0);
    mass = MeshMassCalculator(meshes);
    mass.calculateCentroid(x, y, z);
    CHECK(equivalent(Vector(x, y, z), Vector(2.25, 2.25, 2.25), 1e-6));
    meshes.emplace_back(new CompactMesh);
    MeshMassCalculator(meshes).calculateCentroid(x, y, z);
    CHECK(std::isnan(x));
    meshes.back() = nullptr;  // counts as empty
    CHECK(MeshMassCalculator(meshes).calculateVolume() == doctest::Approx(513.0));
    CHECK(MeshMassCalculator(meshes).calculateArea() == doctest::Approx(390.0));
}
