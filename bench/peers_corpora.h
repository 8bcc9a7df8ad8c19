// Deterministic corpora for the comparison with other libraries: text in several scripts, binary
// data, an HTML page and the encoded forms the decoders read, each cut to an exact size.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace zylbench {

enum class Corpus { Ascii, Latin, Cyrillic, Cjk, Emoji, Hangul, Binary, BadBytes, Html, QuotedPrintable, UrlEncoded, Cp1252, Rtf };

inline const char* CorpusName(Corpus c) {
  switch (c) {
    case Corpus::Ascii: return "ascii";
    case Corpus::Latin: return "latin";
    case Corpus::Cyrillic: return "cyrillic";
    case Corpus::Cjk: return "cjk";
    case Corpus::Emoji: return "emoji";
    case Corpus::Hangul: return "hangul";
    case Corpus::Binary: return "binary";
    case Corpus::BadBytes: return "latin-1%-bad";
    case Corpus::Html: return "html";
    case Corpus::QuotedPrintable: return "qp";
    case Corpus::UrlEncoded: return "url";
    case Corpus::Cp1252: return "cp1252";
    case Corpus::Rtf: return "rtf";
  }
  return "?";
}

namespace corpora {

inline std::string Utf8(uint32_t c) {
  std::string out;
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
  return out;
}

// Words joined by spaces, with punctuation and a line break every 60 to 80 columns.
template <typename NextWord>
std::string Prose(size_t size, std::mt19937& rng, NextWord next) {
  std::string s;
  size_t column = 0;
  while (s.size() < size + 16) {
    const std::string word = next();
    s += word;
    column += word.size();
    const uint32_t r = rng() % 16;
    if (r == 0) s += ".", ++column;
    if (r == 1) s += ",", ++column;
    if (column > 60 + rng() % 20) {
      s += '\n';
      column = 0;
    } else {
      s += ' ';
      ++column;
    }
  }
  return s;
}

inline std::string Pick(std::mt19937& rng, const std::vector<std::string_view>& words) {
  return std::string(words[rng() % words.size()]);
}

// Cuts to size bytes at a character boundary and fills the rest with spaces.
inline std::string CutToSize(std::string s, size_t size) {
  if (s.size() > size) {
    size_t cut = size;
    while (cut > 0 && (static_cast<uint8_t>(s[cut]) & 0xC0) == 0x80) --cut;
    s.resize(cut);
  }
  s.resize(size, ' ');
  return s;
}

inline const std::vector<std::string_view> kEnglish = {
    "the", "quick", "brown", "fox", "jumps", "over", "lazy", "dog", "and", "of", "to", "in", "is", "that", "it",
    "was", "for", "on", "are", "with", "as", "his", "they", "be", "at", "one", "have", "this", "from", "by",
    "words", "string", "library", "function", "performance", "document", "between", "several", "people",
    "another", "example", "different", "number", "because", "through", "against", "nothing", "morning"};
inline const std::vector<std::string_view> kLatin = {
    "caf\xC3\xA9", "na\xC3\xAFve", "\xC3\xA9l\xC3\xA8ve", "stra\xC3\x9F" "e", "\xC3\xBC" "ber", "M\xC3\xBCnchen",
    "a\xC3\xB1o", "se\xC3\xB1or", "co\xC3\xB6peration", "fa\xC3\xA7" "ade", "gar\xC3\xA7on", "d\xC3\xA9j\xC3\xA0",
    "la", "le", "der", "die", "und", "el", "los", "une", "maison", "Haus", "Stadt", "ciudad", "Stra\xC3\x9F" "enbahn",
    "\xC3\xA0", "pr\xC3\xA9" "f\xC3\xA9r\xC3\xA9", "K\xC3\xB6nig", "Fr\xC3\xA4ulein", "S\xC3\xA3o", "cora\xC3\xA7\xC3\xA3o",
    "Bj\xC3\xB6rk", "\xC3\x85" "ngstr\xC3\xB6m", "r\xC3\xA9sum\xC3\xA9", "pi\xC3\xB1" "ata", "jalape\xC3\xB1o"};
inline const std::vector<std::string_view> kCyrillic = {
    "\xD0\xB8", "\xD0\xB2", "\xD0\xBD\xD0\xB5", "\xD0\xBD\xD0\xB0", "\xD1\x8F",
    "\xD0\xBC\xD0\xBE\xD1\x81\xD0\xBA\xD0\xB2\xD0\xB0", "\xD1\x81\xD1\x82\xD1\x80\xD0\xBE\xD0\xBA\xD0\xB0",
    "\xD0\xB1\xD0\xB8\xD0\xB1\xD0\xBB\xD0\xB8\xD0\xBE\xD1\x82\xD0\xB5\xD0\xBA\xD0\xB0",
    "\xD1\x82\xD0\xB5\xD0\xBA\xD1\x81\xD1\x82", "\xD0\xB4\xD0\xBE\xD0\xBC", "\xD0\xB3\xD0\xBE\xD1\x80\xD0\xBE\xD0\xB4",
    "\xD1\x87\xD0\xB5\xD0\xBB\xD0\xBE\xD0\xB2\xD0\xB5\xD0\xBA", "\xD0\xB2\xD1\x80\xD0\xB5\xD0\xBC\xD1\x8F",
    "\xD1\x80\xD0\xB0\xD0\xB1\xD0\xBE\xD1\x82\xD0\xB0", "\xD0\xBF\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82",
    "\xD1\x81\xD0\xBB\xD0\xBE\xD0\xB2\xD0\xBE", "\xD0\xB4\xD0\xB5\xD0\xBD\xD1\x8C", "\xD0\xBD\xD0\xBE\xD1\x87\xD1\x8C"};

inline std::string Generate(Corpus c, size_t size) {
  std::mt19937 rng(20240611u + static_cast<uint32_t>(c));
  switch (c) {
    case Corpus::Ascii:
      return CutToSize(Prose(size, rng, [&] { return Pick(rng, kEnglish); }), size);
    case Corpus::Latin:
      return CutToSize(Prose(size, rng, [&] { return Pick(rng, rng() % 3 == 0 ? kLatin : kEnglish); }), size);
    case Corpus::Cyrillic:
      return CutToSize(Prose(size, rng, [&] { return Pick(rng, kCyrillic); }), size);
    case Corpus::Cjk: {
      // Runs of common ideographs and kana with CJK punctuation, a digit now and then.
      std::string s;
      while (s.size() < size + 16) {
        const uint32_t r = rng() % 40;
        if (r == 0) s += Utf8(0x3002);  // ideographic full stop
        else if (r == 1) s += Utf8(0xFF0C);
        else if (r == 2) s += static_cast<char>('0' + rng() % 10);
        else if (r < 8) s += Utf8(0x3041 + rng() % 86);  // hiragana
        else s += Utf8(0x4E00 + rng() % 0x5000);
        if (rng() % 60 == 0) s += '\n';
      }
      return CutToSize(s, size);
    }
    case Corpus::Emoji:
      return CutToSize(Prose(size, rng, [&] {
                         std::string w = Pick(rng, kEnglish);
                         if (rng() % 3 == 0) w += Utf8(0x1F600 + rng() % 0x50);
                         if (rng() % 7 == 0) w = Utf8(0x1F300 + rng() % 0x100) + w;
                         return w;
                       }),
                       size);
    case Corpus::Hangul:
      return CutToSize(Prose(size, rng, [&] {
                         std::string w;
                         for (uint32_t k = 1 + rng() % 4; k > 0; --k) w += Utf8(0xAC00 + rng() % 11172);
                         return w;
                       }),
                       size);
    case Corpus::Binary: {
      std::string s(size, '\0');
      for (char& b : s) b = static_cast<char>(rng() & 0xFF);
      return s;
    }
    case Corpus::BadBytes: {
      // Latin text with one byte in a hundred replaced by a byte that breaks its sequence.
      std::string s = Generate(Corpus::Latin, size);
      for (size_t i = 0; i < s.size(); ++i) {
        if (rng() % 100 == 0) s[i] = static_cast<char>(rng() % 2 != 0 ? 0xFF : 0x80);
      }
      return s;
    }
    case Corpus::Html: {
      std::string s = "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>Report</title>"
                      "<style>p { margin: 0 }</style></head>\n<body>\n";
      while (s.size() < size + 16) {
        s += "<div class=\"entry\" id=\"e" + std::to_string(rng() % 10000) + "\"><h2>" + Pick(rng, kEnglish) +
             " &amp; " + Pick(rng, kLatin) + "</h2>\n<p>";
        for (int k = 0; k < 12; ++k) s += Pick(rng, k % 4 == 0 ? kLatin : kEnglish) + " ";
        s += "<a href=\"/items?id=" + std::to_string(rng() % 1000) + "&amp;page=2\">more</a> &lt;3 \"quoted\"</p></div>\n";
      }
      return CutToSize(s, size);
    }
    case Corpus::QuotedPrintable: {
      // Latin text as a mail program writes it: escapes, soft breaks at 76 columns, CR LF.
      const std::string text = Generate(Corpus::Latin, size);
      static const char* kHex = "0123456789ABCDEF";
      std::string s;
      size_t column = 0;
      for (size_t i = 0; i < text.size() && s.size() < size + 16; ++i) {
        const auto b = static_cast<uint8_t>(text[i]);
        if (b == '\n') {
          s += "\r\n";
          column = 0;
          continue;
        }
        std::string piece(1, static_cast<char>(b));
        if (b >= 128 || b == '=') piece = std::string("=") + kHex[b >> 4] + kHex[b & 15];
        if (column + piece.size() > 75) {
          s += "=\r\n";
          column = 0;
        }
        s += piece;
        column += piece.size();
      }
      // Cut after a whole escape: no "=" among the last two bytes.
      s = CutToSize(s, size);
      for (size_t k = size >= 2 ? size - 2 : 0; k < size; ++k) {
        if (s[k] == '=') s[k] = 'x';
      }
      return s;
    }
    case Corpus::UrlEncoded: {
      const std::string text = Generate(Corpus::Latin, size);
      static const char* kHex = "0123456789ABCDEF";
      std::string s;
      for (size_t i = 0; i < text.size() && s.size() < size + 16; ++i) {
        const auto b = static_cast<uint8_t>(text[i]);
        const bool plain = (b >= 'a' && b <= 'z') || (b >= 'A' && b <= 'Z') || (b >= '0' && b <= '9') ||
                           b == '-' || b == '.' || b == '_' || b == '~';
        if (plain) {
          s += static_cast<char>(b);
        } else {
          s += '%';
          s += kHex[b >> 4];
          s += kHex[b & 15];
        }
      }
      s = CutToSize(s, size);
      for (size_t k = size >= 2 ? size - 2 : 0; k < size; ++k) {
        if (s[k] == '%') s[k] = 'x';
      }
      return s;
    }
    case Corpus::Cp1252: {
      // Latin text in Windows-1252: each character below U+0100 as its byte, curly quotes and
      // the euro sign as theirs.
      std::string s;
      std::mt19937 extra(99);
      const std::string text = Generate(Corpus::Latin, size + 64);
      for (size_t i = 0; i < text.size() && s.size() < size;) {
        const auto b = static_cast<uint8_t>(text[i]);
        if (b < 0x80) {
          s += static_cast<char>(b);
          if (b == ' ' && extra() % 40 == 0) s += extra() % 2 != 0 ? "\x93quoted\x94" : "\x80" "5";
          ++i;
        } else {
          s += static_cast<char>(((b & 0x1F) << 6) | (static_cast<uint8_t>(text[i + 1]) & 0x3F));
          i += 2;
        }
      }
      s.resize(size, ' ');
      return s;
    }
    case Corpus::Rtf: {
      // As a word processor writes it: font and colour tables, paragraphs with their formatting,
      // runs in bold, italic and colour, code page 1252 escapes and Unicode escapes.
      std::string s = size < 400 ? "{\\rtf1\\ansi{\\fonttbl{\\f0 Arial;}}\\f0\\fs20 "
                                 : "{\\rtf1\\ansi\\ansicpg1252\\deff0\\nouicompat\\deflang1033{\\fonttbl"
                                   "{\\f0\\fnil\\fcharset0 Calibri;}{\\f1\\froman\\fcharset0 Times New Roman;}"
                                   "{\\f2\\fmodern\\fcharset0 Courier New;}}\r\n{\\colortbl ;\\red192\\green0\\blue0;"
                                   "\\red0\\green112\\blue192;\\red0\\green176\\blue80;}\r\n{\\*\\generator "
                                   "Riched20 10.0.19041}\\viewkind4\\uc1 \r\n";
      std::string paragraph;
      while (s.size() + 1 < size) {
        if (paragraph.empty()) {
          const char* alignments[] = {"", "\\qc", "\\qr", "\\qj"};
          paragraph = std::string("\\pard") + alignments[rng() % 4] + "\\sa200\\sl276\\slmult1\\f" +
                      std::to_string(rng() % 3) + "\\fs" + std::to_string(20 + 2 * (rng() % 4)) + " ";
          for (int k = 0; k < 14; ++k) {
            const uint32_t r = rng() % 10;
            const std::string word = Pick(rng, kEnglish);
            if (r == 0) paragraph += "{\\b " + word + "} ";
            else if (r == 1) paragraph += "\\i " + word + "\\i0  ";
            else if (r == 2) paragraph += "\\cf" + std::to_string(1 + rng() % 3) + " " + word + "\\cf0  ";
            else if (r == 3) paragraph += "caf\\'e9 cr\\'e8me ";
            else if (r == 4) paragraph += "\\u8364?" + std::to_string(rng() % 100) + " ";
            else paragraph += word + " ";
          }
          paragraph += "\\par\r\n";
        }
        const size_t room = size - 1 - s.size();
        if (paragraph.size() <= room) {
          s += paragraph;
          paragraph.clear();
        } else {
          s.append(room, 'x');  // text to the exact size
        }
      }
      s += '}';
      return s.substr(0, size);
    }
  }
  return {};
}

}  // namespace corpora
}  // namespace zylbench
