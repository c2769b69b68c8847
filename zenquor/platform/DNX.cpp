#include "zenquor/platform/DNX.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <new>

#include "zenquor/core/Version.h"
#include "zenquor/core/ZLGHandle.h"
#include "zenquor/platform/dnx/FrameEncoder.h"

namespace zenquor::platform {

using namespace detail;

struct DNX_Encoder {
    DNX_EncodeParameters parameters;
    DNXFrameEncoder frames;
};

namespace {

constexpr std::uint32_t maxDimension = 16384;

std::atomic<int> initialisations{0};

struct ErrorText {
    Status status;
    const char* text;
};
constexpr ErrorText errorTexts[] = {
    {DNX_NoError, "No error."},
    {DNX_NotInitialized, "The DNxHD engine is not initialised."},
    {DNX_EncoderMissing, "The installed libavcodec has no DNxHD encoder."},
    {DNX_InvalidParameter, "A parameter of the DNxHD encoder has a value that it does not take."},
    {DNX_UnknownCompressionID, "The codec has no DNxHD compression ID."},
    {DNX_RGB444NotSupported,
     "DNxHD 444 (compression ID 1256) cannot be recorded: the installed libavcodec decodes it but does not "
     "encode "
     "it. DNxHR 444 can be recorded instead."},
    {DNX_AdaptiveFieldsNotSupported,
     "DNxHD 1080i TR (compression ID 1260) cannot be recorded: its macroblocks choose between frame and "
     "field, "
     "which the installed libavcodec does not encode. DNxHD 1080i TR+ can be recorded instead."},
    {DNX_WrongRaster, "The picture size is not that of the DNxHD codec."},
    {DNX_WrongScanType,
     "The DNxHD codec is for the other kind of scanning: 1080i codecs take interlaced pictures, 1080p and "
     "720p "
     "codecs progressive ones."},
    {DNX_InputNotSupported,
     "The rows of the picture are too short: the DNxHD encoder takes 8-bit and 10-bit 4:2:2 pictures and "
     "32-bit ARGB "
     "pictures."},
    {DNX_SourceTooShort, "The picture has fewer bytes than the DNxHD encoder was set up for."},
    {DNX_OutputTooSmall, "The buffer for the coded DNxHD frame is too small."},
    {DNX_WrongCompressionID, "The DNxHD encoder coded a frame with another compression ID than asked for."},
    {DNX_WrongFrameSize, "The DNxHD encoder coded a frame of another size than the format demands."},
    {parameterErr, "The rows of the picture are shorter than its pixels."},
    {memFullErr, "There is not enough memory for the DNxHD encoder."},
    {pixelTransferNotSupportedErr, "The picture cannot be converted for the DNxHD codec."},
};

/// A field that takes one value.
struct FixedField {
    const char* name;
    std::uint32_t (*read)(const DNX_EncodeParameters&);
    std::uint32_t value;
    bool ofDNxHR;  // 0 in the parameters of other compression IDs
};
using Parameters = DNX_EncodeParameters;
constexpr FixedField fixedFields[] = {
    {"structureSize", [](const Parameters& p) { return p.structureSize; }, 64, false},
    {"chromaSampling", [](const Parameters& p) { return std::uint32_t{p.chromaSampling}; }, 2, true},
    {"colorVolume", [](const Parameters& p) { return std::uint32_t{p.colorVolume}; }, 1, true},
    {"pixelAspectWidth", [](const Parameters& p) { return std::uint32_t{p.pixelAspectWidth}; }, 1, true},
    {"pixelAspectHeight", [](const Parameters& p) { return std::uint32_t{p.pixelAspectHeight}; }, 1, true},
    {"quality", [](const Parameters& p) { return p.quality; }, 50, false},
    {"inputComponentOrder", [](const Parameters& p) { return std::uint32_t{p.inputComponentOrder}; }, 1,
     false},
    {"inputRowOrder", [](const Parameters& p) { return std::uint32_t{p.inputRowOrder}; }, 1, false},
    {"outputUnit", [](const Parameters& p) { return std::uint32_t{p.outputUnit}; }, 2, false},
    {"firstField", [](const Parameters& p) { return std::uint32_t{p.firstField}; }, 1, false},
    {"alphaMode", [](const Parameters& p) { return std::uint32_t{p.alphaMode}; }, 0, false},
    {"legalRangeLow", [](const Parameters& p) { return std::uint32_t{p.legalRangeLow}; }, 16, false},
    {"legalRangeHigh", [](const Parameters& p) { return std::uint32_t{p.legalRangeHigh}; }, 235, false},
    {"convertsInputRange", [](const Parameters& p) { return std::uint32_t{p.convertsInputRange}; }, 0, false},
    {"convertsOutputRange", [](const Parameters& p) { return std::uint32_t{p.convertsOutputRange}; }, 0,
     false},
    {"reserved", [](const Parameters& p) { return std::uint32_t{p.reserved}; }, 0, false},
    {"workUnitBytes", [](const Parameters& p) { return p.workUnitBytes; }, 28672, false},
    {"workUnitRows", [](const Parameters& p) { return p.workUnitRows; }, 12, false},
};

Status refuse(const char* field, std::uint32_t value) {
    ZLGGetHandle().error("DNX: the encoder does not take {} for {}", value, field);
    return DNX_InvalidParameter;
}

Status checkFields(const Parameters& p) {
    const bool isDNxHR = p.compressionID >= DNX_FirstResolutionIndependentID;
    for (const FixedField& field : fixedFields) {
        const std::uint32_t value = field.read(p);
        if (value != (field.ofDNxHR && !isDNxHR ? 0 : field.value)) return refuse(field.name, value);
    }
    if (p.bitDepth != (!isDNxHR ? 0 : p.inputDepth == DNX_InputDepth8 ? 8 : 10))
        return refuse("bitDepth", p.bitDepth);
    if (p.colorFormat != DNX_ColorFormatYCbCr && p.colorFormat != DNX_ColorFormatRGB)
        return refuse("colorFormat", p.colorFormat);
    if (p.inputDepth != DNX_InputDepth8 && p.inputDepth != DNX_InputDepth10)
        return refuse("inputDepth", p.inputDepth);
    if (p.scanType != DNX_ScanTypeInterlaced && p.scanType != DNX_ScanTypeProgressive)
        return refuse("scanType", p.scanType);
    return noErr;
}

// libavcodec's smallest raster is 256 by 120.
bool hasRaster(const Parameters& p, const DNXCompression& compression) {
    if (!compression.isResolutionIndependent())
        return p.height == compression.height &&
               (p.width == compression.width || p.width == compression.fullWidth);
    return p.width >= 256 && p.height >= 120 && p.width <= maxDimension && p.height <= maxDimension;
}

Status checkCompression(const Parameters& p, const DNXCompression& compression) {
    if (compression.refusal != noErr) return compression.refusal;
    if (!hasRaster(p, compression)) return DNX_WrongRaster;
    const bool isInterlaced = p.scanType == DNX_ScanTypeInterlaced;
    if (!compression.isResolutionIndependent() && isInterlaced != compression.isInterlaced)
        return DNX_WrongScanType;
    const bool isRGB = p.colorFormat == DNX_ColorFormatRGB;
    if (isRGB != compression.isRGB()) return refuse("colorFormat", p.colorFormat);
    const std::size_t needed = rowBytesForPixelFormat(dnxSourceFormat(p), p.width);
    return dnxSourceRowBytes(p) < needed ? static_cast<Status>(DNX_InputNotSupported) : noErr;
}

// The last row need not be padded.
std::size_t sourceBytes(const Parameters& p) {
    return dnxSourceRowBytes(p) * (p.height - 1) + rowBytesForPixelFormat(dnxSourceFormat(p), p.width);
}

}  // namespace

Status DNX_Initialize() {
    if (!avcodec_find_encoder_by_name("dnxhd")) return DNX_EncoderMissing;
    initialisations.fetch_add(1, std::memory_order_relaxed);
    return noErr;
}

Status DNX_GetVersion(DNX_Version& version) {
    version = {ZENQUOR_VERSION_MAJOR, ZENQUOR_VERSION_MINOR, ZENQUOR_VERSION_PATCH,
               static_cast<int>(AV_VERSION_MAJOR(avcodec_version())), 'r'};
    return noErr;
}

Status DNX_CreateEncoder(const DNX_EncodeParameters& parameters, DNX_EncoderHandle* out) {
    if (!out) return DNX_InvalidParameter;
    *out = nullptr;
    if (initialisations.load(std::memory_order_relaxed) <= 0) return DNX_NotInitialized;
    const DNXCompression* const compression = findDNXCompression(parameters.compressionID);
    if (!compression) return DNX_UnknownCompressionID;
    if (const Status status = checkFields(parameters); status != noErr) return status;
    if (const Status status = checkCompression(parameters, *compression); status != noErr) return status;
    std::unique_ptr<DNX_Encoder> made(new (std::nothrow)
                                          DNX_Encoder{parameters, DNXFrameEncoder(parameters, *compression)});
    if (!made) return memFullErr;
    if (const Status status = made->frames.open(); status != noErr) return status;
    *out = made.release();
    return noErr;
}

Status DNX_GetCompressedBufferSize(DNX_EncoderHandle encoder, std::uint32_t* size) {
    if (!encoder || !size) return DNX_InvalidParameter;
    *size = encoder->frames.frameBytes();
    return noErr;
}

Status DNX_EncodeFrame(DNX_EncoderHandle encoder, const std::uint8_t* source, std::uint8_t* output,
                       std::size_t sourceLength, std::size_t outputCapacity, std::size_t* compressedSize) {
    if (compressedSize) *compressedSize = 0;
    if (!encoder || !output || !compressedSize) return DNX_InvalidParameter;
    if (!source || sourceLength < sourceBytes(encoder->parameters)) return DNX_SourceTooShort;
    if (outputCapacity < encoder->frames.frameBytes()) return DNX_OutputTooSmall;
    const Status status = encoder->frames.encode({source, sourceLength}, output);
    if (status == noErr) *compressedSize = encoder->frames.frameBytes();
    return status;
}

void DNX_SetColorVolume(std::uint8_t* coded, std::size_t codedBytes, DNX_ColorVolume volume) {
    constexpr std::size_t place = 0x2C;
    constexpr int shift = 1;
    constexpr std::uint8_t mask = 3 << shift;
    if (codedBytes > place)
        coded[place] = static_cast<std::uint8_t>((coded[place] & ~mask) | volume << shift);
}

Status DNX_GetErrorString(Status status, std::string& text) {
    const auto* const known = std::find_if(std::begin(errorTexts), std::end(errorTexts),
                                           [&](const ErrorText& entry) { return entry.status == status; });
    if (known != std::end(errorTexts)) {
        text = known->text;
        return noErr;
    }
    char words[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(status, words, sizeof words);
    text = words;
    return noErr;
}

Status DNX_DeleteEncoder(DNX_EncoderHandle encoder) {
    delete encoder;
    return noErr;
}

Status DNX_Finalize() {
    int count = initialisations.load(std::memory_order_relaxed);
    while (count > 0 && !initialisations.compare_exchange_weak(count, count - 1, std::memory_order_relaxed)) {
    }
    return count > 0 ? noErr : static_cast<Status>(DNX_NotInitialized);
}

}  // namespace zenquor::platform
