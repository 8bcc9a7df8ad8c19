#include "rtf/rtf_lexer.h"

#include <utility>

namespace zyl {

namespace {

constexpr uint8_t kCR = 13;
constexpr uint8_t kLF = 10;

bool IsDigit(uint8_t c) { return c >= '0' && c <= '9'; }
bool IsLower(uint8_t c) { return c >= 'a' && c <= 'z'; }

// Upper-case hex digits only: the lexer's "\'" ends at a lower-case one.
int UpperHexValue(uint8_t c) {
  if (IsDigit(c)) return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The low 32 bits, as colour and font numbers are compared.
uint32_t Low32(int64_t value) { return static_cast<uint32_t>(value); }

}  // namespace

int64_t ForwardOverDelimiter(const uint8_t* text, int64_t i) {
  switch (text[i]) {
    case '\\':
    case '{':
    case '}':
    case ';':
    case 0:  // never consumed: the word ends on its own last byte
      return i - 1;
    case kCR:
      // Two bytes ahead, not one, on purpose; the byte in between must not be the terminator.
      return text[i + 1] != 0 && text[i + 2] == kLF ? i + 1 : i;
    default:
      return i;
  }
}

int64_t ReadCommand(const uint8_t* text, int64_t p, std::string_view& word, int64_t& parameter) {
  word = {};
  parameter = -1;
  int64_t q = p;
  if (p >= 2 && text[p - 2] == '{' && text[p - 1] == '\\' && text[p] == '*' && text[p + 1] == '\\') q = p + 2;
  while (IsLower(text[q])) ++q;
  word = std::string_view(reinterpret_cast<const char*>(text + p), static_cast<size_t>(q - p));

  const uint8_t c = text[q];
  if (IsDigit(c)) {
    uint64_t value = 0;
    for (; IsDigit(text[q]); ++q) value = value * 10 + (text[q] - '0');
    parameter = static_cast<int64_t>(value);
  } else if (c == '-') {
    ++q;
    if (!IsDigit(text[q])) {
      parameter = 1;
    } else {
      // Folded from -1 and negated: k digits forming N give 10^k - N. Required, not a slip.
      uint64_t value = ~uint64_t{0};
      for (; IsDigit(text[q]); ++q) value = value * 10 + (text[q] - '0');
      parameter = static_cast<int64_t>(uint64_t{0} - value);
    }
  } else if (c == '\'' && word.empty()) {
    word = "u";
    ++q;
    uint64_t value = ~uint64_t{0};
    for (int digit; (digit = UpperHexValue(text[q])) >= 0; ++q) value = value * 16 + static_cast<uint64_t>(digit);
    if (text[q] != 0) ++q;  // the byte after the digits goes with them
    parameter = static_cast<int64_t>(value);
  } else if ((c == kCR || c == kLF) && word.empty()) {
    word = "par";
  }
  return ForwardOverDelimiter(text, q);
}

uint32_t FindEncoding(int64_t codePage) {
  switch (codePage) {
    case 437: return 1024;
    case 850: return 1040;
    case 852: return 1042;
    case 860: return 1045;
    case 862: return 1047;
    case 863: return 1048;
    case 864: return 1049;
    case 865: return 1050;
    case 866: return 1051;
    case 874: return 1053;
    case 932: return 1056;
    case 936: return 1057;
    case 949: return 1058;
    case 950: return 1059;
    case 1250: return 1281;
    case 1251: return 1282;
    case 1252: return 1280;
    case 1253: return 1283;
    case 1254: return 1284;
    case 1255: return 1285;
    case 1256: return 1286;
    case 1257: return 1287;
    case 1258: return 1288;
    case 1361: return 1296;
    case 10000: return 0;
    case 10001: return 1;
    case 10004: return 4;
    case 10005: return 5;
    case 10006: return 6;
    case 10007: return 7;
    case 10029: return 29;
    case 10081: return 35;
    default: return 1280;
  }
}

RTFColorTable ReadColorTable(const uint8_t* text, int64_t& position) {
  RTFColorTable table;
  uint32_t number = 0;
  RTFColor colour;
  int64_t i = position;
  if (text[i] == 0) return table;
  for (;;) {
    const uint8_t c = text[i + 1];
    if (c == 0) break;
    ++i;
    if (c == '}') {
      i = ForwardOverDelimiter(text, i + 1);
      break;
    }
    if (c == ';') {
      table[number++] = std::exchange(colour, RTFColor{});
    } else if (c == '\\') {
      std::string_view word;
      int64_t parameter;
      i = ReadCommand(text, i + 1, word, parameter);
      const auto value = static_cast<int32_t>(parameter);
      if (word == "red") {
        colour.red = value;
      } else if (word == "green") {
        colour.green = value;
      } else if (word == "blue") {
        colour.blue = value;
      }
    }
  }
  position = i;
  return table;
}

RTFFontTable ReadFontTable(const uint8_t* text, int64_t& position) {
  RTFFontTable table;
  std::string name;
  name.reserve(100);  // grows for longer names
  uint32_t number = 0;
  bool nameFinished = false;
  bool justOpened = false;
  int64_t skipDepth = 0;
  int64_t depth = 0;
  int64_t i = position;
  if (text[i] == 0) return table;
  for (;;) {
    const uint8_t c = text[i + 1];
    if (c == 0) break;
    ++i;
    const bool takesText = skipDepth == 0 && !nameFinished;
    switch (c) {
      case '{':
        ++depth;
        if (skipDepth > 0) ++skipDepth;
        justOpened = true;
        continue;
      case '}':
        justOpened = false;
        if (--depth == -1) {  // the table's own closing brace
          position = ForwardOverDelimiter(text, i + 1);
          return table;
        }
        if (skipDepth > 0) --skipDepth;
        continue;
      case '\\': {
        std::string_view word;
        int64_t parameter;
        i = ReadCommand(text, i + 1, word, parameter);
        if (word == "f") {
          number = Low32(parameter);
          nameFinished = false;
        } else if (justOpened && skipDepth == 0) {
          skipDepth = 1;  // "{\*\panose ...}", "{\falt ...}": not part of the name
        }
        justOpened = false;
        continue;
      }
      case ';':
        if (takesText) {
          table[number] = name;
          name.clear();
          nameFinished = true;
        }
        justOpened = false;
        continue;
      case kCR:
      case kLF:  // part of the name, but a group still opens with the word after a line break
        if (takesText) name.push_back(static_cast<char>(c));
        continue;
      default:
        if (takesText) name.push_back(static_cast<char>(c));
        justOpened = false;
        continue;
    }
  }
  position = i;
  return table;
}

}  // namespace zyl
