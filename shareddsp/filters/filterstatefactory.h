// Builds the filter class of a type number with the settings of another filter and zero state.
#pragma once
#include <cstdint>
#include "shareddsp/filters/filterstate.h"

// Null when the type is above 36 or memory ran out (the sticky flag is then set). The result
// is not configured yet. Allocates through the module's allocator.
FilterState* CreateFilterState(uint32_t in_uType, const FilterState* in_pSource);
