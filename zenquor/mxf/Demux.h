#pragma once
// The demuxer: reads the MXF files of any maker, whole, damaged or still growing.

#include <cstdint>

#include "zenquor/mxf/FileFunctions.h"
#include "zenquor/mxf/FileReport.h"
#include "zenquor/mxf/MemoryStream.h"
#include "zenquor/mxf/Status.h"
#include "zenquor/mxf/StreamFormat.h"
#include "zenquor/mxf/ZQRMXFLogger.h"

namespace zenquor {
namespace mxf {

struct DemuxParameters {
    const FileFunctions* file = nullptr;  // null: the system's own, read only
};

/// What a file says of itself in short.
struct FileInfo {
    std::int64_t startTimecodeFrames = 0;  // frames since midnight, dropped labels counted out
    std::uint32_t timecodeBase = 0;        // 24, 25, 30, 50, 60; 0 without timecode
    bool dropFrame = false;
    bool hasTimecode = false;
    double editRate = 0;  // of the picture, or of the first track there is
    std::uint32_t editRateNumerator = 0;
    std::uint32_t editRateDenominator = 0;
    std::int64_t duration = 0;  // edit units that can be read now
    /// Video first, then audio, then data (ancillary packets in front of others), each as the source package lists them.
    std::int32_t streamCount = 0;
    bool isGrowing = false;  // no footer yet
};

/// How mxfDemuxSeek() takes its position.
enum SeekMode : std::int32_t {
    SeekModeKeyFrame = 1,  // the stored unit that decoding must start at to show the frame
    SeekModeExact = 2,     // the edit unit of this number, in stored order
};

class Demuxer;

}  // namespace mxf

/// The demuxer in the order of its use: new, open, ask, create a parser per stream that is wanted and add the stream
/// with a sink, push. Streams and parsers go by number. Each parser has a position of its own, at 0 after its creation.
///
/// Reads OP1a and OP-Atom, frame or clip wrapped, with run-in, open or missing partitions, without footer or index, KLV
/// fill anywhere; sets, properties and elements that are not known are passed over. What is broken is told in
/// report().faults and to the logger; reading goes on where it can.
///
/// Nothing is thrown: where there is no memory, opening gives StatusCannotOpen and everything else StatusReadFailed.
///
/// Thread-safety: One thread at a time per demuxer.
/// Ownership:     the host keeps sinks alive until the stream is removed; file functions are copied on opening.
/// Standards:     SMPTE ST 377-1, 378, 390, 379-1, 436-1.
///
/// @return null when there is no memory.
mxf::Demuxer* mxfDemuxNew();
/// @param logger  null is silent.
/// @return StatusCannotOpen, StatusReadFailed or StatusNotMXF; the demuxer can then be opened on another file.
std::int32_t mxfDemuxOpen(mxf::Demuxer* demuxer, const char* utf8Path, const mxf::DemuxParameters& parameters,
                          ZQRMXFLoggerPtr logger);
std::int32_t mxfDemuxGetFileInfo(mxf::Demuxer* demuxer, mxf::FileInfo& info);
std::int32_t mxfDemuxGetStreamFormat(mxf::Demuxer* demuxer, std::int32_t stream, mxf::StreamFormat& format);
/// Everything that is known of the file; valid until the next call of mxfDemuxRefresh() or mxfDemuxClose(). Reading may find
/// more faults: they are listed from the next call of this on. Null when nothing is open.
const mxf::FileReport* mxfDemuxGetReport(mxf::Demuxer* demuxer);
/// @param parser  receives the parser's number.
/// @return StatusBadArgument when there is no such stream, StatusUnknownEssence when its elements cannot be found.
std::int32_t mxfDemuxCreateParser(mxf::Demuxer* demuxer, std::int32_t stream, std::int32_t& parser);
/// Samples of @p stream go to @p sink: Write(), then Control() with commandSampleReady. A status other than 0 from the
/// sink ends the push.
std::int32_t mxfDemuxAddStream(mxf::Demuxer* demuxer, std::int32_t parser, std::int32_t stream,
                               mxf::MemoryStream* sink);
/// @return StatusBadArgument for a position before 0, StatusEndOfFile for one past the end; the position then stays.
std::int32_t mxfDemuxSeek(mxf::Demuxer* demuxer, std::int32_t parser, std::int64_t frame, std::int32_t mode);
/// Delivers the next edit unit's sample of the parser's stream, none where the unit has no such element, and steps on.
/// The record's time stamp is the edit unit's start in 27 MHz; its flags tell the picture type where the index does.
/// @return StatusEndOfFile behind the last edit unit; StatusReadFailed, StatusWriteFailed or the sink's own status for a unit
/// that could not be delivered, which the parser has stepped over all the same.
std::int32_t mxfDemuxPush(mxf::Demuxer* demuxer, std::int32_t parser);
/// Looks at what has been appended since; a growing file has more to read afterwards. Parsers keep their positions.
/// @return StatusReadFailed when the file cannot be read any more; where memory was missing it is closed then.
std::int32_t mxfDemuxRefresh(mxf::Demuxer* demuxer);
std::int32_t mxfDemuxRemoveStream(mxf::Demuxer* demuxer, std::int32_t parser, std::int32_t stream);
std::int32_t mxfDemuxFreeParser(mxf::Demuxer* demuxer, std::int32_t parser);
std::int32_t mxfDemuxClose(mxf::Demuxer* demuxer);
/// Frees the demuxer and what is still open; null is allowed.
void mxfDemuxFree(mxf::Demuxer* demuxer);

}  // namespace zenquor
