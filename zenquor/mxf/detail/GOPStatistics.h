#pragma once
// Picture types, and what descriptors tell of a stream's groups of pictures.

#include <cstdint>
#include <string>

namespace zenquor::mxf::detail {

enum class PictureType : std::uint8_t { I = 0, P = 2, B = 3 };  // as in the flags of an index entry

/// Counts groups of pictures as they are stored.
class GOPStatistics {
public:
    struct Picture {
        PictureType type = PictureType::I;
        bool startsGroup = false;
        bool isClosedGroup = false;  // of one that starts a group: nothing after it needs an earlier group
        bool hasLeadingPictures = false;  // of one that starts a group: pictures shown before it follow
    };
    void add(const Picture& picture);

    bool isIntraOnly() const { return intraOnly_; }
    /// Whether the first group has ended; before that lengths and patterns say little.
    bool hasWholeGroup() const { return !firstPattern_.empty(); }
    bool hasSeveral() const { return pictures_ > 1; }
    /// Pictures of the longest group so far, the one under way included.
    std::uint16_t longestGroup() const;
    std::uint16_t mostBPictures() const { return mostBs_; }
    /// Whether every run of B pictures was of one length.
    bool hasConstantBPictures() const { return constantBs_; }
    bool areAllClosed() const { return allClosed_; }
    /// Whether all whole groups had the same types in the same order.
    bool areIdentical() const { return identical_; }

private:
    void endGroup();
    void endRun();

    static constexpr std::size_t longestPattern = 1024;
    std::uint64_t pictures_ = 0;
    std::string pattern_;       // types of the group under way
    std::string firstPattern_;  // of the first whole group
    std::uint16_t run_ = 0;
    std::uint16_t mostBs_ = 0;
    std::uint16_t firstRun_ = 0;
    std::uint32_t length_ = 0;
    std::uint32_t longest_ = 0;
    bool hasRun_ = false;
    bool countsRun_ = false;  // false behind an I picture that nothing leads
    bool constantBs_ = true;
    bool allClosed_ = true;
    bool identical_ = true;
    bool intraOnly_ = true;
};

}  // namespace zenquor::mxf::detail
