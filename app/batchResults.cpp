#include "batchResults.h"

#include "Session.h"
#include "toolkit/meshCounts.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>

namespace app {

namespace {

namespace fs = std::filesystem;

/// The value of a key where it is there and of that kind; else nothing of it.
template <class Value>
Value valueOf(Json const& line, char const* key) {
    auto const found = line.find(key);
    bool const isOfKind =
        found != line.end() && (std::is_same_v<Value, std::string> ? found->is_string()
                                : std::is_same_v<Value, bool>      ? found->is_boolean()
                                                                   : found->is_number());
    return isOfKind ? found->get<Value>() : Value();
}

std::map<std::string, std::string> textsOf(Json const& line, char const* key) {
    std::map<std::string, std::string> texts;
    auto const found = line.find(key);
    if (found != line.end() && found->is_object())
        for (auto const& [name, value] : found->items())
            texts[name] = value.is_string() ? value.get<std::string>() : std::string();
    return texts;
}

/// Bytes of the character of UTF-8 at the begin of the text; 0 where there is none.
std::size_t lengthOfCharacter(std::string_view text) {
    auto const byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    unsigned const first = byte(0);
    std::size_t const length = first < 0x80                     ? 1
                               : first >= 0xc2 && first <= 0xdf ? 2
                               : first >= 0xe0 && first <= 0xef ? 3
                               : first >= 0xf0 && first <= 0xf4 ? 4
                                                                : 0;
    if (length < 2 || length > text.size())
        return length > text.size() ? 0 : length;
    // No longer form of what has a shorter one, no half of a pair, none beyond the last.
    unsigned const low = first == 0xe0 ? 0xa0 : first == 0xf0 ? 0x90 : 0x80;
    unsigned const high = first == 0xed ? 0x9f : first == 0xf4 ? 0x8f : 0xbf;
    bool isWhole = byte(1) >= low && byte(1) <= high;
    for (std::size_t i = 2; i < length; ++i)
        isWhole = isWhole && (byte(i) & 0xc0) == 0x80;
    return isWhole ? length : 0;
}

Failure unwritable(std::string const& path, int code) {
    return {CannotWrite,
            path + ": cannot be written: " + std::generic_category().message(code) +
                "; check the folder, its permissions and the space left",
            path};
}

/// Takes off what a killed process left behind the last whole line.
void dropTornLine(int descriptor) {
    off_t end = lseek(descriptor, 0, SEEK_END);
    char block[4096];
    while (end > 0) {
        off_t const begin = std::max<off_t>(0, end - off_t(sizeof block));
        ssize_t const got = pread(descriptor, block, static_cast<std::size_t>(end - begin), begin);
        if (got != end - begin)
            return;  // what cannot be read is left: at worst one line more is passed over
        for (; end > begin; --end)
            if (block[end - begin - 1] == '\n') {
                [[maybe_unused]] int const done = ftruncate(descriptor, end);
                return;
            }
    }
    [[maybe_unused]] int const done = ftruncate(descriptor, 0);
}

std::string nameInWords(BatchRecord const& record) {
    return onOneLine(record.input) + "\n";
}

}  // namespace

std::string textOf(Json const& line) {
    return line.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string textOfPath(std::string const& path) {
    constexpr std::string_view replacement = "\xEF\xBF\xBD";
    std::string text;
    for (std::string_view rest = path; !rest.empty();) {
        std::size_t const length = lengthOfCharacter(rest);
        bool const isPlain = length > 0 && rest.substr(0, length) != replacement;
        if (isPlain) {
            text += rest.substr(0, length);
        } else {
            char digits[3];
            std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(rest[0]));
            text.append(replacement) += digits;
        }
        rest.remove_prefix(isPlain ? length : 1);
    }
    return text;
}

BatchRecord recordOf(Json const& line) {
    BatchRecord record;
    record.input = valueOf<std::string>(line, "input");
    record.output = valueOf<std::string>(line, "output");
    record.outputHash = valueOf<std::string>(line, "outputHash");
    record.outputSize =
        static_cast<std::uint64_t>(std::max(0.0, valueOf<double>(line, "outputSize")));
    record.hash = valueOf<std::string>(line, "hash");
    record.task = valueOf<std::string>(line, "task");
    record.taskFiles = textsOf(line, "taskFiles");
    record.version = valueOf<std::string>(line, "version");
    record.dropNonfinite = valueOf<bool>(line, "dropNonfinite");
    record.status = valueOf<std::string>(line, "status");
    record.numWarnings = static_cast<int>(std::clamp(valueOf<double>(line, "warnings"), 0.0, 1e9));
    record.seconds = valueOf<double>(line, "seconds");
    record.peakMemory =
        static_cast<std::uint64_t>(std::max(0.0, valueOf<double>(line, "peakMemory")));
    record.ended = valueOf<double>(line, "ended");
    return record;
}

BatchResults::BatchResults(std::string const& folder) : folder_(folder) {}

BatchResults::~BatchResults() {
    if (descriptor_ >= 0)
        close(descriptor_);
}

void BatchResults::read() {
    std::error_code ignored;
    for (fs::directory_iterator entry(folder_, ignored), end; entry != end;
         entry.increment(ignored)) {
        std::string const name = entry->path().filename().string();
        if (name.rfind("results", 0) == 0 && entry->path().extension() == ".jsonl")
            readLines(entry->path().string());
    }
    std::stable_sort(records_.begin(), records_.end(),
                     [](BatchRecord const& a, BatchRecord const& b) { return a.ended < b.ended; });
    for (std::size_t i = 0; i < records_.size(); ++i) {
        ofInput_[records_[i].input].push_back(i);
        if (records_[i].hasOutput())
            lastOfOutput_[records_[i].output] = i;
    }
}

void BatchResults::readLines(std::string const& path) {
    std::ifstream stream(path, std::ios::binary);
    for (std::string text; std::getline(stream, text);) {
        Json const line = Json::parse(text, nullptr, false);
        if (line.is_object())
            records_.push_back(recordOf(line));
    }
}

void BatchResults::open(std::string const& path) {
    path_ = path;
    descriptor_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (descriptor_ < 0)
        throw unwritable(path, errno);
    // Where the file system knows no locks, two runs at once do their work twice, and no harm.
    if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        throw Failure{CannotWrite,
                      path + ": another batch is at work there; let it end, give each a --shard "
                             "of its own, or choose another folder",
                      path};
    dropTornLine(descriptor_);
}

void BatchResults::append(Json const& line) {
    std::string const text = textOf(line);
    for (std::size_t begin = 0; begin < text.size();) {
        ssize_t const put = write(descriptor_, text.data() + begin, text.size() - begin);
        if (put < 0 && errno != EINTR)
            throw unwritable(path_, errno);
        begin += put > 0 ? static_cast<std::size_t>(put) : 0;
    }
    isSynced_ = false;
}

void BatchResults::sync() {
    if (isSynced_)
        return;
    isSynced_ = true;
    bool const isKept = fdatasync(descriptor_) == 0 || errno == EINVAL;  // a device keeps nothing
    if (!isKept)
        throw unwritable(path_, errno);
}

BatchRecord const* BatchResults::find(BatchRecord const& wanted) const {
    auto const indices = ofInput_.find(textOfPath(wanted.input));
    if (indices == ofInput_.end() || wanted.hash.empty())
        return nullptr;
    std::string const task = textOfPath(wanted.task);
    std::string const output = textOfPath(wanted.output);
    auto const isOfSame = [&](std::size_t i) {
        BatchRecord const& record = records_[i];
        return record.isSettled() && record.hash == wanted.hash && record.task == task &&
               record.taskFiles == wanted.taskFiles && record.version == wanted.version &&
               record.dropNonfinite == wanted.dropNonfinite;
    };
    auto const found = std::find_if(indices->second.rbegin(), indices->second.rend(), isOfSame);
    if (found == indices->second.rend())
        return nullptr;
    BatchRecord const& record = records_[*found];
    bool const isLast =
        !record.hasOutput() || (record.output == output && lastOfOutput_.at(output) == *found);
    return isLast ? &record : nullptr;
}

void BatchSummary::add(BatchRecord const& record, bool isEarlier, bool isStale) {
    ++numFiles_;
    numEarlier_ += isEarlier;
    ++counts_[record.status];
    numDefects_ += record.hasOutput() && !record.isClean();
    numFailed_ += !record.hasOutput();
    numStale_ += isStale;
    numWarned_ += record.hasOutput() && record.numWarnings > 0;
    if (slowest_.input.empty() || record.seconds > slowest_.seconds)
        slowest_ = record;
    if (largest_.input.empty() || record.peakMemory > largest_.peakMemory)
        largest_ = record;
}

ExitCode BatchSummary::code() const {
    return numFailed_ > 0 ? Refused : numDefects_ > 0 ? DefectsFound : Done;
}

Json BatchSummary::toJson() const {
    Json json = {{"files", numFiles_},
                 {"earlier", numEarlier_},
                 {"stale", numStale_},
                 {"withWarnings", numWarned_},
                 {"counts", Json::object()}};
    for (auto const& [status, count] : counts_)
        json["counts"][status] = count;
    bool const any = numFiles_ > 0;
    json["slowest"] =
        any ? Json{{"input", slowest_.input}, {"seconds", slowest_.seconds}} : Json(nullptr);
    json["largestMemory"] =
        any ? Json{{"input", largest_.input}, {"bytes", largest_.peakMemory}} : Json(nullptr);
    return json;
}

std::string BatchSummary::text() const {
    std::string text = trimora::countInWords(numFiles_, "file");
    char const* separator = ": ";
    for (auto const& [status, count] : counts_) {
        text += separator + std::to_string(count) + " " + status;
        separator = ", ";
    }
    if (numEarlier_ > 0)
        text += "; " + std::to_string(numEarlier_) + " of them earlier";
    if (numWarned_ > 0)
        text += "; " + std::to_string(numWarned_) + " with warnings";
    text += "\n";
    if (numFiles_ == 0)
        return text;
    if (numStale_ > 0)
        text += "  " + trimora::countInWords(numStale_, "output") +
                " of earlier runs in the place of what failed now; \"staleOutput\" names " +
                (numStale_ == 1 ? "it\n" : "them\n");
    return text + "  slowest: " + secondsInWords(slowest_.seconds) + ", " + nameInWords(slowest_) +
           "  largest memory: " + trimora::bytesInWords(static_cast<double>(largest_.peakMemory)) +
           ", " + nameInWords(largest_);
}

}  // namespace app
