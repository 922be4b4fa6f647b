#include "batchPlan.h"

#include "Session.h"
#include "numbers.h"
#include "toolkit/MeshFormat.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <set>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <xxhash.h>

namespace app {

namespace {

namespace fs = std::filesystem;

/// The extension in lower case, without its dot.
std::string extensionOf(fs::path const& path) {
    std::string text = path.extension().string();
    text.erase(0, 1);
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

trimora::MeshFormat const* formatOf(std::string const& extension) {
    for (trimora::MeshFormat const& format : trimora::meshFormats())
        if (std::find(format.extensions.begin(), format.extensions.end(), extension) !=
            format.extensions.end())
            return &format;
    return nullptr;
}

std::vector<std::string> linesOf(std::istream& stream, std::string const& name) {
    std::string text(std::istreambuf_iterator<char>(stream), {});
    if (stream.bad())
        throw Failure{CannotRead, name + ": cannot be read", name};
    constexpr char byteOrderMark[] = "\xEF\xBB\xBF";
    if (text.rfind(byteOrderMark, 0) == 0)
        text.erase(0, sizeof byteOrderMark - 1);
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        std::size_t const end = std::min(text.find('\n', begin), text.size());
        std::string line = text.substr(begin, end - begin);
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (!line.empty())
            lines.push_back(std::move(line));
        begin = end + 1;
    }
    return lines;
}

/// Whether the path lies in the folder or below it, however both are written.
bool isBelow(fs::path const& path, fs::path const& folder) {
    std::error_code ignored;
    fs::path const whole = fs::weakly_canonical(path, ignored);
    fs::path const top = fs::weakly_canonical(folder, ignored);
    auto const [pathEnd, folderEnd] =
        std::mismatch(whole.begin(), whole.end(), top.begin(), top.end());
    return folderEnd == top.end();
}

std::vector<std::string> filesBelow(std::string const& top, std::string const& folder) {
    std::vector<std::string> files;
    std::error_code error;
    fs::recursive_directory_iterator entry(top, fs::directory_options::skip_permission_denied,
                                           error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        std::error_code ignored;
        bool const isHidden = entry->path().filename().string().front() == '.';
        if (entry->is_directory(ignored) && (isHidden || isBelow(entry->path(), folder)))
            entry.disable_recursion_pending();
        trimora::MeshFormat const* const format = formatOf(extensionOf(entry->path()));
        if (!isHidden && entry->is_regular_file(ignored) && format != nullptr &&
            format->read != nullptr)
            files.push_back(entry->path().string());
    }
    if (error)
        throw Failure{CannotRead, top + ": cannot be read: " + error.message(), top};
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<std::string> inputsOf(std::string const& list, std::string const& folder) {
    std::error_code ignored;
    if (list == "-")
        return linesOf(std::cin, "standard input");
    if (fs::is_directory(list, ignored))
        return filesBelow(list, folder);
    std::ifstream stream(list, std::ios::binary);
    if (!stream)
        throw Failure{CannotRead,
                      list + ": cannot be opened: " + std::generic_category().message(errno) +
                          "; name a file with one path a line, a folder, or -",
                      list};
    return linesOf(stream, list);
}

/// The way to an output below the folder, its extension still that of the input. `top` is the folder that was named in place of
/// a list, or empty.
fs::path placeOf(fs::path const& input, std::string const& top) {
    fs::path const path = top.empty() ? input : input.lexically_relative(top);
    fs::path place;
    for (fs::path const& part : path.lexically_normal().relative_path())
        place /= part == ".." ? fs::path("up") : part;
    return place;
}

std::string outputExtension(fs::path const& place, std::string const& asked) {
    if (!asked.empty())
        return asked;
    std::string const own = extensionOf(place);
    trimora::MeshFormat const* const format = formatOf(own);
    return format != nullptr && format->write != nullptr ? own : "obj";
}

std::string digitsOf(std::string const& text) {
    char digits[17];
    std::snprintf(digits, sizeof digits, "%016llx",
                  static_cast<unsigned long long>(XXH3_64bits(text.data(), text.size())));
    return digits;
}

/// Ever longer names of an output, of which the last has no other.
std::string nameOf(BatchFile const& file, fs::path const& place, std::string const& extension,
                   int attempt) {
    std::string const end = "." + extension;
    if (attempt == 0)
        return fs::path(place).replace_extension(end).string();
    return place.string() + (attempt == 1 ? "" : "-" + digitsOf(file.input)) + end;
}

void nameOutputs(BatchPlan& plan, std::string const& list, std::string const& extension) {
    constexpr int lastAttempt = 2;
    std::error_code ignored;
    std::string const top = fs::is_directory(list, ignored) ? list : std::string();
    std::vector<int> attempts(plan.files.size(), 0);
    for (bool isOpen = true; isOpen;) {
        std::map<std::string, std::vector<std::size_t>> filesOf;
        for (std::size_t i = 0; i < plan.files.size(); ++i) {
            BatchFile& file = plan.files[i];
            fs::path const place = placeOf(file.input, top);
            file.output = nameOf(file, place, outputExtension(place, extension), attempts[i]);
            filesOf[file.output].push_back(i);
        }
        isOpen = false;
        for (auto const& [output, files] : filesOf)
            for (std::size_t const i : files)
                if (files.size() > 1 && attempts[i] < lastAttempt) {
                    ++attempts[i];
                    isOpen = true;
                }
    }
}

void requireApart(BatchPlan const& plan, std::string const& folder) {
    std::error_code ignored;
    std::set<std::string> inputs;
    for (BatchFile const& file : plan.files)
        inputs.insert(fs::weakly_canonical(file.input, ignored).string());
    fs::path const top = fs::weakly_canonical(folder, ignored);
    for (BatchFile const& file : plan.files)
        if (inputs.count((top / file.output).lexically_normal().string()) > 0)
            throw Failure{UsageError, "--out " + folder + ": the output " + file.output +
                                          " would replace an input; choose another folder"};
}

std::string reasonOf(int code) {
    return std::generic_category().message(code) + "; check the path and its permissions";
}

/// Hashes to the end of the file; false where it cannot be read.
bool hashContents(int descriptor, std::string& digits) {
    XXH3_state_t* const state = XXH3_createState();
    XXH3_128bits_reset(state);
    std::vector<char> block(std::size_t(1) << 20);
    ssize_t got = 0;
    do {
        got = ::read(descriptor, block.data(), block.size());
        if (got > 0)
            XXH3_128bits_update(state, block.data(), static_cast<std::size_t>(got));
    } while (got > 0 || (got < 0 && errno == EINTR));
    XXH128_canonical_t bytes;
    XXH128_canonicalFromHash(&bytes, XXH3_128bits_digest(state));
    XXH3_freeState(state);
    for (unsigned char const byte : bytes.digest) {
        char hex[3];
        std::snprintf(hex, sizeof hex, "%02x", byte);
        digits += hex;
    }
    return got == 0;
}

}  // namespace

BatchPlan planBatch(std::string const& list, std::string const& folder,
                    std::string const& extension) {
    BatchPlan plan;
    std::set<std::string> seen;
    for (std::string& input : inputsOf(list, folder)) {
        if (!seen.insert(fs::path(input).lexically_normal().string()).second)
            ++plan.numDuplicates;
        else
            plan.files.push_back({input.front() == '-' ? "./" + input : input, {}});
    }
    nameOutputs(plan, list, extension);
    requireApart(plan, folder);
    return plan;
}

bool Shard::holds(BatchFile const& file) const {
    return XXH3_64bits(file.input.data(), file.input.size()) % count == number - 1;
}

bool parseShard(std::string const& text, Shard& shard) {
    std::size_t const slash = text.find('/');
    if (slash == std::string::npos)
        return false;
    auto const number = parseCount(std::string_view(text).substr(0, slash));
    auto const count = parseCount(std::string_view(text).substr(slash + 1));
    if (!number || !count || *number < 1 || *number > *count)
        return false;
    shard = {static_cast<std::size_t>(*number), static_cast<std::size_t>(*count)};
    return true;
}

std::string hashOfFile(std::string const& path, std::string& fault) {
    if (path.find('\0') != std::string::npos) {
        fault = "the path holds a byte 0; write one path a line";
        return {};
    }
    // A pipe would be waited for; it is opened without, and refused.
    int const descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status {};
    std::string digits;
    if (descriptor < 0 || ::fstat(descriptor, &status) != 0)
        fault = path + ": cannot be opened: " + reasonOf(errno);
    else if (!S_ISREG(status.st_mode))
        fault = path + ": is no plain file";
    else if (!hashContents(descriptor, digits))
        fault = path + ": cannot be read: " + reasonOf(errno);
    if (descriptor >= 0)
        ::close(descriptor);
    return fault.empty() ? digits : std::string();
}

}  // namespace app
