// "StringANDZYL", "StringORZYL", "StringXORZYL" and "StringXOR2ZYL": every way of combining against
// a byte-by-byte reference, and the bad arguments.
#include <doctest/doctest.h>

#include <optional>
#include <random>
#include <vector>

#include "strings/build_test_support.h"
#include "support/plugin_host.h"

using memhost::String;
using namespace buildtest;

namespace {

enum class Op { And, Or, Xor, Xor2 };

const char* DeclarationOf(Op op) {
  switch (op) {
    case Op::And: return kAND;
    case Op::Or: return kOR;
    case Op::Xor: return kXOR;
    default: return kXOR2;
  }
}

String Combine(Op op, REALstringStruct* data, REALstringStruct* mask, int64_t offset = 0) {
  if (op == Op::And || op == Op::Or) return CallString(DeclarationOf(op), data, mask);
  return CallString(DeclarationOf(op), data, mask, offset);
}

std::string Reference(Op op, const std::string& data, const std::string& mask, size_t offset) {
  std::string out = data;
  for (size_t i = 0; i < data.size(); ++i) {
    const auto a = static_cast<uint8_t>(data[i]);
    const auto m = static_cast<uint8_t>(mask[(offset + i) % mask.size()]);
    const uint8_t r = op == Op::And ? a & m : op == Op::Or ? a | m : a ^ m;
    out[i] = static_cast<char>(op == Op::Xor2 ? r ^ (i & 0xFF) : r);
  }
  return out;
}

constexpr Op kAllOps[] = {Op::And, Op::Or, Op::Xor, Op::Xor2};

}  // namespace

TEST_CASE("the result of combining carries no encoding") {
  zyltest::PluginHost host;
  String high("\xE9\xFF", memhost::kISOLatin1), space(" ", memhost::kUTF8);
  String r = Combine(Op::Or, high.get(), space.get());
  CHECK(r.bytes() == "\xE9\xFF");
  CHECK(r.encoding() == memhost::kNoEncoding);
}

TEST_CASE("every way of combining matches the byte-by-byte reference") {
  zyltest::PluginHost host;
  std::mt19937 rng(3);
  // Mask sizes of the widened pattern (1, 2, 4), short repeating ones, ones around the widening
  // limit and long ones; data shorter and longer than the mask, whole words and tails.
  const size_t maskSizes[] = {1, 2, 3, 4, 5, 7, 8, 9, 16, 63, 64, 65, 100, 300};
  for (const size_t maskSize : maskSizes) {
    for (int round = 0; round < 12; ++round) {
      const size_t dataSize = round < 4 ? static_cast<size_t>(round) * 7 + 1 : rng() % 700 + 1;
      const std::string data = RandomBytes(rng, dataSize);
      const std::string mask = RandomBytes(rng, maskSize);
      // Separate allocations: a read past either string's terminator is caught by the sanitizers.
      String d(data, memhost::kNoEncoding, memhost::Storage::External);
      String m(mask, memhost::kNoEncoding, memhost::Storage::External);
      for (const Op op : kAllOps) {
        const size_t offset = op == Op::And || op == Op::Or ? 0 : rng() % maskSize;
        CAPTURE(static_cast<int>(op));
        CAPTURE(dataSize);
        CAPTURE(maskSize);
        CAPTURE(offset);
        CHECK(Combine(op, d.get(), m.get(), static_cast<int64_t>(offset)).bytes() ==
              Reference(op, data, mask, offset));
      }
    }
  }
}

TEST_CASE("nil and empty arguments give nil, a MaskOffset outside the mask raises") {
  zyltest::PluginHost host;
  String abc("abc", memhost::kUTF8);
  String empty("", memhost::kUTF8);
  for (const Op op : kAllOps) {
    CAPTURE(static_cast<int>(op));
    CHECK(Combine(op, nullptr, abc.get()).get() == nullptr);
    CHECK(Combine(op, abc.get(), nullptr).get() == nullptr);
    CHECK(Combine(op, empty.get(), abc.get()).get() == nullptr);
    CHECK(Combine(op, abc.get(), empty.get()).get() == nullptr);
  }
  // Nil arguments and the empty mask are checked before the offset.
  for (const Op op : {Op::Xor, Op::Xor2}) {
    CHECK(Combine(op, abc.get(), empty.get(), 99).get() == nullptr);
    CHECK(Combine(op, nullptr, abc.get(), -1).get() == nullptr);
    CHECK(Combine(op, abc.get(), nullptr, 7).get() == nullptr);
  }
  CHECK_FALSE(memhost::TakeException().has_value());

  struct Case {
    REALstringStruct* data;
    int64_t offset;
    const char* message;
  } cases[] = {
      {abc.get(), -1, "MaskOffset -1 is outside the mask (0 to 2)."},
      {abc.get(), 3, "MaskOffset 3 is outside the mask (0 to 2)."},
      {abc.get(), INT64_MIN, "MaskOffset -9223372036854775808 is outside the mask (0 to 2)."},
      {empty.get(), 5, "MaskOffset 5 is outside the mask (0 to 2)."},  // a bad argument whatever the data
  };
  for (const Op op : {Op::Xor, Op::Xor2}) {
    for (const Case& c : cases) {
      CAPTURE(c.offset);
      CHECK(Combine(op, c.data, abc.get(), c.offset).get() == nullptr);
      const auto raised = memhost::TakeException();
      REQUIRE(raised.has_value());
      CHECK(raised->className == "OutOfBoundsException");
      CHECK(raised->message == c.message);
    }
  }
}
