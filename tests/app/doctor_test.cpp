// doctor from outside: what it tells in which form, and that every remedy it names works on the very mesh it names it for.

#include "app/editRun.h"
#include "support/builders.h"
#include "support/corpus.h"

#include <cmath>
#include <doctest/doctest.h>
#include <map>
#include <set>

using namespace commandTest;
using koGeom::CompactMesh;

namespace {

using Json = nlohmann::json;

Json doctorOf(std::string const& path) {
    Run const doctor = run("doctor --json " + path);
    CAPTURE(doctor.err);
    REQUIRE(doctor.code <= 1);
    Json const json = doctor.json();
    CHECK((doctor.code == 0) == json["sound"].get<bool>());
    return json;
}

Json findingOf(Json const& diagnosis, std::string const& kind) {
    for (Json const& finding : diagnosis["findings"])
        if (finding["kind"] == kind)
            return finding;
    return {{"count", 0}, {"remedy", nullptr}};
}

std::string replaced(std::string text, std::string const& word, std::string const& by) {
    std::size_t const place = text.find(word);
    REQUIRE(place != std::string::npos);
    return text.replace(place, word.size(), by);
}

/// Runs a remedy as it is told. The file that it writes.
std::string mended(std::string const& remedy, std::string const& input, std::string const& output) {
    std::string arguments = replaced(remedy, "trimora ", "");
    arguments = replaced(replaced(arguments, " IN", " " + input), " OUT", " " + output);
    Run const mending = run(arguments);
    CAPTURE(arguments);
    CAPTURE(mending.err);
    CHECK(mending.code == 0);
    return output;
}

struct Defect {
    std::string kind;
    CompactMesh mesh;
};

CompactMesh withTriangles(CompactMesh const& mesh, std::vector<int> const& more) {
    std::vector<int> all = support::trianglesOf(mesh);
    all.insert(all.end(), more.begin(), more.end());
    return support::meshOf(support::coordinatesOf(mesh), all);
}

CompactMesh placed(CompactMesh mesh, float factor, float move = 0.0f) {
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
        mesh.getVerticesRaw()[i] = factor * mesh.getVerticesRaw()[i] + move;
    return mesh;
}

/// A grid with a flap laid over one of its edges.
CompactMesh folded() {
    return withTriangles(
        support::joined(support::grid(3, 3), support::meshOf({0.5f, 0.3f, 0.02f}, {})), {1, 0, 16});
}

CompactMesh holed() {
    CompactMesh ball = support::sphere(3);
    ball.resizeTriangleArray(ball.getNumTriangles() - 1);
    return ball;
}

CompactMesh insideOut() {
    CompactMesh mesh = support::joined(support::sphere(2), support::sphere(2), 4.0f);
    for (int t = 0; t < mesh.getNumTriangles() / 2; ++t)
        std::swap(mesh.getTriangles()[t][0], mesh.getTriangles()[t][1]);
    return mesh;
}

/// Two of the triangles at a vertex have next to no height.
CompactMesh needled() {
    CompactMesh mesh = support::terrain(30, 30, 3);
    mesh.getVertices()[200].x = mesh.getVertices()[201].x - 1e-4f;
    mesh.getVertices()[200].y = mesh.getVertices()[201].y;
    mesh.getVertices()[200].z = mesh.getVertices()[201].z;
    return mesh;
}

/// A vertex of a ball is drawn out of its other side.
CompactMesh spiked() {
    CompactMesh mesh = support::sphere(4);
    koGeom::MeshVertex& tip = mesh.getVertices()[mesh.getTriangles()[0][0]];
    tip = {-1.3f * tip.x + 0.01f, -1.3f * tip.y + 0.02f, -1.3f * tip.z + 0.03f};
    return mesh;
}

CompactMesh nonfinite() {
    CompactMesh mesh = support::grid(4, 4);
    mesh.getVertices()[12].z = std::numeric_limits<float>::quiet_NaN();
    return mesh;
}

std::vector<Defect> defects() {
    using namespace support;
    std::vector<int> const first = trianglesOf(sphere(2));
    return {
        {"nonfiniteTriangles", nonfinite()},
        {"triangleSoup", soup(sphere(2))},
        {"coincidentVertices", joined(grid(4, 4), grid(4, 4), 4.0f)},
        {"unusedVertices", joined(sphere(2), meshOf({9, 9, 9}, {}))},
        {"duplicateTriangles", withTriangles(sphere(2), {first[0], first[1], first[2]})},
        {"degenerateTriangles", withTriangles(sphere(2), {0, 0, 1})},
        {"crowdedEdges", joined(sphere(2), threeOnAnEdge(), 3.0f)},
        {"opposedNeighbours", flipped(sphere(3), 0.1, 3)},
        {"insideOutParts", insideOut()},
        {"needleTriangles", needled()},
        {"moebiusStrips", joined(sphere(2), moebius(9), 9.0f)},
        {"bowTies", bowTie()},
        {"folds", folded()},
        {"holes", holed()},
        {"cracks", joined(grid(8, 8), grid(8, 8), 8.02f)},
        {"selfIntersections", spiked()},
        {"dust", joined(sphere(3), placed(triangle(), 0.01f), 3.0f)},
        {"extremeScale", placed(sphere(2), 1e-6f)},
        {"farFromOrigin", placed(sphere(2), 1.0f, 30000.0f)},
    };
}

}  // namespace

