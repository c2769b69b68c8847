#include <gtest/gtest.h>

#include "zenquor/core/ZQData.h"
#include "zenquor/core/ZQValue.h"

using namespace zenquor;

TEST(Data, SlicesShareTheBytesAndKeepThemAlive) {
    int releases = 0;
    ZQData slice;
    {
        static const std::uint8_t bytes[] = {1, 2, 3, 4};
        const ZQData whole = ZQData::wrapping(bytes, [&] { ++releases; });
        slice = whole.slice(1, 2);
        EXPECT_EQ(slice.data(), bytes + 1);
        EXPECT_EQ(whole.slice(3, 100).size(), 1U);
        EXPECT_TRUE(whole.slice(100, 1).empty());
        EXPECT_TRUE(whole.slice(SIZE_MAX, SIZE_MAX).empty());
    }
    EXPECT_EQ(releases, 0) << "the slice still owns the bytes";
    EXPECT_EQ(slice, ZQData::copying(std::vector<std::uint8_t>{2, 3}));
    EXPECT_NE(slice, ZQData::copying(std::vector<std::uint8_t>{2, 4}));
    EXPECT_NE(slice, ZQData{});
    slice = {};
    EXPECT_EQ(releases, 1);
    EXPECT_EQ(ZQData{}, ZQData::copying({}));
}

TEST(Dictionary, AbsentKeysReadAsNothingAndKindsConvertAsFarAsTheyGo) {
    ZQDictionary values = {{"rate", 2997}, {"name", "A1"}, {"on", true}, {"ratio", 1.75}};
    EXPECT_EQ(values["none"].integerValue(), 0);
    EXPECT_FALSE(values["none"].boolValue());
    EXPECT_EQ(values["none"].stringValue(), "");
    EXPECT_EQ(values["none"].objectValue(), nullptr);
    EXPECT_EQ(values["ratio"].integerValue(), 1);
    EXPECT_EQ(values["on"].doubleValue(), 1.0);
    EXPECT_EQ(values["name"].integerValue(), 0) << "texts are no numbers";
    EXPECT_TRUE(values["name"].isText());
    EXPECT_EQ(ZQValue(1e300).integerValue(), INT64_MAX);
    EXPECT_EQ(ZQValue(-1e300).integerValue(), INT64_MIN);
    EXPECT_EQ(ZQValue(0.0 / 0.0).integerValue(), 0);
    values.set("name", "B2");
    values.remove("on");
    EXPECT_EQ(values.description(), "{name = B2; rate = 2997; ratio = 1.75;}");
}
