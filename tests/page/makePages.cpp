// makePages FOLDER: writes the pages that browser_test.py looks at.

#include "pageSamples.h"
#include "toolkit/diagnosisPage.h"

#include <cstdlib>
#include <fstream>
#include <iostream>

namespace {

using pageSamples::Sample;

void write(std::string const& path, std::string const& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    if (!file.flush()) {
        std::cerr << "cannot write " << path << '\n';
        std::exit(1);
    }
}

std::string pageOf(Sample const& sample, std::string const& title,
                   Sample const* repaired = nullptr) {
    trimora::DiagnosisPage page;
    page.title = title;
    page.mesh = &sample.mesh;
    page.diagnosis = &sample.diagnosis;
    if (repaired != nullptr) {
        page.repairedTitle = "sphere-repaired.obj";
        page.repaired = &repaired->mesh;
        page.repairedDiagnosis = &repaired->diagnosis;
    }
    return trimora::writeDiagnosisPage(page);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: makePages FOLDER\n";
        return 2;
    }
    std::string const folder = argv[1];
    Sample const damaged = pageSamples::damagedSphere();
    Sample const sound = pageSamples::soundSphere();
    write(folder + "/compare.html", pageOf(damaged, "sphere.obj", &sound));
    write(folder + "/hostile.html", pageOf(damaged, pageSamples::hostileText));
    write(folder + "/shifted.html", pageOf(pageSamples::shiftedGrid(), "shifted.obj"));
    write(folder + "/empty.html", pageOf({}, "empty.obj"));
    write(folder + "/large.html", pageOf(pageSamples::largeGrid(707), "large.obj"));
    write(folder + "/thinned.html", pageOf(pageSamples::largeGrid(1000), "thinned.obj"));
    return 0;
}
