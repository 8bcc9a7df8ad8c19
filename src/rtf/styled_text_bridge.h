// The StyledText bridge: the only code that talks to the host's StyledText, StyleRun and
// Paragraph objects, by property name and method declaration.
//
// Every operation takes nil objects and members the host cannot resolve: it then does nothing and
// returns zero, false or nil, and writes a log line when debugging is on. Nothing is raised. The
// method caches are plain statics: the host calls the RTF property on its main thread only.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "plugin/host_types.h"

namespace zyl {

// Host paragraph alignments used by the RTF code.
inline constexpr int64_t kAlignDefault = 0;
inline constexpr int64_t kAlignLeft = 1;
inline constexpr int64_t kAlignCentre = 2;
inline constexpr int64_t kAlignRight = 3;

// XojoStyleRun: one style run as the exporter sees it. It holds its own reference to each of its
// two strings: a copy takes one more reference on each, setFont/setText take one on the new
// string before giving back the old, and the destructor gives both back.
class XojoStyleRun {
 public:
  XojoStyleRun() = default;
  XojoStyleRun(const XojoStyleRun& other);  // also what a growing array uses
  XojoStyleRun& operator=(const XojoStyleRun&) = delete;
  ~XojoStyleRun();

  void setFont(REALstringStruct* font);  // the caller keeps its own reference
  void setText(REALstringStruct* text);
  REALstringStruct* font() const { return font_; }
  REALstringStruct* text() const { return text_; }

  bool bold = false;
  bool underline = false;
  bool italic = false;
  uint32_t textColor = 0;  // 0xRRGGBB
  int64_t size = 0;
  int64_t alignment = kAlignDefault;  // of the paragraph that holds the run
  int64_t start = 0;                  // characters before the run
  int64_t length = 0;                 // characters of the run, as "Len" counts them
  int64_t middle = 0;                 // start + length / 2: decides the run's paragraph

 private:
  REALstringStruct* font_ = nullptr;
  REALstringStruct* text_ = nullptr;
};

// Property reads. Each starts from zero, false or nil and returns what the host left there.
int64_t GetAlignment(REALobjectStruct* paragraph);
int64_t GetStartPos(REALobjectStruct* paragraph);
int64_t GetEndPos(REALobjectStruct* paragraph);
int64_t GetParagraphCount(REALobjectStruct* styledText);
int64_t GetStyleRunCount(REALobjectStruct* styledText);
int64_t GetSize(REALobjectStruct* run);
uint32_t GetTextColor(REALobjectStruct* run);
bool GetBold(REALobjectStruct* run);
bool GetItalic(REALobjectStruct* run);
bool GetUnderline(REALobjectStruct* run);
REALstringStruct* GetText(REALobjectStruct* run);  // +1 or nil
// GetFont: the run's font (+1) or nil. A name holding a zero byte is UTF-16 that arrived without
// its encoding: it comes back rebuilt from the same bytes as UTF-16.
REALstringStruct* GetFont(REALobjectStruct* run);
// Run i and paragraph i (+1), through the host's methods; nil when they cannot be had.
REALobjectStruct* GetStyleRun(REALobjectStruct* styledText, int64_t index);
REALobjectStruct* GetParagraph(REALobjectStruct* styledText, int64_t index);
// GetStringLength: characters of s as the host's "Len" counts them; 0 without "Len".
int64_t GetStringLength(REALstringStruct* s);

// Property writes on a run; a nil run does nothing. Failures are logged in debug mode only.
void StyleRunSetText(REALobjectStruct* run, REALstringStruct* text);
void StyleRunSetBold(REALobjectStruct* run, bool bold);
void StyleRunSetItalic(REALobjectStruct* run, bool italic);
void StyleRunSetUnderline(REALobjectStruct* run, bool underline);
void StyleRunSetTextColor(REALobjectStruct* run, uint32_t colour);
void StyleRunSetSize(REALobjectStruct* run, int64_t size);
// StyleRunSetFontName: writes "Font", or "FontName" when the host refuses "Font".
void StyleRunSetFontName(REALobjectStruct* run, REALstringStruct* name);

// Text-object operations.
REALobjectStruct* NewStyleRun();  // +1 or nil
void StyledTextRemoveStyleRun(REALobjectStruct* styledText, int64_t index);
void StyledTextClear(REALobjectStruct* styledText);  // removes every run, last first
void StyledTextAppendStyleRun(REALobjectStruct* styledText, REALobjectStruct* run);
void StyledTextSetParagraphAlignment(REALobjectStruct* styledText, int64_t index, int64_t alignment);

// StyledTextAddStyleRun appends *run holding `text` and gives the run back: *run is nil after
// every form, whatever happened. When the append opened paragraphs, the first new one gets the
// alignment; a negative alignment leaves paragraphs alone.
void StyledTextAddStyleRun(REALstringStruct* text, REALobjectStruct* styledText, REALobjectStruct** run,
                           int64_t alignment);
// The importer's pending bytes, turned into a string in `encoding` up to their first zero byte.
// An empty buffer appends nothing; without a run the bytes are dropped. Empties the buffer.
void StyledTextAddStyleRun(uint32_t encoding, std::string& bytes, REALobjectStruct* styledText,
                           REALobjectStruct** run, int64_t alignment);
// One UTF-16 code unit; a 0 unit appends nothing, and without a run nothing happens.
void StyledTextAddStyleRun(uint16_t unit, REALobjectStruct* styledText, REALobjectStruct** run,
                           int64_t alignment);

// GetXojoStyleRunsForText: appends the runs of the text object to `runs`, each with its position
// and, unless skipParagraphs, the alignment of the paragraph its middle lies in (a later paragraph
// wins a shared boundary). A nil object, no runs or no paragraphs appends nothing.
void GetXojoStyleRunsForText(REALobjectStruct* styledText, std::vector<XojoStyleRun>& runs, bool skipParagraphs);

// Forgets the cached host methods. Only tests call it (through ResetPluginStateForTests), since a
// new host session may hand out a new object at an old object's address.
void ResetStyledTextCaches();

}  // namespace zyl
