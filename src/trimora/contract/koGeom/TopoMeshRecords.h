#pragma once

#include "trimora/contract/koGeom/BlindData.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

/// The memory behind the handles of a `TopoMesh`. Algorithms use the handles (TopoMeshHandles.h); only the mesh writes here.
///
/// Records lie in blocks, in order of creation, and neither move nor are used again while the mesh lives. So the lists
/// of a mesh need no links: the next element is the next living record, deletion marks a record and costs O(1), and the
/// order of the list is the order of creation. A deleted record still knows that it is one, which makes every stale
/// handle a refusal instead of a crash.
namespace koGeom {

struct TRIMORA_API TopoMeshEdgeRecord;
struct TRIMORA_API TopoMeshFaceRecord;

/// 48 bytes.
struct TRIMORA_API TopoMeshVertexRecord {
    static constexpr int numBlindSlots = 17;

    Point position;
    TopoMeshEdgeRecord* edge;          ///< own edge, one of those that leave; or null
    TopoMeshEdgeRecord* firstLeaving;  ///< chain of all that leave, the latest first; or null
    std::uint32_t number;              ///< of creation, from 0
    std::uint32_t owner;               ///< tag of the mesh, 0 once deleted
};

/// A half-edge: 64 bytes; blocks keep each in one line of the cache.
struct TRIMORA_API TopoMeshEdgeRecord {
    static constexpr int numBlindSlots = 2;

    TopoMeshVertexRecord* origin;
    TopoMeshEdgeRecord* next;  ///< round the face
    TopoMeshEdgeRecord* prev;
    TopoMeshEdgeRecord* twin;  ///< null on the boundary
    TopoMeshFaceRecord* face;
    TopoMeshEdgeRecord* nextLeaving;  ///< chain of all that leave `origin`; null at the end
    TopoMeshEdgeRecord* prevLeaving;  ///< null at the head
    std::uint32_t number;
    std::uint32_t owner;

    TopoMeshVertexRecord* end() const { return next->origin; }
    /// The twin if it runs the other way, else null: the only twin that a walk round a vertex follows. (Twins have the
    /// same two ends, so that the origins tell, but for an edge that begins and ends at one vertex.)
    TopoMeshEdgeRecord* opposite() const {
        return twin != nullptr && (twin->origin != origin || end() == origin) ? twin : nullptr;
    }
    /// The next edge counterclockwise, and clockwise, of those that leave the same origin; null across the boundary. The
    /// two are each other's inverse, so a walk by one of them ends or comes back to where it began.
    TopoMeshEdgeRecord* nextAround() const {
        TopoMeshEdgeRecord* const other = prev->twin;
        return other != nullptr && other->origin == origin ? other : nullptr;
    }
    TopoMeshEdgeRecord* prevAround() const {
        TopoMeshEdgeRecord* const after = twin != nullptr ? twin->next : nullptr;
        return after != nullptr && after->origin == origin ? after : nullptr;
    }
};

/// 16 bytes.
struct TRIMORA_API TopoMeshFaceRecord {
    static constexpr int numBlindSlots = 2;

    TopoMeshEdgeRecord* edge;  ///< first edge of the ring
    std::uint32_t number;
    std::uint32_t owner;
};

static_assert(sizeof(TopoMeshVertexRecord) == 48 && sizeof(TopoMeshEdgeRecord) == 64 &&
              sizeof(TopoMeshFaceRecord) == 16);

template <typename Record>
class TRIMORA_API TopoMeshPool;

/// A stretch of records. Blocks are aligned to their size, so that a record finds its block by its address.
template <typename Record>
struct TopoMeshBlock {
    static constexpr std::size_t numBytes = 16384;
    static constexpr std::size_t headBytes = 64;
    static constexpr std::uint32_t capacity = (numBytes - headBytes) / sizeof(Record);

    TopoMeshBlock* nextBlock;
    TopoMeshPool<Record> const* pool;
    BlindData* blind;  ///< slots of all records of the block, null until one is asked for
    std::uint32_t numUsed;
    std::uint32_t numAlive;

    Record* records() {
        return reinterpret_cast<Record*>(reinterpret_cast<std::byte*>(this) + headBytes);
    }
    Record* end() { return records() + numUsed; }

    static TopoMeshBlock* of(Record const* record) {
        auto const address = reinterpret_cast<std::uintptr_t>(record);
        return reinterpret_cast<TopoMeshBlock*>(address & ~std::uintptr_t(numBytes - 1));
    }
};

/// Records made in one go, by their place among them. Their blocks lie side by side, so that an address takes no look-up.
template <typename Record>
class TRIMORA_API TopoMeshRecordRange {
public:
    Record* operator[](std::uint32_t i) const {
        // A block is filled to its last byte: between its records and those of the next lies nothing but the head.
        static_assert(Block::numBytes == Block::headBytes + Block::capacity * sizeof(Record));
        std::uint32_t const place = offset_ + i;
        return reinterpret_cast<Record*>(start_ + std::size_t(place) * sizeof(Record) +
                                         std::size_t(place / Block::capacity + 1) *
                                             Block::headBytes);
    }
    /// Where to write record i. The first of a block makes the block's head as well.
    Record* place(std::uint32_t i) const {
        Record* const record = (*this)[i];
        if ((reinterpret_cast<std::uintptr_t>(record) & (Block::numBytes - 1)) == Block::headBytes)
            makeHead(i);
        return record;
    }
    /// Creation number of record i.
    std::uint32_t number(std::uint32_t i) const { return firstNumber_ + i; }

private:
    using Block = TopoMeshBlock<Record>;
    friend class TopoMeshPool<Record>;

