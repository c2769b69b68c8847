#pragma once
// The fixed parts of a MacCaption file.

#include <string_view>

namespace zenquor::detail {

/// The names of header entries.
inline constexpr std::string_view fileFormatKey = "File Format";
inline constexpr std::string_view timeCodeRateKey = "Time Code Rate";
inline constexpr std::string_view uuidKey = "UUID";
inline constexpr std::string_view creationDateKey = "Creation Date";
inline constexpr std::string_view creationTimeKey = "Creation Time";

/// The values of "File Format".
inline constexpr std::string_view formatV1 = "MacCaption_MCC V1.0";
inline constexpr std::string_view formatV2 = "MacCaption_MCC V2.0";

/// A value of "Time Code Rate" and the timebase's code.
struct TimeCodeRate {
    std::string_view name;
    int frameRate;
};
/// In the order in which the start of a value is compared: "30DF" is not to be taken for "30".
inline constexpr TimeCodeRate timeCodeRates[] = {{"24", 1}, {"25", 2},   {"30DF", 3}, {"30", 4},
                                                 {"50", 5}, {"60DF", 6}, {"60", 7}};

/// The description that each file has to carry, without a newline at its end.
inline constexpr std::string_view mccDescription =
    "///////////////////////////////////////////////////////////////////////////////////\n"
    "// Computer Prompting and Captioning Company\n"
    "// Ancillary Data Packet Transfer File\n"
    "//\n"
    "// Permission to generate this format is granted provided that\n"
    "// 1. This ANC Transfer file format is used on an as-is basis and no warranty is given, and\n"
    "// 2. This entire descriptive information text is included in a generated .mcc file.\n"
    "//\n"
    "// General file format:\n"
    "// HH:MM:SS:FF(tab)[Hexadecimal ANC data in groups of 2 characters]\n"
    "// Hexadecimal data starts with the Ancillary Data Packet DID (Data ID defined in S291M)\n"
    "// and concludes with the Check Sum following the User Data Words.\n"
    "// Each time code line must contain at most one complete ancillary data packet.\n"
    "// To transfer additional ANC Data successive lines may contain identical time code.\n"
    "// Time Code Rate=[24, 25, 30, 30DF, 50, 60]\n"
    "//\n"
    "// ANC data bytes may be represented by one ASCII character according to the following schema:\n"
    "// G FAh 00h 00h\n"
    "// H 2 x (FAh 00h 00h)\n"
    "// I 3 x (FAh 00h 00h)\n"
    "// J 4 x (FAh 00h 00h)\n"
    "// K 5 x (FAh 00h 00h)\n"
    "// L 6 x (FAh 00h 00h)\n"
    "// M 7 x (FAh 00h 00h)\n"
    "// N 8 x (FAh 00h 00h)\n"
    "// O 9 x (FAh 00h 00h)\n"
    "// P FBh 80h 80h\n"
    "// Q FCh 80h 80h\n"
    "// R FDh 80h 80h\n"
    "// S 96h 69h\n"
    "// T 61h 01h\n"
    "// U E1h 00h 00h\n"
    "// Z 00h\n"
    "//\n"
    "///////////////////////////////////////////////////////////////////////////////////";

}  // namespace zenquor::detail
