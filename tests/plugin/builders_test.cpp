// Result builders, memory blocks, arrays, handles and the host operations' fallbacks.
#include <doctest/doctest.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "plugin/builders.h"
#include "plugin/host_api.h"
#include "plugin/log.h"
#include "plugin/memory.h"
#include "plugin/output_buffer.h"
#include "plugin/registration.h"
#include "support/plugin_host.h"
#include "text/text_test_support.h"

using memhost::StringValue;

namespace {

StringValue Built(const std::string& bytes, uint32_t encoding) {
  memhost::String s(zyl::REALBuildUnicodeString(bytes.data(), static_cast<int64_t>(bytes.size()), encoding));
  return memhost::Value(s.get());
}

std::string UTF32LE(std::initializer_list<uint32_t> codePoints) {
  return texttest::Wide(std::vector<uint32_t>(codePoints));
}

std::u16string Units(const std::vector<uint16_t>& units, int64_t count) {
  return std::u16string(units.begin(), units.begin() + count);
}

void NoOp(void* flag) { *static_cast<bool*>(flag) = true; }

}  // namespace

TEST_SUITE("builders") {

TEST_CASE("8-bit text that is pure ASCII is tagged ASCII; wide text arrives as UTF-8 on current hosts") {
  zyltest::PluginHost host(2024.0);
  struct Case {
    std::string bytes;
    uint32_t encoding;
    StringValue expected;
  };
  const Case cases[] = {
      {"abc", zyl::kEncodingISOLatin1, {"abc", zyl::kEncodingASCII}},
      {"\xE9", zyl::kEncodingISOLatin1, {"\xE9", zyl::kEncodingISOLatin1}},
      {"abc", zyl::kEncodingNone, {"abc", zyl::kEncodingASCII}},
      {"\x80", zyl::kEncodingNone, {"\x80", zyl::kEncodingNone}},
      {"\x80", zyl::kEncodingWindowsLatin1, {"\x80", zyl::kEncodingWindowsLatin1}},
      {"x", zyl::kEncodingMacRoman, {"x", zyl::kEncodingASCII}},
      {"\xC3\xA9", zyl::kEncodingUTF8, {"\xC3\xA9", zyl::kEncodingUTF8}},
      {"abc", zyl::kEncodingUTF8, {"abc", zyl::kEncodingUTF8}},  // UTF-8 is used as given
      {std::string("a\0\xE9\0", 4), zyl::kEncodingUTF16, {"a\xC3\xA9", zyl::kEncodingUTF8}},
      {UTF32LE({0x1F600}), zyl::kEncodingUTF32, {"\xF0\x9F\x98\x80", zyl::kEncodingUTF8}},
  };
  for (const Case& c : cases) {
    CAPTURE(c.bytes);
    CHECK(Built(c.bytes, c.encoding) == c.expected);
  }
}

TEST_CASE("older hosts: no encoding argument, no UTF-32") {
  // The conversions of UTF-32 on each host are held against the host's converter with the text
  // model's scanners; here what that comparison does not reach.
  SUBCASE("before 2012: built plain, then tagged; UTF-16 stays UTF-16") {
    zyltest::PluginHost host(2011.0);
    CHECK(Built("abc", zyl::kEncodingUTF8) == StringValue{"abc", zyl::kEncodingUTF8});
    CHECK(Built(std::string("a\0", 2), zyl::kEncodingUTF16) == StringValue{std::string("a\0", 2), zyl::kEncodingUTF16});
  }
  SUBCASE("UTF-32 with nothing left to build gives nil, not an empty string") {
    for (const double version : {2011.0, 2012.5}) {
      zyltest::PluginHost host(version);
      CAPTURE(version);
      for (const std::string& bytes : {std::string("\x41\x00", 2), UTF32LE({0xD800}), UTF32LE({0xDC00, 0xDFFF})}) {
        CHECK(zyl::REALBuildUnicodeString(bytes.data(), static_cast<int64_t>(bytes.size()), zyl::kEncodingUTF32) ==
              nullptr);
      }
    }
  }
  SUBCASE("long UTF-32 input on the heap path; a trailing partial code point is ignored") {
    zyltest::PluginHost host(2012.5);
    std::string bytes;
    std::string expected;
    for (int i = 0; i < 300; ++i) {
      bytes += UTF32LE({0x1F600});
      expected += "\xF0\x9F\x98\x80";
    }
    bytes += "\x41\x00";  // half a code point
    CHECK(Built(bytes, zyl::kEncodingUTF32) == StringValue{expected, zyl::kEncodingUTF8});
  }
}

TEST_CASE("empty, nil and oversized inputs give nil") {
  zyltest::PluginHost host;
  const char byte = 'x';
  CHECK(zyl::REALBuildUnicodeString(&byte, 0, zyl::kEncodingUTF8) == nullptr);
  CHECK(zyl::REALBuildUnicodeString(nullptr, 5, zyl::kEncodingUTF8) == nullptr);
  CHECK(zyl::CString2RB("", zyl::kEncodingUTF8) == nullptr);
  CHECK(zyl::CString2RB(nullptr, zyl::kEncodingUTF8) == nullptr);
  zyltest::CapturedLog log;
  zyl::DebuggingEnabled = true;
  // Beyond what the host's 32-bit lengths hold; the bytes are never read.
  CHECK(zyl::REALBuildUnicodeString(&byte, 0x80000000LL, zyl::kEncodingUTF8) == nullptr);
  CHECK(log.Lines() == std::vector<std::string>{"ZYL Debug: Count too big for REALBuildUnicodeString."});
}

TEST_CASE("an unknown encoding is logged when debugging and used as given") {
  zyltest::PluginHost host;
  zyltest::CapturedLog log;
  CHECK(Built("ab", zyl::kEncodingUTF16LE).encoding == zyl::kEncodingUTF16LE);
  CHECK(log.Lines().empty());
  zyl::DebuggingEnabled = true;
  CHECK(Built("ab", zyl::kEncodingUTF16LE) == StringValue{"ab", zyl::kEncodingUTF16LE});
  CHECK(log.Lines() == std::vector<std::string>{"ZYL Debug: Unknown encoding in REALBuildUnicodeString 335544576"});
}

TEST_CASE("UTF32ToUTF16") {
  std::vector<uint16_t> out(16, 0xAAAA);
  const uint32_t emoji = 0x1F600;
  CHECK(zyl::UTF32ToUTF16(&emoji, 1, out.data()) == 2);
  CHECK(Units(out, 2) == u"\xD83D\xDE00");
  CHECK(out[2] == 0);
  const uint32_t surrogate = 0xD800;
  CHECK(zyl::UTF32ToUTF16(&surrogate, 1, out.data()) == 0);
  CHECK(out[0] == 0);
  const uint32_t tooBig = 0x110000;
  CHECK(zyl::UTF32ToUTF16(&tooBig, 1, out.data()) == 1);
  CHECK(out[0] == 0xFFFD);
  CHECK(zyl::UTF32ToUTF16(nullptr, 0, out.data()) == 0);
}

TEST_CASE("memory blocks are made through the host's class") {
  zyltest::PluginHost host;
  SUBCASE("a copy of the bytes") {
    REALmemoryBlockStruct* block = zyl::REALBuildMemoryblock("abc", 3);
    REQUIRE(block != nullptr);
    CHECK(memhost::MemoryBlockBytes(block) == "abc");
    memhost::Release(block);
  }
  SUBCASE("size 0, a negative size or no data: nil without an exception") {
    CHECK(zyl::REALBuildMemoryblock("abc", 0) == nullptr);
    CHECK(zyl::REALBuildMemoryblock("abc", -1) == nullptr);
    CHECK(zyl::REALBuildMemoryblock(nullptr, 3) == nullptr);
    CHECK(zyl::MyREALNewMemoryBlock(-1) == nullptr);
  }
  SUBCASE("a block of size 0 can be made") {
    REALmemoryBlockStruct* block = zyl::MyREALNewMemoryBlock(0);
    REQUIRE(block != nullptr);
    CHECK(zyl::MyREALMemoryBlockGetSize(block) == 0);
    memhost::Release(block);
  }
  struct Failure {
    const char* why;
    void (*inject)();
  };
  const Failure failures[] = {
      {"the host gives less than asked", [] { memhost::LimitMemoryBlocks(2); }},
      {"the constructor raises inside the host", [] { memhost::SetMemoryBlockConstructorRaises(true); }},
      {"the class cannot be made", [] { memhost::FailInstantiation("MemoryBlock"); }},
  };
  for (const Failure& f : failures) {
    CAPTURE(f.why);
    f.inject();
    CHECK(zyl::REALBuildMemoryblock("abc", 3) == nullptr);
    const auto raised = memhost::TakeException();
    REQUIRE(raised.has_value());
    CHECK(raised->className == "OutOfMemoryException");
    CHECK(raised->message == "Failed to allocate a memoryblock with 3 bytes in size.");
    memhost::LimitMemoryBlocks(std::nullopt);
    memhost::SetMemoryBlockConstructorRaises(false);
  }
  CHECK(zyl::MyREALMemoryBlockGetPtr(nullptr) == nullptr);
  CHECK(zyl::MyREALMemoryBlockGetSize(nullptr) == 0);
}

TEST_CASE("string arrays") {
  zyltest::PluginHost host;
  _REALarrayString* array = zyl::REALCreateArrayString(-1);
  REQUIRE(array != nullptr);
  CHECK(zyl::REALGetArrayUBound(array) == -1);
  memhost::String a("a", memhost::kUTF8), b("b", memhost::kUTF8);
  zyl::REALAppendArrayValue(array, a.get());
  zyl::REALAppendArrayValue(array, b.get());
  zyl::REALInsertArrayValue(array, 0, b.get());
  CHECK(zyl::REALGetArrayUBound(array) == 2);
  const auto elements = memhost::ArrayElements(array);
  REQUIRE(elements.size() == 3);
  CHECK(elements[0].bytes == "b");
  CHECK(elements[1].bytes == "a");
  CHECK(elements[2].bytes == "b");
  memhost::Release(array);
  CHECK(zyl::REALGetArrayUBound(nullptr) == -1);
  zyl::REALAppendArrayValue(nullptr, a.get());  // nothing for a nil array
}

TEST_CASE("handles") {
  zyl::Handle h = zyl::allocateHandle(0);
  REQUIRE(h != nullptr);
  CHECK(zyl::getHandleSize(h) == 0);
  h = zyl::resizeHandle(h, 10);
  REQUIRE(h != nullptr);
  CHECK(zyl::getHandleSize(h) == 10);
  memcpy(zyl::lockHandle(h), "0123456789", 10);
  h = zyl::resizeHandle(h, 4000);
  REQUIRE(h != nullptr);
  CHECK(memcmp(zyl::lockHandle(h), "0123456789", 10) == 0);
  CHECK(zyl::resizeHandle(h, -1) == nullptr);  // frees it
  CHECK(zyl::allocateHandle(-1) == nullptr);
  CHECK(zyl::getHandleSize(nullptr) == 0);
  CHECK(zyl::lockHandle(nullptr) == nullptr);
  CHECK(zyl::AllocateClearMemory(0) == nullptr);
  CHECK(zyl::AllocateClearMemory(-5) == nullptr);
}

TEST_CASE("LocalBytes: the inner array up to its size, the allocator beyond; cleared when asked") {
  for (const int64_t size : {int64_t{0}, int64_t{1}, int64_t{16}, int64_t{17}, int64_t{1000}}) {
    CAPTURE(size);
    zyl::LocalBytes<16> cleared(size, zyl::kCleared);
    const auto* at = reinterpret_cast<const uint8_t*>(&cleared);
    const bool inside = cleared.Get() >= at && cleared.Get() < at + sizeof cleared;
    CHECK(inside == (size <= 16));
    CHECK(reinterpret_cast<uintptr_t>(cleared.Get()) % 16 == 0);
    CHECK(std::count(cleared.Get(), cleared.Get() + size, 0) == size);
    zyl::LocalBytes<16> uncleared(size, zyl::kUncleared);
    memset(uncleared.Get(), 0xAB, static_cast<size_t>(size));  // writable to its end
  }
}

TEST_CASE("OutputBuffer keeps what was written when it grows, from its own array or the heap") {
  // First reservations inside the array and beyond it; writes that outgrow each.
  for (const int64_t first : {int64_t{1}, int64_t{500}, int64_t{512}, int64_t{513}, int64_t{5000}}) {
    CAPTURE(first);
    zyl::OutputBuffer<uint32_t> out(first);
    std::vector<uint32_t> expected;
    for (uint32_t k = 0; k < 3000; ++k) {
      const auto count = static_cast<int64_t>(1 + k % 7);
      uint32_t* at = out.Room(count);
      for (int64_t j = 0; j < count; ++j) expected.push_back(at[j] = k * 8 + static_cast<uint32_t>(j));
      out.Advance(count);
    }
    REQUIRE(out.Length() == static_cast<int64_t>(expected.size()));
    CHECK(std::equal(expected.begin(), expected.end(), out.Data()));
  }
}

TEST_CASE("OutputBuffer: a failed growth from its own array is a shortage of memory, nothing lost") {
  zyl::OutputBuffer<char> out(10);
  out.Append("abc", 3);
  zyl::SetAllocationFailureHook([]() noexcept { return true; });
  CHECK_THROWS_AS(out.Room(100000), std::bad_alloc);
  zyl::SetAllocationFailureHook(nullptr);
  CHECK(std::string(out.Data(), static_cast<size_t>(out.Length())) == "abc");
  out.Append("def", 3);
  CHECK(std::string(out.Data(), static_cast<size_t>(out.Length())) == "abcdef");
}

TEST_CASE("rbFreeLater gives back what its variables hold and clears them") {
  zyltest::PluginHost host;
  REALobjectStruct* object = memhost::NewObject("StyleRun");
  REALstringStruct* string = memhost::NewString("x", memhost::kUTF8);
  { zyl::rbFreeLater later(&object, &string); }
  CHECK(object == nullptr);
  CHECK(string == nullptr);
  { zyl::rbFreeLater later(nullptr, &string); }  // empty slots and nil variables are fine
}

TEST_CASE("host operations without their entries return empty results") {
  zyltest::PluginHost host;
  memhost::String s("abc", memhost::kUTF8);
  zyl::ResetHostEntryCaches();
  memhost::HideAllEntries();
  zyl::gResolver = memhost::Resolve;
  zyl::REALstringData data{};
  CHECK_FALSE(zyl::REALGetStringData(s.get(), zyl::kEncodingUTF8, &data));
  CHECK(zyl::REALBuildStringWithEncoding("a", 1, zyl::kEncodingUTF8) == nullptr);
  CHECK(zyl::REALGetStringEncoding(s.get()) == 0);
  CHECK(zyl::REALConvertString(s.get(), zyl::kEncodingUTF16) == nullptr);
  CHECK(zyl::REALCompareStrings(s.get(), s.get()) == 0);
  CHECK(zyl::REALnewInstance("StyleRun") == nullptr);
  CHECK(zyl::REALCreateArray(3, -1) == nullptr);
  CHECK_FALSE(zyl::REALinRuntime());
  int64_t length = 77;
  CHECK(zyl::REALGetStringContents(s.get(), &length) == nullptr);
  CHECK(length == 77);
  bool ran = false;
  CHECK(zyl::REALCallFunctionWithExceptionHandler(NoOp, &ran) == nullptr);
  CHECK(ran);
  zyl::REALUnlockString(s.get());  // does nothing without the entry

  // A nil answer is not kept: the entry is asked for again and found once the host offers it.
  memhost::ShowAllEntries();
  CHECK(zyl::REALGetStringEncoding(s.get()) == memhost::kUTF8);
}

TEST_CASE("REALGetStringContents") {
  zyltest::PluginHost host;
  memhost::String s("hello", memhost::kUTF8);
  int64_t length = -1;
  const char* bytes = zyl::REALGetStringContents(s.get(), &length);
  REQUIRE(bytes != nullptr);
  CHECK(std::string(bytes, 5) == "hello");
  CHECK(length == 5);
  length = 99;
  CHECK(zyl::REALGetStringContents(nullptr, &length) == nullptr);
  CHECK(length == 99);

  SUBCASE("without the host's length method the length is left alone") {
    zyl::ResetHostEntryCaches();
    zyl::gResolver = memhost::Resolve;
    memhost::HideMethod("LenB( s as string ) as integer");
    const char* again = zyl::REALGetStringContents(s.get(), &length);
    REQUIRE(again != nullptr);
    CHECK(std::string(again, 5) == "hello");
    CHECK(length == 99);
  }
}

TEST_CASE("boolean results: only the low byte counts") {
  zyltest::BareHost host;
  memhost::SetBooleanGarbage(true);
  REALPluginMain(memhost::Resolve);
  memhost::String s("x", memhost::kUTF8);
  zyl::REALstringData data{};
  CHECK_FALSE(zyl::REALGetStringData(nullptr, zyl::kEncodingUTF8, &data));
  REQUIRE(zyl::REALGetStringData(s.get(), zyl::kEncodingUTF8, &data));
  zyl::REALDisposeStringData(&data);
  memhost::Object run("StyleRun");
  REQUIRE(memhost::SetBooleanProperty(run.get(), "Bold", true));
  bool bold = false;
  CHECK(zyl::REALGetPropValueBoolean(run.get(), "Bold", &bold));  // the host writes a 2
  CHECK(bold);
  CHECK_FALSE(zyl::REALGetPropValueBoolean(run.get(), "NoSuchProperty", &bold));
}

TEST_CASE("UnicodeStringZYL and NativeStringZYL") {
  zyltest::PluginHost host;
  memhost::String e("\xC3\xA9", memhost::kUTF8);
  memhost::String wide(memhost::Call<REALstringStruct*>("UnicodeStringZYL(s as string) as string", e.get()));
  CHECK(wide.bytes() == std::string("\xE9\x00", 2));
  CHECK(wide.encoding() == memhost::kUTF16);
  memhost::String back(memhost::Call<REALstringStruct*>("NativeStringZYL(s as string) as string", wide.get()));
  CHECK(memhost::Value(back.get()) == StringValue{"\xC3\xA9", memhost::kUTF8});
  CHECK(memhost::Call<REALstringStruct*>("NativeStringZYL(s as string) as string", nullptr) == nullptr);
}

}  // TEST_SUITE
