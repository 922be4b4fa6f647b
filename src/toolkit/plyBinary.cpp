// The body of a binary PLY file. Records of one size, and that of triangles is one nearly always, are read in blocks on the
// shared pool, straight into the mesh; what has lists of changing length is walked through, record by record.

#include "toolkit/detail/PlyReading.h"
#include "toolkit/detail/binaryNumbers.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/readLimits.h"

#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <functional>
#include <mutex>
#include <type_traits>

namespace trimora {

namespace {

using Failure = FileOutcome::Failure;

constexpr std::size_t blockSize = 1u << 18;  // stays in a core's own cache

/// Calls call(T()) with the type of that name.
template <class Call>
decltype(auto) withType(PlyType type, Call call) {
    switch (type) {
    case PlyType::Int8:
        return call(std::int8_t());
    case PlyType::UInt8:
        return call(std::uint8_t());
    case PlyType::Int16:
        return call(std::int16_t());
    case PlyType::UInt16:
        return call(std::uint16_t());
    case PlyType::Int32:
        return call(std::int32_t());
    case PlyType::UInt32:
        return call(std::uint32_t());
    case PlyType::Int64:
        return call(std::int64_t());
    case PlyType::UInt64:
        return call(std::uint64_t());
    case PlyType::Float32:
        return call(float());
    case PlyType::Float64:
        break;
    }
    return call(double());
}

/// Whether narrowing changes the number.
template <class T>
bool isRounded(T value, float narrow) {
    using Wide = std::conditional_t<std::is_integral_v<T> && sizeof(T) == 8, long double, double>;
    return static_cast<Wide>(narrow) != static_cast<Wide>(value) && value == value;
}

/// Values of one column.
struct ColumnSlice {
    PlyColumn const& column;
    char const* source;  // of the first record
    std::size_t recordSize;
    std::size_t count;
    float* target;
};

/// Returns how many were rounded.
template <class T, bool Swaps>
std::int64_t convert(ColumnSlice const& slice) {
    std::int64_t numRounded = 0;
    PlyColumn const& column = slice.column;
    char const* source = slice.source;
    float* target = slice.target;
    auto const forAll = [&](auto work) {
        for (std::size_t i = 0; i < slice.count; ++i) {
            *target = work(loadNumber<T, Swaps>(source));
            source += slice.recordSize;
            target += column.stride;
        }
    };
    if (column.full != 1.0f) {
        forAll([full = column.full](T value) { return static_cast<float>(value) / full; });
    } else if (std::is_same_v<T, float> && column.shift == 0.0) {
        forAll([](T value) { return static_cast<float>(value); });
    } else {
        forAll([&](T value) {
            numRounded += isRounded(value, static_cast<float>(value));
            return column.kind == PlyColumn::Kind::Coordinate
                       ? static_cast<float>(static_cast<double>(value) - column.shift)
                       : static_cast<float>(value);
        });
    }
    return numRounded;
}

std::int64_t convert(ColumnSlice const& slice, bool swaps) {
    return withType(slice.column.type, [&](auto type) {
        using T = decltype(type);
        return swaps ? convert<T, true>(slice) : convert<T, false>(slice);
    });
}

/// A scalar as an index or a count; what no int64 holds is -1.
std::int64_t loadInteger(PlyType type, char const* bytes, bool swaps) {
    return withType(type, [&](auto zero) -> std::int64_t {
        using T = decltype(zero);
        T const value = swaps ? loadNumber<T, true>(bytes) : loadNumber<T, false>(bytes);
        if constexpr (std::is_floating_point_v<T>) {
            constexpr T limit = T(1ll << 62);
            return value >= T(0) && value < limit &&
                           static_cast<T>(static_cast<std::int64_t>(value)) == value
                       ? static_cast<std::int64_t>(value)
                       : -1;
        } else {
            return static_cast<std::int64_t>(value);
        }
    });
}

float loadFloat(PlyType type, char const* bytes, bool swaps) {
    return withType(type, [&](auto zero) {
        using T = decltype(zero);
        return static_cast<float>(swaps ? loadNumber<T, true>(bytes) : loadNumber<T, false>(bytes));
    });
}

/// Triangles one after the other, in records with whatever is in them besides.
struct TriangleRecords {
    char const* source;
    std::size_t size;  // of a record
    std::size_t count;
    std::size_t countAt;  // where in a record: the count of the list
    PlyType countType;
    std::size_t cornersAt;
    int* target;
};

/// False when one is no triangle. `highest` corner: what is below 0 counts as higher than all.
template <class T, bool Swaps>
bool copyTriangles(TriangleRecords const& records, unsigned& highest) {
    char const* record = records.source;
    int* corner = records.target;
    bool const isByte = sizeOf(records.countType) == 1;
    for (std::size_t i = 0; i < records.count; ++i, record += records.size) {
        char const* const count = record + records.countAt;
        if (isByte ? *count != 3 : loadInteger(records.countType, count, Swaps) != 3)
            return false;
        for (std::size_t k = 0; k < 3; ++k) {
            *corner =
                static_cast<int>(loadNumber<T, Swaps>(record + records.cornersAt + k * sizeof(T)));
            highest = std::max(highest, static_cast<unsigned>(*corner++));
        }
    }
    return true;
}

bool areFinite(float const* values, std::size_t count) {
    constexpr std::uint32_t exponent = 0x7f800000u;
    std::uint32_t bad = 0;  // no branch: this runs on several values at once
    for (std::size_t i = 0; i < count; ++i)
        bad |= static_cast<std::uint32_t>((std::bit_cast<std::uint32_t>(values[i]) & exponent) ==
                                          exponent);
    return bad == 0;
}

/// Does work(first, count) for all records, in blocks, on the shared pool; `work` fetches them and says whether it could.
class ForBlocks : public koUtil::ThreadedChunkAlg {
public:
    using Work = std::function<bool(std::int64_t first, std::int64_t count)>;
    ForBlocks(std::int64_t numRecords, std::size_t recordSize, Work work)
        : numRecords_(numRecords),
          perBlock_(std::max<std::int64_t>(1, static_cast<std::int64_t>(blockSize / recordSize))),
          work_(std::move(work)) {}

