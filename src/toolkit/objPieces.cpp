// Cuts an OBJ file into pieces at line ends and parses them on the shared pool.
//
// Piece k holds the lines that begin in bytes [k size, (k + 1) size): every thread finds the ends of its own pieces and
// reads no others but the rest of a line that begins in them. Each thread has one buffer that stays in its cache.

#include "toolkit/detail/ObjPiece.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/readLimits.h"
#include "toolkit/readMesh.h"

#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"

#include <algorithm>
#include <atomic>
#include <limits>

namespace trimora {

namespace {

constexpr std::uint64_t lookBack =
    3;  // a backslash, CR and LF before the first byte of a line tell that it continues

/// A window of a file in memory.
class Window {
public:
    explicit Window(InputFile const& file) : file_(file) {}

    /// Holds [begin, end) from here on; both are cut off at the end of the file.
    bool load(std::uint64_t begin, std::uint64_t end) {
        begin_ = std::min(begin, file_.size());
        end_ = begin_;
        return extend(end);
    }
    bool extend(std::uint64_t end);

    std::uint64_t end() const { return end_; }
    char at(std::uint64_t position) const {
        return bytes_[static_cast<std::size_t>(position - begin_)];
    }

    /// True when a line begins at this byte, one between `lookBack` bytes from begin and end.
    bool beginsLine(std::uint64_t position) const;

    /// The bytes [begin, end) of the file, with the padding behind them: what comes after `end` is lost.
    char const* padded(std::uint64_t begin, std::uint64_t end) {
        std::fill_n(bytes_.data() + (end - begin_), objTextPadding, '\n');
        return bytes_.data() + (begin - begin_);
    }

private:
    InputFile const& file_;
    std::vector<char> bytes_;
    std::uint64_t begin_ = 0;
    std::uint64_t end_ = 0;
};

bool Window::extend(std::uint64_t end) {
    end = std::min(end, file_.size());
    if (end <= end_)
        return true;
    std::size_t const used = static_cast<std::size_t>(end_ - begin_);
    std::size_t const count = static_cast<std::size_t>(end - end_);
    if (bytes_.size() < used + count + objTextPadding)
        bytes_.resize(used + count + objTextPadding);
    if (!file_.fetch(end_, count, bytes_.data() + used))
        return false;
    end_ = end;
    return true;
}

bool Window::beginsLine(std::uint64_t position) const {
    if (position == 0 || position >= file_.size())
        return true;
    auto const before = [this, position](std::uint64_t back) {
        return back <= position ? at(position - back) : '\0';
    };
    if (before(1) == '\n')
        return before(2) == '\r' ? before(3) != '\\' : before(2) != '\\';
    return before(1) == '\r' && at(position) != '\n' && before(2) != '\\';
}

class PiecesAlg : public koUtil::ThreadedChunkAlg {
public:
    PiecesAlg(InputFile const& file, std::size_t pieceSize, Shift const& shift,
              GrowthLimit const& limit, std::vector<ObjPiece>& pieces)
        : file_(file), pieceSize_(pieceSize), shift_(shift), limit_(limit), pieces_(pieces) {}

    void executeChunk(int chunkIndex, int threadIndex) override;
    ObjPiecesEnd end() const { return end_; }

private:
    bool parse(Window& window, std::uint64_t index);

    InputFile const& file_;
    std::uint64_t const pieceSize_;
    Shift const shift_;
    GrowthLimit const limit_;
    std::vector<ObjPiece>& pieces_;  // each written by one thread
    std::atomic<std::uint64_t> numBytes_{0};
    std::atomic<ObjPiecesEnd> end_{ObjPiecesEnd::Done};
};

void PiecesAlg::executeChunk(int chunkIndex, int threadIndex) {
    int const numPieces = static_cast<int>(pieces_.size());
    int const end = getBeginIndex(chunkIndex + 1, numChunks, numPieces);
    Window window(file_);
    for (int i = getBeginIndex(chunkIndex, numChunks, numPieces); i < end; ++i) {
        if (end_ != ObjPiecesEnd::Done || cancelled(threadIndex))
            return;
        if (!parse(window, static_cast<std::uint64_t>(i)))
            end_ = ObjPiecesEnd::Unreadable;
        std::uint64_t const bytes = pieces_[static_cast<std::size_t>(i)].numBytes();
        if (!limit_.allows(numBytes_.fetch_add(bytes) + bytes))
            end_ = ObjPiecesEnd::PastLimit;
    }
    updateProgress(threadIndex, static_cast<double>(chunkIndex + 1) / numChunks);
}

bool PiecesAlg::parse(Window& window, std::uint64_t index) {
    std::uint64_t const first = index * pieceSize_;
    std::uint64_t const next = std::min(first + pieceSize_, file_.size());
    constexpr std::uint64_t usualLine = 256;
    if (!window.load(first - std::min(first, lookBack), next + usualLine))
        return false;
    std::uint64_t begin = first;
    while (begin < next && !window.beginsLine(begin))
        ++begin;
    if (begin >= next)
        return true;  // inside a line of a piece before

    std::uint64_t end = next;
    for (;; ++end) {
        // A line that ends with the window's last byte may be a CR whose LF is the next one.
        if (end >= window.end() &&
            !window.extend(std::max(2 * window.end() - begin, end + usualLine)))
            return false;
        if (window.beginsLine(end))
            break;
    }
    char const* const text = window.padded(begin, end);
    char const* const textEnd = text + (end - begin);
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    bool const isMarked = index == 0 && std::string_view(text, textEnd).starts_with(byteOrderMark);
    parseObjPiece(isMarked ? text + byteOrderMark.size() : text, textEnd, shift_,
                  pieces_[static_cast<std::size_t>(index)]);
    return true;
}

}  // namespace

std::uint64_t ObjPiece::numBytes() const {
    std::uint64_t bytes = bytesIn(positions) + bytesIn(textureCoordinates) + bytesIn(normals) +
                          bytesIn(faceLines) + bytesIn(faceSizes);
    for (ObjCorners const* const corners : {&vertexOf, &textureOf, &normalOf})
        bytes += bytesIn(corners->indices) + bytesIn(corners->relative);
    return bytes;
}

ObjPiecesEnd parseObjPieces(InputFile const& file, std::size_t pieceSize, Shift const& shift,
                            ReadOptions const& options, std::vector<ObjPiece>& pieces) {
    std::uint64_t const size = file.size();
    // Pieces are numbered by an int; only a file beyond two million gigabytes needs larger ones.
    std::uint64_t const least = size / std::numeric_limits<int>::max() + 1;
    std::uint64_t const stride = std::max<std::uint64_t>(pieceSize, least);
    pieces.resize(static_cast<std::size_t>((size + stride - 1) / stride));

    // The text is read through a window: it takes no memory.
    PiecesAlg alg(file, static_cast<std::size_t>(stride), shift, GrowthLimit(options, 0), pieces);
    alg.setProgress(options.progress);
    koUtil::ThreadPool& pool =
        pieces.size() > 1 ? koUtil::ThreadPool::get() : koUtil::ThreadPool::getSingleThreadedPool();
    pool.run(alg);
    return alg.end();
}

}  // namespace trimora
