#include "rtf/styled_text_bridge.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "plugin/builders.h"
#include "plugin/host_api.h"
#include "plugin/log.h"
#include "text/text.h"

namespace zyl {

// ---------------------------------------------------------------------------------------------
// XojoStyleRun

XojoStyleRun::XojoStyleRun(const XojoStyleRun& other)
    : bold(other.bold),
      underline(other.underline),
      italic(other.italic),
      textColor(other.textColor),
      size(other.size),
      alignment(other.alignment),
      start(other.start),
      length(other.length),
      middle(other.middle),
      font_(other.font_),
      text_(other.text_) {
  if (font_ != nullptr) REALLockString(font_);
  if (text_ != nullptr) REALLockString(text_);
}

XojoStyleRun::~XojoStyleRun() {
  if (text_ != nullptr) REALUnlockString(text_);
  text_ = nullptr;
  if (font_ != nullptr) REALUnlockString(font_);
}

namespace {

// Takes a reference on the new string before giving back the old one, so that setting the string
// a field already holds keeps it alive.
void Replace(REALstringStruct*& field, REALstringStruct* value) {
  if (value != nullptr) REALLockString(value);
  if (field != nullptr) REALUnlockString(field);
  field = value;
}

}  // namespace

void XojoStyleRun::setFont(REALstringStruct* font) { Replace(font_, font); }
void XojoStyleRun::setText(REALstringStruct* text) { Replace(text_, text); }

// ---------------------------------------------------------------------------------------------
// Property reads

namespace {

int64_t ReadInteger(REALobjectStruct* object, const char* name) {
  int64_t value = 0;
  if (object != nullptr) REALGetPropValueInteger(object, name, &value);
  return value;
}

bool ReadBoolean(REALobjectStruct* object, const char* name) {
  bool value = false;
  if (object != nullptr) REALGetPropValueBoolean(object, name, &value);
  return value;
}

REALstringStruct* ReadString(REALobjectStruct* object, const char* name) {
  REALstringStruct* value = nullptr;
  if (object != nullptr && !REALGetPropValueString(object, name, &value)) value = nullptr;
  return value;
}

}  // namespace

int64_t GetAlignment(REALobjectStruct* paragraph) { return ReadInteger(paragraph, "Alignment"); }
int64_t GetStartPos(REALobjectStruct* paragraph) { return ReadInteger(paragraph, "StartPos"); }
int64_t GetEndPos(REALobjectStruct* paragraph) { return ReadInteger(paragraph, "EndPos"); }
int64_t GetParagraphCount(REALobjectStruct* styledText) { return ReadInteger(styledText, "ParagraphCount"); }
int64_t GetStyleRunCount(REALobjectStruct* styledText) { return ReadInteger(styledText, "StyleRunCount"); }
int64_t GetSize(REALobjectStruct* run) { return ReadInteger(run, "Size"); }
bool GetBold(REALobjectStruct* run) { return ReadBoolean(run, "Bold"); }
bool GetItalic(REALobjectStruct* run) { return ReadBoolean(run, "Italic"); }
bool GetUnderline(REALobjectStruct* run) { return ReadBoolean(run, "Underline"); }
REALstringStruct* GetText(REALobjectStruct* run) { return ReadString(run, "Text"); }

uint32_t GetTextColor(REALobjectStruct* run) {
  uint32_t colour = 0;
  if (run != nullptr) REALGetPropValueColor(run, "TextColor", &colour);
  return colour;
}

REALstringStruct* GetFont(REALobjectStruct* run) {
  REALstringStruct* font = ReadString(run, "Font");
  if (font == nullptr) return nullptr;
  REALstringStruct* rebuilt = nullptr;
  {
    const rbData bytes(font);
    if (bytes.Size() > 0 && memchr(bytes.Data(), 0, static_cast<size_t>(bytes.Size())) != nullptr) {
      rebuilt = REALBuildUnicodeString(bytes.Data(), bytes.Size(), kEncodingUTF16);
    } else {
      return font;
    }
  }
  REALUnlockString(font);
  return rebuilt;
}

// ---------------------------------------------------------------------------------------------
// Host methods, each with a cache of the last object it was resolved for.

namespace {

struct MethodCache {
  const char* declaration;
  REALobjectStruct* object = nullptr;
  void* function = nullptr;
};

MethodCache gStyleRunMethod{"StyleRun(Index as Integer) As StyleRun"};
MethodCache gParagraphMethod{"Paragraph(Index as Integer) As Paragraph"};
MethodCache gRemoveStyleRunMethod{"RemoveStyleRun(Index as Integer)"};
MethodCache gAppendStyleRunMethod{"AppendStyleRun(Run as StyleRun)"};
MethodCache gParagraphAlignmentMethod{"ParagraphAlignment(Index As Integer, assigns _value as Integer)"};
void* gLenFunction = nullptr;  // "Len(s as string) as integer", kept once found

// The method for this object: the cached one while the object stays the same; resolved again
// after a switch of object and after every miss (a nil result is not a success).
template <typename Function>
Function* Resolve(MethodCache& cache, REALobjectStruct* object) {
  if (object != cache.object) {
    cache.object = object;
    cache.function = nullptr;
  }
  if (cache.function == nullptr) cache.function = REALLoadObjectMethod(object, cache.declaration);
  return reinterpret_cast<Function*>(cache.function);
}

// Logs and says no for a nil text object.
bool HaveStyledText(REALobjectStruct* styledText, const char* operation) {
  if (styledText != nullptr) return true;
  if (DebuggingEnabled) LogMessage("styledText is nil in", operation);
  return false;
}

void LogNilFunction(const char* operation) {
  if (DebuggingEnabled) LogMessage("nil function in", operation);
}

}  // namespace

void ResetStyledTextCaches() {
  for (MethodCache* cache : {&gStyleRunMethod, &gParagraphMethod, &gRemoveStyleRunMethod, &gAppendStyleRunMethod,
                             &gParagraphAlignmentMethod}) {
    cache->object = nullptr;
    cache->function = nullptr;
  }
  gLenFunction = nullptr;
}

REALobjectStruct* GetStyleRun(REALobjectStruct* styledText, int64_t index) {
  auto* method = Resolve<REALobjectStruct*(REALobjectStruct*, int64_t)>(gStyleRunMethod, styledText);
  return method != nullptr ? method(styledText, index) : nullptr;
}

REALobjectStruct* GetParagraph(REALobjectStruct* styledText, int64_t index) {
  auto* method = Resolve<REALobjectStruct*(REALobjectStruct*, int64_t)>(gParagraphMethod, styledText);
  return method != nullptr ? method(styledText, index) : nullptr;
}

int64_t GetStringLength(REALstringStruct* s) {
  if (gLenFunction == nullptr) gLenFunction = REALLoadFrameworkMethod("Len(s as string) as integer");
  if (gLenFunction == nullptr || s == nullptr) return 0;
  return reinterpret_cast<int64_t (*)(REALstringStruct*)>(gLenFunction)(s);
}

void StyledTextRemoveStyleRun(REALobjectStruct* styledText, int64_t index) {
  constexpr const char* kOperation = "StyledTextRemoveStyleRun";
  if (DebuggingEnabled) LogMessage(kOperation, index);
  if (!HaveStyledText(styledText, kOperation)) return;
  auto* method = Resolve<void(REALobjectStruct*, int64_t)>(gRemoveStyleRunMethod, styledText);
  if (method == nullptr) return LogNilFunction(kOperation);
  method(styledText, index);
}

void StyledTextClear(REALobjectStruct* styledText) {
  constexpr const char* kOperation = "StyledTextClear";
  if (DebuggingEnabled) LogMessage(kOperation);
  if (!HaveStyledText(styledText, kOperation)) return;
  const int64_t count = GetStyleRunCount(styledText);
  for (int64_t i = count; i > 0; --i) StyledTextRemoveStyleRun(styledText, i - 1);
}

void StyledTextAppendStyleRun(REALobjectStruct* styledText, REALobjectStruct* run) {
  constexpr const char* kOperation = "StyledTextAppendStyleRun";
  if (!HaveStyledText(styledText, kOperation)) return;
  if (run == nullptr) {
    // Lower-case "styleRun" here, unlike the setters' "StyleRun": the two texts differ on purpose.
    if (DebuggingEnabled) LogMessage("styleRun is nil in", kOperation);
    return;
  }
  auto* method = Resolve<void(REALobjectStruct*, REALobjectStruct*)>(gAppendStyleRunMethod, styledText);
  if (method == nullptr) return LogNilFunction(kOperation);
  method(styledText, run);
}

void StyledTextSetParagraphAlignment(REALobjectStruct* styledText, int64_t index, int64_t alignment) {
  constexpr const char* kOperation = "StyledTextSetParagraphAlignment";
  if (!HaveStyledText(styledText, kOperation)) return;
  auto* method = Resolve<void(REALobjectStruct*, int64_t, int64_t)>(gParagraphAlignmentMethod, styledText);
  if (method == nullptr) return LogNilFunction(kOperation);
  method(styledText, index, alignment);
}

REALobjectStruct* NewStyleRun() {
  REALobjectStruct* run = REALnewInstance("StyleRun");
  if (run == nullptr && DebuggingEnabled) LogMessage("NewStyleRun failed");
  return run;
}

// ---------------------------------------------------------------------------------------------
// Property writes

namespace {

bool HaveRun(REALobjectStruct* run, const char* operation) {
  if (run != nullptr) return true;
  if (DebuggingEnabled) LogMessage("StyleRun is nil in", operation);
  return false;
}

void LogFailure(bool written, const char* message) {
  if (!written && DebuggingEnabled) LogMessage(message);
}

void SetRunFlag(REALobjectStruct* run, bool value, const char* operation, const char* property, const char* failure) {
  if (DebuggingEnabled) LogMessage(operation, int64_t{value});
  if (!HaveRun(run, operation)) return;
  LogFailure(REALSetPropValueBoolean(run, property, value), failure);
}

// Debug mode only: reads a string property back after writing it and compares.
void CheckStringWritten(REALobjectStruct* run, const char* property, REALstringStruct* written, const char* readFailure,
                        const char* shownAs, const char* differs) {
  REALstringStruct* back = nullptr;
  if (!REALGetPropValueString(run, property, &back)) {
    LogMessage(readFailure);
  } else {
    if (shownAs != nullptr) LogMessage(shownAs, back);
    if (REALCompareStrings(back, written) != 0) LogMessage(differs, back);
  }
  if (back != nullptr) REALUnlockString(back);
}

}  // namespace

void StyleRunSetText(REALobjectStruct* run, REALstringStruct* text) {
  constexpr const char* kOperation = "StyleRunSetText";
  if (DebuggingEnabled) LogMessage(kOperation);
  if (!HaveRun(run, kOperation)) return;
  LogFailure(REALSetPropValueString(run, "Text", text), "Failed to set text property.");
  if (DebuggingEnabled) CheckStringWritten(run, "Text", text, "Failed to query value set!", nullptr, "text queried is not same!");
}

void StyleRunSetBold(REALobjectStruct* run, bool bold) {
  SetRunFlag(run, bold, "StyleRunSetBold", "Bold", "Failed to set Bold property.");
}

void StyleRunSetItalic(REALobjectStruct* run, bool italic) {
  SetRunFlag(run, italic, "StyleRunSetItalic", "Italic", "Failed to set Italic property.");
}

void StyleRunSetUnderline(REALobjectStruct* run, bool underline) {
  SetRunFlag(run, underline, "StyleRunSetUnderline", "Underline", "Failed to set Underline property.");
}

void StyleRunSetTextColor(REALobjectStruct* run, uint32_t colour) {
  constexpr const char* kOperation = "StyleRunSetTextColor";
  if (DebuggingEnabled) LogMessage(kOperation, colour);
  if (!HaveRun(run, kOperation)) return;
  LogFailure(REALSetPropValueUInt32(run, "TextColor", colour), "Failed to set TextColor property.");
}

void StyleRunSetSize(REALobjectStruct* run, int64_t size) {
  constexpr const char* kOperation = "StyleRunSetSize";
  if (DebuggingEnabled) LogMessage(kOperation, size);
  if (!HaveRun(run, kOperation)) return;
  LogFailure(REALSetPropValueInteger(run, "Size", size), "Failed to set Size property.");
}

void StyleRunSetFontName(REALobjectStruct* run, REALstringStruct* name) {
  constexpr const char* kOperation = "StyleRunSetFontName";
  if (DebuggingEnabled) {
    LogMessage(kOperation, name);
    rbText text(name);
    LogMessage("LengthUTF8", text.LengthUTF8());
  }
  if (!HaveRun(run, kOperation)) return;
  const bool usesFontName = !REALSetPropValueString(run, "Font", name);
  if (usesFontName) {
    if (DebuggingEnabled) LogMessage("Failed to set Font property, trying FontName.");
    if (!REALSetPropValueString(run, "FontName", name)) {
      if (DebuggingEnabled) LogMessage("Failed to set FontName property.");
      return;
    }
  }
  if (!DebuggingEnabled) return;
  if (usesFontName) {
    CheckStringWritten(run, "FontName", name, "Failed to query FontName property!", "fontSet",
                       "Warning: Font queried is not same!");
  } else {
    CheckStringWritten(run, "Font", name, "Failed to query Font property!", "fontSet",
                       "Warning: Font queried is not same!");
  }
}

// ---------------------------------------------------------------------------------------------
// Building a text object run by run

namespace {

void ReleaseRun(REALobjectStruct** run) {
  if (*run != nullptr) REALUnlockObject(*run);
  *run = nullptr;
}

}  // namespace

void StyledTextAddStyleRun(REALstringStruct* text, REALobjectStruct* styledText, REALobjectStruct** run,
                           int64_t alignment) {
  const int64_t before = GetParagraphCount(styledText);
  StyleRunSetText(*run, text);
  StyledTextAppendStyleRun(styledText, *run);
  ReleaseRun(run);
  const int64_t after = GetParagraphCount(styledText);
  if (DebuggingEnabled) LogMessage("NewParagraphCount", after);
  if (alignment >= 0 && after != before) {
    if (DebuggingEnabled) LogMessage("SetParagraphAlignment", before, alignment);
    StyledTextSetParagraphAlignment(styledText, before, alignment);
  }
}

void StyledTextAddStyleRun(uint32_t encoding, std::string& bytes, REALobjectStruct* styledText, REALobjectStruct** run,
                           int64_t alignment) {
  if (bytes.empty()) {
    if (DebuggingEnabled) LogMessage("Ignore empty run");
    ReleaseRun(run);
    return;
  }
  if (*run != nullptr) {
    REALstringStruct* text = CString2RB(bytes.c_str(), encoding);  // ends at a zero byte
    if (DebuggingEnabled) LogMessage("NewText", text);
    StyledTextAddStyleRun(text, styledText, run, alignment);
    if (text != nullptr) REALUnlockString(text);
  }
  bytes.clear();
}

void StyledTextAddStyleRun(uint16_t unit, REALobjectStruct* styledText, REALobjectStruct** run, int64_t alignment) {
  if (unit == 0) {
    if (DebuggingEnabled) LogMessage("Ignore null character");
    ReleaseRun(run);
    return;
  }
  if (*run == nullptr) return;
  REALstringStruct* text = REALBuildUnicodeString(&unit, sizeof unit, kEncodingUTF16);
  if (DebuggingEnabled) LogMessage("NewText", text);
  StyledTextAddStyleRun(text, styledText, run, alignment);
  if (text != nullptr) REALUnlockString(text);
}

// ---------------------------------------------------------------------------------------------
// Reading a text object for the exporter

namespace {

int64_t AddSaturating(int64_t a, int64_t b) {
  int64_t sum;
  if (!__builtin_add_overflow(a, b, &sum)) return sum;
  return b > 0 ? INT64_MAX : INT64_MIN;
}

// Gives each run whose middle lies in [start, end] the alignment. Middles only grow along the
// array unless a host reported a negative length: then every run is looked at.
void AlignRuns(std::vector<XojoStyleRun>& runs, bool middlesSorted, int64_t start, int64_t end, int64_t alignment) {
  auto first = runs.begin();
  if (middlesSorted) {
    first = std::lower_bound(runs.begin(), runs.end(), start,
                             [](const XojoStyleRun& run, int64_t position) { return run.middle < position; });
  }
  for (auto it = first; it != runs.end(); ++it) {
    if (it->middle >= start && it->middle <= end) {
      it->alignment = alignment;
    } else if (middlesSorted && it->middle > end) {
      break;
    }
  }
}

}  // namespace

void GetXojoStyleRunsForText(REALobjectStruct* styledText, std::vector<XojoStyleRun>& runs, bool skipParagraphs) {
  if (styledText == nullptr) return;
  const int64_t runCount = GetStyleRunCount(styledText);
  if (runCount <= 0) return;
  const int64_t paragraphCount = GetParagraphCount(styledText);
  if (paragraphCount <= 0) return;

  // Room for the runs at once; a count no host can mean is not trusted for the reservation.
  runs.reserve(runs.size() + static_cast<size_t>(std::min<int64_t>(runCount, 1 << 16)));
  int64_t position = 0;
  for (int64_t i = 0; i < runCount; ++i) {
    REALobjectStruct* object = GetStyleRun(styledText, i);
    if (object == nullptr) continue;
    REALstringStruct* font = GetFont(object);
    REALstringStruct* text = GetText(object);
    XojoStyleRun run;
    run.textColor = GetTextColor(object);
    run.bold = GetBold(object);
    run.italic = GetItalic(object);
    run.underline = GetUnderline(object);
    run.size = GetSize(object);
    run.start = position;
    run.length = GetStringLength(text);
    run.middle = AddSaturating(run.start, run.length / 2);
    position = AddSaturating(position, run.length);
    run.setFont(font);
    run.setText(text);
    if (font != nullptr) REALUnlockString(font);
    if (text != nullptr) REALUnlockString(text);
    REALUnlockObject(object);
    runs.push_back(run);
  }
  if (skipParagraphs) return;

  bool middlesSorted = true;
  for (size_t i = 1; i < runs.size() && middlesSorted; ++i) middlesSorted = runs[i - 1].middle <= runs[i].middle;
  for (int64_t i = 0; i < paragraphCount; ++i) {
    REALobjectStruct* paragraph = GetParagraph(styledText, i);
    if (paragraph == nullptr) continue;
    const int64_t start = GetStartPos(paragraph);
    const int64_t end = GetEndPos(paragraph);
    const int64_t alignment = GetAlignment(paragraph);
    REALUnlockObject(paragraph);
    AlignRuns(runs, middlesSorted, start, end, alignment);
  }
}

}  // namespace zyl
