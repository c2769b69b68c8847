#include "zenquor/platform/quicktime/MovieFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "zenquor/core/ByteOrder.h"

namespace zenquor::platform::quicktime {
namespace {

using detail::BoxWriter;
using detail::FileOutput;

constexpr std::size_t blockSize = FileOutput::blockSize;
constexpr std::size_t wideHeader = 16;  // size 1, type, 64-bit size
constexpr std::size_t smallestBox = 8;

constexpr std::uint64_t roundUp(std::uint64_t v) {
    return (v + blockSize - 1) / blockSize * blockSize;
}

void writeWideHeader(BoxWriter& out, FourCC type, std::uint64_t size) {
    out.u32(1);
    out.u32(type);
    out.u64(size);
}

void writeFree(BoxWriter& out, std::size_t size) {
    if (size != 0) out.box(fourCC("free"), [&] { out.zeros(size - smallestBox); });
}

constexpr std::array<std::uint8_t, blockSize> zeroBlock{};

}  // namespace

std::unique_ptr<MovieFile> MovieFile::create(const std::filesystem::path& path, FileType type,
                                             std::size_t frontReserve, int& failure) {
    auto file = FileOutput::create(path, failure);
    if (!file) return nullptr;
    std::unique_ptr<MovieFile> movie(new MovieFile(std::move(file), type));
    if (!movie->start(frontReserve)) {
        failure = movie->lastError();
        return nullptr;
    }
    return movie;
}

bool MovieFile::start(std::size_t frontReserve) {
    BoxWriter out;
    out.bytes(makeFileType(type_));
    frontOffset_ = out.size();
    frontSize_ = frontReserve;
    writeFree(out, frontReserve);
    spareOffset_ = out.size();
    writeFree(out, wideHeader);
    wholeEnd_ = out.size();
    return file_->append({out.span()});
}

void MovieFile::openFragment(std::size_t headBytes) {
    headOffset_ = file_->position();
    headSize_ =
        static_cast<std::size_t>(roundUp(headOffset_ + headBytes + smallestBox + wideHeader) - headOffset_);
    headIsWritten_ = false;
    streamedBytes_ = 0;
}

/// A free box of size 0, which reaches to the end of the file and so hides what is not complete.
std::vector<std::uint8_t> MovieFile::openHead() const {
    BoxWriter out;
    out.reserve(headSize_);
    out.u32(0);
    out.u32(fourCC("free"));
    out.zeros(headSize_ - smallestBox);
    return out.take();
}

bool MovieFile::writePending(std::vector<Bytes> parts) {
    std::vector<std::uint8_t> head;
    if (!headIsWritten_) {
        head = openHead();
        parts.insert(parts.begin(), head);
        headIsWritten_ = true;
    }
    return file_->append(parts);
}

bool MovieFile::appendStreamed(Bytes sample) {
    streamedBytes_ += sample.size();
    return headIsWritten_ ? file_->append({sample}) : writePending({sample});
}

bool MovieFile::closeFragment(const FragmentedMovieHeader& header, std::vector<FragmentTrack>& parts,
                              const std::vector<Bytes>& runs, std::uint64_t duration) {
    std::uint64_t offset = headOffset_ + headSize_ + streamedBytes_;
    std::vector<Bytes> bytes;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (runs[i].empty()) {
            parts[i].offset = headOffset_ + headSize_;
            continue;
        }
        parts[i].offset = offset;
        offset += runs[i].size();
        bytes.push_back(runs[i]);
    }
    // The media box ends with a few unused bytes, so that the next head starts at a block.
    const std::uint64_t mediaEnd = roundUp(offset);
    bytes.push_back(Bytes(zeroBlock).first(static_cast<std::size_t>(mediaEnd - offset)));
    if (!writePending(std::move(bytes)) || !file_->flush()) return false;
    const Bytes movieBox = header.box;
    const std::uint64_t fragmentOffset = headOffset_ + movieBox.size();
    if (!movieBox.empty()) durationOffset_ = headOffset_ + header.durationOffset;
    const auto fragmentBox = makeFragment(type_, sequence_, fragmentOffset, parts);
    if (!writeHead(movieBox, fragmentBox, mediaEnd)) return false;
    ++sequence_;
    wholeEnd_ = mediaEnd;
    headSize_ = 0;
    std::array<std::uint8_t, 8> durationBytes{};
    writeBE64(durationBytes.data(), duration);
    return file_->patch(durationOffset_, durationBytes);
}

bool MovieFile::waitForDisk() {
    failure_ = file_->synchronise();
    return failure_ == 0;
}

bool MovieFile::writeHead(Bytes movieBox, Bytes fragmentBox, std::uint64_t mediaEnd) {
    BoxWriter out;
    out.reserve(headSize_);
    out.bytes(movieBox);
    out.bytes(fragmentBox);
    if (out.size() + smallestBox + wideHeader > headSize_) {
        failure_ = EOVERFLOW;  // the room that was asked for when the fragment was opened does not do
        return false;
    }
    writeFree(out, headSize_ - out.size() - wideHeader);
    writeWideHeader(out, fourCC("mdat"), mediaEnd - (headOffset_ + headSize_) + wideHeader);
    const Bytes head = out.span();
    const auto firstBlock = static_cast<std::size_t>(
        std::min<std::uint64_t>(head.size(), roundUp(headOffset_ + 1) - headOffset_));
    const Bytes rest = head.subspan(firstBlock);
    return (rest.empty() || file_->patch(headOffset_ + firstBlock, rest)) &&
           file_->patch(headOffset_, head.first(firstBlock));
}

bool MovieFile::abandonFragment() {
    headSize_ = 0;
    return file_->truncate(wholeEnd_);
}

bool MovieFile::finish(std::vector<std::uint8_t> movieBox) {
    const std::size_t room = frontSize_;
    const bool fits = room == movieBox.size() || room >= movieBox.size() + smallestBox;
    return fits ? finishAtFront(movieBox) : finishAtEnd(movieBox);
}

/// The movie box is written as a free box and gets its name once it is on the disk, so that at every moment
/// the file has a movie box that is whole.
bool MovieFile::finishAtEnd(std::vector<std::uint8_t>& movieBox) {
    constexpr std::size_t typeOffset = 4;
    const std::uint64_t offset = file_->position();
    std::array<std::uint8_t, 4> type{};
    std::copy_n(movieBox.begin() + typeOffset, 4, type.begin());
    writeBE32(movieBox.data() + typeOffset, fourCC("free"));
    return file_->append({movieBox}) && file_->flush() && waitForDisk() &&
           file_->patch(offset + typeOffset, type) && file_->flush() && joinMedia(offset);
}

bool MovieFile::finishAtFront(std::vector<std::uint8_t>& movieBox) {
    BoxWriter out;
    out.bytes(movieBox);
    writeFree(out, frontSize_ - movieBox.size());
    const Bytes bytes = out.span();
    // The old free box stays in force until its header, the last to be written, is replaced.
    return file_->flush() && file_->patch(frontOffset_ + smallestBox, bytes.subspan(smallestBox)) &&
           waitForDisk() && file_->patch(frontOffset_, bytes.first(smallestBox)) &&
           joinMedia(file_->position());
}

/// Makes everything from the spare bytes to @p end one media box; the recording's boxes become part of its
/// content.
bool MovieFile::joinMedia(std::uint64_t end) {
    BoxWriter out;
    writeWideHeader(out, fourCC("mdat"), end - spareOffset_);
    return file_->patch(spareOffset_, out.span()) && file_->flush() && waitForDisk();
}

}  // namespace zenquor::platform::quicktime
