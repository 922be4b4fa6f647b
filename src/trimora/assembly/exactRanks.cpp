// Equal keys are found by hashing, and only one key of each group is sorted: a soup has six times as many vertices as
// places. The keys are first dealt out by their hash into parts that fit into a core's own cache, in the order of
// their vertices; then each part is taken by one thread, with a hash table of its own.

#include "trimora/assembly/detail/exactRanks.h"

#include "trimora/assembly/detail/distribute.h"
#include "trimora/assembly/meshCompact.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"

#include <algorithm>
#include <array>
#include <bit>
#include <memory>
#include <numeric>
#include <vector>

namespace koGeom::detail {

namespace {

constexpr int verticesPerPart = 1 << 14;
constexpr int maxPartBits = 12;

using Word = std::uint32_t;

/// A key as bits, equal where the floats are; NaN apart.
template <int K>
struct Record {
    std::array<Word, K> key;
    int vertex;
};

template <int K>
Record<K> recordOf(VertexKeys const& keys, int vertex) {
    Record<K> record;
    record.vertex = vertex;
    auto const take = [&record, vertex](int first, float const* values, int dimension) {
        float const* const value = values + static_cast<std::ptrdiff_t>(vertex) * dimension;
        for (int i = 0; i < dimension; ++i)  // adding 0 turns -0 into 0
            record.key[static_cast<std::size_t>(first + i)] = std::bit_cast<Word>(value[i] + 0.0f);
    };
    take(0, keys.vertices, 3);
    if constexpr (K > 3)
        take(3, keys.normals, 3);
    if constexpr (K > 6)
        take(6, keys.uvs, 2);
    return record;
}

template <int K>
bool hasNaN(std::array<Word, K> const& key) {
    constexpr Word magnitude = 0x7fffffffu;
    constexpr Word infinity = 0x7f800000u;
    bool found = false;
    for (Word const word : key)
        found |= (word & magnitude) > infinity;
    return found;
}

/// Without a call of memcmp, which for a dozen bytes costs more than the comparison.
template <int K>
bool areEqual(std::array<Word, K> const& a, std::array<Word, K> const& b) {
    Word difference = 0;
    for (std::size_t i = 0; i < K; ++i)
        difference |= a[i] ^ b[i];
    return difference == 0;
}

/// All bits of the result depend on all of the key: the upper ones choose the part, the lower ones the place in it.
template <int K>
std::uint64_t hashOf(std::array<Word, K> const& key) {
    constexpr std::uint64_t factor = 0x9E3779B97F4A7C15u;
    std::uint64_t hash = 0;
    for (std::size_t i = 0; i < K; i += 2) {
        std::uint64_t const upper = i + 1 < K ? key[i + 1] : 0;
        hash = (hash ^ (upper << 32 | key[i])) * factor;
        hash ^= hash >> 32;
    }
    hash *= factor;
    return hash ^ hash >> 29;
}

/// One call for each of `total` items, dealt out in chunks.
template <class Work>
class ItemAlg : public koUtil::ThreadedChunkAlg {
public:
    ItemAlg(int total, Work work) : total_(total), work_(work) {}
    void executeChunk(int chunkIndex, int /*threadIndex*/) override {
        int const end = getBeginIndex(chunkIndex + 1, numChunks, total_);
        for (int i = getBeginIndex(chunkIndex, numChunks, total_); i < end; ++i)
            work_(i);
    }

private:
    int const total_;
    Work work_;
};

template <int K>
class ExactRanks {
public:
    ExactRanks(VertexKeys const& keys, int* ranks);
    int run();

private:
    struct Part {
        int begin = 0;  // of its records
        int end = 0;
        int firstGroup = 0;
        std::vector<int> first;  // the first record of each of its groups
    };

    void deal();
    void findGroups(Part& part);
    bool findGroupsByHash(Part& part);
    void findGroupsBySort(Part& part);
    int numberGroups();
    std::vector<int> sortGroups(int numGroups) const;
    void writeRanks(Part const& part, std::vector<int> const& rankOfGroup);

    int partOf(std::uint64_t hash) const {
        return partBits_ == 0 ? 0 : static_cast<int>(hash >> (64 - partBits_));
    }
    template <class Work>
    void forParts(Work work) {
        int const numParts = static_cast<int>(parts_.size());
        ItemAlg alg(numParts, [this, work](int i) { work(parts_[static_cast<std::size_t>(i)]); });
        pool_.run(alg);
    }

