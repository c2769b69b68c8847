#include "zenquor/audio/ZQRAudioConverter.h"

#include <algorithm>

#include <fmt/format.h>

#include "zenquor/core/ZLGHandle.h"

namespace zenquor {

std::shared_ptr<ZQRAudioConverter> ZQRAudioConverter::initWithInputASBD(
    const platform::AudioStreamBasicDescription& input, const platform::AudioStreamBasicDescription& output) {
    std::shared_ptr<ZQRAudioConverter> converter(new ZQRAudioConverter);
    const platform::Status status = platform::AudioConverter::create(input, output, converter->converter_);
    if (status != platform::noErr) {
        ZLGGetHandle().error("ZQRAudioConverter: Could not create Audio Converter with error {}", status);
        return nullptr;
    }
    converter->input_ = input;
    converter->output_ = output;
    const bool isPlanar = (output.formatFlags & platform::audioFormatFlagIsNonInterleaved) != 0;
    converter->numberOfChannels_ = isPlanar ? 1 : output.channelsPerFrame;
    converter->scratch_.resize(std::size_t{output.bytesPerFrame} * output.channelsPerFrame *
                               largestSampleCount);
    return converter;
}

bool ZQRAudioConverter::convertInputBufferList(const platform::AudioBufferList& input,
                                               const platform::AudioBufferList*& outputBufferList,
                                               std::uint32_t sampleCount, ZQErrorPtr* error) {
    prepareOutput(sampleCount);
    const platform::Status status = converter_->convertComplexBuffer(sampleCount, input, buffers_);
    if (status != platform::noErr) {
        const std::string text =
            fmt::format("ZQRAudioConverter can't convert audio buffer with error {}. Got {} samples", status,
                        sampleCount);
        ZLGGetHandle().error("{}", text);
        return fail(error, ZQError::errorWithDomain(errorDomain, status, text));
    }
    outputBufferList = &buffers_;
    return true;
}

void ZQRAudioConverter::prepareOutput(std::uint32_t sampleCount) {
    if (buffers_.empty()) buffers_.resize(numberOfChannels_ == 1 ? output_.channelsPerFrame : 1);
    const std::size_t bytes = std::size_t{output_.bytesPerFrame} * sampleCount;
    scratch_.resize(std::max(scratch_.size(), bytes * buffers_.size()));
    for (std::size_t i = 0; i < buffers_.size(); ++i) {
        buffers_[i] = {numberOfChannels_, static_cast<std::uint32_t>(bytes), scratch_.data() + i * bytes};
    }
}

}  // namespace zenquor
