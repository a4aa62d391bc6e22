// Fuzz target for the PROM image decoder: any byte image must decode or be refused with
// InvalidPromException, and whatever decodes must re-encode to an image that decodes to the
// same description.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "core/exceptions.h"
#include "prom/prom_parameters.h"
#include "prom/prom_validation.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Unknown keys print a warning each; they would drown the fuzzer's own output.
    if (!std::freopen("/dev/null", "w", stdout)) {
        std::fclose(stdout);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<int> image(data, data + size);
    Orvek::PromParameters decoded;
    try {
        decoded.interpretFullBytestream(image);
    } catch (const Orvek::InvalidPromException&) {
        return 0;
    }
    try {
        (void)Orvek::TARN::validatePromVerbose(decoded, true);
    } catch (const Orvek::InvalidPromException&) {
        // switch-board nibble without a board behind it
    }

    // A non-blank tag keeps the regenerated header recognisable.
    decoded.Header_tag = 0x000100;
    const std::vector<int> regenerated = decoded.generateFullBytestream();
    Orvek::PromParameters again;
    again.interpretFullBytestream(regenerated);
    if (again.generateFullBytestream() != regenerated) {
        std::fprintf(stderr, "decoded description does not survive its own image\n");
        std::abort();
    }
    return 0;
}
