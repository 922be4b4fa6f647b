#include "support/TemporaryFolder.h"
#include "support/builders.h"
#include "support/checks.h"
#include "toolkit/detail/files.h"
#include "toolkit/pendingOutput.h"
#include "toolkit/readMesh.h"
#include "toolkit/writeMesh.h"
#include "toolkit/writeText.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <doctest/doctest.h>
#include <fcntl.h>
#include <filesystem>
#include <limits>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace trimora;
using koGeom::CompactMesh;
using support::coordinatesOf;
using support::trianglesOf;
using Failure = FileOutcome::Failure;

namespace {

std::string written(CompactMesh const& mesh, WriteOptions const& options = {}) {
    support::TemporaryFolder const folder;
    REQUIRE(writeMesh(folder.path("a.obj"), mesh, options));
    CHECK(folder.size() == 1);
    return folder.read("a.obj");
}

CompactMesh oneTriangle(bool withNormals, bool withUVs) {
    CompactMesh mesh = support::meshOf(
        {0, -0.5f, 0.1f, 1.0f / 3, 16777216, 1e-7f, 3.4028235e38f, 1e10f, 1}, {2, 1, 0});
    if (withUVs)
        mesh.allocUVArray();
    if (withNormals) {
        mesh.allocNormalArray();
        mesh.getNormals()[2].z = 1.0f;
    }
    return mesh;
}

std::string const vertexLines =
    "v 0 -0.5 0.1\nv 0.33333334 16777216 1e-07\nv 3.4028235e+38 1e+10 1\n";
std::string const uvLines = "vt 0 0\nvt 0 0\nvt 0 0\n";
std::string const normalLines = "vn 0 0 0\nvn 0 0 0\nvn 0 0 1\n";

}  // namespace

TEST_CASE("writesTheShortestDecimals") {
    CHECK(written(oneTriangle(false, false)) == vertexLines + "f 3 2 1\n");
    CHECK(written(oneTriangle(true, false)) == vertexLines + normalLines + "f 3//3 2//2 1//1\n");
    CHECK(written(oneTriangle(false, true)) == vertexLines + uvLines + "f 3/3 2/2 1/1\n");
    CHECK(written(oneTriangle(true, true)) ==
          vertexLines + uvLines + normalLines + "f 3/3/3 2/2/2 1/1/1\n");
    CHECK(written(CompactMesh()) == "# no vertices\n");
}

TEST_CASE("optionsChooseWhatIsWritten") {
    WriteOptions options;
    options.comment = "two\r\nlines";
    options.normals = false;
    options.textureCoordinates = false;
    CHECK(written(oneTriangle(true, true), options) ==
          "# two\n# \n# lines\n" + vertexLines + "f 3 2 1\n");
    CompactMesh mesh = oneTriangle(true, false);
    mesh.setNormalsComputed(true);
    CHECK(written(mesh) == vertexLines + "f 3 2 1\n");
}

TEST_CASE("polygonsAreWrittenWhereThereAreNoTriangles") {
    CompactMesh mesh = support::meshOf({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}, {});
    mesh.polys = koGeom::MeshSequence(ko::vector<ko::vector<int>>{{0, 1, 2, 3}, {0, 2, 1}});
    CHECK(written(mesh) == "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf 1 2 3 4\nf 1 3 2\n");
}

TEST_CASE("everythingComesBackBitForBit") {
    support::TemporaryFolder const folder;
    support::withPools([&folder](int) {
        for (support::NamedMesh const& named : support::zoo()) {
            CAPTURE(named.name);
            CompactMesh back;
            ReadReport report;
            REQUIRE(writeMesh(folder.path("a.obj"), named.mesh));
            REQUIRE(readMesh(folder.path("a.obj"), back, report));
            CHECK(coordinatesOf(back) == coordinatesOf(named.mesh));
            CHECK(trianglesOf(back) == trianglesOf(named.mesh));
        }
    });

    // Any float at all, in more vertices than a block or a round of blocks holds.
    support::Random random(4);
    std::vector<float> all;
    for (int i = 0; i < 3 * 600000; ++i)
        all.push_back(std::bit_cast<float>(static_cast<std::uint32_t>(random.next())));
    CompactMesh const mesh = support::meshOf(all, {});
    CompactMesh back;
    ReadReport report;
    REQUIRE(writeMesh(folder.path("a.obj"), mesh));
    REQUIRE(readMesh(folder.path("a.obj"), back, report));
    std::vector<float> const again = coordinatesOf(back);
    REQUIRE(again.size() == all.size());
    std::size_t numDifferent = 0;
    for (std::size_t i = 0; i < all.size(); ++i)
        numDifferent += std::isnan(all[i]) ? !std::isnan(again[i])
                                           : std::bit_cast<std::uint32_t>(all[i]) !=
                                                 std::bit_cast<std::uint32_t>(again[i]);
    CHECK(numDifferent == 0);
}

