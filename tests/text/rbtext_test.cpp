// rbText: every source encoding in every form, the host's own bytes served without a copy,
// byte-order marks and surrogates, the error flag and the once-only log line.
#include <doctest/doctest.h>

#include <optional>

#include "plugin/log.h"
#include "support/plugin_host.h"
#include "text/text.h"
#include "text/text_test_support.h"

using memhost::String;
using texttest::Wide;

namespace {

template <typename Char, typename Unit>
std::basic_string<Char> Units(const Unit* p, int64_t length) {
  REQUIRE((p != nullptr && length >= 0));
  CHECK(p[length] == 0);  // every form carries its terminator
  return std::basic_string<Char>(p, p + length);
}
std::string Form(const char* p, int64_t n) { return Units<char>(p, n); }
std::u16string Form(const uint16_t* p, int64_t n) { return Units<char16_t>(p, n); }
std::u32string Form(const uint32_t* p, int64_t n) { return Units<char32_t>(p, n); }

// What one source must give; absent forms are not checked.
struct Expect {
  std::string why, bytes;
  uint32_t encoding;
  std::optional<std::string> utf8;
  std::optional<std::u16string> utf16;
  std::optional<std::u32string> utf32;
  std::optional<std::string> ascii;
};

void CheckForms(zyl::rbText& t, const Expect& e, bool wideFirst) {
  if (wideFirst && e.utf32) CHECK(Form(t.GetUTF32(), t.LengthUTF32()) == *e.utf32);
  if (e.utf8) CHECK(Form(t.GetUTF8(), t.LengthUTF8()) == *e.utf8);
  if (e.ascii) CHECK(Form(t.GetASCII(), t.LengthASCII()) == *e.ascii);
  if (e.utf16) CHECK(Form(t.GetUTF16(), t.LengthUTF16()) == *e.utf16);
  if (e.utf32) CHECK(Form(t.GetUTF32(), t.LengthWChar()) == *e.utf32);
}

const char* HostCString(REALstringStruct* s) {
  return reinterpret_cast<const char* (*)(REALstringStruct*)>(memhost::Resolve("StringGetCString"))(s);
}

}  // namespace

TEST_CASE("rbText serves every source encoding in every form, whatever is asked first") {
  zyltest::PluginHost host;
  const std::string u8 = "Gr\xC3\xBC\xC3\x9F" "e\xF0\x9F\x98\x80", latin1 = "Gr\xFC\xDF" "e";
  const std::u16string u16 = u"Gr\u00FC\u00DFe\U0001F600";
  const std::u32string u32 = U"Gr\u00FC\u00DFe\U0001F600";
  const Expect sources[] = {
      {"UTF-8", u8, memhost::kUTF8, u8, u16, u32, ""},
      {"UTF-16", Wide(u16), memhost::kUTF16, u8, u16, u32, ""},
      {"UTF-16 with a mark", Wide(u"\uFEFF" + u16), memhost::kUTF16, {}, u16, u32, {}},
      {"UTF-16 swapped, with a mark", Wide(u"\uFEFF" + u16, true), memhost::kUTF16, {}, u16, u32, {}},
      {"UTF-16BE", Wide(u16, true), memhost::kUTF16BE, u8, u16, u32, ""},
      {"UTF-16LE", Wide(u16), memhost::kUTF16LE, u8, u16, u32, ""},
      {"UTF-32", Wide(u32), memhost::kUTF32, u8, u16, u32, ""},
      {"UTF-32 with a mark", Wide(U"\uFEFF" + u32), memhost::kUTF32, {}, u16, u32, {}},
      {"UTF-32 swapped, with a mark", Wide(U"\uFEFF" + u32, true), memhost::kUTF32, {}, {}, u32, {}},
      {"UTF-32BE", Wide(u32, true), memhost::kUTF32BE, u8, u16, u32, ""},
      {"ISO 8859-1", latin1, memhost::kISOLatin1, "Gr\xC3\xBC\xC3\x9F" "e", u"Gr\u00FC\u00DFe", U"Gr\u00FC\u00DFe", ""},
      {"Windows-1252", "\x80uro", memhost::kWindowsLatin1, "\xE2\x82\xACuro", u"\u20ACuro", U"\u20ACuro", ""},
      {"no encoding", latin1, memhost::kNoEncoding, "Gr\xC3\xBC\xC3\x9F" "e", u"Gr\u00FC\u00DFe", U"Gr\u00FC\u00DFe", ""},
      {"no encoding, pure ASCII", "Hi\tyou", memhost::kNoEncoding, "Hi\tyou", u"Hi\tyou", U"Hi\tyou", "Hi\tyou"},
      {"ASCII", "Hello", memhost::kASCII, "Hello", u"Hello", U"Hello", "Hello"},
      {"UTF-8, pure ASCII", "Hello", memhost::kUTF8, "Hello", u"Hello", U"Hello", "Hello"},
      {"empty UTF-16", "", memhost::kUTF16, "", u"", U"", ""},
      {"empty, no encoding", "", memhost::kNoEncoding, "", u"", U"", ""},
  };
  // Also from a host whose converted data carries no terminator: every form gets its own.
  for (bool unterminated : {false, true}) {
    memhost::SetUnterminatedStringData(unterminated);
    for (const Expect& e : sources) {
      for (bool wideFirst : {false, true}) {
        CAPTURE(e.why);
        CAPTURE(unterminated);
        String s(e.bytes, e.encoding);
        zyl::rbText t(s.get());
        CheckForms(t, e, wideFirst);
        // Held while the text lives; text without an encoding through its ISO 8859-1 copy instead.
        CHECK(memhost::RefCount(s.get()) == (e.encoding == memhost::kNoEncoding && e.bytes != e.ascii ? 1 : 2));
        if (e.utf8) CHECK((t.GetUTF8Nil() == nullptr) == e.utf8->empty());
      }
    }
  }
  memhost::SetUnterminatedStringData(false);
  zyl::rbText nil(nullptr);
  CheckForms(nil, {"nil", "", 0, "", u"", U"", ""}, false);
  CHECK(nil.GetUTF8Nil() == nullptr);
}

