// "RemoveHTMLTagsZYL" and "RemoveHTMLTagsWithZYL" (depth, quotes, a replacement per dropped
// byte, where the result ends) and the byte tests behind "StringIsHTMLreadyZYL" and
// "StringIsXMLreadyZYL", as the host calls them.
#include <doctest/doctest.h>

#include "codecs/web_codecs_test_support.h"
#include "support/plugin_host.h"

using memhost::String;
using namespace webtest;
using namespace std::string_literals;

namespace {

// The tag remover's result (nullopt for nil); a nil replacement calls the one-argument form too
// and checks that both agree.
std::optional<std::string> Remove(const std::string& text, const std::optional<std::string>& with) {
  String s(text, memhost::kUTF8);
  if (!with) {
    const auto one = Take(memhost::Call<REALstringStruct*>(kRemoveTags, s.get()));
    const auto two =
        Take(memhost::Call<REALstringStruct*>(kRemoveTagsWith, s.get(), static_cast<REALstringStruct*>(nullptr)));
    CHECK(one == two);
    if (one) CHECK(one->encoding == memhost::kUTF8);
    return one ? std::optional(one->bytes) : std::nullopt;
  }
  String replacement(*with, memhost::kUTF8);
  const auto result = Take(memhost::Call<REALstringStruct*>(kRemoveTagsWith, s.get(), replacement.get()));
  if (result) CHECK(result->encoding == memhost::kUTF8);
  return result ? std::optional(result->bytes) : std::nullopt;
}

}  // namespace

TEST_CASE("RemoveHTMLTagsZYL: tags, nesting, quotes and stray brackets") {
  zyltest::PluginHost host;
  struct Case {
    std::string why, in;
    std::optional<std::string> with, out;
  } cases[] = {
      {"one tag per byte of it", "a<b>c", "-", "a-c"},
      {"self-closing tag", "a<br/>c", "-", "a---c"},
      {"nil replacement", "a<br/>c", std::nullopt, "ac"},
      {"empty replacement", "a<br/>c", "", "ac"},
      {"closing tag", "<p>x</p>", std::nullopt, "x"},
      {"< and a space is text", "x < y", std::nullopt, "x < y"},
      {"< and a digit is text", "1<2>", std::nullopt, "1<2"},
      {"< and a non-ASCII letter is text", "<\xC3\xA9>", std::nullopt, "<\xC3\xA9"},
      {"< at the very end", "a<", std::nullopt, "a<"},
      {"</ at the very end opens a tag", "a</", std::nullopt, "a"},
      {"stray > dropped", "a > b", std::nullopt, "a  b"},
      {"quoted > stays inside the tag", "<a href=\"x>y\">t</a>", std::nullopt, "t"},
      {"quoted bytes get no replacement", "<a x=\"yz\">", "-", "----"},
      {"quotes are text outside tags", "say \"hi\" <i>", std::nullopt, "say \"hi\" "},
      {"an open quote hides the rest", "<a \"b>c", std::nullopt, std::nullopt},
      {"nested tags", "<a <b>>x", "+", "+++x"},
      {"upper-case tags", "<B>bold</B>", std::nullopt, "bold"},
      {"tags only", "<b></b>", std::nullopt, std::nullopt},
      {"empty", "", "-", std::nullopt},
      {"the result ends at its first zero byte", "ab\0cd<i>"s, std::nullopt, "ab"},
      {"a zero byte inside a tag is dropped", "<a\0b>cd"s, "-", "---cd"},
      {"the replacement ends at its first zero byte", "<ab>c", "-\0+"s, "--c"},
      {"a multi-byte replacement for each byte", "<ab>c", "\xE2\x80\xA2", "\xE2\x80\xA2\xE2\x80\xA2" "c"},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    CHECK(Remove(c.in, c.with) == c.out);
  }
  CHECK(memhost::Call<REALstringStruct*>(kRemoveTags, static_cast<REALstringStruct*>(nullptr)) == nullptr);
}

TEST_CASE("RemoveHTMLTagsWithZYL reads both strings as UTF-8 and grows past its reservation") {
  zyltest::PluginHost host;
  String text(texttest::Wide(u"\u00E9<b>x</b>"), memhost::kUTF16);
  String dot(texttest::Wide(u"\u00B7"), memhost::kUTF16);
  CHECK(Take(memhost::Call<REALstringStruct*>(kRemoveTagsWith, text.get(), dot.get()))->bytes ==
        "\xC3\xA9\xC2\xB7x\xC2\xB7\xC2\xB7");

  // Each of the 10000 bytes of the tag becomes 100 bytes: far beyond length + 10.
  const std::string hundred(100, '#');
  CHECK(Remove("a<" + std::string(10000, 'b') + ">z", hundred) == "a" + std::string(1000000, '#') + "z");

  // 2048 dropped bytes of a 1 MiB replacement pass 0x7FFFFFFF bytes: nil, before any is written.
  const std::string mebibyte(1 << 20, '#');
  CHECK(Remove("a<" + std::string(2048, 'b') + ">z", mebibyte) == std::nullopt);
}

TEST_CASE("StringIsHTMLreadyZYL and StringIsXMLreadyZYL: the same byte test") {
  zyltest::PluginHost host;
  const auto ready = [](REALstringStruct* s) {
    const bool html = memhost::Call<int8_t>(kHTMLready, s) != 0;
    CHECK(html == (memhost::Call<int8_t>(kXMLready, s) != 0));
    return html;
  };
  CHECK(ready(nullptr));

  struct Case {
    std::string why, in;
    uint32_t encoding;
    bool ready;
  } cases[] = {
      {"empty", "", memhost::kASCII, true},
      {"ASCII", "plain text", memhost::kASCII, true},
      {"Windows-1252", "plain text", memhost::kWindowsLatin1, true},
      {"Mac Roman", "plain text", memhost::kMacRoman, true},
      {"ISO 8859-1 is not one of the four", "plain text", memhost::kISOLatin1, false},
      {"no encoding is not one either", "plain text", memhost::kNoEncoding, false},
      {"UTF-16, whatever it holds", texttest::Wide(u"plain"), memhost::kUTF16, false},
      {"zero byte", "a\0b"s, memhost::kASCII, false},
      {"controls are fine", "a\x01\x1F\x7F", memhost::kASCII, true},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    String s(c.in, c.encoding);
    CHECK(ready(s.get()) == c.ready);
  }
  for (int b = 0; b < 256; ++b) {
    CAPTURE(b);
    String s("x"s + static_cast<char>(b), memhost::kUTF8);  // the bytes are not checked as UTF-8
    const bool markup = b == '"' || b == '&' || b == '\'' || b == '<' || b == '>';
    CHECK(ready(s.get()) == (b != 0 && b < 128 && !markup));
  }
}
