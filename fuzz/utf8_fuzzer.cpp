// The UTF-8 repair and the text buffer's forms against references written from their algorithms.
//
// Input: one byte choosing the string's encoding and storage, the placeholder, then the bytes.
// The repair runs in its three forms (string, memory block, pointer with size); the text buffer
// serves every form of the string, in an order picked by the input.
#include "fuzz_support.h"
#include "text/text.h"

namespace {

// The length of the well-formed sequence starting at `at`, 0 when there is none.
std::size_t SequenceLength(std::string_view bytes, std::size_t at) {
  const auto b = [&](std::size_t k) { return static_cast<uint8_t>(bytes[at + k]); };
  const std::size_t left = bytes.size() - at;
  const uint8_t lead = b(0);
  const auto tail = [&](std::size_t k) { return b(k) >= 0x80 && b(k) <= 0xBF; };
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return left >= 2 && tail(1) ? 2 : 0;
  if (lead >= 0xE0 && lead <= 0xEF) {
    if (left < 3 || !tail(2)) return 0;
    const uint8_t low = lead == 0xE0 ? 0xA0 : 0x80;
    const uint8_t high = lead == 0xED ? 0x9F : 0xBF;
    return b(1) >= low && b(1) <= high ? 3 : 0;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    if (left < 4 || !tail(2) || !tail(3)) return 0;
    const uint8_t low = lead == 0xF0 ? 0x90 : 0x80;
    const uint8_t high = lead == 0xF4 ? 0x8F : 0xBF;
    return b(1) >= low && b(1) <= high ? 4 : 0;
  }
  return 0;
}

std::string ReferenceRepair(std::string_view bytes, std::string_view placeholder) {
  std::string out;
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t n = SequenceLength(bytes, at);
    if (n == 0) {
      out += placeholder;
      ++at;
    } else {
      out += bytes.substr(at, n);
      at += n;
    }
  }
  return out;
}

// The code points of the via-UTF-8 walk: it stops at the first sequence that is cut short or
// ill-formed; the two byte-order marks are dropped wherever they stand.
std::u32string ReferenceWalk(std::string_view bytes) {
  std::u32string out;
  for (std::size_t at = 0; at < bytes.size();) {
    const auto lead = static_cast<uint8_t>(bytes[at]);
    std::size_t n = 0;
    if (lead >= 0xC0) n = lead >= 0xFC ? 5 : lead >= 0xF8 ? 4 : lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
    if (at + n >= bytes.size()) break;
    if (n >= 4 || (lead >= 0x80 && lead < 0xC2) || SequenceLength(bytes, at) != n + 1) break;
    char32_t c = n == 0 ? lead : n == 1 ? lead & 0x1F : n == 2 ? lead & 0x0F : lead & 0x07;
    for (std::size_t k = 1; k <= n; ++k) c = (c << 6) | (static_cast<uint8_t>(bytes[at + k]) & 0x3F);
    if (c != 0xFEFF && c != 0xFFFE) out.push_back(c);
    at += n + 1;
  }
  return out;
}

std::u16string ToUTF16(const std::u32string& text) {
  std::u16string out;
  for (const char32_t c : text) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    if (c > 0x10FFFF) {
      out.push_back(0xFFFD);
    } else if (c >= 0x10000) {
      out.push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(c));
    }
  }
  return out;
}

// UTF-16 units of host-order bytes after the text buffer's fix-ups: units of the other order
// (a first unit 0xFFFE) are swapped, then a leading 0xFEFF and after it a leading 0xFFFE skipped.
std::u16string ReferenceUTF16(std::string_view bytes) {
  std::u16string units(bytes.size() / 2, 0);
  for (std::size_t i = 0; i < units.size(); ++i) {
    units[i] = static_cast<char16_t>(static_cast<uint8_t>(bytes[2 * i]) | (static_cast<uint8_t>(bytes[2 * i + 1]) << 8));
  }
  if (!units.empty() && units[0] == 0xFFFE) {
    for (char16_t& unit : units) unit = static_cast<char16_t>((unit >> 8) | (unit << 8));
  }
  std::size_t skip = 0;
  if (skip < units.size() && units[skip] == 0xFEFF) ++skip;
  if (skip < units.size() && units[skip] == 0xFFFE) ++skip;
  return units.substr(skip);
}

// The via-UTF-16 walk, with its deliberate swallowing of the unit after a stray low surrogate.
std::u32string ReferenceUTF32FromUTF16(const std::u16string& units) {
  std::u32string out;
  for (std::size_t i = 0; i < units.size(); ++i) {
    const char16_t u = units[i];
    const bool last = i + 1 == units.size();
    if (u >= 0xD800 && u <= 0xDBFF && !last) {
      const char16_t next = units[i + 1];
      if (next >= 0xDC00 && next <= 0xDFFF) out.push_back(((u - 0xD800) << 10) + (next - 0xDC00) + 0x10000);
      ++i;
    } else if (u >= 0xDC00 && u <= 0xDFFF && !last) {
      ++i;
    } else {
      out.push_back(u);
    }
  }
  // The UTF-32 form's own fix-ups: a leading 0xFEFF, then a leading 0xFFFE, is not part of it.
  std::size_t skip = 0;
  if (skip < out.size() && out[skip] == 0xFEFF) ++skip;
  if (skip < out.size() && out[skip] == 0xFFFE) ++skip;
  return out.substr(skip);
}

