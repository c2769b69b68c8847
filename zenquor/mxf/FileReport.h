#pragma once
// Everything that an MXF file says of itself, for people and for programs that look at files.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "zenquor/mxf/StreamFormat.h"

namespace zenquor::mxf {

struct Rational {
    std::int32_t numerator = 0;
    std::int32_t denominator = 0;

    friend bool operator==(const Rational&, const Rational&) = default;
};

/// One partition, as its pack says and as it was found.
struct PartitionReport {
    enum class Kind { Header, Body, GenericStream, Footer };

    Kind kind = Kind::Header;
    bool isClosed = false;
    bool isComplete = false;
    std::uint64_t offset = 0;  // from the header partition's first byte
    std::uint64_t bodyOffset = 0;
    std::uint32_t bodySID = 0;      // 0: no essence
    std::uint32_t indexSID = 0;     // 0: no index
    std::uint64_t headerBytes = 0;  // of header metadata
    std::uint64_t indexBytes = 0;
    std::uint64_t essenceBytes = 0;
};

/// One essence track of the file.
struct StreamReport {
    StreamFormat format;
    std::uint32_t trackID = 0;
    std::uint32_t trackNumber = 0;  // the last four bytes of its elements' keys; 0 when unknown
    std::string name;               // of the track, UTF-8
    std::string descriptor;         // name of the descriptor set, such as "CDCIEssenceDescriptor"
    std::string essence;            // in a person's words: "MPEG-2 422P@HL long GOP", "ProRes 422 HQ", "PCM"
    std::string wrapping;           // "frame", "clip" or "custom"
    std::string containerLabel;     // urn-less hex with dots: "060e2b34.0401010d.0d010301.021c0100"
    std::string codingLabel;        // empty when absent
    Rational editRate;
    std::int64_t duration = -1;  // edit units as the metadata say; -1 unknown
    std::uint32_t storedWidth = 0;
    std::uint32_t storedHeight = 0;  // as stored: of a field where the layout is of fields or segments
    std::uint32_t displayWidth = 0;
    std::uint32_t displayHeight = 0;
    std::int32_t frameLayout =
        -1;  // 0 full frame, 1 separate fields, 2 single field, 3 mixed, 4 segmented frame
    Rational aspectRatio;
    std::uint32_t componentDepth = 0;
    std::uint32_t horizontalSubsampling = 0;
    std::uint32_t verticalSubsampling = 0;
    std::int32_t fieldDominance = 0;
    std::string colorPrimaries;  // "709", "2020" …; empty when absent, hex when not known
    std::string transferCharacteristic;
    std::string codingEquations;
    std::uint32_t bitRate = 0;  // bits per second, MPEG and AVC
    std::uint32_t maxGOP = 0;
    std::uint32_t quantizationBits = 0;
};

/// A timecode track of a package.
struct TimecodeReport {
    std::string package;  // "material", "file", "tape"
    std::int64_t startFrames = 0;
    std::uint32_t base = 0;
    bool dropFrame = false;
};

struct IdentificationReport {
    std::string company, product, version, platform, date;
};

struct IndexReport {
    std::int64_t segments = 0;
    std::int64_t editUnits = 0;       // that the index covers
    std::uint32_t editUnitBytes = 0;  // of constant size; 0 for variable
    bool isUsed = false;              // false: the file is read by walking its elements
};

struct FileReport {
    std::string operationalPattern;  // "OP1a", "OP-Atom", "OP1b" … or the label's hex
    std::string version;             // "1.3"
    std::uint64_t fileBytes = 0;
    std::uint64_t runInBytes = 0;
    bool hasRandomIndexPack = false;
    bool hasFooter = false;
    std::uint32_t kagSize = 0;
    std::vector<PartitionReport> partitions;
    std::vector<IdentificationReport> identifications;
    std::vector<TimecodeReport> timecodes;
    std::vector<StreamReport> streams;
    std::string clipName;
    std::string reelName;
    std::string creationDate;  // "2026-11-21 10:15:00.000" UTC; empty when unknown
    IndexReport index;
    std::int64_t editUnits = 0;       // that can be read
    std::vector<std::string> faults;  // a sentence each
};

}  // namespace zenquor::mxf
