// Unicode composition: the composition and accent tables, and canonical composition,
// decomposition and accent removal. What the method table and the entry sequence use.
#pragma once

#include <cstdint>

#include "plugin/host_types.h"

namespace zyl {

}  // namespace zyl
