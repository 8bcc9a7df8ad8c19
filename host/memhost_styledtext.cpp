// memhost_styledtext.cpp - the "StyledText" class: its runs, its paragraphs, its methods found
// by declaration, and the styled-text part of the test API.
//
// Paragraphs are the non-empty stretches of the runs' concatenated characters between
// separators (CR, LF, or CR LF as one, also when CR ends one run and LF starts the next).
// Characters are counted as "Len" counts them.
#include "memhost_internal.h"

namespace memhost::detail {

void ParagraphScan::Feed(char c) {
  if (c == '\n' && afterCR) {  // the LF of a CR LF pair belongs to the CR's separator
    afterCR = false;
    stretchStart = ++position;
    return;
  }
  afterCR = false;
  if (c == '\r' || c == '\n') {
    if (position > stretchStart) closed.emplace_back(stretchStart, position);
    afterCR = c == '\r';
    stretchStart = ++position;
    return;
  }
  ++position;
}

std::pair<int64_t, int64_t> ParagraphScan::At(std::size_t index) const {
  return index < closed.size() ? closed[index] : std::pair<int64_t, int64_t>{stretchStart, position};
}

std::vector<std::pair<int64_t, int64_t>> ParagraphScan::Paragraphs() const {
  std::vector<std::pair<int64_t, int64_t>> out = closed;
  if (position > stretchStart) out.emplace_back(stretchStart, position);
  return out;
}

std::string ShapeOf(State& s, REALstringStruct* text) {
  const StringValue v = ValueOf(s, text);
  std::string shape;
  for (char32_t c : Characters(s.iconv, v.bytes, v.encoding)) {
    shape.push_back(c == U'\r' ? '\r' : c == U'\n' ? '\n' : 'x');
  }
  return shape;
}

ParagraphScan& FreshScan(ObjectRecord& text) {
  if (text.scanStale) {
    text.scan = ParagraphScan{};
    for (const RunValues& run : text.runs) {
      for (char c : run.shape) text.scan.Feed(c);
    }
    if (text.alignments.size() > text.scan.Count()) text.alignments.resize(text.scan.Count());
    text.scanStale = false;
  }
  return text.scan;
}

void AppendRun(ObjectRecord& text, RunValues run) {
  ParagraphScan& scan = FreshScan(text);
  for (char c : run.shape) scan.Feed(c);
  text.runs.push_back(std::move(run));
}

void ReleaseRunValues(State& s, RunValues& run) {
  UnlockString(s, std::exchange(run.text, nullptr), "StyledText");
  UnlockString(s, std::exchange(run.font, nullptr), "StyledText");
}

std::optional<int64_t> StyledTextInteger(ObjectRecord& o, std::string_view name) {
  if (name == "StyleRunCount") return static_cast<int64_t>(o.runs.size());
  if (name == "ParagraphCount") return static_cast<int64_t>(FreshScan(o).Count());
  return std::nullopt;
}

namespace {

ObjectRecord* FindStyledText(State& s, REALobjectStruct* object, const char* where) {
  ObjectRecord* r = FindObject(s, object, where);
  if (r == nullptr) {
    if (object == nullptr) Report(s, std::string(where) + ": nil StyledText");
    return nullptr;
  }
  if (r->kind != ClassKind::StyledText) {
    Report(s, std::string(where) + ": called on a " + ClassName(r->kind));
    return nullptr;
  }
  return r;
}

// CheckIndex: true when 0 <= index < count; otherwise raises "OutOfBoundsException".
bool CheckIndex(State& s, int64_t index, std::size_t count, const char* what) {
  if (index >= 0 && static_cast<uint64_t>(index) < count) return true;
  Raise(s, ClassKind::OutOfBoundsException,
        std::string(what) + " index " + std::to_string(index) + " is out of bounds (count " + std::to_string(count) + ")", 0);
  return false;
}

REALobjectStruct* StyleRunAt(REALobjectStruct* object, int64_t index) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return nullptr;
  ObjectRecord* text = FindStyledText(*s, object, "StyledText.StyleRun");
  if (text == nullptr || !CheckIndex(*s, index, text->runs.size(), "StyleRun")) return nullptr;
  if (AllocationFails(*s)) return nullptr;
  const RunValues& run = text->runs[static_cast<std::size_t>(index)];
  REALobjectStruct* result = MakeObject(*s, ClassKind::StyleRun);
  ObjectRecord& r = *s->objects.At(result);
  LockString(*s, run.text, "StyledText.StyleRun");
  LockString(*s, run.font, "StyledText.StyleRun");
  FindProperty(r, "Text")->string = run.text;
  FindProperty(r, "Font")->string = run.font;
  FindProperty(r, "Size")->integer = run.size;
  FindProperty(r, "TextColor")->colour = run.colour;
  FindProperty(r, "Bold")->boolean = run.bold;
  FindProperty(r, "Italic")->boolean = run.italic;
  FindProperty(r, "Underline")->boolean = run.underline;
  return result;
}

REALobjectStruct* ParagraphAt(REALobjectStruct* object, int64_t index) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return nullptr;
  ObjectRecord* text = FindStyledText(*s, object, "StyledText.Paragraph");
  if (text == nullptr) return nullptr;
  const ParagraphScan& scan = FreshScan(*text);
  if (!CheckIndex(*s, index, scan.Count(), "Paragraph")) return nullptr;
  const auto i = static_cast<std::size_t>(index);
  if (AllocationFails(*s)) return nullptr;
  const auto [start, end] = scan.At(i);
  REALobjectStruct* result = MakeObject(*s, ClassKind::Paragraph);
  ObjectRecord& r = *s->objects.At(result);
  FindProperty(r, "StartPos")->integer = start;
  FindProperty(r, "EndPos")->integer = end;
  FindProperty(r, "Alignment")->integer = i < text->alignments.size() ? text->alignments[i] : 0;
  return result;
}