    /// False when something could not be read, or the progress was cancelled.
    bool run(koUtil::Progress* progress) {
        setProgress(progress);
        (numRecords_ > perBlock_ ? koUtil::ThreadPool::get()
                                 : koUtil::ThreadPool::getSingleThreadedPool())
            .run(*this);
        return isGood_;
    }
    void executeChunk(int chunkIndex, int threadIndex) override {
        std::int64_t const numBlocks = (numRecords_ + perBlock_ - 1) / perBlock_;
        std::int64_t const end = numBlocks * (chunkIndex + 1) / numChunks;
        for (std::int64_t i = numBlocks * chunkIndex / numChunks; i < end; ++i) {
            if (!isGood_ || cancelled(threadIndex))
                return;
            std::int64_t const first = i * perBlock_;
            if (!work_(first, std::min(perBlock_, numRecords_ - first)))
                isGood_ = false;
        }
        updateProgress(threadIndex, static_cast<double>(chunkIndex + 1) / numChunks);
    }

private:
    std::int64_t const numRecords_;
    std::int64_t const perBlock_;
    Work const work_;
    std::atomic<bool> isGood_ = true;
};

/// A thread's room for a block.
char* blockBuffer(std::size_t size) {
    thread_local std::vector<char> buffer;
    if (buffer.size() < size)
        buffer.resize(std::max(size, blockSize));
    return buffer.data();
}

/// Walks through a file by scalars.
class ByteWalk {
public:
    ByteWalk(InputFile const& file, std::uint64_t begin) : file_(file), position_(begin) {}

    std::uint64_t position() const { return position_; }
    void beginRecord() { recordBegin_ = position_; }
    std::uint64_t recordBegin() const { return recordBegin_; }
    std::uint64_t left() const { return file_.size() - position_; }
    bool failed() const { return failed_; }
    /// Byte of a count that is none, which ended the walk; -1: there was none.
    std::int64_t badCountAt() const { return badCountAt_; }
    void endAtBadCount(std::uint64_t place) { badCountAt_ = static_cast<std::int64_t>(place); }

