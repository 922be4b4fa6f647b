#pragma once

#include "trimora/contract/ko/containers.h"

#include <algorithm>
#include <cstddef>
#include <type_traits>

namespace koGeom {

/// A map kept as an array of pairs sorted by key.
///
/// Made for tables that are filled once, in nearly ascending order, and then asked often: filling is linear, asking takes
/// no memory. Entries are cancelled where they stand, by giving them `invalidValue`; such an entry counts as absent until
/// `compact` drops it.
/// keys      in the order of ko::less, equal by ==: handles go by their creation and are found by their pointer
/// values    invalidValue is null for handles and -1 for whole numbers, unless another one is given
/// equals    of equal keys the one that was appended first is found
template <typename K, typename V>
class ArrayMap {
public:
    struct Entry {
        K key;
        V value;
    };

    ko::vector<Entry> entries;
    int size = 0;  ///< number of entries, cancelled ones included
    V invalidValue;
    bool sorted = true;

    ArrayMap() : invalidValue(usualInvalidValue()) {}
    explicit ArrayMap(V const& invalid) : invalidValue(invalid) {}

    /// Makes room for that many entries altogether.
    void reserve(int numEntries) {
        if (numEntries > size)
            entries.reserve(static_cast<std::size_t>(numEntries));
    }
    /// Adds an entry at the end, whatever its key; `sorted` is false then.
    void append(K const& key, V const& value) {
        entries.push_back({key, value});
        ++size;
        sorted = false;
    }
    /// O(n) when the entries are in order already, else O(n log n); equal keys keep their order.
    void sort();
    /// The value of the key, `invalidValue` if there is none. O(log n) while the map is sorted, else O(n).
    V find(K const& key) const {
        std::size_t const i = place(key);
        return i < entries.size() ? entries[i].value : invalidValue;
    }
    /// Takes the entry of the key out, without moving the others; false if there was none.
    bool cancel(K const& key);
    /// Drops cancelled entries; the others keep their order.
    void compact();
    void clear() {
        entries.clear();
        size = 0;
        sorted = true;
    }

private:
    static bool comesBefore(Entry const& a, Entry const& b) { return ko::less<K>()(a.key, b.key); }
    static V usualInvalidValue() {
        if constexpr (std::is_integral_v<V>)
            return static_cast<V>(-1);
        else
            return V();
    }
    std::size_t place(K const& key) const;
};

template <typename K, typename V>
void ArrayMap<K, V>::sort() {
    if (!sorted && !std::is_sorted(entries.begin(), entries.end(), comesBefore))
        std::stable_sort(entries.begin(), entries.end(), comesBefore);
    sorted = true;
}

/// Index of the key's first entry that is not cancelled, or the number of entries.
template <typename K, typename V>
std::size_t ArrayMap<K, V>::place(K const& key) const {
    auto const isMeant = [&](Entry const& e) { return e.key == key && !(e.value == invalidValue); };
    auto const beginsRun = [](Entry const& e, K const& k) { return ko::less<K>()(e.key, k); };
    auto const begin = entries.begin();
    auto const end = entries.end();
    if (!sorted)
        return static_cast<std::size_t>(std::find_if(begin, end, isMeant) - begin);
    // A run of equal rank is one entry, but for keys that were appended twice.
    for (auto i = std::lower_bound(begin, end, key, beginsRun);
         i != end && !ko::less<K>()(key, i->key); ++i)
        if (isMeant(*i))
            return static_cast<std::size_t>(i - begin);
    return entries.size();
}

template <typename K, typename V>
bool ArrayMap<K, V>::cancel(K const& key) {
    std::size_t const i = place(key);
    if (i == entries.size())
        return false;
    entries[i].value = invalidValue;
    return true;
}

template <typename K, typename V>
void ArrayMap<K, V>::compact() {
    auto const isCancelled = [this](Entry const& e) { return e.value == invalidValue; };
    entries.erase(std::remove_if(entries.begin(), entries.end(), isCancelled), entries.end());
    size = static_cast<int>(entries.size());
}

}  // namespace koGeom
