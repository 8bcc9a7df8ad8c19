// catalogue.h - what a loaded library registered, as callable entries grouped into families.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <memhost.h>

#include "declaration.h"

namespace zyltool {

// Entry: one callable row. Class-extension rows (direct route) appear as the module route shows
// them: the getter and the setter each as a method with "extends ref as CLASS" first.
struct Entry {
  std::string text;                        // the declaration as registered (or as shown above)
  std::optional<Declaration> declaration;  // nullopt when zyl cannot read the text
  std::string parseError;
  void* function = nullptr;
  uint32_t flags = 0;
  std::string origin;  // "module StringGlobalsZYL", "single method", "class StyledText"
};

struct Catalogue {
  memhost::Registration registration;
  std::vector<Entry> entries;  // in registration order: modules, single methods, extensions
};

// ReadCatalogue: the current session's registration as entries.
Catalogue ReadCatalogue();

// NameOf: the method name of an entry (its parsed name, else the text up to "(" or a blank).
std::string NameOf(const Entry& entry);

// FindByName: the overloads registered under a name, matched without regard to case, in
// registration order. Empty when the name is not registered.
std::vector<const Entry*> FindByName(const Catalogue& catalogue, std::string_view name);

// FindByDeclaration: the entry with exactly that declaration, else one equal to it once blanks
// and case are ignored; nil when none.
const Entry* FindByDeclaration(const Catalogue& catalogue, std::string_view text);

// Families: the groups `methods` and `demo` show, in display order; FamilyOf puts a method name
// in one of them by the stems of its name ("other" for a name no stem matches).
const std::vector<std::string_view>& Families();
std::string_view FamilyOf(std::string_view name);

}  // namespace zyltool
