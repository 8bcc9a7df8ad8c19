// SQL helpers: "SQLReplaceBooleanZYL" and "DecodingFromMySQLZYL".
#include <array>
#include <cstring>
#include <string>

#include "plugin/builders.h"
#include "plugin/memory.h"
#include "strings/strings.h"
#include "text/text.h"

namespace zyl {

namespace {

// Bytes 0 to 32 and ( ) , ; separate words.
constexpr auto kSeparators = [] {
  std::array<bool, 256> table{};
  for (int c = 0; c <= 32; ++c) table[c] = true;
  for (uint8_t c : {'(', ')', ',', ';'}) table[c] = true;
  return table;
}();

bool IsSQLSeparator(uint8_t c) { return kSeparators[c]; }

// Whether the bytes at text spell keyword (upper case), compared with bit 0x20 cleared.
bool SpellsKeyword(const uint8_t* text, const char* keyword, size_t length) {
  for (size_t k = 0; k < length; ++k) {
    if ((text[k] & 0xDF) != static_cast<uint8_t>(keyword[k])) return false;
  }
  return true;
}

// The byte an escape \x stands for, or -1 when the pair stays as it is.
int MySQLUnescaped(uint8_t x) {
  switch (x) {
    case '\\': return '\\';
    case 'n': return '\n';
    case 'r': return '\r';
    case 't': return '\t';
    case 'b': return '\b';
    case '0': return 0;
    case 'Z': return 26;
    case '\'': return '\'';
    case '"': return '"';
    case '%': return '%';
    case '_': return '_';
    default: return -1;
  }
}

}  // namespace

REALstringStruct* SQLReplaceBooleanZYL(REALstringStruct* sql) {
  if (sql == nullptr) return nullptr;
  rbText text(sql);
  const uint8_t* in = text.GetUTF8Bytes();
  const int64_t length = text.LengthUTF8();
  std::string buffer(static_cast<size_t>(length) + 10, '\0');
  char* out = buffer.data();
  bool inSingle = false, inDouble = false;
  int64_t wordLength = 0;
  // The result ends at its first zero byte, so the walk stops there.
  for (int64_t i = 0; i < length && in[i] != 0;) {
    const uint8_t c = in[i];
    if (c == '\'' && !inDouble) inSingle = !inSingle;
    if (c == '"' && !inSingle) inDouble = !inDouble;
    if (IsSQLSeparator(c)) {
      *out++ = static_cast<char>(c);
      wordLength = 0;
      ++i;
      continue;
    }
    // Deliberately only when six bytes remain from here (i + 5 inside the text): a keyword that
    // closes the text stays as it is.
    if (wordLength == 0 && !inSingle && !inDouble && i + 5 < length) {
      if (SpellsKeyword(in + i, "FALSE", 5) && IsSQLSeparator(in[i + 5])) {
        *out++ = '0';
        wordLength = 1;
        i += 5;
        continue;
      }
      if (SpellsKeyword(in + i, "TRUE", 4) && IsSQLSeparator(in[i + 4])) {
        *out++ = '1';
        wordLength = 1;
        i += 4;
        continue;
      }
    }
    *out++ = static_cast<char>(c);
    ++wordLength;
    ++i;
  }
  *out = '\0';
  return CString2RB(buffer.data(), kEncodingUTF8);
}

REALstringStruct* DecodingFromMySQL(REALstringStruct* s) {
  rbData view(s);
  if (view.Empty()) return nullptr;
  const uint8_t* in = view.Data();
  const int64_t size = view.Size();
  auto* out = static_cast<uint8_t*>(AllocateClearMemory(size));
  if (out == nullptr) return nullptr;
  int64_t length = 0;
  for (int64_t i = 0; i < size;) {
    // Plain bytes up to the next backslash in one copy.
    const void* found = memchr(in + i, '\\', static_cast<size_t>(size - i));
    const int64_t slash = found != nullptr ? static_cast<const uint8_t*>(found) - in : size;
    memcpy(out + length, in + i, static_cast<size_t>(slash - i));
    length += slash - i;
    if (slash + 1 >= size) {  // no backslash left, or a lone one at the end: kept
      if (slash < size) out[length++] = '\\';
      break;
    }
    const int byte = MySQLUnescaped(in[slash + 1]);
    if (byte >= 0) {
      out[length++] = static_cast<uint8_t>(byte);
    } else {
      out[length++] = '\\';
      out[length++] = in[slash + 1];
    }
    i = slash + 2;
  }
  REALstringStruct* result = REALBuildUnicodeString(out, length, kEncodingNone);
  FreeMemoryNow(out);
  return result;
}

}  // namespace zyl