TEST_CASE("rbText serves pure ASCII and UTF-8 text from the host's own bytes") {
  zyltest::PluginHost host;
  String inlineUTF8("Gr\xC3\xBC\xC3\x9F" "e", memhost::kUTF8, memhost::Storage::Inline);
  String longUTF8(std::string(5000, 'x') + "\xC3\xA9", memhost::kUTF8, memhost::Storage::External);
  String ascii("abc", memhost::kASCII);
  String raw("abc", memhost::kNoEncoding);
  zyl::rbText a(inlineUTF8.get()), b(longUTF8.get()), c(ascii.get()), d(raw.get());
  CHECK(a.GetUTF8() == reinterpret_cast<const char*>(inlineUTF8.get()) + memhost::kInlineOffset);
  CHECK(b.GetUTF8() == HostCString(longUTF8.get()));
  CHECK(b.LengthUTF16() == 5001);
  CHECK(c.GetASCII() == HostCString(ascii.get()));
  CHECK(c.GetUTF8() == HostCString(ascii.get()));
  CHECK(d.LengthUTF16() == 3);  // asked first: the check for pure ASCII still keeps the bytes
  CHECK(d.GetUTF8() == HostCString(raw.get()));
}

TEST_CASE("rbText wide forms: marks, surrogates, illegal and cut-off UTF-8") {
  zyltest::PluginHost host;
  struct Case {
    std::string why, bytes;
    uint32_t encoding;
    std::u16string utf16;
    std::u32string utf32;
  } cases[] = {
      {"UTF-8 marks are dropped anywhere", "a\xEF\xBB\xBF" "b\xEF\xBF\xBE" "c", memhost::kUTF8, u"abc", U"abc"},
      {"UTF-8 beyond the plane", "\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF", memhost::kUTF8, u"\xD83D\xDE00\xDBFF\xDFFF",
       U"\U0001F600\U0010FFFF"},
      {"last sequence cut short", "ab\xE2\x82", memhost::kUTF8, u"ab", U"ab"},
      {"overlong slash", "a\xC0\xAF" "b", memhost::kUTF8, u"a", U"a"},
      {"encoded surrogate", "a\xED\xA0\x80" "b", memhost::kUTF8, u"a", U"a"},
      {"beyond U+10FFFF", "\xF4\x90\x80\x80", memhost::kUTF8, u"", U""},
      {"stray continuation", "ok\x80!", memhost::kUTF8, u"ok", U"ok"},
      {"UTF-16 pair", Wide(u"\xD83D\xDE00"), memhost::kUTF16, u"\xD83D\xDE00", U"\U0001F600"},
      {"lone low surrogate swallows the next unit", Wide(u"A\xDC00" u"BC"), memhost::kUTF16, u"A\xDC00" u"BC", U"AC"},
      {"high surrogate without a low one: both go", Wide(u"\xD800" u"BC"), memhost::kUTF16, u"\xD800" u"BC", U"C"},
      {"a surrogate as the last unit stays", Wide(u"A\xD800"), memhost::kUTF16, u"A\xD800", U"A\xD800"},
      {"mark, then swapped mark: both skipped", Wide(u"\xFEFF\xFFFE" u"A"), memhost::kUTF16, u"A", U"A"},
      {"a mark inside UTF-16 is text", Wide(u"\xFEFF" u"A\xFEFF"), memhost::kUTF16, u"A\xFEFF", U"A\xFEFF"},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    String s(c.bytes, c.encoding);
    zyl::rbText t(s.get());
    CHECK(Form(t.GetUTF16(), t.LengthUTF16()) == c.utf16);
    CHECK(Form(t.GetUTF32(), t.LengthUTF32()) == c.utf32);
    if (c.encoding == memhost::kUTF8) CHECK(Form(t.GetUTF8(), t.LengthUTF8()) == c.bytes);
  }
}

