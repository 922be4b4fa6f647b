// Binary STL. Blocks of triangles are read and taken apart on the shared pool, each thread with a buffer that stays in its cache.

#include "toolkit/ReadReport.h"
#include "toolkit/detail/FaceList.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/meshNames.h"
#include "toolkit/detail/readLimits.h"
#include "toolkit/detail/recentring.h"
#include "toolkit/detail/stlFormat.h"
#include "toolkit/meshCounts.h"
#include "toolkit/readMesh.h"

#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cmath>
#include <limits>
#include <memory>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using Failure = FileOutcome::Failure;

static_assert(std::endian::native == std::endian::little, "floats are copied as they lie");

constexpr int trianglesPerBlock = 4096;  // 200 KB
constexpr std::size_t normalSize = 12;
constexpr std::size_t cornersSize = 36;

// Bytes at the peak for each triangle: its corners and their indices; welding adds its tables, the remap and the copy.
constexpr double bytesPerTriangle = 48.0;

/// What a block holds besides its coordinates.
struct BlockFindings {
    std::int64_t numNonfinite = 0;
    std::int64_t numAttributes = 0;
    ReadReport problems;
};

class BlocksAlg : public koUtil::ThreadedChunkAlg {
public:
    BlocksAlg(InputFile const& file, CompactMesh& mesh, Shift const& shift);

    void executeChunk(int chunkIndex, int threadIndex) override;
    bool isReadable() const { return readable_; }
    std::vector<BlockFindings> const& findings() const { return findings_; }

private:
    bool read(int block, char* buffer);
    void examine(int triangle, float const* corners, char const* attributes,
                 BlockFindings& findings) const;

    InputFile const& file_;
    Shift const shift_;
    bool const isShifted_;
    float* const positions_;
    int* const triangles_;
    int const numTriangles_;
    std::vector<BlockFindings> findings_;  // each written by one thread
    std::atomic<bool> readable_{true};
};

BlocksAlg::BlocksAlg(InputFile const& file, CompactMesh& mesh, Shift const& shift)
    : file_(file),
      shift_(shift),
      isShifted_(isShift(shift)),
      positions_(mesh.getVerticesRaw()),
      triangles_(mesh.getTrianglesRaw()),
      numTriangles_(mesh.getNumTriangles()),
      findings_(
          static_cast<std::size_t>((numTriangles_ + trianglesPerBlock - 1) / trianglesPerBlock)) {}

void BlocksAlg::executeChunk(int chunkIndex, int threadIndex) {
    auto const numBlocks = static_cast<int>(findings_.size());
    int const end = getBeginIndex(chunkIndex + 1, numChunks, numBlocks);
    auto const buffer = std::make_unique_for_overwrite<char[]>(trianglesPerBlock * stlTriangleSize);
    for (int block = getBeginIndex(chunkIndex, numChunks, numBlocks); block < end; ++block) {
        if (!readable_ || cancelled(threadIndex))
            return;
        if (!read(block, buffer.get()))
            readable_ = false;
    }
    updateProgress(threadIndex, static_cast<double>(chunkIndex + 1) / numChunks);
}

bool BlocksAlg::read(int block, char* buffer) {
    int const begin = block * trianglesPerBlock;
    int const count = std::min(trianglesPerBlock, numTriangles_ - begin);
    auto const first = static_cast<std::size_t>(begin);
    if (!file_.fetch(stlHeaderSize + stlTriangleSize * first,
                     stlTriangleSize * static_cast<std::size_t>(count), buffer))
        return false;
    char const* record = buffer;
    float* corners = positions_ + 9 * first;
    int* triangle = triangles_ + 3 * first;
    BlockFindings& findings = findings_[static_cast<std::size_t>(block)];
    for (int i = 0; i < count; ++i, record += stlTriangleSize, corners += 9, triangle += 3) {
        std::memcpy(corners, record + normalSize, cornersSize);
        for (int k = 0; k < 3; ++k)
            triangle[k] = 3 * (begin + i) + k;
        for (std::size_t k = 0; isShifted_ && k < 9; ++k)
            corners[k] = static_cast<float>(static_cast<double>(corners[k]) - shift_[k % 3]);
        examine(begin + i, corners, record + normalSize + cornersSize, findings);
    }
    return true;
}

