// Host objects: StyledText paragraphs and runs, properties, memory blocks, exceptions, and the
// boolean garbage mode.
#include <doctest/doctest.h>

#include <string>
#include <vector>

#include "memhost.h"
#include "memhost_test_support.h"

using namespace std::string_literals;
using namespace memhost_test;

namespace {

int64_t IntegerOf(REALobjectStruct* object, const char* name) {
  int64_t value = -99;
  REQUIRE(Entry<GetIntegerFn>("REALGetPropValueInteger")(object, name, &value) == 1);
  return value;
}

template <class F>
F Method(REALobjectStruct* object, const char* declaration) {
  void* address = Entry<LoadObjectMethodFn>("REALLoadObjectMethod")(object, declaration);
  REQUIRE_MESSAGE(address != nullptr, "no method " << declaration);
  return memhost::detail::AsFunction<F>(address);
}

// The paragraphs as the plug-in sees them: ParagraphCount, then Paragraph(i).StartPos/EndPos.
std::vector<memhost::ParagraphSpan> ParagraphsThroughEntries(REALobjectStruct* text) {
  auto paragraph = Method<IndexMethodFn>(text, "Paragraph(Index as Integer) As Paragraph");
  std::vector<memhost::ParagraphSpan> out;
  const int64_t count = IntegerOf(text, "ParagraphCount");
  for (int64_t i = 0; i < count; ++i) {
    memhost::Object p(paragraph(text, i));
    REQUIRE(p.get() != nullptr);
    out.push_back({IntegerOf(p.get(), "StartPos"), IntegerOf(p.get(), "EndPos"), IntegerOf(p.get(), "Alignment")});
  }
  return out;
}

struct ParagraphCase {
  const char* why;
  std::vector<memhost::RunStyle> runs;
  std::vector<memhost::ParagraphSpan> expected;
};

memhost::RunStyle Run(std::string text, uint32_t encoding = memhost::kUTF8) {
  memhost::RunStyle r;
  r.text = std::move(text);
  r.encoding = encoding;
  return r;
}

const std::vector<ParagraphCase> kParagraphCases = {
    {"empty text has no paragraph", {}, {}},
    {"one empty run has no paragraph", {Run("")}, {}},
    {"no separator", {Run("abc")}, {{0, 3, 0}}},
    {"CR LF is one separator", {Run("a\r\nb")}, {{0, 1, 0}, {3, 4, 0}}},
    {"CR, LF alone", {Run("a\rb\nc")}, {{0, 1, 0}, {2, 3, 0}, {4, 5, 0}}},
    {"LF CR is two separators", {Run("a\n\rb")}, {{0, 1, 0}, {3, 4, 0}}},
    {"empty stretches are not counted", {Run("\r\na\r\n\r\n\nb\r\n")}, {{2, 3, 0}, {8, 9, 0}}},
    {"only separators", {Run("\r\n\n\r")}, {}},
    {"CR LF across two runs", {Run("ab\r"), Run("\ncd")}, {{0, 2, 0}, {4, 6, 0}}},
    {"runs join into one paragraph", {Run("ab"), Run("cd\n"), Run("e")}, {{0, 4, 0}, {5, 6, 0}}},
    {"characters, not bytes (UTF-8)", {Run("\xC3\xA9\n\xC3\xA9"s)}, {{0, 1, 0}, {2, 3, 0}}},
    {"characters, not bytes (UTF-16)", {Run("\x3D\xD8\x00\xDE\n\0x\0"s, memhost::kUTF16)}, {{0, 1, 0}, {2, 3, 0}}},
    {"bytes for 8-bit encodings", {Run("\xE9\xE9\r\n"s, memhost::kISOLatin1)}, {{0, 2, 0}}},
};

}  // namespace

TEST_CASE("StyledText paragraphs") {
  memhost::Session session;
  for (const ParagraphCase& c : kParagraphCases) {
    CAPTURE(c.why);
    memhost::Object text(memhost::NewStyledText(c.runs));
    CHECK(memhost::Paragraphs(text.get()) == c.expected);
    CHECK(ParagraphsThroughEntries(text.get()) == c.expected);
    CHECK(IntegerOf(text.get(), "StyleRunCount") == static_cast<int64_t>(c.runs.size()));
  }
  CHECK(memhost::LiveObjects() == 0);
  CHECK(memhost::LiveStrings() == 0);
  CHECK(memhost::Problems().empty());
}

