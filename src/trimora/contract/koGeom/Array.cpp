#include "trimora/contract/koGeom/Array.h"

#include "trimora/contract/koOS/largePages.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

// Ordinary storage comes from malloc, calloc and realloc: growing a large array then remaps pages
// instead of copying them, and fresh zeroed arrays cost nothing until they are touched.

namespace koGeom {

namespace {

void* orBadAlloc(void* block, std::size_t numBytes) {
    if (block == nullptr)
        throw std::bad_alloc();
    koOS::adviseLargePages(block, numBytes);
    return block;
}

std::size_t numBytesOf(int count, std::size_t elementSize) {
    if (static_cast<std::size_t>(count) > PTRDIFF_MAX / elementSize)
        throw std::bad_alloc();
    return static_cast<std::size_t>(count) * elementSize;
}

}  // namespace

ArrayAllocator::~ArrayAllocator() = default;

void ArrayBase::resize(int newCount, std::size_t elementSize) {
    if (newCount < 1) {
        release();
        return;
    }
    std::size_t const numBytes = numBytesOf(newCount, elementSize);
    if (allocator)
        allocator->resize(*this, numBytes);
    else if (void* const moved = std::realloc(block, numBytes); moved != nullptr)
        block = orBadAlloc(moved, numBytes);
    else if (newCount > count)  // a smaller array can stay where it is
        throw std::bad_alloc();
    count = newCount;
}

void ArrayBase::resizeZeroed(int newCount, std::size_t elementSize) {
    if (newCount > 0 && block == nullptr && !allocator) {
        std::size_t const numBytes = numBytesOf(newCount, elementSize);
        block = orBadAlloc(std::calloc(1, numBytes), numBytes);
        count = newCount;
        return;
    }
    int const oldCount = count;
    resize(newCount, elementSize);
    if (newCount > oldCount) {
        std::size_t const oldBytes = static_cast<std::size_t>(oldCount) * elementSize;
        std::size_t const newBytes = static_cast<std::size_t>(newCount) * elementSize;
        std::memset(static_cast<char*>(writeBytes()) + oldBytes, 0, newBytes - oldBytes);
    }
}

void ArrayBase::release() {
    if (block != nullptr) {
        if (allocator)
            allocator->release(*this);
        else
            std::free(block);
    }
    block = nullptr;
    count = 0;
}

void const* ArrayBase::readThroughAllocator() const {
    return allocator->readAccess(*this);
}

void* ArrayBase::writeThroughAllocator() {
    return allocator->writeAccess(*this);
}

}  // namespace koGeom
