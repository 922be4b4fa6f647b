#include "support/TopoModificationCounter.h"
#include "support/builders.h"
#include "support/checks.h"
#include "support/topoBuilders.h"

#include "trimora/topology/meshTwin.h"

#include <cstring>
#include <doctest/doctest.h>
#include <optional>

using namespace koGeom;
using support::faultOf;
using support::listOf;
using support::numOpenEdges;

namespace {

/// A mesh of triangles on the edge from a to b, one for each letter: 'u' runs a to b, 'd' b to a; allocated one by one and
/// parted again, so that all are without a twin.
struct Book {
    TopoMesh mesh;
    std::vector<TopoMeshEdge> onEdge;
    std::optional<support::TopoModificationCounter> notices;  // from the end of the making on

    explicit Book(std::string const& pages) {
        TopoMeshVertex const a = mesh.allocVertex(Point(0, 0, 0));
        TopoMeshVertex const b = mesh.allocVertex(Point(1, 0, 0));
        for (char page : pages) {
            TopoMeshVertex const c = mesh.allocVertex(Point(0, 1, 0));
            onEdge.push_back(
                (page == 'u' ? mesh.allocTriangle(a, b, c) : mesh.allocTriangle(b, a, c)).edge());
        }
        for (TopoMeshEdge e : onEdge)
            part(e);
        notices.emplace(mesh);
    }

    /// Takes the twin away by way of a helper face that comes and goes.
    void part(TopoMeshEdge e) {
        if (!e.twin())
            return;
        TopoMeshVertex const from = e.origin();
        TopoMeshVertex const to = e.next().origin();
        TopoMeshFace const helper = mesh.allocTriangle(from, to, mesh.allocVertex(Point(0, 0, 1)));
        mesh.setTwins(e, helper.edge());
        mesh.deleteFace(helper);
    }

    /// For each page the number of its partner, '-' for none.
    std::string partners() const {
        std::string text;
        for (TopoMeshEdge e : onEdge) {
            char partner = '-';
            for (std::size_t i = 0; i < onEdge.size(); ++i)
                if (e.twin() && e.twin() == onEdge[i])
                    partner = static_cast<char>('0' + i);
            text += partner;
        }
        return text;
    }
};

std::string partnersOf(std::string const& pages) {
    Book book(pages);
    CHECK(book.partners() == std::string(pages.size(), '-'));
    meshTwin(book.mesh);
    CHECK(faultOf(book.mesh) == "");
    CHECK(book.notices->total() == (pages.size() > 1 ? 1 : 0));
    return book.partners();
}

}  // namespace

TEST_CASE("pairsOppositeEdgesFirstThenAlikeOnesInTheOrderOfTheWalk") {
    CHECK(partnersOf("u") == "-");
    CHECK(partnersOf("ud") == "10");
    // Two wound alike become twins; a third one stays without, a fourth pairs with it.
    CHECK(partnersOf("uu") == "10");
    CHECK(partnersOf("uuu") == "10-");
    CHECK(partnersOf("uuuu") == "1032");
    CHECK(partnersOf("uud") == "2-0");
    CHECK(partnersOf("dud") == "10-");
    CHECK(partnersOf("uudd") == "2301");
    CHECK(partnersOf("uduuu") == "1032-");
}

TEST_CASE("linksTwoTrianglesWoundAlikeAndNothingElse") {
    Book book("uu");
    meshTwin(book.mesh);
    CHECK(numOpenEdges(book.mesh) == 4);
    CHECK(book.notices->types() == std::vector<int>{TopoMeshModification::Topology});
    // A second time there is nothing to link and nothing to tell.
    meshTwin(book.mesh);
    CHECK(book.notices->total() == 1);
    CHECK(numOpenEdges(book.mesh) == 4);
}

TEST_CASE("leavesTwinsAloneWhenFacesAreAdded") {
    Book book("uu");
    meshTwin(book.mesh);
    TopoMeshVertex const a = book.onEdge[0].origin();
    TopoMeshVertex const b = book.onEdge[0].next().origin();
    TopoMeshFace const late = book.mesh.allocTriangle(b, a, book.mesh.allocVertex(Point(0, 0, 1)));
    meshTwin(book.mesh);
    CHECK_FALSE(late.edge().twin());
    CHECK(book.partners() == "10");
}

TEST_CASE("looksOnlyWhereItIsToldAndFindsWhatTheWholeWalkFinds") {
    for (char const* const pages : {"u", "ud", "uu", "dud", "uudd", "uduuu"}) {
        Book book(pages);
        Book whole(pages);
        meshTwin(whole.mesh);
        // Nothing is told: nothing is found.
        meshTwin(book.mesh, {});
        CHECK(book.partners() == std::string(std::strlen(pages), '-'));
        CHECK(book.notices->total() == 0);
        // One half-edge of a pair leads to all that the walk would link.
        meshTwin(book.mesh, {TopoMeshEdge(), book.onEdge.back()});
        CHECK(book.partners() == whole.partners());
        CHECK(book.notices->total() == whole.notices->total());
        meshTwin(book.mesh, book.onEdge);
        CHECK(book.notices->total() == whole.notices->total());
    }
}

TEST_CASE("leavesManifoldsAsAllocationMadeThem") {
    for (support::NamedMesh const& named : support::manifoldZoo()) {
        INFO(named.name);
        CompactMesh const& source = named.mesh;
        TopoMesh mesh;
        support::fill(mesh, source);
        std::vector<void const*> const before = support::digestOf(mesh);
        meshTwin(mesh);
        CHECK(support::digestOf(mesh) == before);
    }
}

TEST_CASE("everyPairOfVerticesKeepsAtMostOneOpenEdge") {
    for (support::NamedMesh const& named : support::zoo()) {
        INFO(named.name);
        CompactMesh const& source = named.mesh;
        TopoMesh mesh;
        support::fill(mesh, source);
        meshTwin(mesh);
        CHECK(faultOf(mesh) == "");
        std::set<std::pair<std::size_t, std::size_t>> open;
        bool single = true;
        for (TopoMeshEdge e : listOf(mesh.firstEdge())) {
            std::size_t const a = ko::hash<TopoMeshVertex>()(e.origin());
            std::size_t const b = ko::hash<TopoMeshVertex>()(e.next().origin());
            if (!e.twin())
                single = open.insert({std::min(a, b), std::max(a, b)}).second && single;
        }
        CHECK(single);
    }
}

TEST_CASE("tellsTheNumberOfVertices") {
    TopoMesh mesh;
    support::fill(mesh, support::cube());
    support::DebugCapture capture;
    meshTwin(mesh);
    CHECK(capture.text().find("meshTwin: 8 vertices: ") == 0);
    CHECK(capture.text().substr(capture.text().size() - 3) == " s\n");
}