inline void BlocksAlg::examine(int triangle, float const* corners, char const* attributes,
                               BlockFindings& findings) const {
    findings.numAttributes += attributes[0] != 0 || attributes[1] != 0;
    float sum = 0.0f;
    for (int k = 0; k < 9; ++k)
        sum += corners[k] - corners[k];  // NaN where one is not finite
    if (sum == 0.0f)
        return;
    for (int k = 0; k < 3; ++k) {
        float const* const p = corners + 3 * k;
        if (std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]))
            continue;
        ++findings.numNonfinite;
        std::int64_t const byte = static_cast<std::int64_t>(stlHeaderSize + normalSize) +
                                  static_cast<std::int64_t>(stlTriangleSize) * triangle + 12 * k;
        addProblem(findings.problems, FacePlaces::Bytes, byte,
                   "vertex with a coordinate that is NaN or infinite");
    }
}

/// Whether what follows the triangles that the head tells may be more of them, and not padding: a place, and three corners there.
bool isTriangleAt(InputFile const& file, std::uint64_t triangle) {
    std::array<float, 9> corners{};
    std::uint64_t const begin = stlHeaderSize + stlTriangleSize * triangle + normalSize;
    return file.fetch(begin, cornersSize, reinterpret_cast<char*>(corners.data())) &&
           std::all_of(corners.begin(), corners.end(), [](float x) { return std::isfinite(x); }) &&
           !std::equal(corners.begin(), corners.begin() + 6, corners.begin() + 3);
}

/// How many triangles to read. What the head says holds where the file ends there; where it goes on for whole triangles these are
/// read as well, and where the count was never filled in, as programs leave it that cannot go back in their output, all are.
class TriangleCount {
public:
    TriangleCount(InputFile const& file, std::uint32_t declared);

    std::uint64_t toRead() const { return toRead_; }
    /// What of it is to be told: `ending` of the place where the triangles end.
    void report(ReadReport& report, ReadReport& ending) const;

private:
    void reportMissing(ReadReport& report, ReadReport& ending) const;
    void reportOthers(ReadReport& report) const;

    std::uint64_t const declared_;
    std::uint64_t const whole_;  // that the file has bytes for
    std::uint64_t const left_;   // bytes behind them
    bool const isUnfilled_;
    std::uint64_t toRead_;
};

TriangleCount::TriangleCount(InputFile const& file, std::uint32_t declared)
    : declared_(declared),
      whole_((file.size() - stlHeaderSize) / stlTriangleSize),
      left_((file.size() - stlHeaderSize) % stlTriangleSize),
      isUnfilled_(whole_ > 0 &&
                  (declared == 0 || declared == std::numeric_limits<std::uint32_t>::max())),
      toRead_(std::min(declared_, whole_)) {
    bool const goesOn = left_ == 0 && whole_ > declared_ && isTriangleAt(file, declared_);
    if (isUnfilled_ || goesOn)
        toRead_ = whole_;
}

void TriangleCount::report(ReadReport& report, ReadReport& ending) const {
    if (isUnfilled_)
        addProblem(report, FacePlaces::Bytes, stlNameSize,
                   "the head does not tell the count of triangles; all " + std::to_string(whole_) +
                       " are read");
    else if (declared_ > whole_)
        reportMissing(report, ending);
    else
        reportOthers(report);
    if (isUnfilled_ && left_ > 0)
        report.doubts.push_back("does not tell its count of triangles, and ends in " +
                                std::to_string(left_) +
                                " bytes that are none: it may have been cut short");
}

void TriangleCount::reportMissing(ReadReport& report, ReadReport& ending) const {
    constexpr std::uint64_t farOff = 16;
    std::string const told = std::to_string(declared_);
    addProblem(ending, FacePlaces::Bytes,
               static_cast<std::int64_t>(stlHeaderSize + stlTriangleSize * whole_),
               "the file ends after " + std::to_string(whole_) + " of " + told + " triangles" +
                   (left_ > 0 ? " and within the next one" : ""));
    report.cutShort.push_back(
        {"triangles", static_cast<std::int64_t>(whole_), static_cast<std::int64_t>(declared_)});
    if (declared_ / farOff > whole_)
        report.notes.push_back("has a head that tells of " + told +
                               " triangles, far more than its size does: it may be no STL file");
}

void TriangleCount::reportOthers(ReadReport& report) const {
    std::string const told = std::to_string(declared_);
    std::uint64_t const numBytes = stlTriangleSize * (whole_ - toRead_) + left_;
    if (toRead_ > declared_) {
        std::string const text = "tells of " + countInWords(std::int64_t(declared_), "triangle") +
                                 " in its head and goes on for " +
                                 std::to_string(toRead_ - declared_) + " more";
        addProblem(report, FacePlaces::Bytes, stlNameSize, "the file " + text + "; all are read");
        report.doubts.push_back(text + ", which were read as well");
    }
    if (numBytes > 0)
        report.notes.push_back("goes on for " + std::to_string(numBytes) +
                               " bytes behind the last of its " + told +
                               " triangles; they were not read");
}