TEST_CASE("StyledText runs are copied in and out") {
  memhost::Session session;
  auto newInstance = Entry<NewInstanceFn>("PluginNewInstance");
  auto setString = Entry<SetStringPropFn>("REALSetPropValueString");
  auto getString = Entry<GetStringPropFn>("REALGetPropValueString");
  auto setInteger = Entry<SetIntegerFn>("REALSetPropValueInteger");
  auto setColour = Entry<int8_t (*)(REALobjectStruct*, const char*, uint32_t)>("REALSetPropValueUInt32");
  auto getColour = Entry<int8_t (*)(REALobjectStruct*, const char*, uint32_t*)>("REALGetPropValueColor");
  auto setBool = Entry<SetBoolFn>("REALSetPropValueBoolean");

  memhost::Object text(memhost::NewStyledText({}));
  auto append = Method<void (*)(REALobjectStruct*, REALobjectStruct*)>(text.get(), "AppendStyleRun(Run as StyleRun)");
  auto styleRun = Method<IndexMethodFn>(text.get(), "StyleRun(Index as Integer) As StyleRun");

  memhost::Object run(newInstance("StyleRun"));
  memhost::String hello("Hello\r\n", memhost::kUTF8);
  memhost::String helvetica("Helvetica", memhost::kUTF8);
  CHECK(setString(run.get(), "Text", hello.get()) == 1);
  CHECK(setString(run.get(), "FontName", helvetica.get()) == 1);  // the same property as "Font"
  CHECK(setInteger(run.get(), "Size", 12) == 1);
  CHECK(setColour(run.get(), "TextColor", 0x00FF8000) == 1);
  CHECK(setBool(run.get(), "Italic", 1) == 1);
  append(text.get(), run.get());
  CHECK(setInteger(run.get(), "Size", 99) == 1);  // the text holds a copy
  append(text.get(), run.get());

  const std::vector<memhost::RunStyle> runs = memhost::StyleRuns(text.get());
  REQUIRE(runs.size() == 2);
  CHECK(runs[0].text == "Hello\r\n");
  CHECK(runs[0].font == "Helvetica");
  CHECK(runs[0].size == 12);
  CHECK(runs[0].colour == 0x00FF8000);
  CHECK(runs[0].italic);
  CHECK_FALSE(runs[0].bold);
  CHECK(runs[1].size == 99);
  CHECK(memhost::StyledTextUTF8(text.get()) == "Hello\r\nHello\r\n");

  memhost::Object copy(styleRun(text.get(), 0));
  REQUIRE(copy.get() != nullptr);
  REALstringStruct* font = nullptr;
  CHECK(getString(copy.get(), "Font", &font) == 1);
  CHECK(memhost::Bytes(font) == "Helvetica");
  memhost::Release(font);
  uint32_t colour = 0;
  CHECK(getColour(copy.get(), "TextColor", &colour) == 1);
  CHECK(colour == 0x00FF8000);
  CHECK(setInteger(copy.get(), "Size", 1) == 1);
  CHECK(memhost::StyleRuns(text.get())[0].size == 12);

  // A fresh run is empty: nil strings, 0, false.
  memhost::Object fresh(newInstance("StyleRun"));
  CHECK(memhost::StringProperty(fresh.get(), "Text") == memhost::StringValue{});
  CHECK(memhost::IntegerProperty(fresh.get(), "Size") == 0);
  CHECK(memhost::BooleanProperty(fresh.get(), "Bold") == false);
  CHECK(memhost::Problems().empty());
}

TEST_CASE("StyledText indexes out of range raise OutOfBoundsException") {
  memhost::Session session;
  memhost::Object text(memhost::NewStyledText({Run("a\nb")}, {0, 3}));
  auto styleRun = Method<IndexMethodFn>(text.get(), "StyleRun(Index as Integer) As StyleRun");
  auto paragraph = Method<IndexMethodFn>(text.get(), "Paragraph(Index as Integer) As Paragraph");
  auto remove = Method<void (*)(REALobjectStruct*, int64_t)>(text.get(), "RemoveStyleRun(Index as Integer)");
  auto align = Method<void (*)(REALobjectStruct*, int64_t, int64_t)>(
      text.get(), "ParagraphAlignment(Index As Integer, assigns _value as Integer)");

  CHECK(styleRun(text.get(), 1) == nullptr);
  CHECK(paragraph(text.get(), -1) == nullptr);
  CHECK(paragraph(text.get(), 2) == nullptr);
  remove(text.get(), 1);
  align(text.get(), 2, 1);
  CHECK(memhost::RaisedCount() == 5);
  const std::optional<memhost::RaisedException> e = memhost::TakeException();
  REQUIRE(e);
  CHECK(e->className == "OutOfBoundsException");
  CHECK_FALSE(memhost::TakeException());  // only the latest is kept

  align(text.get(), 0, 2);
  CHECK(memhost::Paragraphs(text.get()) == std::vector<memhost::ParagraphSpan>{{0, 1, 2}, {2, 3, 3}});
  remove(text.get(), 0);  // alignments stay with paragraph indexes
  CHECK(IntegerOf(text.get(), "ParagraphCount") == 0);
  CHECK(memhost::LiveObjects() == 1);
  CHECK(memhost::Problems().empty());
}

