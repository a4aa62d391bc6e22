#pragma once
// Built-in simulated units, one per switch-board kind, each with a consistent PROM (frequency
// plan, bands, PLL, clocks, features) that passes the library's validation:
//
//   name          board           plan (MHz)  features
//   none          no board        200-3200    shaft encoders, serial port, 4 receivers
//   simple-4port  simple 4-port   200-3200    attenuator, serial port, 4 receivers
//   tdd-4port     TDD 4-port      200-3200    attenuator, 4 receivers
//   simple-8port  simple 8-port   400-6400    attenuator, shaft encoders, serial port,
//                                             4 receivers
//   s-param       S-parameter     400-6400    attenuator, shaft encoders, serial port,
//                                             4 receivers, error box and its factory
//                                             calibration (25 points)
//
// Every plan has four octave bands, an integer PLL behind a 125 MHz DDS, a 32 MHz master
// clock, two PLL loop-gain boundaries, 4000 points at most and a 32 KiB PROM.
#include <cstdint>
#include <string>
#include <vector>

#include "prom/prom_parameters.h"
#include "sim/unit_hardware.h"

namespace Orvek {
namespace Sim {

std::vector<std::string> profileNames();
bool isProfile(const std::string& name);

// The profile's unit description; the header carries `unitOctet`, the last byte of the
// unit's address. std::invalid_argument for an unknown name.
PromParameters profileParameters(const std::string& name, std::uint8_t unitOctet);

// The PROM image of a profile, as the unit holds it from address 0.
std::vector<std::uint8_t> profilePromImage(const std::string& name, std::uint8_t unitOctet);

// What a unit described by `parameters` is built from.
UnitHardware hardwareFromParameters(const PromParameters& parameters);

// The valid unit description a PROM image holds. False (and `parameters` untouched) when the
// image does not decode to one; `problem` then says why.
bool parametersFromImage(const std::vector<std::uint8_t>& image, PromParameters& parameters,
                         std::string& problem);

// The hardware a PROM image describes. False (and `hardware` untouched) when the image does
// not decode to a valid description; `problem` then says why.
bool hardwareFromImage(const std::vector<std::uint8_t>& image, UnitHardware& hardware,
                       std::string& problem);

// An erased PROM of `capacity` bytes.
std::vector<std::uint8_t> blankPromImage(int capacity = 32768);

// PROM image files: raw binary, or hexadecimal text (two digits per byte, whitespace
// between bytes allowed), told apart by their content. std::runtime_error on failure.
std::vector<std::uint8_t> loadPromFile(const std::string& path);
// Writes hexadecimal text, 32 bytes per line.
void savePromFile(const std::string& path, const std::vector<std::uint8_t>& image);

} // namespace Sim
} // namespace Orvek