    /// The next bytes, a scalar's at most; null at the end of the file or when it cannot be read.
    char const* take(std::size_t count) {
        if (position_ < begin_ || position_ + count > begin_ + buffer_.size()) {
            if (count > left() || !load())
                return nullptr;
        }
        char const* const bytes = buffer_.data() + (position_ - begin_);
        position_ += count;
        return bytes;
    }
    bool skip(std::uint64_t count) {
        if (count > left())
            return false;
        position_ += count;
        return true;
    }

private:
    bool load() {
        begin_ = position_;
        buffer_.resize(static_cast<std::size_t>(std::min<std::uint64_t>(blockSize, left())));
        failed_ = failed_ || !file_.fetch(begin_, buffer_.size(), buffer_.data());
        return !failed_;
    }

    InputFile const& file_;
    std::uint64_t position_;
    std::uint64_t recordBegin_ = 0;
    std::uint64_t begin_ = 0;
    std::vector<char> buffer_;
    bool failed_ = false;
    std::int64_t badCountAt_ = -1;
};

class BinaryBody {
public:
    explicit BinaryBody(PlyReading& reading) : reading_(reading) {}

    FileOutcome run();

private:
    FileOutcome read(PlyElement const& element);
    std::int64_t numWhole(PlyElement const& element) const;
    FileOutcome readVertices(PlyElement const& element);
    FileOutcome readVertexRecords(PlyElement const& element, std::int64_t whole);
    FileOutcome walkVertices(PlyElement const& element);
    FileOutcome readFaces(PlyElement const& element);
    bool readTriangles(PlyElement const& element);
    FileOutcome walkFaces(PlyElement const& element, std::uint64_t begin);
    std::int64_t takeCount(ByteWalk& walk, PlyProperty const& list,
                           std::int64_t longest = std::numeric_limits<std::int64_t>::max()) const;
    bool takeCorners(ByteWalk& walk, PlyProperty const& list, std::int64_t longest,
                     std::vector<int>& corners) const;
    std::int64_t longestFace() const;
    bool takeFloats(ByteWalk& walk, PlyProperty const& list, std::vector<float>& values) const;
    bool skipProperty(ByteWalk& walk, PlyProperty const& property) const;
    FileOutcome skipElement(PlyElement const& element);
    void reportNonfinite();
    FileOutcome endOfWalk(ByteWalk const& walk, PlyElement const& element, std::int64_t whole);
    bool isCancelled() const {
        return reading_.options.progress != nullptr && reading_.options.progress->cancelled();
    }
    std::uint64_t left() const { return reading_.file.size() - position_; }

