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
        CHECK(outlineOfGltf(text).bytes() >= 0.0);
    }
}
