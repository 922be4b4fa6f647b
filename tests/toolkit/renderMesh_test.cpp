// Cameras that fit, colors that step evenly, and pictures that say what they are told to.

#include "support/TemporaryFolder.h"
#include "support/builders.h"
#include "toolkit/pngFile.h"
#include "toolkit/renderMesh.h"

#include "trimora/contract/koUtil/ThreadPool.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <doctest/doctest.h>
#include <fstream>
#include <limits>
#include <sstream>

using koGeom::BoundingBox;
using koGeom::CompactMesh;
using koLinear::Point;
using koLinear::PointFlt;
using koLinear::Vector;
using trimora::Camera;
using trimora::ColorMap;
using trimora::Picture;
using trimora::RenderOptions;
using trimora::RenderOutcome;
using trimora::SurfacePaint;
using trimora::UpAxis;

namespace {

RenderOptions small(int width = 96, int height = 72, int samples = 2) {
    RenderOptions options;
    options.width = width;
    options.height = height;
    options.samples = samples;
    return options;
}

RenderOutcome render(CompactMesh const& mesh, RenderOptions const& options,
                     SurfacePaint const* paint = nullptr) {
    koUtil::Progress progress;
    return trimora::renderMeshes({{&mesh, paint, {}}}, options, progress);
}

double stepOf(ColorMap const& map, int i, int count) {
    trimora::Oklab const p = trimora::toOklab(map.at(double(i) / count));
    trimora::Oklab const q = trimora::toOklab(map.at((i + 1.0) / count));
    return std::hypot(p.lightness - q.lightness, p.a - q.a, p.b - q.b);
}

double lightnessAt(ColorMap const& map, double place) {
    return trimora::toOklab(map.at(place)).lightness;
}

bool isBluish(Picture const& picture, int x, int y) {
    return picture.at(x, y)[2] > picture.at(x, y)[0];
}

}  // namespace

TEST_CASE("aCubesCornersFillThePictureUpToTheMargin") {
    support::Random random(3);
    for (int round = 0; round < 200; ++round) {
        int const width = 1 + random.index(400);
        int const height = 1 + random.index(400);
        double const margin = random.real(0.0, 0.3);
        double const scale = std::pow(10.0, random.real(-6.0, 6.0));
        auto const at = [&] { return static_cast<float>(scale * random.real(-1.0, 1.0)); };
        PointFlt const low(at(), at(), at());
        PointFlt const high(low.x + std::abs(at()), low.y + std::abs(at()), low.z + std::abs(at()));
        trimora::View const view = {random.real(-400.0, 400.0), random.real(-90.0, 90.0)};
        UpAxis const up = round % 2 == 0 ? UpAxis::Y : UpAxis::Z;
        Camera const camera = trimora::fitCamera({low, high}, view, up, width, height, margin);
        double left = 1e9, right = -1e9, top = 1e9, bottom = -1e9;
        for (int corner = 0; corner < 8; ++corner) {
            Vector const p = camera.project(Point((corner & 1) != 0 ? high.x : low.x,
                                                  (corner & 2) != 0 ? high.y : low.y,
                                                  (corner & 4) != 0 ? high.z : low.z));
            REQUIRE(p.z >= camera.nearest);
            left = std::min(left, camera.centreX + p.x / p.z);
            right = std::max(right, camera.centreX + p.x / p.z);
            top = std::min(top, camera.centreY + p.y / p.z);
            bottom = std::max(bottom, camera.centreY + p.y / p.z);
        }
        double const free = margin * std::min(width, height);
        double const hair = 1e-6 * (width + height);
        CHECK(left >= free - hair);
        CHECK(right <= width - free + hair);
        CHECK(top >= free - hair);
        CHECK(bottom <= height - free + hair);
        bool const fillsAcross =
            std::abs(left - free) < hair && std::abs(width - free - right) < hair;
        bool const fillsAlong =
            std::abs(top - free) < hair && std::abs(height - free - bottom) < hair;
        CHECK((fillsAcross || fillsAlong));
    }
}

