#include "tarndll.h"

// Interface layer, task layer and device-program layer versions, in that order.
extern "C" TARN_API const char* const version = "ORVEK tarndll 2.12, libtarn 1.8, libbytecode 2.10";

extern "C" TARN_API const char* versionString(void) {
    return version;
}
