#include "zenquor/encoders/ZQRDNxHDEncoder.h"

#include <algorithm>
#include <iterator>
#include <thread>

#include "zenquor/core/ZLGHandle.h"

namespace zenquor {
namespace {

using platform::Status;

constexpr std::uint32_t rgb444ID = 1256;
constexpr std::uint32_t rgb444ResolutionIndependentID = 1270;

struct CompressionID {
    FourCC code;
    std::uint32_t identifier;
};
constexpr CompressionID compressionIDs[] = {
    {fourCC("dpx1"), 1235}, {fourCC("dps8"), 1237}, {fourCC("dpq8"), 1238}, {fourCC("d7x1"), 1250},
    {fourCC("d7q8"), 1251}, {fourCC("d7s8"), 1252}, {fourCC("dix1"), 1241}, {fourCC("dis8"), 1242},
    {fourCC("diq8"), 1243}, {fourCC("dihr"), 1244}, {fourCC("drl1"), 1253}, {fourCC("drx1"), 1256},
    {fourCC("d7t8"), 1258}, {fourCC("dpt8"), 1259}, {fourCC("dit8"), 1260}, {fourCC("rr41"), 1270},
    {fourCC("rhqx"), 1271}, {fourCC("hrhq"), 1272}, {fourCC("hrsq"), 1273}, {fourCC("hrlb"), 1274},
};

bool isRGBCompression(std::uint32_t compressionID) {
    return compressionID == rgb444ID || compressionID == rgb444ResolutionIndependentID;
}

}  // namespace

std::shared_ptr<ZQRDNxHDEncoder> ZQRDNxHDEncoder::initWithVideoProperties(
    ZQRVideoPropertiesPtr videoProperties, ZQRVideoEncoderCallback callback,
    ZQRVideoEncoderCallbackContext callbackContext, std::int64_t, std::uint32_t bitDepth,
    std::size_t bytesPerRow) {
    std::shared_ptr<ZQRDNxHDEncoder> made(
        new ZQRDNxHDEncoder(std::move(videoProperties), std::move(callback), std::move(callbackContext)));
    ZQErrorPtr error;
    if (getErrorString(made->setup(bitDepth, bytesPerRow), &error)) return made;
    ZLGGetHandle().error("ZQRDNxHDEncoder {}: couldn't set up the encoder with error {}", *made, error);
    return nullptr;
}

ZQRDNxHDEncoder::ZQRDNxHDEncoder(ZQRVideoPropertiesPtr videoProperties, ZQRVideoEncoderCallback callback,
                                 ZQRVideoEncoderCallbackContext callbackContext)
    : ZQRVideoEncoder(std::move(videoProperties), std::move(callback), std::move(callbackContext)),
      frameMemory_(ZQTFrameMemoryManagement::init()) {}

ZQRDNxHDEncoder::~ZQRDNxHDEncoder() {
    if (encoder_) platform::DNX_DeleteEncoder(encoder_);
    if (isEngineInitialized_) platform::DNX_Finalize();
}

// --- set-up
//

Status ZQRDNxHDEncoder::setup(std::uint32_t bitDepth, std::size_t bytesPerRow) {
    const ZQRVideoPropertiesPtr properties = videoProperties();
    if (!properties) return platform::DNX_InvalidParameter;
    Status status = platform::DNX_Initialize();
    if (status < 0) return status;
    isEngineInitialized_ = true;
    logSDKVersion();
    setupEncoderUsingVideoProperties(*properties, bitDepth, bytesPerRow);
    status = platform::DNX_CreateEncoder(parameters_, &encoder_);
    return status < 0 ? status : platform::DNX_GetCompressedBufferSize(encoder_, &compressedBufferSize_);
}

void ZQRDNxHDEncoder::setupEncoderUsingVideoProperties(const ZQRVideoProperties& properties,
                                                       std::uint32_t bitDepth, std::size_t bytesPerRow) {
    const auto component = properties.ZQcomponent();
    auto& p = parameters_;
    p = {};
    p.structureSize = 64;
    p.width = static_cast<std::uint32_t>(properties.videoWidth());
    p.height = static_cast<std::uint32_t>(properties.videoHeight());
    p.compressionID = compressionIdForCodecFourCC(component ? component->componentString() : 0);
    p.colorFormat = isRGB() ? platform::DNX_ColorFormatRGB : platform::DNX_ColorFormatYCbCr;
    if (p.compressionID >= platform::DNX_FirstResolutionIndependentID) {
        p.chromaSampling = 2;
        p.colorVolume = 1;
        p.bitDepth = static_cast<std::uint8_t>(bitDepth);
        p.pixelAspectWidth = 1;
        p.pixelAspectHeight = 1;
    }
    p.quality = 50;
    p.inputDepth = bitDepth == 8 ? platform::DNX_InputDepth8 : platform::DNX_InputDepth10;
    p.inputComponentOrder = 1;
    p.inputRowOrder = 1;
    p.outputUnit = 2;
    p.scanType =
        properties.scanMode() != 0 ? platform::DNX_ScanTypeInterlaced : platform::DNX_ScanTypeProgressive;
    p.firstField = 1;
    p.alphaMode = 0;
    p.sourceRowBytes = static_cast<std::uint32_t>(bytesPerRow);
    p.legalRangeLow = 16;
    p.legalRangeHigh = 235;
    p.workUnitBytes = 28672;
    p.workUnitRows = 12;
    p.threadCount = std::max(std::thread::hardware_concurrency(), 1U);
}

std::uint32_t ZQRDNxHDEncoder::compressionIdForCodecFourCC(FourCC code) {
    const auto* const found = std::find_if(std::begin(compressionIDs), std::end(compressionIDs),
                                           [&](const CompressionID& row) { return row.code == code; });
    return found == std::end(compressionIDs) ? 0 : found->identifier;
}

bool ZQRDNxHDEncoder::isRGB() const {
    return isRGBCompression(parameters_.compressionID);
}

void ZQRDNxHDEncoder::logSDKVersion() {
    platform::DNX_Version version;
    platform::DNX_GetVersion(version);
    ZLGGetHandle().log("ZQRDNxHDEncoder using API version: {}.{}.{}-{}-{}", version.major, version.minor,
                       version.revision, version.build, version.stage);
}

bool ZQRDNxHDEncoder::getErrorString(Status status, ZQErrorPtr* error) {
    if (status >= 0) return true;
    std::string text;
    platform::DNX_GetErrorString(status, text);
    return fail(error, ZQError::errorWithDomain(ZQRVideoEncoderErrorDomain, status, std::move(text),
                                                ZQError::encodingError()));
}

// --- frames
//

bool ZQRDNxHDEncoder::encodeFrame(const ZQRFramePtr& frame, ZQErrorPtr* error) {
    std::uint8_t* const buffer = frame ? frameMemory_->allocatePointer(compressedBufferSize_) : nullptr;
    if (!buffer) return getErrorString(frame ? platform::memFullErr : platform::DNX_InvalidParameter, error);
    std::size_t codedBytes = 0;
    const Status status = encode(*frame, buffer, codedBytes);
    if (!getErrorString(status, error)) {
        frameMemory_->freePointer(buffer);
        return false;
    }
    const ZQRFrameStorePtr store = ZQRFrameStore::helperWithData(ZQData::copying({buffer, codedBytes}));
    store->setAudioData(frame->frameAudioData());
    store->setTimecode(frame->frameTimecode());
    if (frame->writeCaptions()) store->setClosedCaptionData(captionOfFrame(*frame));
    store->setFrameType(ZQRFrameTypeStandalone);
    store->setDecodeTimestamp(frame->relativeFrameTime());
    store->setDisplayTimestamp(frame->relativeFrameTime());
    deliver(frame, store);
    frameMemory_->freePointer(buffer);
    return true;
}

Status ZQRDNxHDEncoder::encode(const ZQRFrame& frame, std::uint8_t* buffer, std::size_t& codedBytes) {
    const std::optional<ZQData> picture = frame.videoData();
    const std::span<const std::uint8_t> source = picture ? picture->span() : std::span<const std::uint8_t>();
    const Status status = platform::DNX_EncodeFrame(encoder_, source.data(), buffer, source.size(),
                                                    compressedBufferSize_, &codedBytes);
    const auto pixels = frame.videoPixelBuffer();
    const bool isWideGamut = pixels && pixels->attachments().yCbCrMatrix == platform::YCbCrMatrix::ITU_R_2020;
    if (status >= 0 && isWideGamut)
        platform::DNX_SetColorVolume(buffer, codedBytes, platform::DNX_ColorVolume2020);
    return status;
}

void ZQRDNxHDEncoder::finishEncoding() {
    changeState(ZQRVideoEncoderStateFinished);
}

void ZQRDNxHDEncoder::finish() {
    const std::int32_t current = state();
    if (current != ZQRVideoEncoderStateFinished && current != ZQRVideoEncoderStateFailed)
        changeState(ZQRVideoEncoderStateFinishRequested);
}

}  // namespace zenquor
