#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/topology/ArrayMap.h"

#include <doctest/doctest.h>

using namespace koGeom;

TEST_CASE("findsWhatWasAppendedSortedOrNot") {
    ArrayMap<int, int> map;
    CHECK(map.find(7) == -1);
    map.reserve(4);
    for (int const key : {9, 2, 7, 4})
        map.append(key, 10 * key);
    CHECK_FALSE(map.sorted);
    CHECK(map.find(7) == 70);
    map.sort();
    CHECK(map.sorted);
    CHECK(map.size == 4);
    CHECK(map.entries.front().key == 2);
    CHECK(map.find(9) == 90);
    CHECK(map.find(3) == -1);
    map.append(3, 30);
    CHECK_FALSE(map.sorted);
    CHECK(map.find(3) == 30);
    map.clear();
    CHECK(map.size == 0);
    CHECK(map.find(9) == -1);
}

TEST_CASE("aCancelledEntryIsAbsentButStaysUntilCompacted") {
    ArrayMap<int, int> map(-5);
    for (int key = 0; key < 4; ++key)
        map.append(key, key);
    map.sort();
    CHECK(map.cancel(2));
    CHECK_FALSE(map.cancel(2));
    CHECK_FALSE(map.cancel(8));
    CHECK(map.find(2) == -5);
    CHECK(map.size == 4);
    map.compact();
    CHECK(map.size == 3);
    CHECK(map.sorted);
    CHECK(map.find(3) == 3);
}

TEST_CASE("ofEqualKeysTheFirstThatIsNotCancelledIsFound") {
    ArrayMap<int, int> map;
    for (int const value : {1, 2, 3})
        map.append(5, value);
    map.append(0, 0);
    map.sort();
    CHECK(map.find(5) == 1);
    CHECK(map.cancel(5));
    CHECK(map.find(5) == 2);
}

TEST_CASE("handlesAreFoundByTheirPointer") {
    TopoMesh mesh;
    TopoMesh other;
    ArrayMap<TopoMeshVertex, int> numbers;
    ArrayMap<int, TopoMeshVertex> handles;
    for (int i = 0; i < 3; ++i) {
        TopoMeshVertex const v = mesh.allocVertex(Point(i, 0, 0));
        numbers.append(v, i);
        handles.append(i, v);
    }
    numbers.sort();
    TopoMeshVertex const stranger = other.allocVertex(Point());  // the first of its mesh as well
    CHECK(numbers.find(mesh.firstVertex()) == 0);
    CHECK(numbers.find(stranger) == -1);
    CHECK(numbers.find(TopoMeshVertex()) == -1);
    CHECK_FALSE(handles.find(3));
    CHECK(handles.find(2) == mesh.firstVertex().nextInList().nextInList());
}
