#include "toolkit/writeText.h"

#include "toolkit/detail/files.h"

namespace trimora {

FileOutcome writeText(std::string const& path, std::string_view text) {
    OutputFile file;
    FileOutcome outcome = file.open(path);
    if (outcome)
        outcome = file.write(text);
    return outcome ? file.commit() : outcome;
}

}  // namespace trimora
