#pragma once
// The decoded description of one unit, as held in its PROM: frequency plan, synthesiser
// set-up, clocks, features, switch board, PROM geometry and calibration.
//
// Every PROM key 1..72 has a presence flag; a key counts as present only when its entry had the
// expected size. Frequencies (limits, band boundaries, PLL gain boundaries) are integer MHz;
// the two clock frequencies are MHz.
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "prom/feature_flags.h"
#include "prom/prom_entry.h"
#include "tarndll.h"

namespace Orvek {

// PROM keys with a fixed meaning.
namespace PromKey {
constexpr int PromGeometry1 = 1;
constexpr int PromGeometry2 = 2;
constexpr int MinimumFreq = 3;
constexpr int MaximumFreq = 4;
constexpr int MaximumNumberOfPoints = 5;
constexpr int NumberOfBandBoundaries = 6;
constexpr int FirstBandBoundary = 7; // keys 7..14: band boundaries 1..8
constexpr int PllType = 15;
constexpr int IntPllDiv = 16;
constexpr int FracPllMod = 17;
constexpr int NumberOfPllLoopGainBoundaries = 18;
constexpr int FirstPllLoopGainBoundary = 19; // keys 19..22: boundaries 1..4
constexpr int PllPrescalerInUse = 23;
constexpr int PllPrescalerSetting = 24;
constexpr int DdsReferenceFrequency = 25;
constexpr int MasterClockFrequency = 26;
constexpr int Reserved27 = 27;
constexpr int FeatureFlags = 28;
constexpr int UnitSerialNumber = 29;
constexpr int Reserved30 = 30;
constexpr int Reserved31 = 31;
constexpr int NumberOfCalPoints = 32;
constexpr int FirstCalColumnLow = 33; // keys 33..44: calibration columns 0..11
constexpr int LastCalColumnLow = 44;
constexpr int FirstText = 45; // keys 45..53: texts
constexpr int LastText = 53;
constexpr int FirstPllLoopGainAddress = 54; // keys 54..57: register of gain boundary 1..4
constexpr int Reserved58 = 58;
constexpr int Reserved59 = 59;
constexpr int FirstCalColumnHigh = 60; // keys 60..72: calibration columns 12..24
constexpr int LastCalColumnHigh = 72;
constexpr int Last = 72;
} // namespace PromKey

// Columns of the 12-term error model: frequency, then the I and Q part of each term.
constexpr int kCalibrationColumns = 25;
constexpr int kTextKeys = PromKey::LastText - PromKey::FirstText + 1;

class PromParameters {
public:
    PromParameters();

    // Back to the state of a unit whose PROM was never read: every value zero, every key absent,
    // no calibration, except the PROM geometry, assumed 64 x 512 bytes (keys 1 and 2 present).
    void reset();

    // --- Presence flags of keys 1..72 (out-of-range keys read as absent and are not stored).
    bool isKeyPresent(int key) const;
    void setKeyPresent(int key, bool present);

    // PROM capacity in bytes (key 1 value x key 2 value).
    int promCapacity() const { return Prom_geometry_1 * Prom_geometry_2; }

    // --- Image (full bytestream) encoding and decoding.
    std::vector<int> serializeToBytestream(const std::vector<PromEntry>& entries) const;
    // `bytes` start at the first entry (without the list length). Throws InvalidPromException
    // when an entry's length runs past the end.
    std::vector<PromEntry> deserializeFromBytestream(std::vector<int> bytes) const;
    std::vector<int> serializeCustomIPHeader() const;
    // 20 header bytes, then the serialised entries of buildPromData. A reader takes the first
    // 20 bytes for a header only if one of bytes 0..10 is neither 0x00 nor 0xFF, so a unit's
    // image needs a non-zero Header_tag or address byte to be read back as written.
    std::vector<int> generateFullBytestream() const;
    // Resets, then fills the parameters from a whole image (with or without header). Throws
    // InvalidPromException for an entry running past the end of the image, or (from the
    // feature-flag entry) for a one-byte entry naming two switch boards.
    void interpretFullBytestream(const std::vector<int>& bytes);
    bool isDescriptorValid(const std::vector<int>& values) const;

    // --- Digest and build.
    void digestPromData(const std::vector<PromEntry>& entries);
    // Appends the entries of every present key in ascending key order, then the end marker.
    void buildPromData(std::vector<PromEntry>& entries) const;