// A form as a string of its units; it must be there and end with a zero unit.
template <typename Text, typename Unit>
Text Form(const Unit* data, int64_t length) {
  if (data == nullptr) zylfuzz::Fail("a text form is nil");
  if (length < 0 || data[length] != 0) zylfuzz::Fail("a text form has no terminator");
  Text text;
  for (int64_t i = 0; i < length; ++i) text.push_back(static_cast<typename Text::value_type>(data[i]));
  return text;
}

void CheckForms(REALstringStruct* s, uint32_t encoding, const std::string& bytes, uint8_t order) {
  zyl::rbText text(s);
  // The forms are produced lazily and in any order; each must be the same whatever came first.
  std::u16string utf16;
  std::u32string utf32;
  std::string utf8;
  for (int step = 0; step < 3; ++step) {
    switch ((order + step) % 3) {
      case 0: utf8 = Form<std::string>(text.GetUTF8(), text.LengthUTF8()); break;
      case 1: utf16 = Form<std::u16string>(text.GetUTF16(), text.LengthUTF16()); break;
      default: utf32 = Form<std::u32string>(text.GetUTF32(), text.LengthUTF32()); break;
    }
  }
  (void)Form<std::string>(text.GetASCII(), text.LengthASCII());
  if (s == nullptr || bytes.empty()) {
    if (!utf8.empty() || !utf16.empty() || !utf32.empty()) zylfuzz::Fail("an empty text has a non-empty form");
    return;
  }
  if (encoding == memhost::kUTF8) {
    if (utf8 != bytes) zylfuzz::Fail("the UTF-8 form of UTF-8 text is not its bytes");
    const std::u32string points = ReferenceWalk(bytes);
    if (utf16 != ToUTF16(points)) zylfuzz::Fail("the UTF-16 form of UTF-8 text differs from the reference");
    if (utf32 != points) zylfuzz::Fail("the UTF-32 form of UTF-8 text differs from the reference");
  } else if (encoding == memhost::kNoEncoding) {
    std::u32string latin1;
    for (const char c : bytes) latin1.push_back(static_cast<uint8_t>(c));
    if (utf32 != latin1) zylfuzz::Fail("bytes without encoding do not read as ISO 8859-1");
  } else if (encoding == memhost::kUTF16) {
    const std::u16string units = ReferenceUTF16(bytes);
    if (utf16 != units) zylfuzz::Fail("the UTF-16 form of UTF-16 text differs from the reference");
    if (utf32 != ReferenceUTF32FromUTF16(units)) zylfuzz::Fail("the UTF-32 form of UTF-16 text differs from the reference");
  }
}

}  // namespace

ZYL_FUZZ_TARGET(utf8) {
  zylfuzz::Input in(data, size);
  const uint8_t config = in.Byte();
  const std::string placeholder = in.Bytes();
  const std::string bytes = in.Rest();
  static constexpr uint32_t kEncodings[] = {memhost::kUTF8, memhost::kNoEncoding, memhost::kUTF16, memhost::kASCII,
                                            memhost::kUTF16BE, memhost::kUTF32, memhost::kISOLatin1, memhost::kUTF8};
  const uint32_t encoding = kEncodings[config & 7];
  zylfuzz::HostOptions options;
  options.unterminated = (config & 0x08) != 0;
  options.hostVersion = (config & 0x10) != 0 ? 2011.0 : 2024.0;
  zylfuzz::Host host(options);
  const auto storage = (config & 0x20) != 0 ? memhost::Storage::External : memhost::Storage::Auto;
  memhost::String input(bytes, encoding, storage);
  memhost::String mark(placeholder, memhost::kUTF8);

  // The repair, in its three forms.
  std::string expected = ReferenceRepair(bytes, placeholder);
  const auto check = [&](REALstringStruct* result, const char* form) {
    memhost::String repaired(result);
    if (repaired.bytes() != expected) zylfuzz::Fail(std::string("CheckUTF8ZYL (") + form + ") differs from the reference");
  };
  check(memhost::Call<REALstringStruct*>("CheckUTF8ZYL(data as string, Placeholder as string) as string", input.get(),
                                         mark.get()),
        "string");
  memhost::Object block(memhost::AsObject(memhost::NewMemoryBlock(bytes)));
  check(memhost::Call<REALstringStruct*>("CheckUTF8ZYL(mem as MemoryBlock, Placeholder as string) as string",
                                         memhost::AsMemoryBlock(block.get()), mark.get()),
        "memory block");
  void* pointer = host.KeepBuffer(bytes);
  check(memhost::Call<REALstringStruct*>("CheckUTF8ZYL(data as ptr, size as Integer, Placeholder as string) as string",
                                         pointer, static_cast<int64_t>(bytes.size()), mark.get()),
        "pointer");

  // The text buffer's forms.
  CheckForms(input.get(), encoding, bytes, config >> 6);
  if (memhost::TakeException()) zylfuzz::Fail("the repair raised an exception");
}
