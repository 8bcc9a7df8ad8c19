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

// ---------------------------------------------------------------------------------------------
// Similarity measures.

}  // namespace zyl
