#include "toolkit/detail/blockOutput.h"

#include "toolkit/detail/files.h"

#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"

#include <algorithm>
#include <memory>

namespace trimora {

namespace {

constexpr int itemsPerBlock = 8192;
constexpr std::size_t blocksPerRound = 64;

/// Items [begin, end) of a section.
struct Block {
    OutputSection const* section;
    int begin;
    int end;
};

/// Bytes of one block; their storage is used again.
class BlockBytes {
public:
    std::string_view view() const { return {bytes_.get(), size_}; }
    void fill(Block const& block) {
        std::size_t const room = block.section->room(block.begin, block.end);
        if (room > capacity_) {
            bytes_ = std::make_unique_for_overwrite<char[]>(room);
            capacity_ = room;
        }
        char const* const end = block.section->print(block.begin, block.end, bytes_.get());
        size_ = static_cast<std::size_t>(end - bytes_.get());
    }

private:
    std::unique_ptr<char[]> bytes_;
    std::size_t capacity_ = 0;
    std::size_t size_ = 0;
};

class SectionWriter : public koUtil::ThreadedChunkAlg {
public:
    SectionWriter(OutputFile& file, std::vector<OutputSection> const& sections);

    FileOutcome run(koUtil::Progress* progress);
    void executeChunk(int chunkIndex, int threadIndex) override;

private:
    OutputFile& file_;
    std::vector<Block> blocks_;
    std::vector<BlockBytes> bytes_;  // of the present round; each written by one thread
    std::size_t firstOfRound_ = 0;
    std::size_t numOfRound_ = 0;
};

SectionWriter::SectionWriter(OutputFile& file, std::vector<OutputSection> const& sections)
    : file_(file) {
    for (OutputSection const& section : sections)
        for (int begin = 0; begin < section.count;) {
            int const end = begin + std::min(itemsPerBlock, section.count - begin);
            blocks_.push_back({&section, begin, end});
            begin = end;
        }
}

FileOutcome SectionWriter::run(koUtil::Progress* progress) {
    FileOutcome outcome;
    bytes_.resize(std::min(blocks_.size(), blocksPerRound));
    for (firstOfRound_ = 0; firstOfRound_ < blocks_.size() && outcome;
         firstOfRound_ += numOfRound_) {
        if (progress != nullptr && progress->cancelled())
            return FileOutcome::failed(FileOutcome::Failure::Cancelled, "writing was cancelled");
        numOfRound_ = std::min(blocksPerRound, blocks_.size() - firstOfRound_);
        (numOfRound_ > 1 ? koUtil::ThreadPool::get() : koUtil::ThreadPool::getSingleThreadedPool())
            .run(*this);
        for (std::size_t i = 0; i < numOfRound_ && outcome; ++i)
            outcome = file_.write(bytes_[i].view());
        if (progress != nullptr)
            progress->set(static_cast<double>(firstOfRound_ + numOfRound_) /
                          static_cast<double>(blocks_.size()));
    }
    return outcome;
}

void SectionWriter::executeChunk(int chunkIndex, int /*threadIndex*/) {
    int const end = getBeginIndex(chunkIndex + 1, numChunks, static_cast<int>(numOfRound_));
    for (int i = getBeginIndex(chunkIndex, numChunks, static_cast<int>(numOfRound_)); i < end; ++i)
        bytes_[static_cast<std::size_t>(i)].fill(
            blocks_[firstOfRound_ + static_cast<std::size_t>(i)]);
}

}  // namespace

FileOutcome writeSections(OutputFile& file, std::vector<OutputSection> const& sections,
                          koUtil::Progress* progress) {
    return SectionWriter(file, sections).run(progress);
}

std::string commentLines(std::string_view comment, std::string_view mark) {
    std::string text;
    for (std::size_t begin = 0; begin < comment.size();) {
        std::size_t const end = std::min(comment.find_first_of("\r\n", begin), comment.size());
        text.append(mark).append(comment.substr(begin, end - begin)).append("\n");
        begin = end + 1;
    }
    return text;
}

}  // namespace trimora