    PlyReading& reading_;
    bool const swaps_ = swapsBytes(reading_.header.encoding == PlyHeader::Encoding::BigEndian);
    std::uint64_t position_ = reading_.header.bodyBegin;
    PlyElement const* vertices_ = nullptr;
    std::uint64_t verticesBegin_ = 0;
    PlyElement const* trianglesOf_ = nullptr;  // read as triangles
    std::uint64_t trianglesBegin_ = 0;
    unsigned highestCorner_ = 0;  // of them; what is below 0 counts as higher than all
    bool hasNonfinite_ = false;
};

FileOutcome BinaryBody::run() {
    FileOutcome outcome;
    for (PlyElement const& element : reading_.header.elements) {
        outcome = read(element);
        if (!outcome)
            return outcome;
        if (isCancelled())
            return FileOutcome::failed(Failure::Cancelled, "reading was cancelled");
    }
    if (left() > 0)
        reading_.report.notes.push_back("goes on for " + std::to_string(left()) +
                                        " bytes behind the last of its elements; they were not "
                                        "read");
    reportNonfinite();

    // Triangles that were read straight into the mesh stand where all their corners do; else they are faces like others.
    if (trianglesOf_ == nullptr)
        return outcome;
    auto const numVertices = static_cast<unsigned>(reading_.mesh.getNumVertices());
    bool const drops = reading_.options.dropNonfinite && reading_.report.nonfiniteVertices > 0;
    if (highestCorner_ < numVertices && !drops) {
        reading_.hasTriangles = true;
        reading_.report.faces = reading_.report.triangles = reading_.mesh.getNumTriangles();
        return outcome;
    }
    reading_.mesh.resizeTriangleArray(0);
    return walkFaces(*trianglesOf_, trianglesBegin_);
}

FileOutcome BinaryBody::read(PlyElement const& element) {
    switch (roleOf(element)) {
    case PlyRole::Vertices:
        return readVertices(element);
    case PlyRole::Faces:
    case PlyRole::Strips:
        if (findIndexList(element) != PlyElement::none)
            return readFaces(element);
        break;
    case PlyRole::Other:
        break;
    }
    return skipElement(element);
}

/// Records that the file has bytes for, lists taken as empty.
std::int64_t BinaryBody::numWhole(PlyElement const& element) const {
    std::size_t const size = element.leastSize();
    return size == 0 ? element.count
                     : static_cast<std::int64_t>(std::min<std::uint64_t>(
                           static_cast<std::uint64_t>(element.count), left() / size));
}

FileOutcome BinaryBody::readVertices(PlyElement const& element) {
    std::int64_t const whole = numWhole(element);
    vertices_ = &element;
    verticesBegin_ = position_;
    if (FileOutcome const made = allocateVertices(reading_, whole); !made)
        return made;
    if (element.hasLists())
        return walkVertices(element);
    if (whole < element.count)
        reportCutOff(reading_, element, whole, static_cast<std::int64_t>(reading_.file.size()));
    FileOutcome const outcome = readVertexRecords(element, whole);
    position_ = whole < element.count
                    ? reading_.file.size()
                    : position_ + static_cast<std::uint64_t>(whole) * element.leastSize();
    return outcome;
}

FileOutcome BinaryBody::readVertexRecords(PlyElement const& element, std::int64_t whole) {
    std::size_t const recordSize = element.leastSize();
    std::vector<PlyColumn>& columns = reading_.columns.columns();
    std::vector<std::size_t> places;
    std::size_t place = 0;
    for (PlyProperty const& property : element.properties) {
        places.push_back(place);
        place += sizeOf(property.type);
    }
    float* const positions = reading_.mesh.getVerticesRaw();
    bool isPlain = !swaps_ && recordSize == 3 * sizeof(float) && columns.size() == 3;
    for (std::size_t i = 0; i < columns.size(); ++i)
        isPlain = isPlain && columns[i].type == PlyType::Float32 && columns[i].shift == 0.0 &&
                  columns[i].property == i;

    std::mutex mutex;
    std::atomic<bool> hasNonfinite = false;
    auto const work = [&](std::int64_t first, std::int64_t count) {
        std::size_t const size = static_cast<std::size_t>(count) * recordSize;
        std::uint64_t const begin = position_ + static_cast<std::uint64_t>(first) * recordSize;
        char* const block =
            isPlain ? reinterpret_cast<char*>(positions + 3 * first) : blockBuffer(size);
        if (!reading_.file.fetch(begin, size, block))
            return false;
        for (PlyColumn& column : columns) {
            if (isPlain)
                break;
            std::int64_t const numRounded =
                convert({column, block + places[column.property], recordSize,
                         static_cast<std::size_t>(count),
                         column.target + static_cast<std::size_t>(first) * column.stride},
                        swaps_);
            if (numRounded > 0) {
                std::lock_guard const lock(mutex);
                column.numRounded += numRounded;
            }
        }
        if (!areFinite(positions + 3 * first, 3 * static_cast<std::size_t>(count)))
            hasNonfinite = true;
        return true;
    };
    bool const isRead =
        whole == 0 || ForBlocks(whole, recordSize, work).run(reading_.options.progress);
    hasNonfinite_ = hasNonfinite;
    return isRead ? FileOutcome::done() : cannotBeRead(reading_.file);
}

FileOutcome BinaryBody::walkVertices(PlyElement const& element) {
    std::vector<PlyColumn>& columns = reading_.columns.columns();
    std::vector<PlyColumn*> columnOf(element.properties.size(), nullptr);
    for (PlyColumn& column : columns)
        columnOf[column.property] = &column;

    ByteWalk walk(reading_.file, position_);
    std::int64_t const limit = reading_.mesh.getNumVertices();
    std::int64_t whole = 0;
    for (bool isWhole = true; whole < limit && isWhole; whole += isWhole) {
        if (whole % 4096 == 0 && isCancelled())
            break;
        walk.beginRecord();
        for (std::size_t i = 0; i < element.properties.size() && isWhole; ++i) {
            PlyProperty const& property = element.properties[i];
            if (columnOf[i] == nullptr) {
                isWhole = skipProperty(walk, property);
                continue;
            }
            PlyColumn& column = *columnOf[i];
            char const* const bytes = walk.take(sizeOf(property.type));
            isWhole = bytes != nullptr;
            if (isWhole)
                column.numRounded +=
                    convert({column, bytes, 0, 1,
                             column.target + static_cast<std::size_t>(whole) * column.stride},
                            swaps_);
        }
    }
    reading_.columns.shrink(reading_.mesh, static_cast<int>(whole), reading_.report);
    hasNonfinite_ = !areFinite(reading_.mesh.getVerticesRaw(), 3 * static_cast<std::size_t>(whole));
    reading_.report.vertices = whole;
    return endOfWalk(walk, element, whole);
}

FileOutcome BinaryBody::readFaces(PlyElement const& element) {
    std::uint64_t const begin = position_;
    std::size_t const list = findIndexList(element);
    PlyProperty const& indices = element.properties[list];
    bool const isAlone =
        std::count_if(reading_.header.elements.begin(), reading_.header.elements.end(),
                      [](PlyElement const& e) {
                          return roleOf(e) == PlyRole::Faces || roleOf(e) == PlyRole::Strips;
                      }) == 1;
    std::uint64_t const size = element.leastSize() + 3 * sizeOf(indices.type);
    bool const isWhole =
        element.count > 0 && static_cast<std::uint64_t>(element.count) <= left() / size;
    bool const hasOtherLists = std::count_if(element.properties.begin(), element.properties.end(),
                                             [](PlyProperty const& p) { return p.isList; }) > 1;
    bool const mayBeTriangles = isAlone && roleOf(element) == PlyRole::Faces && !hasOtherLists &&
                                !isFloating(indices.type) && sizeOf(indices.type) < 8 && isWhole &&
                                element.count <= std::numeric_limits<int>::max();
    if (mayBeTriangles && readTriangles(element)) {
        trianglesOf_ = &element;
        trianglesBegin_ = begin;
        return FileOutcome::done();
    }
    return walkFaces(element, begin);
}

/// Straight into the mesh; false, and nothing there, unless every face is a triangle.
bool BinaryBody::readTriangles(PlyElement const& element) {
    std::size_t const list = findIndexList(element);
    PlyProperty const& indices = element.properties[list];
    std::size_t const recordSize = element.leastSize() + 3 * sizeOf(indices.type);
    std::size_t countAt = 0;
    for (std::size_t i = 0; i < list; ++i)
        countAt += sizeOf(element.properties[i].type);
    std::size_t const cornersAt = countAt + sizeOf(indices.countType);
    if (!requireMemoryFor(reading_.file, 12.0 * static_cast<double>(element.count),
                          reading_.options))
        return false;

    reading_.mesh.resizeTriangleArray(static_cast<int>(element.count));
    int* const triangles = reading_.mesh.getTrianglesRaw();
    highestCorner_ = 0;
    std::mutex mutex;
    auto const work = [&](std::int64_t first, std::int64_t count) {
        std::size_t const size = static_cast<std::size_t>(count) * recordSize;
        char* const block = blockBuffer(size);
        if (!reading_.file.fetch(position_ + static_cast<std::uint64_t>(first) * recordSize, size,
                                 block))
            return false;
        TriangleRecords const records{block,
                                      recordSize,
                                      static_cast<std::size_t>(count),
                                      countAt,
                                      indices.countType,
                                      cornersAt,
                                      triangles + 3 * first};
        unsigned highest = 0;
        bool const areTriangles = withType(indices.type, [&](auto type) {
            using T = decltype(type);
            return swaps_ ? copyTriangles<T, true>(records, highest)
                          : copyTriangles<T, false>(records, highest);
        });
        std::lock_guard const lock(mutex);
        highestCorner_ = std::max(highestCorner_, highest);
        return areTriangles;
    };
    if (!ForBlocks(element.count, recordSize, work).run(reading_.options.progress)) {
        reading_.mesh.resizeTriangleArray(0);
        return false;
    }
    position_ += static_cast<std::uint64_t>(element.count) * recordSize;
    return true;
}

FileOutcome BinaryBody::walkFaces(PlyElement const& element, std::uint64_t begin) {
    bool const isStrip = roleOf(element) == PlyRole::Strips;
    std::size_t const list = findIndexList(element);
    // While their arrays grow: an index and a third of a face's place, or in strips a whole triangle.
    double const bytesPerIndex = 2.0 * (isStrip ? 20.0 : sizeof(int) + 8.0 / 3.0);
    double const indexSize = static_cast<double>(sizeOf(element.properties[list].type));
    FileOutcome const fits = requireMemoryFor(reading_.file,
                                              bytesPerIndex / indexSize *
                                                  static_cast<double>(reading_.file.size() - begin),
                                              reading_.options);
    if (!fits)
        return fits;

    std::size_t const textureList = findTextureList(reading_, element);
    std::int64_t const longest = isStrip ? std::numeric_limits<std::int64_t>::max() : longestFace();
    FaceList& faces = reading_.faces.emplace_back();
    ByteWalk walk(reading_.file, begin);
    std::vector<float> textures;
    std::int64_t whole = 0;
    for (bool isWhole = true; whole < element.count && isWhole; whole += isWhole) {
        if (whole % 4096 == 0 && isCancelled())
            break;
        walk.beginRecord();
        auto const place = static_cast<std::int64_t>(walk.recordBegin());
        std::size_t const firstCorner = faces.corners.size();
        std::vector<int> strip;
        textures.clear();
        for (std::size_t i = 0; i < element.properties.size() && isWhole; ++i) {
            PlyProperty const& property = element.properties[i];
            isWhole = i == list
                          ? takeCorners(walk, property, longest, isStrip ? strip : faces.corners)
                      : i == textureList ? takeFloats(walk, property, textures)
                                         : skipProperty(walk, property);
        }
        std::size_t const count = faces.corners.size() - firstCorner;
        if (isStrip) {
            addStrip(strip, place, faces);
        } else if (isWhole && count >= 3) {
            faces.endFace(place, count);
            if (textureList != PlyElement::none)
                addTextures(faces, firstCorner, true, textures);
        } else {
            faces.cutCorners(firstCorner);
            if (isWhole)
                faces.drop(FacePlaces::Bytes, place, faces.left.dropped.tooFewCorners,
                           "face with fewer than three corners; dropped");
        }
    }
    return endOfWalk(walk, element, whole);
}

/// Of a list; -1 at the end of the file, or where it is none: no number of items at all, or one that both what is left of the file and
/// a list of that meaning have no use for.
std::int64_t BinaryBody::takeCount(ByteWalk& walk, PlyProperty const& list,
                                   std::int64_t longest) const {
    std::uint64_t const place = walk.position();
    char const* const bytes = walk.take(sizeOf(list.countType));
    if (bytes == nullptr)
        return -1;
    std::int64_t const count = loadInteger(list.countType, bytes, swaps_);
    bool const isWithin =
        count >= 0 && static_cast<std::uint64_t>(count) <= walk.left() / sizeOf(list.type);
    if (isWithin || (count >= 0 && count <= longest))
        return count;
    walk.endAtBadCount(place);
    return -1;
}

/// Corners of a face, each at a vertex of its own.
std::int64_t BinaryBody::longestFace() const {
    for (PlyElement const& element : reading_.header.elements)
        if (roleOf(element) == PlyRole::Vertices)
            return element.count;
    return 0;
}

/// Of a strip an index below 0 stays -1.
bool BinaryBody::takeCorners(ByteWalk& walk, PlyProperty const& list, std::int64_t longest,
                             std::vector<int>& corners) const {
    std::int64_t const count = takeCount(walk, list, longest);
    std::size_t const size = sizeOf(list.type);
    // What is longer than the file ends it.
    std::uint64_t const whole =
        count < 0 ? 0 : std::min(static_cast<std::uint64_t>(count), walk.left() / size);
    for (std::uint64_t i = 0; i < whole; ++i) {
        char const* const bytes = walk.take(size);
        if (bytes == nullptr)
            return false;
        std::int64_t const index = loadInteger(list.type, bytes, swaps_);
        corners.push_back(index < 0 ? -1 : asCorner(index));
    }
    return count >= 0 && whole == static_cast<std::uint64_t>(count);
}

bool BinaryBody::takeFloats(ByteWalk& walk, PlyProperty const& list,
                            std::vector<float>& values) const {
    std::int64_t const count = takeCount(walk, list);
    std::size_t const size = sizeOf(list.type);
    if (count < 0 || static_cast<std::uint64_t>(count) > walk.left() / size)
        return false;
    for (std::int64_t i = 0; i < count; ++i) {
        char const* const bytes = walk.take(size);
        if (bytes == nullptr)
            return false;
        values.push_back(loadFloat(list.type, bytes, swaps_));
    }
    return true;
}

bool BinaryBody::skipProperty(ByteWalk& walk, PlyProperty const& property) const {
    if (!property.isList)
        return walk.skip(sizeOf(property.type));
    std::int64_t const count = takeCount(walk, property);
    std::size_t const size = sizeOf(property.type);
    return count >= 0 && static_cast<std::uint64_t>(count) <= walk.left() / size &&
           walk.skip(static_cast<std::uint64_t>(count) * size);
}

FileOutcome BinaryBody::skipElement(PlyElement const& element) {
    if (!element.hasLists()) {
        std::int64_t const whole = numWhole(element);
        addOtherElements(reading_, element, whole);
        if (whole < element.count)
            reportCutOff(reading_, element, whole, static_cast<std::int64_t>(reading_.file.size()));
        position_ = whole < element.count
                        ? reading_.file.size()
                        : position_ + static_cast<std::uint64_t>(whole) * element.leastSize();
        return FileOutcome::done();
    }
    ByteWalk walk(reading_.file, position_);
    std::int64_t whole = 0;
    for (bool isWhole = true; whole < element.count && isWhole; whole += isWhole) {
        if (whole % 4096 == 0 && isCancelled())
            break;
        walk.beginRecord();
        for (std::size_t i = 0; i < element.properties.size() && isWhole; ++i)
            isWhole = skipProperty(walk, element.properties[i]);
    }
    addOtherElements(reading_, element, whole);
    return endOfWalk(walk, element, whole);
}

/// What comes behind a record that is not whole cannot be made out.
FileOutcome BinaryBody::endOfWalk(ByteWalk const& walk, PlyElement const& element,
                                  std::int64_t whole) {
    if (walk.failed())
        return cannotBeRead(reading_.file);
    if (whole < element.count && !isCancelled()) {
        if (walk.badCountAt() >= 0)
            reportBadCount(reading_, element, whole, walk.badCountAt());
        else
            reportCutOff(reading_, element, whole, static_cast<std::int64_t>(walk.recordBegin()));
    }
    position_ = whole < element.count ? reading_.file.size() : walk.position();
    return FileOutcome::done();
}

void BinaryBody::reportNonfinite() {
    if (!hasNonfinite_)
        return;
    float const* position = reading_.mesh.getVerticesRaw();
    bool const isFixed = vertices_ != nullptr && !vertices_->hasLists();
    for (int v = 0; v < reading_.mesh.getNumVertices(); ++v, position += 3) {
        if (std::isfinite(position[0]) && std::isfinite(position[1]) && std::isfinite(position[2]))
            continue;
        ++reading_.report.nonfiniteVertices;
        std::uint64_t const place =
            verticesBegin_ + (isFixed ? static_cast<std::uint64_t>(v) * vertices_->leastSize() : 0);
        addProblem(reading_.report, FacePlaces::Bytes, static_cast<std::int64_t>(place),
                   "vertex with a coordinate that is NaN or infinite");
    }
}

}  // namespace

FileOutcome readPlyBinary(PlyReading& reading) {
    return BinaryBody(reading).run();
}

}  // namespace trimora
