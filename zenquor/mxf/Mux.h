#pragma once
// The muxer: writes MXF OP1a files, frame wrapped, that can be read while they grow.

#include <cstdint>
#include <string>

#include "zenquor/mxf/FileFunctions.h"
#include "zenquor/mxf/MemoryStream.h"
#include "zenquor/mxf/Status.h"
#include "zenquor/mxf/StreamFormat.h"
#include "zenquor/mxf/ZQRMXFLogger.h"

namespace zenquor {
namespace mxf {

/// What is the same for a whole file. A default value writes a plain file with the system's file functions.
struct MuxSettings {
    /// A value of headerRule: nothing is written in place at the end, the closing metadata stand in the footer
    /// alone. A refresh of the header while recording is another matter.
    static constexpr std::int32_t headerRuleNoSeek = 9262;

    std::u32string company;  // of the Identification set; so are the next four
    std::u32string product;
    std::u32string platform;
    std::int32_t versionMajor = 0;
    std::int32_t versionMinor = 0;
    std::int32_t profile = 0;  // a value of namespace wrapping
    /// Frames after which the header metadata are written again while recording (durations, so that a reader of the
    /// growing file sees them); 0 = never.
    std::int32_t headerUpdateFrames = 0;
    std::int32_t headerRule = 0;
    std::int64_t startTimecodeFrames = 0;  // since midnight, in the edit rate; dropped labels counted out
    bool dropFrame = false;
    std::string reelName;  // UTF-8; not empty: a tape package with this name stands behind the source package
    std::string clipName;  // UTF-8; name of the material package
    std::string startTimecodeText;  // UTF-8; a comment of the material package when not empty
    double partitionSeconds = 10;   // length of a body partition
    std::uint32_t headerReserveBytes =
        8192;  // room kept after the header metadata, so that they can be written again
    std::int32_t usesFileFunctions = 0;  // 1: file is used, 0: the system's own
    FileFunctions file;
};

class Muxer;

}  // namespace mxf

/// The muxer in the order of its use: new, open, add every stream, write samples into the streams, close, free.
///
/// Samples of one edit unit carry one time stamp, whatever the order of the streams; the unit is written when
/// the next time stamp or the close arrives. A stream without a sample in an edit unit gets an empty element
/// (data), silence (sound) or, with a warning, the picture before it once more; where that would break the
/// decoding the unit is left out. The header is written with the first whole edit unit, because the essence
/// itself tells what describes it. The memory held beside one edit unit is the index, about 20 bytes a frame.
///
/// A failure while samples are written, or at the end, is final: later samples are refused with the same status. What
/// opening and adding refuse leaves the muxer as it was. Either is told to the logger in a sentence; a null argument or
/// an operation out of order only gives StatusBadArgument.
///
/// Thread-safety: One thread at a time per muxer.
/// Ownership:     the host keeps the streams alive until mxfMuxFree().
/// Standards:     SMPTE ST 377-1, 378 (OP1a), 379-1, 381-1, 381-3, 382, 383, 386, 436-1, 2019-4, RDD 9, RDD 44.
///
/// @param logger  null is silent.
/// @return null when there is no memory.
mxf::Muxer* mxfMuxNew(ZQRMXFLoggerPtr logger);
/// Opens @p utf8Path through the settings' file functions; a muxer writes one file.
/// @return StatusCannotOpen when the file cannot be created or holds something already, which is left as it is.
std::int32_t mxfMuxOpen(mxf::Muxer* muxer, const char* utf8Path, const mxf::MuxSettings& settings);
/// Adds a stream; before the first sample only. Elements stand in the order video, audio, data.
/// @return StatusBadArgument for an edit rate that is none or not that of the other streams, and for a stream that was
/// added before or is the 128th of its kind; StatusUnknownEssence for a codec that no mapping is known for.
std::int32_t mxfMuxAddInputStream(mxf::Muxer* muxer, mxf::InputStream* stream,
                                  const mxf::StreamFormat& format);
/// Writes the last edit unit, the footer with the whole index and the random index pack, and the header in place.
/// A muxer that never got a sample leaves a valid file without essence.
/// @return the status of the first failure, also when samples have been refused with it before.
std::int32_t mxfMuxClose(mxf::Muxer* muxer);
/// Frees the muxer; null is allowed. An open one is abandoned: the file stays as a crash would leave it.
void mxfMuxFree(mxf::Muxer* muxer);

}  // namespace zenquor
