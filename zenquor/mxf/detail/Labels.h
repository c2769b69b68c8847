#pragma once
// Labels of operational patterns, data definitions, essence containers, codings and colours, as tables with names for people.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "zenquor/mxf/detail/UL.h"

namespace zenquor::mxf::detail::labels {

inline constexpr UL op1aOneTrack = ul(0x060E2B34, 0x04010101, 0x0D010201, 0x01010100);
inline constexpr UL op1aSeveralTracks = ul(0x060E2B34, 0x04010101, 0x0D010201, 0x01010900);

inline constexpr UL pictureDefinition = ul(0x060E2B34, 0x04010101, 0x01030202, 0x01000000);
inline constexpr UL soundDefinition = ul(0x060E2B34, 0x04010101, 0x01030202, 0x02000000);
inline constexpr UL dataDefinition = ul(0x060E2B34, 0x04010101, 0x01030202, 0x03000000);
inline constexpr UL timecodeDefinition = ul(0x060E2B34, 0x04010101, 0x01030201, 0x01000000);

inline constexpr UL multipleWrappings = ul(0x060E2B34, 0x04010103, 0x0D010301, 0x027F0100);
inline constexpr UL waveFrameWrapped = ul(0x060E2B34, 0x04010101, 0x0D010301, 0x02060100);
inline constexpr UL aes3FrameWrapped = ul(0x060E2B34, 0x04010101, 0x0D010301, 0x02060300);
inline constexpr UL ancillaryPackets = ul(0x060E2B34, 0x04010109, 0x0D010301, 0x020E0000);
inline constexpr UL vbiLines = ul(0x060E2B34, 0x04010109, 0x0D010301, 0x020D0000);

/// "OP1a", "OP1b", "OP-Atom"; hex for others.
std::string nameOfOperationalPattern(const UL& label);
/// What an essence container label stands for.
struct ContainerName {
    std::string_view essence;   // "MPEG-2 video", "ProRes", "PCM (wave)", "ancillary data (436M)" …
    std::string_view wrapping;  // "frame", "clip", "custom", "" where the label does not say
};
std::optional<ContainerName> nameOfContainer(const UL& label);
/// "MPEG-2 422P@HL long GOP", "ProRes 422 HQ", "VC-3 CID 1235", "AVC-Intra 100 1080i50" …; empty when not known.
std::string nameOfPictureCoding(const UL& label);
/// "709", "2020", "PQ" …; hex when not known.
std::string nameOfPrimaries(const UL& label);
std::string nameOfTransfer(const UL& label);
std::string nameOfEquations(const UL& label);

/// Labels of colours by their numbers in ISO/IEC 23091-2 (H.273); nothing where there is no label.
std::optional<UL> primariesForCode(std::uint32_t code);
std::optional<UL> transferForCode(std::uint32_t code);
std::optional<UL> equationsForCode(std::uint32_t code);

}  // namespace zenquor::mxf::detail::labels
