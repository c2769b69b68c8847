#pragma once
// EBU STL files for tests, put together field by field as EBU Tech 3264 lays them out.

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace zenquor::test {

/// A general block of 1024 bytes: 25 frames a second, English, everything else blank.
inline std::string generalBlock(int blocks) {
    std::string general(1024, ' ');
    general.replace(0, 16, "850STL25.0110009");
    std::string number = std::to_string(blocks);
    general.replace(238, 5, std::string(5 - number.size(), '0') + number);
    return general;
}

inline std::string withField(std::string general, std::size_t offset, std::string_view field) {
    return general.replace(offset, field.size(), field);
}

/// A text block of 128 bytes. Times are in seconds.
struct TextBlock {
    std::string text;
    int in = 1, out = 2;
    int row = 20, justification = 1;
    int extension = 0xFF, comment = 0, cumulative = 0, number = 1;

    std::string bytes() const {
        const int fields[] = {1, number & 0xFF, number >> 8, extension, cumulative,    0,      0, in, 0, 0,
                              0, out,           0,           row,       justification, comment};
        std::string block;
        for (const int field : fields) block.push_back(static_cast<char>(field));
        block += text.substr(0, 112);
        block.resize(128, '\x8F');
        return block;
    }
};

inline std::string stlFile(std::initializer_list<TextBlock> blocks) {
    std::string file = generalBlock(static_cast<int>(blocks.size()));
    for (const TextBlock& block : blocks) file += block.bytes();
    return file;
}

}  // namespace zenquor::test
