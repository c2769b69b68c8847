#pragma once
// What tests of the MXF engine feed it with and write into.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "zenquor/mxf/FileFunctions.h"
#include "zenquor/mxf/MemoryStream.h"
#include "zenquor/mxf/detail/EssenceTrack.h"
#include "zenquor/mxf/detail/Labels.h"

namespace zenquor::mxf::test {

using Bytes = std::vector<std::uint8_t>;

/// An input stream over plain memory.
class TestStream final : public InputStream {
public:
    std::int32_t Write(std::span<const std::uint8_t> bytes) override {
        if (pending_.count + bytes.size() > pending_.capacity) {
            SampleMemory larger;
            larger.capacity = pending_.count + bytes.size();
            larger.memory = std::make_unique<std::uint8_t[]>(larger.capacity);
            larger.count = pending_.count;
            if (pending_.count != 0) std::memcpy(larger.memory.get(), pending_.memory.get(), pending_.count);
            pending_ = std::move(larger);
        }
        if (!bytes.empty()) std::memcpy(pending_.memory.get() + pending_.count, bytes.data(), bytes.size());
        pending_.count += bytes.size();
        return static_cast<std::int32_t>(bytes.size());
    }
    std::int32_t Control(std::int32_t command, const SampleRecord::Bytes& record) override {
        if (command != commandSampleReady || listener_ == nullptr) return -1;
        return listener_->onSample(*this, SampleRecord::read(record));
    }
    void setListener(SampleListener* listener) override { listener_ = listener; }
    SampleMemory takeSample(SampleMemory spare) override {
        spare.count = spare.offset = 0;
        return std::exchange(pending_, std::move(spare));
    }
    /// One whole sample.
    std::int32_t send(std::span<const std::uint8_t> sample, std::int64_t timeStamp, std::uint64_t flags = 0) {
        Write(sample);
        return Control(commandSampleReady, SampleRecord{timeStamp, flags, sample.size()}.bytes());
    }
    bool isAttached() const { return listener_ != nullptr; }

private:
    SampleMemory pending_;
    SampleListener* listener_ = nullptr;
};

/// A file in memory that tells what was called and can fail.
class MemoryFile {
public:
    Bytes bytes;
    std::int64_t writes = 0;  // calls of write
    std::int64_t failsAtWrite =
        0;  // the number of the write, from 1, that fails half-way, and all after it; 0: never
    bool failsToSeek = false;
    bool failsToClose = false;
    std::int64_t seeks = 0;
    bool isOpen = false;
    /// Called behind every successful write.
    void (*onWrite)(MemoryFile&) = nullptr;

    FileFunctions functions() {
        FileFunctions table;
        table.open = [](FileHandle* file, const char*, void* context) {
            *file = context;
            of(context).isOpen = true;
            return 0;
        };
        table.seek = [](FileHandle, std::int64_t offset, void* context) { return of(context).seek(offset); };
        table.read = [](FileHandle, std::uint8_t*, std::int64_t, void*) { return std::int64_t{-1}; };
        table.close = [](FileHandle* file, void* context) {
            *file = nullptr;
            of(context).isOpen = false;
            return of(context).failsToClose ? -1 : 0;
        };
        table.size = [](FileHandle, void* context) {
            return static_cast<std::int64_t>(of(context).bytes.size());
        };
        table.write = [](FileHandle, const std::uint8_t* from, std::int64_t count, void* context) {
            return of(context).write({from, static_cast<std::size_t>(count)});
        };
        table.context = this;
        return table;
    }

private:
    static MemoryFile& of(void* context) { return *static_cast<MemoryFile*>(context); }
    std::int32_t seek(std::int64_t offset) {
        ++seeks;
        position_ = static_cast<std::size_t>(offset);
        return failsToSeek ? -1 : 0;
    }
    std::int64_t write(std::span<const std::uint8_t> from) {
        const bool fails = failsAtWrite != 0 && ++writes >= failsAtWrite;
        if (failsAtWrite == 0) ++writes;
        if (fails && writes > failsAtWrite) return -1;
        if (fails) from = from.first(from.size() / 2);
        if (position_ + from.size() > bytes.size()) bytes.resize(position_ + from.size());
        std::copy(from.begin(), from.end(), bytes.begin() + static_cast<std::ptrdiff_t>(position_));
        position_ += from.size();
        if (!fails && onWrite) onWrite(*this);
        return static_cast<std::int64_t>(from.size()) - (fails && from.empty() ? 1 : 0);
    }

    std::size_t position_ = 0;
};

/// Essence that is what the test says: any bytes, with the facts of a script.
class ScriptedTrack final : public detail::EssenceTrack {
public:
    struct Properties {
        std::uint8_t item = 0x15;
        std::uint8_t element = 0x05;
        std::uint32_t constantBytes = 0;
        bool isReordered = false;
        std::vector<detail::UnitFacts> script;  // used up, then repeats with the positions counted on
        std::optional<Bytes> empty;
    };

    explicit ScriptedTrack(Properties properties) : p_(std::move(properties)) {}

    std::optional<detail::UnitFacts> add(std::span<const std::uint8_t> sample, std::uint64_t,
                                         std::string& why) override {
        if (!sample.empty() && sample[0] == refused) {
            why = "the test says so";
            return std::nullopt;
        }
        const auto n = static_cast<std::size_t>(count_++);
        if (p_.script.empty()) return detail::UnitFacts{static_cast<std::int64_t>(n), 0x80, 0};
        detail::UnitFacts facts = p_.script[n % p_.script.size()];
        facts.displayPosition += static_cast<std::int64_t>(n / p_.script.size() * p_.script.size());
        return facts;
    }
    std::optional<std::span<const std::uint8_t>> emptyElement() const override {
        if (!p_.empty) return std::nullopt;
        return std::span<const std::uint8_t>(*p_.empty);
    }
    std::uint8_t itemType() const override { return p_.item; }
    std::uint8_t elementType() const override { return p_.element; }
    detail::UL dataDefinition() const override {
        if (p_.item == 0x16) return detail::labels::soundDefinition;
        return p_.item == 0x17 ? detail::labels::dataDefinition : detail::labels::pictureDefinition;
    }
    detail::UL container() const override {
        return p_.item == 0x16 ? detail::labels::waveFrameWrapped : detail::labels::ancillaryPackets;
    }
    std::uint32_t constantBytes() const override { return p_.constantBytes; }
    bool isReordered() const override { return p_.isReordered; }
    std::string_view trackName() const override { return p_.item == 0x16 ? "Sound" : "Picture"; }
    detail::MetadataSet& describe(detail::HeaderMetadata& metadata) const override {
        detail::MetadataSet& set = metadata.add(detail::SetKind::ANCDataDescriptor);
        set.set(detail::Property::SampleRate, Rational{25, 1});
        return set.set(detail::Property::EssenceContainer, container());
    }

    /// A sample that begins with this byte is refused.
    static constexpr std::uint8_t refused = 0xEE;

private:
    Properties p_;
    std::int64_t count_ = 0;
};

}  // namespace zenquor::mxf::test
