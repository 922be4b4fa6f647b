#include "toolkit/readText.h"

#include "toolkit/detail/files.h"

namespace trimora {

FileOutcome readText(std::string const& path, std::uint64_t maxBytes, std::string& text) {
    InputFile file;
    FileOutcome opened = file.open(path, maxBytes);
    if (opened)
        opened = file.checkSize(maxBytes);
    if (!opened)
        return opened;
    text.resize(file.size());
    if (!file.fetch(0, text.size(), text.data()))
        return FileOutcome::failed(FileOutcome::Failure::Unreadable,
                                   file.name() + ": cannot be read to its end; try again");
    return FileOutcome::done();
}

}  // namespace trimora
