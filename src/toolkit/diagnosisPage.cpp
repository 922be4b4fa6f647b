// The page is a template with four gaps: title, style, data and script. Data are script elements that no browser runs: one of
// JSON with the findings, and for each mesh its arrays as base64, little endian as every browser's typed arrays are in practice.

#include "toolkit/diagnosisPage.h"

#include "toolkit/page/pageMesh.h"
#include "toolkit/page/pageSources.h"
#include "toolkit/page/pageText.h"

#include "trimora/version.h"

#include <algorithm>
#include <bit>
#include <map>
#include <span>
#include <string_view>

namespace trimora {

namespace {

static_assert(std::endian::native == std::endian::little,
              "the page's arrays are written as they lie in memory");

struct Panel {
    std::string const& title;
    PageMesh mesh;
    Diagnosis const& diagnosis;
};

void writePoint(ScriptJson& json, std::string_view name, std::array<double, 3> const& point) {
    json.name(name).open('[');
    for (double const coordinate : point)
        json.number(coordinate);
    json.close(']');
}

void writeNumbers(ScriptJson& json, std::string_view name, std::vector<int> const& numbers) {
    json.name(name).open('[');
    for (int const number : numbers)
        json.whole(number);
    json.close(']');
}

void writeOptional(ScriptJson& json, std::string_view name, std::optional<double> const& value) {
    json.name(name);
    if (value)
        json.number(*value);
    else
        json.nothing();
}

void writePlace(ScriptJson& json, FindingPlace const& place) {
    json.open('{');
    writeNumbers(json, "triangles", place.triangles);
    writeNumbers(json, "vertices", place.vertices);
    json.name("edges").open('[');
    for (std::array<int, 2> const& edge : place.edges)
        json.whole(edge[0]).whole(edge[1]);
    json.close(']');
    writePoint(json, "centre", place.centre);
    writePoint(json, "lowest", place.lowest);
    writePoint(json, "highest", place.highest);
    writeOptional(json, "measure", place.measure);
    json.name("note").text(place.note);
    json.close('}');
}

void writeFinding(ScriptJson& json, Finding const& finding) {
    json.open('{');
    json.name("kind").text(finding.kind);
    json.name("severity").whole(static_cast<int>(finding.severity));
    json.name("title").text(finding.title);
    json.name("meaning").text(finding.meaning);
    json.name("remedy").text(finding.remedy);
    json.name("isSure").truth(finding.isSure);
    json.name("advice").text(finding.advice);
    json.name("count").whole(finding.count);
    json.name("unit").text(finding.unit);
    json.name("places").open('[');
    for (FindingPlace const& place : finding.places)
        writePlace(json, place);
    json.close(']');
    json.close('}');
}

void writePanel(ScriptJson& json, Panel const& panel) {
    Diagnosis const& diagnosis = panel.diagnosis;
    json.open('{');
    json.name("title").text(panel.title);
    json.name("vertices").whole(diagnosis.vertices);
    json.name("triangles").whole(diagnosis.triangles);
    json.name("parts").whole(diagnosis.parts);
    json.name("boundaries").whole(diagnosis.boundaries);
    json.name("area").number(diagnosis.area);
    writeOptional(json, "volume", diagnosis.volume);
    writePoint(json, "lowest", diagnosis.lowest);
    writePoint(json, "highest", diagnosis.highest);
    writePoint(json, "shift", diagnosis.shift);
    json.name("isThinned").truth(panel.mesh.isThinned);
    json.name("leftOut").whole(panel.mesh.leftOut);
    json.name("findings").open('[');
    for (Finding const& finding : diagnosis.findings)
        writeFinding(json, finding);
    json.close(']');
    json.close('}');
}

std::string writeJson(std::vector<Panel> const& panels) {
    ScriptJson json;
    json.open('{').name("version").text(koGeom::trimoraVersion()).name("meshes").open('[');
    for (Panel const& panel : panels)
        writePanel(json, panel);
    json.close(']').close('}');
    return json.str();
}

void appendScript(std::string& out, std::string_view type, std::string_view id,
                  std::string_view text) {
    out.append("<script type=\"").append(type).append("\" id=\"").append(id).append("\">");
    out.append(text).append("</script>\n");
}

template <typename Number>
void appendArray(std::string& out, std::string_view name, std::size_t panel,
                 std::vector<Number> const& numbers) {
    appendScript(out, "text/plain", std::string(name) + std::to_string(panel),
                 encodeBase64(std::as_bytes(std::span(numbers))));
}

std::string writeData(std::vector<Panel> const& panels) {
    std::string out;
    appendScript(out, "application/json", "diagnosis", writeJson(panels));
    for (std::size_t i = 0; i < panels.size(); ++i) {
        PageMesh const& mesh = panels[i].mesh;
        appendArray(out, "positions", i, mesh.positions);
        appendArray(out, "corners", i, mesh.corners);
        appendArray(out, "vertexNumbers", i, mesh.vertexNumbers);
        appendArray(out, "triangleNumbers", i, mesh.triangleNumbers);
    }
    return out;
}

/// The template with its gaps filled in; what is filled in is not looked through again.
std::string fill(std::string_view text, std::map<std::string_view, std::string> const& gaps) {
    std::string out;
    for (std::size_t begin = text.find("{{"); begin != std::string_view::npos;
         begin = text.find("{{")) {
        std::size_t const end = text.find("}}", begin);
        out.append(text.substr(0, begin)).append(gaps.at(text.substr(begin + 2, end - begin - 2)));
        text.remove_prefix(end + 2);
    }
    return out.append(text);
}

}  // namespace

std::string writeDiagnosisPage(DiagnosisPage const& page) {
    std::vector<Panel> panels;
    panels.push_back({page.title, choosePageMesh(*page.mesh, *page.diagnosis, mostPageTriangles),
                      *page.diagnosis});
    if (page.repaired != nullptr && page.repairedDiagnosis != nullptr)
        panels.push_back(
            {page.repairedTitle,
             choosePageMesh(*page.repaired, *page.repairedDiagnosis, mostPageTriangles),
             *page.repairedDiagnosis});
    return fill(pageTemplate, {{"title", escapeHtml(page.title)},
                               {"style", std::string(pageStyle)},
                               {"data", writeData(panels)},
                               {"script", std::string(pageScript)}});
}

}  // namespace trimora
