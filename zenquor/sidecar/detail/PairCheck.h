#pragma once
// What a receiver of line 21 would stumble over, pair by pair.

#include <array>
#include <cstdint>

#include "zenquor/sidecar/ZQRCEA608Decoder.h"
#include "zenquor/sidecar/detail/CaptionCode.h"
#include "zenquor/sidecar/detail/RemarkCollector.h"

namespace zenquor::detail {

/// Looks at CEA-608 pairs in the order of transmission: parity, control codes that come only once, captions
/// that are loaded and never shown, and whatever the decoder remarks.
///
/// Standards: CEA-608-E, 47 CFR 79.101.
class PairCheck {
public:
    explicit PairCheck(RemarkCollector& remarks);
    PairCheck(const PairCheck&) = delete;
    PairCheck& operator=(const PairCheck&) = delete;

    /// @param field  1 or 2.
    /// @param place  with a timecode.
    void addPair(int field, std::uint8_t hi, std::uint8_t lo, const Place& place);
    /// Between the pair before and the next one there is a pause: a copy that has not come does not come now.
    void pause(int field);
    /// @param timecode  the first frame behind the last pair.
    void finish(const ZQCKTimecode& timecode);

    std::int64_t pairs() const { return pairs_; }
    std::int64_t badParityBytes() const { return badParityBytes_; }

private:
    struct Channel {
        bool isPopOn = false;
        bool isLoaded = false;  // text waits in the hidden memory
        Place loadedAt;
    };
    struct Field {
        std::uint16_t single = 0;  // a control code whose copy has not come yet; 0 for none
        Place singleAt;
        bool nullSince = false;
        bool isExtendedData = false;
        std::size_t channel = 0;
        std::array<Channel, 2> channels;
    };

    void addRemark(ZQRCaptionRemark remark);
    void checkParity(std::uint8_t byte, const Place& place);
    void checkRepetition(Field& field, std::uint16_t pair, const CaptionCode& code, const Place& place);
    void missCopy(Field& field);
    void follow(Field& field, std::uint16_t pair, const CaptionCode& code, const Place& place);
    void command(Channel& channel, std::uint8_t code, const Place& place);
    void text(Field& field, const Place& place);

    RemarkCollector& remarks_;
    ZQRCEA608Decoder decoder_;  // calls back here: the object stays where it is
    Place place_;               // of the pair that is being looked at
    std::array<Field, 2> fields_;
    std::int64_t singles_ = 0;  // control codes without a copy
    std::int64_t copies_ = 0;
    Field firstSingle_;
    std::int64_t pairs_ = 0;
    std::int64_t badParityBytes_ = 0;
};

}  // namespace zenquor::detail
