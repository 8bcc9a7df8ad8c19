// StyledText and RTF: the getter and setter of the StyledText extension "RTFDataZYL". What the
// method table registers.
#pragma once

#include <cstdint>

#include "plugin/host_types.h"

namespace zyl {

}  // namespace zyl
