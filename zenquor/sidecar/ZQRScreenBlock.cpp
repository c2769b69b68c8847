#include "zenquor/sidecar/ZQRScreenBlock.h"

#include "zenquor/core/Unicode.h"

namespace zenquor {

std::string ZQRScreenBlock::text() const {
    std::string text;
    for (const auto& line : lines()) {
        if (!text.empty()) text += '\n';
        text += utf8FromUTF16(line->string());
    }
    return text;
}

}  // namespace zenquor
