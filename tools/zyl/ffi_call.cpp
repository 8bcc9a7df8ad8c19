// ffi_call.cpp - the one generic dispatch through libffi.
#include "ffi_call.h"

#include <ffi.h>

#include <cstring>
#include <string>

#include "errors.h"

namespace zyltool {

namespace {

// The libffi type of a value kind, as the host interface passes it.
ffi_type* FfiTypeOf(ValueType type) {
  switch (type) {
    case ValueType::Void: return &ffi_type_void;
    case ValueType::String:
    case ValueType::MemoryBlock:
    case ValueType::Ptr:
    case ValueType::StringArray:
    case ValueType::Object: return &ffi_type_pointer;
    case ValueType::Integer: return &ffi_type_sint64;
    case ValueType::Double: return &ffi_type_double;
    case ValueType::Boolean: return &ffi_type_sint8;
    case ValueType::Unsupported: break;
  }
  throw ToolError("zyl cannot pass a value of an unsupported type");
}

// Where libffi reads an argument of that kind.
void* ArgumentAddress(CallValue& value) {
  switch (value.type) {
    case ValueType::Integer: return &value.integer;
    case ValueType::Double: return &value.real;
    case ValueType::Boolean: return &value.boolean;
    default: return &value.pointer;
  }
}

}  // namespace

CallValue CallWithFfi(void* function, std::vector<CallValue>& arguments, ValueType result) {
  std::vector<ffi_type*> types;
  std::vector<void*> addresses;
  for (CallValue& argument : arguments) {
    types.push_back(FfiTypeOf(argument.type));
    addresses.push_back(ArgumentAddress(argument));
  }
  ffi_cif cif;
  if (ffi_prep_cif(&cif, FFI_DEFAULT_ABI, static_cast<unsigned>(types.size()), FfiTypeOf(result),
                   types.empty() ? nullptr : types.data()) != FFI_OK) {
    throw ToolError("libffi cannot prepare a call with this signature");
  }
  void (*entry)() = nullptr;
  static_assert(sizeof entry == sizeof function);
  std::memcpy(&entry, &function, sizeof entry);

  // libffi widens results narrower than a register to a whole ffi_arg.
  union {
    ffi_arg word;
    int64_t integer;
    double real;
    void* pointer;
  } slot{};
  ffi_call(&cif, entry, &slot, addresses.empty() ? nullptr : addresses.data());

  CallValue value;
  value.type = result;
  switch (result) {
    case ValueType::Void: break;
    case ValueType::Integer: value.integer = slot.integer; break;
    case ValueType::Double: value.real = slot.real; break;
    case ValueType::Boolean: value.boolean = static_cast<int8_t>((slot.word & 0xFF) != 0); break;
    default: value.pointer = slot.pointer; break;
  }
  return value;
}

}  // namespace zyltool
