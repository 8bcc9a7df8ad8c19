// "CheckUTF8ZYL" as the host calls it: listed cases, placeholders, growth past the reservation,
// the three forms, bad arguments, and a differential run against the reference.
#include <doctest/doctest.h>

#include <optional>
#include <random>

#include "support/plugin_host.h"
#include "text/text_test_support.h"

using memhost::String;
using namespace texttest;

namespace {

// The repair through the pointer form; nullopt for nil.
std::optional<std::string> Repair(const std::string& bytes, REALstringStruct* placeholder) {
  String r(memhost::Call<REALstringStruct*>(kCheckUTF8p, static_cast<void*>(const_cast<char*>(bytes.data())),
                                            static_cast<int64_t>(bytes.size()), placeholder));
  if (r.get() == nullptr) return std::nullopt;
  CHECK(r.encoding() == memhost::kUTF8);
  return r.bytes();
}

}  // namespace

TEST_CASE("CheckUTF8ZYL replaces every byte outside a well-formed sequence") {
  zyltest::PluginHost host;
  String question("?", memhost::kUTF8), inverted(Wide(u"\u00BF"), memhost::kUTF16);
  struct Case {
    std::string why, in, out;
  } cases[] = {
      {"bad continuation", "\x41\xC3\x28\x42", "A?(B"},
      {"encoded surrogate", "\xED\xA0\x80", "???"},
      {"beyond U+10FFFF", "\xF4\x90\x80\x80", "????"},
      {"overlong slash", "\xC0\xAF", "??"},
      {"cut off at the end", "ab\xF0\x9F\x98", "ab???"},
      {"F5 and above never lead", "\xF5\x80\xFF", "???"},
      {"valid text and zero bytes untouched", kValidSample + '\0', kValidSample + '\0'},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    CHECK(Repair(c.in, question.get()) == c.out);
  }
  CHECK(Repair("a\xFF" "b", nullptr) == "ab");                       // nil placeholder: removed
  CHECK(Repair("a\xFF" "b", inverted.get()) == "a\xC2\xBF" "b");      // placeholder goes in as UTF-8
  CHECK(Repair("\xFF\xFE", nullptr) == std::nullopt);                 // nothing left: nil
}

TEST_CASE("CheckUTF8ZYL grows its output when long placeholders outrun the reservation") {
  zyltest::PluginHost host;
  const std::string hashes(200, '#');
  String placeholder(hashes, memhost::kUTF8);
  // The placeholders alone fit the first reservation; the long tail after them does not.
  const std::string input = std::string(5000, 'a') + std::string(10000, '\xFF') + std::string(3000000, 'z');
  CHECK(Repair(input, placeholder.get()) == ReferenceRepair(input, hashes));
}

TEST_CASE("CheckUTF8ZYL: the three forms read the same bytes; bad arguments give nil") {
  zyltest::PluginHost host;
  String question("?", memhost::kUTF8), empty("", memhost::kUTF8);
  String text("x\xE9y\xE2\x82\xAC", memhost::kISOLatin1);  // the encoding is ignored
  memhost::Object block(memhost::AsObject(memhost::NewMemoryBlock(text.bytes())));
  auto* mb = memhost::AsMemoryBlock(block.get());
  CHECK(String(memhost::Call<REALstringStruct*>(kCheckUTF8s, text.get(), question.get())).bytes() == "x?y\xE2\x82\xAC");
  CHECK(String(memhost::Call<REALstringStruct*>(kCheckUTF8m, mb, question.get())).bytes() == "x?y\xE2\x82\xAC");

  char bytes[4] = {'a', 'b', 'c', 'd'};
  using Arguments = std::pair<void*, int64_t>;
  for (auto [data, size] : {Arguments{nullptr, 10}, Arguments{bytes, -1}, Arguments{bytes, 0}}) {
    CHECK(memhost::Call<REALstringStruct*>(kCheckUTF8p, data, size, question.get()) == nullptr);
  }
  CHECK(memhost::Call<REALstringStruct*>(kCheckUTF8s, empty.get(), question.get()) == nullptr);
  CHECK(memhost::Call<REALstringStruct*>(kCheckUTF8s, static_cast<REALstringStruct*>(nullptr), question.get()) ==
        nullptr);
  CHECK(memhost::Call<REALstringStruct*>(kCheckUTF8m, static_cast<REALmemoryBlockStruct*>(nullptr),
                                         question.get()) == nullptr);
}

TEST_CASE("CheckUTF8ZYL agrees with the reference on random and corrupted input") {
  zyltest::PluginHost host;
  const std::string bullet = "<\xE2\x80\xA2>";
  String placeholder(bullet, memhost::kUTF8);
  ForEachInput(400, [&](const std::string& in) {
    CAPTURE(in);
    CHECK(Repair(in, placeholder.get()).value_or("") == ReferenceRepair(in, bullet));
  });
}

TEST_CASE("CheckUTF8ZYL on input where bad bytes come thick, with placeholders of every size") {
  zyltest::PluginHost host;
  // Random bytes, and random bytes mixed with sequences of every length (well-formed and not):
  // the walk for thick bad bytes, its stretches of well-formed bytes and its chunks.
  const std::string pieces[] = {"\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xF0\x90\x80\x80",
                                "\xF4\x8F\xBF\xBF", "\xC2", "\xE0\x80", "\xF4\x90", "abcdefgh", "\x80", "\xFF"};
  std::mt19937 rng(77);
  for (const std::string placeholder : {"", "?", "\xEF\xBF\xBD", "abcd", "<\xE2\x80\xA2>"}) {
    String p(placeholder, memhost::kUTF8);
    for (int round = 0; round < 60; ++round) {
      std::string in;
      const size_t length = round % 10 == 0 ? 3000 : rng() % 200;
      while (in.size() < length) {
        if (round % 2 == 0) {
          in += static_cast<char>(rng());
        } else {
          in += pieces[rng() % std::size(pieces)];
        }
      }
      CAPTURE(in);
      CHECK(Repair(in, p.get()).value_or("") == ReferenceRepair(in, placeholder));
    }
  }
}
