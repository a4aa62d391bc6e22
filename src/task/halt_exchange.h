#pragma once
// The halt exchange lives with the unit's protocol in link/; task code includes it from here.
#include "link/device_commands.h"