void RemoveStyleRun(REALobjectStruct* object, int64_t index) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return;
  ObjectRecord* text = FindStyledText(*s, object, "StyledText.RemoveStyleRun");
  if (text == nullptr || !CheckIndex(*s, index, text->runs.size(), "StyleRun")) return;
  const auto at = text->runs.begin() + static_cast<std::ptrdiff_t>(index);
  ReleaseRunValues(*s, *at);
  text->runs.erase(at);
  text->scanStale = true;  // scanned again when next asked; alignments stay with their indexes
}

void AppendStyleRun(REALobjectStruct* object, REALobjectStruct* run) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return;
  ObjectRecord* text = FindStyledText(*s, object, "StyledText.AppendStyleRun");
  if (text == nullptr) return;
  if (run == nullptr) {
    Report(*s, "StyledText.AppendStyleRun: nil run");
    return;
  }
  ObjectRecord* source = FindObject(*s, run, "StyledText.AppendStyleRun");
  if (source == nullptr) return;
  if (source->kind != ClassKind::StyleRun) {
    Report(*s, "StyledText.AppendStyleRun: the run is a " + std::string(ClassName(source->kind)));
    return;
  }
  RunValues values;
  values.text = FindProperty(*source, "Text")->string;
  values.font = FindProperty(*source, "Font")->string;
  LockString(*s, values.text, "StyledText.AppendStyleRun");
  LockString(*s, values.font, "StyledText.AppendStyleRun");
  values.size = FindProperty(*source, "Size")->integer;
  values.colour = FindProperty(*source, "TextColor")->colour;
  values.bold = FindProperty(*source, "Bold")->boolean;
  values.italic = FindProperty(*source, "Italic")->boolean;
  values.underline = FindProperty(*source, "Underline")->boolean;
  values.shape = ShapeOf(*s, values.text);
  AppendRun(*text, std::move(values));
}

void SetAlignment(ObjectRecord& text, std::size_t index, int64_t alignment) {
  if (text.alignments.size() <= index) text.alignments.resize(index + 1, 0);
  text.alignments[index] = alignment;
}

void ParagraphAlignment(REALobjectStruct* object, int64_t index, int64_t alignment) noexcept {
  Guard g;
  State* s = g.state();
  if (s == nullptr) return;
  ObjectRecord* text = FindStyledText(*s, object, "StyledText.ParagraphAlignment");
  if (text == nullptr || !CheckIndex(*s, index, FreshScan(*text).Count(), "Paragraph")) return;
  SetAlignment(*text, static_cast<std::size_t>(index), alignment);
}

ObjectRecord& RequireStyledText(State& s, REALobjectStruct* object, const char* function) {
  ObjectRecord& r = RequireObject(s, object, function);
  if (r.kind != ClassKind::StyledText) {
    throw std::invalid_argument(std::string("memhost::") + function + ": not a StyledText");
  }
  return r;
}

}  // namespace

