#include <bit>

#include "zenquor/platform/detail/PCMLayout.h"
#include "zenquor/platform/quicktime/SampleEntry.h"

namespace zenquor::platform::quicktime {
namespace {

using detail::BoxWriter;

constexpr std::uint32_t monoLayout = 0x00640001;
constexpr std::uint32_t stereoLayout = 0x00650002;
constexpr std::uint32_t discreteLayout = 0x00930000;  // | number of channels
constexpr std::uint32_t framesPerAACPacket = 1024;

std::uint32_t layoutTag(const AudioFormat& format) {
    const std::uint32_t channels = format.description.channelsPerFrame;
    if (format.channelLayoutTag != 0) return format.channelLayoutTag;
    return channels == 1 ? monoLayout : channels == 2 ? stereoLayout : discreteLayout | channels;
}

void writeChannels(BoxWriter& out, const AudioFormat& format) {
    out.fullBox(fourCC("chan"), 0, 0, [&] {
        out.u32(layoutTag(format));
        out.u32(0);  // no bitmap
        out.u32(0);  // no descriptions
    });
}

void writeHead(BoxWriter& out, std::uint16_t version) {
    out.zeros(6);
    out.u16(1);  // data reference
    out.u16(version);
    out.u16(0);  // revision
    out.u32(0);  // vendor
}

/// The fields of all versions but 2.
void writeVersion0(BoxWriter& out, const AudioFormat& format, std::uint16_t bits, std::int16_t compression) {
    out.u16(static_cast<std::uint16_t>(format.description.channelsPerFrame));
    out.u16(bits);
    out.i16(compression);
    out.u16(0);  // packet size
    out.u32(static_cast<std::uint32_t>(format.description.sampleRate) << 16);
}

void writeVersion1(BoxWriter& out, std::uint32_t samplesPerPacket, std::uint32_t bytesPerPacket,
                   std::uint32_t bytesPerFrame, std::uint32_t bytesPerSample) {
    out.u32(samplesPerPacket);
    out.u32(bytesPerPacket);
    out.u32(bytesPerFrame);
    out.u32(bytesPerSample);
}

void writeTerminator(BoxWriter& out) {
    out.box(0, [] {});
}

// ---- PCM

using detail::PCMLayout;

/// Plain integers of mono and stereo tracks, which every reader knows by QuickTime's old codes.
bool isSimple(const AudioFormat& format, const PCMLayout& layout, std::uint32_t bytes) {
    const bool rateFits = format.description.sampleRate < 65536;  // into the 16.16 field of versions 0 and 1
    return rateFits && !layout.isFloat && layout.channels <= 2 && layout.bytes == bytes &&
           layout.bits == bytes * 8;
}

void writePCM16(BoxWriter& out, const AudioFormat& format, const PCMLayout& layout) {
    out.box(layout.isBigEndian ? fourCC("twos") : fourCC("sowt"), [&] {
        writeHead(out, 0);
        writeVersion0(out, format, 16, 0);
        writeChannels(out, format);
    });
}

void writePCM24(BoxWriter& out, const AudioFormat& format, const PCMLayout& layout) {
    constexpr FourCC code = fourCC("in24");
    out.box(code, [&] {
        writeHead(out, 1);
        writeVersion0(out, format, 16, 0);
        writeVersion1(out, 1, 3, 3 * layout.channels, 2);
        out.box(fourCC("wave"), [&] {
            out.box(fourCC("frma"), [&] { out.u32(code); });
            out.box(fourCC("enda"), [&] { out.u16(layout.isBigEndian ? 0 : 1); });
            writeTerminator(out);
        });
        writeChannels(out, format);
    });
}

/// Any number of channels, any rate, any depth. Integers of 16 bits and more are signed, whether or not it is
/// said.
void writeLinearPCM(BoxWriter& out, const AudioFormat& format) {
    constexpr std::uint32_t keptFlags = audioFormatFlagIsFloat | audioFormatFlagIsBigEndian |
                                        audioFormatFlagIsSignedInteger | audioFormatFlagIsPacked |
                                        audioFormatFlagIsAlignedHigh;
    const AudioStreamBasicDescription& d = format.description;
    out.box(fourCC("lpcm"), [&] {
        writeHead(out, 2);
        out.u16(3);
        out.u16(16);
        out.i16(-2);
        out.u16(0);
        out.u32(0x00010000);
        out.u32(72);
        out.u64(std::bit_cast<std::uint64_t>(d.sampleRate));
        out.u32(d.channelsPerFrame);
        out.u32(0x7F000000);
        out.u32(d.bitsPerChannel);
        const bool integer = (d.formatFlags & audioFormatFlagIsFloat) == 0 && d.bitsPerChannel > 8;
        out.u32((d.formatFlags & keptFlags) | (integer ? std::uint32_t{audioFormatFlagIsSignedInteger} : 0U));
        out.u32(d.bytesPerFrame);
        out.u32(1);
        writeChannels(out, format);
    });
}

/// PCM of ISO base media files (ISO/IEC 23003-5).
void writeISOPCM(BoxWriter& out, const AudioFormat& format, const PCMLayout& layout) {
    out.box(!layout.isFloat ? fourCC("ipcm") : fourCC("fpcm"), [&] {
        writeHead(out, 0);
        writeVersion0(out, format, static_cast<std::uint16_t>(format.description.bitsPerChannel), 0);
        out.fullBox(fourCC("pcmC"), 0, 0, [&] {
            out.u8(layout.isBigEndian ? 0 : 1);
            out.u8(static_cast<std::uint8_t>(format.description.bitsPerChannel));
        });
    });
}

void writePCM(BoxWriter& out, FileType type, const AudioFormat& format) {
    const PCMLayout layout = detail::pcmLayoutForDescription(format.description).value_or(PCMLayout{});
    if (isSimple(format, layout, 2)) return writePCM16(out, format, layout);
    if (isSimple(format, layout, 3)) return writePCM24(out, format, layout);
    type == FileType::MPEG4 ? writeISOPCM(out, format, layout) : writeLinearPCM(out, format);
}

// ---- AAC

/// A descriptor of ISO/IEC 14496-1 with a length of four bytes.
template <typename Content>
void writeDescriptor(BoxWriter& out, std::uint8_t tag, std::size_t length, Content&& content) {
    out.u8(tag);
    for (const int shift : {21, 14, 7}) out.u8(static_cast<std::uint8_t>(0x80 | ((length >> shift) & 0x7F)));
    out.u8(static_cast<std::uint8_t>(length & 0x7F));
    content();
}

void writeDecoderSetUp(BoxWriter& out, const AudioFormat& format) {
    constexpr std::size_t descriptorHead = 5;
    constexpr std::size_t configurationFields = 13;
    const std::size_t specific = format.configuration.size();
    const std::size_t configuration = configurationFields + descriptorHead + specific;
    out.fullBox(fourCC("esds"), 0, 0, [&] {
        writeDescriptor(out, 3, 3 + descriptorHead + configuration + descriptorHead + 1, [&] {
            out.u16(0);  // ES_ID
            out.u8(0);
            writeDescriptor(out, 4, configuration, [&] {
                out.u8(0x40);      // MPEG-4 audio
                out.u8(0x15);      // audio stream
                out.zeros(3 + 8);  // buffer size, largest and average bit rate: not told
                writeDescriptor(out, 5, specific, [&] { out.bytes(format.configuration); });
            });
            writeDescriptor(out, 6, 1, [&] { out.u8(2); });
        });
    });
}

void writeAAC(BoxWriter& out, FileType type, const AudioFormat& format) {
    constexpr FourCC code = fourCC("mp4a");
    out.box(code, [&] {
        if (type == FileType::MPEG4) {
            writeHead(out, 0);
            writeVersion0(out, format, 16, 0);
            writeDecoderSetUp(out, format);
            return;
        }
        writeHead(out, 1);
        writeVersion0(out, format, 16, -2);
        writeVersion1(out, framesPerAACPacket, 0, 0, 2);
        out.box(fourCC("wave"), [&] {
            out.box(fourCC("frma"), [&] { out.u32(code); });
            out.box(code, [&] { out.u32(0); });
            writeDecoderSetUp(out, format);
            writeTerminator(out);
        });
        writeChannels(out, format);
    });
}

}  // namespace

void writeSoundSampleEntry(BoxWriter& out, FileType type, const FormatDescription& format) {
    const AudioFormat& audio = *format.audioFormat();
    if (format.mediaSubType() == audioFormatLinearPCM) return writePCM(out, type, audio);
    writeAAC(out, type, audio);
}

}  // namespace zenquor::platform::quicktime