TEST_CASE("rbText: the error flag, and the once-only line of text without an encoding") {
  zyltest::PluginHost host;
  zyltest::CapturedLog log(true);
  const std::string viaUTF16 = "Try UTF16 to UTF32 conversion...";
  String latin1("caf\xE9", memhost::kISOLatin1);
  {
    zyl::rbText t(latin1.get());
    CHECK(Form(t.GetUTF32(), t.LengthUTF32()) == U"caf\u00E9");  // the host's own UTF-32
  }
  CHECK(log.Count(viaUTF16) == 0);
  {
    zyl::rbText t(latin1.get());
    CHECK(t.LengthASCII() == 0);  // no ASCII form of é: the host call fails and flags the text
    CHECK(Form(t.GetUTF32(), t.LengthUTF32()) == U"caf\u00E9");
  }
  CHECK(log.Count("REALGetStringData failed.") == 1);
  CHECK(log.Count(viaUTF16) == 1);

  zyl::ResetTextLogLatchForTests();
  String a("\xE9", memhost::kNoEncoding), b("x\xFF", memhost::kNoEncoding);
  for (REALstringStruct* s : {a.get(), b.get()}) {
    zyl::rbText t(s);
    CHECK(Form(t.GetUTF32(), t.LengthUTF32()).back() == (s == a.get() ? U'\u00E9' : U'\u00FF'));
  }
  CHECK(log.Count("REALBuildUnicodeString failed") == 1);
  CHECK(log.Count(viaUTF16) == 3);
}

TEST_CASE("LogMessage with a host string writes the handle and the text") {
  zyltest::PluginHost host;
  zyltest::CapturedLog log;
  String s(Wide(u"h\u00E9"), memhost::kUTF16);
  zyl::LogMessage("Value", s.get());
  zyl::LogMessage("Nil", static_cast<REALstringStruct*>(nullptr));
  char value[128], nil[64];
  snprintf(value, sizeof value, "ZYL Debug: Value %p: h\xC3\xA9", static_cast<void*>(s.get()));
  snprintf(nil, sizeof nil, "ZYL Debug: Nil %p: ", static_cast<void*>(nullptr));
  CHECK(log.Lines() == std::vector<std::string>{value, nil});
}

TEST_CASE("rbText copies host data that lacks its terminator, and says so when debugging") {
  zyltest::PluginHost host;
  memhost::SetUnterminatedStringData(true);
  zyltest::CapturedLog log(true);
  String latin1("\xE9t\xE9", memhost::kISOLatin1);
  zyl::rbText t(latin1.get());
  CHECK(Form(t.GetUTF8(), t.LengthUTF8()) == "\xC3\xA9t\xC3\xA9");
  CHECK(Form(t.GetUTF16(), t.LengthUTF16()) == u"\u00E9t\u00E9");
  CHECK(log.Count("String is not zero terminated. Fixed.") == 2);
  String empty("", memhost::kUTF16);
  zyl::rbText none(empty.get());
  CHECK(Form(none.GetUTF8(), none.LengthUTF8()).empty());  // an empty answer needs no copy
  CHECK(log.Count("String is not zero terminated. Fixed.") == 2);
  memhost::SetUnterminatedStringData(false);
}
