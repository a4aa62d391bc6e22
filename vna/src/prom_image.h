#pragma once
// A PROM image as a unit holds it, with the description it decodes to.
#include <cstdint>
#include <string>
#include <vector>

#include "prom/prom_parameters.h"
#include "tarnvna.h"

struct tarnvna_prom_t {
    std::vector<std::uint8_t> image;
    Orvek::PromParameters parameters;
};

namespace Orvek {
namespace Vna {

// Largest image a 16-bit PROM address reaches.
constexpr std::size_t kMaxImageBytes = 65536;

// True when every byte reads as erased (0xFF) or cleared (0x00).
bool isBlankImage(const std::vector<std::uint8_t>& image);

// How many bytes the image starting with `head` (at least 22 bytes) occupies: its header, the
// entry-list length and the list. 0 when the length field is erased.
std::size_t imageLength(const std::vector<std::uint8_t>& head);

// Decodes and validates an image into `prom`. ERR_EMPTY_PROM, ERR_BAD_PROM or ERR_OK.
int decodeImage(std::vector<std::uint8_t> image, tarnvna_prom_t& prom);

} // namespace Vna
} // namespace Orvek
