#include "zenquor/media/ZQRFrameStore.h"

#include "zenquor/core/ZLGHandle.h"

namespace zenquor {

ZQRFrameStorePtr ZQRFrameStore::helperWithData(std::optional<ZQData> data) {
    ZQRFrameStorePtr store(new ZQRFrameStore);
    store->rawData_ = std::move(data);
    return store;
}

ZQRFrameStorePtr ZQRFrameStore::helperWithCMSampleBuffer(const platform::SampleBufferPtr& sample) {
    ZQRFrameStorePtr store(new ZQRFrameStore);
    store->type_ = 1;
    store->setCMSampleBuffer(sample);
    return store;
}

void ZQRFrameStore::setCMSampleBuffer(const platform::SampleBufferPtr& sample) {
    cmSampleBuffer_ = nullptr;
    if (!sample) {
        ZLGGetHandle().error("Trying to set a NULL CMSampleBuffer! - FAIL!");
    } else if (platform::SampleBuffer::createCopy(sample, cmSampleBuffer_) != platform::noErr) {
        ZLGGetHandle().error("Can't copy CMSampleBuffer! - FAIL!");
    }
}

}  // namespace zenquor
