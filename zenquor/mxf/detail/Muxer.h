#pragma once
// The muxer behind the functions of Mux.h: gathers samples into edit units and hands these to the file.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zenquor/mxf/Mux.h"
#include "zenquor/mxf/detail/ContentPackage.h"
#include "zenquor/mxf/detail/EssenceTrack.h"
#include "zenquor/mxf/detail/FileOutput.h"
#include "zenquor/mxf/detail/GrowingFile.h"
#include "zenquor/mxf/detail/PackageGraph.h"

namespace zenquor::mxf {

/// See Mux.h.
///
/// Where a stream has no sample in an edit unit, data get their empty element and sound gets silence, or an
/// element without bytes where the mapping has none. A picture that is coded on its own is stored once more, so
/// that timecode and sound stay true; where pictures refer to each other that would break the decoding, and the
/// edit unit is left out as a whole.
class Muxer final : public SampleListener {
public:
    explicit Muxer(ZQRMXFLoggerPtr logger) : logger_(std::move(logger)) {}
    Muxer(const Muxer&) = delete;
    Muxer& operator=(const Muxer&) = delete;
    ~Muxer() override { detach(); }

    Status open(const char* utf8Path, const MuxSettings& settings);
    Status addStream(InputStream* stream, const StreamFormat& format);
    /// Adds a stream whose mapping is known already.
    Status addTrack(InputStream* stream, std::unique_ptr<detail::EssenceTrack> track, Rational editRate);
    Status close();

    std::int32_t onSample(InputStream& stream, const SampleRecord& record) override;

private:
    /// One stream: its mapping and its sample in the edit unit that is being gathered.
    struct Stream {
        InputStream* input = nullptr;
        std::unique_ptr<detail::EssenceTrack> track;
        SampleMemory sample;       // of this unit or, when not filled, of an earlier one
        detail::UnitFacts facts;   // of the sample
        bool isFilled = false;     // in this unit
        std::int64_t missing = 0;  // units in a row without a sample
        bool isTooLong = false;    // its last sound was

        bool isPicture() const;
        bool isSound() const;
    };

    Status take(InputStream& input, const SampleRecord& record);
    void tellPicture();
    Status takeInto(Stream& stream, const SampleRecord& record);
    Status writeUnit();
    bool hasPictures();
    bool repeatPicture(Stream& stream);
    std::span<const std::uint8_t> value(Stream& stream);
    std::span<const std::uint8_t> trimmed(Stream& stream, std::span<const std::uint8_t> sound);
    void noteMissing(Stream& stream, std::string_view consequence);
    detail::UnitFacts unitFacts() const;
    void begin();
    Status start(bool hasEssence);
    void adoptExactEditRate();
    Status finish();
    void detach();
    Status refuse(Status status, std::string_view sentence) const;
    Status fail(Status status, std::string_view sentence);
    Status failWriting(std::string_view part);
    std::string nameOf(const Stream& stream) const;

    ZQRMXFLoggerPtr logger_;
    Status status_ = StatusOK;  // the first failure
    MuxSettings settings_;
    std::string path_;
    Rational editRate_;
    detail::FileOutput file_;
    std::vector<Stream> streams_;  // in the order of the file
    std::vector<std::span<const std::uint8_t>> values_;
    std::optional<std::int64_t> timeStamp_;  // of the unit that is being gathered
    std::unique_ptr<detail::PackageGraph> graph_;
    std::unique_ptr<detail::ContentPackage> package_;
    std::unique_ptr<detail::GrowingFile> growing_;
};

}  // namespace zenquor::mxf
