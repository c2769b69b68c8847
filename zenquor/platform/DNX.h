#pragma once
// The DNxHD and DNxHR compressor, one picture in, one coded frame out.

#include <cstddef>
#include <cstdint>
#include <string>

#include "zenquor/platform/Status.h"

namespace zenquor::platform {

/// What the engine answers beside DNX_NoError; a negative value that is none of these is libavcodec's.
enum DNX_Status : Status {
    DNX_NoError = 0,
    DNX_NotInitialized = -21001,
    DNX_EncoderMissing = -21002,              // this libavcodec has no DNxHD encoder
    DNX_InvalidParameter = -21003,            // a field of the parameters has a value that is not taken
    DNX_UnknownCompressionID = -21004,        // none of the twenty
    DNX_RGB444NotSupported = -21005,          // compression ID 1256
    DNX_AdaptiveFieldsNotSupported = -21006,  // compression ID 1260
    DNX_WrongRaster = -21007,                 // the compression ID has another picture size
    DNX_WrongScanType = -21008,               // the compression ID is for the other scan type
    DNX_InputNotSupported = -21009,           // the rows are too short for a picture of a known format
    DNX_SourceTooShort = -21010,              // fewer bytes than the rows of a picture
    DNX_OutputTooSmall = -21011,              // less room than the compressed buffer size
    DNX_WrongCompressionID = -21012,          // what was coded bears another compression ID
    DNX_WrongFrameSize = -21013               // what was coded has another size than the format demands
};

inline constexpr std::uint8_t DNX_ColorFormatYCbCr = 1;  // of the coded frame
inline constexpr std::uint8_t DNX_ColorFormatRGB = 2;
/// Pictures of 8 bits are 32-bit A R G B when their rows have room for four bytes a pixel, else '2vuy'.
inline constexpr std::uint32_t DNX_InputDepth8 = 1;
inline constexpr std::uint32_t DNX_InputDepth10 = 1024;  // 'v210'
inline constexpr std::uint8_t DNX_ScanTypeInterlaced = 1;
inline constexpr std::uint8_t DNX_ScanTypeProgressive = 64;
/// From this compression ID on frames are DNxHR: any raster, and the resolution-independent fields below apply.
inline constexpr std::uint32_t DNX_FirstResolutionIndependentID = 1270;

/// How to encode. Fields with "always" take that one value; the engine refuses another, so that a caller never
/// believes in a setting that has no effect.
struct DNX_EncodeParameters {
    std::uint32_t structureSize = 0;  // always 64, the size of this record
    std::uint32_t width = 0;          // of the picture, pixels and lines
    std::uint32_t height = 0;
    std::uint32_t compressionID = 0;     // of SMPTE ST 2019-1
    std::uint8_t colorFormat = 0;        // DNX_ColorFormat…, that of the compression ID
    std::uint8_t chromaSampling = 0;     // DNxHR: always 2, that of the compression ID
    std::uint8_t colorVolume = 0;        // DNxHR: always 1, ITU-R BT.709
    std::uint8_t bitDepth = 0;           // DNxHR: of the source, 8 or 10
    std::uint16_t pixelAspectWidth = 0;  // DNxHR: always 1:1
    std::uint16_t pixelAspectHeight = 0;
    std::uint32_t quality = 0;             // always 50: frames have a constant size
    std::uint32_t inputDepth = 0;          // DNX_InputDepth…
    std::uint8_t inputComponentOrder = 0;  // always 1: Cb Y Cr Y, or A R G B
    std::uint8_t inputRowOrder = 0;        // always 1: top to bottom
    std::uint8_t outputUnit = 0;           // always 2: a whole frame, both fields in one buffer
    std::uint8_t scanType = 0;             // DNX_ScanType…
    std::uint16_t firstField = 0;          // always 1: the top field
    std::uint16_t alphaMode = 0;           // always 0: none is coded
    std::uint32_t sourceRowBytes = 0;      // bytes from row to row; 0 for the smallest row
    std::uint16_t legalRangeLow = 0;       // always 16 to 235
    std::uint16_t legalRangeHigh = 0;
    std::uint8_t convertsInputRange = 0;   // always 0: samples are coded as they come
    std::uint8_t convertsOutputRange = 0;  // always 0
    std::uint16_t reserved = 0;            // always 0
    std::uint32_t workUnitBytes = 0;       // always 28672; libavcodec cuts slices itself
    std::uint32_t workUnitRows = 0;        // always 12
    std::uint32_t threadCount = 0;         // threads that share one frame; 0 counts as 1
};
static_assert(sizeof(DNX_EncodeParameters) == 64);

struct DNX_Version {
    int major = 0;
    int minor = 0;
    int revision = 0;
    int build = 0;   // libavcodec's major version
    char stage = 0;  // 'r' release
};

/// One open encoder.
struct DNX_Encoder;
using DNX_EncoderHandle = DNX_Encoder*;

/// Lifecycle of the engine: initialise, create encoders, delete them, finalise as often as initialised.
///
/// Thread-safety: Safe; one encoder is used by one thread at a time. A frame is coded on the caller's thread and
///                as many helpers as the parameters say, all of which rest when DNX_EncodeFrame() returns.
/// Standards:     SMPTE ST 2019-1 (VC-3, including the resolution-independent profiles).
Status DNX_Initialize();
Status DNX_GetVersion(DNX_Version& version);
/// Opens an encoder. Compression IDs of 1440 or 960 coded pixels a line also take pictures of the full width,
/// which are scaled, field by field when interlaced. DNxHR codes interlaced pictures as frames.
/// @param out  null on failure.
Status DNX_CreateEncoder(const DNX_EncodeParameters& parameters, DNX_EncoderHandle* out);
/// The size in bytes of every coded frame.
Status DNX_GetCompressedBufferSize(DNX_EncoderHandle encoder, std::uint32_t* size);
/// Codes one picture: rows from top to bottom, in the packed format that input depth and row length name. R'G'B' and
/// Y'CbCr become each other with the matrix of the picture's height: ITU-R BT.601 below 720 lines, BT.2020 above
/// 1080, else BT.709.
/// @param source          @p sourceLength bytes; the last row may end with its last pixel.
/// @param output          room for @p outputCapacity bytes, at least the compressed buffer size.
/// @param compressedSize  what was written; 0 on failure.
Status DNX_EncodeFrame(DNX_EncoderHandle encoder, const std::uint8_t* source, std::uint8_t* output,
                       std::size_t sourceLength, std::size_t outputCapacity, std::size_t* compressedSize);
/// What a status means, in a sentence; of this engine, of the platform or of libavcodec.
Status DNX_GetErrorString(Status status, std::string& text);
/// Colour volumes of a frame's header (SMPTE ST 2019-1).
enum DNX_ColorVolume : std::uint8_t {
    DNX_ColorVolume709 = 0,  // what the engine writes
    DNX_ColorVolume2020 = 1,
    DNX_ColorVolume2020ConstantLuminance = 2,
    DNX_ColorVolumeNotTold = 3,
};
/// Puts the colour volume into a coded frame; one too short for a header is left as it is.
void DNX_SetColorVolume(std::uint8_t* coded, std::size_t codedBytes, DNX_ColorVolume volume);
/// Null does nothing.
Status DNX_DeleteEncoder(DNX_EncoderHandle encoder);
Status DNX_Finalize();

}  // namespace zenquor::platform
