#include "trimora/contract/koGeom/TopoMeshRecords.h"

#include "trimora/contract/koOS/largePages.h"

#include <algorithm>

/// Memory of the half-edge mesh. Slabs of aligned blocks are taken from the heap, each larger than the one before, so
/// that a mesh of a few faces costs little and one of millions is a few hundred allocations. Records of one kind follow
/// each other in the order of their creation; nothing is given back before the pool dies. A block is touched when it is
/// taken into use and not before.
namespace koGeom {

namespace {

constexpr std::size_t blockBytes = TopoMeshBlock<TopoMeshVertexRecord>::numBytes;
constexpr std::size_t blocksPerLargePage = koOS::largePageBytes / blockBytes;
constexpr std::size_t maxBlocksPerSlab = 1024;  // 16 MB: larger slabs no longer show in the time

}  // namespace

template <typename Record>
void TopoMeshRecordRange<Record>::makeHead(std::uint32_t i) const {
    std::uint32_t const place = offset_ + i;
    std::uint32_t const left = offset_ + count_ - place;
    std::byte* const memory = start_ + std::size_t(place / Block::capacity) * Block::numBytes;
    std::uint32_t const numUsed = std::min(left, Block::capacity);
    void* const next = left > Block::capacity ? memory + Block::numBytes : nullptr;
    new (memory) Block{static_cast<Block*>(next), pool_, nullptr, numUsed, numUsed};
}

template <typename Record>
TopoMeshPool<Record>::~TopoMeshPool() {
    for (Slab const& slab : slabs_)
        ::operator delete(slab.memory, slab.alignment);
}

/// Slabs that hold large pages are made of whole ones.
template <typename Record>
void TopoMeshPool<Record>::addSlab(std::size_t numBlocksNeeded) {
    static_assert(sizeof(Block) <= Block::headBytes);
    std::size_t const usual = std::size_t(1) << std::min<std::size_t>(slabs_.size(), 30);
    std::size_t numBlocks = std::max(numBlocksNeeded, std::min(usual, maxBlocksPerSlab));
    bool const isLarge = numBlocks >= blocksPerLargePage;
    if (isLarge)
        numBlocks = (numBlocks + blocksPerLargePage - 1) / blocksPerLargePage * blocksPerLargePage;
    std::align_val_t const alignment{isLarge ? koOS::largePageBytes : Block::numBytes};

    slabs_.reserve(slabs_.size() + 1);
    void* const memory = ::operator new(numBlocks* Block::numBytes, alignment);
    slabs_.push_back({static_cast<std::byte*>(memory), numBlocks, alignment});
    koOS::adviseLargePages(memory, numBlocks * Block::numBytes);
    numFree_ += numBlocks * Block::capacity;
}

/// Goes on with this slab; what the one in use has left is not used.
template <typename Record>
void TopoMeshPool<Record>::takeSlab(std::size_t slab) {
    numFree_ -= (slabs_[slabInUse_].numBlocks - numBlocksTaken_) * Block::capacity;
    for (++slabInUse_; slabInUse_ != slab; ++slabInUse_)
        numFree_ -= slabs_[slabInUse_].numBlocks * Block::capacity;
    numBlocksTaken_ = 0;
}

/// Where the blocks lie; of those in the slab in use.
template <typename Record>
std::byte* TopoMeshPool<Record>::takeBlocks(std::size_t count) {
    std::byte* const memory = slabs_[slabInUse_].memory + numBlocksTaken_ * Block::numBytes;
    numBlocksTaken_ += count;
    return memory;
}

template <typename Record>
void TopoMeshPool<Record>::useNextBlock() {
    if (numBlocksTaken_ == slabs_[slabInUse_].numBlocks)
        takeSlab(slabInUse_ + 1);
    Block* const block = new (takeBlocks(1)) Block{nullptr, this, nullptr, 0, 0};
    if (last_ != nullptr)
        last_->nextBlock = block;
    else
        first_ = block;
    last_ = block;
    settleFirst();
}

template <typename Record>
void TopoMeshPool<Record>::settleFirst() {
    while (first_->numAlive == 0 && first_->nextBlock != nullptr)
        first_ = first_->nextBlock;
}

template <typename Record>
void TopoMeshPool<Record>::reserveSideBySide(std::uint32_t count) {
    std::size_t const numBlocks = (std::size_t(count) + Block::capacity - 1) / Block::capacity;
    if (count <= roomInLast() ||
        (!slabs_.empty() && numBlocks <= slabs_[slabInUse_].numBlocks - numBlocksTaken_))
        return;
    addSlab(numBlocks);
    if (slabs_.size() > 1)
        takeSlab(slabs_.size() - 1);
}

template <typename Record>
TopoMeshRecordRange<Record> TopoMeshPool<Record>::claim(std::uint32_t count) {
    TopoMeshRecordRange<Record> range;
    if (count == 0)
        return range;
    range.pool_ = this;
    range.count_ = count;
    range.firstNumber_ = numCreated_;
    bool const hadNone = numAlive_ == 0;
    numAlive_ += count;
    numCreated_ += count;
    numFree_ -= count;
    if (count <= roomInLast()) {
        range.start_ = reinterpret_cast<std::byte*>(last_);
        range.offset_ = last_->numUsed;
        last_->numUsed += count;
        last_->numAlive += count;
        if (hadNone)
            first_ = last_;
        return range;
    }
    // The blocks are whole ones, and what the last block has left is not used.
    numFree_ -= roomInLast();
    std::size_t const numBlocks = (std::size_t(count) + Block::capacity - 1) / Block::capacity;
    range.start_ = takeBlocks(numBlocks);
    Block* const firstBlock = reinterpret_cast<Block*>(range.start_);
    if (last_ != nullptr)
        last_->nextBlock = firstBlock;
    if (hadNone)
        first_ = firstBlock;
    last_ = reinterpret_cast<Block*>(range.start_ + (numBlocks - 1) * Block::numBytes);
    return range;
}

template <typename Record>
void TopoMeshPool<Record>::destroy(Record* record) {
    record->owner = 0;
    --Block::of(record)->numAlive;
    --numAlive_;
    settleFirst();
}

template <typename Record>
Record* TopoMeshPool<Record>::firstFrom(Block* block, Record* candidate) {
    while (true) {
        Record* const end = block->end();
        if (block->numAlive == 0)
            candidate = end;
        while (candidate < end && candidate->owner == 0)
            ++candidate;
        if (candidate < end)
            return candidate;
        block = block->nextBlock;
        if (block == nullptr)
            return nullptr;
        candidate = block->records();
    }
}

template <typename Record>
void TopoMeshPool<Record>::makeBlind(Block* block) {
    auto& arrays = block->pool->blindArrays_;
    arrays.push_back(std::make_unique<BlindData[]>(Block::capacity * Record::numBlindSlots));
    block->blind = arrays.back().get();
}

template class TopoMeshRecordRange<TopoMeshVertexRecord>;
template class TopoMeshRecordRange<TopoMeshEdgeRecord>;
template class TopoMeshRecordRange<TopoMeshFaceRecord>;
template class TopoMeshPool<TopoMeshVertexRecord>;
template class TopoMeshPool<TopoMeshEdgeRecord>;
template class TopoMeshPool<TopoMeshFaceRecord>;

}  // namespace koGeom