TEST_CASE("viewsLookWhereTheirNamesSay") {
    struct Case {
        char const* name;
        Vector eye, right;
    };
    std::vector<Case> const cases = {
        {"front", {0, 0, 1}, {1, 0, 0}},  {"back", {0, 0, -1}, {-1, 0, 0}},
        {"right", {1, 0, 0}, {0, 0, -1}}, {"left", {-1, 0, 0}, {0, 0, 1}},
        {"top", {0, 1, 0}, {1, 0, 0}},    {"bottom", {0, -1, 0}, {1, 0, 0}},
        {"90,0", {1, 0, 0}, {0, 0, -1}},  {"-90,0", {-1, 0, 0}, {0, 0, 1}}};
    BoundingBox const box(PointFlt(-1, -1, -1), PointFlt(1, 1, 1));
    for (Case const& each : cases) {
        auto const view = trimora::parseView(each.name);
        REQUIRE(view);
        Camera const camera = trimora::fitCamera(box, *view, UpAxis::Y, 100, 100);
        CAPTURE(each.name);
        CHECK(equivalent(-camera.forward, each.eye, 1e-15));
        CHECK(equivalent(camera.right, each.right, 1e-15));
        CHECK(equivalent(cross(camera.right, camera.down), camera.forward, 1e-15));
        // with z up the front looks along y
        Camera const other = trimora::fitCamera(box, *view, UpAxis::Z, 100, 100);
        CHECK(equivalent(-other.forward, {each.eye.x, -each.eye.z, each.eye.y}, 1e-15));
    }
    auto const iso = trimora::parseView("iso");
    Camera const camera = trimora::fitCamera(box, *iso, UpAxis::Y, 100, 100);
    CHECK(equivalent(-camera.forward, Vector(1, 1, 1) / std::sqrt(3.0), 1e-5));
    for (char const* const text :
         {"", "Front", "1", "1,", ",1", "1,2,3", "0,91", "nan,0", "inf,0", "1 ,2"})
        CHECK_FALSE(trimora::parseView(text));
}

TEST_CASE("mapsStepEvenly") {
    for (ColorMap const* const map : {&ColorMap::sequential(), &ColorMap::diverging()}) {
        constexpr int count = 32;
        double least = 1.0;
        double most = 0.0;
        for (int i = 0; i < count; ++i) {
            least = std::min(least, stepOf(*map, i, count));
            most = std::max(most, stepOf(*map, i, count));
        }
        CHECK(most < 1.3 * least);
    }
    for (int i = 0; i < 100; ++i)
        CHECK(lightnessAt(ColorMap::sequential(), i / 100.0) <
              lightnessAt(ColorMap::sequential(), (i + 1) / 100.0));
    CHECK(lightnessAt(ColorMap::diverging(), 0.0) ==
          doctest::Approx(lightnessAt(ColorMap::diverging(), 1.0)).epsilon(0.03));
    // 0 is neither warm nor cold
    trimora::Oklab const middle = trimora::toOklab(ColorMap::diverging().at(0.5));
    CHECK(middle.lightness > 0.93);
    CHECK(std::hypot(middle.a, middle.b) < 1e-3);
    for (int code = 0; code < 256; ++code)
        CHECK(trimora::toByte(trimora::fromBytes(code, 0, 0).r) == code);
}

TEST_CASE("frontsAreWarmAndBacksAreBluish") {
    CompactMesh const mesh = support::meshOf({-1, -1, 0, 1, -1, 0, 0, 1, 0}, {0, 1, 2});
    RenderOptions options = small();
    options.view = {0.0, 0.0};
    RenderOutcome const front = render(mesh, options);
    options.view = {180.0, 0.0};
    RenderOutcome const back = render(mesh, options);
    CHECK_FALSE(isBluish(front.picture, 48, 40));
    CHECK(isBluish(back.picture, 48, 40));
}