TEST_CASE("everyRemedyLessensWhatItIsFor") {
    for (Defect const& defect : defects()) {
        CAPTURE(defect.kind);
        TemporaryFolder const folder;
        std::string const input = folder / "in.obj";
        store(input, defect.mesh);
        Json const before = findingOf(doctorOf(input), defect.kind);
        CHECK(before["count"] > 0);
        REQUIRE(before["remedy"].is_string());
        std::string const output = mended(before["remedy"], input, folder / "out.obj");
        Json const after = findingOf(doctorOf(output), defect.kind);
        CHECK(after["count"] < before["count"]);
    }
}

namespace {

int rankOf(Json const& finding) {
    std::vector<std::string> const names = {"fatal", "severe", "moderate", "slight", "note"};
    return int(std::find(names.begin(), names.end(), finding["severity"]) - names.begin());
}

std::int64_t graveCountOf(Json const& diagnosis, std::string const& kind) {
    Json const finding = findingOf(diagnosis, kind);
    return finding["count"] == 0 || finding["severity"] == "note"
               ? 0
               : finding["count"].get<std::int64_t>();
}

/// Whether the surface is better off in what the remedy of a finding is for, and not worse off in what is graver.
void checkBetter(Json const& before, Json const& after, Json const& finding) {
    CHECK(graveCountOf(after, finding["kind"]) < finding["count"].get<std::int64_t>());
    for (Json const& other : after["findings"]) {
        CAPTURE(other["kind"]);
        if (rankOf(other) < rankOf(finding))
            CHECK(other["count"].get<std::int64_t>() <= graveCountOf(before, other["kind"]));
    }
}

constexpr char const* const smallMeshes[] = {"spot_quads.obj",
                                             "woody_flat.obj",
                                             "hand_open.obj",
                                             "suzanne_mixed.obj",
                                             "snail_crlf.obj",
                                             "beetle_dirty.obj",
                                             "cube_no_bottom.obj",
                                             "degenerate_faces.obj",
                                             "wingnut.obj",
                                             "teapot.obj",
                                             "cow.obj",
                                             "penguin.obj"};

}  // namespace

TEST_CASE("everyRemedyOfRealMeshesEndsBetter") {
    int numTried = 0;
    for (char const* const name : smallMeshes) {
        std::string const input = support::corpusFile(name);
        if (input.empty())
            continue;
        CAPTURE(name);
        Json const before = doctorOf(input);
        TemporaryFolder const folder;
        std::map<std::string, Json> diagnoses;
        for (Json const& finding : before["findings"]) {
            if (!finding["remedy"].is_string())
                continue;
            std::string const remedy = finding["remedy"];
            CAPTURE(remedy);
            std::string const advice = finding["advice"];
            CHECK((finding["sure"] == true || advice.find("That is much") != std::string::npos));
            auto const [place, isNew] = diagnoses.try_emplace(remedy);
            if (isNew) {
                place->second = doctorOf(mended(remedy, input, folder / "out.obj"));
                ++numTried;
            }
            checkBetter(before, place->second, finding);
        }
    }
    CHECK((numTried > 10 || support::corpus().empty()));
}

