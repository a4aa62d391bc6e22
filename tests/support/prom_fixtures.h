#pragma once
// Unit descriptions for tests: a complete, valid unit with every PROM key present, and a
// field-by-field comparison that reports what differs.
#include <gtest/gtest.h>

#include "prom/prom_parameters.h"

namespace tarntest {

// Every key 1..72 present with distinct, in-range values; calibrationPoints rows of
// calibration whose values are exact in single precision (the PROM stores floats). The image
// header carries a non-blank tag so that a generated image is read back with its header.
Orvek::PromParameters makeCompletePromParameters(int calibrationPoints = 3, unsigned seed = 1);

// Compares every value, presence flag, feature/switch-board byte, text, calibration column and
// the header fields a generated image carries (tag, header bytes 3 and 16).
::testing::AssertionResult promParametersEqual(const Orvek::PromParameters& expected,
                                               const Orvek::PromParameters& actual);

} // namespace tarntest