TEST_CASE("theNumberOfThreadsDoesNotChangeAPicture") {
    CompactMesh const mesh =
        support::flipped(support::holed(support::terrain(20, 20, 5), 0.9, 6), 0.1, 7);
    trimora::CheckOptions check;
    check.mostOffences = std::numeric_limits<std::size_t>::max();
    koUtil::Progress progress;
    SurfacePaint const paint =
        trimora::paintDefects(mesh, trimora::checkMesh(mesh, check, progress));
    CHECK_FALSE(paint.edges.empty());
    RenderOptions options = small(90, 66, 2);
    options.up = UpAxis::Z;
    options.shadow = options.edges = options.outlines = true;
    Picture expected;
    for (int const numThreads : {1, 2, 3, 7}) {
        koUtil::ThreadPool pool(numThreads);
        koUtil::ThreadPool::setShared(&pool);
        Picture const picture = render(mesh, options, &paint).picture;
        koUtil::ThreadPool::setShared(nullptr);
        if (numThreads == 1)
            expected = picture;
        CHECK(picture.rgb == expected.rgb);
    }
}

TEST_CASE("theGroundIsDarkerUnderTheMesh") {
    CompactMesh mesh = support::sphere(3);
    RenderOptions options = small(96, 96, 1);
    options.view = {0.0, 30.0};
    Picture const bright = render(mesh, options).picture;
    options.shadow = true;
    Picture const dark = render(mesh, options).picture;
    int numDarker = 0;
    int numBrighter = 0;
    for (std::size_t i = 0; i < bright.rgb.size(); i += 3) {
        numDarker += dark.rgb[i] + 8 < bright.rgb[i] ? 1 : 0;
        numBrighter += dark.rgb[i] > bright.rgb[i] ? 1 : 0;
    }
    CHECK(numDarker > 200);
    CHECK(numBrighter == 0);
    // far from the unit: the tracer's tolerances are lengths
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
        mesh.getVerticesRaw()[i] *= 0x1p-20f;
    CHECK(render(mesh, options).picture.rgb == dark.rgb);
}

TEST_CASE("meshesSideBySideAreSeenAlike") {
    CompactMesh const mesh = support::torus(20, 10);
    koUtil::Progress progress;
    RenderOptions options = small(101, 60);
    RenderOutcome const outcome =
        trimora::renderMeshes({{&mesh, nullptr, {}}, {&mesh, nullptr, {}}}, options, progress);
    int numDifferent = 0;
    for (int y = 0; y < 60; ++y)
        for (int x = 0; x < 50; ++x)
            numDifferent +=
                std::memcmp(outcome.picture.at(x, y), outcome.picture.at(x + 50, y), 3) != 0;
    CHECK(numDifferent == 0);
}

// A dozen long lines are written smaller than two, and leave the surface to be seen.
TEST_CASE("longKeysCoverLittle") {
    CompactMesh const mesh = support::grid(1, 1);
    RenderOptions options = small(1280, 960, 1);
    options.key = false;
    SurfacePaint paint;
    paint.title = "not sound";
    paint.kinds = {0, 0};
    paint.swatches.assign(
        12, {{}, "9 vertices lie on an edge that runs past instead of ending there", false});
    Picture const plain = render(mesh, options, &paint).picture;
    options.key = true;
    Picture const keyed = render(mesh, options, &paint).picture;
    int right = 0;
    int bottom = 0;
    for (int y = 0; y < plain.height; ++y)
        for (int x = 0; x < plain.width; ++x)
            if (std::memcmp(keyed.at(x, y), plain.at(x, y), 3) != 0) {
                right = std::max(right, x);
                bottom = std::max(bottom, y);
            }
    CHECK(right * bottom > 0.08 * plain.width * plain.height);
    CHECK(right * bottom < 0.16 * plain.width * plain.height);
}