/// The text that the head holds, if it is one.
std::string nameIn(std::string_view header) {
    std::string_view name = header.substr(0, header.find('\0'));
    std::size_t const first = std::min(name.find_first_not_of(' '), name.size());
    name = name.substr(first, name.find_last_not_of(' ') + 1 - first);
    bool const isText = std::all_of(name.begin(), name.end(), [](char c) {
        return static_cast<unsigned char>(c) >= ' ' && c != '\x7f';
    });
    return isText ? meshNameOf(name) : std::string();
}

void dropNonfinite(CompactMesh& mesh, ReadReport& report) {
    float const* const positions = mesh.getVerticesRaw();
    int* const triangles = mesh.getTrianglesRaw();
    int numKept = 0;
    ReadReport left;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        float const* const corners = positions + 9 * static_cast<std::ptrdiff_t>(t);
        if (std::all_of(corners, corners + 9, [](float x) { return std::isfinite(x); })) {
            std::copy_n(triangles + 3 * static_cast<std::ptrdiff_t>(t), 3,
                        triangles + 3 * static_cast<std::ptrdiff_t>(numKept));
            ++numKept;
        } else {
            ++report.dropped.nonfinite;
            addProblem(left, FacePlaces::Bytes,
                       static_cast<std::int64_t>(stlHeaderSize) +
                           static_cast<std::int64_t>(stlTriangleSize) * t,
                       "face at a vertex that is NaN or infinite; dropped");
        }
    }
    mesh.resizeTriangleArray(numKept);
    mergeProblems(report, left);
}

void reportFindings(std::vector<BlockFindings> const& findings, ReadReport& report) {
    std::int64_t numAttributes = 0;
    for (BlockFindings const& block : findings) {
        report.nonfiniteVertices += block.numNonfinite;
        numAttributes += block.numAttributes;
        mergeProblems(report, block.problems);
    }
    if (numAttributes > 0)
        report.ignoredProperties.push_back("attribute bytes of " + std::to_string(numAttributes) +
                                           " triangles, colours in some programs");
}

FileOutcome checkHeader(InputFile const& file, std::uint64_t count, ReadOptions const& options) {
    if (count > std::numeric_limits<int>::max() / 3)
        return FileOutcome::failed(Failure::Limit, file.name() +
                                                       ": more than 2^31 - 2 corners, what 32-bit "
                                                       "indices can name; split the file");
    double const bytes = options.weld ? stlWeldBytesPerTriangle : bytesPerTriangle;
    return requireMemoryFor(file, bytes * static_cast<double>(count), options);
}

}  // namespace

FileOutcome readBinaryStl(InputFile const& file, CompactMesh& mesh, ReadReport& report,
                          ReadOptions const& options) {
    std::array<char, stlHeaderSize> header{};
    if (file.size() < header.size())
        return FileOutcome::failed(Failure::Unsupported,
                                   file.name() + ": no STL file: it has no facets in text, and is "
                                                 "too short for a binary one");
    if (!file.fetch(0, header.size(), header.data()))
        return cannotBeRead(file);
    ReadReport ending;
    TriangleCount const triangles(file, stlTriangleCount(header.data()));
    triangles.report(report, ending);
    std::uint64_t const count = triangles.toRead();
    if (FileOutcome const fits = checkHeader(file, count, options); !fits)
        return fits;

    auto const numTriangles = static_cast<int>(count);
    mesh.resizeVertexArray(3 * numTriangles);
    mesh.resizeTriangleArray(numTriangles);
    report.shift = options.shift.value_or(Shift());
    BlocksAlg alg(file, mesh, report.shift);
    alg.setProgress(options.progress);
    koUtil::ThreadPool::get().run(alg);
    if (!alg.isReadable())
        return cannotBeRead(file);
    if (options.progress != nullptr && options.progress->cancelled())
        return FileOutcome::failed(Failure::Cancelled, "reading was cancelled");

    report.variant = "little endian";
    report.name = nameIn({header.data(), stlNameSize});
    report.vertices = 3 * numTriangles;
    report.faces = numTriangles;
    reportFindings(alg.findings(), report);
    if (options.dropNonfinite && report.nonfiniteVertices > 0)
        dropNonfinite(mesh, report);
    mergeProblems(report, ending);
    report.triangles = mesh.getNumTriangles();
    return FileOutcome::done();
}

}  // namespace trimora
