#pragma once

#include "trimora/export.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <type_traits>

namespace ko {

/// Pool of items of one size: takes memory in blocks, hands it out item by item, keeps what comes back for reuse.
///
/// Items are aligned for every fundamental type. All memory goes back at once, when the pool dies; items that are
/// still in use then are gone too.
/// cost      O(1) an item, one heap allocation every itemsPerBlock items
/// threads   one at a time
class TRIMORA_API BlockAllocator {
public:
    /// itemSize      bytes an item; 0 counts as 1
    /// itemsPerBlock items that one heap allocation holds; less than 1 counts as 1
    BlockAllocator(unsigned long long itemSize, int itemsPerBlock);
    ~BlockAllocator();
    BlockAllocator(BlockAllocator const&) = delete;
    BlockAllocator& operator=(BlockAllocator const&) = delete;

    /// One item, not initialised. Throws std::bad_alloc when a block cannot be had; the pool stays as it was.
    void* allocate();
    /// Takes back an item of this pool; null is allowed.
    void deallocate(void* item);

    /// Bytes an item as asked for, not less than 1.
    std::size_t itemSize() const { return itemSize_; }

private:
    struct FreeItem;

    void addBlock();

    std::size_t itemSize_;
    std::size_t stride_;  // item size rounded up to the alignment
    std::size_t itemsPerBlock_;
    FreeItem* free_ = nullptr;
    FreeItem* blocks_ = nullptr;  // linked through the first word of each block
};

/// Standard allocator over a BlockAllocator: what ko::map and ko::set take their nodes from, 10 a block.
///
/// Every container made anew or copied has a pool of its own. Swapped containers swap pools; a container that was
/// moved from shares the pool of the one that was moved to, so the two belong on one thread until one of them dies.
template <typename T>
class PoolAllocator {
public:
    using value_type = T;
    using propagate_on_container_move_assignment = std::true_type;
    using propagate_on_container_swap = std::true_type;
    using is_always_equal = std::false_type;

    PoolAllocator() : pool_(std::make_shared<Pool>()) {}
    PoolAllocator(PoolAllocator const&) = default;
    PoolAllocator& operator=(PoolAllocator const&) = default;
    template <typename U>
    PoolAllocator(PoolAllocator<U> const& other) : pool_(other.pool_) {}

    PoolAllocator select_on_container_copy_construction() const { return PoolAllocator(); }

    T* allocate(std::size_t count) {
        if (count != 1 || !fits())
            return std::allocator<T>().allocate(count);
        if (!*pool_)
            pool_->emplace(sizeof(T), itemsPerBlock);
        return static_cast<T*>((*pool_)->allocate());
    }
    void deallocate(T* items, std::size_t count) {
        if (count != 1 || !fits())
            std::allocator<T>().deallocate(items, count);
        else
            (*pool_)->deallocate(items);
    }

    template <typename U>
    friend bool operator==(PoolAllocator const& a, PoolAllocator<U> const& b) {
        return a.pool_ == b.pool_;
    }

private:
    template <typename U>
    friend class PoolAllocator;
    // Made by the first item, whose size is known only then.
    using Pool = std::optional<BlockAllocator>;
    static constexpr int itemsPerBlock = 10;

    bool fits() const {
        return alignof(T) <= alignof(std::max_align_t) &&
               (!*pool_ || (*pool_)->itemSize() == sizeof(T));
    }

    std::shared_ptr<Pool> pool_;
};

}  // namespace ko