TEST_CASE("valuesAreColoredAndTheKeyIsDrawn") {
    CompactMesh const mesh = support::grid(1, 1);
    SurfacePaint paint = trimora::paintDeviation({-2.0f, 2.0f, -2.0f, 2.0f});
    CHECK(paint.low == -2.0);
    CHECK(paint.high == 2.0);
    RenderOptions options = small(200, 200);
    options.view = {0.0, 0.0};
    options.key = false;
    Picture const plain = render(mesh, options, &paint).picture;
    CHECK(isBluish(plain, 30, 100));
    CHECK_FALSE(isBluish(plain, 170, 100));
    options.key = true;
    Picture const keyed = render(mesh, options, &paint).picture;
    CHECK(keyed.rgb != plain.rgb);
    CHECK(std::memcmp(keyed.at(0, 150), plain.at(0, 150), 3 * 200 * 50) == 0);
    float const nan = std::numeric_limits<float>::quiet_NaN();
    paint = trimora::paintDeviation({nan, nan, nan, nan});
    CHECK(render(mesh, options, &paint).refusal.empty());
    CHECK(paint.asides.at(0).label == "none at 4 vertices");
    CHECK(trimora::paintDeviation({0.0f, 0.0f}).high == 1.0);
    CHECK(trimora::paintDeviation({0.0f, 0.0f}).isZero);
}

TEST_CASE("numbersWithoutSignsHaveAMapOfTheirOwn") {
    CompactMesh const mesh = support::grid(1, 1);
    SurfacePaint const paint = trimora::paintDistance({-2.0f, 0.0f, 2.0f, 1.0f});
    CHECK(paint.low == 0.0);
    CHECK(paint.high == 2.0);
    CHECK(paint.values == std::vector<float>{2.0f, 0.0f, 2.0f, 1.0f});
    RenderOptions options = small(200, 200);
    options.view = {0.0, 0.0};
    Picture const drawn = render(mesh, options, &paint).picture;
    CHECK(isBluish(drawn, 170, 170));  // violet is the lowest
    CHECK_FALSE(isBluish(drawn, 30, 100));
}

TEST_CASE("surfacesSideBySideShareTheirScale") {
    std::vector<SurfacePaint> paints = {trimora::paintDeviation({0.0f, 0.0f}),
                                        trimora::paintDeviation({0.25f, -0.5f}),
                                        trimora::paintDeviation({0.125f, 0.0f})};
    trimora::shareScale(paints);
    for (SurfacePaint const& paint : paints) {
        CHECK(paint.low == -0.5);  // what is 0 everywhere has no scale of its own
        CHECK(paint.high == 0.5);
        CHECK_FALSE(paint.isZero);
    }
    paints.resize(1);
    paints[0] = trimora::paintDeviation({0.0f, 0.0f});
    trimora::shareScale(paints);
    CHECK(paints[0].isZero);
}

TEST_CASE("theKeyNamesTheLargestComponents") {
    CompactMesh mesh = support::tetrahedron();
    for (int i = 0; i < 13; ++i)
        mesh = support::joined(mesh, support::triangle(), 10.0f);
    mesh = support::joined(mesh, support::cube(), 10.0f);
    SurfacePaint const paint = trimora::paintComponents(mesh);
    CHECK(paint.title == "15 components");
    CHECK(paint.swatches.at(0).label == "1: 12 triangles");
    CHECK(paint.swatches.at(1).label == "2: 4 triangles");
    CHECK(paint.swatches.at(2).label == "3: 1 triangle");
    CHECK(paint.asides.at(0).label == "7 more; colors come again");
    CHECK(paint.kinds.front() == 1);
    CHECK(paint.kinds.back() == 0);
}

TEST_CASE("defectsAreFoundWhereTheyAre") {
    CompactMesh const mesh = support::threeOnAnEdge();
    trimora::CheckOptions check;
    check.mostOffences = std::numeric_limits<std::size_t>::max();
    koUtil::Progress progress;
    SurfacePaint const paint =
        trimora::paintDefects(mesh, trimora::checkMesh(mesh, check, progress));
    int numCrowded = 0;
    for (SurfacePaint::MarkedEdge const& edge : paint.edges)
        numCrowded +=
            paint.swatches[static_cast<std::size_t>(edge.swatch)].label == "1 non-manifold edge" &&
                    edge.from == 0 && edge.to == 1
                ? 1
                : 0;
    CHECK(numCrowded == 1);
    CHECK(paint.edges.size() == 7);

    SurfacePaint const components = trimora::paintComponents(support::bowTie());
    CHECK(components.title == "1 component");
    koGeom::BitVector selection(4);
    selection.setBit(2);
    SurfacePaint const selected = trimora::paintSelection(support::tetrahedron(), selection);
    CHECK(selected.kinds == std::vector<std::uint8_t>{255, 255, 0, 255});
}

