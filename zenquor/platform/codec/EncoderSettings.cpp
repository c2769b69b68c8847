#include "zenquor/platform/codec/EncoderSettings.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>

namespace zenquor::platform::detail {
namespace {

using Property = CompressionProperty;

/// What an encoder must be for a property to mean something to it.
enum class Needs { Nothing, Prediction, Record, AVC, Presets };
struct PropertyNeed {
    Property property;
    Needs needs;
};
constexpr PropertyNeed properties[] = {{Property::ProfileLevel, Needs::Record},
                                       {Property::AverageBitRate, Needs::Prediction},
                                       {Property::MaxKeyFrameInterval, Needs::Prediction},
                                       {Property::AllowFrameReordering, Needs::Record},
                                       {Property::H264EntropyMode, Needs::AVC},
                                       {Property::ExpectedFrameRate, Needs::Nothing},
                                       {Property::FieldCount, Needs::Nothing},
                                       {Property::FieldDetail, Needs::Nothing},
                                       {Property::CleanAperture, Needs::Nothing},
                                       {Property::PixelAspectRatio, Needs::Nothing},
                                       {Property::ColorPrimaries, Needs::Nothing},
                                       {Property::YCbCrMatrix, Needs::Nothing},
                                       {Property::TransferFunction, Needs::Nothing},
                                       {Property::Speed, Needs::Presets}};
bool isMet(Needs needs, const EncoderRow& row) {
    switch (needs) {
        case Needs::Prediction:
            return predicts(row.bitstream);
        case Needs::Record:  // the broadcast kinds fix their profile and order
            return hasConfigurationRecord(row.bitstream);
        case Needs::AVC:
            return row.bitstream == Bitstream::AVC;
        case Needs::Presets:
            return row.presets[0] != nullptr;
        default:
            return true;
    }
}
constexpr const char* presetNames[] = {"ultrafast", "superfast", "veryfast", "faster",   "fast",
                                       "medium",    "slow",      "slower",   "veryslow", "placebo"};
constexpr const char* speedNames[] = {"live", "balanced", "quality"};
constexpr std::int64_t maxBitRate = 2'000'000'000;
constexpr std::int64_t maxInterval = 100'000;
constexpr std::uint32_t firstHighDefinitionHeight = 720;
constexpr std::int64_t largestSpacing = 65535;

/// Stores a value of type T for which @p isValid holds.
template <typename T, typename Destination, typename Check>
Status store(const CompressionPropertyValue& value, Destination& destination, const Check& isValid) {
    const T* const typed = std::get_if<T>(&value);
    if (!typed || !isValid(*typed)) return parameterErr;
    destination = *typed;
    return noErr;
}
template <typename T, typename Destination>
Status store(const CompressionPropertyValue& value, Destination& destination) {
    return store<T>(value, destination, [](const T&) { return true; });
}

std::optional<std::int64_t> number(std::string_view text) {
    std::int64_t result = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), result);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return result;
}

std::uint32_t roundUpToEven(std::uint32_t value) {
    return (value + 1) & ~1U;
}

}  // namespace

EncoderSettings::EncoderSettings(const EncoderRow& row, std::uint32_t width, std::uint32_t height)
    : row_(row),
      given_{width, height},
      raster_(given_),
      reordering_(row.broadcast == nullptr),
      preset_(row.presets[0]) {
    if (row.broadcast) {
        raster_ = codedRaster(*row.broadcast, given_);
    } else if (predicts(row.bitstream)) {
        raster_ = {roundUpToEven(width), roundUpToEven(height)};
    }
    wanted_.vendor = row.vendor;
    wanted_.temporalQuality = row.temporalQuality;
    wanted_.spatialQuality = row.spatialQuality;
    wanted_.formatName = row.formatName;
    describe();
}

std::vector<Property> EncoderSettings::supportedProperties() const {
    std::vector<Property> supported;
    for (const PropertyNeed& entry : properties) {
        if (isMet(entry.needs, row_)) supported.push_back(entry.property);
    }
    return supported;
}

