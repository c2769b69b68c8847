#pragma once
// What a reader and its outputs share.

#include <atomic>
#include <cstddef>

#include "zenquor/core/Guarded.h"
#include "zenquor/core/ZQError.h"
#include "zenquor/platform/AssetReader.h"

namespace zenquor::platform::detail {

/// A reader's status, which its outputs move on.
///
/// Thread-safety: Safe.
struct ReaderState {
    std::atomic<AssetReaderStatus> status{AssetReaderStatus::Unknown};
    std::atomic<std::size_t> unfinishedOutputs{0};
    Guarded<ZQErrorPtr> error;

    /// Ends reading with @p reason, unless it has ended already.
    void fail(ZQErrorPtr reason) {
        auto expected = AssetReaderStatus::Reading;
        error.store(std::move(reason));
        if (!status.compare_exchange_strong(expected, AssetReaderStatus::Failed) &&
            expected == AssetReaderStatus::Unknown) {
            status.store(AssetReaderStatus::Failed);
        }
    }
    void finishOutput() {
        auto expected = AssetReaderStatus::Reading;
        if (unfinishedOutputs.fetch_sub(1) == 1) {
            status.compare_exchange_strong(expected, AssetReaderStatus::Completed);
        }
    }
};

}  // namespace zenquor::platform::detail