    void makeHead(std::uint32_t i) const;

    std::byte* start_ = nullptr;  ///< of the first block
    TopoMeshPool<Record> const* pool_ = nullptr;
    std::uint32_t offset_ = 0;  ///< place of the first record in the first block
    std::uint32_t count_ = 0;
    std::uint32_t firstNumber_ = 0;
};

/// All records of one kind of one mesh.
template <typename Record>
class TRIMORA_API TopoMeshPool {
public:
    using Block = TopoMeshBlock<Record>;

    TopoMeshPool() = default;
    TopoMeshPool(TopoMeshPool const&) = delete;
    TopoMeshPool& operator=(TopoMeshPool const&) = delete;
    ~TopoMeshPool();

    int size() const { return static_cast<int>(numAlive_); }
    /// Creation numbers given out so far.
    std::uint32_t numCreated() const { return numCreated_; }
    Record* first() const {
        return first_ != nullptr ? firstFrom(first_, first_->records()) : nullptr;
    }
    /// The pool that a record lies in.
    static TopoMeshPool const& of(Record const* record) { return *Block::of(record)->pool; }
    /// The living record that follows in order of creation, or null.
    static Record* after(Record* record) {
        Record* const candidate = record + 1;
        Block* const block = Block::of(record);
        if (candidate < block->end() && candidate->owner != 0) [[likely]]
            return candidate;
        return firstFrom(block, candidate);
    }

    /// Makes sure that the next `count` calls of `create` cannot fail; may throw bad_alloc, before anything has changed.
    void reserve(std::size_t count) {
        if (numFree_ < count)
            addSlab((count - numFree_ + Block::capacity - 1) / Block::capacity);
    }
    /// A zeroed record at the end of the list. Only within what was reserved.
    Record* create(std::uint32_t owner) {
        if (last_ == nullptr || last_->numUsed == Block::capacity)
            useNextBlock();
        Record* const record = new (last_->end()) Record{};
        record->number = numCreated_++;
        record->owner = owner;
        ++last_->numUsed;
        ++last_->numAlive;
        ++numAlive_;
        --numFree_;
        return record;
    }
    /// Makes sure that the next call of `claim` with this count cannot fail; may throw bad_alloc, before anything has
    /// changed.
    void reserveSideBySide(std::uint32_t count);
    /// `count` records at the end of the list, for which the memory is not touched yet: the caller writes
    /// every field of every one, at the address that `place` gives, before the list is read. What is written by two
    /// threads does not overlap. Only after reserveSideBySide, with nothing between.
    TopoMeshRecordRange<Record> claim(std::uint32_t count);
    void destroy(Record* record);

    /// A slot of a living or deleted record; the slots of a block are made, all 0, when the first of them is asked for.
    static BlindData& blind(Record* record, int slot) {
        Block* const block = Block::of(record);
        if (block->blind == nullptr)
            makeBlind(block);
        return block->blind[(record - block->records()) * Record::numBlindSlots + slot];
    }

private:
    /// Blocks side by side, from one allocation.
    struct Slab {
        std::byte* memory;
        std::size_t numBlocks;
        std::align_val_t alignment;
    };

    static Record* firstFrom(Block* block, Record* candidate);
    static void makeBlind(Block* block);
    std::uint32_t roomInLast() const {
        return last_ != nullptr ? Block::capacity - last_->numUsed : 0;
    }
    void addSlab(std::size_t numBlocksNeeded);
    void takeSlab(std::size_t slab);
    std::byte* takeBlocks(std::size_t count);
    void useNextBlock();
    void settleFirst();

    Block* first_ = nullptr;          ///< no living record lies before this block
    Block* last_ = nullptr;           ///< the one being filled
    std::size_t slabInUse_ = 0;       ///< blocks are taken from this slab, then from those after it
    std::size_t numBlocksTaken_ = 0;  ///< from the slab in use
    std::size_t numFree_ = 0;         ///< records left in `last_` and in blocks not taken yet
    std::uint32_t numAlive_ = 0;
    std::uint32_t numCreated_ = 0;
    std::vector<Slab> slabs_;
    mutable std::vector<std::unique_ptr<BlindData[]>> blindArrays_;
};

extern template class TopoMeshRecordRange<TopoMeshVertexRecord>;
extern template class TopoMeshRecordRange<TopoMeshEdgeRecord>;
extern template class TopoMeshRecordRange<TopoMeshFaceRecord>;
extern template class TopoMeshPool<TopoMeshVertexRecord>;
extern template class TopoMeshPool<TopoMeshEdgeRecord>;
extern template class TopoMeshPool<TopoMeshFaceRecord>;

}  // namespace koGeom
