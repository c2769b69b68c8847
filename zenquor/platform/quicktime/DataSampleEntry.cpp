#include "zenquor/platform/quicktime/SampleEntry.h"

namespace zenquor::platform::quicktime {

using detail::BoxWriter;

void writeTimecodeSampleEntry(BoxWriter& out, const FormatDescription& format) {
    const TimecodeFormat& timecode = *format.timecodeFormat();
    out.box(fourCC("tmcd"), [&] {
        out.zeros(6);
        out.u16(1);  // data reference
        out.u32(0);
        out.u32(timecode.flags);
        out.i32(timecode.frameDuration.timescale);
        out.u32(static_cast<std::uint32_t>(timecode.frameDuration.value));
        out.u8(static_cast<std::uint8_t>(timecode.frameQuanta));
        out.u8(0);
        if (timecode.sourceReferenceName.empty()) return;
        out.box(fourCC("name"), [&] {
            const auto name = std::string_view(timecode.sourceReferenceName).substr(0, 0xFFFF);
            out.u16(static_cast<std::uint16_t>(name.size()));
            out.u16(timecode.languageCode);
            out.text(name);
        });
    });
}

void writeCaptionSampleEntry(BoxWriter& out, const FormatDescription& format) {
    out.box(format.mediaSubType(), [&] {
        out.zeros(6);
        out.u16(1);  // data reference
    });
}

}  // namespace zenquor::platform::quicktime
