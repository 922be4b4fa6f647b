#include "support/builders.h"

#include "trimora/contract/ko/BlockAllocator.h"
#include "trimora/contract/ko/ImplBase.h"
#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"

#include <cstdint>
#include <cstring>
#include <doctest/doctest.h>
#include <limits>
#include <map>
#include <new>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

int numAlive = 0;

struct Shared : ko::ReferenceCount {
    explicit Shared(int initial = 0) : value(initial) { ++numAlive; }
    Shared(Shared const& other) : ReferenceCount(other), value(other.value) { ++numAlive; }
    Shared& operator=(Shared const&) = default;
    ~Shared() override { --numAlive; }
    int value;
};

struct Derived : Shared {
    using Shared::Shared;
};

}  // namespace

TEST_CASE("lastReferenceDeletesTheObject") {
    numAlive = 0;
    {
        ko::Reference<Shared> a(new Shared(1));
        CHECK(a->refCount() == 1);
        ko::Reference<Shared> b = a;
        CHECK(a->refCount() == 2);
        ko::Reference<Shared>& same = b;
        b = same;
        CHECK(a->refCount() == 2);
        CHECK(a == b);
        ko::Reference<Shared> const moved = std::move(b);
        CHECK_FALSE(b);
        CHECK(a->refCount() == 2);
        b = new Derived(2);
        CHECK(numAlive == 2);
        b = b.get();  // the same object again
        CHECK(b->value == 2);
        b = nullptr;
        CHECK(numAlive == 1);
        CHECK(b == nullptr);
        CHECK(a != nullptr);
    }
    CHECK(numAlive == 0);
}

TEST_CASE("referencesConvertToBaseAndConst") {
    numAlive = 0;
    {
        ko::Reference<Derived> derived(new Derived(3));
        ko::Reference<Shared> base = derived;
        ko::Reference<Shared const> constant = base;
        CHECK(constant->value == 3);
        CHECK((*constant).refCount() == 3);
        derived = nullptr;
        base = nullptr;
        CHECK(constant->refCount() == 1);
        CHECK_FALSE(std::is_convertible_v<ko::Reference<Shared>, ko::Reference<Derived>>);
    }
    CHECK(numAlive == 0);
}

TEST_CASE("countBelongsToTheObjectAndNotToItsValue") {
    numAlive = 0;
    {
        ko::Reference<Shared> const original(new Shared(4));
        Shared local(*original);  // on the stack, never referenced
        CHECK(local.refCount() == 0);
        local.value = 5;
        *original = local;
        CHECK(original->refCount() == 1);
        CHECK(original->value == 5);
    }
    CHECK(numAlive == 0);
}

TEST_CASE("implementationsAreDeletedThroughTheirBase") {
    struct Impl : ko::ImplBase {
        explicit Impl(bool& flag) : gone(flag) {}
        ~Impl() override { gone = true; }
        bool& gone;
    };
    bool gone = false;
    ko::ImplBase* const impl = new Impl(gone);
    delete impl;
    CHECK(gone);
}

TEST_CASE("allocatorHandsOutDistinctAlignedItemsAndReusesThem") {
    for (int const itemSize : {0, 1, 7, 8, 16, 24, 100}) {
        for (int const itemsPerBlock : {-1, 1, 10}) {
            ko::BlockAllocator pool(static_cast<unsigned long long>(itemSize), itemsPerBlock);
            std::vector<unsigned char*> items;
            for (int i = 0; i < 35; ++i) {
                items.push_back(static_cast<unsigned char*>(pool.allocate()));
                REQUIRE(reinterpret_cast<std::uintptr_t>(items.back()) %
                            alignof(std::max_align_t) ==
                        0);
                std::memset(items.back(), i, static_cast<std::size_t>(itemSize));
            }
            for (int i = 0; i < 35; ++i)
                for (int byte = 0; byte < itemSize; ++byte)
                    REQUIRE(items[static_cast<std::size_t>(i)][byte] == i);

            std::set<void*> const old(items.begin(), items.end());
            CHECK(old.size() == 35);
            for (unsigned char* const item : items)
                pool.deallocate(item);
            pool.deallocate(nullptr);
            for (int i = 0; i < 35; ++i)
                CHECK(old.count(pool.allocate()) == 1);
        }
    }
}

