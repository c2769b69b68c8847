#pragma once
// A subtitle as a viewer saw it: what a caption or teletext reader found on the screen.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "zenquor/sidecar/ZQRSubtitleBlock.h"

namespace zenquor {

/// A subtitle block read back from the air, with the place of every row.
///
/// timecodeIn() is the first frame on which the text stood on the screen, timecodeOut() the first on which it
/// no longer did. lines() holds the text of each row that showed any, top to bottom, without leading and
/// trailing spaces and without control characters; rows() says where each of them stood. Colours other than
/// white are formatting runs with six upper-case hexadecimal digits, "FF0000" for red; verticalPosition() is
/// the first row, justification() is Unchanged.
///
/// Lifecycle:     filled by a reader, then handed out and left alone.
/// Thread-safety: as ZQRSubtitleBlock.
/// Standards:     CEA-608-E (rows 1 to 15, columns 0 to 31), ETSI EN 300 706 (rows 1 to 24, columns 0 to 39).
class ZQRScreenBlock final : public ZQRSubtitleBlock {
public:
    /// How the text came to the screen.
    enum class Mode : std::uint8_t { PopOn, RollUp, PaintOn, Text, Teletext };

    struct Row {
        std::int32_t row = 0;     ///< from 1
        std::int32_t column = 0;  ///< of the first character that is no space, from 0
        bool doubleHeight = false;
        friend constexpr bool operator==(const Row&, const Row&) = default;
    };

    static std::shared_ptr<ZQRScreenBlock> screenBlock() {
        return std::shared_ptr<ZQRScreenBlock>(new ZQRScreenBlock);
    }

    /// One entry for each of lines().
    const std::vector<Row>& rows() const { return rows_; }
    void setRows(std::vector<Row> rows) { rows_ = std::move(rows); }
    Mode mode() const { return mode_; }
    void setMode(Mode mode) { mode_ = mode; }
    /// Caption channel 1 to 4 (CC1 to CC4, or T1 to T4 in text mode), or the teletext page as magazine, tens
    /// and units in hexadecimal digits: 0x888 for page 888.
    std::int32_t service() const { return service_; }
    void setService(std::int32_t service) { service_ = service; }

    /// The lines in UTF-8, separated by line feeds.
    std::string text() const;

private:
    ZQRScreenBlock() = default;

    std::vector<Row> rows_;
    Mode mode_ = Mode::PopOn;
    std::int32_t service_ = 0;
};

using ZQRScreenBlockPtr = std::shared_ptr<ZQRScreenBlock>;
using ZQRScreenBlockList = std::vector<ZQRScreenBlockPtr>;
/// Receives each block as soon as its end is known.
using ZQRScreenBlockHandler = std::function<void(const ZQRScreenBlockPtr&)>;

}  // namespace zenquor
