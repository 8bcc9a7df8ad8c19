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

// EncodingToQuotedPrintable2: "EncodingToQuotedPrintableZYL(s as string, LineLen as integer = 72)
// as string". The bytes of s (encoding ignored) as quoted-printable, lines cut by soft breaks
// ("=" CR LF) before they reach LineLen - 1 characters; hard breaks (CR, LF, CR LF, LF CR) become
// CR LF. "=", control bytes, DEL and bytes of 128 or more become "=XX"; a space or tab before a
// line break is encoded, one at the very end is not. If a hard break was met and the last line
// is not empty, "=" CR LF ends the text. LineLen of 1 or less means 72; above 2^31 - 1 counts
// as 2^31 - 1. ASCII; nil for nil or empty. "a=b" gives "a=3Db"; "a" CR gives "a" CR LF.
REALstringStruct* EncodingToQuotedPrintable2(REALstringStruct* s, int64_t LineLen);

// DecodingToQuotedPrintable: "DecodingFromQuotedPrintableZYL(s as string) as string". "=XX" (hex
// digits of either case) becomes its byte, "=" before a line end (after optional spaces and
// tabs) is a soft break, every line break becomes LF, other bytes stay. Malformed escapes are
// never an error: an invalid high digit counts as -1, so "=G1" gives the byte F1, and "=4" or an
// "=" at the end write nothing. Zero bytes survive. ASCII; nil for nil or empty.
// "a=3Db=" CR LF "c" gives "a=bc".
REALstringStruct* DecodingToQuotedPrintable(REALstringStruct* s);

// EncodeEmailSubjectZYL: "EncodeEmailSubjectZYL(s as string) as string". When the UTF-8 form of
// s holds a control byte (1-31), that form as one "=?utf-8?Q?...?=" word: "=", "_" and bytes of
// 128 or more as "=XX", a space as "_", every other byte as it is; no folding. ASCII. Otherwise
// s itself (one more reference): plain and non-ASCII text alone is left alone, on purpose. Nil
// for nil. "a b" TAB gives "=?utf-8?Q?a_b" TAB "?="; "Grüße" comes back unchanged.
REALstringStruct* EncodeEmailSubjectZYL(REALstringStruct* s);

// ---------------------------------------------------------------------------------------------
// Hex, hex dump, yEnc and Unicode markers.

// EncodingToHex: "EncodingToHexZYL(s as string) as string". Each byte of s as two upper-case
// hex digits, high nibble first; ASCII. Nil for nil or empty, and when the result would pass
// the host's string length. "Az" gives "417A".
REALstringStruct* EncodingToHex(REALstringStruct* s);

// DecodingToHex: "DecodingFromHexZYL(s as string) as string". The ASCII form of s read as pairs of
// hex digits (either case); any other character counts as 0 and an odd last character is
// ignored. No encoding (ASCII when every byte is). Nil for fewer than two characters.
// "417a" gives "Az"; "41G" gives "A"; "GG" gives the byte 00.
REALstringStruct* DecodingToHex(REALstringStruct* s);

// Hexstring: "HexstringZYL(input as string, hexlen as integer, linelen as integer, linestart as
// string, lineend as string, spacer as string,filler as string) as string". A hex dump of the
// bytes of input: lines of linestart, linelen groups of hexlen upper-case digits separated by
// spacer, then lineend; the last line is padded with the filler's bytes repeated ("0" when the
// filler is nil or empty). ASCII. Nil for nil or empty input, hexlen or linelen of 0 or less,
// and a dump longer than the host's string length. Bytes 01 02 03 04 05 with 2, 4, "", LF, " ",
// "" give "01 02 03 04" LF "05 00 00 00" LF.
REALstringStruct* Hexstring(REALstringStruct* input, int64_t hexlen, int64_t linelen, REALstringStruct* linestart,
                            REALstringStruct* lineend, REALstringStruct* spacer, REALstringStruct* filler);

// yDecodeZYLs / yDecodeZYLm: "_yDecodeStringZYL(data as string) as string" and
// "_yDecodeMemoryZYL(data as memoryblock) as memoryblock". yEnc data decoded: each byte minus 42
// (mod 256), an "=" and the byte after it as that byte minus 106. Line breaks and header lines
// are not recognised: pass the encoded data alone. An "=" as the last byte pairs with 0 (gives
// 0x96). A string without encoding (ASCII when every byte is) or a new memory block; nil for
// nil or empty. "k" gives 0x41; "=" 0x7D gives 0x13.
REALstringStruct* yDecodeZYLs(REALstringStruct* data);
REALmemoryBlockStruct* yDecodeZYLm(REALmemoryBlockStruct* data);

// DetectUnicodeMarkers: "DetectUnicodeMarkersZYL(s as string) as integer". The byte-order mark
// the bytes of s start with: 1 UTF-8 (EF BB BF), 3 UTF-16 big-endian (FE FF), 4 UTF-16
// little-endian (FF FE), 6 UTF-32 big-endian (00 00 FE FF), 7 UTF-32 little-endian
// (FF FE 00 00, which wins over 4), 0 for none, nil or fewer than two bytes.
// EF BB BF 41 gives 1; EF BB gives 0.
int64_t DetectUnicodeMarkers(REALstringStruct* s);

// GetUnicodeMarkers: "GetUnicodeMarkersZYL(kind as integer) as string". The mark of kind 1-7
// (kinds as above, plus 2 UTF-16 and 5 UTF-32 in host order) built as UTF-8, UTF-16 or UTF-32
// text; current hosts hand the wide ones back converted to UTF-8 (EF BB BF, or EF BF BE for kind
// 3, or what the host makes of 0xFFFE0000 for kind 6). Nil for any other kind.
REALstringStruct* GetUnicodeMarkers(int64_t kind);

}  // namespace zyl
