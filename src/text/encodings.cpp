// Conversions between Unicode text and the host's encodings.
#include "plugin/host_api.h"
#include "text/text.h"

namespace zyl {

REALstringStruct* RBUnicodeString(REALstringStruct* s) { return REALConvertString(s, kEncodingUTF16); }

REALstringStruct* RBNativeString(REALstringStruct* s) { return REALConvertString(s, kEncodingUTF8); }

}  // namespace zyl
