#include "mxf/FileRecipe.h"

#include <algorithm>
#include <utility>

#include "mxf/Hex.h"

namespace zenquor::mxf::test {
namespace {

using Bytes = FileRecipe::Bytes;

Bytes be(std::uint64_t value, int bytes) {
    Bytes out;
    for (int i = bytes - 1; i >= 0; --i) out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    return out;
}

void append(Bytes& a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
}

Bytes operator+(Bytes a, const Bytes& b) {
    append(a, b);
    return a;
}

constexpr std::string_view fillKey = "060e2b34 01010102 03010210 01000000";
constexpr std::string_view operationalPattern = "060e2b34 04010101 0d010201 01010900";
constexpr std::string_view atomPattern = "060e2b34 04010102 0d010201 10000000";

// Tags of the properties used here (SMPTE ST 377-1), with what follows 060e2b34 010101 of their labels.
struct TagRow {
    std::uint16_t tag;
    std::string_view label;
};
constexpr TagRow tagRows[] = {
    {0x3C0A, "01 01011502 00000000"}, {0x3B02, "02 07020110 02040000"}, {0x3B05, "02 03010201 05000000"},
    {0x3B03, "02 06010104 02010000"}, {0x3B09, "05 01020203 00000000"}, {0x1901, "02 06010104 05010000"},
    {0x1902, "02 06010104 05020000"}, {0x2701, "02 06010106 01000000"}, {0x3F06, "04 01030405 00000000"},
    {0x3F07, "04 01030404 00000000"}, {0x4401, "01 01011510 00000000"}, {0x4402, "01 01030302 01000000"},
    {0x4403, "02 06010104 06050000"}, {0x4701, "02 06010104 02030000"}, {0x4801, "02 01070101 00000000"},
    {0x4804, "02 01040103 00000000"}, {0x4803, "02 06010104 02040000"}, {0x4B01, "02 05300405 00000000"},
    {0x4B02, "02 07020103 01030000"}, {0x0201, "02 04070100 00000000"}, {0x0202, "02 07020201 01030000"},
    {0x1001, "02 06010104 06090000"}, {0x1502, "02 04040101 02060000"}, {0x1501, "02 07020103 01050000"},
    {0x1503, "01 04040101 05000000"}, {0x3006, "05 06010103 05000000"}, {0x3001, "01 04060101 00000000"},
    {0x3004, "02 06010104 01020000"}, {0x3F01, "04 06010104 060b0000"}, {0x320C, "01 04010301 04000000"},
    {0x3203, "01 04010502 02000000"}, {0x3202, "01 04010502 01000000"}, {0x320E, "01 04010101 01000000"},
    {0x3D03, "05 04020301 01010000"}, {0x3D07, "05 04020101 04000000"}, {0x3D01, "04 04020303 04000000"},
    {0x3D0A, "05 04020302 01000000"}, {0x3D09, "05 04020303 05000000"},
};

/// A local set under construction.
class Set {
public:
    Set(std::string_view lastWord, std::uint8_t instance) : lastWord_(lastWord) {
        add(0x3C0A, reference(instance));
    }

