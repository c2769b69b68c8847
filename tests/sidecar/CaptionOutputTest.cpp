// Subtitles as caption pairs, frame by frame.
#include "sidecar/Support.h"
#include "zenquor/host/ZHLSidecarProperties.h"
#include "zenquor/sidecar/ZQRSubtitleOutputCEACC.h"
#include "zenquor/sidecar/ZQRSubtitleSidecar.h"
#include "zenquor/vanc/ZQRVANCClosedCaptionPacket.h"

namespace zenquor {
namespace {

using test::LogCapture;
using test::makeBlock;
using test::pal;
using testing::ElementsAre;
using testing::HasSubstr;
using Pairs = std::vector<std::uint16_t>;

/// The output logs every frame; the tests' own report shall be readable.
[[maybe_unused]] const ZLGLevel levelBefore = ZLGGetHandle().setLevel(ZLGLevel::Error);

struct Player {
    explicit Player(const ZQDictionary& properties)
        : sidecar(ZQRSubtitleSidecar::initWithProperties(properties)) {
        sidecar->setupOutput(ZQRSubtitleSidecar::OutputCEACC);
    }
    /// The pair of field 1 that the frame's one packet carries.
    std::uint16_t step(std::int64_t frame, bool isFirst = true) {
        if (isFirst) sidecar->prepareToReadFromFrame(0);
        const auto packets = sidecar->vancPacketsAtTimecode(ZQCKTimecode::timecodeWithFrames(frame, pal));
        EXPECT_EQ(packets.size(), 1U);
        const auto packet = std::dynamic_pointer_cast<ZQRVANCClosedCaptionPacket>(packets.at(0));
        cdp = packet->sdiData();
        EXPECT_EQ(packet->originalType(), ZQRVANCClosedCaptionPacket::TypeCDP);
        EXPECT_EQ(packet->lineNumber(), 9);
        const auto pairs = packet->dataFor608Fields(1);
        return static_cast<std::uint16_t>((*pairs)[0] << 8 | (*pairs)[1]);
    }
    Pairs play(std::int64_t first, std::int64_t last) {
        Pairs pairs;
        for (; first <= last; ++first) pairs.push_back(step(first));
        return pairs;
    }

