#include "support/builders.h"
#include "support/checks.h"
#include "toolkit/detail/gltfOutline.h"

#include <doctest/doctest.h>
#include <string>
#include <vector>

using trimora::GltfOutline;
using trimora::outlineOfGltf;

namespace {

/// Mesh 0 has 4 vertices and 6 indices; mesh 1 two parts that share 10 vertices, one of them without indices.
std::string scene(std::string const& nodes, std::string const& roots) {
    return "{\"scene\" : 1, \"scenes\":[{\"nodes\":[2]},{\"nodes\":[" + roots + "]}],\"nodes\":[" +
           nodes +
           "],\"meshes\":[{\"primitives\":[{\"attributes\":{\"POSITION\":0},\"indices\":1}]},"
           "{\"primitives\":[{\"attributes\":{\"POSITION\":2}},{\"attributes\":{\"POSITION\":2,"
           "\"NORMAL\":2},\"indices\":1}]}],\"accessors\":["
           "{\"count\":4,\"componentType\":5126},{\"componentType\":5123,\"count\":6},"
           "{\"name\":\"]}\\\"count\",\"componentType\":5126,\"count\":10}]}";
}

}  // namespace

//     0
//    / \      two ways from node 0 to node 2, which node 1 names twice;
//   1 = 2     node 3 stands in the other scene
TEST_CASE("nodesCountAsOftenAsTheirParentsNameThem") {
    std::string const nodes = "{\"children\":[1,2]},{\"children\":[2,2],\"mesh\":0},{\"mesh\":1},"
                              "{\"mesh\":1}";
    GltfOutline const outline = outlineOfGltf(scene(nodes, "0"));
    CHECK(outline.refusal.empty());
    CHECK(outline.nodes == 5);
    CHECK(outline.vertices == 24);
    CHECK(outline.indices == 6 + 10 + 6);
    CHECK(outline.placedVertices == 4 + 3 * 20);
    CHECK(outline.placedIndices == 6 + 3 * 16);
    CHECK(outlineOfGltf(scene(nodes, "0,0")).nodes == 10);
    CHECK(outlineOfGltf(scene(nodes, "3")).placedVertices == 20);
    CHECK(outlineOfGltf("\xEF\xBB\xBF" + scene(nodes, "2")).nodes == 1);
}

TEST_CASE("nodesThatAreNoTreeAreRefused") {
    auto const refusalOf = [](std::string const& nodes, std::string const& roots) {
        return outlineOfGltf(scene(nodes, roots)).refusal;
    };
    CHECK(refusalOf("{\"children\":[1]},{\"children\":[0]}", "0").find("ring") !=
          std::string::npos);
    CHECK(refusalOf("{\"children\":[0]}", "0,0").find("ring") != std::string::npos);
    CHECK(refusalOf("{\"children\":[1]},{\"children\":[2]},{\"children\":[1]}", "0") != "");
    CHECK(refusalOf("{},{\"children\":[1]}", "0").empty());  // none of the scene
    CHECK(refusalOf("{\"children\":[7]}", "0").find("does not have") != std::string::npos);
    CHECK(refusalOf("{}", "7").empty());  // the importer's affair
}

TEST_CASE("outlinesOfWhatIsNoJsonBreakNothing") {
    std::string const whole = scene("{\"children\":[1,1]},{\"mesh\":0}", "0");
    for (std::size_t size = 0; size <= whole.size(); ++size)
        outlineOfGltf(whole.substr(0, size));
    support::Random random(8);
    for (int i = 0; i < 5000; ++i)
        outlineOfGltf(support::damaged(whole, "{}[],:\"\\019-e. ", 6, random));
    std::string huge;
    for (int i = 0; i < 2000; ++i)
        huge += "{\"children\":[" + std::to_string(i + 1) + "," + std::to_string(i + 1) + "]},";
    GltfOutline const many = outlineOfGltf(scene(huge + "{\"mesh\":1}", "0"));
    CHECK(many.bytes() > 1e20);
    for (std::string const deep : {"[", "{\"nodes\":", "{\"nodes\":[{\"children\":[", "\\"}) {
        std::string text;
        for (int i = 0; i < 100000; ++i)
            text += deep;
        CHECK(outlineOfGltf(text).refusal.find("makes no sense at byte") != std::string::npos);
    }
    std::string const brackets(1000000, '[');
    std::string const closing(1000000, ']');
    for (std::string const name : {"nodes", "extras"}) {
        CHECK(outlineOfGltf("{\"" + name + "\":" + brackets + closing + "}").refusal.empty());
        CHECK(outlineOfGltf("{\"" + name + "\":" + brackets).refusal != "");
    }
}

