// A small plug-in for zyl's tests. It registers, one by one, a method per value kind that zyl
// must pass or receive (ptr with size and a default, double, boolean, MemoryBlock, string array),
// one that raises a host exception, one that leaks a string, and a StyledText class extension
// with a getter and a setter. It reaches the host only through the resolver, as a plug-in does.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace {

using Handle = void*;
using Resolver = void* (*)(const char*);
Resolver gResolve = nullptr;

template <class F>
F As(void* address) {
  F function = nullptr;
  std::memcpy(&function, &address, sizeof function);
  return function;
}

// The host entry of that name with the C shape F.
template <class F>
F Host(const char* name) {
  return As<F>(gResolve(name));
}

struct StringData {
  const void* data;
  uint64_t length;
  uint32_t encoding;
  uint8_t hostPrivate[20];
};
static_assert(sizeof(StringData) == 40);

struct MethodDefinition {
  void* function;
  void* setter;
  const char* declaration;
  uint32_t flags;
  uint32_t reserved;
  int64_t attributeCount;
  void* attributes;
};
static_assert(sizeof(MethodDefinition) == 48);

struct ClassDefinition {
  uint32_t version;
  uint32_t pad0;
  const char* name;
  void* unused1[5];
  void* properties;
  int64_t propertyCount;
  MethodDefinition* methods;
  int64_t methodCount;
  void* unused2[9];
  uint32_t flags;
  uint32_t pad1;
  void* unused3[8];
};
static_assert(sizeof(ClassDefinition) == 232);
static_assert(offsetof(ClassDefinition, methods) == 72);
static_assert(offsetof(ClassDefinition, flags) == 160);

constexpr uint32_t kUTF8 = 0x08000100;

std::string Utf8Of(Handle s) {
  StringData data{};
  if (!Host<int8_t (*)(Handle, uint32_t, StringData*)>("PluginGetStringData")(s, kUTF8, &data)) return {};
  std::string bytes(static_cast<const char*>(data.data), data.length);
  Host<void (*)(StringData*)>("PluginDisposeStringData")(&data);
  return bytes;
}

Handle NewString(const std::string& bytes) {
  return Host<Handle (*)(const void*, int32_t, uint32_t)>("REALBuildStringWithEncoding")(
      bytes.data(), static_cast<int32_t>(bytes.size()), kUTF8);
}

void* ObjectMethod(Handle object, const char* declaration) {
  return Host<void* (*)(Handle, const char*)>("REALLoadObjectMethod")(object, declaration);
}

// "RaiseZYL(message as string, number as integer) as string": raises a RuntimeException.
Handle RaiseZYL(Handle message, int64_t number) {
  Handle exception = Host<Handle (*)(const char*)>("PluginNewInstance")("RuntimeException");
  Host<int8_t (*)(Handle, const char*, Handle)>("REALSetPropValueString")(exception, "Message", message);
  Host<int8_t (*)(Handle, const char*, int64_t)>("REALSetPropValueInteger")(exception, "ErrorNumber", number);
  Host<void (*)(Handle)>("RuntimeRaiseException")(exception);
  Host<void (*)(Handle)>("REALUnlockObject")(exception);
  return nullptr;
}

// "SumBytesZYL(data as ptr, size as integer, start as integer = 1) as integer".
int64_t SumBytesZYL(const uint8_t* data, int64_t size, int64_t start) {
  int64_t sum = 0;
  for (int64_t i = start; i < size; ++i) sum += data[i];
  return sum;
}

// "HalfZYL(d as double) as double".
double HalfZYL(double d) { return d / 2; }

// "NotZYL(b as boolean) as boolean": garbage above the low byte, which alone counts.
int64_t NotZYL(int8_t b) { return static_cast<int64_t>(0x5A5A5A5A5A5A5A00) | (b != 0 ? 0 : 1); }

// "ReverseZYL(m as MemoryBlock) as MemoryBlock": a new block with the bytes in reverse order.
Handle ReverseZYL(Handle block) {
  if (block == nullptr) return nullptr;
  const auto* source = static_cast<const uint8_t*>(Host<void* (*)(Handle)>("memoryBlockGetPtr")(block));
  const int64_t size = Host<int64_t (*)(Handle)>("memoryBlockGetSize")(block);
  Handle result = Host<Handle (*)(const char*)>("PluginNewInstance")("MemoryBlock");
  As<void (*)(Handle, int64_t)>(ObjectMethod(result, "Constructor(bytes as Integer)"))(result, size);
  auto* target = static_cast<uint8_t*>(Host<void* (*)(Handle)>("memoryBlockGetPtr")(result));
  for (int64_t i = 0; i < size; ++i) target[i] = source[size - 1 - i];
  return result;
}

