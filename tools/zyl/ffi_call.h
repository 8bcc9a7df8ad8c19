// ffi_call.h - calling a registered function whose signature is known only from its declaration.
#pragma once

#include <cstdint>
#include <vector>

#include "declaration.h"

namespace zyltool {

// CallValue: one argument or result in its C shape. The field used follows the type: `pointer`
// for String, MemoryBlock, Object, Ptr and StringArray; `integer` for Integer; `real` for
// Double; `boolean` for Boolean. A Ptr argument also carries its data's size in `integer`.
struct CallValue {
  ValueType type = ValueType::Void;
  void* pointer = nullptr;
  int64_t integer = 0;
  double real = 0;
  int8_t boolean = 0;
};

// CallWithFfi: calls `function` as the host does, with `arguments` in order (their types give
// the C signature: pointers, int64_t, double, int8_t) and a result of type `result`. One libffi
// call interface is prepared per call; there is no code per signature. A boolean result counts
// only by its lowest byte. Throws ToolError for an unsupported type or when libffi refuses the
// signature. Example: CallWithFfi(f, {string handle}, ValueType::String).pointer is the +1 result.
CallValue CallWithFfi(void* function, std::vector<CallValue>& arguments, ValueType result);

}  // namespace zyltool
