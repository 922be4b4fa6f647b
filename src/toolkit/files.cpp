#include "toolkit/detail/files.h"

#include "toolkit/meshCounts.h"
#include "toolkit/pendingOutput.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace trimora {

namespace {

using Failure = FileOutcome::Failure;

std::string reasonOf(int code) {
    return std::generic_category().message(code);
}

/// read that goes on after a signal; the system's own limit of one call is kept.
ssize_t readSome(int descriptor, char* target, std::size_t count) {
    ssize_t got = -1;
    do {
        got = ::read(descriptor, target, std::min<std::size_t>(count, 1u << 30));
    } while (got < 0 && errno == EINTR);
    return got;
}

/// The folder in which a path lies, with its slash; empty when the path names none.
std::string folderOf(std::string const& path) {
    return path.substr(0, path.rfind('/') + 1);  // npos + 1 is 0
}

std::string linkTarget(std::string const& path) {
    char target[PATH_MAX];
    ssize_t const length = ::readlink(path.c_str(), target, sizeof target);
    return length > 0 ? std::string(target, static_cast<std::size_t>(length)) : std::string();
}

/// The path that symbolic links lead to in the end, whether something is there or not.
std::string behindLinks(std::string path) {
    constexpr int maxLinks = 40;  // as the system; a ring was told by it before
    for (int i = 0; i < maxLinks; ++i) {
        std::string const target = linkTarget(path);
        if (target.empty())
            break;
        path = target.front() == '/' ? target : folderOf(path) + target;
    }
    return path;
}

}  // namespace

InputFile::~InputFile() {
    if (ownsDescriptor_)
        ::close(descriptor_);
}

FileOutcome InputFile::open(std::string const& path, std::uint64_t maxBytes) {
    if (path.empty())
        return FileOutcome::failed(Failure::Unreadable, "the input has no name; name a mesh file, "
                                                        "or - for standard input");
    bool const isStandardInput = path == "-";
    name_ = isStandardInput ? "standard input" : path;
    descriptor_ = isStandardInput ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor_ < 0)
        return FileOutcome::failed(Failure::Unreadable,
                                   name_ + ": cannot be opened: " + reasonOf(errno) +
                                       "; check the path and its permissions");
    ownsDescriptor_ = !isStandardInput;

    struct stat status {};
    if (::fstat(descriptor_, &status) != 0)
        return FileOutcome::failed(Failure::Unreadable,
                                   name_ + ": cannot be examined: " + reasonOf(errno));
    if (S_ISDIR(status.st_mode))
        return FileOutcome::failed(Failure::Unreadable,
                                   name_ + ": is a folder; name a mesh file in it");

    // Standard input may stand anywhere in its file, and some systems' special files tell a size of 0.
    if (isStandardInput || !S_ISREG(status.st_mode) || status.st_size == 0)
        return readToEnd(maxBytes);
    size_ = static_cast<std::uint64_t>(status.st_size);
    return FileOutcome::done();
}

FileOutcome InputFile::openText(std::string_view text, std::string const& name,
                                std::uint64_t maxBytes) {
    name_ = name;
    text_ = text;
    size_ = text.size();
    return checkSize(maxBytes);
}

FileOutcome InputFile::checkSize(std::uint64_t maxBytes) const {
    if (maxBytes == 0 || size_ <= maxBytes)
        return FileOutcome::done();
    return FileOutcome::failed(
        Failure::Limit, name_ + ": more than " + bytesInWords(static_cast<double>(maxBytes)) +
                            ", what the memory limit allows to read; raise the limit");
}

FileOutcome InputFile::readToEnd(std::uint64_t maxBytes) {
    std::size_t used = 0;
    for (;;) {
        if (used == owned_.size())
            owned_.resize(std::max<std::size_t>(2 * used, 1u << 16));
        ssize_t const got = readSome(descriptor_, owned_.data() + used, owned_.size() - used);
        if (got < 0)
            return FileOutcome::failed(Failure::Unreadable,
                                       name_ + ": cannot be read: " + reasonOf(errno));
        used += static_cast<std::size_t>(got);
        size_ = used;
        FileOutcome const fits = checkSize(maxBytes);
        if (got == 0 || !fits) {
            owned_.resize(used);
            text_ = owned_;
            if (ownsDescriptor_)
                ::close(descriptor_);
            ownsDescriptor_ = false;
            descriptor_ = -1;
            return fits;
        }
    }
}

