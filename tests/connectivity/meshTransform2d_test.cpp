#include "support/builders.h"
#include "support/checks.h"

#include "trimora/connectivity/meshTransform2d.h"
#include "trimora/contract/koGeom/CompactMesh.h"

#include <doctest/doctest.h>

using namespace koGeom;
using koUtil::Transform2d;

TEST_CASE("modeTellsWhetherScaleOrOffsetComesFirst") {
    float pairs[4] = {1, 2, 3, 4};
    meshTransform2d(pairs, 2, Transform2d{2, 3, 10, 20, 0});
    CHECK(std::vector<float>(pairs, pairs + 4) == std::vector<float>{12, 26, 16, 32});
    meshTransform2d(pairs, 2, Transform2d{0.5f, 2, -12, -26, 1});
    CHECK(std::vector<float>(pairs, pairs + 4) == std::vector<float>{0, 0, 2, 12});
    meshTransform2d(pairs, 1, Transform2d{2, 2, 1, 1, 7});  // any mode but 0 adds first
    CHECK(pairs[0] == 2.0f);
    meshTransform2d(nullptr, 4, Transform2d{2, 2, 1, 1, 0});
    meshTransform2d(pairs, 0, Transform2d{2, 2, 1, 1, 0});
    CHECK(pairs[0] == 2.0f);
}

TEST_CASE("pairsMoveAlikeOnAnyPool") {
    for (int const count : {9999, 10000}) {
        std::vector<float> expected;
        support::withPools([&](int) {
            std::vector<float> pairs;
            for (int i = 0; i < 2 * count; ++i)
                pairs.push_back(0.37f * static_cast<float>(i));
            meshTransform2d(pairs.data(), count, Transform2d{1.1f, 0.7f, 3, 5, 1});
            if (expected.empty())
                expected = pairs;
            CHECK(pairs == expected);
            CHECK(pairs[1] == (0.37f + 5.0f) * 0.7f);
            CHECK(pairs.back() == (0.37f * static_cast<float>(2 * count - 1) + 5.0f) * 0.7f);
        });
    }
}

TEST_CASE("namedSetsMoveAndOnlyTextureSetsAreAnnounced") {
    CompactMesh mesh = support::triangle();
    mesh.allocUVArray();
    mesh.allocSTArray();
    mesh.allocAttributes("other", 2);
    mesh.allocAttributes("wide", 3);
    support::ModificationCounter counter(mesh);
    Transform2d const shift{1, 1, 4, 5, 1};

    meshTransform2d(mesh, "uvs", shift);
    CHECK(mesh.getUVs()[2].v == 5.0f);
    meshTransform2d(mesh, "sts", shift);
    CHECK(mesh.getSTs()[0].u == 4.0f);
    REQUIRE(counter.total() == 2);
    CHECK(counter.type(1) == MeshModification::Attributes);

    // deliberate: another set of pairs changes silently; other dimensions and names do nothing
    meshTransform2d(mesh, "other", shift);
    CHECK(mesh.getAttributes("other")->asFloat()[1] == 5.0f);
    meshTransform2d(mesh, "wide", shift);
    CHECK(mesh.getAttributes("wide")->asFloat()[0] == 0.0f);
    meshTransform2d(mesh, "absent", shift);
    CHECK(counter.total() == 2);
}

TEST_CASE("anIdentityIsLookedForInModeOneOnly") {
    CompactMesh mesh = support::triangle();
    mesh.allocUVArray();
    support::ModificationCounter counter(mesh);
    meshTransform2d(mesh, "uvs", Transform2d{1.0000005f, 1, 5e-7f, 0, 1});
    CHECK(counter.total() == 0);
    CHECK(mesh.getUVs()[0].u == 0.0f);
    meshTransform2d(mesh, "uvs", Transform2d{1, 1, 0, 0, 0});
    CHECK(counter.total() == 1);
    meshTransform2d(mesh, "uvs", Transform2d{1, 1, 0, 2e-6f, 1});
    CHECK(counter.total() == 2);
}

TEST_CASE("aChangeOfBasisIsMeantForModeZeroAndComesInModeOne") {
    Transform2d transform = changeOfBasis2d(Range2d(1, 2, 3, 6), Range2d(10, 20, 11, 28));
    CHECK(transform == Transform2d{0.5f, 2.0f, 9.5f, 16.0f, 1});  // deliberate: the mode stays 1
    transform.mode = 0;
    float corners[4] = {1, 2, 3, 6};
    meshTransform2d(corners, 2, transform);
    CHECK(std::vector<float>(corners, corners + 4) == std::vector<float>{10, 20, 11, 28});
}
