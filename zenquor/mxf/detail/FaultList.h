#pragma once
// What was found wrong with a file, in sentences.

#include <string>
#include <vector>

#include "zenquor/mxf/ZQRMXFLogger.h"

namespace zenquor::mxf::detail {

/// Collects each fault once, up to a number that a person still reads, and tells it to the logger.
///
/// Thread-safety: One thread at a time.
class FaultList {
public:
    explicit FaultList(ZQRMXFLoggerPtr logger) : logger_(std::move(logger)) {}

    void tell(std::string sentence);
    const std::vector<std::string>& sentences() const { return sentences_; }

private:
    static constexpr std::size_t largestCount = 100;

    ZQRMXFLoggerPtr logger_;
    std::vector<std::string> sentences_;
};

}  // namespace zenquor::mxf::detail
