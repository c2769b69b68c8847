#include "zenquor/sources/detail/PictureFitter.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "zenquor/sources/FrameSource.h"
#include "zenquor/sources/detail/PictureRow.h"

namespace zenquor::detail {
namespace {

constexpr std::uint32_t firstHighDefinitionHeight = 720;

/// A view of some rows of a picture, from pixel @p left on.
platform::PixelBufferPtr viewOf(const platform::PixelBuffer& picture, std::uint32_t left, std::uint32_t top,
                                std::uint32_t width, std::uint32_t height) {
    const bool isV210 = picture.pixelFormat() == platform::pixelFormatV210;
    const std::size_t offset = isV210 ? std::size_t{left} / 6 * 16 : std::size_t{left} * 2;
    auto* const bytes = const_cast<std::uint8_t*>(picture.row(top)) + offset;
    platform::PixelBufferPtr view;
    platform::PixelBuffer::createWithBytes(width, height, picture.pixelFormat(), bytes, picture.bytesPerRow(),
                                           {}, view);
    if (view) view->setAttachments(picture.attachments());
    return view;
}

ZQErrorPtr noFreePicture() {
    return ZQError::errorWithDomain(frameSourceErrorDomain, frameSourceErrorNoFreePicture,
                                    "All pictures of the source are still in use.");
}

}  // namespace

PictureFitter::PictureFitter(const SourceFormat& format, std::size_t pictureLimit)
    : format_(format), pictureLimit_(pictureLimit), attachments_(format.pictureAttachments()) {
    const auto row = PictureRow(format.width).packed(format.pixelFormat);
    const auto paintBlack = [row](platform::PixelBuffer& fresh) {
        std::memset(fresh.mutableBaseAddress(), 0, fresh.dataSize());
        for (std::uint32_t y = 0; y < fresh.height(); ++y)
            std::memcpy(fresh.mutableRow(y), row.data(), row.size());
    };
    pool_ = std::make_unique<platform::PixelBufferPool>(format.width, format.height, format.pixelFormat,
                                                        pictureLimit, paintBlack);
}

/// Finds the place for pictures of a new geometry. Memory that was drawn for the old one is given up: its
/// borders may lie elsewhere.
void PictureFitter::adapt(const PictureGeometry& geometry) {
    if (geometry_ == geometry) return;
    const bool isFirst = !geometry_;
    geometry_ = geometry;
    const PictureFit fit = PictureFit::of(geometry, format_);
    if (!isFirst && !(fit == fit_)) {
        PictureFitter fresh(format_, pictureLimit_);
        pool_ = std::move(fresh.pool_);
    }
    fit_ = fit;
    copy_.reset();
    session_.setInterlaced(fit.byField);
}

/// Untagged pictures have the matrix of their size.
void PictureFitter::prepareConversion(const platform::PixelBuffer& source) {
    using platform::YCbCrMatrix;
    const auto bySize =
        source.height() < firstHighDefinitionHeight ? YCbCrMatrix::ITU_R_601_4 : YCbCrMatrix::ITU_R_709_2;
    const auto from = source.attachments().yCbCrMatrix.value_or(bySize);
    if (convertedFrom_ == from) return;
    convertedFrom_ = from;
    conversion_.reset();
    const auto to = *attachments_.yCbCrMatrix;
    if (from != to) conversion_.emplace(from, to);
}

/// Scales into memory of its own and copies: a v210 row is written in blocks that would run over the border.
bool PictureFitter::drawThroughCopy(const platform::PixelBuffer& source, platform::PixelBuffer& target) {
    if (!copy_ && platform::PixelBuffer::create(fit_.width, fit_.height, format_.pixelFormat, copy_) !=
                      platform::noErr) {
        return false;
    }
    if (session_.transferImage(source, *copy_) != platform::noErr) return false;
    const std::size_t rowBytes = std::size_t{fit_.width} / 6 * 16;
    const std::size_t offset = std::size_t{fit_.left} / 6 * 16;
    for (std::uint32_t y = 0; y < fit_.height; ++y) {
        std::memcpy(target.mutableRow(fit_.top + y) + offset, copy_->row(y), rowBytes);
    }
    return true;
}

bool PictureFitter::draw(const platform::PixelBuffer& source, platform::PixelBuffer& target) {
    const auto from = viewOf(source, 0, fit_.sourceTop, source.width(), fit_.sourceHeight);
    if (!from) return false;
    if (format_.pixelFormat == platform::pixelFormatV210 && fit_.width < format_.width)
        return drawThroughCopy(*from, target);
    const auto to = viewOf(target, fit_.left, fit_.top, fit_.width, fit_.height);
    return to && session_.transferImage(*from, *to) == platform::noErr;
}

platform::PixelBufferPtr PictureFitter::fit(const platform::PixelBufferPtr& picture,
                                            const PictureGeometry& geometry, std::chrono::milliseconds wait,
                                            ZQErrorPtr* error) {
    adapt(geometry);
    prepareConversion(*picture);
    const bool isReady = fit_.isIdentity(geometry, format_) && !conversion_;
    auto result = isReady ? pool_->lend(picture, wait) : pool_->pixelBuffer(wait);
    if (!result) {
        fail(error, noFreePicture());
        return nullptr;
    }
    if (!isReady && !draw(*picture, *result)) {
        fail(error, ZQError::errorWithDomain(frameSourceErrorDomain, frameSourceErrorInvalidFormat,
                                             "A picture of the file cannot be scaled."));
        return nullptr;
    }
    if (conversion_) conversion_->apply(*result, fit_.top, fit_.top + fit_.height);
    result->setAttachments(attachments_);
    return result;
}

platform::PixelBufferPtr PictureFitter::black(std::chrono::milliseconds wait, ZQErrorPtr* error) {
    auto picture = pool_->pixelBuffer(wait);
    if (picture)
        picture->setAttachments(attachments_);
    else
        fail(error, noFreePicture());
    return picture;
}

}  // namespace zenquor::detail
