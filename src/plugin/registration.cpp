#include "plugin/registration.h"

#include <cstdio>
#include <cstring>

#include "plugin/host_api.h"
#include "plugin/log.h"
#include "plugin/memory.h"

namespace zyl {

uint32_t CurrentREALControlVersion = 15;
REALmoduleDefinition* NewModule = nullptr;

namespace {

constexpr uint32_t kGlobalFlag = 0x4;
constexpr uint32_t kModuleRowFlag = 0x10;
constexpr uint32_t kScopeBits = 0xF0;
constexpr uint32_t kProtectedFlag = 0x40;
constexpr uint32_t kExtensionMask = 0x708;
constexpr uint32_t kExtensionMarking = 0x308;
constexpr uint32_t kLegacyMarking = 0x40000;

const char* const kRowsAllocationWarning = "Warning: Failed to allocate memory for method definitions.";

// A zeroed array with room for newCount more rows (and 16 spare bytes) holding the module's
// existing rows in front, or nil (logged).
REALmethodDefinition* GrowModuleRows(int64_t newCount) {
  const int64_t existing = NewModule->methodCount;
  auto* rows = static_cast<REALmethodDefinition*>(
      AllocateClearMemory((newCount + existing) * static_cast<int64_t>(sizeof(REALmethodDefinition)) + 16));
  if (rows == nullptr) {
    LogMessage(kRowsAllocationWarning);
    return nullptr;
  }
  if (existing > 0 && NewModule->methods != nullptr) {
    memcpy(rows, NewModule->methods, static_cast<size_t>(existing) * sizeof(REALmethodDefinition));
  }
  return rows;
}

// Points the module at its grown row array and frees the old one.
void SwapModuleRows(REALmethodDefinition* rows, int64_t count) {
  REALmethodDefinition* old = NewModule->methods;
  NewModule->methods = rows;
  NewModule->methodCount = count;
  FreeMemoryNow(old);
}

// Creates NewModule ("<part name>GlobalsZYL") with a zeroed array of rowBytes for count rows;
// returns the rows, or nil with the module left as far as it got (messages logged).
REALmethodDefinition* CreateModule(int64_t count, int64_t rowBytes) {
  char name[100];
  snprintf(name, sizeof name, "%s%s", gpartname != nullptr ? gpartname : "", "GlobalsZYL");
  auto* module = static_cast<REALmoduleDefinition*>(AllocateClearMemory(sizeof(REALmoduleDefinition)));
  if (module == nullptr) {
    LogMessage("Warning: Failed to allocate memory for module definition.");
    return nullptr;
  }
  NewModule = module;
  auto* rows = static_cast<REALmethodDefinition*>(AllocateClearMemory(rowBytes));
  if (rows == nullptr) {
    LogMessage(kRowsAllocationWarning);
    return nullptr;
  }
  char* nameCopy = static_cast<char*>(AllocateClearMemory(static_cast<int64_t>(strlen(name)) + 1));
  if (nameCopy != nullptr) memcpy(nameCopy, name, strlen(name));
  module->version = CurrentREALControlVersion;
  module->name = nameCopy;
  module->methods = rows;
  module->methodCount = count;
  module->properties = DebuggingSharedProperties;
  module->propertyCount = 1;
  module->flags = kGlobalFlag;
  return rows;
}

char* HeapCopy(const char* text) {
  const size_t length = strlen(text);
  char* copy = static_cast<char*>(AllocateClearMemory(static_cast<int64_t>(length) + 1));
  if (copy != nullptr) memcpy(copy, text, length);
  return copy;
}

}  // namespace

uint32_t ControlVersionFor(double v) {
  if (v >= 2013.04) return 13;
  if (v >= 2013.03) return 12;
  if (v >= 2013.0) return 11;
  if (v >= 2012.0) return 10;
  return 9;
}

bool UsesModuleRoute() { return rbversion_rbversion >= 2013.0 && rbversion_rbversion < 3000.0; }

uint32_t FixFlags(uint32_t f) {
  const double v = rbversion_rbversion;
  if (v < 2020.02 && (f & kExtensionMask) == kExtensionMarking) f = (f & ~kExtensionMarking) | kGlobalFlag;
  if (f & kLegacyMarking) {
    f &= ~kLegacyMarking;
    if (v >= 2010.029) f |= kGlobalFlag;
  }
  return f;
}

void FixFlags(REALmethodDefinition* row, const char* /*name*/) {
  if (row != nullptr) row->flags = FixFlags(row->flags);
}

void FixFlags(REALmethodDefinition* rows, int64_t count, const char* name) {
  if (rows == nullptr) return;
  for (int64_t i = 0; i < count; ++i) FixFlags(&rows[i], name);
}

void FixFlags(REALmethodDefinition* rows, int64_t count) { FixFlags(rows, count, "global"); }

void FixFlags(REALproperty* rows, int64_t count, const char* /*name*/) {
  if (rows == nullptr) return;
  for (int64_t i = 0; i < count; ++i) rows[i].flags = FixFlags(rows[i].flags);
}

void FixFlags(REALclassDefinition* cls) {
  if (cls == nullptr) return;
  cls->flags = FixFlags(cls->flags);
  FixFlags(cls->methods, cls->methodCount, cls->name);
  FixFlags(cls->sharedMethods, cls->sharedMethodCount, cls->name);
  FixFlags(cls->properties, cls->propertyCount, cls->name);
  FixFlags(cls->sharedProperties, cls->sharedPropertyCount, cls->name);
}

void FixFlags(REALmoduleDefinition* module) {
  if (module == nullptr) return;
  FixFlags(module->methods, module->methodCount, module->name);
  FixFlags(module->properties, module->propertyCount, module->name);
}

namespace {
template <typename Row>
void MarkRows(Row* rows, int64_t count, const char* nilMessage) {
  if (count == 0) return;
  if (rows == nullptr) {
    LogMessage(nilMessage);
    return;
  }
  for (int64_t i = 0; i < count; ++i) {
    if ((rows[i].flags & kScopeBits) == 0) rows[i].flags |= kProtectedFlag;
  }
}
}  // namespace

void MarkProtected(REALproperty* rows, int64_t count) {
  MarkRows(rows, count, "Error: property array is nil while count is not zero!");
}

void MarkProtected(REALmethodDefinition* rows, int64_t count) {
  MarkRows(rows, count, "Error: method array is nil while count is not zero!");
}

void MarkProtected(REALenum* entries, int64_t count) {
  MarkRows(entries, count, "Error: enum array is nil while count is not zero!");
}

void MarkProtected(REALmoduleDefinition* module) {
  if (module == nullptr) return;
  MarkProtected(module->methods, module->methodCount);
  MarkProtected(module->properties, module->propertyCount);
  MarkProtected(module->enums, module->enumCount);
}

char* AddClassParameter(const char* declaration, const char* className) {
  if (declaration == nullptr || className == nullptr) return nullptr;
  char work[1000] = {};
  size_t copied = 0;
  for (; declaration[copied] != '\0' && copied < 999; ++copied) {
    const char c = declaration[copied];
    if (c == '(') {
      // No look-ahead for ")": an empty list deliberately becomes "(extends ref as X, )".
      snprintf(work + copied, 999 - copied, "(extends ref as %s, %s", className, declaration + copied + 1);
      return HeapCopy(work);
    }
    if (c == ' ') {
      snprintf(work + copied, 999 - copied, "(extends ref as %s)%s", className, declaration + copied);
      return HeapCopy(work);
    }
    work[copied] = c;
  }
  snprintf(work, 999 - copied, "%s(extends ref as %s)", declaration, className);
  return HeapCopy(work);
}

char* AddClassParameterAssign(const char* declaration, const char* className) {
  char* withClass = AddClassParameter(declaration, className);
  if (withClass == nullptr) return nullptr;
  char work[1000] = {};
  char* result = nullptr;
  if (const char* close = strchr(withClass, ')')) {
    const size_t at = static_cast<size_t>(close - withClass);
    memcpy(work, withClass, at < 999 ? at : 999);
    if (at < 999) snprintf(work + at, 999 - at, ", assigns value%s)", close + 1);
    result = HeapCopy(work);
  } else if (const char* blank = strchr(withClass, ' ')) {
    const size_t at = static_cast<size_t>(blank - withClass);
    memcpy(work, withClass, at < 999 ? at : 999);
    if (at < 999) snprintf(work + at, 999 - at, "(assigns value%s)", blank);
    result = HeapCopy(work);
  } else {
    LogMessage("Error: Keine Klammer in der Deklaration", withClass);
  }
  FreeMemoryNow(withClass);
  return result;
}

void CopyMethods(REALmethodDefinition* destination, const REALmethodDefinition* source, int64_t count) {
  for (int64_t i = 0; i < count; ++i) {
    destination[i].function = source[i].function;
    destination[i].setterFunction = source[i].setterFunction;
    destination[i].declaration = source[i].declaration;
    destination[i].flags = source[i].flags | kModuleRowFlag;
    destination[i].attributeCount = source[i].attributeCount;
    destination[i].attributes = source[i].attributes;
  }
}

void CopyMethods(REALclassDefinition* cls, REALmethodDefinition* destination, int64_t firstIndex) {
  int64_t next = firstIndex;
  // A nil text skips the row silently; the array then ends in zeroed rows.
  const auto append = [&](const REALmethodDefinition& row, void* function, char* text) {
    if (text == nullptr) return;
    REALmethodDefinition& out = destination[next++];
    out.function = function;
    out.setterFunction = nullptr;
    out.declaration = text;
    out.flags = row.flags | kModuleRowFlag;
    out.attributeCount = row.attributeCount;
    out.attributes = row.attributes;
  };
  for (int64_t i = 0; i < cls->methodCount; ++i) {
    const REALmethodDefinition& row = cls->methods[i];
    if (row.function != nullptr) append(row, row.function, AddClassParameter(row.declaration, cls->name));
    if (row.setterFunction != nullptr) {
      append(row, row.setterFunction, AddClassParameterAssign(row.declaration, cls->name));
    }
  }
}

void BuildXojoModule(REALclassDefinition* cls) {
  if (cls->methods == nullptr || cls->methodCount < 1) return;
  int64_t newCount = 0;
  for (int64_t i = 0; i < cls->methodCount; ++i) {
    if (cls->methods[i].function != nullptr) ++newCount;
    if (cls->methods[i].setterFunction != nullptr) ++newCount;
  }
  constexpr auto kRow = static_cast<int64_t>(sizeof(REALmethodDefinition));
  if (NewModule != nullptr) {
    const int64_t existing = NewModule->methodCount;
    REALmethodDefinition* rows = GrowModuleRows(newCount);
    if (rows == nullptr) return;
    CopyMethods(cls, rows, existing);
    SwapModuleRows(rows, existing + newCount);
    return;
  }
  if (REALmethodDefinition* rows = CreateModule(newCount, newCount * kRow + 16)) CopyMethods(cls, rows, 0);
}

void MyREALRegisterMethod(REALmethodDefinition* row) { REALRegisterMethod(row); }

void MyREALRegisterMethodArray(REALmethodDefinition* rows, int64_t count) {
  FixFlags(rows, count);
  if (!UsesModuleRoute()) {
    for (int64_t i = 0; i < count; ++i) MyREALRegisterMethod(&rows[i]);
    return;
  }
  constexpr auto kRow = static_cast<int64_t>(sizeof(REALmethodDefinition));
  if (NewModule != nullptr) {
    const int64_t existing = NewModule->methodCount;
    REALmethodDefinition* grown = GrowModuleRows(count);
    if (grown == nullptr) return;
    CopyMethods(grown + existing, rows, count);
    SwapModuleRows(grown, existing + count);
    return;
  }
  // No spare 16 bytes on this path.
  if (REALmethodDefinition* copy = CreateModule(count, count * kRow)) CopyMethods(copy, rows, count);
}

void MyREALRegisterClassExtension(REALclassDefinition* cls) {
  FixFlags(cls);
  if (UsesModuleRoute()) {
    BuildXojoModule(cls);
    return;
  }
  cls->version = CurrentREALControlVersion;
  REALRegisterClassExtension(cls);
}

int MyREALRegisterModule(REALmoduleDefinition* module) {
  MarkProtected(module);
  FixFlags(module);
  if (module->flags == 0) module->flags = kGlobalFlag;
  module->version = CurrentREALControlVersion;
  return REALRegisterModule(module);
}

int MyPluginEnde() { return NewModule == nullptr ? 0 : MyREALRegisterModule(NewModule); }

}  // namespace zyl