    static Bytes reference(std::uint8_t instance) {
        return bytesOf("5a454e51 554f5200 80000000 000000") + be(instance, 1);
    }
    static Bytes references(std::initializer_list<std::uint8_t> instances) {
        Bytes out = be(instances.size(), 4) + be(16, 4);
        for (const std::uint8_t instance : instances) out = out + reference(instance);
        return out;
    }
    Set& add(std::uint16_t tag, const Bytes& value) {
        value_ = value_ + be(tag, 2) + be(value.size(), 2) + value;
        return *this;
    }
    Bytes bytes() const {
        return item(std::string("060e2b34 02530101 0d010101 ") + std::string(lastWord_), value_);
    }

private:
    std::string_view lastWord_;
    Bytes value_;
};

Bytes umid(std::uint8_t number) {
    return bytesOf("060a2b34 01010105 01010f20 13000000 5a454e51 554f5200 80000000 000001") + be(number, 1);
}

Bytes text(std::string_view ascii) {
    Bytes out;
    for (const char c : ascii) out = out + be(static_cast<std::uint8_t>(c), 2);
    return out;
}

enum Instance : std::uint8_t {
    preface = 1,
    storage,
    essenceData,
    essenceData2,
    material,
    source,
    source2,
    materialTimecode,
    materialSequence,
    timecode,
    pictureTrack,
    soundTrack,
    dataTrack,
    emptyTrack,
    pictureSequence,
    soundSequence,
    dataSequence,
    emptySequence,
    several,
    pictureDescriptor,
    soundDescriptor,
    dataDescriptor,
    emptyDescriptor
};

struct TrackFacts {
    std::uint8_t track, sequence;
    std::uint32_t trackID, number;
    std::string_view definition;
};

class Builder {
public:
    explicit Builder(const FileRecipe& recipe) : recipe_(recipe) {}

    Bytes run() {
        assemble();  // to find out where the footer comes
        footer_ = recipe_.isOpen ? 0 : footerAt_;
        assemble();
        return Bytes(recipe_.runIn, 0x20) + file_;
    }

private:
    struct Pack {
        std::string_view kind;
        Bytes metadata{}, index{}, essence{};
        std::uint32_t bodySID = 0, indexSID = 0;
        std::uint64_t bodyOffset = 0;
    };

    void assemble() {
        file_.clear();
        entries_.clear();
        offsets_.clear();
        previous_ = 0;
        const bool inHeader = recipe_.index == FileRecipe::Index::ConstantInHeader;
        Pack header{recipe_.isOpen ? "01020100" : "01020400"};
        if (recipe_.hasHeaderMetadata) header.metadata = metadata();
        if (inHeader) header.index = constantIndex(), header.indexSID = 2;
        write(header);
        if (isAtom()) {
            writeClip();
        } else {
            writeBodies();
        }
        footerAt_ = file_.size();
        if (!recipe_.hasFooter) return;
        Pack footer{"01040400"};
        if (recipe_.hasFooterMetadata) footer.metadata = metadata();
        if (recipe_.index == FileRecipe::Index::InFooter)
            footer.index = index(0, indexed()), footer.indexSID = 2;
        write(footer);
        if (recipe_.hasRandomIndex) writeRandomIndex();
    }

    int indexed() const { return recipe_.indexedUnits < 0 ? recipe_.units : recipe_.indexedUnits; }

    void writeBodies() {
        std::uint64_t bodyOffset = 0, secondOffset = 0;
        Bytes pending;  // the index of the partition before
        for (int first = 0; first < recipe_.units; first += recipe_.unitsPerPartition) {
            const int end = std::min(first + recipe_.unitsPerPartition, recipe_.units);
            Pack body{recipe_.isOpen ? "01030100" : "01030400"};
            body.bodySID = 1;
            body.bodyOffset = bodyOffset;
            if (!pending.empty()) body.index = std::exchange(pending, {}), body.indexSID = 2;
            for (int unit = first; unit < end; ++unit) {
                offsets_.push_back(bodyOffset + body.essence.size());
                append(body.essence, package(unit));
            }
            bodyOffset += body.essence.size();
            write(body);
            if (recipe_.isSecondBody) secondOffset += writeSecondBody(first, end, secondOffset);
            if (recipe_.index == FileRecipe::Index::InNextBody) pending = index(first, end);
            if (recipe_.index == FileRecipe::Index::Apart) writeIndex(index(first, end));
        }
        if (!pending.empty()) writeIndex(pending);
    }

    std::uint64_t writeSecondBody(int first, int end, std::uint64_t offset) {
        Pack body{"01030400"};
        body.bodySID = 7;
        body.bodyOffset = offset;
        for (int unit = first; unit < end; ++unit) append(body.essence, dataElement(unit));
        write(body);
        return body.essence.size();
    }

