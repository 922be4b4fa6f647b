#pragma once

#include <string>
#include <utility>

namespace trimora {

/// How reading or writing a file ended: nothing to say, or one line for a person that tells which file, where in it,
/// what happened and what to do.
struct FileOutcome {
    enum class Failure {
        None,
        Unreadable,   ///< absent, a folder, no permission, or an error of the device while reading
        Unsupported,  ///< no format of that name or extension, or not text of that format
        Limit,        ///< more than memory, the caller's limit or 32-bit indices can hold
        Unwritable,   ///< the output could not be made, written, closed or put in place
        Cancelled     ///< the caller's progress was cancelled
    };

    Failure failure = Failure::None;
    std::string message;

    explicit operator bool() const { return failure == Failure::None; }

    static FileOutcome done() { return {}; }
    static FileOutcome failed(Failure failure, std::string message) {
        return {failure, std::move(message)};
    }
};

}  // namespace trimora
