#include "support/checks.h"

#include "trimora/contract/koGeom/debugChannel.h"

#include <memory>

namespace support {

using koGeom::CompactMesh;
using koGeom::EntityModification;
using koGeom::MeshModification;
using koUtil::ThreadPool;

namespace {

std::string rangeFault(char const* what, int const* indices, int count, int numVertices) {
    for (int i = 0; i < count; ++i) {
        if (indices[i] < 0 || indices[i] >= numVertices)
            return std::string(what) + " index " + std::to_string(i) + " is " +
                   std::to_string(indices[i]) + " of " + std::to_string(numVertices) + " vertices";
    }
    return {};
}

std::string runsFault(char const* what, koGeom::MeshSequence const& runs, int numVertices) {
    long long total = 0;
    for (int i = 0; i < runs.lengths.size(); ++i)
        total += runs.lengths[i];
    if (total != runs.points.size())
        return std::string(what) + " lengths do not add up to the points";
    return runs.points.size() == 0
               ? std::string()
               : rangeFault(what, runs.points.data(), runs.points.size(), numVertices);
}

}  // namespace

std::string faultOf(CompactMesh const& mesh) {
    int const numVertices = mesh.getNumVertices();
    if (numVertices < 0 || mesh.getNumTriangles() < 0 || mesh.getNumLines() < 0)
        return "a count is negative";
    if (numVertices > 0 && mesh.getVertices() == nullptr)
        return "no positions";
    for (int i = 0; koGeom::MeshAttributes const* const set = mesh.getAttributes(i); ++i) {
        if (set->getNumElements() != numVertices)
            return std::string("set ") + set->getName().asChar() +
                   " is out of step with the vertices";
    }
    std::string fault;
    if (mesh.getNumTriangles() > 0)
        fault =
            rangeFault("triangle", mesh.getTrianglesRaw(), 3 * mesh.getNumTriangles(), numVertices);
    if (fault.empty() && mesh.getNumLines() > 0)
        fault = rangeFault("line", mesh.getLines()->vertices, 2 * mesh.getNumLines(), numVertices);
    if (fault.empty())
        fault = runsFault("polygon", mesh.polys, numVertices);
    if (fault.empty())
        fault = runsFault("line strip", mesh.lineStrips, numVertices);
    if (fault.empty())
        fault = runsFault("triangle strip", mesh.triStrips, numVertices);
    if (fault.empty())
        fault = runsFault("triangle fan", mesh.triFans, numVertices);
    return fault;
}

ModificationCounter::ModificationCounter(koGeom::PointMesh& mesh) : mesh_(mesh) {
    using Callback = koRTB::FunctionArgMember<EntityModification&, ModificationCounter>;
    connection_ =
        mesh_.modificationSignal().addCallback(new Callback(this, &ModificationCounter::received));
}

ModificationCounter::~ModificationCounter() {
    connection_->disconnect();
}

void ModificationCounter::received(EntityModification& modification) {
    types_.push_back(static_cast<MeshModification&>(modification).getType());
}

DebugCapture::DebugCapture() {
    koGeom::debugChannel().setSink([this](char const* text) { text_ += text; });
}

DebugCapture::~DebugCapture() {
    koGeom::debugChannel().setSink(nullptr);
}

void withPools(std::function<void(int)> const& body) {
    for (int const numThreads : {1, 2, 3, 7}) {
        ThreadPool pool(numThreads);
        struct Restore {
            ~Restore() { ThreadPool::setShared(nullptr); }
        } const restore;
        ThreadPool::setShared(&pool);
        body(numThreads);
    }
}

}  // namespace support