TEST_CASE("allocatorRefusesSizesThatCannotBe") {
    unsigned long long const largest = std::numeric_limits<unsigned long long>::max();
    for (unsigned long long const itemSize :
         {largest, largest - 20, largest / 2, largest / 10 + 1}) {
        ko::BlockAllocator pool(itemSize, 10);
        CHECK_THROWS_AS(pool.allocate(), std::bad_alloc);
        CHECK_THROWS_AS(pool.allocate(), std::bad_alloc);
    }
}

TEST_CASE("pooledTreesBehaveAsTheStandardOnes") {
    support::Random random(5);
    ko::map<int, int> map;
    ko::set<int> set;
    std::map<int, int> expectedMap;
    std::set<int> expectedSet;
    for (int step = 0; step < 20000; ++step) {
        int const key = random.index(200);
        if (random.index(5) < 3) {
            CHECK(map.insert({key, step}).second == expectedMap.insert({key, step}).second);
            set.insert(key);
            expectedSet.insert(key);
        } else {
            map.erase(key);
            expectedMap.erase(key);
            if (auto const found = set.find(key); found != set.end())
                set.erase(found);
            expectedSet.erase(key);
        }
        if (step % 5000 == 4999) {
            ko::map<int, int> other(map);
            other.erase(other.begin(), other.end());
            other.swap(map);
            map = other;
            other = std::move(map);
            map = ko::map<int, int>();
            std::swap(map, other);
        }
    }
    CHECK(std::equal(map.begin(), map.end(), expectedMap.begin(), expectedMap.end()));
    CHECK(std::equal(set.begin(), set.end(), expectedSet.begin(), expectedSet.end()));
}

TEST_CASE("pooledTreesMoveSwapAndOutliveEachOther") {
    ko::vector<ko::map<std::string, std::string>> maps;
    for (int i = 0; i < 20; ++i) {  // growth of the array moves the trees
        maps.emplace_back();
        maps.back()["key"] = std::string(100, static_cast<char>('a' + i));
    }
    ko::map<std::string, std::string> kept = std::move(maps[3]);
    maps[3]["again"] = "a tree that was moved from can be used";
    std::swap(maps[0], maps[19]);
    auto node = maps[5].extract("key");
    CHECK(kept.insert(std::move(node)).inserted == false);
    CHECK(maps[0].at("key") == std::string(100, 't'));
    maps.clear();
    CHECK(kept.at("key") == std::string(100, 'd'));
}

TEST_CASE("treesThatAllowEqualKeysKeepTheOrderOfInsertion") {
    ko::multimap<int, char> edges;
    edges.insert({7, 'a'});
    edges.insert({3, 'b'});
    edges.insert({7, 'c'});
    edges.insert({7, 'd'});
    std::string found;
    auto const range = edges.equal_range(7);
    for (auto edge = range.first; edge != range.second; ++edge)
        found += edge->second;
    CHECK(found == "acd");
    CHECK(edges.begin()->second == 'b');
    ko::multiset<int> const repeats{2, 1, 2};
    CHECK(repeats.count(2) == 2);
}

TEST_CASE("listsSortStablyAndKeepTheirSize") {
    ko::list<std::pair<int, int>> list;
    for (int i = 0; i < 100; ++i)
        list.push_back({i * 7 % 10, i});
    list.sort([](auto const& a, auto const& b) { return a.first < b.first; });
    CHECK(std::is_sorted(list.begin(), list.end()));
    ko::list<std::pair<int, int>> tail;
    tail.splice(tail.end(), list, std::next(list.begin(), 90), list.end());
    CHECK(list.size() == 90);
    CHECK(tail.size() == 10);
}

TEST_CASE("hashSetsKeepKeysUniqueThroughRehash") {
    ko::unordered_set<int> set;
    for (int i = 0; i < 1000; ++i)
        set.insert(i % 100);
    set.rehash(5000);
    CHECK(set.bucket_count() >= 5000);
    CHECK(set.size() == 100);
    CHECK(set.count(99) == 1);
}
