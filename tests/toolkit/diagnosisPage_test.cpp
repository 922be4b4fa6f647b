// Pages that hold what they were given, exactly, and nothing that could run; thinned surfaces that keep what was found.
// What a browser makes of them is asked in tests/page.

#include "page/pageSamples.h"
#include "support/builders.h"
#include "support/captureBinding.h"
#include "toolkit/diagnosisPage.h"
#include "toolkit/page/pageMesh.h"
#include "toolkit/page/pageText.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <doctest/doctest.h>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>

using koGeom::CompactMesh;
using nlohmann::json;
using pageSamples::hostileText;
using pageSamples::Sample;
using trimora::choosePageMesh;
using trimora::Diagnosis;
using trimora::Finding;
using trimora::FindingPlace;
using trimora::PageMesh;

namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

std::string pageOf(CompactMesh const& mesh, Diagnosis const& diagnosis,
                   std::string const& title = "mesh.obj") {
    trimora::DiagnosisPage page;
    page.title = title;
    page.mesh = &mesh;
    page.diagnosis = &diagnosis;
    return trimora::writeDiagnosisPage(page);
}

/// What stands in the script element of that id.
std::string elementOf(std::string const& page, std::string const& id) {
    std::string const head = "id=\"" + id + "\">";
    std::size_t const begin = page.find(head);
    REQUIRE(begin != std::string::npos);
    std::size_t const end = page.find("</script>", begin);
    return page.substr(begin + head.size(), end - begin - head.size());
}

json diagnosisOf(std::string const& page) {
    return json::parse(elementOf(page, "diagnosis"));
}

template <typename Number>
std::vector<Number> arrayOf(std::string const& page, std::string const& id) {
    constexpr std::string_view digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    unsigned bits = 0, numBits = 0;
    for (char const digit : elementOf(page, id)) {
        std::size_t const value = digits.find(digit);
        if (value == std::string_view::npos)
            continue;
        bits = bits << 6 | static_cast<unsigned>(value);
        numBits += 6;
        if (numBits >= 8) {
            numBits -= 8;
            bytes += static_cast<char>(static_cast<unsigned char>(bits >> numBits & 0xff));
        }
    }
    std::vector<Number> numbers(bytes.size() / sizeof(Number));
    if (!numbers.empty())
        std::memcpy(numbers.data(), bytes.data(), numbers.size() * sizeof(Number));
    return numbers;
}

std::vector<int> cornersOf(PageMesh const& mesh) {
    return {mesh.corners.begin(), mesh.corners.end()};
}

Diagnosis findingAt(FindingPlace const& place) {
    Diagnosis diagnosis;
    Finding finding;
    finding.places = {place};
    diagnosis.findings = {finding};
    return diagnosis;
}

bool isValidUtf8(std::string const& text) {
    return !json(text).dump(-1, ' ', false, json::error_handler_t::strict).empty();
}

}  // namespace

TEST_CASE("aPageHoldsTheMeshExactly") {
    for (auto const& [name, mesh] : support::zoo()) {
        CAPTURE_BINDING(name);
        std::string const page = pageOf(mesh, {});
        std::vector<float> const coordinates = support::coordinatesOf(mesh);
        std::vector<float> const shown = arrayOf<float>(page, "positions0");
        REQUIRE(shown.size() == coordinates.size());
        CHECK((shown.empty() ||
               std::memcmp(shown.data(), coordinates.data(), 4 * shown.size()) == 0));
        if (arrayOf<std::uint32_t>(page, "triangleNumbers0").empty())
            CHECK(arrayOf<int>(page, "corners0") == support::trianglesOf(mesh));
        CHECK(arrayOf<std::uint32_t>(page, "vertexNumbers0").empty());
        CHECK(page == pageOf(mesh, {}));
    }
}