    void writeIndex(const Bytes& index) {
        Pack body{recipe_.isOpen ? "01030100" : "01030400"};
        body.index = index;
        body.indexSID = 2;
        write(body);
    }

    void writeClip() {
        Pack body{"01030400"};
        body.bodySID = 1;
        Bytes clip;
        for (int unit = 0; unit < recipe_.units; ++unit) {
            offsets_.push_back(clip.size());
            append(clip, recipe_.isPictureClip ? recipe_.picture(unit) : recipe_.sound(unit));
        }
        body.essence = element(recipe_.isPictureClip ? "15010600" : "16010200", clip);
        write(body);
    }

    bool isAtom() const { return recipe_.isClip || recipe_.isPictureClip; }
    bool saysAtom() const { return isAtom() || recipe_.isAtomOfFrames; }

    void write(const Pack& pack) {
        const std::uint64_t here = file_.size();
        entries_ = entries_ + be(pack.bodySID, 4) + be(here, 8);
        const Bytes labels = bytesOf("00000001 00000010 060e2b34 04010103 0d010301 027f0100");
        const std::uint32_t told = recipe_.forgetsBodySID ? 0 : pack.bodySID;
        const std::size_t packBytes = 20 + 80 + labels.size();
        const Bytes before = fillTo(here + packBytes);
        Bytes metadata = pack.metadata;
        if (!metadata.empty())
            metadata = metadata + fillTo(here + packBytes + before.size() + metadata.size());
        Bytes index = pack.index;
        const std::size_t start = here + packBytes + before.size() + metadata.size();
        if (!index.empty()) index = index + fillTo(start + index.size());
        file_ =
            file_ + item(std::string("060e2b34 02050101 0d010201 ") + std::string(pack.kind),
                         bytesOf("0001 0003") + be(recipe_.grid, 4) + be(here, 8) + be(previous_, 8) +
                             be(pack.kind[3] == '4' ? here : footer_, 8) + be(metadata.size(), 8) +
                             be(index.size(), 8) + be(pack.indexSID, 4) + be(pack.bodyOffset, 8) +
                             be(told, 4) + bytesOf(saysAtom() ? atomPattern : operationalPattern) + labels);
        file_ = file_ + before + metadata + index;
        if (recipe_.hasUnknownItems)
            file_ = file_ + item("060e2b34 01010101 0f0f0f0f 01020304", Bytes(11, 7));
        append(file_, pack.essence);
        previous_ = here;
    }

    /// Fill up to the grid, from a place in the file.
    Bytes fillTo(std::size_t place) const {
        if (recipe_.grid < 2) return {};
        std::size_t gap = (recipe_.grid - place % recipe_.grid) % recipe_.grid;
        if (gap == 0) return {};
        while (gap < 20) gap += recipe_.grid;
        return item(fillKey, Bytes(gap - 20, 0));
    }

    void writeRandomIndex() {
        file_ = file_ + item("060e2b34 02050101 0d010201 01110100", entries_ + be(entries_.size() + 24, 4));
    }

    Bytes element(std::string_view number, const Bytes& value) const {
        const std::string key = std::string("060e2b34 01020101 0d010301 ") + std::string(number);
        const int shortest = recipe_.lengthBytes == 1 && value.size() > 127 ? 4 : recipe_.lengthBytes;
        Bytes out = item(key, value, shortest);
        if (recipe_.fill > 0) out = out + item(fillKey, Bytes(recipe_.fill, 0), recipe_.fill < 128 ? 1 : 4);
        return out;
    }

    Bytes dataElement(int unit) const {
        return unit == recipe_.unitWithoutData ? Bytes{} : element("17010201", recipe_.dataOf(unit));
    }

