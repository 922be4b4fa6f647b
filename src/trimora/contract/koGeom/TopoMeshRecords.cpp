#include "trimora/contract/koGeom/TopoMeshRecords.h"

#include <algorithm>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

/// Memory of the half-edge mesh. Slabs of aligned blocks are taken from the heap, each larger than the one before, so
/// that a mesh of a few faces costs little and one of millions is a few hundred allocations. Records of one kind follow
/// each other in the order of their creation; nothing is given back before the pool dies.
namespace koGeom {

namespace {

constexpr std::size_t maxBlocksPerSlab = 256;  // 4 MB: larger slabs no longer show in the time

constexpr std::align_val_t slabAlignment{TopoMeshBlock<TopoMeshVertexRecord>::numBytes};

#if defined(__linux__)
/// Asks for large pages inside a slab. The first touch of fresh memory costs a fault a page, which with small pages takes
/// longer than all of the building; where the system does not follow the advice nothing is lost.
void adviseLargePages(void* memory, std::size_t bytes) {
    constexpr std::uintptr_t pageBytes = std::uintptr_t(2) << 20;
    auto const begin = reinterpret_cast<std::uintptr_t>(memory);
    std::uintptr_t const first = (begin + pageBytes - 1) & ~(pageBytes - 1);
    std::uintptr_t const last = (begin + bytes) & ~(pageBytes - 1);
    if (first < last)
        madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
}
#else
void adviseLargePages(void*, std::size_t) {}
#endif

}  // namespace

template <typename Record>
TopoMeshPool<Record>::~TopoMeshPool() {
    for (void* slab : slabs_)
        ::operator delete(slab, slabAlignment);
}

template <typename Record>
void TopoMeshPool<Record>::grow(std::size_t count) {
    static_assert(sizeof(Block) <= Block::headBytes);
    std::size_t const needed = (count - numFree_ + Block::capacity - 1) / Block::capacity;
    std::size_t const usual = std::size_t(1) << std::min<std::size_t>(slabs_.size(), 30);
    std::size_t const numBlocks = std::max(needed, std::min(usual, maxBlocksPerSlab));

    slabs_.reserve(slabs_.size() + 1);
    void* const slab = ::operator new(numBlocks* Block::numBytes, slabAlignment);
    slabs_.push_back(slab);
    adviseLargePages(slab, numBlocks * Block::numBytes);

    Block** link = &spare_;
    while (*link != nullptr)
        link = &(*link)->nextBlock;
    for (std::size_t i = 0; i < numBlocks; ++i) {
        void* const place = static_cast<std::byte*>(slab) + i * Block::numBytes;
        *link = new (place) Block{nullptr, this, nullptr, 0, 0};
        link = &(*link)->nextBlock;
    }
    numFree_ += numBlocks * Block::capacity;
}

template <typename Record>
void TopoMeshPool<Record>::useNextBlock() {
    Block* const block = spare_;
    spare_ = block->nextBlock;
    block->nextBlock = nullptr;
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
TopoMeshRecordRange<Record> TopoMeshPool<Record>::claim(std::size_t count) {
    TopoMeshRecordRange<Record> range;
    range.blocks_.reserve(count / Block::capacity + 2);
    reserve(count);
    if (last_ != nullptr && last_->numUsed < Block::capacity) {
        range.blocks_.push_back(last_);
        range.offset_ = last_->numUsed;
    }
    for (std::size_t left = count; left > 0;) {
        if (last_ == nullptr || last_->numUsed == Block::capacity) {
            useNextBlock();
            range.blocks_.push_back(last_);
        }
        auto const taken = static_cast<std::uint32_t>(
            std::min<std::size_t>(left, Block::capacity - last_->numUsed));
        last_->numUsed += taken;
        last_->numAlive += taken;
        left -= taken;
    }
    numFree_ -= count;
    numAlive_ += static_cast<std::uint32_t>(count);
    numCreated_ += static_cast<std::uint32_t>(count);
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

template class TopoMeshPool<TopoMeshVertexRecord>;
template class TopoMeshPool<TopoMeshEdgeRecord>;
template class TopoMeshPool<TopoMeshFaceRecord>;

}  // namespace koGeom