// "SplitZYL(s as string) as string()": the pieces between commas.
Handle SplitZYL(Handle s) {
  const std::string text = Utf8Of(s);
  Handle array = Host<Handle (*)(int32_t, int64_t)>("RuntimeArrayCreateSingleDimBoundedArray")(3, -1);
  using Insert = void (*)(Handle, int64_t, Handle);
  Insert insert = Host<Insert (*)(Handle)>("PluginStringArrayInsertProc")(array);
  int64_t index = 0;
  for (std::size_t start = 0; start <= text.size();) {
    std::size_t comma = text.find(',', start);
    if (comma == std::string::npos) comma = text.size();
    Handle piece = NewString(text.substr(start, comma - start));
    insert(array, index++, piece);
    Host<void (*)(Handle)>("REALUnlockString")(piece);
    start = comma + 1;
  }
  return array;
}

// "LeakZYL() as integer": builds a string and never gives it back.
int64_t LeakZYL() { return NewString("kept") != nullptr ? 1 : 0; }

// StyledText extension "TagZYL(SkipParagraphs as boolean = false) as string": the getter gives
// the first run's text; the setter appends a bold run holding the value.
Handle TagGet(Handle styledText, int8_t) {
  Handle run = As<Handle (*)(Handle, int64_t)>(ObjectMethod(styledText, "StyleRun(Index as Integer) As StyleRun"))(
      styledText, 0);
  Handle text = nullptr;
  Host<int8_t (*)(Handle, const char*, Handle*)>("REALGetPropValueString")(run, "Text", &text);
  Host<void (*)(Handle)>("REALUnlockObject")(run);
  return text;
}

void TagSet(Handle styledText, int8_t, Handle value) {
  Handle run = Host<Handle (*)(const char*)>("PluginNewInstance")("StyleRun");
  Host<int8_t (*)(Handle, const char*, Handle)>("REALSetPropValueString")(run, "Text", value);
  Host<int8_t (*)(Handle, const char*, int8_t)>("REALSetPropValueBoolean")(run, "Bold", 1);
  As<void (*)(Handle, Handle)>(ObjectMethod(styledText, "AppendStyleRun(Run as StyleRun)"))(styledText, run);
  Host<void (*)(Handle)>("REALUnlockObject")(run);
}

template <class F>
void* Address(F function) {
  void* address = nullptr;
  std::memcpy(&address, &function, sizeof address);
  return address;
}

MethodDefinition gMethods[] = {
    {Address(&RaiseZYL), nullptr, "RaiseZYL(message as string, number as integer) as string", 0x4, 0, 0, nullptr},
    {Address(&SumBytesZYL), nullptr, "SumBytesZYL(data as ptr, size as integer, start as integer = 1) as integer", 0x4, 0,
     0, nullptr},
    {Address(&HalfZYL), nullptr, "HalfZYL(d as double) as double", 0x4, 0, 0, nullptr},
    {Address(&NotZYL), nullptr, "NotZYL(b as boolean) as boolean", 0x4, 0, 0, nullptr},
    {Address(&ReverseZYL), nullptr, "ReverseZYL(m as MemoryBlock) as MemoryBlock", 0x4, 0, 0, nullptr},
    {Address(&SplitZYL), nullptr, "SplitZYL(s as string) as string()", 0x4, 0, 0, nullptr},
    {Address(&LeakZYL), nullptr, "LeakZYL() as integer", 0x4, 0, 0, nullptr},
};

MethodDefinition gTagMethods[] = {
    {Address(&TagGet), Address(&TagSet), "TagZYL(SkipParagraphs as boolean = false) as string", 0x4, 0, 0, nullptr},
};

}  // namespace

extern "C" __attribute__((visibility("default"))) void REALPluginMain(Resolver resolve) {
  gResolve = resolve;
  Host<void (*)(int32_t)>("RegisterPluginVersion")(13);
  for (MethodDefinition& method : gMethods) Host<void (*)(MethodDefinition*)>("PluginRegisterMethod")(&method);
  static ClassDefinition styledText{};
  styledText.version = 13;
  styledText.name = "StyledText";
  styledText.methods = gTagMethods;
  styledText.methodCount = 1;
  styledText.flags = 0x4;
  Host<void (*)(ClassDefinition*)>("PluginRegisterClassExtension")(&styledText);
}
