// catalogue.cpp - registered entries and the family table.
#include "catalogue.h"

namespace zyltool {

namespace {

Entry MakeEntry(std::string text, void* function, uint32_t flags, std::string origin) {
  Entry entry;
  entry.text = std::move(text);
  entry.declaration = ParseDeclaration(entry.text, &entry.parseError);
  entry.function = function;
  entry.flags = flags;
  entry.origin = std::move(origin);
  return entry;
}

struct Stem {
  std::string_view stem;  // matched anywhere in the name; the first matching row wins
  std::string_view family;
};

constexpr std::string_view kSearch = "search and compare";
constexpr std::string_view kBuild = "build and transform";
constexpr std::string_view kConvert = "validate and convert";
constexpr std::string_view kCodecs = "web and mail codecs";
constexpr std::string_view kUnicode = "Unicode composition";
constexpr std::string_view kSimilarity = "similarity";
constexpr std::string_view kRTF = "StyledText and RTF";
constexpr std::string_view kOther = "other";

constexpr Stem kStems[] = {
    {"RTFData", kRTF},
    {"InStrByte", kSearch},
    {"HasPrefix", kSearch},
    {"HasPostfix", kSearch},
    {"ContainsWholeWord", kSearch},
    {"StrComp", kSearch},
    {"CountOccurances", kSearch},
    {"JaroWinkler", kSimilarity},
    {"Levenshtein", kSimilarity},
    {"ConvertUnicodeToCharacter", kUnicode},
    {"RemoveAccents", kUnicode},
    {"UnicodeMarkers", kConvert},
    {"UnicodeString", kConvert},
    {"NativeString", kConvert},
    {"CheckUTF8", kConvert},
    {"IsASCII", kConvert},
    {"ISO8859", kConvert},
    {"CP1252", kConvert},
    {"HTML", kCodecs},
    {"XML", kCodecs},
    {"URL", kCodecs},
    {"QuotedPrintable", kCodecs},
    {"EmailSubject", kCodecs},
    {"Hex", kCodecs},
    {"yDecode", kCodecs},
    {"MySQL", kCodecs},
    {"SQL", kCodecs},
    {"ConcatBinaryStrings", kBuild},
    {"CreateString", kBuild},
    {"RandomBytes", kBuild},
    {"StringAND", kBuild},
    {"StringOR", kBuild},
    {"StringXOR", kBuild},
    {"NonPrintable", kBuild},
    {"GetStringsFromData", kBuild},
    {"ReplaceLineEndings", kBuild},
    {"StrZYL", kBuild},
    {"ClearStringContent", kBuild},
};

}  // namespace

Catalogue ReadCatalogue() {
  Catalogue catalogue;
  catalogue.registration = memhost::Registered();
  for (const memhost::RegisteredModule& module : catalogue.registration.modules) {
    for (const memhost::RegisteredMethod& method : module.methods) {
      catalogue.entries.push_back(MakeEntry(method.declaration, method.function, method.flags, "module " + module.name));
    }
  }
  for (const memhost::RegisteredMethod& method : catalogue.registration.methods) {
    catalogue.entries.push_back(MakeEntry(method.declaration, method.function, method.flags, "single method"));
  }
  for (const memhost::RegisteredClass& extension : catalogue.registration.classExtensions) {
    const std::string origin = "class " + extension.name;
    for (const memhost::RegisteredMethod& method : extension.methods) {
      if (method.function != nullptr) {
        catalogue.entries.push_back(MakeEntry(ExtensionDeclaration(method.declaration, extension.name, false),
                                              method.function, method.flags, origin));
      }
      if (method.setter != nullptr) {
        catalogue.entries.push_back(MakeEntry(ExtensionDeclaration(method.declaration, extension.name, true),
                                              method.setter, method.flags, origin));
      }
    }
  }
  return catalogue;
}

std::string NameOf(const Entry& entry) {
  if (entry.declaration) return entry.declaration->name;
  const std::size_t end = entry.text.find_first_of("( ");
  return entry.text.substr(0, end);
}

std::vector<const Entry*> FindByName(const Catalogue& catalogue, std::string_view name) {
  std::vector<const Entry*> found;
  for (const Entry& entry : catalogue.entries) {
    if (EqualIgnoringCase(NameOf(entry), name)) found.push_back(&entry);
  }
  return found;
}

const Entry* FindByDeclaration(const Catalogue& catalogue, std::string_view text) {
  for (const Entry& entry : catalogue.entries) {
    if (entry.text == text) return &entry;
  }
  for (const Entry& entry : catalogue.entries) {
    if (SameDeclaration(entry.text, text)) return &entry;
  }
  return nullptr;
}

const std::vector<std::string_view>& Families() {
  static const std::vector<std::string_view> families = {kSearch,  kBuild,      kConvert, kCodecs,
                                                         kUnicode, kSimilarity, kRTF,     kOther};
  return families;
}

std::string_view FamilyOf(std::string_view name) {
  for (const Stem& stem : kStems) {
    if (name.find(stem.stem) != std::string_view::npos) return stem.family;
  }
  return kOther;
}

}  // namespace zyltool
