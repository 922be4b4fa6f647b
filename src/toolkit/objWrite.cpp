// The OBJ writer. The lines are cut into blocks, which the shared pool turns into text, some dozens at a time, and the
// calling thread writes in order. Numbers are the shortest decimals that read back to the same floats.

#include "toolkit/detail/files.h"
#include "toolkit/detail/objFormat.h"
#include "toolkit/detail/textNumbers.h"
#include "toolkit/writeMesh.h"

#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>
#include <vector>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using Failure = FileOutcome::Failure;

constexpr int itemsPerBlock = 8192;
constexpr std::size_t blocksPerRound = 64;

/// How a face names a corner: v, v/t, v//n or v/t/n, all with the vertex's own number.
enum class CornerForm { Vertex, Texture, Normal, TextureAndNormal };
constexpr std::size_t maxCornerSize = 1 + 3 * (maxIntSize + 1);

enum class Section { Vertices, TextureCoordinates, Normals, Triangles, Polygons };

/// Items [begin, end) of a section.
struct Block {
    Section section;
    int begin;
    int end;
};

/// Text of one block; its storage is used again.
class BlockText {
public:
    std::string_view view() const { return {bytes_.get(), size_}; }
    /// Room for `size` bytes, whose contents are open.
    char* room(std::size_t size) {
        if (size > capacity_) {
            bytes_ = std::make_unique_for_overwrite<char[]>(size);
            capacity_ = size;
        }
        return bytes_.get();
    }
    void setEnd(char const* end) { size_ = static_cast<std::size_t>(end - bytes_.get()); }

private:
    std::unique_ptr<char[]> bytes_;
    std::size_t capacity_ = 0;
    std::size_t size_ = 0;
};

class ObjWriter : public koUtil::ThreadedChunkAlg {
public:
    ObjWriter(OutputFile& file, CompactMesh const& mesh, WriteOptions const& options);

    FileOutcome run();
    void executeChunk(int chunkIndex, int threadIndex) override;

private:
    void addBlocks(Section section, int count);
    FileOutcome writeComment();
    void format(Block const& block, BlockText& text) const;
    void formatValues(Block const& block, std::string_view word, float const* values, int dimension,
                      BlockText& text) const;
    void formatTriangles(Block const& block, BlockText& text) const;
    void formatPolygons(Block const& block, BlockText& text) const;
    char* printCorner(char* p, int vertex) const;

    OutputFile& file_;
    CompactMesh const& mesh_;
    WriteOptions const& options_;
    float const* const uvs_;      // null: not written
    float const* const normals_;  // null: not written
    int const* polygonOffsets_ = nullptr;
    CornerForm const cornerForm_;

    std::vector<Block> blocks_;
    std::vector<BlockText> texts_;  // of the present round; each written by one thread
    std::size_t firstOfRound_ = 0;
    std::size_t numOfRound_ = 0;
};

char* copyTo(char* p, std::string_view text) {
    return std::copy(text.begin(), text.end(), p);
}

ObjWriter::ObjWriter(OutputFile& file, CompactMesh const& mesh, WriteOptions const& options)
    : file_(file),
      mesh_(mesh),
      options_(options),
      uvs_(options.textureCoordinates ? mesh.getUVsRaw() : nullptr),
      normals_(options.normals && !mesh.getNormalsComputed() ? mesh.getNormalsRaw() : nullptr),
      cornerForm_(uvs_ != nullptr
                      ? (normals_ != nullptr ? CornerForm::TextureAndNormal : CornerForm::Texture)
                      : (normals_ != nullptr ? CornerForm::Normal : CornerForm::Vertex)) {
    addBlocks(Section::Vertices, mesh.getNumVertices());
    addBlocks(Section::TextureCoordinates, uvs_ != nullptr ? mesh.getNumVertices() : 0);
    addBlocks(Section::Normals, normals_ != nullptr ? mesh.getNumVertices() : 0);
    addBlocks(Section::Triangles, mesh.getNumTriangles());
    if (mesh.getNumTriangles() == 0 && mesh.getNumPolys() > 0) {
        polygonOffsets_ = mesh.polys.getOffsets();  // filled here, before threads ask for it
        addBlocks(Section::Polygons, mesh.getNumPolys());
    }
}

void ObjWriter::addBlocks(Section section, int count) {
    for (int begin = 0; begin < count; begin += std::min(itemsPerBlock, count - begin))
        blocks_.push_back({section, begin, begin + std::min(itemsPerBlock, count - begin)});
}

