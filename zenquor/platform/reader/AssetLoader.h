#pragma once
// Fills an asset from a file.

#include "zenquor/platform/Asset.h"

namespace zenquor::platform::detail {

/// Opens a file once and writes down what it holds.
class AssetLoader {
public:
    static AssetPtr load(const std::filesystem::path& url, ZQErrorPtr* error);

private:
    static MediaTime durationOf(const Asset& asset);
};

}  // namespace zenquor::platform::detail
