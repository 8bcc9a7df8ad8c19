// doc_index.cpp - the index page from the registration table and the pages.
#include "doc_index.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <set>

#include <memhost.h>

namespace zyldocs {

const std::vector<std::string_view>& FamilyPages() {
  static const std::vector<std::string_view> pages = {
      "strings-search.md", "construction.md",   "line-endings.md",     "similarity.md",
      "sql.md",            "validate-convert.md", "html-xml.md",       "url.md",
      "quoted-printable.md", "hex-yenc-markers.md", "unicode-composition.md", "styledtext-rtf.md",
      "debugging.md"};
  return pages;
}

std::vector<std::string> RegisteredDeclarations() {
  std::vector<std::string> out;
  const memhost::Registration registration = memhost::Registered();
  for (const auto& module : registration.modules) {
    for (const auto& method : module.methods) out.push_back(method.declaration);
  }
  for (const auto& method : registration.methods) out.push_back(method.declaration);
  for (const auto& extension : registration.classExtensions) {
    for (const auto& method : extension.methods) out.push_back(method.declaration);
  }
  return out;
}

std::vector<std::string> RegisteredProperties() {
  std::vector<std::string> out;
  for (const auto& module : memhost::Registered().modules) {
    for (const auto& property : module.properties) out.push_back(property.name + " As " + property.type);
  }
  return out;
}

std::string VersionOf(std::string_view marker) {
  const std::string_view key = "version: ";
  const std::size_t at = marker.find(key);
  if (at == std::string_view::npos) return {};
  std::size_t end = at + key.size();
  while (end < marker.size() && (std::isdigit(static_cast<unsigned char>(marker[end])) || marker[end] == '.')) ++end;
  return std::string(marker.substr(at + key.size(), end - at - key.size()));
}

std::string MakeIndex(const std::vector<Page>& pages, const std::vector<std::string>& declarations,
                      const std::vector<std::string>& properties, const std::string& version) {
  // Where each declaration is stated: the first section that lists it.
  std::map<std::string, std::pair<const Page*, const Section*>> home;
  for (const Page& page : pages) {
    for (const Section& section : page.sections) {
      for (const std::string& d : section.declarations) home.emplace(d, std::pair{&page, &section});
      for (const std::string& p : section.properties) home.emplace(p, std::pair{&page, &section});
    }
  }
  std::size_t globals = 0;
  std::set<std::string> names;
  for (const std::string& d : declarations) {
    if (d.find("extends ref as") == std::string::npos) {
      ++globals;
      names.insert(d.substr(0, d.find_first_of("( ")));
    }
  }

  std::string out;
  out += "# libZYLString " + version + " reference\n\n";
  out += "<!-- Generated from the library's registration table and the pages: run\n"
         "     cmake --build --preset native --target docs_index. The test \"docs\" fails when this\n"
         "     file is not what they give. -->\n\n";
  out += "libZYLString " + version + " gives a Xojo application " + std::to_string(globals) +
         " global string functions under " + std::to_string(names.size()) +
         " names (some are\noverloaded) in the module StringGlobalsZYL, the property RTFDataZYL of StyledText "
         "and the hidden\nswitch StringGlobalsZYL.Debugging. [Conventions](conventions.md) tells how the "
         "functions treat Nil and\nempty strings, encodings, positions and errors, and how to read the "
         "examples. Every example on these\npages is run against the library by its tests.\n";

  std::set<std::string> listed;
  for (const Page& page : pages) {
    out += "\n## [" + page.title + "](" + page.file + ")\n\n";
    for (const Section& section : page.sections) {
      std::vector<std::string> lines;
      for (const std::string& d : declarations) {
        auto it = home.find(d);
        if (it != home.end() && it->second.second == &section) {
          lines.push_back(d);
          listed.insert(d);
        }
      }
      for (const std::string& p : properties) {
        auto it = home.find(p);
        if (it != home.end() && it->second.second == &section) {
          lines.push_back(p);
          listed.insert(p);
        }
      }
      if (lines.empty()) continue;
      out += "- [" + section.heading + "](" + page.file + "#" + section.anchor + "): " + section.summary + "\n";
      for (const std::string& line : lines) out += "  - `" + line + "`\n";
    }
  }
  std::vector<std::string> missing;
  for (const std::string& d : declarations) {
    if (!listed.count(d)) missing.push_back(d);
  }
  for (const std::string& p : properties) {
    if (!listed.count(p)) missing.push_back(p);
  }
  if (!missing.empty()) {
    out += "\n## Not documented\n\n";
    for (const std::string& m : missing) out += "- `" + m + "`\n";
  }
  return out;
}

std::vector<Page> ReadFamilyPages(const std::string& folder) {
  std::vector<Page> pages;
  for (std::string_view file : FamilyPages()) pages.push_back(ReadPage(folder + "/" + std::string(file)));
  return pages;
}

}  // namespace zyldocs
