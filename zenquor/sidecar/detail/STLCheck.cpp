#include "zenquor/sidecar/detail/STLCheck.h"

#include <algorithm>
#include <string>

#include <fmt/format.h>

#include "zenquor/sidecar/detail/STLTextCheck.h"

namespace zenquor::detail {
namespace {

using Kind = ZQRCaptionRemark::Kind;

constexpr Finding tooShort{Kind::Format};
constexpr Finding subtitleCount{Kind::Count};
constexpr Finding programmeStart{Kind::Timecode};
constexpr Finding firstCue{Kind::Timecode};
constexpr Finding reservedExtension{Kind::Format, 3};
constexpr Finding extensionMissing{Kind::Sequence, 5};
constexpr Finding numberOrder{Kind::Sequence, 3};
constexpr Finding cumulativeOrder{Kind::Sequence, 5};
constexpr Finding verticalPosition{Kind::SafeArea, 5};
constexpr Finding justification{Kind::Format};
constexpr Finding commentFlag{Kind::Format};
constexpr Finding noSuchLabel{Kind::Timecode, 10};
constexpr Finding endsEarly{Kind::Timecode, 10};
constexpr Finding noDuration{Kind::Timecode, 10};
constexpr Finding backwards{Kind::Timecode, 10};
constexpr Finding overlap{Kind::Overlap, 10};

constexpr std::size_t generalSize = STLGeneralCheck::size;
constexpr std::size_t blockSize = STLGeneralCheck::blockSize;
constexpr unsigned firstReservedExtension = 0xF0;
constexpr unsigned userData = 0xFE;
constexpr unsigned lastExtension = 0xFF;
constexpr unsigned lastTeletextRow = 23;
constexpr unsigned lastOpenPosition = 99;
/// Many deliveries open with a subtitle at zero that carries notes about the file, no longer than this.
constexpr std::uint32_t zeroSubtitleFrames = 8;
TimecodeLabel labelFromBytes(std::span<const std::uint8_t> bytes) {
    TimecodeLabel label;
    label.hours = bytes[0];
    label.minutes = bytes[1];
    label.seconds = bytes[2];
    label.frames = bytes[3];
    return label;
}

}  // namespace

void STLCheck::check(Bytes bytes) {
    if (bytes.size() < generalSize) {
        remarks_.add(tooShort, {}, [&] {
            return fmt::format(
                "The file has {} bytes, fewer than its general block of {}: nothing can be read.",
                bytes.size(), generalSize);
        });
        return;
    }
    general_ = STLGeneralCheck(remarks_).check(bytes.first<generalSize>(), bytes.size());
    report_.dropFrame = general_.timebase.dropFrameTimecode();
    const Bytes blocks = bytes.subspan(generalSize);
    report_.blocks = static_cast<std::int64_t>(blocks.size() / blockSize);
    for (std::int64_t i = 0; i < report_.blocks; ++i) {
        checkBlock(blocks.subspan(static_cast<std::size_t>(i) * blockSize, blockSize));
    }
    finish();
}

void STLCheck::checkBlock(Bytes bytes) {
    Block block{bytes[0],
                static_cast<unsigned>(bytes[1] | bytes[2] << 8),
                bytes[3],
                bytes[4],
                bytes[13],
                bytes[14],
                bytes[15],
                labelFromBytes(bytes.subspan(5, 4)),
                labelFromBytes(bytes.subspan(9, 4)),
                bytes.subspan(16),
                {}};
    block.place = {block.in.timecode(general_.timebase), std::nullopt, block.number};
    if (block.extension >= firstReservedExtension && block.extension < userData) {
        remarks_.add(reservedExtension, block.place, [&] {
            return fmt::format("The extension number {:02X} is reserved: the block is not shown.",
                               block.extension);
        });
    }
    if (block.extension >= firstReservedExtension && block.extension != lastExtension) return;
    checkNumbers(block);
    if (block.comment > 1) {
        remarks_.add(commentFlag, block.place, [&] {
            return fmt::format("The comment flag is {}, neither 0 nor 1: the block is not shown.",
                               block.comment);
        });
    }
    if (block.comment != 0) return;
    checkCumulative(block);
    checkPlacement(block);
    checkTimes(block);
    checkText(block);
}

void STLCheck::checkNumbers(const Block& block) {
    const bool continues = goesOn_ && goesOn_->first == block.number &&
                           (block.extension == goesOn_->second + 1 || block.extension == lastExtension);
    if (goesOn_ && !continues) {
        remarks_.add(extensionMissing, goesOnAt_, [&] {
            return fmt::format("The text of subtitle {} goes on in a block that is missing.", goesOn_->first);
        });
    }
    goesOn_.reset();
    if (block.extension != lastExtension) {
        goesOn_ = {block.number, block.extension};
        goesOnAt_ = block.place;
    }
    subtitles_.emplace(block.group, block.number);
    const auto before = std::exchange(lastNumber_, block.number);
    if (!before || block.number == *before || block.number == *before + 1) return;
    remarks_.add(numberOrder, block.place,
                 [&] { return fmt::format("Subtitle {} comes behind subtitle {}.", block.number, *before); });
}

void STLCheck::checkCumulative(const Block& block) {
    enum : unsigned { Single, First, Intermediate, Last };
    const bool opens = block.cumulative == Single || block.cumulative == First;
    const auto tell = [&](const Place& place, const char* text) {
        remarks_.add(cumulativeOrder, place, [&] { return text; });
    };
    if (block.cumulative > Last) {
        tell(block.place, "The cumulative status is none of 0 to 3.");
    } else if (opens && openSet_) {
        tell(*openSet_, "The cumulative set that begins here has no last subtitle.");
        openSet_.reset();
    } else if (!opens && !openSet_) {
        tell(block.place, "The subtitle adds to a cumulative set that has no first one.");
    }
    if (block.cumulative == First) openSet_ = block.place;
    if (block.cumulative == Last && block.extension == lastExtension) openSet_.reset();
}

void STLCheck::checkPlacement(const Block& block) {
    const unsigned first = general_.isTeletext() ? 1 : 0;
    const unsigned last = general_.isTeletext() ? lastTeletextRow : lastOpenPosition;
    if (block.position < first || block.position > last) {
        remarks_.add(verticalPosition, block.place, [&] {
            return fmt::format("The row {} lies outside the {} to {} of the screen.", block.position, first,
                               last);
        });
    }
    if (block.justification > 3) {
        remarks_.add(justification, block.place, [&] {
            return fmt::format("The justification code {} is none of 0 to 3; the text stays as it is.",
                               block.justification);
        });
    }
}

void STLCheck::checkText(const Block& block) {
    const auto text = STLTextCheck(remarks_, general_, block.place).check(block.text);
    const unsigned height = static_cast<unsigned>(std::max(text.rows - 1, 0)) * (text.isDouble ? 2 : 1);
    if (general_.isTeletext() && block.position <= lastTeletextRow &&
        block.position + height > lastTeletextRow) {
        remarks_.add(verticalPosition, block.place, [&] {
            return fmt::format("The text begins on row {} and runs out of the screen below row {}.",
                               block.position, lastTeletextRow);
        });
    }
}

void STLCheck::checkLabel(const TimecodeLabel& label, const char* name, const Place& place) {
    const auto fault = label.fault(general_.timebase);
    if (!fault) return;
    remarks_.add(noSuchLabel, place, [&] {
        return fmt::format("The timecode {} {:02}:{:02}:{:02}:{:02} {}.", name, label.hours, label.minutes,
                           label.seconds, label.frames, *fault);
    });
}

void STLCheck::checkTimes(const Block& block) {
    const ZQCKTimecode in = block.in.timecode(general_.timebase);
    const ZQCKTimecode out = block.out.timecode(general_.timebase);
    if (in.framesSinceMidnight() == 0 && out.framesSinceMidnight() <= zeroSubtitleFrames) return;
    if (!report_.first) checkFirstTime(in, block.place);
    if (!report_.first) report_.first = in;
    report_.last = in;
    checkLabel(block.in, "in", block.place);
    checkLabel(block.out, "out", block.place);
    checkOrder(block, in.framesSinceMidnight(), out.framesSinceMidnight());
}

void STLCheck::checkOrder(const Block& block, std::uint32_t in, std::uint32_t out) {
    if (out < in) {
        remarks_.add(endsEarly, block.place, [&] {
            return fmt::format("The subtitle ends at {}, before it begins.",
                               block.out.timecode(general_.timebase));
        });
    } else if (out == in) {
        remarks_.add(noDuration, block.place,
                     [] { return "The subtitle ends on the frame on which it begins."; });
    }
    const auto lastIn = std::exchange(lastIn_, in);
    const auto lastOut = std::exchange(lastOut_, out);
    // Further blocks of one subtitle share its times, and those of a cumulative set overlap by design.
    const bool isAddition = block.cumulative >= 2 || (lastIn == in && lastOut == out && block.extension != 0);
    if (!lastIn || isAddition) return;
    const auto name = [&](std::uint32_t frame) {
        return ZQCKTimecode::timecodeWithFrames(frame, general_.timebase);
    };
    if (in < *lastIn) {
        remarks_.add(backwards, block.place, [&] {
            return fmt::format("The timecodes run backwards: the block before begins at {}.", name(*lastIn));
        });
    } else if (in < *lastOut) {
        remarks_.add(overlap, block.place, [&] {
            return fmt::format("The subtitle begins before the one before it ends, at {}.", name(*lastOut));
        });
    }
}

void STLCheck::checkFirstTime(const ZQCKTimecode& in, const Place& place) {
    const std::uint32_t first = in.framesSinceMidnight();
    const std::uint32_t hour = general_.timebase.framesPerHour();
    if (general_.programmeStart) {
        const std::uint32_t start = general_.programmeStart->framesSinceMidnight();
        if (first < start || (start == 0 && first >= hour)) {
            remarks_.add(programmeStart, place, [&] {
                return fmt::format(
                    "The programme starts at {}, but the first subtitle is at {}: the two do not count "
                    "from the same time.",
                    *general_.programmeStart, in);
            });
        }
    }
    if (general_.firstInCue && general_.firstInCue->framesSinceMidnight() != 0 &&
        *general_.firstInCue != in) {
        remarks_.add(firstCue, place, [&] {
            return fmt::format("The file says that the first subtitle is at {}, but it is at {}.",
                               *general_.firstInCue, in);
        });
    }
}

void STLCheck::finish() {
    if (goesOn_) {
        remarks_.add(extensionMissing, goesOnAt_, [&] {
            return fmt::format("The text of subtitle {} goes on in a block that is missing.", goesOn_->first);
        });
    }
    if (openSet_) {
        remarks_.add(cumulativeOrder, *openSet_,
                     [] { return "The cumulative set that begins here has no last subtitle."; });
    }
    const auto found = static_cast<std::int64_t>(subtitles_.size());
    if (general_.announcedSubtitles != found) {
        remarks_.add(subtitleCount, {}, [&] {
            return general_.announcedSubtitles < 0
                       ? fmt::format("The number of subtitles is not given; the file holds {}.", found)
                       : fmt::format("The file announces {} subtitles, but holds {}.",
                                     general_.announcedSubtitles, found);
        });
    }
    report_.readable = general_.hasKnownFormat && general_.hasAllBlocks;
}

}  // namespace zenquor::detail
