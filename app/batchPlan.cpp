#include "batchPlan.h"

#include "Session.h"
#include "numbers.h"
#include "toolkit/MeshFormat.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <set>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
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

/// Whether the bytes are a mesh: a list begins with a path, so one whose first line is there is a list all the same.
bool isMesh(std::string_view text, std::uint64_t size, std::string const& name) {
    std::string_view const head = text.substr(0, trimora::recognitionBytes);
    auto const formats = trimora::meshFormats();
    bool const isRecognised =
        std::any_of(formats.begin(), formats.end(), [&](trimora::MeshFormat const& format) {
            return format.recognises != nullptr && format.recognises(head, size);
        });
    if (head.empty() || (!isRecognised && formatOf(extensionOf(name)) == nullptr))
        return false;
    std::string_view first = head.substr(0, head.find('\n'));
    if (!first.empty() && first.back() == '\r')
        first.remove_suffix(1);
    std::error_code ignored;
    return first.empty() || !fs::exists(fs::path(first), ignored);
}

std::string textOfList(std::istream& stream, std::uint64_t size, std::string const& name) {
    std::string text(trimora::recognitionBytes, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(stream.gcount()));
    if (isMesh(text, std::max<std::uint64_t>(size, text.size()), name))
        throw Failure{UsageError, name + ": is a mesh, not a list; name a file with one path a "
                                         "line, or 'trimora run' for one mesh"};
    if (stream)
        text.append(std::istreambuf_iterator<char>(stream), {});
    if (stream.bad())
        throw Failure{CannotRead, name + ": cannot be read", name};
    return text;
}

std::vector<std::string> linesOfList(std::string text) {
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
        return linesOfList(textOfList(std::cin, 0, "standard input"));
    if (fs::is_directory(list, ignored)) {
        if (isBelow(list, folder))
            throw Failure{UsageError, "--out " + folder + ": holds the inputs of " + list +
                                          " as well, so that outputs would be taken for inputs; "
                                          "choose a folder beside or below it"};
        return filesBelow(list, folder);
    }
    std::ifstream stream(list, std::ios::binary);
    if (!stream)
        throw Failure{CannotRead,
                      list + ": cannot be opened: " + std::generic_category().message(errno) +
                          "; name a file with one path a line, a folder, or -",
                      list};
    std::uintmax_t const size = fs::file_size(list, ignored);
    return linesOfList(textOfList(stream, ignored ? 0 : size, list));
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

/// The same for all ways to write the path of a file; links to it are files of their own.
std::string keyOfInput(std::string const& input) {
    std::error_code error;
    fs::path const path = fs::absolute(input, error);
    fs::path const folder = fs::weakly_canonical(path.parent_path(), error);
    return (error ? path : folder / path.filename()).lexically_normal().string();
}

}  // namespace

BatchPlan planBatch(std::string const& list, std::string const& folder,
                    std::string const& extension) {
    if (list.empty())
        throw Failure{UsageError, "LIST has no name; name a file with one path a line, a folder, "
                                  "or -"};
    if (folder.empty())
        throw Failure{UsageError, "--out takes a folder, not an empty name"};
    BatchPlan plan;
    std::set<std::string> seen;
    for (std::string& input : inputsOf(list, folder)) {
        if (!seen.insert(keyOfInput(input)).second)
            ++plan.numDuplicates;
        else
            plan.files.push_back({input.front() == '-' ? "./" + input : input, {}});
    }
    nameOutputs(plan, list, extension);
    return plan;
}

InputGuard::InputGuard(BatchPlan const& plan, std::vector<std::string> const& taskFiles) {
    auto const add = [this](std::string const& path) {
        Entry entry;
        if (findEntry(path, entry))
            entries_.emplace(entry, path);
        FileNumber number;
        if (findOnlyName(path, number))
            numbers_.emplace(number, path);
    };
    for (BatchFile const& file : plan.files)
        add(file.input);
    std::for_each(taskFiles.begin(), taskFiles.end(), add);
}

/// False where there is no such folder, and so nothing in it.
bool InputGuard::findEntry(std::string const& path, Entry& entry) {
    std::error_code error;
    fs::path const whole = fs::absolute(path, error);
    fs::path const place = fs::weakly_canonical(whole, error);
    struct stat status {};
    if (error || ::stat(place.parent_path().c_str(), &status) != 0)
        return false;
    entry = {status.st_dev, status.st_ino, place.filename().string()};
    return true;
}

/// False for what is not there, and for files with several names: writing replaces one of these, and not the file.
bool InputGuard::findOnlyName(std::string const& path, FileNumber& number) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink != 1)
        return false;
    number = {status.st_dev, status.st_ino};
    return true;
}

std::string InputGuard::inputAt(std::string const& path) const {
    Entry entry;
    if (findEntry(path, entry))
        if (auto const found = entries_.find(entry); found != entries_.end())
            return found->second;
    FileNumber number;
    if (findOnlyName(path, number))
        if (auto const found = numbers_.find(number); found != numbers_.end()) {
            FileNumber current;  // numbers are given again to new files
            if (findOnlyName(found->second, current) && current == number)
                return found->second;
        }
    return {};
}

void InputGuard::requireApart(BatchPlan const& plan, std::string const& folder) const {
    std::map<Entry, std::string> outputs;
    for (BatchFile const& file : plan.files) {
        std::string const path = (fs::path(folder) / file.output).string();
        if (std::string const input = inputAt(path); !input.empty())
            throw Failure{UsageError, "--out " + folder + ": the output " + file.output +
                                          " would replace the input " + input +
                                          "; choose another folder"};
        Entry entry;
        if (!findEntry(path, entry))
            continue;
        if (auto const [other, isNew] = outputs.emplace(entry, file.output); !isNew)
            throw Failure{UsageError, "--out " + folder + ": by links there the outputs " +
                                          other->second + " and " + file.output +
                                          " are one file; choose another folder"};
    }
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

}  // namespace app
