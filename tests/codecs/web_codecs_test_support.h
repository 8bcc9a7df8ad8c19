// Helpers of the HTML, XML and URL codec tests: the registered declarations and calls that hand
// back what a string result holds.
#pragma once

#include <memhost.h>

#include <optional>
#include <string>

#include "text/text_test_support.h"

namespace webtest {

inline constexpr const char* kToHTML = "EncodingToHTMLZYL(s as string, options as integer = 0) as string";
inline constexpr const char* kFromHTML = "DecodingFromHTMLZYL(s as string) as string";
inline constexpr const char* kToXML = "EncodingToXMLZYL(s as string, options as integer = 0) as string";
inline constexpr const char* kFromXML = "DecodingFromXMLZYL(s as string) as string";
inline constexpr const char* kHTMLready = "StringIsHTMLreadyZYL(s as string) as boolean";
inline constexpr const char* kXMLready = "StringIsXMLreadyZYL(s as string) as boolean";
inline constexpr const char* kRemoveTags = "RemoveHTMLTagsZYL(AsciiTextWithTags as string) as string";
inline constexpr const char* kRemoveTagsWith =
    "RemoveHTMLTagsWithZYL(AsciiTextWithTags as string, Replacement as string) as string";
inline constexpr const char* kToURL1 = "EncodingToURLZYL(s as string) as string";
inline constexpr const char* kToURL2 = "EncodingToURLZYL(s as string, options as integer) as string";
inline constexpr const char* kFromURL1 = "DecodingFromURLZYL(s as string) as string";
inline constexpr const char* kFromURL2 = "DecodingFromURLZYL(s as string, options as integer) as string";

// What a string method must give for a text: the result's bytes, or nil (nullopt).
struct Case {
  std::string why, in;
  std::optional<std::string> out;
  int64_t options = 0;
};

// The bytes tagged with the encoding, as a result is compared; nullopt stays nullopt.
inline std::optional<memhost::StringValue> Tagged(const std::optional<std::string>& bytes, uint32_t encoding) {
  if (!bytes) return std::nullopt;
  return memhost::StringValue{*bytes, encoding};
}

using texttest::Take;

// Calls a method that returns a string and hands back the result's text as UTF-8.
template <class... A>
std::optional<std::string> CallUTF8(const char* declaration, A... args) {
  memhost::String result(memhost::Call<REALstringStruct*>(declaration, args...));
  if (result.get() == nullptr) return std::nullopt;
  return result.utf8();
}

using texttest::UTF8;

}  // namespace webtest
