#include "RecordCommand.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <memory>
#include <set>

#include <fmt/format.h>

#include "CaptionFile.h"
#include "CaptionOptions.h"
#include "CodecNames.h"
#include "ExitStatus.h"
#include "LogOption.h"
#include "RecordOptions.h"
#include "RecordingSession.h"
#include "zenquor/core/ZQCKTimebase.h"
#include "zenquor/writers/ZQRNabletMXFWriter.h"

namespace zenquor::tools {
namespace {

constexpr std::uint32_t largestIMXChannelCount = 8;  // SMPTE ST 386: one element of eight AES3 channels

/// The arguments as they were typed.
struct Arguments {
    bool bars = false;
    std::string input, format = "1080p25", codec = "avc1", startTimecode, reel, captions, teletext,
                       captionTrack = "c608";
    std::string speed = "live", log;
    std::uint64_t frames = 0;
    double duration = 0;
    bool realtime = false, keepCache = false, refreshHeader = false;
    std::uint64_t blockSize = 0;
    std::uint32_t audioChannels = 2, audioBits = 16, audioPerTrack = 1;
    CaptionOptions captionOptions;
    std::vector<std::string> outputs, captionFiles, ancillaryFiles, cues;
};

/// A mistake in the arguments, told to the person in one sentence.
[[noreturn]] void refuse(const std::string& sentence) {
    throw CLI::ValidationError(sentence);
}

ZHLVideoFormat formatOf(const Arguments& arguments) {
    if (const auto format = ZHLVideoFormat::formatNamed(arguments.format)) return *format;
    std::string names;
    for (const auto& format : ZHLVideoFormat::allFormats()) names += fmt::format(" {}", format.name);
    refuse(fmt::format("There is no format \"{}\". Formats:{}.", arguments.format, names));
}

FourCC codecOf(const Arguments& arguments, const ZHLVideoFormat& format) {
    std::string mistake;
    const FourCC code = codecNamed(arguments.codec, format, mistake);
    if (code == 0) refuse(mistake);
    return code;
}

std::optional<ZQCKTimecode> timecodeOf(const Arguments& arguments, const ZHLVideoFormat& format) {
    if (arguments.startTimecode.empty()) return std::nullopt;
    const auto timebase = ZQCKTimebase::timebaseForHundredths(format.framerate);
    const auto timecode = ZQCKTimecode::timecodeWithString(arguments.startTimecode, timebase);
    if (!timecode) {
        refuse(fmt::format("\"{}\" is not a timecode. Write HH:MM:SS:FF.", arguments.startTimecode));
    }
    std::string typed = arguments.startTimecode;
    std::ranges::replace(typed, ';', ':');
    if (timecode->descriptionWithFrameSeparator(":") != typed) {
        refuse(fmt::format("There is no timecode {} at {} frames per second; the next one is {}.",
                           arguments.startTimecode, timebase.description(), timecode->description()));
    }
    return timecode;
}

std::optional<std::uint64_t> framesOf(const Arguments& arguments, const ZHLVideoFormat& format) {
    if (arguments.frames > 0) return arguments.frames;
    if (arguments.duration <= 0) return std::nullopt;
    const auto timebase = ZQCKTimebase::timebaseForHundredths(format.framerate);
    return static_cast<std::uint64_t>(
        std::max(1.0, std::round(arguments.duration * timebase.realFramesPerSecond())));
}

std::vector<std::filesystem::path> outputsOf(const Arguments& arguments, FourCC codec) {
    std::vector<std::filesystem::path> outputs;
    std::set<std::filesystem::path> seen;
    for (const auto& name : arguments.outputs) {
        const std::filesystem::path path(name);
        const auto extension = path.extension().string();
        if (extension != ".mov" && extension != ".mp4" && extension != ".mxf")
            refuse(fmt::format("\"{}\" must end in .mov, .mp4 or .mxf.", name));
        if (extension == ".mxf" && !ZQRNabletMXFWriter::isCompatibleWithCodec(codec)) {
            refuse(fmt::format("\"{}\": an .mxf does not take {}. It takes {}.", name, fourCCString(codec),
                               "ProRes (apch …), XDCAM (xd5c …), DNxHD (d7x1 …), AVC-Intra (ai15 …), XAVC "
                               "(xv00 …), IMX (mx5p …) and DV (dvcp …)"));
        }
        if (extension == ".mp4" && codec != fourCC("avc1") && codec != fourCC("hvc1")) {
            refuse(fmt::format("\"{}\": an .mp4 takes avc1 and hvc1 only; write {} to a .mov.", name,
                               fourCCString(codec)));
        }
        if (!seen.insert(std::filesystem::absolute(path).lexically_normal()).second)
            refuse(fmt::format("\"{}\" is given twice.", name));
        outputs.push_back(path);
    }
    return outputs;
}

std::vector<std::filesystem::path> sidecarsOf(const std::vector<std::string>& names, bool allowsScenarist) {
    std::vector<std::filesystem::path> paths;
    for (const auto& name : names) {
        const auto kind = captionFileKindByName(name);
        if (kind != CaptionFileKind::MacCaption && !(allowsScenarist && kind == CaptionFileKind::Scenarist))
            refuse(fmt::format("\"{}\" must end in {}.", name, allowsScenarist ? ".scc or .mcc" : ".mcc"));
        paths.emplace_back(name);
    }
    return paths;
}

CueSheet cuesOf(const Arguments& arguments, const ZHLVideoFormat& format) {
    CueSheet cues;
    for (const auto& text : arguments.cues) {
        const auto mistake = cues.add(text, ZQCKTimebase::timebaseForHundredths(format.framerate));
        if (!mistake.empty()) refuse(mistake);
    }
    return cues;
}

bool isSameFile(const std::filesystem::path& one, const std::filesystem::path& other) {
    std::error_code status;
    return std::filesystem::absolute(one).lexically_normal() ==
               std::filesystem::absolute(other).lexically_normal() ||
           std::filesystem::equivalent(one, other, status);
}

/// Refuses a file that would be written twice, or written over while it is read.
void refuseSharedFiles(const RecordOptions& options) {
    std::vector<std::filesystem::path> written = options.captionFiles;
    written.insert(written.end(), options.ancillaryFiles.begin(), options.ancillaryFiles.end());
    for (auto file = written.begin(); file != written.end(); ++file) {
        const auto isThis = [&](const std::filesystem::path& other) { return isSameFile(*file, other); };
        if (std::any_of(written.begin(), file, isThis))
            refuse(fmt::format("\"{}\" is given twice.", file->string()));
        const std::filesystem::path* const read[] = {&options.captions, &options.teletext, &options.input};
        if (std::ranges::any_of(read, [&](const auto* other) { return !other->empty() && isThis(*other); }))
            refuse(fmt::format("\"{}\" would be written over while it is read.", file->string()));
    }
}

RecordOptions optionsOf(const Arguments& arguments) {
    RecordOptions options;
    options.input = arguments.input;
    options.format = formatOf(arguments);
    options.codec = codecOf(arguments, options.format);
    options.frames = framesOf(arguments, options.format);
    options.realtime = arguments.realtime;
    options.startTimecode = timecodeOf(arguments, options.format);
    options.reel = arguments.reel;
    options.audioChannels = arguments.audioChannels;
    options.audioBits = arguments.audioBits;
    options.audioPerTrack = arguments.audioPerTrack;
    if (options.audioChannels % options.audioPerTrack != 0) {
        refuse(fmt::format("{} channels do not divide into tracks of {}.", options.audioChannels,
                           options.audioPerTrack));
    }
    const bool isIMX = fourCCString(options.codec).starts_with("mx");
    const bool writesMXF = std::ranges::any_of(arguments.outputs, [](const auto& name) {
        return std::filesystem::path(name).extension() == ".mxf";
    });
    if (isIMX && writesMXF && options.audioChannels > largestIMXChannelCount) {
        refuse(fmt::format("An IMX .mxf holds up to {} channels of sound, not {} (--audio-channels).",
                           largestIMXChannelCount, options.audioChannels));
    }
    options.captions = arguments.captions;
    options.teletext = arguments.teletext;
    options.captionSettings = arguments.captionOptions.settings();
    options.captionFiles = sidecarsOf(arguments.captionFiles, true);
    options.ancillaryFiles = sidecarsOf(arguments.ancillaryFiles, false);
    options.cues = cuesOf(arguments, options.format);
    options.captionTrack = fourCCFromString(arguments.captionTrack);
    options.keepCache = arguments.keepCache;
    options.speed = arguments.speed;
    options.blockSize = arguments.blockSize;
    options.refreshHeader = arguments.refreshHeader;
    options.outputs = outputsOf(arguments, options.codec);
    refuseSharedFiles(options);
    return options;
}

void describe(CLI::App& command, Arguments& a) {
    auto* const bars =
        command.add_flag("--bars", a.bars, "Record colour bars and tone (the default without --input)");
    command.add_option("--input", a.input, "Media file to play into the recording")
        ->excludes(bars)
        ->option_text("FILE");
    command
        .add_option("--format", a.format,
                    "Picture format, such as 1080p25, 1080i50, 1080p2997, 720p50, 625i50, 2160p25")
        ->capture_default_str();
    command
        .add_option(
            "--codec", a.codec,
            "Codec by name (h264, prores, imx50, avci100, xdcam422 …) or four-character code (avc1, v210 …)")
        ->capture_default_str();
    auto* const frames = command.add_option("--frames", a.frames, "Stop after N frames, 1 or more")
                             ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{INT32_MAX}))
                             ->option_text("N");
    command.add_option("--duration", a.duration, "Stop after so many seconds")
        ->check(CLI::PositiveNumber)
        ->excludes(frames)
        ->option_text("SECONDS");
    command.add_flag("--realtime", a.realtime,
                     "Pace the source at the frame rate; without it the recording runs as fast as it can");
    command
        .add_option("--start-timecode", a.startTimecode,
                    "Timecode of the first frame; default the file's own, or 10:00:00:00")
        ->option_text("HH:MM:SS:FF");
    command.add_option("--reel", a.reel, "Reel name of the timecode track")->option_text("NAME");
    command.add_option("--audio-channels", a.audioChannels, "Channels recorded, 1 to 64")
        ->check(CLI::Range(1, 64))
        ->capture_default_str();
    command.add_option("--audio-bits", a.audioBits, "Bits per sample")
        ->check(CLI::IsMember({16, 24}))
        ->capture_default_str();
    command.add_option("--audio-per-track", a.audioPerTrack, "Channels in each audio track")
        ->check(CLI::IsMember({1, 2}))
        ->capture_default_str();
    command
        .add_option("--captions", a.captions, "Captions to record: an .srt, .stl, .scc, .mcc, .mxf or .mov")
        ->check(CLI::ExistingFile)
        ->option_text("FILE");
    command
        .add_option("--teletext", a.teletext,
                    "Subtitles to send as OP-47 teletext beside the captions: an .srt, .stl or .mxf")
        ->check(CLI::ExistingFile)
        ->option_text("FILE");
    command.add_option("--caption-track", a.captionTrack, "Kind of the caption track: c608 or c708")
        ->check(CLI::IsMember({"c608", "c708"}))
        ->capture_default_str();
    a.captionOptions.addTo(command, "--caption-");
    command
        .add_option("--write-captions", a.captionFiles,
                    "Collect the captions of the frames in an .scc or .mcc")
        ->allow_extra_args(false)
        ->option_text("FILE");
    command
        .add_option("--write-anc", a.ancillaryFiles, "Collect all ancillary packets of the frames in an .mcc")
        ->allow_extra_args(false)
        ->option_text("FILE");
    command.add_option("--cue", a.cues, CueSheet::help())->allow_extra_args(false)->option_text("TC:NAME,…");
    command.add_option("--speed", a.speed, "What avc1 and hvc1 encoders aim at: live, balanced, quality")
        ->check(CLI::IsMember({"live", "balanced", "quality"}))
        ->capture_default_str();
    command.add_flag("--keep-cache", a.keepCache, "Let the recording pass through the page cache");
    command.add_option("--block-size", a.blockSize, "Bytes of one write to an .mxf, such as 4M; default 64M")
        ->transform(CLI::AsSizeValue(false))
        ->check(CLI::Range(std::uint64_t{4096}, std::uint64_t{1} << 30))
        ->option_text("BYTES");
    command.add_flag("--refresh-header", a.refreshHeader,
                     "Keep the header of an .mxf up to date while it is recorded");
    addLogOption(command, a.log);
    command
        .add_option("OUTPUT", a.outputs,
                    "Files to write: .mov; .mp4 for avc1 and hvc1; .mxf for broadcast codecs")
        ->required()
        ->type_name("");
}

}  // namespace

void addRecordCommand(CLI::App& app, int& status) {
    auto* const command = app.add_subcommand(
        "record", "Record bars and tone or a media file into one or more movies and MXF files");
    const auto arguments = std::make_shared<Arguments>();
    describe(*command, *arguments);
    command->footer("Names of codecs:\n" + codecNameList() +
                    "The interrupt key ends the recording cleanly; pressed twice it ends at once.\n"
                    "Exit status: 0 recorded, 1 the recording failed, 2 wrong arguments.");
    command->callback([arguments, &status] {
        applyLogOption(arguments->log);
        const RecordOptions options = optionsOf(*arguments);
        status = RecordingSession(options).run() ? ExitSuccess : ExitFailure;
    });
}

}  // namespace zenquor::tools
