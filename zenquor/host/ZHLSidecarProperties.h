#pragma once
// The keys of the dictionary that a sidecar is opened with. An absent key reads as 0 or false.

namespace zenquor {

// All subtitle sidecars.

/// Integer: the character that pads rows and stands in for characters that an output cannot show (low 16
/// bits).
inline constexpr char ZHLSubtitleSidecar_Property_FillerCharacter[] =
    "ZHLSubtitleSidecar_Property_FillerCharacter";
/// Boolean: render double height.
inline constexpr char ZHLSubtitleSidecar_Property_DoubleHeightSubtitles[] =
    "ZHLSubtitleSidecar_Property_DoubleHeightSubtitles";
/// Boolean: a centred line of odd length moves right, not left, of the middle.
inline constexpr char ZHLSubtitleSidecar_Property_CenteredRoundUp[] =
    "ZHLSubtitleSidecar_Property_CenteredRoundUp";
/// Integer: the language code to use instead of the file's own.
inline constexpr char ZHLSubtitleSidecar_Property_OverrideLanguage[] =
    "ZHLSubtitleSidecar_Property_OverrideLanguage";
/// Integer: 0 = driven by the time since the recording's start, 1 = by the frame's timecode.
inline constexpr char ZHLSubtitleSidecar_Property_TimecodeType[] = "ZHLSubtitleSidecar_Property_TimecodeType";
/// Integer: overlapping subtitles are 0 left alone, 1 merged, 2 removed.
inline constexpr char ZHLSubtitleSidecar_Property_OverlappingSubtitleAction[] =
    "ZHLSubtitleSidecar_Property_OverlappingSubtitleAction";
/// Integer: characters per row; 0 = no wrapping.
inline constexpr char ZHLSubtitleSidecar_Property_RenderingWidth[] =
    "ZHLSubtitleSidecar_Property_RenderingWidth";
/// Integer: most lines of a subtitle; 0 = no limit.
inline constexpr char ZHLSubtitleSidecar_Property_RenderingHeight[] =
    "ZHLSubtitleSidecar_Property_RenderingHeight";

// SRT sidecars.

/// Integer: frame-rate code 0 to 7 of ZQCKTimebase that the times are turned into.
inline constexpr char ZHLSRTSidecar_Property_Timebase[] = "ZHLSRTSidecar_Property_Timebase";
/// Integer: 0 unchanged, 1 left, 2 centred, 3 right.
inline constexpr char ZHLSRTSidecar_Property_Justification[] = "ZHLSRTSidecar_Property_Justification";
/// Integer: 0 = OP-47 teletext subtitles, 1 = CEA-608 captions; with any other number the sidecar gives no
/// packets.
inline constexpr char ZHLSRTSidecar_Property_Output[] = "ZHLSRTSidecar_Property_Output";
/// Integer: caption channel less one, 0 = CC1 to 3 = CC4.
inline constexpr char ZHLSRTSidecar_Property_ClosedCaptionChannel[] =
    "ZHLSRTSidecar_Property_ClosedCaptionChannel";
/// Boolean: allow the extended West European characters of CEA-608.
inline constexpr char ZHLSRTSidecar_Property_AllowSpecialWestEuropean[] =
    "ZHLSRTSidecar_Property_AllowSpecialWestEuropean";

// EBU STL sidecars.

/// Boolean: drop rows without text.
inline constexpr char ZHLEBUSTLSidecar_Property_RemoveEmptyLines[] =
    "ZHLEBUSTLSidecar_Property_RemoveEmptyLines";
/// Boolean: keep every row on the screen.
inline constexpr char ZHLEBUSTLSidecar_Property_ValidateVerticalPosition[] =
    "ZHLEBUSTLSidecar_Property_ValidateVerticalPosition";

}  // namespace zenquor