    Bytes package(int unit) const {
        const Bytes data = recipe_.isSecondBody ? Bytes{} : dataElement(unit);
        Bytes out;
        if (recipe_.hasSystemItem) {
            out = item("060e2b34 02050101 0d010301 04010100", Bytes(57, 0)) +
                  item("060e2b34 02430101 0d010301 04010200", {});
        }
        if (recipe_.isDataFirst) out = out + data;
        out = out + element("15010500", recipe_.picture(unit)) + element("16010100", recipe_.sound(unit));
        if (!recipe_.isDataFirst) out = out + data;
        if (recipe_.hasUnknownItems) out = out + item("060e2b34 01010101 0f0f0f0f 05060708", Bytes(5, 9));
        return out + fillTo(out.size());
    }

    Bytes indexSet(std::int64_t start, std::int64_t duration, std::uint32_t unitBytes,
                   const Bytes& entries) const {
        Bytes value;
        const auto add = [&](std::uint16_t tag, const Bytes& bytes) {
            value = value + be(tag, 2) + be(bytes.size(), 2) + bytes;
        };
        add(0x3C0A, bytesOf("00010203 04050607 08090a0b 0c0d0e0f"));
        add(0x3F0B, be(recipe_.rateNumerator, 4) + be(recipe_.rateDenominator, 4));
        add(0x3F0C, be(static_cast<std::uint64_t>(start), 8));
        add(0x3F0D, be(static_cast<std::uint64_t>(duration), 8));
        add(0x3F05, be(unitBytes, 4));
        add(0x3F06, be(2, 4));
        add(0x3F07, be(1, 4));
        add(0x3F08, be(0, 1));
        add(0x3F0E, be(0, 1));
        if (!entries.empty()) add(0x3F0A, be(entries.size() / 11, 4) + be(11, 4) + entries);
        return item("060e2b34 02530101 0d010201 01100100", value);
    }

    /// Stored I P B B P B: temporal offset, key frame offset and flags of the standard's example.
    Bytes index(int first, int end) const {
        static constexpr std::uint8_t reordered[][3] = {{0, 0, 0xC0},    {1, 0xFF, 0x22},
                                                        {1, 0xFE, 0x33}, {0xFE, 0xFD, 0x33},
                                                        {1, 0xFC, 0x22}, {0xFF, 0xFB, 0x33}};
        Bytes entries;
        for (int unit = first; unit < std::min(end, indexed()); ++unit) {
            const auto& row = reordered[unit % 6];
            entries =
                entries + (recipe_.isReordered ? Bytes{row[0], row[1], row[2]} : Bytes{0, 0, 0x80}) +
                be(offsets_[static_cast<std::size_t>(unit)] + static_cast<std::uint64_t>(recipe_.indexError),
                   8);
        }
        return indexSet(first, static_cast<std::int64_t>(entries.size() / 11), 0, entries);
    }

    Bytes constantIndex() const { return indexSet(0, 0, static_cast<std::uint32_t>(package(0).size()), {}); }

    Bytes duration() const {
        return recipe_.isOpen ? Bytes(8, 0xFF) : be(static_cast<std::uint64_t>(recipe_.units), 8);
    }

    Bytes track(const TrackFacts& facts) const {
        const Bytes definition = bytesOf("060e2b34 04010101 01030202") + bytesOf(facts.definition);
        return Set("01013b00", facts.track)
                   .add(0x4801, be(facts.trackID, 4))
                   .add(0x4804, be(facts.number, 4))
                   .add(0x4B01, be(recipe_.rateNumerator, 4) + be(recipe_.rateDenominator, 4))
                   .add(0x4B02, be(0, 8))
                   .add(0x4803, Set::reference(facts.sequence))
                   .bytes() +
               Set("01010f00", facts.sequence)
                   .add(0x0201, definition)
                   .add(0x0202, duration())
                   .add(0x1001, Set::references({}))
                   .bytes();
    }

    Bytes timecodeTrack() const {
        const Bytes definition = bytesOf("060e2b34 04010101 01030201 01000000");
        return Set("01013b00", materialTimecode)
                   .add(0x4801, be(901, 4))
                   .add(0x4B01, be(25, 4) + be(1, 4))
                   .add(0x4803, Set::reference(materialSequence))
                   .bytes() +
               Set("01010f00", materialSequence)
                   .add(0x0201, definition)
                   .add(0x1001, Set::references({timecode}))
                   .bytes() +
               Set("01011400", timecode)
                   .add(0x0201, definition)
                   .add(0x1502, be(25, 2))
                   .add(0x1501, be(90000, 8))
                   .add(0x1503, be(0, 1))
                   .bytes();
    }

