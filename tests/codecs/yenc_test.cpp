// yEnc decoding as the host calls it, in both forms: listed cases, the "=" at the very end, and
// random data against a plain reference.
#include <doctest/doctest.h>

#include "codecs/byte_codecs_test_support.h"
#include "support/plugin_host.h"

using memhost::String;
using namespace bytecodecs;

namespace {

std::string ReferenceDecode(const std::string& in) {
  std::string out;
  for (size_t i = 0; i < in.size(); ++i) {
    int b = static_cast<uint8_t>(in[i]);
    if (b == '=') b = (i + 1 < in.size() ? static_cast<uint8_t>(in[++i]) : 0) - 64;
    out += static_cast<char>(b - 42);
  }
  return out;
}

std::optional<memhost::StringValue> DecodeString(const std::string& bytes) {
  String data(bytes, memhost::kUTF8);
  return Take(memhost::Call<REALstringStruct*>(kYDecodeString, data.get()));
}

// nullopt for a nil block.
std::optional<std::string> DecodeMemory(const std::string& bytes) {
  memhost::Object block(memhost::AsObject(memhost::NewMemoryBlock(bytes)));
  memhost::Object result(
      memhost::AsObject(memhost::Call<REALmemoryBlockStruct*>(kYDecodeMemory, memhost::AsMemoryBlock(block.get()))));
  if (result.get() == nullptr) return std::nullopt;
  CHECK(memhost::ClassOf(result.get()) == "MemoryBlock");
  return memhost::MemoryBlockBytes(memhost::AsMemoryBlock(result.get()));
}

}  // namespace

TEST_CASE("yEnc: listed cases in both forms") {
  zyltest::PluginHost host;
  struct Case {
    std::string why, in, out;
  } cases[] = {
      {"plain byte", "k", "\x41"},
      {"= at the very end pairs with 0", "ab=", "\x37\x38\x96"},
      {"= alone", "=", "\x96"},
      {"wrap-around below 42", std::string("\0*", 2), std::string("\xD6\0", 2)},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    CHECK(DecodeString(c.in).value_or(memhost::StringValue{}).bytes == c.out);
    CHECK(DecodeMemory(c.in) == c.out);
  }
  CHECK(DecodeString("k") == memhost::StringValue{"A", memhost::kASCII});
  CHECK(DecodeString("=") == memhost::StringValue{"\x96", memhost::kNoEncoding});
  CHECK(DecodeString("") == std::nullopt);
  CHECK(DecodeMemory("") == std::nullopt);
  CHECK(memhost::Call<REALstringStruct*>(kYDecodeString, kNilString) == nullptr);
  CHECK(memhost::Call<REALmemoryBlockStruct*>(kYDecodeMemory, static_cast<REALmemoryBlockStruct*>(nullptr)) ==
        nullptr);
}

TEST_CASE("yEnc agrees with the reference on random data, escapes and every byte value") {
  zyltest::PluginHost host;
  std::mt19937 rng(11);
  std::vector<std::string> inputs = {AllBytes(), AllBytes() + "="};
  for (int round = 0; round < 300; ++round) inputs.push_back(RandomBytes(rng, 2000, "==\r\n"));
  for (const std::string& in : inputs) {
    CAPTURE(in);
    const std::string expected = ReferenceDecode(in);
    CHECK(DecodeMemory(in).value_or("") == expected);
    CHECK(DecodeString(in).value_or(memhost::StringValue{}).bytes == expected);
  }
}