//   Whoever does what is told first, again and again, comes to an end.
TEST_CASE("followingTheRemediesComesToAnEnd") {
    for (char const* const name : {"spot_quads.obj", "beetle_dirty.obj", "suzanne_mixed.obj"}) {
        std::string path = support::corpusFile(name);
        if (path.empty())
            continue;
        CAPTURE(name);
        TemporaryFolder const folder;
        std::set<std::string> files;
        constexpr int mostRounds = 12;
        int round = 0;
        for (; round < mostRounds; ++round) {
            Json const diagnosis = doctorOf(path);
            std::string remedy;
            for (Json const& finding : diagnosis["findings"])
                if (remedy.empty() && finding["remedy"].is_string())
                    remedy = finding["remedy"];
            if (remedy.empty())
                break;
            path = mended(remedy, path, folder / ("out" + std::to_string(round) + ".obj"));
            CHECK(files.insert(contentOf(path)).second);
        }
        CHECK(round < mostRounds);
    }
}

TEST_CASE("doctorTellsTheWorstFirst") {
    TemporaryFolder const folder;
    std::string const input = folder / "it's bad.obj";
    store(input, support::joined(support::threeOnAnEdge(), support::bowTie(), 5.0f));
    Run const doctor = run("doctor \"" + input + "\"");
    CHECK(doctor.code == 1);
    CHECK(doctor.err.empty());
    std::string const& text = doctor.out;
    CHECK(text.rfind(input + ": not sound (1 severe, 1 moderate, ", 0) == 0);
    CHECK(text.find("severe: 1 edge has more than two triangles") <
          text.find("moderate: Parts of the surface touch in a point only at 1 vertex"));
    CHECK(text.find("edge 0-1 (3 triangles)") != std::string::npos);
    CHECK(text.find("numbered from 0") != std::string::npos);
    // The command can be copied as it stands.
    CHECK(text.find("> trimora repair '" + replaced(input, "'", "'\\''") + "' OUT\n") !=
          std::string::npos);
    std::size_t longest = 0;
    std::istringstream lines(text.substr(text.find('\n')));
    for (std::string line; std::getline(lines, line);)
        longest = std::max(longest, line.find("> ") == 2 ? 0 : line.size());
    CHECK(longest <= 100);
}

TEST_CASE("aSoundMeshEndsWithZero") {
    TemporaryFolder const folder;
    store(folder / "ball.obj", support::sphere(2));
    Run const doctor = run("doctor " + (folder / "ball.obj"));
    CHECK(doctor.code == 0);
    CHECK(doctor.out == (folder / "ball.obj") + ": sound (nothing found); 66 vertices, 128 "
                                                "triangles, 1 part, 0 borders\n");
    CHECK(run("doctor --quiet " + (folder / "ball.obj")).out.empty());
    Json const json = doctorOf(folder / "ball.obj");
    CHECK(json["volume"].get<double>() == doctest::Approx(3.9).epsilon(0.1));
    CHECK(json["findings"].empty());
    CHECK(json["repaired"].is_null());
}

TEST_CASE("linesThatCannotBeReadAreFindings") {
    TemporaryFolder const folder;
    writeFile(folder / "bad.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\nf 1 2 9\nf 1 2\n");
    Json const finding = findingOf(doctorOf(folder / "bad.obj"), "unreadableFaces");
    CHECK(finding["severity"] == "fatal");
    CHECK(finding["count"] == 2);
    CHECK(finding["meaning"].get<std::string>().find("line 5") != std::string::npos);
}

TEST_CASE("whatComesFromStandardInputHasNoName") {
    TemporaryFolder const folder;
    store(folder / "in.obj", support::threeOnAnEdge());
    Run const doctor = run("doctor - <" + (folder / "in.obj"));
    CHECK(doctor.out.find("> trimora repair IN OUT\n") != std::string::npos);
}

