// The log's format and the conversion of native failures into host exceptions.
#include <doctest/doctest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "plugin/guard.h"
#include "plugin/log.h"
#include "support/plugin_host.h"

namespace {

template <typename E>
REALstringStruct* Throwing(REALstringStruct*) {
  throw E("");
}
REALstringStruct* ThrowingWithText(REALstringStruct*) { throw std::runtime_error("boom"); }
REALstringStruct* ThrowingBadAlloc(REALstringStruct*) { throw std::bad_alloc(); }
REALstringStruct* ThrowingRangeText(REALstringStruct*) { throw std::range_error("index 7"); }
int64_t ThrowingInteger(int64_t) { throw 42; }
void ThrowingVoid() { throw std::logic_error("void too"); }

}  // namespace

TEST_SUITE("log") {

TEST_CASE("each overload writes the prefix, the text and the value") {
  zyltest::CapturedLog log;
  zyl::LogMessage("plain");
  zyl::LogMessage("two", int64_t{-1}, int64_t{2});
  zyl::LogMessage("i64", int64_t{-5});
  zyl::LogMessage("i32", int32_t{-6});
  zyl::LogMessage("u32", uint32_t{0x14000100});
  zyl::LogMessage("u64", uint64_t{18446744073709551615ull});
  zyl::LogMessage("text", "value");
  zyl::LogMessage("ptr", static_cast<const void*>(nullptr));
  std::vector<std::string> lines = log.Lines();
  REQUIRE(lines.size() == 8);
  CHECK(lines.back().rfind("ZYL Debug: ptr ", 0) == 0);
  lines.pop_back();
  CHECK(lines == std::vector<std::string>{"ZYL Debug: plain", "ZYL Debug: two -1, 2", "ZYL Debug: i64 -5",
                                          "ZYL Debug: i32 -6", "ZYL Debug: u32 335544576",
                                          "ZYL Debug: u64 18446744073709551615", "ZYL Debug: text value"});
}

TEST_CASE("a line longer than 4095 characters is cut") {
  zyltest::CapturedLog log;
  const std::string longText(5000, 'x');
  zyl::LogMessage(longText.c_str());
  const auto lines = log.Lines();
  REQUIRE(lines.size() == 1);
  CHECK(lines[0].size() == 4095);
  CHECK(lines[0].rfind("ZYL Debug: xxx", 0) == 0);
}

}  // TEST_SUITE

TEST_SUITE("guard") {

TEST_CASE("standard exceptions become the matching host exception") {
  struct Case {
    REALstringStruct* (*call)(REALstringStruct*);
    const char* className;
    const char* message;
  };
  const Case cases[] = {
      {zyl::Guard<&ThrowingBadAlloc>::Call, "OutOfMemoryException", "Failed to allocate memory: std::bad_alloc"},
      {zyl::Guard<&Throwing<std::out_of_range>>::Call, "OutOfBoundsException", "C++ reports range error."},
      {zyl::Guard<&ThrowingRangeText>::Call, "OutOfBoundsException", "C++ reports range error: index 7"},
      {zyl::Guard<&Throwing<std::overflow_error>>::Call, "OutOfBoundsException", "C++ reports overflow error."},
      {zyl::Guard<&Throwing<std::underflow_error>>::Call, "OutOfBoundsException", "C++ reports underflow error."},
      {zyl::Guard<&ThrowingWithText>::Call, "RuntimeException", "C++ Exception: boom"},
      {zyl::Guard<&Throwing<std::invalid_argument>>::Call, "RuntimeException", "C++ Exception."},
  };
  zyltest::PluginHost host;
  for (const Case& c : cases) {
    CAPTURE(c.message);
    CHECK(c.call(nullptr) == nullptr);
    const auto raised = memhost::TakeException();
    REQUIRE(raised.has_value());
    CHECK(raised->className == c.className);
    CHECK(raised->message == c.message);
    CHECK(raised->errorNumber == 0);
  }
}

TEST_CASE("anything else becomes a RuntimeException, logged when debugging") {
  zyltest::PluginHost host;
  zyltest::CapturedLog log;
  CHECK(zyl::Guard<&ThrowingInteger>::Call(1) == 0);
  CHECK(log.Lines().empty());
  auto raised = memhost::TakeException();
  REQUIRE(raised.has_value());
  CHECK(raised->className == "RuntimeException");
  CHECK(raised->message == "Sorry, but there was an unnamed C++ Exception.");

  zyl::DebuggingEnabled = true;
  zyl::Guard<&ThrowingInteger>::Call(1);
  CHECK(log.Lines() == std::vector<std::string>{"ZYL Debug: Unnamed C++ Exception."});
  CHECK(memhost::TakeException().has_value());

  zyl::Guard<&ThrowingVoid>::Call();
  CHECK(memhost::TakeException()->message == "C++ Exception: void too");
}

TEST_CASE("a class the host cannot make falls back to RuntimeException, then to nothing") {
  zyltest::PluginHost host;
  memhost::FailInstantiation("OutOfBoundsException");
  zyl::Guard<&Throwing<std::out_of_range>>::Call(nullptr);
  auto raised = memhost::TakeException();
  REQUIRE(raised.has_value());
  CHECK(raised->className == "RuntimeException");
  CHECK(raised->message == "C++ reports range error.");

  memhost::FailInstantiation("RuntimeException");
  CHECK(zyl::Guard<&Throwing<std::out_of_range>>::Call(nullptr) == nullptr);
  CHECK_FALSE(memhost::TakeException().has_value());
}

}  // TEST_SUITE