FileOutcome ObjWriter::run() {
    koUtil::Progress* const progress = options_.progress;
    FileOutcome outcome = writeComment();
    texts_.resize(std::min(blocks_.size(), blocksPerRound));
    for (firstOfRound_ = 0; firstOfRound_ < blocks_.size() && outcome;
         firstOfRound_ += numOfRound_) {
        if (progress != nullptr && progress->cancelled())
            return FileOutcome::failed(Failure::Cancelled, "writing was cancelled");
        numOfRound_ = std::min(blocksPerRound, blocks_.size() - firstOfRound_);
        (numOfRound_ > 1 ? koUtil::ThreadPool::get() : koUtil::ThreadPool::getSingleThreadedPool())
            .run(*this);
        for (std::size_t i = 0; i < numOfRound_ && outcome; ++i)
            outcome = file_.write(texts_[i].view());
        if (progress != nullptr)
            progress->set(static_cast<double>(firstOfRound_ + numOfRound_) /
                          static_cast<double>(blocks_.size()));
    }
    return outcome;
}

void ObjWriter::executeChunk(int chunkIndex, int /*threadIndex*/) {
    int const end = getBeginIndex(chunkIndex + 1, numChunks, static_cast<int>(numOfRound_));
    for (int i = getBeginIndex(chunkIndex, numChunks, static_cast<int>(numOfRound_)); i < end; ++i)
        format(blocks_[firstOfRound_ + static_cast<std::size_t>(i)],
               texts_[static_cast<std::size_t>(i)]);
}

FileOutcome ObjWriter::writeComment() {
    std::string text;
    for (std::size_t begin = 0; begin < options_.comment.size();) {
        std::size_t const end =
            std::min(options_.comment.find_first_of("\r\n", begin), options_.comment.size());
        text += "# " + options_.comment.substr(begin, end - begin) + "\n";
        begin = end + 1;
    }
    return file_.write(text);
}

void ObjWriter::format(Block const& block, BlockText& text) const {
    switch (block.section) {
    case Section::Vertices:
        return formatValues(block, "v", mesh_.getVerticesRaw(), 3, text);
    case Section::TextureCoordinates:
        return formatValues(block, "vt", uvs_, 2, text);
    case Section::Normals:
        return formatValues(block, "vn", normals_, 3, text);
    case Section::Triangles:
        return formatTriangles(block, text);
    case Section::Polygons:
        return formatPolygons(block, text);
    }
}

void ObjWriter::formatValues(Block const& block, std::string_view word, float const* values,
                             int dimension, BlockText& text) const {
    std::size_t const lineSize =
        word.size() + static_cast<std::size_t>(dimension) * (maxFloatSize + 1) + 1;
    char* p = text.room(lineSize * static_cast<std::size_t>(block.end - block.begin));
    float const* value = values + static_cast<std::ptrdiff_t>(block.begin) * dimension;
    for (int i = block.begin; i < block.end; ++i) {
        p = copyTo(p, word);
        for (int k = 0; k < dimension; ++k) {
            *p++ = ' ';
            p = printFloat(p, *value++);
        }
        *p++ = '\n';
    }
    text.setEnd(p);
}

void ObjWriter::formatTriangles(Block const& block, BlockText& text) const {
    char* p =
        text.room((2 + 3 * maxCornerSize) * static_cast<std::size_t>(block.end - block.begin));
    int const* corner = mesh_.getTrianglesRaw() + 3 * static_cast<std::ptrdiff_t>(block.begin);
    for (int i = block.begin; i < block.end; ++i) {
        *p++ = 'f';
        for (int k = 0; k < 3; ++k)
            p = printCorner(p, *corner++);
        *p++ = '\n';
    }
    text.setEnd(p);
}

void ObjWriter::formatPolygons(Block const& block, BlockText& text) const {
    int const* const lengths = mesh_.polys.lengths.data();
    std::size_t size = 0;
    for (int i = block.begin; i < block.end; ++i)
        size += 2 + static_cast<std::size_t>(lengths[i]) * maxCornerSize;
    char* p = text.room(size);
    int const* corner = mesh_.polys.points.data() + polygonOffsets_[block.begin];
    for (int i = block.begin; i < block.end; ++i) {
        *p++ = 'f';
        for (int k = 0; k < lengths[i]; ++k)
            p = printCorner(p, *corner++);
        *p++ = '\n';
    }
    text.setEnd(p);
}

char* ObjWriter::printCorner(char* p, int vertex) const {
    *p++ = ' ';
    char const* const number = p;
    p = printInt(p, vertex + 1);
    if (cornerForm_ == CornerForm::Vertex)
        return p;
    std::string_view const again(number, static_cast<std::size_t>(p - number));
    *p++ = '/';
    if (cornerForm_ != CornerForm::Normal)
        p = copyTo(p, again);
    if (cornerForm_ != CornerForm::Texture) {
        *p++ = '/';
        p = copyTo(p, again);
    }
    return p;
}

}  // namespace

FileOutcome writeObj(OutputFile& file, CompactMesh const& mesh, WriteOptions const& options) {
    return ObjWriter(file, mesh, options).run();
}

}  // namespace trimora
