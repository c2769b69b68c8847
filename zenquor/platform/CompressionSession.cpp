#include "zenquor/platform/CompressionSession.h"

#include <fmt/format.h>

#include "zenquor/platform/codec/LibavCompressionSession.h"

namespace zenquor::platform {
namespace {

constexpr std::uint32_t maxDimension = 16384;  // pixels, of a side

constexpr const char* propertyNames[] = {"ProfileLevel",        "AverageBitRate",
                                         "MaxKeyFrameInterval", "AllowFrameReordering",
                                         "H264EntropyMode",     "ExpectedFrameRate",
                                         "FieldCount",          "FieldDetail",
                                         "CleanAperture",       "PixelAspectRatio",
                                         "ColorPrimaries",      "YCbCrMatrix",
                                         "TransferFunction",    "Speed"};

/// Each kind of value as text.
struct Describe {
    std::string operator()(bool v) const { return v ? "YES" : "NO"; }
    std::string operator()(std::int64_t v) const { return fmt::format("{}", v); }
    std::string operator()(const std::string& v) const { return v; }
    std::string operator()(const CleanAperture& v) const {
        return fmt::format("{:g}x{:g} at {:g},{:g}", v.width, v.height, v.horizontalOffset, v.verticalOffset);
    }
    std::string operator()(const PixelAspectRatio& v) const {
        return fmt::format("{}:{}", v.horizontalSpacing, v.verticalSpacing);
    }
    template <typename Tag>
    std::string operator()(Tag v) const {
        return nameOf(v);
    }
};

}  // namespace

Status CompressionSession::create(std::uint32_t width, std::uint32_t height, FourCC codec,
                                  const EncoderSpecification& specification, OutputCallback callback,
                                  CompressionSessionPtr& out) {
    out.reset();
    if (width == 0 || height == 0 || width > maxDimension || height > maxDimension || !callback)
        return parameterErr;
    const detail::EncoderRow* const row = detail::chooseEncoder(codec, specification);
    if (!row) return encoderNotFoundErr;
    out = std::make_shared<detail::LibavCompressionSession>(*row, width, height, std::move(callback));
    return noErr;
}

const char* nameOfCompressionProperty(CompressionProperty property) {
    return propertyNames[static_cast<std::size_t>(property)];
}

std::string describeCompressionPropertyValue(const CompressionPropertyValue& value) {
    return std::visit(Describe{}, value);
}

}  // namespace zenquor::platform
