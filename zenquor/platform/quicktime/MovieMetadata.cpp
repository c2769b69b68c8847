#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zenquor/platform/quicktime/MovieHeader.h"

namespace zenquor::platform::quicktime {
namespace {

using detail::BoxWriter;

constexpr std::uint16_t undeterminedLanguage = 0x55C4;
constexpr std::uint32_t utf8Text = 1;

using Item = std::pair<std::string, std::string>;
struct Items {
    std::vector<std::pair<FourCC, std::string>> userData;
    std::vector<Item> keys;
};

/// A user data name as its code: four bytes, of which the copyright sign may be written as the two bytes of
/// UTF-8.
FourCC userDataCode(std::string_view key) {
    constexpr std::string_view copyrightSign = "\xC2\xA9";
    if (key.substr(0, 2) != copyrightSign) return fourCCFromString(std::string(key));
    std::string code(1, '\xA9');
    code += key.substr(2);
    return fourCCFromString(code);
}

Items sorted(const ZQDictionary& metadata) {
    Items items;
    for (const auto& [key, value] : metadata) {
        std::string text = value.isText() ? value.stringValue() : value.description();
        if (key.empty()) continue;
        if (const FourCC code = userDataCode(key); code != 0) {
            items.userData.emplace_back(code, std::move(text));
        } else {
            items.keys.emplace_back(key, std::move(text));
        }
    }
    return items;
}

void writeHandler(BoxWriter& out, FourCC type) {
    out.fullBox(fourCC("hdlr"), 0, 0, [&] {
        out.u32(0);
        out.u32(type);
        out.zeros(13);  // with an empty name, the same in both kinds of text
    });
}

void writeValue(BoxWriter& out, std::string_view text) {
    out.box(fourCC("data"), [&] {
        out.u32(utf8Text);
        out.u32(0);  // locale
        out.text(text);
    });
}

/// A meta box; that of QuickTime has no version and flags.
template <typename Content>
void writeMeta(BoxWriter& out, FileType type, Content&& content) {
    if (type == FileType::QuickTimeMovie) return out.box(fourCC("meta"), content);
    out.fullBox(fourCC("meta"), 0, 0, content);
}

void writeKeys(BoxWriter& out, FileType type, const std::vector<Item>& items) {
    if (items.empty()) return;
    writeMeta(out, type, [&] {
        writeHandler(out, fourCC("mdta"));
        out.fullBox(fourCC("keys"), 0, 0, [&] {
            out.u32(static_cast<std::uint32_t>(items.size()));
            for (const Item& item : items) out.box(fourCC("mdta"), [&] { out.text(item.first); });
        });
        out.box(fourCC("ilst"), [&] {
            std::uint32_t index = 0;
            for (const Item& item : items) out.box(++index, [&] { writeValue(out, item.second); });
        });
    });
}

void writeUserData(BoxWriter& out, FileType type, const Items& items) {
    if (items.userData.empty()) return;
    out.box(fourCC("udta"), [&] {
        if (type == FileType::QuickTimeMovie) {
            for (const auto& item : items.userData) {
                out.box(item.first, [&] {
                    const auto clipped = std::string_view(item.second).substr(0, 0xFFFF);
                    out.u16(static_cast<std::uint16_t>(clipped.size()));
                    out.u16(undeterminedLanguage);
                    out.text(clipped);
                });
            }
            return;
        }
        writeMeta(out, type, [&] {
            writeHandler(out, fourCC("mdir"));
            out.box(fourCC("ilst"), [&] {
                for (const auto& item : items.userData) {
                    out.box(item.first, [&] { writeValue(out, item.second); });
                }
            });
        });
    });
}

}  // namespace

void writeMetadata(BoxWriter& out, FileType type, const ZQDictionary& metadata) {
    const Items items = sorted(metadata);
    writeUserData(out, type, items);
    writeKeys(out, type, items.keys);
}

}  // namespace zenquor::platform::quicktime
