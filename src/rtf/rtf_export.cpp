// RTFRead: a StyledText as one compact RTF document.
#include <algorithm>
#include <charconv>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "plugin/builders.h"
#include "plugin/host_api.h"
#include "plugin/output_buffer.h"
#include "rtf/rtf.h"
#include "rtf/styled_text_bridge.h"
#include "text/text.h"

namespace zyl {

namespace {

constexpr int64_t kReservedOutput = 1048576;  // typical documents are written without reallocation

using Output = OutputBuffer<char>;

// The library's own hash of a font name's UTF-8 bytes.
struct FontNameHash {
  size_t operator()(const std::string& name) const noexcept {
    uint32_t hash = 324567;
    for (const char c : name) hash = hash * 101 + static_cast<uint8_t>(c);
    return hash;
  }
};

void Append(Output& out, std::string_view text) { out.Append(text.data(), static_cast<int64_t>(text.size())); }

void AppendNumber(Output& out, int64_t value) {
  constexpr int kDigits = 20;  // "-9223372036854775808"
  char* at = out.Room(kDigits);
  out.SetCursor(std::to_chars(at, at + kDigits, value).ptr);
}

void AppendWord(Output& out, std::string_view word, int64_t value) {
  Append(out, word);
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

void WriteHeader(Output& out, const Tables& tables) {
  Append(out, "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl");
  for (size_t i = 0; i < tables.fonts.size(); ++i) {
    AppendWord(out, "{\\f", static_cast<int64_t>(i));
    Append(out, "\\fnil ");
    Append(out, tables.fonts[i]);  // raw UTF-8, not escaped
    Append(out, ";}");
  }
  // No leading automatic entry: colour 0 is the first run's colour, on purpose.
  Append(out, "}{\\colortbl");
  for (const uint32_t colour : tables.colours) {
    AppendWord(out, "\\red", (colour >> 16) & 0xFF);
    AppendWord(out, "\\green", (colour >> 8) & 0xFF);
    AppendWord(out, "\\blue", colour & 0xFF);
    out.Push(';');
  }
  Append(out, "}\\uc0 ");
}

// The text as UTF-16 units: CR, LF, CR LF and LF CR each one "\par ", units 0-8 dropped, above
// 127 "\uN ", and "\", "{", "}" escaped.
void WriteText(Output& out, REALstringStruct* text) {
  rbText units(text);
  const uint16_t* unit = units.GetUTF16();
  const int64_t count = units.LengthUTF16();
  constexpr int64_t kMostPerUnit = 8;  // "\u65535 "
  char* at = out.Room(count * kMostPerUnit);
  uint16_t previous = 0;
  for (int64_t i = 0; i < count; previous = unit[i], ++i) {
    const uint16_t u = unit[i];
    if (u <= 8) continue;
    if (u == '\n' || u == '\r') {
      if (previous != (u == '\n' ? '\r' : '\n')) at = std::copy_n("\\par ", 5, at);
    } else if (u > 127) {
      *at++ = '\\';
      *at++ = 'u';
      at = std::to_chars(at, at + 5, u).ptr;
      *at++ = ' ';
    } else {
      if (u == '\\' || u == '{' || u == '}') *at++ = '\\';
      *at++ = static_cast<char>(u);
    }
  }
  out.SetCursor(at);
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

void WriteRun(Output& out, const XojoStyleRun& run, int64_t fontNumber, const Tables& tables, Previous& previous) {
  const int64_t before = out.Length();
  if (run.alignment != previous.alignment) {
    Append(out, run.alignment == kAlignCentre ? "\\qc" : run.alignment == kAlignRight ? "\\qr" : "\\ql");
    previous.alignment = run.alignment;
  }
  if (run.bold != previous.bold) {
    Append(out, run.bold ? "\\b" : "\\b0");
    previous.bold = run.bold;
  }
  if (run.italic != previous.italic) {
    Append(out, run.italic ? "\\i" : "\\i0");
    previous.italic = run.italic;
  }
  if (run.underline != previous.underline) {
    Append(out, run.underline ? "\\ul" : "\\ul0");
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
  if (out.Length() != before) out.Push(' ');
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
  Output out(kReservedOutput);
  WriteHeader(out, tables);
  Previous previous;
  for (size_t i = 0; i < runs.size(); ++i) WriteRun(out, runs[i], tables.runFonts[i], tables, previous);
  out.Push('}');
  out.Push('\0');  // the document holds no zero byte of its own
  return CString2RB(out.Data(), kEncodingUTF8);
}

}  // namespace zyl