Status EncoderSettings::set(Property property, const CompressionPropertyValue& value) {
    const auto entry = std::find_if(std::begin(properties), std::end(properties),
                                    [&](const PropertyNeed& known) { return known.property == property; });
    if (entry == std::end(properties) || !isMet(entry->needs, row_)) return propertyNotSupportedErr;
    const auto text = [&]() -> const std::string* { return std::get_if<std::string>(&value); };
    switch (property) {
        case Property::ProfileLevel:
            return text() ? setProfileLevel(*text()) : parameterErr;
        case Property::AverageBitRate:
            return store<std::int64_t>(value, bitRate_, [](auto v) { return v >= 0 && v <= maxBitRate; });
        case Property::MaxKeyFrameInterval:
            return store<std::int64_t>(value, keyFrameInterval_,
                                       [](auto v) { return v > 0 && v <= maxInterval; });
        case Property::AllowFrameReordering:
            return store<bool>(value, reordering_);
        case Property::H264EntropyMode:
            return store<std::string>(value, entropyMode_,
                                      [](const auto& v) { return v == "CAVLC" || v == "CABAC"; });
        case Property::ExpectedFrameRate:
            return text() ? setFrameRateText(*text()) : parameterErr;
        case Property::FieldCount:
            return store<std::int64_t>(value, wanted_.fieldCount, [](auto v) { return v == 1 || v == 2; });
        case Property::FieldDetail:
            return store<platform::FieldDetail>(value, wanted_.fieldDetail);
        case Property::CleanAperture:
            return store<platform::CleanAperture>(value, wanted_.cleanAperture);
        case Property::PixelAspectRatio:
            return store<platform::PixelAspectRatio>(value, wanted_.pixelAspectRatio, [](const auto& v) {
                return v.horizontalSpacing > 0 && v.verticalSpacing > 0;
            });
        case Property::ColorPrimaries:
            return store<platform::ColorPrimaries>(value, wanted_.colorPrimaries);
        case Property::YCbCrMatrix:
            return store<platform::YCbCrMatrix>(value, wanted_.yCbCrMatrix);
        case Property::TransferFunction:
            return store<platform::TransferFunction>(value, wanted_.transferFunction);
        case Property::Speed:
            return text() ? setSpeed(*text()) : parameterErr;
    }
    return propertyNotSupportedErr;
}

// "H264_High_AutoLevel", "H264_Main_3_1", "HEVC_Main_AutoLevel".
Status EncoderSettings::setProfileLevel(const std::string& text) {
    struct Profile {
        Bitstream bitstream;
        std::string_view prefix;
        const char* name;
    };
    static constexpr Profile profiles[] = {{Bitstream::AVC, "H264_Baseline_", "baseline"},
                                           {Bitstream::AVC, "H264_Main_", "main"},
                                           {Bitstream::AVC, "H264_High_", "high"},
                                           {Bitstream::HEVC, "HEVC_Main_", "main"}};
    for (const Profile& profile : profiles) {
        if (profile.bitstream != row_.bitstream || !text.starts_with(profile.prefix)) continue;
        const std::string_view rest = std::string_view(text).substr(profile.prefix.size());
        const bool isLevel =
            rest.size() == 3 && rest[1] == '_' && number(rest.substr(0, 1)) && number(rest.substr(2));
        if (rest != "AutoLevel" && !isLevel) return parameterErr;
        profile_ = profile.name;
        level_ = isLevel ? std::string{rest[0], '.', rest[2]} : std::string();
        return noErr;
    }
    return parameterErr;
}

// "30000/1001" or "25".
Status EncoderSettings::setFrameRateText(const std::string& text) {
    const std::size_t slash = text.find('/');
    const auto numerator = number(std::string_view(text).substr(0, slash));
    const auto denominator =
        slash == std::string::npos ? 1 : number(std::string_view(text).substr(slash + 1));
    constexpr std::int64_t limit = std::numeric_limits<int>::max();
    if (!numerator || !denominator || *numerator <= 0 || *denominator <= 0 || *numerator > limit ||
        *denominator > limit) {
        return parameterErr;
    }
    frameRate_ = {static_cast<int>(*numerator), static_cast<int>(*denominator)};
    return noErr;
}

Status EncoderSettings::setSpeed(const std::string& text) {
    for (std::size_t i = 0; i < std::size(speedNames); ++i) {
        if (text == speedNames[i]) return preset_ = row_.presets[i], noErr;
    }
    for (const char* name : presetNames) {
        if (text == name) return preset_ = name, noErr;
    }
    return parameterErr;
}

void EncoderSettings::adoptDefaults(const PixelBuffer& picture, MediaTime duration) {
    const PixelBuffer::Attachments& known = picture.attachments();
    const auto fill = [](auto& wanted, const auto& found) {
        if (!wanted) wanted = found;
    };
    // Geometry is that of the picture's own size and means nothing for a scaled one.
    if (picture.width() == given_.width && picture.height() == given_.height) {
        fill(wanted_.cleanAperture, known.cleanAperture);
        fill(wanted_.pixelAspectRatio, known.pixelAspectRatio);
    }
    fill(wanted_.colorPrimaries, known.colorPrimaries);
    fill(wanted_.transferFunction, known.transferFunction);
    fill(wanted_.yCbCrMatrix, known.yCbCrMatrix);
    if (!wanted_.fieldCount) wanted_.fieldCount = 1;
    describe();
    if (frameRate_.num > 0) return;
    const bool isDurationUsable =
        duration.isValid() && duration.value > 0 && duration.value <= maxInterval * 100;
    frameRate_ = {25, 1};
    if (isDurationUsable) {
        av_reduce(&frameRate_.num, &frameRate_.den, duration.timescale, duration.value,
                  std::numeric_limits<int>::max());
    }
}

