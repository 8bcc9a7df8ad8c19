// RTFWrite: rebuilds a StyledText from RTF in one pass over the bytes.
//
// The pass keeps a stack of group states and collects plain text in a pending buffer; a style
// change, "\u", "\par", "}" and a raw line break hand the pending text to the bridge as one new
// run. Only "\bin" and the words in kWords are acted on; a group that opens with any other word
// is skipped.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "plugin/builders.h"
#include "plugin/host_api.h"
#include "rtf/rtf.h"
#include "rtf/rtf_lexer.h"
#include "rtf/styled_text_bridge.h"
#include "text/text.h"

namespace zyl {

namespace {

constexpr uint32_t kDefaultEncoding = 1280;  // Windows Latin 1
constexpr size_t kReservedText = 10000;

enum class Action {
  Ignore, CodePage, Ansi, Mac, Bold, Italic, Underline, UnderlineNone, Unicode,
  FontTable, ColourTable, Colour, Font, Paragraph, Centre, Right, Left, FontSize, Unknown,
};

struct KnownWord {
  std::string_view word;
  Action action;
};

// The words acted on inside an open group when not skipping ("bin" is acted on everywhere).
// "pard" does not reset the alignment, and "upr" sets the size like "fs": both kept on purpose.
constexpr KnownWord kWords[] = {
    {"rtf", Action::Ignore},          {"partightenfactor", Action::Ignore}, {"paperw", Action::Ignore},
    {"paperh", Action::Ignore},       {"pard", Action::Ignore},             {"pardirnatural", Action::Ignore},
    {"ansicpg", Action::CodePage},    {"ansi", Action::Ansi},               {"mac", Action::Mac},
    {"b", Action::Bold},              {"i", Action::Italic},                {"ul", Action::Underline},
    {"ulnone", Action::UnderlineNone}, {"u", Action::Unicode},              {"fonttbl", Action::FontTable},
    {"colortbl", Action::ColourTable}, {"cf", Action::Colour},              {"f", Action::Font},
    {"par", Action::Paragraph},       {"qc", Action::Centre},               {"qr", Action::Right},
    {"ql", Action::Left},             {"qj", Action::Left},                 {"fs", Action::FontSize},
    {"upr", Action::FontSize},
};

Action ActionOf(std::string_view word) {
  for (const KnownWord& known : kWords) {
    if (known.word == word) return known.action;
  }
  return Action::Unknown;
}

// One open group's state. Nested groups that change nothing share one record (`depth` counts
// them), so a run of "{" costs no memory per brace.
struct GroupState {
  const std::string* font = nullptr;  // a name in one of the font tables read; nil: empty
  int64_t size = 0;
  uint32_t encoding = kDefaultEncoding;
  uint32_t red = 0;
  uint32_t green = 0;
  uint32_t blue = 0;
  bool bold = false;
  bool italic = false;
  bool underline = false;
  uint64_t depth = 1;
};

void PushGroup(std::vector<GroupState>& groups) {
  if (groups.empty()) {
    groups.emplace_back();
  } else {
    ++groups.back().depth;
  }
}

void PopGroup(std::vector<GroupState>& groups) {
  if (--groups.back().depth == 0) groups.pop_back();
}

// The innermost group's state, to be changed: a record shared with enclosing groups is split.
GroupState& ChangeGroup(std::vector<GroupState>& groups) {
  if (groups.back().depth > 1) {
    GroupState inner = groups.back();
    --groups.back().depth;
    inner.depth = 1;
    groups.push_back(inner);
  }
  return groups.back();
}

struct Import {
  REALobjectStruct* styledText;
  std::vector<GroupState> groups;
  // Every font table read stays alive: group states point at its names.
  std::vector<std::unique_ptr<RTFFontTable>> fontTables;
  RTFColorTable colours;
  std::string pending;
  REALobjectStruct* run = nullptr;
  int64_t alignment = kAlignDefault;  // one value for the whole document
  int64_t skipDepth = 0;
  bool justOpened = false;

  explicit Import(REALobjectStruct* text) : styledText(text) { pending.reserve(kReservedText); }
  ~Import() {
    if (run != nullptr) REALUnlockObject(run);
  }
  Import(const Import&) = delete;
  Import& operator=(const Import&) = delete;

