// The string functions: byte search and comparison, line endings, SQL helpers, construction and
// bitwise operations, similarity measures. What the method table registers.
#pragma once

#include <cstdint>

#include "plugin/host_types.h"

namespace zyl {

// ---------------------------------------------------------------------------------------------
// Byte search and comparison.
//
// The byte functions read the raw bytes of their strings and ignore the encodings; HasPrefixZYL,
// HasPostfixZYL, ContainsWholeWordZYL and StrCompCharsZYL (for differing encodings) compare the
// UTF-8 forms. Positions are 1-based, 0 is "not found". Zero bytes are ordinary bytes throughout.

// IsWordChar: true for the ASCII letters only; digits, the underscore, controls and every byte
// of 128 and above are no word characters. IsWordChar('q') is true, IsWordChar('_') false.
bool IsWordChar(int c);

// "InStrBytesZYL(target, find) as integer": the 1-based position of the first byte of target
// that occurs anywhere in find (find is a set of bytes, a zero byte included). Nil or empty
// target or find: 0. InStrBytesZYL("hello", "lo") is 3.
int64_t InStrBytesZYL(REALstringStruct* target, REALstringStruct* find);

// "InStrByteRangeZYL(target, StartValue, EndValue[, StartValue2, EndValue2[, StartValue3,
// EndValue3]]) as integer": the 1-based position of the first byte b of target with
// StartValue <= b <= EndValue for one of the ranges. A range whose start is above its end
// matches nothing; bounds outside 0-255 are compared as they are. Nil or empty target, no
// match: 0. InStrByteRangeZYL("abc1", 48, 57) is 4.
int64_t InStrByteRange1ZYL(REALstringStruct* target, int64_t start1, int64_t end1);
int64_t InStrByteRange2ZYL(REALstringStruct* target, int64_t start1, int64_t end1, int64_t start2, int64_t end2);
int64_t InStrByteRange3ZYL(REALstringStruct* target, int64_t start1, int64_t end1, int64_t start2, int64_t end2,
                           int64_t start3, int64_t end3);
// The same with a "find" string whose bytes also match: InStrByteRangeZYL("xyz!", "!", 97, 98)
// is 4. A nil find adds nothing.
int64_t InStrByteRange1BZYL(REALstringStruct* target, REALstringStruct* find, int64_t start1, int64_t end1);
int64_t InStrByteRange2BZYL(REALstringStruct* target, REALstringStruct* find, int64_t start1, int64_t end1,
                            int64_t start2, int64_t end2);
int64_t InStrByteRange3BZYL(REALstringStruct* target, REALstringStruct* find, int64_t start1, int64_t end1,
                            int64_t start2, int64_t end2, int64_t start3, int64_t end3);

// "HasPrefixZYL(Text, Prefix) as boolean" / "HasPostfixZYL(Text, Prefix) as boolean": whether
// the UTF-8 form of Text starts (ends) with the UTF-8 form of Prefix, byte for byte and
// case-sensitive. Nil Text or nil Prefix: false; an empty Prefix: true.
// HasPostfixZYL("file.txt", ".txt") is true, HasPrefixZYL("ab", "abc") false.
int8_t HasPrefixZYL(REALstringStruct* text, REALstringStruct* prefix);
int8_t HasPostfixZYL(REALstringStruct* text, REALstringStruct* prefix);

// "StrCompBytesZYL(a, b) as integer": -1, 0 or 1 by the first differing byte (unsigned), each
// string read as its bytes followed by zero bytes, so "abc" < "abcd" and "x" equals "x" plus
// trailing zero bytes, on purpose. Nil a: -1 (also when both are nil); else nil b: 1.
int64_t StrCompBytesZYL(REALstringStruct* a, REALstringStruct* b);

// "StrCompCharactersZYL(a, b) as integer": as StrCompBytesZYL on the bytes when both strings
// carry the same encoding (then a nil on either side gives -1); on the UTF-8 forms when the
// encodings differ. The same text in UTF-8 and in UTF-16 compares equal (0).
int64_t StrCompCharsZYL(REALstringStruct* a, REALstringStruct* b);

// "CountOccurancesZYL(s, find) as integer": how often the bytes of find occur in s, counted left
// to right without overlaps ("aaaa" holds "aa" twice). Nil or empty s or find, or a find longer
// than s: 0. Logs "ReplaceCount" with the count when debugging.
int64_t CountOccurancesZYL(REALstringStruct* s, REALstringStruct* find);

// "ContainsWholeWordZYL(Text, Word) as boolean": whether Word occurs in Text (UTF-8 forms,
// ASCII letters folded, every other byte exact) with no ASCII letter right before or right
// after it. After a hit that is no whole word the search goes on behind that hit, so a hit that
// overlaps it is not seen, on purpose. Nil Text or Word, an empty Word, a Word longer than
// Text: false. ContainsWholeWordZYL("a1world", "WORLD") is true, ("Helloworld", "world") false.
int8_t ContainsWholeWordZYL(REALstringStruct* text, REALstringStruct* word);

// ---------------------------------------------------------------------------------------------
// Line endings.

// "ReplaceLineEndingsZYL(Text, NewLine, yield = false) as String": Text with every line ending
// (CR LF, LF CR, a lone CR, a lone LF; CR CR LF is two) replaced by NewLine. Text in UTF-16 or
// UTF-32 (either byte order) is read as UTF-8 and comes back in UTF-8; any other text keeps its
// encoding and bytes, with NewLine converted to that encoding (a NewLine the host cannot convert
// counts as empty). With yield the host may run its other threads about once per 16 MiB.
// Nil Text, an empty result or one above 0x7FFFFFFF bytes: nil.
// ("a\r\nb\rc", "\n") gives "a\nb\nc"; an empty NewLine removes every ending.
REALstringStruct* ReplaceLineEndingsZYL(REALstringStruct* text, REALstringStruct* newLine, int8_t yield);

// ---------------------------------------------------------------------------------------------
// SQL helpers.

// "SQLReplaceBooleanZYL(SQL) as string": the UTF-8 form of SQL with the words TRUE and FALSE (any
// case) outside quotes written as 1 and 0. A word counts only right after a separator (bytes 0
// to 32 and ( ) , ;) and before one, and only when at least six bytes of text remain from its
// first byte, on purpose: a TRUE or FALSE that closes the text stays. Comments are not
// recognised. The result is UTF-8 and ends before the first zero byte. Nil or empty: nil.
// "a = true AND (b, FALSE) ;" gives "a = 1 AND (b, 0) ;"; "x = 'TRUE'" stays.
REALstringStruct* SQLReplaceBooleanZYL(REALstringStruct* sql);

// "DecodingFromMySQLZYL(s) as string": the bytes of s with MySQL's backslash escapes undone
// (\\ \n \r \t \b \0 \Z \' \" \% \_); any other backslash pair, and a trailing lone
// backslash, are kept as they are. No encoding. Nil or empty: nil.
// The bytes It\'s\n give It's and a line feed; \q stays \q.
REALstringStruct* DecodingFromMySQL(REALstringStruct* s);

// ---------------------------------------------------------------------------------------------
// Construction and bitwise operations.
//
// Byte functions: the encodings of the arguments are ignored (except where said) and results
// with no encoding come back tagged ASCII when every byte is below 128, as the builder does.
// Every empty result, and every result above 0x7FFFFFFF bytes, is nil.

// "ConcatBinaryStringsZYL(a as string, b as string[, c ... f]) as string": the bytes of the
// arguments one after the other, nil arguments counting as empty, with no encoding; nil when
// memory is short. ("ab", nil, "c") gives "abc". The five overloads call the six-argument core.
REALstringStruct* ConcatBinaryStringsZYL(REALstringStruct* a, REALstringStruct* b, REALstringStruct* c,
                                         REALstringStruct* d, REALstringStruct* e, REALstringStruct* f);
REALstringStruct* ConcatBinaryStringsZYL2(REALstringStruct* a, REALstringStruct* b);
REALstringStruct* ConcatBinaryStringsZYL3(REALstringStruct* a, REALstringStruct* b, REALstringStruct* c);
REALstringStruct* ConcatBinaryStringsZYL4(REALstringStruct* a, REALstringStruct* b, REALstringStruct* c,
                                          REALstringStruct* d);
REALstringStruct* ConcatBinaryStringsZYL5(REALstringStruct* a, REALstringStruct* b, REALstringStruct* c,
                                          REALstringStruct* d, REALstringStruct* e);
REALstringStruct* ConcatBinaryStringsZYL6(REALstringStruct* a, REALstringStruct* b, REALstringStruct* c,
                                          REALstringStruct* d, REALstringStruct* e, REALstringStruct* f);

// "ReplaceNonPrintableCharactersZYL(s as string, replacevalue as integer=46) as string": every
// byte below 32 or above 127 replaced by the low 8 bits of replacevalue, the rest (127 too)
// kept, tagged ASCII whatever the replacement. Nil or empty s: nil. Tab and UTF-8 "é" give "...".
REALstringStruct* ReplaceNonPrintableCharactersZYL(REALstringStruct* s, int64_t replacevalue);

// "CreateStringZYL(Length as integer, Content as String) as string": Length bytes of Content
// repeated (the last copy cut), in Content's encoding; an empty or nil Content gives Length zero
// bytes (no encoding for nil). Length below 1: nil. Length above 0x7FFFFFFF, or memory short:
// raises "OutOfMemoryException" "Failed to allocate memory." and gives nil. (5, "ab"): "ababa".
REALstringStruct* CreateStringZYL(int64_t length, REALstringStruct* content);

// "StrZYL(d as double) as string": d in fixed notation with about 15 significant digits, ASCII.
// The trimming is deliberate and visible: a run of trailing zeros keeps one zero and a run of
// equal last characters keeps one, so 1.5 gives "1.50", 0.3 "0.29", 1/3 "0.3", 100.0 "100.0".
REALstringStruct* StrZYL(double d);

// "ScientificStrZYL(d as double, digits as integer) as string": d in exponent notation with
// digits decimals (printf's "%.*e"), ASCII. Negative digits count as 0, above 498 as 498; the
// text is cut to 498 characters. (1234.5, 2) gives "1.23e+03".
REALstringStruct* ScientificStrZYL(double d, int64_t digits);

// "ClearStringContentZYL(s as String) as Boolean": zeroes the string's bytes in place and gives
// true, but only when they are the string's own inline storage (42 bytes after the handle, as
// the host lays its records out); bytes kept anywhere else are left alone and give false, as
// does nil. With debugging on, logs the distance, size and data address.
int8_t ClearStringContentZYL(REALstringStruct* s);

// "RandomBytesStringZYL(Length as integer, ASCII as boolean=false) as string": Length bytes from
// the C library's rand (seeded once at load in a built application): rand() % 96 + 32, tagged
// ASCII, when ASCII is set, else the low 8 bits of rand() with no encoding. Length below 1 or
// above 0x7FFFFFFF: nil, without drawing. Memory short: nil.
REALstringStruct* RandomBytesStringZYL(int64_t length, int8_t ascii);

// GetStringsZYL: the readable strings in size bytes at data, as a new string array: each run of
// tab, line feed, carriage return, printable ASCII and well-formed UTF-8 that is longer than
// max(minLength, 0) bytes and holds a byte above 32 becomes one UTF-8 element; the byte that
// ends a run is skipped. Nil data or size below 1: nil; no run: an empty array.
// ("hi\0\1abc", minLength 2) gives {"abc"}.
_REALarrayString* GetStringsZYL(const void* data, int64_t size, int64_t minLength);
// "GetStringsFromDataZYL(data as ptr, size as Integer, MinLength as Integer = 0) as string()",
// "(data as MemoryBlock, ...)", "(data as String, ...)": GetStringsZYL over the pointed bytes,
// the whole block, or the string's bytes (encoding ignored).
_REALarrayString* GetStringsZYLp(void* data, int64_t size, int64_t minLength);
_REALarrayString* GetStringsZYLm(REALmemoryBlockStruct* data, int64_t minLength);
_REALarrayString* GetStringsZYLs(REALstringStruct* data, int64_t minLength);

// "StringANDZYL(a as string,b as string) as string" / "StringORZYL(...)": a combined byte by
// byte with b repeated as a mask (result byte i = a[i] op b[i mod size of b]), as long as a,
// with no encoding. Nil a or b, or an empty a or b: nil. ("abc", "_") ANDed gives "ABC".
REALstringStruct* StringAND(REALstringStruct* a, REALstringStruct* b);
REALstringStruct* StringOR(REALstringStruct* a, REALstringStruct* b);

// "StringXORZYL(data as string, XorMask as string, MaskOffset as integer = 0) as string": data
// XORed with the mask repeated from index MaskOffset on (wrapping to 0 at its end), with no
// encoding. "StringXOR2ZYL" XORs each byte with the low 8 bits of its index i as well. Applied
// twice with the same mask and offset, both give back the input. Nil data or mask, or an empty
// mask: nil. Then a MaskOffset outside the mask (negative, or at or past its size) raises
// "OutOfBoundsException" naming MaskOffset and gives nil, whatever the data; empty data: nil.
REALstringStruct* StringXOR(REALstringStruct* data, REALstringStruct* xorMask, int64_t maskOffset);
REALstringStruct* StringXOR2(REALstringStruct* data, REALstringStruct* xorMask, int64_t maskOffset);

// ---------------------------------------------------------------------------------------------
// Similarity measures.
//
// Both compare code points (a character beyond U+FFFF counts once); case and accents count.

// proximityToString: the Jaro-Winkler similarity of a and b, 1.0 for equal strings (two empty
// ones too), 0.0 when exactly one is empty or nothing matches. When memory is short it raises
// "OutOfMemoryException" and gives 1.0. ("MARTHA", "MARHTA") gives 0.9611.
double proximityToString(REALstringStruct* a, REALstringStruct* b);
// "JaroWinklerDistanceZYL(a as string, b as string) as double": 1 - proximityToString(a, b).
// Symmetric; 0.0 for equal strings, 1.0 for an empty and a non-empty one.
double jaroWinklerDistanceZYL(REALstringStruct* a, REALstringStruct* b);

// "LevenshteinDistanceZYL(a as string, b as string) as double": the optimal-string-alignment
// distance (insert, delete, substitute, swap two adjacent characters) divided by the shorter
// length; it may exceed 1.0 ("a", "bcd" gives 3.0). Either string empty: 1.0, even both (an
// empty string counts as wholly different). A matrix that cannot be had raises
// "OutOfMemoryException" and gives 1.0. ("kitten", "sitting") gives 0.5.
double levenshteinDistanceZYL(REALstringStruct* a, REALstringStruct* b);

}  // namespace zyl