// What holds for the session's picture is told of the coded one.
void EncoderSettings::describe() {
    format_ = wanted_;
    format_.width = raster_.width;
    format_.height = raster_.height;
    const BroadcastCodec* const codec = row_.broadcast;
    if (!codec) return;
    // Movies tell the size without the lines of the blanking interval.
    if (codec->fullHeight != 0) format_.height = std::min(codec->fullHeight, raster_.height);
    if (codec->fieldDetail && isInterlaced()) format_.fieldDetail = codec->fieldDetail;
    describeGeometry();
}

// Fewer pixels of a line are wider ones. Pictures of high definition have square pixels unless told.
void EncoderSettings::describeGeometry() {
    const std::uint32_t full = row_.broadcast->fullHeight;
    const std::int64_t scaledHeight = full == 0                             ? raster_.height
                                      : isPlacedAsItIs(given_.height, full) ? given_.height
                                                                            : full;
    auto& aspect = format_.pixelAspectRatio;
    if (!aspect && given_.height >= firstHighDefinitionHeight) aspect = platform::PixelAspectRatio{1, 1};
    if (aspect) {
        int horizontal = 1, vertical = 1;
        av_reduce(&horizontal, &vertical,
                  std::int64_t{aspect->horizontalSpacing} * given_.width * scaledHeight,
                  std::int64_t{aspect->verticalSpacing} * raster_.width * given_.height, largestSpacing);
        aspect = platform::PixelAspectRatio{static_cast<std::uint32_t>(std::max(horizontal, 1)),
                                            static_cast<std::uint32_t>(std::max(vertical, 1))};
    }
    if (!format_.cleanAperture) return;
    platform::CleanAperture& aperture = *format_.cleanAperture;
    const double across = static_cast<double>(raster_.width) / given_.width;
    const double down = static_cast<double>(scaledHeight) / given_.height;
    aperture.width *= across;
    aperture.horizontalOffset *= across;
    aperture.height = std::min(aperture.height * down, static_cast<double>(format_.height));
    aperture.verticalOffset *= down;
}

bool EncoderSettings::isTopFieldFirst() const {
    // A code's order holds for progressive pictures, too: they are stored as two fields.
    const auto fixed = row_.broadcast ? row_.broadcast->fieldDetail : std::nullopt;
    return (fixed ? fixed : wanted_.fieldDetail) != FieldDetail::SpatialFirstLineLate;
}

// A picture whose other field comes first moves down by one row, so that each row stays in its field.
std::optional<PicturePlace> EncoderSettings::placement() const {
    const BroadcastCodec* const codec = row_.broadcast;
    if (!codec || codec->fullHeight == 0) return std::nullopt;
    const bool isTopFirst = wanted_.fieldDetail != FieldDetail::SpatialFirstLineLate;
    const bool moves = isInterlaced() && isTopFirst != isTopFieldFirst();
    return PicturePlace{raster_, codec->fullHeight, codec->firstRow + (moves ? 1 : 0)};
}

std::int64_t EncoderSettings::bitRate() const {
    if (bitRate_ > 0 || !row_.broadcast) return bitRate_;
    if (row_.broadcast->kind == BroadcastKind::AVCLong) return longGroupBitRate(raster_, frameRate_);
    return row_.broadcast->bitRate;
}

std::optional<TransferFunction> EncoderSettings::codedTransferFunction() const {
    // The curve of ITU-R 2020 is that of 709, and ProRes knows it under that number alone.
    const bool isProRes = row_.vendor == fourCC("appl");
    if (isProRes && format_.transferFunction == TransferFunction::ITU_R_2020)
        return TransferFunction::ITU_R_709_2;
    return format_.transferFunction;
}

bool EncoderSettings::codesFields() const {
    if (row_.broadcast && row_.broadcast->kind == BroadcastKind::JPEG) return false;
    if (!isInterlaced() || row_.bitstream == Bitstream::HEVC) return false;
    return !predicts(row_.bitstream) || (raster_.height % 4 == 0 && profile_ != "baseline");
}

int EncoderSettings::keyFrameInterval() const {
    if (keyFrameInterval_) return static_cast<int>(*keyFrameInterval_);
    const std::int64_t rounded = (2LL * frameRate_.num + frameRate_.den) / (2LL * frameRate_.den);
    return static_cast<int>(std::clamp<std::int64_t>(rounded, 1, maxInterval));
}

}  // namespace zenquor::platform::detail
