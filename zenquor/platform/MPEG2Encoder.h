#pragma once
// Codes pictures as MPEG-2 video of constant bit rate, with B pictures.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "zenquor/core/ZQData.h"
#include "zenquor/platform/ColorTags.h"
#include "zenquor/platform/PixelBuffer.h"
#include "zenquor/platform/Status.h"

namespace zenquor::platform {

enum class MPEG2Chroma : std::uint8_t {
    C420,  // Main profile at High level
    C422   // 4:2:2 profile at High level
};

/// How much work goes into a picture: each step costs two to three times the time of the one before.
enum class MPEG2Effort : std::uint8_t {
    Live,      // by estimate
    Balanced,  // the mode of each macroblock by what it costs and gives
    Quality    // each coefficient by what it costs and gives
};

/// What a stream is to be. Sizes, rates and flags go into its headers.
struct MPEG2Settings {
    std::uint32_t width = 0;  // coded pixels and lines
    std::uint32_t height = 0;
    std::int32_t rateNumerator = 0;  // frames per second, one of the rates of MPEG-2
    std::int32_t rateDenominator = 1;
    bool isInterlaced = false;  // top field first, coded as frames with field prediction and alternate scan
    MPEG2Chroma chroma = MPEG2Chroma::C420;
    std::int64_t bitRate = 0;       // bits per second
    std::uint32_t gopSize = 0;      // pictures from one I picture to the next, 1 to 600
    std::uint32_t bPictures = 2;    // between two reference pictures
    std::uint32_t threadCount = 1;  // share the slices of one picture
    MPEG2Effort effort = MPEG2Effort::Live;
    platform::PixelAspectRatio pixelAspectRatio;
    std::optional<platform::ColorPrimaries> colorPrimaries;
    std::optional<platform::TransferFunction> transferFunction;
    std::optional<platform::YCbCrMatrix> yCbCrMatrix;
    /// Label of the first picture for the GOP headers, "HH:MM:SS:FF", with ";" before the frames for drop-frame
    /// labels, which are for 29.97 only; empty for midnight.
    std::string startTimecode;

    /// The buffer of the decoder that the headers ask for, in bits: as large as the level allows and a picture's
    /// delay in it can be told.
    std::int64_t bufferBits() const;
};

enum class MPEG2PictureType : std::uint8_t { I = 1, P = 2, B = 3 };

/// One coded picture with the headers in front of it: sequence header, extensions and GOP header before every I
/// picture.
struct MPEG2Picture {
    ZQData data;
    MPEG2PictureType type = MPEG2PictureType::I;
    /// Which of the submitted pictures it is, from 0.
    std::int64_t index = 0;
    /// What is left in the decoder's buffer when it has been taken out; negative where the picture was too much for
    /// the rate even at the coarsest quantisation.
    std::int64_t bufferBitsLeft = 0;
};

/// An open encoder. GOPs are open except the first: B pictures in front of an I picture refer to the GOP before.
///
/// Lifecycle:     create(), encode() in display order, finish() once.
/// Thread-safety: One thread at a time; pictures come out on the calling thread, in decoding order, some pictures
///                after they went in.
/// Standards:     ISO/IEC 13818-2.
class MPEG2Encoder {
public:
    using Output = std::function<void(const MPEG2Picture& picture)>;

    /// @return encoderNotFoundErr without an MPEG-2 encoder, parameterErr for settings that no stream can have, else
    /// what libavcodec says.
    static Status create(const MPEG2Settings& settings, std::unique_ptr<MPEG2Encoder>& out);
    ~MPEG2Encoder();

    /// Submits a picture of any size and known format; one of another size is scaled, field by field when interlaced.
    /// @return the first failure; the picture is then not in the stream.
    Status encode(const PixelBuffer& picture, const Output& output);
    /// Passes every picture still inside to @p output; none can follow.
    Status finish(const Output& output);

private:
    MPEG2Encoder();
    struct Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace zenquor::platform