bool InputFile::fetch(std::uint64_t begin, std::size_t count, char* target) const {
    if (begin > size_ || count > size_ - begin)
        return false;
    if (descriptor_ < 0) {
        std::copy_n(text_.data() + begin, count, target);
        return true;
    }
    while (count > 0) {
        ssize_t const got = ::pread(descriptor_, target, std::min<std::size_t>(count, 1u << 30),
                                    static_cast<off_t>(begin));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        begin += static_cast<std::uint64_t>(got);
        count -= static_cast<std::size_t>(got);
        target += got;
    }
    return true;
}

OutputFile::~OutputFile() {
    if (ownsDescriptor_)
        ::close(descriptor_);
    if (!temporary_.empty())
        ::unlink(temporary_.c_str());
    if (isAnnounced_)
        forgetPendingOutputs();
}

FileOutcome OutputFile::failed(char const* what, int code) const {
    return FileOutcome::failed(Failure::Unwritable,
                               name_ + ": " + what + ": " + reasonOf(code) +
                                   "; check the folder, its permissions and the space left");
}

FileOutcome OutputFile::open(std::string const& path) {
    if (path == "-") {
        name_ = "standard output";
        descriptor_ = STDOUT_FILENO;
        return FileOutcome::done();
    }
    if (path.empty())
        return FileOutcome::failed(Failure::Unwritable,
                                   "the output has no name; name a file, or - for standard output");
    name_ = path;
    struct stat status {};
    bool const exists = ::stat(path.c_str(), &status) == 0;
    if (!exists && errno != ENOENT)
        return failed("cannot be created", errno);
    if (exists && S_ISDIR(status.st_mode))
        return FileOutcome::failed(Failure::Unwritable, name_ + ": is a folder; name a file in it");
    if (exists && !S_ISREG(status.st_mode)) {
        descriptor_ = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
        ownsDescriptor_ = descriptor_ >= 0;
        return ownsDescriptor_ ? FileOutcome::done() : failed("cannot be opened", errno);
    }
    // A file that may not be written would be replaced all the same, since only its folder matters to a rename.
    if (exists && ::access(path.c_str(), W_OK) != 0)
        return failed("cannot be written", errno);
    target_ = behindLinks(path);
    return openBeside(exists, exists ? static_cast<unsigned>(status.st_mode) & 07777u : 0666u);
}

FileOutcome OutputFile::openBeside(bool replaces, unsigned mode) {
    static std::atomic<unsigned> counter{0};
    std::string const stem = folderOf(target_) + passingStem();
    constexpr int attempts = 100;
    for (int attempt = 0; attempt < attempts && descriptor_ < 0; ++attempt) {
        temporary_ = stem + std::to_string(counter++) + ".tmp";
        // Before it is there: whoever ends the process meanwhile finds it.
        addPendingOutput(temporary_);
        isAnnounced_ = true;
        descriptor_ = ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (descriptor_ < 0 && errno != EEXIST)
            break;
        if (descriptor_ < 0)
            takeBackPendingOutput();
    }
    if (descriptor_ < 0) {
        int const code = errno;
        temporary_.clear();
        return failed("cannot be created", code);
    }
    ownsDescriptor_ = true;
    if (replaces)
        ::fchmod(descriptor_,
                 mode);  // where the system refuses, the file keeps the permissions of a new one
    return FileOutcome::done();
}

FileOutcome OutputFile::write(std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t const put =
            ::write(descriptor_, bytes.data(), std::min<std::size_t>(bytes.size(), 1u << 30));
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return failed("cannot be written", put < 0 ? errno : ENOSPC);
        bytes.remove_prefix(static_cast<std::size_t>(put));
    }
    return FileOutcome::done();
}

FileOutcome OutputFile::close() {
    if (!ownsDescriptor_)
        return FileOutcome::done();
    if (!temporary_.empty() && areOutputsOnDisk() && ::fsync(descriptor_) != 0)
        return failed("cannot be brought to the disk", errno);
    ownsDescriptor_ = false;  // whatever close says, the descriptor is gone
    return ::close(descriptor_) == 0 ? FileOutcome::done() : failed("cannot be closed", errno);
}

FileOutcome OutputFile::putInPlace() {
    if (temporary_.empty())
        return FileOutcome::done();
    if (::rename(temporary_.c_str(), target_.c_str()) != 0)
        return failed("cannot be put in place", errno);
    temporary_.clear();
    isAnnounced_ = false;  // it stands, and who asks is to hear so
    return FileOutcome::done();
}

FileOutcome OutputFile::commit() {
    if (FileOutcome const closed = close(); !closed)
        return closed;
    if (!temporary_.empty() && !claimPendingOutputs())
        return FileOutcome::failed(Failure::Cancelled, name_ + ": discarded, since the run ends");
    return putInPlace();
}

}  // namespace trimora