TEST_CASE("placesAreToldAsInTheFile") {
    TemporaryFolder const folder;
    writeFile(folder / "far.obj", "v 4000000.125 0 0\nv 4000001.125 0 0\nv 4000000.125 1 0\n"
                                  "v 4000000.125 -1 0\nv 4000000.125 0 1\n"
                                  "f 1 2 3\nf 2 1 4\nf 1 2 5\n");
    Run const text = run("doctor " + (folder / "far.obj"));
    CHECK(text.out.find("at 4000000.625 0 0: edge 0-1") != std::string::npos);
    Json const json = doctorOf(folder / "far.obj");
    CHECK(json["numbering"] == 0);
    CHECK(json["box"]["lowest"][0] == 4000000.125);
    Json const place = findingOf(json, "crowdedEdges")["places"][0];
    CHECK(place["centre"][0] == 4000000.625);
    CHECK(place["highest"][0] == 4000001.125);
}

TEST_CASE("aRepairedFileIsToldBeside") {
    TemporaryFolder const folder;
    store(folder / "in.obj", support::flipped(support::sphere(2), 0.2, 5));
    REQUIRE(run("repair " + (folder / "in.obj") + " " + (folder / "out.obj")).code == 0);
    std::string const files = (folder / "in.obj") + " --repaired " + (folder / "out.obj");
    Run const doctor = run("doctor " + files);
    CHECK(doctor.code == 1);
    CHECK(doctor.out.find((folder / "out.obj") + ": sound") != std::string::npos);
    std::size_t const row = doctor.out.find("  opposedNeighbours ");
    REQUIRE(row != std::string::npos);
    CHECK(doctor.out.find("-> 0\n", row) != std::string::npos);
    Json const json = run("doctor --json " + files).json();
    CHECK(json["sound"] == false);
    CHECK(json["repaired"]["sound"] == true);
    CHECK(json["repaired"]["file"] == folder / "out.obj");
}

TEST_CASE("picturesAndPagesAreWritten") {
    TemporaryFolder const folder;
    store(folder / "in.obj", support::joined(support::sphere(2), support::sphere(2), 0.7f));
    Run const doctor = run("doctor --json " + (folder / "in.obj") + " --picture " +
                           (folder / "seen.png") + " --html " + (folder / "page.html"));
    CHECK(doctor.code == 1);
    CHECK(doctor.json()["page"] == folder / "page.html");
    CHECK(contentOf(folder / "seen.png").substr(1, 3) == "PNG");
    std::string const page = contentOf(folder / "page.html");
    CHECK(page.find("selfIntersections") != std::string::npos);
    CHECK(page.find("in.obj") != std::string::npos);
}

TEST_CASE("doctorsOptionsAreHeeded") {
    TemporaryFolder const folder;
    store(folder / "in.obj", support::joined(support::sphere(2), support::sphere(2), 0.7f));
    Run const doctor = run("doctor --json --places 2 " + (folder / "in.obj"));
    CHECK(findingOf(doctor.json(), "selfIntersections")["places"].size() == 2);
    CHECK(run("doctor --no-intersections " + (folder / "in.obj")).code == 0);
    store(folder / "grid.obj", support::grid(2, 2));
    CHECK(run("doctor " + (folder / "grid.obj")).code == 0);
    CHECK(findingOf(run("doctor --json --needles 0.8 " + (folder / "grid.obj")).json(),
                    "needleTriangles")["count"] == 8);
    CHECK(run("doctor --angle 100 " + (folder / "in.obj")).code == 1);

    refuses("doctor " + (folder / "none.obj"), 3, "none.obj");
    refuses("doctor --needles 2 " + (folder / "in.obj"), 2, "takes a part");
    refuses("doctor --html " + (folder / "no/page.html") + " " + (folder / "in.obj"), 4, "no");
    refuses("doctor --html " + (folder / "in.obj") + " " + (folder / "in.obj"), 2, "replace");
}

TEST_CASE("oddMeshesGetADiagnosis") {
    for (char const* const text : oddMeshes) {
        CAPTURE(text);
        TemporaryFolder const folder;
        writeFile(folder / "odd.obj", text);
        Json const json = doctorOf(folder / "odd.obj");
        CHECK(json["file"] == folder / "odd.obj");
    }
}
