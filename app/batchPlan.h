#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace app {

struct BatchFile {
    std::string input;   ///< as the list has it, or below the folder that was named
    std::string output;  ///< below the folder of outputs
};

/// What a batch has to do, the same for every shard of it.
struct BatchPlan {
    std::vector<BatchFile> files;  ///< in the order of the list
    int numDuplicates =
        0;  ///< lines that name a file which was named before, however it was written there
};

/// Reads the list and gives each file an output of its own. Throws Failure with code 3 where the list cannot be read, and with
/// code 2 where it is no list, or where inputs and outputs would lie in one folder.
///
/// list        a file with one path a line, '-' for standard input, or a folder: all files in and below it whose name ends
///             as that of a mesh, sorted, but for hidden ones and those below `folder`
/// folder      of outputs; need not be there; not the one that was named in place of a list, nor above it
/// extension   of all outputs; empty: each has its input's where that can be written, else obj
///
/// An output is named as its input, below the folder: without the leading '/' of a whole path and with "up" for "..". Where two
/// inputs would have the same output, each of these keeps its extension in front of the new one.
BatchPlan planBatch(std::string const& list, std::string const& folder,
                    std::string const& extension);

/// Where the files lie that a batch reads, by folder and name as the system knows them: whatever links lead there.
class InputGuard {
public:
    InputGuard(BatchPlan const& plan, std::vector<std::string> const& taskFiles);

    /// The input that would be replaced by what is written to the path, through links as well; empty when there is none. Looks at
    /// the disk, where links may have been made since.
    std::string inputAt(std::string const& path) const;

    /// Throws Failure with code 2 where an output would replace an input, or links make one file of two outputs.
    void requireApart(BatchPlan const& plan, std::string const& folder) const;

private:
    using FileNumber = std::pair<std::uint64_t, std::uint64_t>;           // device and inode
    using Entry = std::tuple<std::uint64_t, std::uint64_t, std::string>;  // of a folder, and a name

    static bool findEntry(std::string const& path, Entry& entry);
    static bool findOnlyName(std::string const& path, FileNumber& number);

    std::map<Entry, std::string> entries_;
    std::map<FileNumber, std::string>
        numbers_;  // of files with one name: some systems tell no case apart
};

/// One of `count` shares of all files.
struct Shard {
    std::size_t number = 1;  ///< from 1
    std::size_t count = 1;

    /// By the path alone, whatever else is in the list.
    bool holds(BatchFile const& file) const;
};

/// A text like "2/8"; false for one that is none.
bool parseShard(std::string const& text, Shard& shard);

}  // namespace app