TEST_CASE("aPageHoldsTheFindingsExactly") {
    Sample const sample = pageSamples::damagedSphere();
    json const mesh = diagnosisOf(pageOf(sample.mesh, sample.diagnosis))["meshes"][0];
    REQUIRE(mesh["findings"].size() == sample.diagnosis.findings.size());
    for (std::size_t i = 0; i < sample.diagnosis.findings.size(); ++i) {
        Finding const& finding = sample.diagnosis.findings[i];
        json const& told = mesh["findings"][i];
        CHECK(told["kind"] == finding.kind);
        CHECK(told["severity"] == static_cast<int>(finding.severity));
        CHECK(told["title"] == finding.title);
        CHECK(told["meaning"] == finding.meaning);
        CHECK(told["remedy"] == finding.remedy);
        CHECK(told["advice"] == finding.advice);
        CHECK(told["count"] == finding.count);
        REQUIRE(told["places"].size() == finding.places.size());
        for (std::size_t k = 0; k < finding.places.size(); ++k) {
            FindingPlace const& place = finding.places[k];
            CHECK(told["places"][k]["triangles"] == json(place.triangles));
            CHECK(told["places"][k]["vertices"] == json(place.vertices));
            CHECK(told["places"][k]["edges"].size() == 2 * place.edges.size());
            CHECK(told["places"][k]["centre"] == json(place.centre));
            CHECK(told["places"][k]["note"] == place.note);
        }
    }
    CHECK(mesh["volume"].is_null());
    CHECK(mesh["area"] == sample.diagnosis.area);
}

TEST_CASE("aRepairedMeshComesWithItsOwnFindings") {
    Sample const before = pageSamples::damagedSphere();
    Sample const after = pageSamples::soundSphere();
    std::string const page =
        trimora::writeDiagnosisPage({"before.obj", &before.mesh, &before.diagnosis, "after.obj",
                                     &after.mesh, &after.diagnosis});
    json const meshes = diagnosisOf(page)["meshes"];
    REQUIRE(meshes.size() == 2);
    CHECK(meshes[1]["title"] == "after.obj");
    CHECK(meshes[1]["findings"].size() == 1);
    CHECK(arrayOf<int>(page, "corners1") == support::trianglesOf(after.mesh));
}

TEST_CASE("hostileTextsStayTexts") {
    Sample sample = pageSamples::damagedSphere();
    for (Finding& finding : sample.diagnosis.findings) {
        finding.kind = finding.remedy = finding.advice = finding.unit = hostileText;
        for (FindingPlace& place : finding.places)
            place.note = hostileText;
    }
    std::string const harmless = pageOf(sample.mesh, {});
    std::string const page = pageOf(sample.mesh, sample.diagnosis, hostileText);
    auto const count = [](std::string const& text, std::string_view what) {
        int found = 0;
        for (std::size_t at = text.find(what); at != std::string::npos;
             at = text.find(what, at + 1))
            ++found;
        return found;
    };
    for (char const* tag : {"<script", "</script", "<img", "<!--", "</style", "</title"})
        CHECK(count(page, tag) == count(harmless, tag));
    std::string const data = elementOf(page, "diagnosis");
    CHECK(data.find_first_of("<>&") == std::string::npos);
    CHECK(data.find("\xe2\x80\xa8") == std::string::npos);
    CHECK(json::parse(data)["meshes"][0]["title"] == hostileText);
    CHECK(count(page, "://") == 1);  // the name of SVG's elements, which nothing fetches
}

TEST_CASE("textsThatAreNoUtf8BecomeUtf8") {
    for (std::string const bad : {"\xff", "a\x80z", "\xc0\xaf", "\xed\xa0\x80", "\xf5\x80\x80\x80",
                                  "\xe2\x82", "\xf0\x9f\x98", "\xf4\x90\x80\x80", "\xe0\x80\xaf",
                                  "\xc3(", "ok \xf0\x9f\x98\x80 \xe2\x82\xac"}) {
        CAPTURE(bad);
        CHECK(isValidUtf8(trimora::escapeHtml(bad)));
        std::string const told = trimora::ScriptJson().text(bad).str();
        CHECK(json::parse(told).is_string());
    }
    CHECK(trimora::escapeHtml("\xf0\x9f\x98\x80\xe2\x82\xac\xc3\xa4") ==
          "\xf0\x9f\x98\x80\xe2\x82\xac\xc3\xa4");
    CHECK(trimora::escapeHtml("\xc3(") == "\xef\xbf\xbd(");
    CHECK(trimora::escapeHtml("a<b>&\"'\n") == "a&lt;b&gt;&amp;&quot;&#39;\xef\xbf\xbd");
    std::string const withNul("a\0b", 3);
    CHECK(json::parse(trimora::ScriptJson().text(withNul).str()) == withNul);
}

