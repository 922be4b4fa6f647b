#include "trimora/contract/koGeom/MeshSequence.h"

#include <algorithm>
#include <limits>
#include <new>

namespace koGeom {

MeshSequence::MeshSequence() = default;

MeshSequence::MeshSequence(ko::vector<ko::vector<int>> const& runs) {
    std::size_t numPoints = 0;
    for (ko::vector<int> const& run : runs)
        numPoints += run.size();
    if (numPoints > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        throw std::bad_alloc();  // more than indices can count
    resize(static_cast<int>(numPoints), static_cast<int>(runs.size()));

    int* point = points.data();
    int* length = lengths.data();
    for (ko::vector<int> const& run : runs) {
        *length++ = static_cast<int>(run.size());
        point = std::copy(run.begin(), run.end(), point);
    }
}

MeshSequence::MeshSequence(MeshSequence const& other) = default;
MeshSequence::MeshSequence(MeshSequence&& other) = default;
MeshSequence& MeshSequence::operator=(MeshSequence const& other) = default;
MeshSequence& MeshSequence::operator=(MeshSequence&& other) = default;
MeshSequence::~MeshSequence() = default;

MeshSequenceShort::MeshSequenceShort() = default;
MeshSequenceShort::MeshSequenceShort(MeshSequenceShort const& other) = default;
MeshSequenceShort::MeshSequenceShort(MeshSequenceShort&& other) = default;
MeshSequenceShort& MeshSequenceShort::operator=(MeshSequenceShort const& other) = default;
MeshSequenceShort& MeshSequenceShort::operator=(MeshSequenceShort&& other) = default;
MeshSequenceShort::~MeshSequenceShort() = default;

}  // namespace koGeom