  bool Skipping() const { return skipDepth > 0; }
};

void Flush(Import& in) {
  const uint32_t encoding = in.groups.empty() ? kDefaultEncoding : in.groups.back().encoding;
  StyledTextAddStyleRun(encoding, in.pending, in.styledText, &in.run, in.alignment);
}

// A new run in the style of the current group (the host's defaults outside any group), unless
// one is pending already.
void MakeRun(Import& in) {
  if (in.run != nullptr) return;
  in.run = NewStyleRun();
  if (in.groups.empty()) return;
  const GroupState& group = in.groups.back();
  StyleRunSetBold(in.run, group.bold);
  StyleRunSetItalic(in.run, group.italic);
  StyleRunSetUnderline(in.run, group.underline);
  StyleRunSetSize(in.run, group.size);
  StyleRunSetTextColor(in.run, (group.red << 16) | (group.green << 8) | group.blue);
  REALstringStruct* font = CString2RB(group.font != nullptr ? group.font->c_str() : "", kEncodingUTF8);
  StyleRunSetFontName(in.run, font);
  if (font != nullptr) REALUnlockString(font);
}

void AddText(Import& in, uint8_t byte) {
  MakeRun(in);
  in.pending.push_back(static_cast<char>(byte));
}

// "\bin": skips its parameter's count of bytes, never back more than the one byte of a bare
// "\bin" (-1) and never past the last byte.
int64_t SkipBinary(int64_t position, int64_t count, int64_t length) {
  int64_t moved;
  if (__builtin_add_overflow(position, count, &moved)) moved = count > 0 ? INT64_MAX : INT64_MIN;
  return std::clamp(moved, position - 1, length - 1);
}

int HexValue(uint8_t c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// "\'hh" with the position on the quote: one or two hex digits of either case make the byte, a
// first byte that is no digit gives 0. Returns the position of the second byte after the quote,
// or of the last byte before a zero byte, which is never consumed.
int64_t ReadHexEscape(Import& in, const uint8_t* text, int64_t quote) {
  int64_t last = quote;
  uint32_t value = 0;
  if (text[quote + 1] != 0) {
    last = quote + 1;
    if (text[quote + 2] != 0) last = quote + 2;
    const int high = HexValue(text[quote + 1]);
    if (high >= 0) {
      const int low = HexValue(text[quote + 2]);
      value = low >= 0 ? static_cast<uint32_t>(high * 16 + low) : static_cast<uint32_t>(high);
    }
  }
  if (!in.Skipping()) in.pending.push_back(static_cast<char>(value & 0xFF));
  return last;
}

void ApplyWord(Import& in, const uint8_t* text, int64_t& position, int64_t length, std::string_view word,
               int64_t parameter) {
  if (word == "bin") {  // acted on everywhere, even while skipping
    position = SkipBinary(position, parameter, length);
    return;
  }
  if (in.groups.empty() || in.Skipping()) return;
  const Action action = ActionOf(word);
  switch (action) {
    case Action::Ignore:
      return;
    case Action::CodePage:
      Flush(in);
      ChangeGroup(in.groups).encoding = FindEncoding(parameter);
      return;
    case Action::Ansi:
      Flush(in);
      ChangeGroup(in.groups).encoding = kDefaultEncoding;
      return;
    case Action::Mac:
      Flush(in);
      ChangeGroup(in.groups).encoding = kEncodingMacRoman;
      return;
    case Action::Bold:
      Flush(in);
      ChangeGroup(in.groups).bold = parameter != 0;
      return;
    case Action::Italic:
      Flush(in);
      ChangeGroup(in.groups).italic = parameter != 0;
      return;
    case Action::Underline:
      Flush(in);
      ChangeGroup(in.groups).underline = parameter != 0;
      return;
    case Action::UnderlineNone:
      Flush(in);
      ChangeGroup(in.groups).underline = false;
      return;
    case Action::Unicode:
      Flush(in);
      MakeRun(in);
      StyledTextAddStyleRun(static_cast<uint16_t>(parameter), in.styledText, &in.run, in.alignment);
      return;
    case Action::FontTable:
      in.fontTables.push_back(std::make_unique<RTFFontTable>(ReadFontTable(text, position)));
      return;
    case Action::ColourTable:
      in.colours = ReadColorTable(text, position);
      in.pending.clear();
      return;
    case Action::Colour: {
      Flush(in);
      const auto found = in.colours.find(static_cast<uint32_t>(parameter));
      const RTFColor colour = found != in.colours.end() ? found->second : RTFColor{};
      GroupState& group = ChangeGroup(in.groups);
      group.red = static_cast<uint32_t>(colour.red);
      group.green = static_cast<uint32_t>(colour.green);
      group.blue = static_cast<uint32_t>(colour.blue);
      return;
    }
    case Action::Font: {
      Flush(in);
      const std::string* name = nullptr;
      if (!in.fontTables.empty()) {
        const RTFFontTable& table = *in.fontTables.back();
        const auto found = table.find(static_cast<uint32_t>(parameter));
        if (found != table.end()) name = &found->second;
      }
      ChangeGroup(in.groups).font = name;
      return;
    }
    case Action::Paragraph:
      AddText(in, '\r');
      Flush(in);
      return;
    case Action::Centre:
    case Action::Right:
    case Action::Left:
      Flush(in);
      in.alignment = action == Action::Centre ? kAlignCentre : action == Action::Right ? kAlignRight : kAlignLeft;
      return;
    case Action::FontSize:
      Flush(in);
      ChangeGroup(in.groups).size = parameter / 2;
      return;
    case Action::Unknown:
      if (in.justOpened) in.skipDepth = 1;  // "{\*\generator ...}", "{\stylesheet ...}", "{\info ...}"
      return;
  }
}

// A backslash at `position`: returns the position of the escape's or word's last byte.
int64_t ReadEscape(Import& in, const uint8_t* text, int64_t position, int64_t length) {
  ++position;  // onto the byte after the backslash, which may be the terminator
  const uint8_t c = text[position];
  int64_t last = position;
  if (c == '\'') {
    last = ReadHexEscape(in, text, position);
  } else if (c == '\\' || c == '{' || c == '}') {
    if (!in.Skipping()) AddText(in, c);
  } else if (c == '\n' || c == '\r') {
    in.pending.push_back('\r');  // even while skipping
    Flush(in);
  } else {
    std::string_view word;
    int64_t parameter;
    last = ReadCommand(text, position, word, parameter);
    ApplyWord(in, text, last, length, word, parameter);
  }
  in.justOpened = false;
  return last;
}

void Pass(Import& in, const uint8_t* text, int64_t length) {
  for (int64_t position = -1; position + 1 < length;) {
    const uint8_t c = text[++position];
    switch (c) {
      case '{':
        PushGroup(in.groups);
        if (in.Skipping()) ++in.skipDepth;
        in.justOpened = true;
        break;
      case '}':
        Flush(in);
        if (in.groups.empty()) return;
        PopGroup(in.groups);
        Flush(in);  // meets an empty buffer: gives back a pending run
        if (in.Skipping()) --in.skipDepth;
        in.justOpened = false;
        break;
      case '\r':
      case '\n':  // a raw line break is no text, and a group still opens with the word after it
        Flush(in);
        break;
      case '\\':
        position = ReadEscape(in, text, position, length);
        break;
      default:  // a zero byte too: the run's string ends at it
        if (!in.Skipping()) AddText(in, c);
        in.justOpened = false;
        break;
    }
  }
}

}  // namespace

void RTFWrite(REALobjectStruct* styledText, int8_t /*skipParagraphs: no effect on import*/, REALstringStruct* rtf) {
  StyledTextClear(styledText);
  const rbData view(rtf);
  const int64_t length = view.Size();
  if (length < 7 || memcmp(view.Data(), "{\\rtf", 5) != 0) return;
  try {
    // A host string's bytes are followed by one zero byte: the lexer's scans stop there.
    Import in(styledText);
    Pass(in, view.Data(), length);
    Flush(in);
  } catch (...) {
    // Nothing is reported: the runs added so far stay, everything else was given back.
  }
}

}  // namespace zyl
