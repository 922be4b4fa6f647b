#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace app {

struct BatchFile {
    std::string input;   ///< as the list has it, or below the folder that was named
    std::string output;  ///< below the folder of outputs
};

/// What a batch has to do, the same for every shard of it and for every order of the list.
struct BatchPlan {
    std::vector<BatchFile> files;  ///< in the order of the list
    int numDuplicates = 0;         ///< lines that name a file which was named before
};

/// Reads the list and gives each file an output of its own. Throws Failure with code 3 where the list cannot be read, and with
/// code 2 where an output would replace an input.
///
/// list        a file with one path a line, '-' for standard input, or a folder: all files in and below it whose name ends
///             as that of a mesh, sorted, but for hidden ones and those below `folder`
/// folder      of outputs; need not be there
/// extension   of all outputs; empty: each has its input's where that can be written, else obj
///
/// An output is named as its input, below the folder: without the leading '/' of a whole path and with "up" for "..". Where two
/// inputs would have the same output, each of these keeps its extension in front of the new one.
BatchPlan planBatch(std::string const& list, std::string const& folder,
                    std::string const& extension);

/// One of `count` shares of all files.
struct Shard {
    std::size_t number = 1;  ///< from 1
    std::size_t count = 1;

    /// By the path alone, whatever else is in the list.
    bool holds(BatchFile const& file) const;
};

/// A text like "2/8"; false for one that is none.
bool parseShard(std::string const& text, Shard& shard);

/// 128 bits of the contents in 32 hexadecimal digits, as xxh128sum prints them (XXH3). Empty where the file cannot be read or is no
/// plain file, and `fault` says why.
std::string hashOfFile(std::string const& path, std::string& fault);

}  // namespace app
