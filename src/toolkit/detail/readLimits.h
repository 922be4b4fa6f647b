#pragma once

#include "toolkit/FileOutcome.h"
#include "toolkit/detail/files.h"
#include "toolkit/readMesh.h"

#include <algorithm>
#include <cstdint>

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
    return FileOutcome::failed(
        FileOutcome::Failure::Limit,
        file.name() + ": takes about " + std::to_string(static_cast<std::uint64_t>(bytes)) +
            " bytes to read, more than the memory limit allows; raise the limit");
}

inline FileOutcome cannotBeRead(InputFile const& file) {
    return FileOutcome::failed(FileOutcome::Failure::Unreadable,
                               file.name() + ": cannot be read: the file shrank or its device "
                                             "failed; try again");
}

}  // namespace trimora
