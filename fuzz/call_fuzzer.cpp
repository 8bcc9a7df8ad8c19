// The general target: any registered method, or the StyledText property's getter or setter, called
// as the host calls it with arguments built from the input.
//
// Input: one byte of host configuration (version and so route, the log, boolean garbage,
// unterminated string data, memory-block shortage, one failing host allocation), one byte that
// picks the row, then each parameter's value in order: strings in any encoding or nil, memory
// blocks, pointers with sizes (exact, shorter, zero, negative, or a nil pointer), integers at
// their boundaries, doubles with NaN and infinities, raw boolean bytes, StyledTexts with runs.
// Every result is given back; the session must end holding nothing, with no host problem, and any
// exception raised must be one the library raises on purpose.
#include <map>

#include "fuzz_support.h"
#include "overloads.h"

namespace {

using zyltool::CallValue;
using zyltool::ValueType;

const std::vector<zylfuzz::Callable>& CallablesFor(double hostVersion) {
  static std::map<double, std::vector<zylfuzz::Callable>> cache;
  auto found = cache.find(hostVersion);
  if (found == cache.end()) found = cache.emplace(hostVersion, zylfuzz::Callables()).first;
  return found->second;
}

// The size that goes with a pointer: mostly its data's size, sometimes less, zero or negative.
int64_t PickSize(zylfuzz::Input& in, int64_t exact, void** pointer) {
  const uint8_t kind = in.Byte();
  if (kind < 160) return exact;
  if (kind < 190) return exact * (kind - 160) / 30;
  if (kind < 200) return 0;
  if (kind < 215) return -1;
  if (kind < 225) return INT64_MIN;
  if (kind < 235) return -exact;
  *pointer = nullptr;  // a nil pointer with a size
  return kind < 245 ? exact : INT64_MAX;
}

}  // namespace

ZYL_FUZZ_TARGET(call) {
  zylfuzz::Input in(data, size);
  const zylfuzz::HostOptions options = zylfuzz::PickHostOptions(in);
  const bool shortage = options.failAllocation || options.memoryBlockLimit || options.memoryBlockRaises;
  zylfuzz::Host host(options);
  const std::vector<zylfuzz::Callable>& callables = CallablesFor(options.hostVersion);
  if (callables.empty()) zylfuzz::Fail("nothing callable was registered");
  const zylfuzz::Callable& callable = callables[in.Byte() % callables.size()];
  const zyltool::Declaration& declaration = callable.declaration;

  std::vector<CallValue> values;
  int64_t pointerSize = 0;
  for (std::size_t i = 0; i < declaration.parameters.size(); ++i) {
    const zyltool::Parameter& parameter = declaration.parameters[i];
    CallValue value;
    value.type = parameter.type;
    switch (parameter.type) {
      case ValueType::String:
        value.pointer = host.NewString(in);
        break;
      case ValueType::Integer:
        if (zyltool::IsImpliedSize(declaration, i)) {
          value.integer = PickSize(in, pointerSize, &values.back().pointer);
        } else {
          value.integer = zylfuzz::PickInteger(in);
        }
        break;
      case ValueType::Double:
        value.real = zylfuzz::PickDouble(in);
        break;
      case ValueType::Boolean:
        value.boolean = static_cast<int8_t>(in.Byte());  // any byte, not only 0 and 1
        break;
      case ValueType::MemoryBlock:
        value.pointer = host.NewMemoryBlock(in);
        break;
      case ValueType::Ptr: {
        const std::string bytes = in.Bytes();
        value.pointer = host.KeepBuffer(bytes);
        pointerSize = static_cast<int64_t>(bytes.size());
        break;
      }
      case ValueType::Object:
        value.pointer = host.NewStyledText(in);
        break;
      default:
        zylfuzz::Fail("a parameter of a type the host does not pass: " + callable.text);
    }
    values.push_back(value);
  }

  const CallValue result = zyltool::CallWithFfi(callable.function, values, declaration.result);
  const std::optional<memhost::RaisedException> raised = memhost::TakeException();
  bool passedThrough = false;  // a method may hand back an argument itself, one more reference
  for (const CallValue& value : values) passedThrough = passedThrough || value.pointer == result.pointer;
  // The two plain conversions hand back what the host's converter gives, an empty string too.
  const bool conversion = declaration.name == "UnicodeStringZYL" || declaration.name == "NativeStringZYL";
  if (declaration.result == ValueType::String && result.pointer != nullptr && !passedThrough && !conversion &&
      memhost::Bytes(static_cast<REALstringStruct*>(result.pointer)).empty()) {
    zylfuzz::Fail(callable.text + " returned an empty string instead of nil");
  }
  zylfuzz::ReleaseResult(result);
  zylfuzz::CheckRaised(raised, shortage);
}
