#include "support/plugin_host.h"

#include <doctest/doctest.h>

#include <cstdio>

#include "plugin/log.h"
#include "plugin/registration.h"

namespace zyltest {

namespace {

// What every test must leave behind: nothing it was handed still held, nothing released twice,
// no raised exception left unread.
void CheckHostIsClean() {
  for (const std::string& leftover : memhost::Leftovers()) FAIL_CHECK(leftover);
  const auto pending = memhost::TakeException();
  CHECK_MESSAGE(!pending.has_value(), "unread exception: " << (pending ? pending->message : ""));
}

}  // namespace

PluginHost::PluginHost(double hostVersion, bool inRuntime) : session_(hostVersion) {
  zyl::ResetPluginStateForTests();
  memhost::SetInRuntime(inRuntime);
  REALPluginMain(memhost::Resolve);
}

PluginHost::~PluginHost() {
  CheckHostIsClean();
  zyl::ResetPluginStateForTests();
}

BareHost::BareHost(double hostVersion) : session_(hostVersion) { zyl::ResetPluginStateForTests(); }

BareHost::~BareHost() {
  CheckHostIsClean();
  zyl::ResetPluginStateForTests();
}

CapturedLog::CapturedLog(bool debugging) : file_(tmpfile()), debugging_(debugging) {
  zyl::DebugFile = static_cast<FILE*>(file_);
  if (debugging_) zyl::DebuggingEnabled = true;
}

CapturedLog::~CapturedLog() {
  if (debugging_) zyl::DebuggingEnabled = false;
  zyl::DebugFile = nullptr;
  if (file_ != nullptr) fclose(static_cast<FILE*>(file_));
}

std::vector<std::string> CapturedLog::Lines() {
  std::vector<std::string> lines;
  auto* file = static_cast<FILE*>(file_);
  if (file == nullptr) return lines;
  fflush(file);
  rewind(file);
  std::string line;
  for (int c; (c = fgetc(file)) != EOF;) {
    if (c == '\n') {
      lines.push_back(line);
      line.clear();
    } else {
      line.push_back(static_cast<char>(c));
    }
  }
  fseek(file, 0, SEEK_END);
  return lines;
}

int CapturedLog::Count(const std::string& debugLine) {
  int n = 0;
  for (const std::string& line : Lines()) n += line == "ZYL Debug: " + debugLine;
  return n;
}

}  // namespace zyltest
