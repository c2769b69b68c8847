// Subtitle pages as an independent teletext receiver, libzvbi, shows them.

#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <libzvbi.h>

#include "zenquor/vanc/ZQRVANCHelper.h"
#include "zenquor/vanc/ZQRVANCOP47Packet.h"

using namespace zenquor;
using OP47 = ZQRVANCOP47Packet;
using Teletext = ZQRVANCTeletextPacket;

namespace {

constexpr int subtitlePage = 0x888;

/// What the receiver writes differently: it draws letters of these sets with a neighbour's mark.
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

    /// The next header of the magazine ends the page; then it can be looked at.
    void endPage() {
        auto header = Teletext::initSubtitleHeaderWithColour(7, u' ', 0);
        header.setPageUnits(9);
        receive(*packetOf({header}));
        if (isFetched_) vbi_unref_page(&page_);
        isFetched_ = vbi_fetch_vt_page(decoder_.get(), &page_, subtitlePage, VBI_ANY_SUBNO, VBI_WST_LEVEL_1,
                                       25, 0) != 0;
    }
    ~Receiver() {
        if (isFetched_) vbi_unref_page(&page_);
    }

    bool hasPage() const { return isFetched_; }
    const vbi_char& at(int row, int column) const { return page_.text[row * page_.columns + column]; }
    std::u16string text(int row, int column, std::size_t length) const {
        std::u16string text;
        for (std::size_t i = 0; i < length; ++i) {
            auto character = static_cast<char16_t>(at(row, column + static_cast<int>(i)).unicode);
            for (const Deviation& each : deviations) {
                if (isDeviating && character == each.receiver) character = each.standard;
            }
            text += character;
        }
        return text;
    }

    static std::shared_ptr<OP47> packetOf(const std::vector<Teletext>& packets) {
        auto packet = OP47::beginOP47PacketWithLine(12);
        for (const Teletext& each : packets) packet->appendPacket(each);
        return OP47::finishOP47Packet(packet);
    }

    bool isDeviating = false;

private:
    std::unique_ptr<vbi_decoder, void (*)(vbi_decoder*)> decoder_;
    vbi_page page_{};
    bool isFetched_ = false;
    double now_ = 0;
};

Teletext boxed(std::int32_t line, std::uint32_t set, std::u16string text) {
    return Teletext::initSubtitleWithLine(line, u'?', set, u"\x0b\x0b" + text + u"\x0a\x0a");
}

struct SetCase {
    std::uint32_t set;
    int region;              // of the receiver
    std::uint32_t inHeader;  // the number under which that region has the set
    bool isDeviating;
    std::u16string_view text;
    std::u16string_view shown{};  // where it differs
};
// Texts are the national characters of ETS 300 706 table 36, then a line of the language.
constexpr SetCase sets[] = {
    {0, 0, 0, false, u"£$@←½→↑#—¼‖¾÷"},
    {0, 0, 0, false, u"# La [la] “£5” – co_op’s…", u"# La (la) \"£5\" - co-op's."},
    {1, 0, 1, false, u"éïàëêùî#èâôûç"},
    {1, 0, 1, false, u"Où est l’hôtel À gauche ?", u"Où est l'hôtel A gauche ?"},
    {2, 0, 2, false, u"#¤ÉÄÖÅÜ_éäöåü"},
    {2, 0, 2, false, u"Älä pelkää! Får jag? Őr", u"Älä pelkää! Får jag? Ör"},
    {3, 0, 3, false, u"#ůčťžýířéáěúš"},
    {3, 0, 3, false, u"Příliš žluťoučký kůň", u"Příliš žluťoučký kůn"},
    {4, 0, 4, false, u"#$§ÄÖÜ^_°äöüß"},
    {4, 0, 4, false, u"„Größe“ über Café", u"\"Größe\" über Cafe"},
    {5, 0, 5, false, u"ç$¡áéíóú¿üñèà"},
    {5, 0, 5, false, u"¿Qué? ¡Mañana! Não vê", u"¿Qué? ¡Mañana! Nao ve"},
    {6, 0, 6, false, u"£$é°ç→↑#ùàòèì"},
    {6, 0, 6, false, u"È così, perché 10 €", u"E così, perché 10 E"},
    {7, 0, 0, false, u"£$@←½→↑#—¼‖¾÷"},
    {8, 32, 2, false, u"#õŠÄÖŽÜÕšäöžü"},
    {9, 32, 6, true, u"#$ŠėęŽčūšąųžį"},
    {10, 8, 0, false, u"#ńąƵŚŁćóężśłź"},
    {10, 8, 0, false, u"Zażółć Żaba Ólaf", u"Zażółć Ƶaba Olaf"},
    {11, 24, 7, true, u"#¤ŢÂŞĂÎıţâşăî"},
    {11, 24, 7, true, u"Știință în țară", u"Ştiinţă în ţară"},
    {12, 24, 5, true, u"#ËČĆŽĐŠëčćžđš"},
    {13, 16, 3, true, u"₤ğİŞÖÇÜĞışöçü"},
};

}  // namespace

TEST(TeletextReceiver, ShowsTheCharactersOfEverySet) {
    for (const SetCase& each : sets) {
        Receiver receiver(each.region);
        receiver.isDeviating = each.isDeviating;
        const auto header = Teletext::initSubtitleHeaderWithColour(7, u'?', each.inHeader);
        receiver.receive(*Receiver::packetOf({header, boxed(20, each.set, std::u16string(each.text))}));
        receiver.endPage();
        ASSERT_TRUE(receiver.hasPage()) << each.set;
        const std::u16string_view expected = each.shown.empty() ? each.text : each.shown;
        EXPECT_EQ(receiver.text(20, 2, expected.size()), expected) << each.set;
    }
}

TEST(TeletextReceiver, FollowsColoursBoxesAndDoubleHeight) {
    Receiver receiver(0);
    const auto header = Teletext::initSubtitleHeaderWithColour(7, u'?', 0);
    for (char16_t colour = 1; colour <= 7; ++colour) {
        const auto row = Teletext::initSubtitleWithLine(
            20, u'?', 0, u"\x0d\x0b\x0b" + std::u16string(1, colour) + u"AB\x0a\x0aout");
        receiver.receive(*Receiver::packetOf({header, row}));
        receiver.endPage();
        ASSERT_TRUE(receiver.hasPage());
        EXPECT_EQ(receiver.text(20, 4, 2), u"AB");
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
    const auto header = Teletext::initSubtitleHeaderWithColour(7, u'?', 0);
    receiver.receive(*Receiver::packetOf({header, boxed(20, 0, u"first"), boxed(22, 0, u"line")}));
    receiver.endPage();
    ASSERT_TRUE(receiver.hasPage());
    EXPECT_EQ(receiver.text(20, 2, 5), u"first");
    EXPECT_EQ(receiver.text(22, 2, 4), u"line");
    for (const auto& packet : ZQRVANCHelper::clearPackets({}, ZQRVANCFlagOP47)) receiver.receive(*packet);
    receiver.endPage();
    ASSERT_TRUE(receiver.hasPage());
    EXPECT_EQ(receiver.text(20, 2, 5), u"     ");
    EXPECT_EQ(receiver.text(22, 2, 4), u"    ");
}
