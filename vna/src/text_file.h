#pragma once
// Whole-file text output that never leaves a half-written file behind, and the ascending
// order in which exported points are written.
#include <string>
#include <vector>

namespace Orvek {
namespace Vna {

// Writes `text` to a temporary file beside `path` and renames it over `path`, so an existing
// file is replaced only by a complete one. False (errno set) on failure.
bool writeWholeFile(const std::string& path, const std::string& text);

// Reads a whole file; false when it cannot be read.
bool readWholeFile(const std::string& path, std::string& text);

// Point indices in ascending frequency (stable, so a downward sweep comes out reversed).
// Empty when a frequency is not positive and finite or two points share one.
std::vector<unsigned> ascendingOrder(const double* freqMHz, unsigned points);

// Text of a double that reads back to the same value.
std::string exactNumber(double value);

// Copies text into memory released with tarnvna_free (std::free); null when out of memory.
char* mallocCopy(const std::string& text);

} // namespace Vna
} // namespace Orvek