    Bytes descriptors() const {
        const Bytes rate = be(recipe_.rateNumerator, 4) + be(recipe_.rateDenominator, 4);
        const std::string_view wave = recipe_.isClip ? "02060200" : "02060100";
        const auto label = [](std::string_view version, std::string_view last) {
            return bytesOf("060e2b34 040101") + bytesOf(version) + bytesOf("0d010301") + bytesOf(last);
        };
        Bytes out =
            Set("01012800", pictureDescriptor)
                .add(0x3006, be(1001, 4))
                .add(0x3001, rate)
                .add(0x3004, recipe_.isPictureClip ? label("0a", "02110200") : label("0d", "021c0100"))
                .add(0x3203, be(1920, 4))
                .add(0x3202, be(540, 4))
                .add(0x320C, be(recipe_.frameLayout, 1))
                .add(0x320E, be(16, 4) + be(9, 4))
                .bytes();
        out = out + Set("01014800", soundDescriptor)
                        .add(0x3006, be(2001, 4))
                        .add(0x3001, rate)
                        .add(0x3004, label("01", wave))
                        .add(0x3D03, be(48000, 4) + be(1, 4))
                        .add(0x3D07, be(1, 4))
                        .add(0x3D01, be(16, 4))
                        .add(0x3D0A, be(2, 2))
                        .add(0x3D09, be(96000, 4))
                        .bytes();
        const auto packets = [&](std::uint8_t instance, std::uint32_t trackID) {
            return Set("01015c00", instance)
                .add(0x3006, be(trackID, 4))
                .add(0x3001, rate)
                .add(0x3004, label("09", "020e0000"))
                .bytes();
        };
        if (recipe_.isEmptyTrackOfPackets) out = out + packets(emptyDescriptor, 3000);
        return out + packets(dataDescriptor, 3001);
    }

    Bytes sourcePackage(std::uint8_t instance, std::uint8_t number, const Bytes& tracks,
                        std::uint8_t descriptor) const {
        return Set("01013700", instance)
            .add(0x4401, umid(number))
            .add(0x4403, tracks)
            .add(0x4701, Set::reference(descriptor))
            .bytes();
    }

    Bytes essenceDataSet(std::uint8_t instance, std::uint8_t package, std::uint32_t bodySID) const {
        return Set("01012300", instance)
            .add(0x2701, umid(package))
            .add(0x3F07, be(bodySID, 4))
            .add(0x3F06, be(2, 4))
            .bytes();
    }

    Bytes packages() const {
        if (isAtom()) {
            const bool isPicture = recipe_.isPictureClip;
            return essenceDataSet(essenceData, 2, 1) +
                   sourcePackage(source, 2, Set::references({isPicture ? pictureTrack : soundTrack}),
                                 isPicture ? pictureDescriptor : soundDescriptor);
        }
        const Bytes multiple =
            Set("01014400", several)
                .add(0x3001, be(25, 4) + be(1, 4))
                .add(0x3F01, recipe_.isEmptyTrackOfPackets
                                 ? Set::references(
                                       {pictureDescriptor, soundDescriptor, dataDescriptor, emptyDescriptor})
                                 : Set::references({pictureDescriptor, soundDescriptor, dataDescriptor}))
                .bytes();
        if (recipe_.isSecondBody) {
            return multiple + essenceDataSet(essenceData, 2, 1) + essenceDataSet(essenceData2, 3, 7) +
                   sourcePackage(source, 2, Set::references({pictureTrack, soundTrack}), several) +
                   sourcePackage(source2, 3, Set::references({dataTrack}), dataDescriptor);
        }
        const Bytes tracks = recipe_.hasEmptyTrack
                                 ? Set::references({emptyTrack, soundTrack, pictureTrack, dataTrack})
                                 : Set::references({soundTrack, pictureTrack, dataTrack});
        return multiple + essenceDataSet(essenceData, 2, 1) + sourcePackage(source, 2, tracks, several);
    }

