// Encoders and decoders for the web and mail: HTML and XML character references, URL
// percent-encoding, quoted-printable and mail subjects, hexadecimal, hex dumps, yEnc and Unicode
// byte-order marks. What the method table registers.
#pragma once

#include <cstdint>

#include "plugin/host_types.h"

namespace zyl {

// ---------------------------------------------------------------------------------------------
// HTML and XML entities.

// "EncodingToHTMLZYL(s as string, options as integer = 0) as string": s with the markup
// characters " & < > written as "&quot;" "&amp;" "&lt;" "&gt;", ' as "&#39;", every other
// character above U+007F as its named entity or "&#<decimal>;", and control characters below 32
// other than tab, LF and CR dropped; an ASCII string. (options and 1) keeps the five markup
// characters as they are. A string that needs none of this comes back itself (one more
// reference). Nil or empty: nil. "Tom & Jerry's" gives "Tom &amp; Jerry&#39;s", "é" "&eacute;".
REALstringStruct* EncodingToHTML(REALstringStruct* s, int64_t options);
// "EncodingToXMLZYL(s as string, options as integer = 0) as string": the same for XML: only the
// five markup characters become references (' as "&#39;", or "&apos;" when (options and 1) is
// set); other characters stay, control characters below 32 other than tab, LF and CR are
// dropped. Built from UTF-32. Nil or empty: nil. "a<b" gives "a&lt;b"; "é" comes back itself.
REALstringStruct* EncodingToXML(REALstringStruct* s, int64_t options);
// "DecodingFromHTMLZYL" and "DecodingFromXMLZYL" (s as string) as string: named references of
// the HTML table, "&#<decimal>;" and "&#x<hex>;" back to characters; malformed references stay
// as they are. A name matches the first table row it is a prefix of, on purpose ("&l;" gives
// "<"), and the ";" may be missing at the very end. Built from UTF-32. Nil or empty: nil.
// "&lt;&#60;&#x3C;" gives "<<<"; "&#0;" stays.
REALstringStruct* DecodingToHTML(REALstringStruct* s);
// "StringIsHTMLreadyZYL" / "StringIsXMLreadyZYL" (s as string) as boolean, the same test: true
// when s is in ASCII, UTF-8, Windows-1252 or Mac Roman and has no markup character, no zero byte
// and no byte above 127. Nil and empty strings are ready; any other encoding is not.
int8_t StringIsHTMLready(REALstringStruct* s);
int8_t StringIsXMLready(REALstringStruct* s);
// "RemoveHTMLTagsWithZYL(AsciiTextWithTags as string, Replacement as string) as string": the
// UTF-8 text of s without its tags: "<" followed by "/" or a letter opens a tag (nested ones
// count), ">" closes one and is dropped everywhere, a double-quoted value inside a tag hides
// its ">". Each other byte dropped inside a tag is replaced by the whole replacement (nil: by
// nothing). The result ends at its first zero byte; empty or above 0x7FFFFFFF bytes: nil.
// "a<br/>c" with "-" gives "a---c"; "x < y" stays.
REALstringStruct* RemoveHTMLTagsWith(REALstringStruct* s, REALstringStruct* replacement);
// "RemoveHTMLTagsZYL(AsciiTextWithTags as string) as string": RemoveHTMLTagsWith(s, nil).
REALstringStruct* RemoveHTMLTags(REALstringStruct* s);

// ---------------------------------------------------------------------------------------------
// URL encoding.

// "EncodingToURLZYL(s as string[, options as integer]) as string": every byte of s (its
// encoding ignored) as "%XX" with upper-case digits, except letters, digits and ! * + - . @ _ ~;
// an ASCII string. Options change nothing. Nil or empty: nil. "a b/é" in UTF-8 gives
// "a%20b%2F%C3%A9".
REALstringStruct* EncodingToURL1(REALstringStruct* s);
REALstringStruct* EncodingToURL2(REALstringStruct* s, int64_t options);
// "DecodingFromURLZYL(s as string[, options as integer]) as string": "%" and the two bytes after
// it as one byte, a byte that is not a hex digit counting as 0 (also where the end cuts the
// escape short); (options and 1) turns "+" into a space. No encoding. Nil or empty: nil.
// "%41%4a" gives "AJ", "100%" gives "100" and a zero byte.
REALstringStruct* DecodingToURL1(REALstringStruct* s);
REALstringStruct* DecodingToURL2(REALstringStruct* s, int64_t options);

// ---------------------------------------------------------------------------------------------
// Quoted-printable and mail subject.

// ---------------------------------------------------------------------------------------------
// Hex, hex dump, yEnc and Unicode markers.

}  // namespace zyl
