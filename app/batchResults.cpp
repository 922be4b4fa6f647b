#include "batchResults.h"

#include "Session.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
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

/// Text as it comes back from the file: bytes that are no UTF-8 do not.
std::string asStored(std::string const& text) {
    return Json::parse(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace))
        .get<std::string>();
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

BatchRecord recordOf(Json const& line) {
    BatchRecord record;
    record.input = valueOf<std::string>(line, "input");
    record.output = valueOf<std::string>(line, "output");
    record.hash = valueOf<std::string>(line, "hash");
    record.task = valueOf<std::string>(line, "task");
    record.version = valueOf<std::string>(line, "version");
    record.dropNonfinite = valueOf<bool>(line, "dropNonfinite");
    record.status = valueOf<std::string>(line, "status");
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
}

BatchRecord const* BatchResults::find(BatchRecord const& wanted) const {
    auto const indices = ofInput_.find(asStored(wanted.input));
    if (indices == ofInput_.end() || wanted.hash.empty())
        return nullptr;
    std::string const task = asStored(wanted.task);
    std::string const output = asStored(wanted.output);
    std::error_code ignored;
    bool const isThere = fs::exists(fs::path(folder_) / wanted.output, ignored);
    auto const answers = [&](std::size_t i) {
        BatchRecord const& record = records_[i];
        bool const isSame = record.hash == wanted.hash && record.task == task &&
                            record.version == wanted.version &&
                            record.dropNonfinite == wanted.dropNonfinite;
        return isSame && record.isSettled() &&
               (!record.hasOutput() ||
                (record.output == output && lastOfOutput_.at(output) == i && isThere));
    };
    auto const found = std::find_if(indices->second.rbegin(), indices->second.rend(), answers);
    return found != indices->second.rend() ? &records_[*found] : nullptr;
}

void BatchSummary::add(BatchRecord const& record, bool isEarlier) {
    ++numFiles_;
    numEarlier_ += isEarlier;
    ++counts_[record.status];
    numDefects_ += record.hasOutput() && !record.isClean();
    numFailed_ += !record.hasOutput();
    if (slowest_.input.empty() || record.seconds > slowest_.seconds)
        slowest_ = record;
    if (largest_.input.empty() || record.peakMemory > largest_.peakMemory)
        largest_ = record;
}

ExitCode BatchSummary::code() const {
    return numFailed_ > 0 ? Refused : numDefects_ > 0 ? DefectsFound : Done;
}

Json BatchSummary::toJson() const {
    Json json = {{"files", numFiles_}, {"earlier", numEarlier_}, {"counts", Json::object()}};
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
    text += numEarlier_ > 0 ? "; " + std::to_string(numEarlier_) + " of them earlier\n" : "\n";
    if (numFiles_ == 0)
        return text;
    return text + "  slowest: " + secondsInWords(slowest_.seconds) + ", " + nameInWords(slowest_) +
           "  largest memory: " + bytesInWords(static_cast<double>(largest_.peakMemory)) + ", " +
           nameInWords(largest_);
}

}  // namespace app