    std::shared_ptr<ZQRSubtitleSidecar> sidecar;
    ZQData cdp;
};

// Codes of CEA-608-E for channel 1, odd parity included.
constexpr std::uint16_t resumeCaptionLoading = 0x9420;
constexpr std::uint16_t eraseNonDisplayed = 0x94AE;
constexpr std::uint16_t endOfCaption = 0x942F;
constexpr std::uint16_t eraseDisplayed = 0x942C;
constexpr std::uint16_t null = 0x8080;

TEST(CaptionOutput, ABlockIsLoadedBeforeItIsShownAndErasedAfterIt) {
    Player player({});
    auto block = makeBlock(1, 10, 12, {u"Hi"});
    block->setVerticalPosition(15);
    player.sidecar->setSubtitleBlocks({block});
    EXPECT_EQ(player.play(0, 14),
              (Pairs{resumeCaptionLoading, eraseNonDisplayed, 0x9470, 0xC8E9, null, null, null, null, null,
                     null, resumeCaptionLoading, endOfCaption, null, eraseDisplayed, null}));
}

TEST(CaptionOutput, AFlipWaitsForLoadingThatHasNotDrained) {
    Player player({});
    auto block = makeBlock(1, 0, 100, {u"Hi"});
    block->setVerticalPosition(15);
    player.sidecar->setSubtitleBlocks({block});
    EXPECT_EQ(player.play(0, 6), (Pairs{resumeCaptionLoading, eraseNonDisplayed, 0x9470, 0xC8E9,
                                        resumeCaptionLoading, endOfCaption, null}));
}

TEST(CaptionOutput, IdleFramesEraseUnlessTheyAreFirstFrames) {
    for (const auto& [channel, erase] : {std::pair(0, 0x942C), std::pair(1, 0x1C2C), std::pair(2, 0x152C)}) {
        Player player({{ZHLSRTSidecar_Property_ClosedCaptionChannel, channel}});
        EXPECT_EQ(player.step(0, true), null);
        EXPECT_EQ(player.step(1, false), erase);
        EXPECT_EQ(player.step(2, false), erase);
        EXPECT_EQ(player.step(3, true), null);
    }
}

TEST(CaptionOutput, EveryFrameHasTheNextSequenceNumber) {
    Player player({});
    for (int frame = 0; frame < 65538; ++frame) {
        player.step(frame % 1000);
        ASSERT_EQ(player.cdp.size(), 89U);
        const int expected = frame % 65536;
        ASSERT_EQ(player.cdp[5] << 8 | player.cdp[6], expected);
        ASSERT_EQ(player.cdp[86] << 8 | player.cdp[87], expected);
    }
}

/// Row and column at which a line's text starts, from the preamble address and tabs that go out for it.
struct Place {
    int row, column;
    friend bool operator==(const Place&, const Place&) = default;
    friend void PrintTo(const Place& place, std::ostream* out) { *out << place.row << ',' << place.column; }
};

std::vector<Place> placesOf(Player& player, const ZQRSubtitleBlockPtr& block) {
    player.sidecar->setSubtitleBlocks({block});
    std::vector<Place> places;
    for (const std::uint16_t pair : player.play(0, 200)) {
        const auto packet = ZQRVANCCEA608Packet::initWithBytePair(pair);
        const auto& description = packet.description();
        if (packet.type() == ZQRVANCCEA608Packet::PreambleAddress)
            places.push_back({description.value, description.value2});
        if (packet.type() == ZQRVANCCEA608Packet::Tabs) places.back().column += description.value;
    }
    return places;
}

TEST(CaptionOutput, LinesStandWhereJustificationPutsThem) {
    struct Case {
        std::u16string text;
        int justification;
        bool roundUp;
        int column;
    };
    const Case cases[] = {
        {u"Hello", 2, false, 13},
        {u"Hello", 2, true, 14},
        {u"Hell", 2, true, 14},
        {u"Hello", 3, false, 27},
        {u"Hello", 1, false, 0},
        {u" Hello", 0, false, 0},
        {u"\x0B"
         u"Hello",
         3, false, 27},
        {u"", 2, false, 16},
    };
    for (const Case& c : cases) {
        Player player({{ZHLSubtitleSidecar_Property_CenteredRoundUp, c.roundUp}});
        auto block = makeBlock(1, 300, 400, {c.text});
        block->setVerticalPosition(14);
        block->setJustification(c.justification);
        EXPECT_EQ(placesOf(player, block), (std::vector<Place>{{14, c.column}}));
    }
}

TEST(CaptionOutput, PositionsAreKeptOnTheRasterWhenAsked) {
    for (const auto& [validate, firstRow] : {std::pair(true, 12), std::pair(false, 13)}) {
        Player player({});
        player.sidecar->setValidateVerticalPosition(validate);
        auto block = makeBlock(1, 300, 400, {u"a", u"b", u"c"});
        block->setVerticalPosition(13);
        EXPECT_EQ(placesOf(player, block),
                  (std::vector<Place>{{firstRow, 0}, {firstRow + 1, 0}, {firstRow + 2, 0}}));
    }
}

TEST(CaptionOutput, ALineOfMoreThanThirtyTwoCharactersIsTrimmedAndLogged) {
    LogCapture log;
    Player player({});
    auto block = makeBlock(1, 300, 400, {std::u16string(40, u'x')});
    block->setVerticalPosition(15);
    player.sidecar->setSubtitleBlocks({block});
    const Pairs pairs = player.play(0, 30);
    EXPECT_EQ(std::count(pairs.begin(), pairs.end(), 0xF8F8), 16);
    EXPECT_THAT(log.lines,
                ElementsAre(HasSubstr("ZQRSubtitleOutputCEACC will trim line Subtitle line \"xxx")));
    EXPECT_THAT(log.lines, ElementsAre(HasSubstr("with length 40")));
}

TEST(CaptionOutput, CharactersOutsideTheSetAreFilledOrAllowed) {
    const auto charactersOf = [](const ZQDictionary& properties) {
        Player player(properties);
        auto block = makeBlock(1, 300, 400,
                               {u"a\u20AC\u00C4"
                                u"b"});
        block->setVerticalPosition(15);
        player.sidecar->setSubtitleBlocks({block});
        const Pairs pairs = player.play(0, 8);
        return Pairs(pairs.begin() + 3, pairs.end());
    };
    EXPECT_THAT(charactersOf({}), ElementsAre(0x6162, null, null, null, null, null));
    EXPECT_THAT(charactersOf({{ZHLSubtitleSidecar_Property_FillerCharacter, '?'}}),
                ElementsAre(0x61BF, 0xBF62, null, null, null, null));
    EXPECT_THAT(charactersOf({{ZHLSRTSidecar_Property_AllowSpecialWestEuropean, true}}),
                ElementsAre(0x6180, 0x91B0, 0x6280, null, null, null));
}

TEST(CaptionOutput, AnOutputOutlivesItsSidecar) {
    auto sidecar = ZQRSubtitleSidecar::initWithProperties({});
    sidecar->setupOutput(ZQRSubtitleSidecar::OutputCEACC);
    const auto output = sidecar->output();
    const std::weak_ptr<ZQRSubtitleSidecar> watch = sidecar;
    sidecar.reset();
    EXPECT_TRUE(watch.expired());
    output->prepareBlock(*makeBlock(1, 0, 1, {u"a"}));
    EXPECT_EQ(output->finishFrame(false).size(), 1U);
}

}  // namespace
}  // namespace zenquor
