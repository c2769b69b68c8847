#include "zenquor/vanc/ZQRVANCPacketImpl.h"

#include <utility>

#include <fmt/format.h>

#include "zenquor/core/ZLGHandle.h"

namespace zenquor {

ZQRVANCPacketImpl::ZQRVANCPacketImpl(std::int32_t did, std::int32_t sdid, std::int32_t line, ZQData data)
    : did_(did), sdid_(sdid), line_(line), data_(std::move(data)) {}

std::shared_ptr<ZQRVANCPacketImpl> ZQRVANCPacketImpl::initWithDID(std::int32_t did, std::int32_t sdid,
                                                                  std::int32_t line, ZQData data) {
    return std::shared_ptr<ZQRVANCPacketImpl>(new ZQRVANCPacketImpl(did, sdid, line, std::move(data)));
}

std::string ZQRVANCPacketImpl::description() const {
    return fmt::format("VANC DID:{} SDID:{} line:{}", did_, sdid_, line_);
}

void ZQRVANCPacketImpl::log() const {
    auto& handle = ZLGGetHandle();
    if (handle.isEnabled(ZLGLevel::Debug)) handle.debug("{}", debugDescription());
}

}  // namespace zenquor
