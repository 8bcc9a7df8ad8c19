// Test fixture: a fresh in-memory host with the plug-in loaded into it, as the host loads it.
#pragma once

#include <memhost.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zyltest {

// Creates a fresh host session, puts the plug-in's frame back in its state before load and calls
// REALPluginMain with the host's resolver. On destruction it checks (doctest CHECKs) that the test
// gave back every host string, object, array and string-data record it was handed, that no
// reference was released twice, and that no raised exception was left unread.
class PluginHost {
 public:
  explicit PluginHost(double hostVersion = 2024.0, bool inRuntime = true);
  ~PluginHost();
  PluginHost(const PluginHost&) = delete;
  PluginHost& operator=(const PluginHost&) = delete;

  memhost::Session& session() { return session_; }

 private:
  memhost::Session session_;
};

// Sets up a host session with the chosen version, without loading the plug-in (for tests of the
// entry sequence itself). The same end-of-test checks apply.
class BareHost {
 public:
  explicit BareHost(double hostVersion = 2024.0);
  ~BareHost();
  memhost::Session& session() { return session_; }

 private:
  memhost::Session session_;
};

// Collects the library's log lines while it lives (the log stream points at a temporary file);
// with debugging set, switches the optional debug lines on for as long.
class CapturedLog {
 public:
  explicit CapturedLog(bool debugging = false);
  ~CapturedLog();
  std::vector<std::string> Lines();  // the lines written so far, without their line feeds
  int Count(const std::string& debugLine);  // how often "ZYL Debug: " + debugLine was written
  bool Has(const std::string& debugLine) { return Count(debugLine) > 0; }

 private:
  void* file_;
  bool debugging_;
};

}  // namespace zyltest