TEST_CASE("StyledText: a paragraph that vanishes takes its alignment along; look-ups are counted") {
  memhost::Session session;
  memhost::Object text(memhost::NewStyledText({Run("a\n"), Run("b\n"), Run("c")}, {2, 3, 1}));
  const char* removeDeclaration = "RemoveStyleRun(Index as Integer)";
  auto remove = Method<void (*)(REALobjectStruct*, int64_t)>(text.get(), removeDeclaration);
  auto append = Method<void (*)(REALobjectStruct*, REALobjectStruct*)>(text.get(), "AppendStyleRun(Run as StyleRun)");
  CHECK(memhost::MethodLookupCount(removeDeclaration) == 1);
  CHECK(memhost::MethodLookupCount("Len(s as string) as integer") == 0);

  remove(text.get(), 2);
  remove(text.get(), 1);
  CHECK(memhost::Paragraphs(text.get()) == std::vector<memhost::ParagraphSpan>{{0, 1, 2}});
  memhost::Object run("StyleRun");
  memhost::String more("x\ny", memhost::kUTF8);
  REQUIRE(memhost::SetStringProperty(run.get(), "Text", memhost::Value(more.get())));
  append(text.get(), run.get());  // the two new paragraphs start at 0
  CHECK(memhost::Paragraphs(text.get()) == std::vector<memhost::ParagraphSpan>{{0, 1, 2}, {2, 3, 0}, {4, 5, 0}});
  CHECK(memhost::Problems().empty());
}

TEST_CASE("properties: exact names, exact types, read-only paragraphs") {
  memhost::Session session;
  auto getInteger = Entry<GetIntegerFn>("REALGetPropValueInteger");
  auto setInteger = Entry<SetIntegerFn>("REALSetPropValueInteger");
  auto getBool = Entry<GetBoolFn>("REALGetPropValueBool");
  memhost::Object run("StyleRun");
  memhost::Object paragraph("Paragraph");
  memhost::Object error("RuntimeException");
  int64_t value = 0;
  int8_t flag = 0;
  CHECK(getInteger(run.get(), "Text", &value) == 0);   // a string property
  CHECK(getInteger(run.get(), "size", &value) == 0);   // names are exact
  CHECK(getBool(run.get(), "Size", &flag) == 0);       // an integer property
  CHECK(setInteger(paragraph.get(), "StartPos", 5) == 0);
  CHECK(setInteger(error.get(), "ErrorNumber", 7) == 1);
  CHECK(getInteger(error.get(), "ErrorNumber", &value) == 1);
  CHECK(value == 7);
  CHECK(getInteger(nullptr, "ErrorNumber", &value) == 0);
  CHECK(memhost::Problems().empty());
}

TEST_CASE("boolean garbage mode") {
  memhost::Session session;
  memhost::SetInRuntime(true);
  memhost::Object run("StyleRun");
  REQUIRE(memhost::SetBooleanProperty(run.get(), "Bold", true));
  using WideGetBool = uint64_t (*)(REALobjectStruct*, const char*, int8_t*);

  const void* plain = memhost::Resolve("REALGetPropValueBool");
  const void* yield = memhost::Resolve("REALYieldToRB");
  int8_t flag = 0;
  CHECK(Entry<GetBoolFn>("REALGetPropValueBool")(run.get(), "Bold", &flag) == 1);
  CHECK(flag == 1);

  memhost::SetBooleanGarbage(true);
  CHECK(memhost::Resolve("REALGetPropValueBool") != plain);
  auto wide = Entry<WideGetBool>("REALGetPropValueBool");
  CHECK(wide(run.get(), "Bold", &flag) == 0x5A5A5A5A5A5A5A01u);
  CHECK(flag == 2);
  CHECK(wide(run.get(), "Nope", &flag) == 0x5A5A5A5A5A5A5A00u);
  CHECK(Entry<uint64_t (*)()>("REALinRuntime")() == 0x5A5A5A5A5A5A5A01u);
  // Read as the interface says (low byte only), the answers are unchanged.
  CHECK(Entry<int8_t (*)()>("REALinRuntime")() == 1);
  CHECK(memhost::Resolve("REALYieldToRB") == yield);  // only boolean entries change
}