void* StyledTextMethod(std::string_view declaration) {
  if (declaration == "StyleRun(Index as Integer) As StyleRun") return AddressOf(&StyleRunAt);
  if (declaration == "Paragraph(Index as Integer) As Paragraph") return AddressOf(&ParagraphAt);
  if (declaration == "RemoveStyleRun(Index as Integer)") return AddressOf(&RemoveStyleRun);
  if (declaration == "AppendStyleRun(Run as StyleRun)") return AddressOf(&AppendStyleRun);
  if (declaration == "ParagraphAlignment(Index As Integer, assigns _value as Integer)") {
    return AddressOf(&ParagraphAlignment);
  }
  return nullptr;
}

}  // namespace memhost::detail

// -------------------------------------------------------------------------------------------------
// Test API.

namespace memhost {

using namespace detail;

REALobjectStruct* NewStyledText(const std::vector<RunStyle>& runs, const std::vector<int64_t>& alignments) {
  ApiGuard g("NewStyledText");
  State& s = g.state();
  REALobjectStruct* object = MakeObject(s, ClassKind::StyledText);
  ObjectRecord& text = *s.objects.At(object);
  for (const RunStyle& described : runs) {
    RunValues values;
    values.text = MakeString(s, described.text, described.encoding, Storage::Auto);
    values.font = MakeString(s, described.font, described.fontEncoding, Storage::Auto);
    values.size = described.size;
    values.colour = described.colour;
    values.bold = described.bold;
    values.italic = described.italic;
    values.underline = described.underline;
    values.shape = ShapeOf(s, values.text);
    AppendRun(text, std::move(values));
  }
  if (alignments.size() > FreshScan(text).Count()) {
    UnlockObject(s, object, "memhost::NewStyledText");
    throw std::out_of_range("memhost::NewStyledText: more alignments than paragraphs");
  }
  for (std::size_t i = 0; i < alignments.size(); ++i) SetAlignment(text, i, alignments[i]);
  return object;
}

void SetParagraphAlignment(REALobjectStruct* styledText, int64_t index, int64_t alignment) {
  ApiGuard g("SetParagraphAlignment");
  ObjectRecord& text = RequireStyledText(g.state(), styledText, "SetParagraphAlignment");
  const std::size_t count = FreshScan(text).Count();
  if (index < 0 || static_cast<uint64_t>(index) >= count) {
    throw std::out_of_range("memhost::SetParagraphAlignment: no paragraph " + std::to_string(index));
  }
  SetAlignment(text, static_cast<std::size_t>(index), alignment);
}

std::vector<RunStyle> StyleRuns(REALobjectStruct* styledText) {
  ApiGuard g("StyleRuns");
  State& s = g.state();
  std::vector<RunStyle> out;
  for (const RunValues& run : RequireStyledText(s, styledText, "StyleRuns").runs) {
    RunStyle described;
    const StringValue text = ValueOf(s, run.text);
    const StringValue font = ValueOf(s, run.font);
    described.text = text.bytes;
    described.encoding = text.encoding;
    described.font = font.bytes;
    described.fontEncoding = font.encoding;
    described.size = run.size;
    described.colour = run.colour;
    described.bold = run.bold;
    described.italic = run.italic;
    described.underline = run.underline;
    out.push_back(std::move(described));
  }
  return out;
}

std::vector<ParagraphSpan> Paragraphs(REALobjectStruct* styledText) {
  ApiGuard g("Paragraphs");
  ObjectRecord& text = RequireStyledText(g.state(), styledText, "Paragraphs");
  std::vector<ParagraphSpan> out;
  for (const auto& [start, end] : FreshScan(text).Paragraphs()) {
    const std::size_t i = out.size();
    out.push_back({start, end, i < text.alignments.size() ? text.alignments[i] : 0});
  }
  return out;
}

std::string StyledTextUTF8(REALobjectStruct* styledText) {
  ApiGuard g("StyledTextUTF8");
  State& s = g.state();
  std::string out;
  for (const RunValues& run : RequireStyledText(s, styledText, "StyledTextUTF8").runs) {
    const StringValue v = ValueOf(s, run.text);
    const std::optional<std::string> utf8 = DisplayText(s.iconv, v.bytes, v.encoding);
    if (!utf8) throw std::runtime_error("memhost::StyledTextUTF8: a run's text cannot be converted to UTF-8");
    out += *utf8;
  }
  return out;
}

}  // namespace memhost
