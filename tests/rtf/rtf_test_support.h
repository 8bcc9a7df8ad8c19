// Helpers of the RTF tests: the property's two declarations, runs as the tests compare them, and
// export and import through the host as the host calls them.
#pragma once

#include <doctest/doctest.h>
#include <memhost.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace rtftest {

// The module route's two rows (the fixture's default host, 2024.0).
inline constexpr const char* kGetter = "RTFDataZYL(extends ref as StyledText, SkipParagraphs as boolean = false) as string";
inline constexpr const char* kSetter =
    "RTFDataZYL(extends ref as StyledText, SkipParagraphs as boolean = false, assigns value as string)";
// The direct route's class row, getter and setter in one.
inline constexpr const char* kClassRow = "RTFDataZYL(SkipParagraphs as boolean = false) as string";

// A style run as the tests compare it: the host's description with text and font as UTF-8
// ("<hex ...>" when the host cannot convert them).
using Run = memhost::RunStyle;
std::string Describe(const Run& run);

// RunOf("x", "Arial", 12, 0xFF0000, "bi"): styles are the letters b, i and u.
Run RunOf(std::string text, std::string font = {}, int64_t size = 0, uint32_t colour = 0, std::string_view styles = {});

// A new StyledText (+1) holding the runs, then the paragraph alignments.
memhost::Object NewText(const std::vector<Run>& runs, const std::vector<int64_t>& alignments = {});

std::vector<Run> RunsOf(REALobjectStruct* styledText);
std::vector<int64_t> AlignmentsOf(REALobjectStruct* styledText);

// Reads the property; nullopt for nil. Checks that a result is tagged UTF-8.
std::optional<std::string> Export(REALobjectStruct* styledText, bool skipParagraphs = false);
// Assigns the bytes to the property.
void Import(REALobjectStruct* styledText, std::string_view rtf);

struct Imported {
  std::vector<Run> runs;
  std::vector<int64_t> alignments;
};
// Imports into a new StyledText and describes what it holds.
Imported ImportNew(std::string_view rtf);

// The bytes of a file under tests/rtf/data.
std::string Fixture(std::string_view name);

}  // namespace rtftest

template <>
struct doctest::StringMaker<std::vector<rtftest::Run>> {
  static doctest::String convert(const std::vector<rtftest::Run>& runs);
};
