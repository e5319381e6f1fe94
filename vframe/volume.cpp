#include "vframe/volume.h"

#include <algorithm>
#include <string>

#include "base/bytes.h"

namespace lumato::vframe {
namespace {

constexpr std::uint32_t kPartitionBlocks = kVolumeBlocks - kPartitionStart;
constexpr std::size_t kBlocksPerCluster = 4;
constexpr std::size_t kReservedBlocks = 1;
constexpr std::size_t kFatCount = 2;
constexpr std::size_t kFatBlocks = 3;  // 1.5 bytes for each of about 1,000 clusters
constexpr std::size_t kRootEntries = 512;
constexpr std::size_t kRootBlocks = kRootEntries * 32 / kVolumeBlockSize;
constexpr std::uint8_t kFixedMedia = 0xF8;
constexpr std::uint16_t kDate = (2009 - 1980) << 9 | 1 << 5 | 1;  // 1 January 2009
constexpr std::string_view kShortName = "LANGUA~1INI";
constexpr std::size_t kNameCharsPerEntry = 13;

using Bytes = std::vector<std::uint8_t>;

void PutText(MutableByteSpan at, std::string_view text) {
    std::copy(text.begin(), text.end(), at.begin());
}

void PutBootMark(MutableByteSpan block) {
    block[510] = 0x55;
    block[511] = 0xAA;
}

void PutMasterBootRecord(MutableByteSpan block) {
    const MutableByteSpan partition = block.subspan(446, 16);
    PutText(partition.subspan(1), "\xFE\xFF\xFF");  // no cylinder addresses: blocks count
    partition[4] = 0x01;                            // FAT12
    PutText(partition.subspan(5), "\xFE\xFF\xFF");
    PutLe32(partition.subspan(8), kPartitionStart);
    PutLe32(partition.subspan(12), kPartitionBlocks);
    PutBootMark(block);
}

void PutPaddedLabel(MutableByteSpan at) {
    std::fill_n(at.begin(), 11, std::uint8_t{' '});
    PutText(at, kVolumeLabel);
}

void PutBootSector(MutableByteSpan block) {
    PutText(block, "\xEB\x3C\x90LUMATO  ");
    PutLe16(block.subspan(11), kVolumeBlockSize);
    block[13] = kBlocksPerCluster;
    PutLe16(block.subspan(14), kReservedBlocks);
    block[16] = kFatCount;
    PutLe16(block.subspan(17), kRootEntries);
    PutLe16(block.subspan(19), kPartitionBlocks);
    block[21] = kFixedMedia;
    PutLe16(block.subspan(22), kFatBlocks);
    PutLe16(block.subspan(24), 63);   // blocks per track
    PutLe16(block.subspan(26), 255);  // heads
    PutLe32(block.subspan(28), kPartitionStart);
    block[36] = 0x80;
    block[38] = 0x29;  // serial number, label and type follow
    PutLe32(block.subspan(39), 0x4C554D41);
    PutPaddedLabel(block.subspan(43));
    PutText(block.subspan(54), "FAT12   ");
    PutBootMark(block);
}

// Two entries of 12 bits share three bytes.
void PutFatEntry(MutableByteSpan fat, std::size_t cluster, std::uint32_t value) {
    const MutableByteSpan at = fat.subspan(cluster * 3 / 2, 2);
    const std::uint32_t old = GetLe16(at);
    PutLe16(at, cluster % 2 == 0 ? (old & 0xF000U) | value : (old & 0x000FU) | value << 4);
}

// One chain from cluster 2 on.
void PutFat(MutableByteSpan fat, std::size_t clusters) {
    PutFatEntry(fat, 0, 0xF00 | kFixedMedia);
    PutFatEntry(fat, 1, 0xFFF);
    for (std::size_t i = 0; i < clusters; ++i)
        PutFatEntry(fat, 2 + i, i + 1 == clusters ? 0xFFF : static_cast<std::uint32_t>(3 + i));
}

std::uint8_t ShortNameSum() {
    std::uint8_t sum = 0;
    for (const char c : kShortName)
        sum = static_cast<std::uint8_t>((sum >> 1 | sum << 7) + static_cast<std::uint8_t>(c));
    return sum;
}

// Part `number` (from 1) of the long name: 13 characters, ended by 0 and filled up with FFFF.
void PutLongNameEntry(MutableByteSpan entry, std::size_t number, bool last) {
    entry[0] = static_cast<std::uint8_t>(last ? number | 0x40 : number);
    entry[11] = 0x0F;
    entry[13] = ShortNameSum();
    for (std::size_t i = 0; i < kNameCharsPerEntry; ++i) {
        const std::size_t at = i < 5 ? 1 + 2 * i : i < 11 ? 14 + 2 * (i - 5) : 28 + 2 * (i - 11);
        const std::size_t index = (number - 1) * kNameCharsPerEntry + i;
        const bool inName = index < kVolumeMarkName.size();
        PutLe16(entry.subspan(at), inName ? static_cast<std::uint8_t>(kVolumeMarkName[index])
                                   : index == kVolumeMarkName.size() ? 0
                                                                     : 0xFFFF);
    }
}

void PutRoot(MutableByteSpan root, std::size_t fileSize) {
    PutPaddedLabel(root);
    root[11] = 0x08;  // volume label
    PutLe16(root.subspan(24), kDate);

    const std::size_t parts = (kVolumeMarkName.size() + kNameCharsPerEntry - 1) / kNameCharsPerEntry;
    for (std::size_t part = parts; part > 0; --part)
        PutLongNameEntry(root.subspan(32 * (parts - part + 1), 32), part, part == parts);

    const MutableByteSpan file = root.subspan(32 * (parts + 1), 32);
    PutText(file, kShortName);
    file[11] = 0x01;  // read-only
    PutLe16(file.subspan(16), kDate);
    PutLe16(file.subspan(18), kDate);
    PutLe16(file.subspan(24), kDate);
    PutLe16(file.subspan(26), 2);  // first cluster
    PutLe32(file.subspan(28), static_cast<std::uint32_t>(fileSize));
}

}  // namespace

Bytes VolumeMarkContent() {
    constexpr std::string_view text = "[language]\r\nlanguage_1=English\r\n[English]\r\n";
    Bytes bytes = {0xFF, 0xFE};
    for (const char c : text) {
        bytes.push_back(static_cast<std::uint8_t>(c));
        bytes.push_back(0);
    }
    return bytes;
}

namespace {

Bytes MakeVolume() {
    Bytes disk(kVolumeBlocks * kVolumeBlockSize);
    const auto blocks = [&disk](std::size_t first, std::size_t count) {
        return MutableByteSpan(disk).subspan(first * kVolumeBlockSize, count * kVolumeBlockSize);
    };
    const Bytes content = VolumeMarkContent();
    constexpr std::size_t clusterSize = kBlocksPerCluster * kVolumeBlockSize;
    const std::size_t clusters = (content.size() + clusterSize - 1) / clusterSize;

    PutMasterBootRecord(blocks(0, 1));
    PutBootSector(blocks(kPartitionStart, 1));
    std::size_t at = kPartitionStart + kReservedBlocks;
    for (std::size_t i = 0; i < kFatCount; ++i, at += kFatBlocks)
        PutFat(blocks(at, kFatBlocks), clusters);
    PutRoot(blocks(at, kRootBlocks), content.size());
    at += kRootBlocks;
    std::copy(content.begin(), content.end(), blocks(at, clusters * kBlocksPerCluster).begin());
    return disk;
}

}  // namespace

ByteSpan VolumeBytes() {
    static const Bytes disk = MakeVolume();
    return disk;
}

}  // namespace lumato::vframe
