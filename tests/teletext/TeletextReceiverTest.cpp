// Subtitle pages as an independent teletext receiver, libzvbi, shows them.

#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <libzvbi.h>

#include "zenquor/core/Unicode.h"
#include "zenquor/vanc/ZQRVANCHelper.h"
#include "zenquor/vanc/ZQRVANCOP47Packet.h"

using namespace zenquor;
using OP47 = ZQRVANCOP47Packet;
using Teletext = ZQRVANCTeletextPacket;

namespace {

/// What the receiver writes differently: it draws letters of some sets with a neighbour's mark.
struct Deviation {
    char16_t receiver;
    char16_t standard;
};
constexpr Deviation deviations[] = {
    {0xE800, u'₤'},                              // its own code for the Turkish lira sign
    {u'Ð', u'Đ'},   {u'ð', u'đ'},                // the Icelandic letter for the Croatian one
    {u'Ǎ', u'Ă'},   {u'ǎ', u'ă'}, {u'Í', u'Î'},  // Rumanian
    {u'ȩ', u'ę'},                                // Lithuanian
};

class Receiver {
public:
    /// @param region  the group of sets that the number in a header chooses from.
    explicit Receiver(int region) : decoder_(vbi_decoder_new(), vbi_decoder_delete) {
        vbi_teletext_set_default_region(decoder_.get(), region);
        vbi_event_handler_register(
            decoder_.get(), VBI_EVENT_TTX_PAGE, [](vbi_event*, void*) {}, nullptr);
    }

    /// Takes the teletext packets out of an OP-47 packet as it is on the wire.
    void receive(ZQRVANCPacket& packet) {
        const ZQData data = packet.sdiData();
        vbi_sliced lines[OP47::maximumPackets]{};
        int count = 0;
        for (std::size_t offset = 9; offset + 45 < data.size(); offset += 45) {
            vbi_sliced& line = lines[count];
            line.id = VBI_SLICED_TELETEXT_B;
            line.line = static_cast<std::uint32_t>(10 + count++);
            std::memcpy(line.data, data.data() + offset + 3, 42);  // behind run-in and framing code
        }
        vbi_decode(decoder_.get(), lines, count, now_);
        now_ += 0.04;
    }

    /// A header that names @p set, and the rows; then the next header of the magazine, which ends the page.
    void receivePage(std::uint32_t set, const std::vector<Teletext>& rows) {
        auto packet = OP47::beginOP47PacketWithLine(12);
        packet->appendPacket(Teletext::initSubtitleHeaderWithColour(7, u'?', set));
        for (const Teletext& row : rows) packet->appendPacket(row);
        receive(*OP47::finishOP47Packet(packet));
        endPage();
    }
    void endPage() {
        auto packet = OP47::beginOP47PacketWithLine(12);
        auto header = Teletext::initSubtitleHeaderWithColour(7, u' ', 0);
        header.setPageUnits(9);
        packet->appendPacket(header);
        receive(*packet);
        ASSERT_TRUE(vbi_fetch_vt_page(decoder_.get(), &page_, 0x888, VBI_ANY_SUBNO, VBI_WST_LEVEL_1, 25, 0));
        vbi_unref_page(&page_);  // the text stays
    }

