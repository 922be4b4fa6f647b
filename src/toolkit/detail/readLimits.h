#pragma once

#include "toolkit/FileOutcome.h"
#include "toolkit/detail/files.h"
#include "toolkit/meshCounts.h"
#include "toolkit/readMesh.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>

namespace trimora {

/// Bytes of a text file that the memory limit leaves room for; 0 is no limit.
inline std::uint64_t maxTextSize(ReadOptions const& options) {
    return options.maxMemory == 0
               ? 0
               : std::max<std::uint64_t>(options.maxMemory / readMemoryPerByte, 1);
}

/// Asked by readers of text before they read.
inline FileOutcome requireTextFits(InputFile const& file, ReadOptions const& options) {
    return file.checkSize(maxTextSize(options));
}

/// Asked by readers of binary files before they allocate what a header tells; `bytes` is their own estimate of the peak.
inline FileOutcome requireMemoryFor(InputFile const& file, double bytes,
                                    ReadOptions const& options) {
    if (options.maxMemory == 0 || bytes <= static_cast<double>(options.maxMemory))
        return FileOutcome::done();
    return FileOutcome::failed(FileOutcome::Failure::Limit,
                               file.name() + ": takes about " + bytesInWords(bytes) +
                                   " to read, more than the memory limit of " +
                                   bytesInWords(static_cast<double>(options.maxMemory)) +
                                   " allows; raise the limit");
}

/// What readers of text may hold in arrays that grow as they go: short lines become many times their size in memory. Besides the text;
/// arrays are counted three times, since they may have room for as much again, and are copied into the mesh.
class GrowthLimit {
public:
    GrowthLimit(ReadOptions const& options, std::uint64_t textSize)
        : most_(options.maxMemory == 0
                    ? std::numeric_limits<std::uint64_t>::max()
                    : (options.maxMemory - std::min(textSize, options.maxMemory)) / 3) {}

    /// Whether arrays may hold so many bytes. To be asked every few thousand items.
    bool allows(std::uint64_t bytes) const { return bytes <= most_; }

private:
    std::uint64_t most_;
};

inline FileOutcome takesTooMuch(std::string const& fileName) {
    return FileOutcome::failed(FileOutcome::Failure::Limit,
                               fileName + ": becomes more in memory than the memory limit allows; "
                                          "raise the limit");
}

/// Bytes that the items of an array take.
template <class Array>
std::uint64_t bytesIn(Array const& array) {
    return array.size() * sizeof(typename Array::value_type);
}

inline FileOutcome cannotBeRead(InputFile const& file) {
    return FileOutcome::failed(FileOutcome::Failure::Unreadable,
                               file.name() + ": cannot be read: the file shrank or its device "
                                             "failed; try again");
}

}  // namespace trimora