TEST_CASE("replacesAFileThroughItsLinkAndKeepsItsPermissions") {
    support::TemporaryFolder const folder;
    std::string const path = folder.write("a.obj", "old");
    REQUIRE(chmod(path.c_str(), 0640) == 0);
    std::filesystem::create_symlink("a.obj", folder.path("link.obj"));
    REQUIRE(writeMesh(folder.path("link.obj"), support::triangle()));
    CHECK(std::filesystem::is_symlink(folder.path("link.obj")));
    CHECK(folder.read("a.obj") == written(support::triangle()));
    struct stat status {};
    REQUIRE(stat(path.c_str(), &status) == 0);
    CHECK((status.st_mode & 07777) == 0640);
    CHECK(folder.size() == 2);
}

TEST_CASE("writesThroughALinkToNothing") {
    support::TemporaryFolder const folder;
    std::filesystem::create_directory(folder.path("far"));
    std::filesystem::create_symlink("far/b.obj", folder.path("a.obj"));
    std::filesystem::create_symlink(folder.path("a.obj"), folder.path("link.obj"));
    REQUIRE(writeMesh(folder.path("link.obj"), support::triangle()));
    CHECK(std::filesystem::is_symlink(folder.path("link.obj")));
    CHECK(std::filesystem::is_symlink(folder.path("a.obj")));
    CHECK(folder.read("far/b.obj") == written(support::triangle()));

    std::filesystem::create_symlink("ring.obj", folder.path("ring.obj"));
    CHECK(writeMesh(folder.path("ring.obj"), support::triangle()).failure == Failure::Unwritable);
    CHECK(std::filesystem::is_symlink(folder.path("ring.obj")));
}

// A kill from another thread or a signal: either the file is gone and is not put in place, or it stands.
TEST_CASE("anOutputIsEitherDiscardedOrPutInPlace") {
    support::TemporaryFolder const folder;
    folder.write("a.obj", "old");
    {
        OutputFile file;
        REQUIRE(file.open(folder.path("a.obj")));
        REQUIRE(file.write("new"));
        CHECK(folder.size() == 2);
        CHECK(discardPendingOutputs());
        CHECK(folder.size() == 1);
        CHECK(file.commit().failure == Failure::Cancelled);
    }
    CHECK(folder.read("a.obj") == "old");
    {
        OutputFile file;
        REQUIRE(file.open(folder.path("a.obj")));
        REQUIRE(file.write("new"));
        REQUIRE(file.commit());
        CHECK_FALSE(discardPendingOutputs());
    }
    CHECK(folder.read("a.obj") == "new");
    CHECK_FALSE(OutputFile().open(folder.path("absent/a.obj")));
    CHECK(discardPendingOutputs());
    CHECK(folder.size() == 1);
}

// Two machines whose processes have one number write in one folder.
TEST_CASE("passingFilesOfOthersStay") {
    support::TemporaryFolder const folder;
    CHECK(trimora::newPassingStem() != trimora::newPassingStem());
    unsigned last = 0;
    {
        OutputFile file;
        REQUIRE(file.open(folder.path("a.obj")));
        for (auto const& entry : std::filesystem::directory_iterator(folder.path("")))
            last = static_cast<unsigned>(
                std::stoul(entry.path().filename().string().substr(trimora::passingStem().size())));
    }
    for (unsigned i = 1; i <= 3; ++i)
        folder.write(trimora::passingStem() + std::to_string(last + i) + ".tmp", "another's");
    for (bool const isOnDisk : {false, true}) {
        trimora::setOutputsOnDisk(isOnDisk);
        OutputFile file;
        REQUIRE(file.open(folder.path("a.obj")));
        REQUIRE(file.write("new"));
        CHECK(folder.size() == 4);
        if (isOnDisk)
            CHECK(file.commit());
        else
            CHECK(discardPendingOutputs());
        CHECK(folder.size() == 3 + isOnDisk);
        trimora::setOutputsOnDisk(false);
        trimora::forgetPendingOutputs();
    }
    CHECK(folder.read("a.obj") == "new");
}

