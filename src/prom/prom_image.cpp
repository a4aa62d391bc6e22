// Whole PROM images: the optional 20-byte header, the 16-bit entry-list length and the entries.
#include <algorithm>

#include "core/exceptions.h"
#include "prom/prom_parameters.h"

namespace Orvek {

namespace {

constexpr size_t kHeaderSize = 20;
constexpr size_t kHeaderTagSize = 3;
constexpr size_t kEntryHeaderSize = 4; // key and length, 16 bits each
// Header bytes 0..10 decide whether a header was written: an erased or zeroed area reads all
// 0xFF or all 0x00.
constexpr size_t kHeaderProbeBytes = 11;

bool headerPresent(const std::vector<int>& bytes) {
    if (bytes.size() <= 12) {
        return false;
    }
    return std::any_of(bytes.begin(), bytes.begin() + kHeaderProbeBytes,
                       [](int b) { return b != 0 && b != 0xFF; });
}

} // namespace

std::vector<int>
PromParameters::serializeToBytestream(const std::vector<PromEntry>& entries) const {
    std::vector<int> bytes(2, 0);
    for (const PromEntry& entry : entries) {
        encodeInt(bytes, entry.key, 2);
        encodeInt(bytes, entry.length, 2);
        for (int b : entry.data) {
            bytes.push_back(b & 0xFF);
        }
    }
    const size_t listLength = bytes.size() - 2;
    bytes[0] = static_cast<int>((listLength >> 8) & 0xFF);
    bytes[1] = static_cast<int>(listLength & 0xFF);
    return bytes;
}

std::vector<PromEntry> PromParameters::deserializeFromBytestream(std::vector<int> bytes) const {
    std::vector<PromEntry> entries;
    const size_t size = bytes.size();
    if (size == kEntryHeaderSize) {
        return entries;
    }
    size_t p = 0;
    // A tail too short for an entry header plus one byte is never read as an entry.
    while (p + kEntryHeaderSize <= size) {
        const int key = (bytes[p] & 0xFF) << 8 | (bytes[p + 1] & 0xFF);
        const int length = (bytes[p + 2] & 0xFF) << 8 | (bytes[p + 3] & 0xFF);
        if (key == kPromEndKey) {
            break;
        }
        const size_t dataStart = p + kEntryHeaderSize;
        if (length > 0 && dataStart + static_cast<size_t>(length) > size) {
            throw InvalidPromException("Prom contains a entry that has a size value larger then "
                                       "all the data in the Prom!");
        }
        PromEntry entry;
        entry.key = key;
        entry.length = length;
        entry.data.reserve(static_cast<size_t>(length));
        for (size_t i = dataStart; i < dataStart + static_cast<size_t>(length); ++i) {
            entry.data.push_back(bytes[i] & 0xFF);
        }
        entries.push_back(std::move(entry));
        p = dataStart + static_cast<size_t>(length);
        if (p + kEntryHeaderSize >= size) {
            break;
        }
    }
    return entries;
}

std::vector<int> PromParameters::serializeCustomIPHeader() const {
    std::vector<int> bytes;
    bytes.reserve(kHeaderSize);
    encodeInt(bytes, Header_tag, static_cast<int>(kHeaderTagSize));
    // Only the address byte and the last header byte are carried; the rest is written blank.
    for (size_t i = 0; i < 16; ++i) {
        bytes.push_back(i == 3 ? Header_bytes[3] : 0);
    }
    bytes.push_back(Header_bytes[16]);
    return bytes;
}

std::vector<int> PromParameters::generateFullBytestream() const {
    std::vector<PromEntry> entries;
    buildPromData(entries);
    std::vector<int> image = serializeCustomIPHeader();
    const std::vector<int> list = serializeToBytestream(entries);
    image.insert(image.end(), list.begin(), list.end());
    return image;
}

void PromParameters::interpretFullBytestream(const std::vector<int>& bytes) {
    if (bytes.size() > 32) {
        // Only a sanity probe of the first entries; a unit may legitimately start otherwise.
        const size_t end = std::min<size_t>(bytes.size(), 34);
        (void)isDescriptorValid(std::vector<int>(bytes.begin() + 22, bytes.begin() + end));
    }
    const bool withHeader = headerPresent(bytes);
    reset();

    size_t entryStart = 2;
    if (withHeader) {
        Header_tag = decodeInt(std::vector<int>(bytes.begin(), bytes.begin() + kHeaderTagSize));
        for (size_t i = 0; i < Header_bytes.size() && kHeaderTagSize + i < bytes.size(); ++i) {
            Header_bytes[i] = static_cast<uint8_t>(bytes[kHeaderTagSize + i]);
        }
        entryStart = kHeaderSize + 2;
    }

    std::vector<PromEntry> entries;
    if (entryStart < bytes.size()) {
        entries =
            deserializeFromBytestream(std::vector<int>(bytes.begin() + entryStart, bytes.end()));
    }
    digestPromData(entries);
}

bool PromParameters::isDescriptorValid(const std::vector<int>& values) const {
    // Two leading entries, keys 1 and 2 with two data bytes each: the PROM geometry.
    return values.size() == 12 && values[0] == 0 && values[1] == 1 && values[2] == 0 &&
           values[3] == 2 && values[6] == 0 && values[7] == 2 && values[8] == 0 && values[9] == 2;
}

} // namespace Orvek
