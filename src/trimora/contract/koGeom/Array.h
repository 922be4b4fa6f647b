#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/export.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>
#include <utility>

namespace koGeom {

class ArrayBase;

/// Storage of arrays as the host wants it: it may page the data in on reading, or mark it dirty on
/// writing. An allocator serves any number of arrays; an array's `block` is what the allocator made
/// of it. Blocks move between arrays of one allocator, so what belongs to the data is found through
/// the block, not through the array's address.
class TRIMORA_API ArrayAllocator : public ko::ReferenceCount {
public:
    ~ArrayAllocator() override;

    /// The first byte of the array's data, for reading; valid until the array is resized or
    /// released.
    virtual void const* readAccess(ArrayBase const& array) = 0;

    /// The first byte of the array's data, for reading and writing.
    virtual void* writeAccess(ArrayBase& array) = 0;

    /// Gives `array.block` room for `numBytes` (at least 1), keeping the leading bytes.
    /// `array.block` is null for an array without elements; `array.count` still holds the old
    /// count. On failure (std::bad_alloc) nothing has changed.
    virtual void resize(ArrayBase& array, std::size_t numBytes) = 0;

    /// Frees `array.block` and sets it to null.
    virtual void release(ArrayBase& array) = 0;
};

/// What all arrays have in common; allocators see arrays in this form.
class TRIMORA_API ArrayBase {
public:
    int count = 0;
    void* block = nullptr;
    ko::Reference<ArrayAllocator> allocator;  // null: ordinary heap storage

protected:
    ArrayBase() = default;
    ~ArrayBase() { release(); }
    ArrayBase(ArrayBase const&) = delete;
    ArrayBase& operator=(ArrayBase const&) = delete;

    void const* readBytes() const {
        return allocator && block != nullptr ? readThroughAllocator() : block;
    }
    void* writeBytes() { return allocator && block != nullptr ? writeThroughAllocator() : block; }

    /// Makes room for newCount elements, keeps the leading ones and sets the count; below 1 frees.
    void resize(int newCount, std::size_t elementSize);
    /// The same, new elements being zero.
    void resizeZeroed(int newCount, std::size_t elementSize);
    void release();
    void swapStorage(ArrayBase& other) {
        std::swap(count, other.count);
        std::swap(block, other.block);
    }

private:
    void const* readThroughAllocator() const;
    void* writeThroughAllocator();
};

/// A growable array of plain records.
///
/// Elements are reached through the allocator when there is one, else straight in the block: fetch
/// `data()` once and not for every element. An empty array has a null data pointer. Indices are not
/// checked. The storage does not keep reserves: every change of size copies. A count of bytes that
/// cannot be had is std::bad_alloc, the array unchanged.
template <class T>
class Array : public ArrayBase {
    static_assert(std::is_trivially_copyable_v<T>, "array elements are moved as bytes");

public:
    Array() = default;
    /// `size` elements, uninitialised.
    explicit Array(int size) { setSize(size); }
    /// A deep copy in ordinary heap storage.
    Array(Array const& other) : ArrayBase() { copyFrom(other.data(), other.count); }
    /// Takes the elements over; an array with an allocator is copied.
    Array(Array&& other) : ArrayBase() { swap(other); }

    /// A deep copy; this array's own allocator stays.
    Array& operator=(Array const& other) {
        if (this != &other)
            copyFrom(other.data(), other.count);
        return *this;
    }
    /// Exchanges the elements with the source.
    Array& operator=(Array&& other) {
        swap(other);
        return *this;
    }

    int size() const { return count; }
    bool empty() const { return count == 0; }
    T const* data() const { return static_cast<T const*>(readBytes()); }
    T* data() { return static_cast<T*>(writeBytes()); }
    T const& operator[](int i) const { return data()[i]; }
    T& operator[](int i) { return data()[i]; }
    T const* begin() const { return data(); }
    T const* end() const { return data() + count; }
    T* begin() { return data(); }
    T* end() { return data() + count; }

    /// Nothing happens when the size is the same; below 1 frees the storage. The leading elements
    /// stay, those beyond are uninitialised.
    void setSize(int newSize) {
        if (newSize != count)
            resize(newSize, sizeof(T));
    }
    /// As setSize, the elements beyond the kept ones being zero bytes.
    void setSizeZeroed(int newSize) {
        if (newSize != count)
            resizeZeroed(newSize, sizeof(T));
    }
    /// All elements become `value`.
    void fill(T const& value) {
        if (count > 0)
            std::fill_n(data(), count, T(value));
    }
    /// Replaces the contents by a copy; `source` may point into this array.
    void copyFrom(T const* source, int size) {
        if (size == count && size > 0) {
            std::memmove(data(), source, static_cast<std::size_t>(size) * sizeof(T));
            return;
        }
        Array copy;
        copy.allocator = allocator;
        copy.setSize(size);
        if (size > 0)
            std::memcpy(copy.data(), source, static_cast<std::size_t>(size) * sizeof(T));
        swapStorage(copy);
    }

    /// Exchanges the elements; each array keeps its allocator. Without allocators only pointers
    /// change places.
    void swap(Array& other) {
        if (this == &other)
            return;
        if (allocator.get() == other.allocator.get()) {
            swapStorage(other);
            return;
        }
        Array third(*this);
        copyFrom(std::as_const(other).data(), other.count);
        other.copyFrom(std::as_const(third).data(), third.count);
    }

    /// Moves the elements into the storage of another allocator; null for ordinary heap storage.
    void setAllocator(ko::Reference<ArrayAllocator> const& newAllocator) {
        if (allocator.get() == newAllocator.get())
            return;
        Array moved;
        moved.allocator = newAllocator;
        moved.copyFrom(std::as_const(*this).data(), count);
        release();
        allocator = newAllocator;
        swapStorage(moved);
    }
};

}  // namespace koGeom