TEST_CASE("namesAreTakenAsTheImporterTakesThem") {
    auto const refusalOf = [](std::string const& member) {
        return outlineOfGltf("{" + member + ",\"accessors\":[{\"componentType\":5122}]}").refusal;
    };
    std::string const quantised = "as whole numbers";
    std::string const mesh = "\"meshes\":[{\"primitives\":[{\"attributes\":{";
    CHECK(refusalOf(mesh + "\"POSIT\\u0049ON\":0}}]}]").find(quantised) != std::string::npos);
    CHECK(refusalOf("\"nodes\":[{\"childr\\u0065n\":[7]}]").find("does not have") !=
          std::string::npos);
    // Of two members of one name the importer takes the first, others the last.
    for (std::string const twice : {"\"scene\":0,\"scene\":1", "\"nodes\":[],\"no\\u0064es\":[]",
                                    "\"nodes\":[{\"mesh\":0,\"x\":0,\"mesh\":1}]"})
        CHECK(refusalOf(twice).find("twice in one place") != std::string::npos);
    CHECK(refusalOf("\"extras\":{\"scene\":0,\"scene\":1},\"nodes\":[{\"name\":0,\"name\":1}]") ==
          "");
    // An 8-bit code, which is no JSON, behind a byte order mark, which is none either.
    std::string const latin = "\xEF\xBB\xBF{\"nodes\":[{\"name\":\"W\xFCrfel\",\"children\":[0]}]";
    CHECK(outlineOfGltf(latin + "}").refusal.empty());
    CHECK(outlineOfGltf(latin + ",\"scenes\":[{\"nodes\":[0]}]}").refusal.find("ring") !=
          std::string::npos);
    CHECK(outlineOfGltf(latin).refusal.find("makes no sense") != std::string::npos);
}

TEST_CASE("anOutlineTakesLittleAndNoMoreThanIsAllowed") {
    std::string const buffer(10u << 20, 'A');
    CHECK(outlineOfGltf("{\"buffers\":[{\"uri\":\"" + buffer + "\"}],\"nodes\":[{}]}").bytes() <
          1e4);
    std::string many = "{\"nodes\":[{}";
    for (int i = 0; i < 100000; ++i)
        many += ",{}";
    double const whole = outlineOfGltf(many + "]}").bytes();
    CHECK(whole > 1e7);
    GltfOutline const limited = outlineOfGltf(many + "]}", 1000000);
    CHECK(limited.refusal.empty());
    CHECK(limited.bytes() > 1e6);
    CHECK(limited.bytes() < 1.01e6);
    CHECK(outlineOfGltf(many + "]}", 1u << 30).bytes() == whole);
}

TEST_CASE("partsTellTheirTrianglesAndTheirColours") {
    struct Case {
        char const* primitive;
        int triangles;
        bool hasOddCorners;
    };
    for (Case const& part : std::vector<Case>{{"\"indices\":1", 2, false},
                                              {"\"indices\":1,\"mode\":4", 2, false},
                                              {"\"indices\":2", 3, true},
                                              {"\"mode\":4", 1, true},
                                              {"\"indices\":1,\"mode\":5", 4, false},
                                              {"\"mode\":6", 2, false},
                                              {"\"indices\":3,\"mode\":5", 0, false},
                                              {"\"indices\":1,\"mode\":1", -1, false},
                                              {"\"mode\":\"4\"", -1, false},
                                              {"\"indices\":9", 0, false}}) {
        CAPTURE(part.primitive);
        for (bool const hasColours : {false, true}) {
            std::string const colours = hasColours ? ",\"COLOR_0\":0" : "";
            GltfOutline const outline = outlineOfGltf(
                "{\"accessors\":[{\"componentType\":5126,\"count\":4,\"type\":\"VEC3\"},"
                "{\"count\":6},{\"count\":10},{\"count\":1}],\"meshes\":[{\"primitives\":[{"
                "\"attributes\":{\"POSITION\":0" +
                colours + "}," + part.primitive + "}]}]}");
            REQUIRE(outline.tree.meshes.size() == 1);
            REQUIRE(outline.tree.meshes[0].size() == 1);
            CHECK(outline.tree.meshes[0][0].triangles == part.triangles);
            CHECK(outline.tree.meshes[0][0].hasOddCorners == part.hasOddCorners);
            CHECK(outline.tree.meshes[0][0].hasAlpha == !hasColours);
        }
    }
}
