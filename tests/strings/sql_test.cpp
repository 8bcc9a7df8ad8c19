// The SQL helpers: "SQLReplaceBooleanZYL" and "DecodingFromMySQLZYL".
#include <doctest/doctest.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "support/plugin_host.h"
#include "text/text_test_support.h"

using memhost::String;
using namespace std::string_literals;

namespace {

constexpr const char* kReplaceBoolean = "SQLReplaceBooleanZYL(SQL as string) as string";
constexpr const char* kFromMySQL = "DecodingFromMySQLZYL(s as string) as string";

memhost::StringValue Call1(const char* declaration, REALstringStruct* s) {
  String result(memhost::Call<REALstringStruct*>(declaration, s));
  return memhost::Value(result.get());
}

memhost::StringValue Call1(const char* declaration, const std::string& bytes, uint32_t encoding) {
  String s(bytes, encoding);
  return Call1(declaration, s.get());
}

}  // namespace

TEST_CASE("SQLReplaceBooleanZYL rewrites TRUE and FALSE outside quotes, with its six-byte rule") {
  zyltest::PluginHost host;
  struct Case {
    const char* why;
    std::string in, out;
  } cases[] = {
      {"both keywords, any case", "SELECT * FROM t WHERE a = true AND b = FALSE ORDER BY c",
       "SELECT * FROM t WHERE a = 1 AND b = 0 ORDER BY c"},
      {"single quotes", "x = 'TRUE' ", "x = 'TRUE' "},
      {"double quotes", "x = \"false\" ", "x = \"false\" "},
      {"after the quotes close", "x = 'a' OR TRUE ;", "x = 'a' OR 1 ;"},
      {"a single quote inside double quotes is ordinary", "\"it's\" TRUE ;", "\"it's\" 1 ;"},
      {"a double quote inside single quotes is ordinary", "'say \"' TRUE ;", "'say \"' 1 ;"},
      {"no separator before", "a=TRUE AND b", "a=TRUE AND b"},
      {"no separator after", "TRUEly FALSEHOOD x", "TRUEly FALSEHOOD x"},
      {"= is no separator", "WHERE (flag=FALSE)", "WHERE (flag=FALSE)"},
      {"brackets and commas are", "WHERE flag IN (TRUE, FALSE) ;", "WHERE flag IN (1, 0) ;"},
      {"at the start", "TrUe OR x", "1 OR x"},
      {"a closing TRUE stays", "a = TRUE", "a = TRUE"},
      {"TRUE needs two bytes after it", "a = TRUE;", "a = TRUE;"},
      {"... and gets them", "a = TRUE; ", "a = 1; "},
      {"FALSE needs one", "a = FALSE;", "a = 0;"},
      {"a closing FALSE stays", "a = FALSE", "a = FALSE"},
      {"controls separate", "a\tTRUE\n\n", "a\t1\n\n"},
      {"comments are not recognised", "-- TRUE \n", "-- 1 \n"},
      {"high bytes are copied", "\xC3\xA9 FALSE \xC3\xA9", "\xC3\xA9 0 \xC3\xA9"},
      {"clearing bit 0x20 folds no high or control byte", "\xD4RUE  \x14RUE  ", "\xD4RUE  \x14RUE  "},
      {"the result ends at a zero byte", "a TRUE x\0 TRUE x"s, "a 1 x"},
      {"the zero byte still counts as text after TRUE", "TRUE\0xy"s, "1"},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    CHECK(Call1(kReplaceBoolean, c.in, memhost::kUTF8) == memhost::StringValue{c.out, memhost::kUTF8});
  }
  CHECK(Call1(kReplaceBoolean, texttest::Wide(u"x = true \u00E9"), memhost::kUTF16) ==
        memhost::StringValue{"x = 1 \xC3\xA9", memhost::kUTF8});
  CHECK(Call1(kReplaceBoolean, "", memhost::kUTF8) == memhost::StringValue{});
  CHECK(Call1(kReplaceBoolean, "\0TRUE "s, memhost::kUTF8) == memhost::StringValue{});
  CHECK(Call1(kReplaceBoolean, nullptr) == memhost::StringValue{});
}

TEST_CASE("DecodingFromMySQLZYL undoes MySQL's escapes and keeps every other backslash") {
  zyltest::PluginHost host;
  struct Case {
    const char* why;
    std::string in, out;
  } cases[] = {
      {"quote and line feed", "It\\'s\\n", "It's\n"},
      {"an unknown escape stays", "\\q", "\\q"},
      {"every escape", "\\\\\\n\\r\\t\\b\\0\\Z\\'\\\"\\%\\_", "\\\n\r\t\b\0\x1A'\"%_"s},
      {"escapes are case-sensitive", "\\z\\N", "\\z\\N"},
      {"a trailing lone backslash is copied", "ab\\", "ab\\"},
      {"only a backslash", "\\", "\\"},
      {"an escaped backslash before a letter", "\\\\n", "\\n"},
      {"an unknown escape consumes its byte", "\\x\\n", "\\x\n"},
      {"high and zero bytes pass", "\xFF\0\\\xFF"s, "\xFF\0\\\xFF"s},
      {"a lone \\0", "\\0", "\0"s},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    const memhost::StringValue result = Call1(kFromMySQL, c.in, memhost::kUTF8);
    CHECK(result.bytes == c.out);
    // No encoding; the host tags pure ASCII as ASCII.
    const bool ascii = std::all_of(c.out.begin(), c.out.end(), [](char b) { return static_cast<uint8_t>(b) < 0x80; });
    CHECK(result.encoding == (ascii ? memhost::kASCII : memhost::kNoEncoding));
  }
  // Bytes, not text: in UTF-16 the backslash is followed by a zero byte.
  CHECK(Call1(kFromMySQL, texttest::Wide(u"\\n"), memhost::kUTF16).bytes == texttest::Wide(u"\\n"));
  CHECK(Call1(kFromMySQL, "", memhost::kUTF8) == memhost::StringValue{});
  CHECK(Call1(kFromMySQL, nullptr) == memhost::StringValue{});
}