    const vbi_char& at(int row, int column) const { return page_.text[row * page_.columns + column]; }
    std::string text(int row, std::size_t length) const {
        std::u16string text;
        for (int column = 2; text.size() < length; ++column) {
            text += static_cast<char16_t>(at(row, column).unicode);
            for (const Deviation& each : deviations) {
                if (text.back() == each.receiver) text.back() = each.standard;
            }
        }
        return utf8FromUTF16(text);
    }

private:
    std::unique_ptr<vbi_decoder, void (*)(vbi_decoder*)> decoder_;
    vbi_page page_{};
    double now_ = 0;
};

Teletext boxed(std::int32_t line, std::uint32_t set, std::u16string_view text) {
    return Teletext::initSubtitleWithLine(line, u'?', set, u"\x0b\x0b" + std::u16string(text) + u"\x0a\x0a");
}

struct SetCase {
    std::uint32_t set;
    int region;              // of the receiver
    std::uint32_t inHeader;  // the number under which that region has the set
    std::u16string_view text;
    std::u16string_view shown{};  // where it differs
};
// Texts are the national characters of ETS 300 706 table 36.
constexpr SetCase sets[] = {
    {0, 0, 0, u"£$@←½→↑#—¼‖¾÷"},   {0, 0, 0, u"# La [la] “£5” – co_op’s…", u"# La (la) \"£5\" - co-op's."},
    {1, 0, 1, u"éïàëêùî#èâôûç"},   {2, 0, 2, u"#¤ÉÄÖÅÜ_éäöåü"},
    {3, 0, 3, u"#ůčťžýířéáěúš"},   {4, 0, 4, u"#$§ÄÖÜ^_°äöüß"},
    {5, 0, 5, u"ç$¡áéíóú¿üñèà"},   {6, 0, 6, u"£$é°ç→↑#ùàòèì"},
    {7, 0, 0, u"£$@←½→↑#—¼‖¾÷"},   {8, 32, 2, u"#õŠÄÖŽÜÕšäöžü"},
    {9, 32, 6, u"#$ŠėęŽčūšąųžį"},  {10, 8, 0, u"#ńąƵŚŁćóężśłź"},
    {11, 24, 7, u"#¤ŢÂŞĂÎıţâşăî"}, {12, 24, 5, u"#ËČĆŽĐŠëčćžđš"},
    {13, 16, 3, u"₤ğİŞÖÇÜĞışöçü"},
};

}  // namespace

TEST(TeletextReceiver, ShowsTheCharactersOfEverySet) {
    for (const SetCase& each : sets) {
        Receiver receiver(each.region);
        receiver.receivePage(each.inHeader, {boxed(20, each.set, each.text)});
        const std::u16string_view expected = each.shown.empty() ? each.text : each.shown;
        EXPECT_EQ(receiver.text(20, expected.size()), utf8FromUTF16(expected)) << each.set;
    }
}

TEST(TeletextReceiver, FollowsColoursBoxesAndDoubleHeight) {
    Receiver receiver(0);
    for (char16_t colour = 1; colour <= 7; ++colour) {
        const std::u16string text = u"\x0d\x0b\x0b" + std::u16string(1, colour) + u"AB\x0a\x0aout";
        receiver.receivePage(0, {Teletext::initSubtitleWithLine(20, u'?', 0, text)});
        EXPECT_EQ(receiver.text(20, 4), "  AB");
        EXPECT_EQ(receiver.at(20, 4).foreground, colour);
        EXPECT_EQ(receiver.at(20, 4).size, VBI_DOUBLE_HEIGHT);
        EXPECT_NE(receiver.at(20, 4).opacity, VBI_TRANSPARENT_SPACE);
        EXPECT_EQ(receiver.at(20, 10).opacity, VBI_TRANSPARENT_SPACE) << "the box ends";
        EXPECT_EQ(receiver.at(20, 0).opacity, VBI_TRANSPARENT_SPACE) << "the box starts";
        EXPECT_EQ(receiver.at(0, 20).opacity, VBI_TRANSPARENT_SPACE) << "the header is not shown";
    }
}

TEST(TeletextReceiver, ForgetsTheSubtitleWhenItIsCleared) {
    Receiver receiver(0);
    receiver.receivePage(0, {boxed(20, 0, u"first"), boxed(22, 0, u"line")});
    EXPECT_EQ(receiver.text(20, 5) + receiver.text(22, 4), "firstline");
    for (const auto& packet : ZQRVANCHelper::clearPackets({}, ZQRVANCFlagOP47)) receiver.receive(*packet);
    receiver.endPage();
    EXPECT_EQ(receiver.text(20, 5) + receiver.text(22, 4), "         ");
}