    // --- Calibration.
    // True only if every calibration key (32..44, 60..72) is present.
    bool hasCalData() const;
    // Writes the 25-column CSV file; a file that cannot be opened is silently skipped.
    void saveCalToFile(const std::string& path) const;
    // Replaces the calibration with the file's rows only if every row is valid; problems are
    // appended to `errors`. An unreadable file is silently ignored.
    void loadCalFromFile(const std::string& path, std::string& errors);
    // PROM key of calibration column 0..24, or -1.
    static int calibrationKeyForColumn(int column);
    // Calibration column of a PROM key, or -1 when the key holds no calibration column.
    static int calibrationColumnForKey(int key);
    // Values of calibration column 0..24 (Number_of_calibration_points of them), or null when
    // no calibration is decoded.
    const double* calibrationColumn(int column) const;

    // --- Feature flags and switch board (key 28).
    // Throw InvalidPromException for a value without a flag bit.
    bool getFeatureFlag(Hardware_Features feature) const;
    void setFeatureFlag(Hardware_Features feature, bool present);
    // Throws InvalidPromException "Unknown switchboard type value" for a low nibble above 4.
    SwitchBoard_Type getSwitchboardType() const;
    // Clears the low nibble first; an unknown type then throws InvalidPromException
    // "Unknown switchboard type value" and leaves the type at 0.
    void setSwitchboardType(SwitchBoard_Type type);
    // Decodes key 28 in its one-byte (legacy) or two-byte form; other sizes are ignored.
    void unpack_feature_flag_segment(PromEntry entry);

    // --- Image header (20 bytes: 24-bit tag, header bytes 0..16).
    int Header_tag = 0;
    std::array<uint8_t, 17> Header_bytes{};
    // Header byte 3 is the one header byte the unit keeps when the header is rewritten: the
    // last octet of the unit's IPv4 address on its 192.168.1.x network.
    int unitAddress() const { return Header_bytes[3]; }

    // --- Values of keys 1..72 (all signed 32-bit unless stated).
    int Prom_geometry_1 = 64;          // key 1
    int Prom_geometry_2 = 512;         // key 2
    int Minimum_freq = 0;              // key 3, MHz
    int Maximum_freq = 0;              // key 4, MHz
    int Maximum_number_of_points = 0;  // key 5
    int Number_of_band_boundaries = 0; // key 6
    // keys 7..14; index 0 is boundary 1, the lower edge of band 0 (MHz)
    std::array<int, 8> Band_boundaries{};
    int PLL_type = 0;     // key 15: 0 integer PLL (needs key 16), else fractional (key 17)
    int Int_PLL_Div = 0;  // key 16: N, the integer PLL divide ratio
    int Frac_PLL_MOD = 0; // key 17: fractional PLL modulus
    int Number_of_PLL_loop_gain_boundaries = 0; // key 18
    // keys 19..22, MHz; whether boundary k exists is isKeyPresent(19 + k - 1)
    std::array<int, 4> PLL_loop_gain_boundaries{};
    int PLL_prescaler_in_use = 0;             // key 23, > 0 means in use
    int PLL_prescaler_setting = 0;            // key 24
    double DDS_reference_frequency = 0.0;     // key 25, MHz (a float on the PROM)
    double Master_clock_frequency = 0.0;      // key 26, MHz (a float on the PROM)
    int Reserved_27 = 0;                      // key 27, 16-bit, carried only
    uint8_t Feature_flags = 0;                // key 28, byte 0: one bit per Hardware_Features
    uint8_t Switchboard_byte = 0;             // key 28, byte 1: low nibble is the SwitchBoard_Type
    int Unit_serial_number = 0;               // key 29, 16-bit, reported with the hardware details
    int Reserved_30 = 0;                      // key 30, 16-bit, carried only
    int Reserved_31 = 0;                      // key 31, 16-bit, carried only
    int Number_of_calibration_points = 0;     // key 32
    std::array<std::string, kTextKeys> Texts; // keys 45..53, carried only
    // keys 54..57: register address written for PLL loop-gain boundary 1..4
    std::array<int, 4> PLL_loop_gain_boundary_addresses{};
    int Reserved_58 = 0; // key 58, byte, carried only
    int Reserved_59 = 0; // key 59, byte, carried only

    // Calibration columns in file order (Freq, EDFi, EDFq, ... ETRq), each holding
    // Number_of_calibration_points values when decoded, empty otherwise. Column c lives under
    // PROM key calibrationKeyForColumn(c).
    std::array<std::vector<double>, kCalibrationColumns> Calibration_data;

private:
    std::array<bool, PromKey::Last + 1> present_{};
};

} // namespace Orvek
