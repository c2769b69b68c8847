#include "zenquor/mxf/detail/FileReportBuilder.h"

#include <algorithm>

#include <fmt/core.h>

#include "zenquor/mxf/detail/Labels.h"
#include "zenquor/mxf/detail/StreamTable.h"

namespace zenquor::mxf::detail {
namespace {

using P = Property;

PartitionReport::Kind kindOf(const PartitionPack& pack) {
    if (pack.state == PartitionPack::genericStreamState) return PartitionReport::Kind::GenericStream;
    switch (pack.kind) {
        case PartitionPack::Kind::Header:
            return PartitionReport::Kind::Header;
        case PartitionPack::Kind::Body:
            return PartitionReport::Kind::Body;
        case PartitionPack::Kind::Footer:
            return PartitionReport::Kind::Footer;
    }
    return PartitionReport::Kind::Body;
}

PartitionReport reportOf(const Partition& partition) {
    const PartitionPack& pack = partition.pack;
    PartitionReport report;
    report.kind = kindOf(pack);
    report.isClosed = pack.isClosed();
    report.isComplete = pack.isComplete();
    report.offset = partition.offset;
    report.bodyOffset = pack.bodyOffset;
    report.bodySID = pack.bodySID;
    report.indexSID = pack.indexSID;
    report.headerBytes = pack.headerByteCount;
    report.indexBytes = pack.indexByteCount;
    report.essenceBytes = partition.end - partition.essenceStart;
    return report;
}

/// "1.7.0", release numbers left out.
std::string versionText(std::span<const std::uint8_t> version) {
    if (version.size() < 6) return {};
    const auto number = [&](std::size_t i) { return version[i] << 8 | version[i + 1]; };
    return fmt::format("{}.{}.{}", number(0), number(2), number(4));
}

IdentificationReport reportOf(const MetadataSet& set) {
    IdentificationReport report;
    report.company = set.text(P::CompanyName).value_or("");
    report.product = set.text(P::ProductName).value_or("");
    report.version = set.text(P::VersionString).value_or("");
    if (report.version.empty()) report.version = versionText(set.bytes(P::ProductVersion));
    report.platform = set.text(P::Platform).value_or("");
    report.date = set.time(P::ModificationDate).value_or("");
    return report;
}

/// "material", "file" or "tape"; empty for other sets.
std::string packageKind(const HeaderMetadata& metadata, const MetadataSet& package) {
    if (package.kind() == SetKind::MaterialPackage) return "material";
    if (package.kind() != SetKind::SourcePackage) return {};
    const auto descriptor = metadata.resolve(package, P::Descriptor);
    const bool isFile = !descriptor.empty() && isKindOf(descriptor.front()->kind(), SetKind::FileDescriptor);
    return isFile ? "file" : "tape";
}

void addTimecodes(std::vector<TimecodeReport>& timecodes, const HeaderMetadata& metadata,
                  const MetadataSet& track, const std::string& package) {
    for (const MetadataSet* component : componentsOf(metadata, track)) {
        if (component->kind() != SetKind::TimecodeComponent) continue;
        timecodes.push_back(
            {package, component->integer(P::StartTimecode).value_or(0),
             static_cast<std::uint32_t>(component->integer(P::RoundedTimecodeBase).value_or(0)),
             component->integer(P::DropFrame).value_or(0) != 0});
    }
}

}  // namespace

std::vector<TimecodeReport> timecodesOf(const HeaderMetadata& metadata) {
    std::vector<TimecodeReport> timecodes;
    std::size_t tracks = 0;
    for (const std::string wanted : {"material", "file", "tape"}) {
        for (const MetadataSet& package : metadata.sets()) {
            if (packageKind(metadata, package) != wanted) continue;
            for (const MetadataSet* track : metadata.resolve(package, P::Tracks)) {
                if (++tracks > largestTrackCount) return timecodes;
                addTimecodes(timecodes, metadata, *track, wanted);
            }
        }
    }
    return timecodes;
}

void describeFile(FileReport& report, const FileView& file, const PartitionMap& partitions,
                  const HeaderMetadata& metadata) {
    const PartitionPack& header = partitions.partitions().front().pack;
    const MetadataSet* preface = metadata.first(SetKind::Preface);
    const UL pattern = preface ? preface->label(P::OperationalPattern).value_or(header.operationalPattern)
                               : header.operationalPattern;
    report.operationalPattern = labels::nameOfOperationalPattern(pattern);
    report.version = fmt::format("{}.{}", header.majorVersion, header.minorVersion);
    report.fileBytes = file.fileSize();
    report.runInBytes = file.origin();
    report.hasRandomIndexPack = partitions.hasRandomIndexPack();
    report.hasFooter = partitions.hasFooter();
    report.kagSize = header.kagSize;
    for (const Partition& partition : partitions.partitions())
        report.partitions.push_back(reportOf(partition));
    if (preface) {
        for (const MetadataSet* set : metadata.resolve(*preface, P::Identifications))
            report.identifications.push_back(reportOf(*set));
    }
    report.timecodes = timecodesOf(metadata);
    for (const MetadataSet& package : metadata.sets()) {
        const std::string kind = packageKind(metadata, package);
        const std::string name = package.text(P::Name).value_or("");
        if (kind == "material" && report.clipName.empty()) report.clipName = name;
        if (kind == "tape" && report.reelName.empty()) report.reelName = name;
        if (kind == "material" && report.creationDate.empty())
            report.creationDate = package.time(P::PackageCreationDate).value_or("");
    }
}

void describeLostEnd(std::vector<std::string>& faults, const FileView& file, const PartitionMap& partitions) {
    const PartitionPack& header = partitions.partitions().front().pack;
    if (partitions.hasFooter() || !header.isClosed()) return;
    if (header.footerPartition >= file.size()) {
        faults.push_back(
            fmt::format("The end of the file is missing: its header names a footer at byte {}, but there are "
                        "only {} bytes.",
                        header.footerPartition, file.size()));
    } else {
        faults.push_back("The file has no footer, although its header says that it is closed.");
    }
}

}  // namespace zenquor::mxf::detail
