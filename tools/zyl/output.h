// output.h - how zyl shows results, exceptions and styled text.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <memhost.h>

#include "ffi_call.h"

namespace zyltool {

// Hex: the bytes as upper-case hex digits without separators, so that the text can be given back
// as a hex: argument ("A\xC3\xA9" gives "41C3A9").
// DecodeUTF8: the code points of strict UTF-8 (no overlong forms, no surrogates, nothing above
// U+10FFFF); nullopt when the bytes are not that.
std::optional<std::vector<uint32_t>> DecodeUTF8(std::string_view text);

std::string Hex(std::string_view bytes);

// DescribeBytes: a string's bytes with their encoding: "UTF-16, 8 bytes: café" when they are
// printable text in that encoding (shown as UTF-8; no encoding counts as text when the bytes are
// valid UTF-8), else "no encoding, 3 bytes, hex: 00FF41". With `hex` always the hex form.
std::string DescribeBytes(std::string_view bytes, uint32_t encoding, bool hex);

// DescribeResult: a result as lines of text: a string as DescribeBytes ("nil (empty string)" for
// nil), a string array as "string() with N element(s)" and one "[i] ..." line per element, a
// MemoryBlock as "MemoryBlock, N bytes, hex: ..." (or as text with `hex` false and printable
// UTF-8 bytes), integers, doubles (shortest form that reads back) and booleans plainly.
// Nothing for a method without result.
std::vector<std::string> DescribeResult(const CallValue& result, bool hex);

// WriteRawResult: the result's bytes as they are (string, MemoryBlock; array elements each
// followed by a line feed); other results as DescribeResult prints them.
void WriteRawResult(std::ostream& out, const CallValue& result);

// ReleaseResult: gives back the +1 reference a string, MemoryBlock, object or array result
// carries; other results need nothing.
void ReleaseResult(CallValue& result);

// DescribeException: "RuntimeException (ErrorNumber 7): message".
std::string DescribeException(const memhost::RaisedException& exception);

// DescribeRuns: the style runs of a StyledText, one line each:
// "run 1: UTF-8, 4 bytes: bold  [font Arial, size 12, colour #FF0000, bold]"; CR, LF and tab in
// the text show as \r, \n and \t.
std::vector<std::string> DescribeRuns(const std::vector<memhost::RunStyle>& runs);

// Count: "1 method", "3 methods".
std::string Count(std::size_t n, std::string_view one, std::string_view many);

// DisplayWidth: code points in UTF-8 text, for lining up columns.
std::size_t DisplayWidth(std::string_view text);

}  // namespace zyltool
