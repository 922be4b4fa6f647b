#include "support/builders.h"

#include "trimora/contract/koGeom/Array.h"
#include "trimora/contract/koGeom/CompactMesh.h"

#include <cstdlib>
#include <doctest/doctest.h>
#include <map>
#include <new>
#include <string>
#include <vector>

using namespace koGeom;

namespace {

// Keeps every array's bytes away from the array itself: the block is only a ticket. Arrays that are
// read or written past the allocator would see the ticket's bytes. Counts what it is asked for.
class TicketAllocator : public ArrayAllocator {
public:
    int numReads = 0;
    int numWrites = 0;
    std::map<void*, std::vector<char>> storage;

    void const* readAccess(ArrayBase const& array) override {
        ++numReads;
        return storage.at(array.block).data();
    }
    void* writeAccess(ArrayBase& array) override {
        ++numWrites;
        return storage.at(array.block).data();
    }
    void resize(ArrayBase& array, std::size_t numBytes) override {
        if (array.block == nullptr) {
            array.block = new char;
            storage[array.block];
        }
        storage.at(array.block).resize(numBytes, '\x5A');
    }
    void release(ArrayBase& array) override {
        storage.erase(array.block);
        delete static_cast<char*>(array.block);
        array.block = nullptr;
    }
};

Array<int> sequence(int size) {
    Array<int> array(size);
    for (int i = 0; i < size; ++i)
        array[i] = i;
    return array;
}

std::vector<int> valuesOf(Array<int> const& array) {
    return {array.begin(), array.end()};
}

}  // namespace

TEST_CASE("emptyArrayHasNullDataWhateverEmptiedIt") {
    Array<int> array;
    CHECK(array.data() == nullptr);
    CHECK(array.block == nullptr);
    for (int const size : {0, -1, -1000}) {
        array = sequence(5);
        array.setSize(size);
        CHECK(array.size() == 0);
        CHECK(array.data() == nullptr);
        CHECK(array.begin() == array.end());
    }
}

TEST_CASE("setSizeOfTheSameSizeKeepsTheBlock") {
    Array<int> array = sequence(7);
    void* const block = array.block;
    array.setSize(7);
    CHECK(array.block == block);
}

TEST_CASE("arraysFollowAVectorThroughRandomEdits") {
    support::Random random(1);
    ko::Reference<ArrayAllocator> const tickets(new TicketAllocator);
    Array<int> array;
    std::vector<int> expected;
    for (int step = 0; step < 3000; ++step) {
        int const size = random.index(40) - 3;
        std::size_t const newSize = static_cast<std::size_t>(std::max(size, 0));
        switch (random.index(6)) {
        case 0:
            array.setSizeZeroed(size);
            expected.resize(newSize, 0);
            break;
        case 1: {
            std::size_t const oldSize = expected.size();
            array.setSize(size);
            expected.resize(newSize);
            for (std::size_t i = oldSize; i < newSize; ++i)
                array[static_cast<int>(i)] = expected[i] = step;
            break;
        }
        case 2:
            if (!expected.empty()) {
                int const i = random.index(array.size());
                array[i] = expected[static_cast<std::size_t>(i)] = step;
            }
            break;
        case 3: {
            Array<int> const copy(array);
            array.fill(-7);
            array = copy;
            break;
        }
        case 4: {
            Array<int> moved(std::move(array));
            array = std::move(moved);
            break;
        }
        default:
            array.setAllocator(random.index(2) == 0 ? tickets : ko::Reference<ArrayAllocator>());
            break;
        }
        REQUIRE(valuesOf(array) == expected);
    }
}

TEST_CASE("copyFromItsOwnElementsWorks") {
    Array<int> array = sequence(10);
    array.copyFrom(array.data() + 4, 5);
    CHECK(valuesOf(array) == std::vector<int>{4, 5, 6, 7, 8});
    array.copyFrom(array.data(), 5);
    CHECK(valuesOf(array) == std::vector<int>{4, 5, 6, 7, 8});
}

TEST_CASE("moveAssignmentSwapsPointersWithoutAllocators") {
    Array<int> a = sequence(3);
    Array<int> b = sequence(5);
    void* const blockOfB = b.block;
    a = std::move(b);
    CHECK(a.block == blockOfB);
    CHECK(valuesOf(a).size() == 5);
}

TEST_CASE("moveAssignmentKeepsEachAllocatorAndMovesTheElements") {
    ko::Reference<ArrayAllocator> const tickets(new TicketAllocator);
    Array<int> onTickets = sequence(3);
    onTickets.setAllocator(tickets);
    Array<int> onHeap = sequence(5);

    onTickets = std::move(onHeap);
    CHECK(onTickets.allocator == tickets);
    CHECK_FALSE(onHeap.allocator);
    CHECK(valuesOf(onTickets) == std::vector<int>{0, 1, 2, 3, 4});
    CHECK(valuesOf(onHeap) == std::vector<int>{0, 1, 2});
}

TEST_CASE("readingAndWritingTakeDifferentPathsOfTheAllocator") {
    auto* const tickets = new TicketAllocator;
    ko::Reference<ArrayAllocator> const keep(tickets);
    Array<int> array;
    array.setAllocator(keep);
    array.setSizeZeroed(4);
    tickets->numReads = tickets->numWrites = 0;

    array[2] = 9;
    CHECK(tickets->numWrites == 1);
    CHECK(tickets->numReads == 0);
    CHECK(std::as_const(array)[2] == 9);
    CHECK(tickets->numReads == 1);
    CHECK(tickets->numWrites == 1);
    CHECK(tickets->storage.size() == 1);
    array.setSize(0);
    CHECK(tickets->storage.empty());
}

TEST_CASE("anImpossibleSizeThrowsAndLeavesTheArray") {
    struct Big {
        char bytes[std::size_t{1} << 33];
    };
    Array<Big> array;
    CHECK_THROWS_AS(array.setSize(2147483647), std::bad_alloc);
    CHECK_THROWS_AS(array.setSizeZeroed(2147483647), std::bad_alloc);
    CHECK(array.size() == 0);
    CHECK(array.data() == nullptr);
}

TEST_CASE("aMeshPutsAllItsArraysIntoItsAllocatorAndLosesNothing") {
    CompactMesh mesh = support::cube();
    mesh.allocNormalArray();
    mesh.allocTriangleNormalArray();
    mesh.resizeLineArray(2);
    mesh.resizeTriStripArrays(4, 1);
    std::vector<float> const coordinates = support::coordinatesOf(mesh);
    std::vector<int> const triangles = support::trianglesOf(mesh);

    auto* const tickets = new TicketAllocator;
    mesh.setArrayAllocator(tickets);
    CHECK(tickets->storage.size() == 7);
    mesh.allocUVArray();
    CHECK(tickets->storage.size() == 8);
    CHECK(support::coordinatesOf(mesh) == coordinates);
    CHECK(support::trianglesOf(mesh) == triangles);

    CompactMesh copy(mesh);
    CHECK(tickets->storage.size() == 8);
    CHECK(support::coordinatesOf(copy) == coordinates);

    CompactMesh other = support::tetrahedron();
    mesh.swap(other);
    CHECK(support::coordinatesOf(other) == coordinates);
    CHECK(mesh.getNumTriangles() == 4);
    CHECK(tickets->storage.size() == 2);
    mesh = other;
    CHECK(support::trianglesOf(mesh) == triangles);
    CHECK(tickets->storage.size() == 8);
    mesh.setArrayAllocator(nullptr);
    CHECK(support::trianglesOf(mesh) == triangles);
}