TEST_CASE("memory blocks") {
  memhost::Session session;
  auto newInstance = Entry<NewInstanceFn>("PluginNewInstance");
  auto getPtr = Entry<void* (*)(REALmemoryBlockStruct*)>("memoryBlockGetPtr");
  auto getSize = Entry<int64_t (*)(REALmemoryBlockStruct*)>("memoryBlockGetSize");
  auto handler = Entry<REALobjectStruct* (*)(void (*)(void*), void*)>("PluginCallFunctionWithExceptionHandler");
  using Constructor = void (*)(REALobjectStruct*, int64_t);

  struct Case {
    const char* why;
    std::optional<int64_t> limit;
    bool raises;
    int64_t asked;
    int64_t size;
    const char* exception;
  };
  const Case cases[] = {
      {"exact size", std::nullopt, false, 16, 16, nullptr},
      {"zero bytes", std::nullopt, false, 0, 0, nullptr},
      {"limited: smaller than asked", 8, false, 16, 8, nullptr},
      {"under the limit", 8, false, 4, 4, nullptr},
      {"constructor raises", std::nullopt, true, 16, 0, "OutOfMemoryException"},
      {"absurd size", std::nullopt, false, int64_t{1} << 40, 0, "OutOfMemoryException"},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    memhost::LimitMemoryBlocks(c.limit);
    memhost::SetMemoryBlockConstructorRaises(c.raises);
    memhost::Object block(newInstance("MemoryBlock"));
    REALmemoryBlockStruct* mb = memhost::AsMemoryBlock(block.get());
    CHECK(getPtr(mb) == nullptr);
    CHECK(getSize(mb) == 0);
    struct Request {
      Constructor constructor;
      REALobjectStruct* block;
      int64_t size;
    } request{Method<Constructor>(block.get(), "Constructor(bytes as Integer)"), block.get(), c.asked};
    memhost::Object caught(handler([](void* p) {
      auto* r = static_cast<Request*>(p);
      r->constructor(r->block, r->size);
    }, &request));
    CHECK(getSize(mb) == c.size);
    if (c.exception != nullptr) {
      REQUIRE(caught.get() != nullptr);
      CHECK(memhost::ClassOf(caught.get()) == c.exception);
    } else {
      CHECK(caught.get() == nullptr);
      REQUIRE(getPtr(mb) != nullptr);
      CHECK(memhost::MemoryBlockBytes(mb) == std::string(static_cast<std::size_t>(c.size), '\0'));
    }
    CHECK_FALSE(memhost::TakeException());
  }
  CHECK(memhost::LiveObjects() == 0);
  CHECK(memhost::LiveStrings() == 0);
  CHECK(memhost::Problems().empty());
}

TEST_CASE("exceptions and object references") {
  memhost::Session session;
  auto raiseException = Entry<ObjectFn>("RuntimeRaiseException");
  auto unlock = Entry<ObjectFn>("REALUnlockObject");
  auto newInstance = Entry<NewInstanceFn>("PluginNewInstance");

  REALobjectStruct* first = newInstance("RuntimeException");
  REQUIRE(memhost::SetStringProperty(first, "Message", {"first", memhost::kUTF8}));
  raiseException(first);
  unlock(first);  // the host keeps its own reference
  memhost::RaiseException("OutOfMemoryException", "caf\xC3\xA9", 42);
  CHECK(memhost::RaisedCount() == 2);
  CHECK(memhost::LiveObjects() == 1);  // the first was dropped for the latest
  const std::optional<memhost::RaisedException> e = memhost::TakeException();
  REQUIRE(e);
  CHECK(e->className == "OutOfMemoryException");
  CHECK(e->message == "caf\xC3\xA9");
  CHECK(e->errorNumber == 42);
  CHECK(memhost::LiveObjects() == 0);
  CHECK(memhost::LiveStrings() == 0);
  unlock(first);
  REQUIRE(memhost::Problems().size() == 1);
  CHECK(memhost::Problems()[0].find("already released") != std::string::npos);

  memhost::FailInstantiation("StyleRun");
  CHECK(newInstance("StyleRun") == nullptr);
  CHECK(newInstance("Stylerun") == nullptr);
  CHECK_THROWS_AS(memhost::NewObject("Stylerun"), std::invalid_argument);
}
