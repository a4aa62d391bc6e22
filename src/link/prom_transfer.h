#pragma once
// Reading and writing the unit's PROM one byte per command: "E%04x\n" reads a byte (two hex
// digits back), "E%04x%02x\n" writes one, "ZB601\n"/"ZB600\n" enable and disable writing.
// Byte values travel in std::vector<int>, one byte (0..255) per element. Every failure is an
// Err_Code; a malformed image surfaces as InvalidPromException from the decoder.
#include <memory>
#include <string>
#include <vector>

#include "link/device_commands.h"

namespace Orvek {

class PromParameters;

// Reads PROM addresses first..last inclusive into `bytes` (cleared first; bytes read before a
// failure stay). Drops what the unit left queued first. Each byte is asked for with
// max(timeoutMs, 100 ms); a silent unit is halted with "Q\n" (max(timeoutMs, 150 ms)) and asked
// once more (max(timeoutMs, 250 ms)). A reply that comes after its wait ended is recognised as
// such and dropped, never taken for a later byte. 0, ERR_SOCKET, ERR_NO_RESPONSE or ERR_BYTES
// (a reply that is not two hex digits).
int readPromBytes(const Endpoint& endpoint, const std::string& address, int first, int last,
                  std::vector<int>& bytes, int timeoutMs = 100);

// Writes one byte and reads it back until it verifies, rewriting it with growing pauses from
// the fourth mismatch on. 0, ERR_SOCKET, ERR_NO_RESPONSE or ERR_BAD_PROM (still wrong after 25
// reads).
int writePromByte(const Endpoint& endpoint, const std::string& address, int promAddress, int value);

namespace TARN {

// Reads the image (header, entry-list length L, L + 20 bytes in all) with the byte reads of
// readPromBytes and decodes it into `parameters`. The callback (may be null) gets 0 before the
// first byte, then after byte k of the L + 20 the value floor(k * 100.0 / (L + 20)), and 100 at the
// end. A false result stops the download at once: nothing is decoded, `parameters` is untouched and
// the result is ERR_INTERRUPTED. Otherwise 0, ERR_EMPTY_PROM (first 34 bytes all 0x00 or 0xFF) or a
// transfer code. Decoding may throw InvalidPromException (an entry runs past the end of the image).
int downloadProm(const Endpoint& endpoint, const std::string& address, PromParameters& parameters,
                 ProgressCallback callback, void* context, int timeoutMs = 100);

// Writes 0xFF to every byte of the PROM's capacity (geometry keys 1 x 2, at most the 64 KiB a
// 16-bit address reaches). The callback (may be null) gets floor(100 * (a + 1) / N) after byte
// a; false stops erasing. Returns the code of the closing "ZB600\n" exchange, which is sent
// whenever "ZB601\n" was acknowledged (also after a cancel or a byte that did not verify); a
// failed "ZB601\n" is returned at once and nothing is written.
int eraseProm(const Endpoint& endpoint, const std::string& address,
              const PromParameters& parameters, ProgressCallback callback, void* context);

// Writes the image of `parameters` (or, with keepBlankImage and a PROM whose entry-list length
// reads 0xFFFF, only the two bytes 0x00 0x00: an empty list) from address 0. The callback gets
// 0 first, then the percentage written after each byte; false stops writing. Result as
// eraseProm.
int uploadProm(const Endpoint& endpoint, const std::string& address,
               const PromParameters& parameters, ProgressCallback callback, void* context,
               bool keepBlankImage);

} // namespace TARN
} // namespace Orvek