TEST_CASE("severalMeshesAreWrittenAllOrNone") {
    support::TemporaryFolder const folder;
    std::vector<CompactMesh> const meshes = {support::triangle(), support::cube(),
                                             support::triangle()};
    std::vector<std::string> const paths = {folder.write("a.obj", "old"), folder.path("b.obj"),
                                            folder.write("c.obj", "old too")};
    auto const isUntouched = [&folder] {
        return folder.size() == 2 && folder.read("a.obj") == "old" &&
               folder.read("c.obj") == "old too";
    };
    CHECK(trimora::writeMeshes({paths[0], folder.path("absent/b.obj"), paths[2]}, meshes).failure ==
          Failure::Unwritable);
    CHECK(isUntouched());

    koUtil::Progress cancelled;
    trimora::WriteOptions options;
    options.progress = &cancelled;
    cancelled.setListener([&cancelled](double value, char const*) {
        if (value > 0.5)
            cancelled.cancel();
    });
    CHECK(trimora::writeMeshes(paths, meshes, options).failure == Failure::Cancelled);
    CHECK(isUntouched());

    // Whoever ends the process takes all unfinished files away in one step.
    koUtil::Progress ended;
    options.progress = &ended;
    bool wasEnded = false;
    ended.setListener([&](double value, char const*) {
        if (value < 0.5 || wasEnded)
            return;
        CHECK(folder.size() > 3);
        CHECK(discardPendingOutputs());
        CHECK(isUntouched());
        wasEnded = true;
    });
    CHECK(trimora::writeMeshes(paths, meshes, options).failure == Failure::Cancelled);
    CHECK(wasEnded);
    CHECK(isUntouched());

    // The last one's place is taken meanwhile: the others stand, and are named.
    koUtil::Progress taken;
    options.progress = &taken;
    std::string const last = folder.path("d.obj");
    taken.setListener([&last](double value, char const*) {
        if (value > 0.7)
            std::filesystem::create_directory(last);
    });
    trimora::FileOutcome const outcome =
        trimora::writeMeshes({paths[0], paths[1], last}, meshes, options);
    CHECK(outcome.failure == Failure::Unwritable);
    CHECK(outcome.message.find("put in place before it: " + paths[0] + ", " + paths[1]) !=
          std::string::npos);
    CHECK(folder.size() == 4);

    REQUIRE(trimora::writeMeshes(paths, meshes));
    CHECK(folder.read("a.obj") == written(support::triangle()));
    CHECK(folder.read("b.obj") == written(support::cube()));
    CHECK_FALSE(discardPendingOutputs());
    CHECK(trimora::writeMeshes({}, {}));
}

TEST_CASE("failuresLeaveAnExistingFileAndNoOther") {
    support::TemporaryFolder const folder;
    folder.write("a.obj", "old");
    auto const failureOf = [](std::string const& path, std::string const& part,
                              WriteOptions const& options = {}) {
        FileOutcome const outcome = writeMesh(path, support::cube(), options);
        CHECK(outcome.message.find(part) != std::string::npos);
        return outcome.failure;
    };
    CHECK(failureOf(folder.path("absent/a.obj"), "cannot be created") == Failure::Unwritable);
    CHECK(failureOf(folder.path("a.xyz"), "no format has the extension") == Failure::Unsupported);
    WriteOptions options;
    options.format = "obj";
    CHECK(failureOf(folder.path(), "is a folder", options) == Failure::Unwritable);
    CHECK(failureOf("/dev/full", "cannot be written", options) == Failure::Unwritable);
    koUtil::Progress progress;
    progress.cancel();
    options.progress = &progress;
    CHECK(failureOf(folder.path("a.obj"), "cancelled", options) == Failure::Cancelled);
    CHECK(folder.read("a.obj") == "old");
    CHECK(folder.size() == 1);
}

TEST_CASE("writesStandardOutputAndReportsThatItIsGone") {
    support::TemporaryFolder const folder;
    std::fflush(stdout);
    int const saved = dup(STDOUT_FILENO);
    auto const writeTo = [saved](std::string const& path) {
        int const file = open(path.c_str(), O_WRONLY | O_CREAT, 0600);
        dup2(file, STDOUT_FILENO);
        close(file);
        FileOutcome const outcome = writeMesh("-", support::triangle());
        dup2(saved, STDOUT_FILENO);
        return outcome;
    };
    FileOutcome const good = writeTo(folder.path("out"));
    FileOutcome const full = writeTo("/dev/full");
    close(saved);
    CHECK(good);
    CHECK(folder.read("out") == written(support::triangle()));
    CHECK(full.failure == Failure::Unwritable);
    CHECK(full.message.find("standard output") != std::string::npos);
}

TEST_CASE("textFilesAreWrittenWholeOrNotAtAll") {
    support::TemporaryFolder const folder;
    CHECK(writeText(folder.path("a.txt"), "one\n"));
    CHECK(writeText(folder.path("a.txt"), "two\n"));
    CHECK(folder.read("a.txt") == "two\n");
    CHECK(writeText(folder.path("absent/a.txt"), "three\n").failure == Failure::Unwritable);
    CHECK(folder.size() == 1);
}
