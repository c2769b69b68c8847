#pragma once
// The movie file on disk: a chain of fragments while it grows, one media box and one movie box when it is
// finished.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <vector>

#include "zenquor/platform/detail/FileOutput.h"
#include "zenquor/platform/quicktime/Fragment.h"
#include "zenquor/platform/quicktime/MovieHeader.h"

namespace zenquor::platform::quicktime {

/// Lays boxes and media out in the file so that it can be read at any moment up to the last whole fragment.
///
/// While recording: ftyp, 16 spare bytes, then for each fragment a head, the streamed track's samples as they
/// come, and the other tracks' runs. The head of the first fragment also takes the movie box. Heads and media
/// start at whole 4096-byte blocks. As long as a fragment is open its head is a free box that reaches to the
/// end of the file; closing fills in all of the head but the first block, and that last, in one write that a
/// reader sees whole or not at all. Finished: the spare bytes become the header of one media box over all
/// fragments; the movie box follows at the end.
///
/// Thread-safety: One thread at a time, but for synchronise().
/// Standards:     QuickTime File Format; ISO/IEC 14496-12.
class MovieFile {
public:
    using Bytes = std::span<const std::uint8_t>;

    /// Makes the file and writes its first bytes. @return null with an errno in @p failure.
    static std::unique_ptr<MovieFile> create(const std::filesystem::path& path, FileType type,
                                             std::size_t frontReserve, int& failure);

    bool fragmentIsOpen() const { return headSize_ != 0; }
    bool hasFragments() const { return sequence_ > 1; }
    /// Bytes of the streamed track in the open fragment.
    std::uint64_t streamedBytes() const { return streamedBytes_; }

    /// Starts a fragment whose head holds @p headBytes; it reaches the file with the first sample.
    void openFragment(std::size_t headBytes);
    /// Writes a sample of the streamed track into the open fragment.
    bool appendStreamed(Bytes sample);
    /// Writes the other tracks' runs and the head. Sets each part's offset.
    /// @param header    the movie box for the first fragment, else empty.
    /// @param parts     all tracks with samples; those with bytes in @p runs at the same index are written
    /// here.
    /// @param duration  of the movie with this fragment, in its time scale.
    bool closeFragment(const FragmentedMovieHeader& header, std::vector<FragmentTrack>& parts,
                       const std::vector<Bytes>& runs, std::uint64_t duration);
    /// Turns the file into a plain movie. @p movieBox holds the offsets of samples as closeFragment() told
    /// them.
    bool finish(std::vector<std::uint8_t> movieBox);
    /// Cuts the open fragment off, after a failure.
    bool abandonFragment();

    /// Waits for the disk, beside whatever else is done. @return 0 or an errno.
    int synchronise() const { return file_->synchronise(); }
    int lastError() const { return failure_ != 0 ? failure_ : file_->lastError(); }

private:
    MovieFile(std::unique_ptr<detail::FileOutput> file, FileType type)
        : file_(std::move(file)), type_(type) {}

    bool start(std::size_t frontReserve);
    std::vector<std::uint8_t> openHead() const;
    bool writePending(std::vector<Bytes> parts);
    bool writeHead(Bytes movieBox, Bytes fragmentBox, std::uint64_t mediaEnd);
    bool finishAtEnd(std::vector<std::uint8_t>& movieBox);
    bool finishAtFront(std::vector<std::uint8_t>& movieBox);
    bool joinMedia(std::uint64_t end);
    bool waitForDisk();

    std::unique_ptr<detail::FileOutput> file_;
    FileType type_;
    std::uint32_t sequence_ = 1;
    std::uint64_t frontOffset_ = 0;     // a free box that may take the finished movie box
    std::size_t frontSize_ = 0;         // 0: none
    std::uint64_t durationOffset_ = 0;  // of the movie's duration in the first fragment's movie box
    std::uint64_t spareOffset_ = 0;     // the 16 bytes
    std::uint64_t wholeEnd_ = 0;        // the end of the last whole fragment
    std::uint64_t headOffset_ = 0;
    std::size_t headSize_ = 0;  // 0: no fragment is open
    bool headIsWritten_ = false;
    std::uint64_t streamedBytes_ = 0;
    int failure_ = 0;  // of what is not the file output's
};

}  // namespace zenquor::platform::quicktime
