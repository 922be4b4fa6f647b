#pragma once

#include "trimora/export.h"

#include <type_traits>
#include <utility>

namespace ko {

/// Base of objects that are shared through Reference: an intrusive, signed 32-bit count.
///
/// A new object has the count 0; the first Reference makes it 1, the last one to go deletes the object. An object on
/// the stack or inside another one works as long as no Reference is made of it (or its owner calls ref() first, so
/// that the count never falls back to 0).
/// threads   the count is a plain int: make, copy and drop the references of one object on one thread at a time;
///           workers take plain pointers
class TRIMORA_API ReferenceCount {
public:
    void ref() const { ++count_; }
    /// Takes one off the count and deletes the object when none is left.
    void unref() const {
        if (--count_ == 0)
            delete this;
    }
    int refCount() const { return count_; }

protected:
    ReferenceCount() = default;
    /// The count belongs to the object and not to its value: it is neither copied nor assigned.
    ReferenceCount(ReferenceCount const&) {}
    ReferenceCount& operator=(ReferenceCount const&) { return *this; }
    virtual ~ReferenceCount();

private:
    mutable int count_ = 0;
};

/// Shared ownership of a T, which derives from ReferenceCount; or null.
template <typename T>
class Reference {
public:
    Reference() = default;
    Reference(T* object) : object_(object) { acquire(); }
    Reference(Reference const& other) : object_(other.object_) { acquire(); }
    Reference(Reference&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    /// From a reference to a derived class, or to the non-const type.
    template <typename U>
    requires std::is_convertible_v<U*, T*> Reference(Reference<U> const& other)
        : object_(other.get()) {
        acquire();
    }
    ~Reference() { release(); }

    Reference& operator=(Reference const& other) {
        Reference(other).swap(*this);
        return *this;
    }
    Reference& operator=(Reference&& other) noexcept {
        Reference(std::move(other)).swap(*this);
        return *this;
    }
    Reference& operator=(T* object) {
        Reference(object).swap(*this);
        return *this;
    }

    T* get() const { return object_; }
    T* operator->() const { return object_; }
    T& operator*() const { return *object_; }
    explicit operator bool() const { return object_ != nullptr; }

    void swap(Reference& other) noexcept { std::swap(object_, other.object_); }

    /// Equal when both hold the same object; a plain pointer or nullptr compares too.
    friend bool operator==(Reference const& a, Reference const& b) {
        return a.object_ == b.object_;
    }

private:
    void acquire() const {
        if (object_ != nullptr)
            object_->ref();
    }
    void release() const {
        if (object_ != nullptr)
            object_->unref();
    }

    T* object_ = nullptr;
};

}  // namespace ko