TEST_CASE("whatCannotBeDrawnIsRefused") {
    CompactMesh const mesh = support::cube();
    CHECK(render(mesh, small(1, 1)).picture.rgb.size() == 3);
    for (RenderOptions const& options : {small(0, 5), small(5, 0), small(16385, 1), small(1, 16385),
                                         small(16384, 16384), small(5, 5, 0), small(5, 5, 257)})
        CHECK_FALSE(render(mesh, options).refusal.empty());
    float const nan = std::numeric_limits<float>::quiet_NaN();
    for (CompactMesh const& nothing : {CompactMesh(), support::meshOf({0, 0, 0}, {}),
                                       support::meshOf({0, 0, 0, 1, 0, nan, 0, 1, 0}, {0, 1, 2})})
        CHECK(render(nothing, small()).refusal ==
              "there are no triangles with finite corners to draw");
    // a triangle of one point, and one as large as floats allow
    float const huge = std::numeric_limits<float>::max();
    for (CompactMesh const& odd :
         {support::meshOf({1, 2, 3}, {0, 0, 0}),
          support::meshOf({-huge, -huge, huge, huge, -huge, 0, 0, huge, -huge}, {0, 1, 2})}) {
        RenderOptions options = small();
        options.shadow = options.edges = options.outlines = true;
        CHECK(render(odd, options).picture.rgb.size() == 3 * 96 * 72);
    }
    // where it is wanted, nothing is a picture too
    RenderOptions options = small();
    options.mayBeEmpty = options.shadow = true;
    CHECK(render(CompactMesh(), options).picture.rgb.size() == 3 * 96 * 72);
    koUtil::Progress progress;
    progress.cancel();
    RenderOutcome const cancelled =
        trimora::renderMeshes({{&mesh, nullptr, {}}}, small(), progress);
    CHECK(cancelled.cancelled);
    CHECK(cancelled.picture.rgb.empty());
}

// Depths are floats: once, what lay beyond them was not seen at all.
TEST_CASE("theSizeOfAMeshIsNotSeen") {
    CompactMesh const mesh = support::torus(24, 12);
    RenderOptions options = small();
    options.shadow = options.edges = options.outlines = true;
    Picture const expected = render(mesh, options).picture;
    for (int const exponent : {126, 100, 40, -20, -60, -100}) {
        CompactMesh scaled(mesh);
        for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
            scaled.getVerticesRaw()[i] = std::ldexp(scaled.getVerticesRaw()[i], exponent);
        CAPTURE(exponent);
        CHECK(render(scaled, options).picture.rgb == expected.rgb);
    }
}

TEST_CASE("zooMeshesAreDrawn") {
    for (auto const& named : support::zoo()) {
        RenderOptions options = small(24, 18, 1);
        options.shadow = options.edges = options.outlines = true;
        SurfacePaint const paint = trimora::paintCurvature(named.mesh);
        RenderOutcome const outcome = render(named.mesh, options, &paint);
        CAPTURE(named.name);
        CHECK((outcome.refusal.empty() == !outcome.picture.rgb.empty()));
    }
}

TEST_CASE("picturesAreWrittenAsPng") {
    support::TemporaryFolder folder;
    Picture picture(3, 2);
    picture.at(2, 1)[0] = 255;
    std::string const path = folder.path("small.PNG");
    CHECK(trimora::writePng(path, picture));
    std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    std::string const head("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\0\3\0\0\0\2\x8\2\0\0\0", 29);
    CHECK(bytes.str().substr(0, head.size()) == head);
    CHECK_FALSE(trimora::writePng(folder.path("small.jpg"), picture));
    CHECK_FALSE(trimora::writePng(folder.path("none/small.png"), picture));
}
