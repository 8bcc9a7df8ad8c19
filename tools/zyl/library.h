// library.h - a plug-in library loaded the way the host loads it: dlopen, then REALPluginMain
// with the in-memory host's resolver, inside a fresh host session.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <memhost.h>

namespace zyltool {

struct LoadOptions {
  std::string pluginPath;      // empty: DefaultPluginPath()
  double hostVersion = 2024.0;  // module route
  bool debug = false;           // switch the library's "Debugging" property on after load
};

// Library: owns the host session the library registered into. The library itself stays loaded
// until the process ends (the host never unloads a plug-in either).
class Library {
 public:
  // Loads and registers. Throws ToolError when the file does not load or exports no
  // REALPluginMain. With options.debug and no "Debugging" property, warns on standard error.
  explicit Library(const LoadOptions& options);
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  const std::string& path() const { return path_; }
  double hostVersion() const { return hostVersion_; }
  void* handle() const { return handle_; }

 private:
  std::unique_ptr<memhost::Session> session_;
  std::string path_;
  double hostVersion_;
  void* handle_ = nullptr;
};

// DefaultPluginPath: the library built next to this program: ../src/libZYLString.so relative to
// the folder of /proc/self/exe (build/X/tools/zyl finds build/X/src/libZYLString.so).
std::string DefaultPluginPath();

// Banner: the line the library prints when its file is run as a program, without the line feed;
// obtained by running its "libEntry" in a child process. Empty when there is none.
std::string Banner(const Library& library);

// VersionText: a host version as people write it ("2024.0", "2013.04").
std::string VersionText(double version);

// SwitchDebugging: calls the setter of the module property "Debugging"; false when the library
// registered no such property (as on the direct route).
bool SwitchDebugging(bool on);

}  // namespace zyltool
