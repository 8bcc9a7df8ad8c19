// What the text model offers the other folders: reading host strings and memory blocks as bytes
// or as Unicode text, and the registered methods of this folder.
#pragma once

#include <cstdint>

#include "plugin/host_types.h"

namespace zyl {

// "UnicodeStringZYL(s as string) as string": the host's conversion of s to UTF-16.
REALstringStruct* RBUnicodeString(REALstringStruct* s);
// "NativeStringZYL(s as string) as string": the host's conversion of s to UTF-8, the native
// encoding on this platform.
REALstringStruct* RBNativeString(REALstringStruct* s);

}  // namespace zyl