TEST_CASE("bytesBecomeBase64AsInItsDefinition") {
    auto const encode = [](std::string_view text) {
        return trimora::encodeBase64(std::as_bytes(std::span(text.data(), text.size())));
    };
    char const* const encoded[] = {"", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy"};
    for (std::size_t size = 0; size <= 6; ++size)
        CHECK(encode(std::string_view("foobar").substr(0, size)) == encoded[size]);
    CHECK(encode("\xff\xef\xbe") == "/+++");
}

TEST_CASE("numbersThatAreNotFiniteAreToldAsNull") {
    Diagnosis diagnosis;
    diagnosis.area = HUGE_VAL;
    diagnosis.volume = double(notANumber);
    diagnosis.lowest = {-HUGE_VAL, 0.0, double(notANumber)};
    json const mesh = diagnosisOf(pageOf(support::cube(), diagnosis))["meshes"][0];
    CHECK(mesh["area"].is_null());
    CHECK(mesh["volume"].is_null());
    CHECK(mesh["lowest"] == json({nullptr, 0.0, nullptr}));
}

TEST_CASE("trianglesWithoutFiniteCornersAreLeftOut") {
    //  triangles 0 and 3 can be drawn
    CompactMesh const mesh =
        support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, notANumber, 0, 0, 0, -infinity, 0},
                        {0, 1, 2, 1, 2, 3, 4, 1, 2, 2, 1, 0, 0, 1, 5, 0, -1, 2});
    PageMesh const shown = choosePageMesh(mesh, {}, 100);
    CHECK(cornersOf(shown) == std::vector<int>{0, 1, 2, 2, 1, 0});
    CHECK(shown.triangleNumbers == std::vector<std::uint32_t>{0, 3});
    CHECK(shown.vertexNumbers.empty());
    CHECK(shown.positions.size() == 15);
    CHECK(shown.leftOut == 4);
    CHECK_FALSE(shown.isThinned);
}

TEST_CASE("placesThatPointNowhereDoNoHarm") {
    FindingPlace place;
    place.triangles = {-1, 12, std::numeric_limits<int>::max(), 0};
    place.vertices = {-7, 8, std::numeric_limits<int>::min(), 1};
    place.edges = {{-1, 0}, {3, 1000}};
    CompactMesh const cube = support::cube();
    for (int const most : {1, 2, 5, 100}) {
        PageMesh const shown = choosePageMesh(cube, findingAt(place), most);
        CHECK(shown.isThinned == (most < 12));
    }
    json const told =
        diagnosisOf(pageOf(cube, findingAt(place)))["meshes"][0]["findings"][0]["places"][0];
    CHECK(told["triangles"] == json(place.triangles));
}

TEST_CASE("meshesWithoutAnythingMakePages") {
    for (CompactMesh const& mesh :
         {CompactMesh(), support::meshOf({1, 2, 3}, {}),
          support::meshOf({notANumber, notANumber, notANumber}, {0, 0, 0})}) {
        std::string const page = pageOf(mesh, {}, "");
        CHECK(arrayOf<std::uint32_t>(page, "corners0").empty());
        CHECK(diagnosisOf(page)["meshes"].size() == 1);
    }
}

