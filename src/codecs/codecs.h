// Encoders and decoders for the web and mail: HTML and XML character references, URL
// percent-encoding, quoted-printable and mail subjects, hexadecimal, hex dumps, yEnc and Unicode
// byte-order marks. What the method table registers.
#pragma once

#include <cstdint>

#include "plugin/host_types.h"

namespace zyl {

// ---------------------------------------------------------------------------------------------
// HTML and XML entities.

// ---------------------------------------------------------------------------------------------
// URL encoding.

// ---------------------------------------------------------------------------------------------
// Quoted-printable and mail subject.

// ---------------------------------------------------------------------------------------------
// Hex, hex dump, yEnc and Unicode markers.

}  // namespace zyl
