// The string functions: byte search and comparison, line endings, SQL helpers, construction and
// bitwise operations, similarity measures. What the method table registers.
#pragma once

#include <cstdint>

#include "plugin/host_types.h"

namespace zyl {

// ---------------------------------------------------------------------------------------------
// Byte search and comparison.

// ---------------------------------------------------------------------------------------------
// Line endings.

// ---------------------------------------------------------------------------------------------
// SQL helpers.

// ---------------------------------------------------------------------------------------------
// Construction and bitwise operations.

// ---------------------------------------------------------------------------------------------
// Similarity measures.

}  // namespace zyl
