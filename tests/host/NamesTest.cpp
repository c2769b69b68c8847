// Names of codecs, languages and files, and the settings that preferences turn into.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "zenquor/host/ZHLCompressionComponent.h"
#include "zenquor/host/ZHLH264Preferences.h"
#include "zenquor/host/ZHLIngestNamingHelper.h"
#include "zenquor/host/ZHLLanguageTable.h"

namespace zenquor {
namespace {

TEST(CompressionComponent, EveryCodecHasANameOfItsOwn) {
    constexpr const char* codes =
        "2vuy v210 jpeg avc1 hvc1 apch apcn apco apcs ap4h dvcp dvpp dv5n dv5p dvhp dvhq dvh5 dvh6 mx3n mx3p "
        "mx4n "
        "mx4p mx5n mx5p AVmp ai12 ai13 ai15 ai16 ai1p ai1q ai23 ai2p ai2q ai3p ai52 ai53 ai55 ai56 ai5p ai5q "
        "ai60 ai61 "
        "ai62 ai63 ai64 ai6p ai6q ai7p xa02 xa03 xa05 xa06 xalg xdv2 xdv3 xdv6 xdv7 xdv8 xdv9 xdva xdvb xdvc "
        "xdvd xdve "
        "xdvf xd59 xd5a xd5b xd5c xd5d xd5e xd5f d7q8 d7s8 d7t8 d7x1 dihr diq8 dis8 dit8 dix1 dpq8 dps8 dpt8 "
        "dpx1 drl1 "
        "drx1 hrhq hrlb hrsq rhqx rr41 xv00 xv06 xv07 xv13 xv14 xv20 xv21 xv27";
    std::istringstream list(codes);
    for (std::string code; list >> code;) {
        EXPECT_FALSE(ZHLCompressionComponent::displayNameForCode(fourCCFromString(code)).empty()) << code;
    }
    EXPECT_FALSE(ZHLCompressionComponent::displayNameForCode(fourCC("dvc ")).empty());
    std::set<std::string_view> names;
    for (const auto& entry : ZHLCompressionComponent::knownComponents()) {
        EXPECT_TRUE(names.insert(entry.name).second) << entry.name;
    }
    EXPECT_EQ(ZHLCompressionComponent::componentWithCode(fourCC("zzz9"))->name(), "zzz9");
}

TEST(LanguageTable, CodesOfTech3264GiveTheirLanguages) {
    struct Case {
        int code;
        const char *iso, *name;
    };
    for (const Case& c :
         {Case{0x00, "und", "unknown"}, Case{0x08, "deu", "German"}, Case{0x09, "eng", "English"},
          Case{0x0F, "fra", "French"}, Case{0x27, "fin", "Finnish"}, Case{0x2B, "wln", "Walloon"},
          Case{0x45, "zul", "Zulu"}, Case{0x70, "ell", "Greek"}, Case{0x7F, "amh", "Amharic"}}) {
        const auto language = ZHLLanguageTable::languageForCode(c.code);
        ASSERT_TRUE(language) << c.code;
        EXPECT_EQ(language->iso639_2, c.iso);
        EXPECT_EQ(ZHLLanguageTable::nameForCode(c.code), c.name);
        const auto byLetters = ZHLLanguageTable::languageForISO639(c.iso);
        EXPECT_EQ(byLetters ? byLetters->code : 0, c.code) << c.iso;
    }
    EXPECT_FALSE(ZHLLanguageTable::languageForISO639("xyz"));
    for (int code : {-1, 0x2C, 0x44, 0x80, 1 << 20}) {
        EXPECT_FALSE(ZHLLanguageTable::languageForCode(code)) << code;
        EXPECT_EQ(ZHLLanguageTable::nameForCode(code), "unknown");
    }
}

class NamingHelper : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "zenquor-XXXXXX").string();
        ASSERT_TRUE(mkdtemp(pattern.data()));
        folder_ = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }
    void make(const std::string& name) { std::ofstream(folder_ / name) << name; }
    std::string next(const std::string& name, const char* separator) {
        return ZHLIngestNamingHelper::nextFreeURL(folder_ / name, separator).filename().string();
    }

    std::filesystem::path folder_;
};

TEST_F(NamingHelper, CountsUpFromOneUntilANameIsFree) {
    EXPECT_EQ(next("clip.mov", "-"), "clip.mov");
    make("clip.mov");
    EXPECT_EQ(next("clip.mov", "-"), "clip-1.mov");
    EXPECT_EQ(next("clip.mov", "_take "), "clip_take 1.mov");
    EXPECT_EQ(next("clip.mov", ""), "clip1.mov");
    make("clip-1.mov");
    make("clip-2.mov");
    EXPECT_EQ(next("clip.mov", "-"), "clip-3.mov");
    make("10:00.take.one");
    EXPECT_EQ(next("10:00.take.one", "-"), "10:00.take-1.one");
    make("noextension");
    EXPECT_EQ(next("noextension", "-"), "noextension-1");
}

TEST_F(NamingHelper, ANameThatOnlyABrokenLinkHoldsIsNotFree) {
    std::filesystem::create_symlink(folder_ / "gone", folder_ / "clip.mov");
    EXPECT_EQ(next("clip.mov", "-"), "clip-1.mov");
}

TEST_F(NamingHelper, ANameThatCannotBeLookedUpEndsTheSearch) {
    make("file");
    EXPECT_EQ(next("file/clip.mov", "-"), "clip.mov");
    EXPECT_EQ(next(std::string(300, 'x') + ".mov", "-"), std::string(300, 'x') + ".mov");
}

TEST(H264Preferences, ProfilesBecomeLevelsOfTheAssetWriter) {
    struct Case {
        const char *profile, *level;
    };
    for (const Case& c : {Case{"Baseline", "H264_Baseline_AutoLevel"}, Case{"Main", "H264_Main_AutoLevel"},
                          Case{"High", "H264_High_AutoLevel"}, Case{"", ""}, Case{"high", ""}}) {
        ZHLH264Preferences preferences;
        preferences.setH264Profile(c.profile);
        preferences.setBitrate(8000000);
        preferences.setGopSize(12);
        preferences.setAllowFrameReordering(false);
        preferences.setEntropyMode("CAVLC");
        const platform::VideoOutputSettings settings = preferences.avAssetWriterVideoOptions();
        EXPECT_EQ(settings.profileLevel, c.level);
        EXPECT_EQ(settings.description(),
                  "{codec = avc1; width = 0; height = 0; averageBitRate = 8000000; maxKeyFrameInterval = 12; "
                  "profileLevel = " +
                      std::string(c.level) + "; allowFrameReordering = false; entropyMode = CAVLC}");
    }
}

}  // namespace
}  // namespace zenquor
