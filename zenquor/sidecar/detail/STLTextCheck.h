#pragma once
// The check of the text fields of EBU STL files.

#include <cstdint>
#include <span>

#include "zenquor/sidecar/detail/RemarkCollector.h"
#include "zenquor/sidecar/detail/STLGeneralCheck.h"

namespace zenquor::detail {

/// Goes through the codes of one text field, row by row.
///
/// Standards: EBU Tech 3264 (TF, appendix 1).
class STLTextCheck {
public:
    using Bytes = std::span<const std::uint8_t>;
    struct Height {
        int rows = 0;  // with something to see
        bool isDouble = false;
    };

    STLTextCheck(RemarkCollector& remarks, const STLGeneralCheck::General& general, const Place& place)
        : remarks_(remarks), general_(general), place_(place) {}

    Height check(Bytes text);

private:
    struct Row {
        int columns = 0;     // codes up to the last that is no space
        int characters = 0;  // that can be seen
        bool hasStartBox = false, hasEndBox = false;
    };

    void checkControl(std::uint8_t code);
    void checkMark(std::uint8_t mark, std::uint8_t letter);
    void finishRow(const Row& row, int& rows);

    RemarkCollector& remarks_;
    const STLGeneralCheck::General& general_;
    Place place_;
};

}  // namespace zenquor::detail
