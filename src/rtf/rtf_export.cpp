// RTFRead: a StyledText as one compact RTF document.
#include <charconv>
#include <string>
#include <unordered_map>
#include <vector>

#include "plugin/builders.h"
#include "plugin/host_api.h"
#include "rtf/rtf.h"
#include "rtf/styled_text_bridge.h"
#include "text/text.h"

namespace zyl {

namespace {

constexpr size_t kReservedOutput = 1048576;  // typical documents are written without reallocation

// The library's own hash of a font name's UTF-8 bytes.
struct FontNameHash {
  size_t operator()(const std::string& name) const noexcept {
    uint32_t hash = 324567;
    for (const char c : name) hash = hash * 101 + static_cast<uint8_t>(c);
    return hash;
  }
};

void AppendNumber(std::string& out, int64_t value) {
  char digits[24];
  const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  out.append(digits, end);
}

void AppendWord(std::string& out, const char* word, int64_t value) {
  out += word;
  AppendNumber(out, value);
}

// The numbers of the fonts and colours, in order of first use, and each run's font number.
struct Tables {
  std::vector<std::string> fonts;  // by number
  std::vector<uint32_t> colours;   // by number
  std::unordered_map<uint32_t, int64_t> colourNumbers;
  std::vector<int64_t> runFonts;  // -1: the run has no font (nil or an empty name)
};

Tables NumberFontsAndColours(const std::vector<XojoStyleRun>& runs) {
  Tables tables;
  std::unordered_map<std::string, int64_t, FontNameHash> fontNumbers;
  tables.runFonts.reserve(runs.size());
  for (const XojoStyleRun& run : runs) {
    if (tables.colourNumbers.emplace(run.textColor, static_cast<int64_t>(tables.colours.size())).second) {
      tables.colours.push_back(run.textColor);
    }
    std::string name = GetStringInUTF8(run.font());
    int64_t number = -1;
    if (!name.empty()) {
      const auto [entry, added] = fontNumbers.emplace(name, static_cast<int64_t>(tables.fonts.size()));
      if (added) tables.fonts.push_back(std::move(name));
      number = entry->second;
    }
    tables.runFonts.push_back(number);
  }
  return tables;
}

void WriteHeader(std::string& out, const Tables& tables) {
  out += "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl";
  for (size_t i = 0; i < tables.fonts.size(); ++i) {
    AppendWord(out, "{\\f", static_cast<int64_t>(i));
    out += "\\fnil ";
    out += tables.fonts[i];  // raw UTF-8, not escaped
    out += ";}";
  }
  // No leading automatic entry: colour 0 is the first run's colour, on purpose.
  out += "}{\\colortbl";
  for (const uint32_t colour : tables.colours) {
    AppendWord(out, "\\red", (colour >> 16) & 0xFF);
    AppendWord(out, "\\green", (colour >> 8) & 0xFF);
    AppendWord(out, "\\blue", colour & 0xFF);
    out += ';';
  }
  out += "}\\uc0 ";
}

// The text as UTF-16 units: CR, LF, CR LF and LF CR each one "\par ", units 0-8 dropped, above
// 127 "\uN ", and "\", "{", "}" escaped.
void WriteText(std::string& out, REALstringStruct* text) {
  rbText units(text);
  const uint16_t* unit = units.GetUTF16();
  const int64_t count = units.LengthUTF16();
  uint16_t previous = 0;
  for (int64_t i = 0; i < count; previous = unit[i], ++i) {
    const uint16_t u = unit[i];
    if (u <= 8) continue;
    if (u == '\n' || u == '\r') {
      if (previous != (u == '\n' ? '\r' : '\n')) out += "\\par ";
    } else if (u > 127) {
      AppendWord(out, "\\u", u);
      out += ' ';
    } else {
      if (u == '\\' || u == '{' || u == '}') out += '\\';
      out += static_cast<char>(u);
    }
  }
}

int64_t HalfPoints(int64_t size) {
  int64_t half;
  if (__builtin_mul_overflow(size, 2, &half)) half = size > 0 ? INT64_MAX : INT64_MIN;
  return half;
}

// The state of the run before, so that only changes are written.
struct Previous {
  int64_t alignment = kAlignDefault;
  bool bold = false;
  bool italic = false;
  bool underline = false;
  uint32_t colour = 0;
  double size = 0;  // compared as a floating-point number
  REALstringStruct* font = nullptr;
};

void WriteRun(std::string& out, const XojoStyleRun& run, int64_t fontNumber, const Tables& tables, Previous& previous) {
  const size_t before = out.size();
  if (run.alignment != previous.alignment) {
    out += run.alignment == kAlignCentre ? "\\qc" : run.alignment == kAlignRight ? "\\qr" : "\\ql";
    previous.alignment = run.alignment;
  }
  if (run.bold != previous.bold) {
    out += run.bold ? "\\b" : "\\b0";
    previous.bold = run.bold;
  }
  if (run.italic != previous.italic) {
    out += run.italic ? "\\i" : "\\i0";
    previous.italic = run.italic;
  }
  if (run.underline != previous.underline) {
    out += run.underline ? "\\ul" : "\\ul0";
    previous.underline = run.underline;
  }
  // The first run with a font always writes it; after that the host's comparison decides. An
  // empty name is no font, as nil is: the host does not tell the two apart.
  if (fontNumber >= 0 && (previous.font == nullptr || REALCompareStrings(run.font(), previous.font) != 0)) {
    AppendWord(out, "\\f", fontNumber);
    previous.font = run.font();
  }
  if (run.textColor != previous.colour) {
    AppendWord(out, "\\cf", tables.colourNumbers.at(run.textColor));
    previous.colour = run.textColor;
  }
  if (static_cast<double>(run.size) != previous.size) {
    AppendWord(out, "\\fs", HalfPoints(run.size));
    previous.size = static_cast<double>(run.size);
  }
  if (out.size() != before) out += ' ';
  WriteText(out, run.text());
}

}  // namespace

REALstringStruct* RTFRead(REALobjectStruct* styledText, int8_t skipParagraphs) {
  std::vector<XojoStyleRun> runs;
  try {
    GetXojoStyleRunsForText(styledText, runs, skipParagraphs != 0);
  } catch (...) {
    return nullptr;  // the runs read so far are given back with the vector
  }
  if (runs.empty()) return nullptr;

  const Tables tables = NumberFontsAndColours(runs);
  std::string out;
  out.reserve(kReservedOutput);
  WriteHeader(out, tables);
  Previous previous;
  for (size_t i = 0; i < runs.size(); ++i) WriteRun(out, runs[i], tables.runFonts[i], tables, previous);
  out += '}';
  return CString2RB(out.c_str(), kEncodingUTF8);
}

}  // namespace zyl