TEST_CASE("thinningKeepsPlacesAndTheShape") {
    CompactMesh const sphere = support::sphere(5);
    std::vector<float> const points = support::coordinatesOf(sphere);
    std::vector<int> const triangles = support::trianglesOf(sphere);
    FindingPlace place;
    place.triangles = {17, 1000, 8191};
    place.vertices = {5};
    place.edges = {{2000, 2001}};
    PageMesh const shown = choosePageMesh(sphere, findingAt(place), 1000);
    REQUIRE(shown.isThinned);
    REQUIRE(shown.triangleNumbers.size() == shown.corners.size() / 3);
    CHECK(shown.triangleNumbers.size() <= 1000);
    CHECK(shown.triangleNumbers.size() >= 300);
    CHECK(std::is_sorted(shown.triangleNumbers.begin(), shown.triangleNumbers.end()));
    CHECK(std::is_sorted(shown.vertexNumbers.begin(), shown.vertexNumbers.end()));

    for (std::size_t i = 0; i < shown.vertexNumbers.size(); ++i)
        for (std::size_t k = 0; k < 3; ++k)
            CHECK(shown.positions[3 * i + k] == points[3 * shown.vertexNumbers[i] + k]);
    for (int const t : place.triangles) {
        auto const found = std::find(shown.triangleNumbers.begin(), shown.triangleNumbers.end(),
                                     static_cast<std::uint32_t>(t));
        REQUIRE(found != shown.triangleNumbers.end());
        for (std::size_t k = 0; k < 3; ++k) {
            std::uint32_t const corner =
                shown.corners[3 * static_cast<std::size_t>(found - shown.triangleNumbers.begin()) +
                              k];
            CHECK(int(shown.vertexNumbers[corner]) ==
                  triangles[static_cast<std::size_t>(3 * t) + k]);
        }
    }
    for (std::uint32_t const v : {5u, 2000u, 2001u})
        CHECK(std::binary_search(shown.vertexNumbers.begin(), shown.vertexNumbers.end(), v));

    std::set<std::array<std::uint32_t, 3>> seen;
    double area = 0.0;
    for (std::size_t t = 0; t < shown.corners.size(); t += 3) {
        std::array<std::uint32_t, 3> corners = {shown.corners[t], shown.corners[t + 1],
                                                shown.corners[t + 2]};
        auto const at = [&](std::size_t i) {
            float const* const p = shown.positions.data() + 3 * corners[i];
            return koGeom::Point(double(p[0]), double(p[1]), double(p[2]));
        };
        area += 0.5 * cross(at(1) - at(0), at(2) - at(0)).length();
        std::sort(corners.begin(), corners.end());
        CHECK(corners[0] != corners[1]);
        CHECK(corners[1] != corners[2]);
        CHECK(seen.insert(corners).second);
    }
    CHECK(area == doctest::Approx(4.0 * 3.14159265).epsilon(0.08));
}

TEST_CASE("thinningEndsOnMeshesThatNoGridSuits") {
    std::vector<std::pair<CompactMesh, int>> const cases = {
        {support::latticeSoup(200, 3000, 7), 50},
        {support::meshOf(std::vector<float>(300, 1.0f), std::vector<int>(300, 0)),
         10},  // all in one point
        {support::joined(support::sphere(3), support::sphere(3), 1e30f), 100},
        {support::soup(support::sphere(3)), 64},
        {support::meshOf({0, 0, 0, 3e38f, 0, 0, 0, 3e38f, 0, 1e-40f, 0, 0},
                         {0, 1, 2, 1, 0, 2, 3, 1, 2, 0, 1, 3}),
         1},
    };
    for (auto const& [mesh, most] : cases) {
        PageMesh const shown = choosePageMesh(mesh, {}, most);
        CHECK(shown.isThinned);
        CHECK(shown.triangleNumbers.size() <= static_cast<std::size_t>(most));
    }
}

TEST_CASE("findingsOfEverythingTakeAtMostHalfOfAThinnedPage") {
    CompactMesh const sphere = support::sphere(4);
    FindingPlace place;
    for (int t = 0; t < sphere.getNumTriangles(); ++t)
        place.triangles.push_back(t);
    PageMesh const shown = choosePageMesh(sphere, findingAt(place), 600);
    CHECK(shown.triangleNumbers.size() <= 600);
    CHECK(shown.triangleNumbers.size() >= 300);
    for (std::uint32_t t = 0; t < 300; ++t)
        CHECK(shown.triangleNumbers[t] == t);
}

TEST_CASE("crowdsOfUnusedVerticesAreThinnedOutToo") {
    std::vector<float> points = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    points.resize(300, 0.5f);
    FindingPlace place;
    place.vertices = {50};
    PageMesh const shown = choosePageMesh(support::meshOf(points, {0, 1, 2}), findingAt(place), 10);
    CHECK(shown.isThinned);
    CHECK(shown.vertexNumbers == std::vector<std::uint32_t>{0, 1, 2, 50});
    CHECK(cornersOf(shown) == std::vector<int>{0, 1, 2});
    CHECK(shown.triangleNumbers.empty());
}
