#include "util/DebugFlag.h"

std::uint32_t QELDebugFlag = 0;
