// methods_command.cpp - `zyl methods [NAME]`.
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <map>

#include "catalogue.h"
#include "commands.h"
#include "errors.h"
#include "output.h"
#include "overloads.h"

namespace zyltool {

namespace {

std::string Flags(uint32_t flags) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "0x%X", static_cast<unsigned>(flags));
  return buffer;
}

std::string Attributes(const std::vector<memhost::RegisteredAttribute>& attributes) {
  std::string out;
  for (const auto& attribute : attributes) {
    out += ", " + attribute.name + (attribute.value.empty() ? "" : "=" + attribute.value);
  }
  return out;
}

void PrintRegistration(const Library& library, const memhost::Registration& registration) {
  std::cout << "library " << library.path() << "\n";
  std::cout << "host version " << VersionText(library.hostVersion()) << ", control version "
            << (registration.controlVersion ? std::to_string(*registration.controlVersion) : "not told") << "\n";
  for (const memhost::RegisteredModule& module : registration.modules) {
    std::cout << "module " << module.name << ": version " << module.version << ", flags " << Flags(module.flags)
              << ", " << Count(module.methods.size(), "method", "methods") << ", "
              << Count(module.properties.size(), "property", "properties") << "\n";
    for (const memhost::RegisteredProperty& property : module.properties) {
      std::cout << "  property " << property.name << " as " << property.type << ", flags " << Flags(property.flags)
                << Attributes(property.attributes) << "\n";
    }
  }
  for (const memhost::RegisteredClass& extension : registration.classExtensions) {
    std::cout << "class extension " << extension.name << ": version " << extension.version << ", flags "
              << Flags(extension.classFlags) << ", " << Count(extension.methods.size(), "method", "methods") << "\n";
  }
  if (!registration.methods.empty()) std::cout << Count(registration.methods.size(), "single method", "single methods") << "\n";
}

void PrintOverloads(const std::string& name, const std::vector<const Entry*>& overloads) {
  std::cout << name << ": " << Count(overloads.size(), "overload", "overloads") << ", " << FamilyOf(name) << "\n";
  for (const Entry* entry : overloads) {
    std::cout << "  " << entry->text << "\n"
              << "    flags " << Flags(entry->flags) << ", " << entry->origin << "\n"
              << "    zyl call " << name;
    const std::string usage = UsageOf(*entry);
    if (!usage.empty()) std::cout << " " << usage;
    std::cout << "\n";
  }
}

int ListAll(const Library& library, const Catalogue& catalogue) {
  PrintRegistration(library, catalogue.registration);
  std::map<std::string_view, std::vector<const Entry*>> byFamily;
  std::vector<std::string> names;
  for (const Entry& entry : catalogue.entries) {
    byFamily[FamilyOf(NameOf(entry))].push_back(&entry);
    names.push_back(NameOf(entry));
  }
  for (std::string_view family : Families()) {
    auto found = byFamily.find(family);
    if (found == byFamily.end()) continue;
    std::vector<const Entry*>& entries = found->second;
    std::stable_sort(entries.begin(), entries.end(),
                     [](const Entry* a, const Entry* b) { return NameOf(*a) < NameOf(*b); });
    std::cout << "\n" << family << " (" << entries.size() << ")\n";
    for (const Entry* entry : entries) std::cout << "  " << Flags(entry->flags) << "  " << entry->text << "\n";
  }
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
  std::cout << "\n" << Count(catalogue.entries.size(), "declaration", "declarations") << " under "
            << Count(names.size(), "name", "names") << "\n";
  return kExitSuccess;
}

std::string Lowered(std::string text) {
  for (char& c : text) c = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
  return text;
}

int ListName(const Catalogue& catalogue, const std::string& name) {
  std::vector<const Entry*> overloads = FindByName(catalogue, name);
  if (!overloads.empty()) {
    PrintOverloads(NameOf(*overloads.front()), overloads);
    return kExitSuccess;
  }
  // No exact name: every name that contains the text.
  std::map<std::string, std::vector<const Entry*>> partial;
  for (const Entry& entry : catalogue.entries) {
    if (Lowered(NameOf(entry)).find(Lowered(name)) != std::string::npos) partial[NameOf(entry)].push_back(&entry);
  }
  if (partial.empty()) throw UsageError(name + " is not registered by this library (zyl methods lists what is)");
  for (const auto& [found, entries] : partial) PrintOverloads(found, entries);
  return kExitSuccess;
}

}  // namespace

int RunMethods(const Options& options, const std::vector<std::string>& words) {
  if (words.size() > 1) throw UsageError("methods takes at most one NAME");
  Library library(options.load);
  const Catalogue catalogue = ReadCatalogue();
  const int status = words.empty() ? ListAll(library, catalogue) : ListName(catalogue, words[0]);
  return FinishRun(status);
}

}  // namespace zyltool
