#include "trimora/contract/ko/BlockAllocator.h"

#include <limits>
#include <new>

namespace ko {

namespace {

constexpr std::size_t alignment = alignof(std::max_align_t);

}  // namespace

/// The link that lies in every free item, and at the head of every block.
struct BlockAllocator::FreeItem {
    FreeItem* next;
};

BlockAllocator::BlockAllocator(unsigned long long itemSize, int itemsPerBlock)
    : itemSize_(itemSize == 0 ? 1 : static_cast<std::size_t>(itemSize)),
      stride_((itemSize_ + alignment - 1) / alignment * alignment),
      itemsPerBlock_(itemsPerBlock < 1 ? 1 : static_cast<std::size_t>(itemsPerBlock)) {}

BlockAllocator::~BlockAllocator() {
    while (blocks_ != nullptr) {
        FreeItem* const block = blocks_;
        blocks_ = block->next;
        ::operator delete(block);
    }
}

void* BlockAllocator::allocate() {
    if (free_ == nullptr)
        addBlock();
    FreeItem* const item = free_;
    free_ = item->next;
    return item;
}

void BlockAllocator::deallocate(void* item) {
    if (item != nullptr)
        free_ = ::new (item) FreeItem{free_};
}

void BlockAllocator::addBlock() {
    std::size_t const largest = std::numeric_limits<std::ptrdiff_t>::max();
    if (stride_ < itemSize_ || stride_ > (largest - alignment) / itemsPerBlock_)
        throw std::bad_alloc();

    char* const block = static_cast<char*>(::operator new(alignment + stride_ * itemsPerBlock_));
    blocks_ = ::new (block) FreeItem{blocks_};
    // From the back, so that the first item of the block is handed out first.
    for (std::size_t i = itemsPerBlock_; i-- > 0;)
        free_ = ::new (block + alignment + i * stride_) FreeItem{free_};
}

}  // namespace ko
