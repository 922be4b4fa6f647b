#pragma once

#include "toolkit/FileOutcome.h"

#include "trimora/export.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace trimora {

/// The bytes of one input: a plain file that is read where it lies, or text in memory (standard input, pipes and
/// devices are read into memory when they are opened).
class TRIMORA_API InputFile {
public:
    InputFile() = default;
    ~InputFile();
    InputFile(InputFile const&) = delete;
    InputFile& operator=(InputFile const&) = delete;

    /// Opens the path, '-' being standard input. Where all has to be read into memory, more than maxBytes bytes are refused; 0 is
    /// no limit. The size of a plain file is for its reader to judge, see checkSize.
    FileOutcome open(std::string const& path, std::uint64_t maxBytes);

    /// Takes text that stays where it is while this object lives.
    FileOutcome openText(std::string_view text, std::string const& name,
                         std::uint64_t maxBytes = 0);

    /// Refuses more than maxBytes bytes; 0 is no limit.
    FileOutcome checkSize(std::uint64_t maxBytes) const;

    std::string const& name() const { return name_; }
    std::uint64_t size() const { return size_; }

    /// Copies bytes [begin, begin + count) to the target; false when they cannot be had. From any thread.
    bool fetch(std::uint64_t begin, std::size_t count, char* target) const;

private:
    FileOutcome readToEnd(std::uint64_t maxBytes);

    std::string name_;
    std::string owned_;
    std::string_view text_;
    std::uint64_t size_ = 0;
    int descriptor_ = -1;  ///< -1: all is in text_
    bool ownsDescriptor_ = false;
};

/// One output that is either complete or not there: written under a passing name in the folder of its place, and moved
/// to it by commit. What is no plain file is written directly.
class TRIMORA_API OutputFile {
public:
    OutputFile() = default;
    ~OutputFile();  ///< without commit: takes the unfinished file away
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;

    std::string const& name() const { return name_; }

    FileOutcome open(std::string const& path);
    FileOutcome write(std::string_view bytes);
    /// Ends the writing: closes the file and puts it in place.
    FileOutcome commit();

    /// The two halves of commit, for several files that are put in place together: between them the caller claims the pending
    /// outputs.
    FileOutcome close();
    FileOutcome putInPlace();

private:
    FileOutcome openBeside(bool replaces, unsigned mode);
    FileOutcome failed(char const* what, int code) const;

    std::string name_;       ///< as the caller gave it, for messages
    std::string target_;     ///< final place, links resolved; empty when written directly
    std::string temporary_;  ///< exists while this is not empty
    int descriptor_ = -1;
    bool ownsDescriptor_ = false;
    bool isAnnounced_ = false;  ///< as a pending output
};

}  // namespace trimora
