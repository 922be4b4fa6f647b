#pragma once

#include "trimora/contract/ko/BlockAllocator.h"

#include <cstddef>
#include <functional>
#include <list>
#include <map>
#include <set>
#include <unordered_set>
#include <utility>
#include <vector>

/// The containers of the exported signatures: the standard library's, under the standard library's operations, with
/// the comparisons and hashes of this namespace as their defaults. Trees take their nodes from a pool of their own.
namespace ko {

/// Order of keys; specialised for types that have no operator<.
template <typename K>
struct less {
    bool operator()(K const& a, K const& b) const { return a < b; }
};

/// Equality of keys; specialised for types that have no operator==.
template <typename K>
struct equal_to {
    bool operator()(K const& a, K const& b) const { return a == b; }
};

/// Hash of keys; specialised for types that have no std::hash.
template <typename K>
struct hash {
    std::size_t operator()(K const& key) const { return std::hash<K>()(key); }
};

/// Contiguous array, but for vector<bool>, which is packed: threads must not write to neighbouring elements of that one.
template <typename T>
using vector = std::vector<T>;

/// Doubly linked list with a kept size and a stable sort.
template <typename T>
using list = std::list<T>;

/// Balanced trees with unique keys.
template <typename K, typename V, typename Less = less<K>>
using map = std::map<K, V, Less, PoolAllocator<std::pair<K const, V>>>;
template <typename K, typename Less = less<K>>
using set = std::set<K, Less, PoolAllocator<K>>;

/// Balanced trees that allow equal keys; those stay in the order of their insertion.
template <typename K, typename V, typename Less = less<K>>
using multimap = std::multimap<K, V, Less, PoolAllocator<std::pair<K const, V>>>;
template <typename K, typename Less = less<K>>
using multiset = std::multiset<K, Less, PoolAllocator<K>>;

/// Hash table with unique keys.
template <typename K, typename Hash = hash<K>, typename Equal = equal_to<K>>
using unordered_set = std::unordered_set<K, Hash, Equal>;

}  // namespace ko