    VertexKeys const& keys_;
    int* const ranks_;
    int const partBits_;
    koUtil::ThreadPool& pool_;
    std::unique_ptr<Record<K>[]> const records_;  // by part, in each part by vertex
    std::unique_ptr<int[]> const groups_;  // of the records, counted from the part's first one
    std::vector<Part> parts_;
};

int partBitsFor(int count) {
    unsigned const numParts = static_cast<unsigned>(count) / verticesPerPart;
    return std::min(static_cast<int>(std::bit_width(numParts)), maxPartBits);
}

template <int K>
ExactRanks<K>::ExactRanks(VertexKeys const& keys, int* ranks)
    : keys_(keys),
      ranks_(ranks),
      partBits_(partBitsFor(keys.count)),
      pool_(partBits_ == 0 ? koUtil::ThreadPool::getSingleThreadedPool()
                           : koUtil::ThreadPool::get()),
      records_(std::make_unique_for_overwrite<Record<K>[]>(static_cast<std::size_t>(keys.count))),
      groups_(std::make_unique_for_overwrite<int[]>(static_cast<std::size_t>(keys.count))),
      parts_(std::size_t(1) << partBits_) {}

template <int K>
int ExactRanks<K>::run() {
    deal();
    forParts([this](Part& part) { findGroups(part); });
    int const numGroups = numberGroups();
    if (numGroups == keys_.count)
        return numGroups;

    std::vector<int> const order = sortGroups(numGroups);
    std::vector<int> rankOfGroup(order.size());
    for (int rank = 0; rank < numGroups; ++rank)
        rankOfGroup[static_cast<std::size_t>(order[static_cast<std::size_t>(rank)])] = rank;
    forParts([this, &rankOfGroup](Part& part) { writeRanks(part, rankOfGroup); });
    return numGroups;
}

template <int K>
void ExactRanks<K>::deal() {
    std::vector<int> const begins = distribute(
        pool_, keys_.count, static_cast<int>(parts_.size()),
        [this](int v) { return partOf(hashOf<K>(recordOf<K>(keys_, v).key)); },
        [this](int v, int where) {
            records_[static_cast<std::size_t>(where)] = recordOf<K>(keys_, v);
        });
    for (std::size_t i = 0; i < parts_.size(); ++i) {
        parts_[i].begin = begins[i];
        parts_[i].end = begins[i + 1];
    }
}

template <int K>
void ExactRanks<K>::findGroups(Part& part) {
    if (!findGroupsByHash(part))
        findGroupsBySort(part);
}

/// Open addressing, at most half full: three steps a key as a rule. False, with nothing found, where
/// the keys were made to meet in the table.
template <int K>
bool ExactRanks<K>::findGroupsByHash(Part& part) {
    std::size_t const size = static_cast<std::size_t>(part.end - part.begin);
    std::size_t const mask = std::bit_ceil(2 * size + 1) - 1;
    constexpr int empty = -1;
    std::vector<int> table(mask + 1, empty);
    std::size_t stepsLeft = 64 * size;
    for (int i = part.begin; i < part.end; ++i) {
        std::array<Word, K> const& key = records_[static_cast<std::size_t>(i)].key;
        int group = static_cast<int>(part.first.size());
        if (!hasNaN<K>(key)) {
            std::size_t place = hashOf<K>(key) & mask;
            while (table[place] != empty) {
                int const first = part.first[static_cast<std::size_t>(table[place])];
                if (areEqual<K>(records_[static_cast<std::size_t>(first)].key, key))
                    break;
                place = (place + 1) & mask;
                if (--stepsLeft == 0) {
                    part.first.clear();
                    return false;
                }
            }
            if (table[place] == empty)
                table[place] = group;
            else
                group = table[place];
        }
        if (group == static_cast<int>(part.first.size()))
            part.first.push_back(i);
        groups_[static_cast<std::size_t>(i)] = group;
    }
    return true;
}

/// The slower way, which no keys can make slow.
template <int K>
void ExactRanks<K>::findGroupsBySort(Part& part) {
    std::vector<int> order(static_cast<std::size_t>(part.end - part.begin));
    std::iota(order.begin(), order.end(), part.begin);
    auto const keyOf = [this](int i) -> std::array<Word, K> const& {
        return records_[static_cast<std::size_t>(i)].key;
    };
    std::sort(order.begin(), order.end(), [&keyOf](int a, int b) {
        return keyOf(a) != keyOf(b) ? keyOf(a) < keyOf(b) : a < b;
    });
    for (int const i : order) {
        if (part.first.empty() || keyOf(i) != keyOf(part.first.back()) || hasNaN<K>(keyOf(i)))
            part.first.push_back(i);
        groups_[static_cast<std::size_t>(i)] = static_cast<int>(part.first.size()) - 1;
    }
}

template <int K>
int ExactRanks<K>::numberGroups() {
    int numGroups = 0;
    for (Part& part : parts_) {
        part.firstGroup = numGroups;
        numGroups += static_cast<int>(part.first.size());
    }
    return numGroups;
}

/// The groups in lexicographic order of their keys.
template <int K>
std::vector<int> ExactRanks<K>::sortGroups(int numGroups) const {
    auto const size = static_cast<std::size_t>(numGroups);
    std::vector<float> vertices;
    std::vector<float> normals;
    std::vector<float> uvs;
    vertices.reserve(3 * size);
    normals.reserve(K > 3 ? 3 * size : 0);
    uvs.reserve(K > 6 ? 2 * size : 0);
    for (Part const& part : parts_) {
        for (int const first : part.first) {
            std::array<Word, K> const& key = records_[static_cast<std::size_t>(first)].key;
            for (std::size_t k = 0; k < K; ++k)
                (k < 3 ? vertices : k < 6 ? normals : uvs).push_back(std::bit_cast<float>(key[k]));
        }
    }

    std::vector<int> order(size);
    if constexpr (K == 3)
        orderByKey(VertexCompare{vertices.data()}, numGroups, order.data());
    else if constexpr (K == 6)
        orderByKey(VertexNormalCompare{vertices.data(), normals.data()}, numGroups, order.data());
    else
        orderByKey(VertexNormalUVCompare{vertices.data(), normals.data(), uvs.data()}, numGroups,
                   order.data());
    return order;
}

template <int K>
void ExactRanks<K>::writeRanks(Part const& part, std::vector<int> const& rankOfGroup) {
    for (int i = part.begin; i < part.end; ++i) {
        auto const at = static_cast<std::size_t>(i);
        ranks_[records_[at].vertex] =
            rankOfGroup[static_cast<std::size_t>(part.firstGroup + groups_[at])];
    }
}

}  // namespace

int rankExactly(VertexKeys const& keys, int* ranks) {
    if (keys.normals == nullptr)
        return ExactRanks<3>(keys, ranks).run();
    if (keys.uvs == nullptr)
        return ExactRanks<6>(keys, ranks).run();
    return ExactRanks<8>(keys, ranks).run();
}

}  // namespace koGeom::detail
