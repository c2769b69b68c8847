#include "zenquor/vanc/ZQRVANCTeletextDummyIDLPacketGenerator.h"

#include <algorithm>

namespace zenquor {

ZQRVANCTeletextDummyIDLPacketGenerator& ZQRVANCTeletextDummyIDLPacketGenerator::sharedGenerator() {
    static ZQRVANCTeletextDummyIDLPacketGenerator generator;
    return generator;
}

void ZQRVANCTeletextDummyIDLPacketGenerator::setMagazine(std::uint32_t magazine) {
    state_.with([&](State& state) { state.magazine = magazine; });
}

void ZQRVANCTeletextDummyIDLPacketGenerator::setAddress(std::string address) {
    std::erase_if(address, [](char c) { return c < '0' || c > '9'; });
    address.resize(std::min(address.size(), maximumAddressLength));
    state_.with([&](State& state) { state.address = std::move(address); });
}

void ZQRVANCTeletextDummyIDLPacketGenerator::setContinuity(std::uint8_t continuity) {
    state_.with([&](State& state) { state.continuity = continuity; });
}

void ZQRVANCTeletextDummyIDLPacketGenerator::setPayloadContent(std::uint8_t content) {
    state_.with([&](State& state) { state.payloadContent = content; });
}

void ZQRVANCTeletextDummyIDLPacketGenerator::setPayloadCounter(std::uint32_t counter) {
    state_.with([&](State& state) { state.payloadCounter = counter; });
}

}  // namespace zenquor