    Bytes metadata() const {
        Bytes primer = be(std::size(tagRows), 4) + be(18, 4);
        for (const TagRow& row : tagRows)
            primer = primer + be(row.tag, 2) + bytesOf("060e2b34 010101") + bytesOf(row.label);
        Bytes out = item("060e2b34 02050101 0d010201 01050100", primer);
        if (recipe_.hasUnknownItems) out = out + Set("017f7f00", 99).add(0x8765, Bytes(3, 1)).bytes();
        out = out + Set("01012f00", preface)
                        .add(0x3B02, be(0, 8))
                        .add(0x3B05, be(0x0103, 2))
                        .add(0x3B03, Set::reference(storage))
                        .add(0x3B09, bytesOf(saysAtom() ? atomPattern : operationalPattern))
                        .bytes();
        out = out + Set("01011800", storage)
                        .add(0x1901, recipe_.isSecondBody ? Set::references({material, source, source2})
                                                          : Set::references({material, source}))
                        .add(0x1902, recipe_.isSecondBody ? Set::references({essenceData, essenceData2})
                                                          : Set::references({essenceData}))
                        .bytes();
        out = out + Set("01013600", material)
                        .add(0x4401, umid(1))
                        .add(0x4402, text("Evening news"))
                        .add(0x4403, Set::references({materialTimecode}))
                        .bytes();
        out = out + timecodeTrack() + packages() + descriptors();
        out = out + track({pictureTrack, pictureSequence, 1001,
                           recipe_.isPictureClip ? 0x15010600u : 0x15010500u, "01000000"});
        out = out + track({soundTrack, soundSequence, 2001, recipe_.isClip ? 0x16010200u : 0x16010100u,
                           "02000000"});
        if (recipe_.hasEmptyTrack) out = out + track({emptyTrack, emptySequence, 3000, 0, "03000000"});
        return out + track({dataTrack, dataSequence, 3001, recipe_.dataTrackNumber, "03000000"});
    }

    const FileRecipe& recipe_;
    Bytes file_;
    Bytes entries_;
    std::vector<std::uint64_t> offsets_;  // of units in the essence stream
    std::uint64_t previous_ = 0;
    std::uint64_t footer_ = 0;
    std::uint64_t footerAt_ = 0;
};

}  // namespace

Bytes item(std::string_view key, std::span<const std::uint8_t> value, int lengthBytes) {
    Bytes out = bytesOf(key);
    if (lengthBytes == 1)
        out.push_back(static_cast<std::uint8_t>(value.size()));
    else
        out = out + be(0x7F + static_cast<unsigned>(lengthBytes), 1) + be(value.size(), lengthBytes - 1);
    out.insert(out.end(), value.begin(), value.end());
    return out;
}

Bytes FileRecipe::build() const {
    return Builder(*this).run();
}

Bytes FileRecipe::picture(int unit) const {
    const int size = hasConstantSizes ? 60 : 50 + 13 * (unit % 5);
    return Bytes(static_cast<std::size_t>(size), static_cast<std::uint8_t>(0x40 + unit));
}

/// 48 kHz, one channel of 16 bits; a few samples where nothing counts them.
Bytes FileRecipe::sound(int unit) const {
    const int samples = isClip ? clipSamples : 20;
    return Bytes(static_cast<std::size_t>(samples) * 2, static_cast<std::uint8_t>(0x80 + unit));
}

Bytes FileRecipe::dataOf(int unit) const {
    if (data) return data(unit);
    const int size = hasConstantSizes ? 10 : 10 + unit % 3;
    return Bytes(static_cast<std::size_t>(size), static_cast<std::uint8_t>(0xC0 + unit));
}

}  // namespace zenquor::mxf::test
