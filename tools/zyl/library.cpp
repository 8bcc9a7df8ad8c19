// library.cpp - loading the plug-in into the in-memory host.
#include "library.h"

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>

#include "errors.h"

namespace zyltool {

namespace {

using PluginMain = void (*)(void* (*)(const char*));

template <class F>
F AsFunction(void* address) {
  F function = nullptr;
  static_assert(sizeof function == sizeof address);
  std::memcpy(&function, &address, sizeof function);
  return function;
}

}  // namespace

std::string DefaultPluginPath() {
  char buffer[4096];
  const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  if (length <= 0) return "libZYLString.so";
  std::string self(buffer, static_cast<std::size_t>(length));
  const std::size_t slash = self.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : self.substr(0, slash);
  return std::filesystem::path(folder + "/../src/libZYLString.so").lexically_normal().string();
}

Library::Library(const LoadOptions& options)
    : path_(options.pluginPath.empty() ? DefaultPluginPath() : options.pluginPath), hostVersion_(options.hostVersion) {
  // dlopen searches the library path for a bare name; a path with a slash is taken as it is.
  const std::string openPath = path_.find('/') == std::string::npos ? "./" + path_ : path_;
  handle_ = dlopen(openPath.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_ == nullptr) {
    const char* reason = dlerror();
    throw ToolError("cannot load " + path_ + ": " + (reason != nullptr ? reason : "unknown reason") +
                    "\n(build it first, or name another library with --plugin PATH)");
  }
  void* entry = dlsym(handle_, "REALPluginMain");
  if (entry == nullptr) throw ToolError(path_ + " exports no REALPluginMain: not a plug-in library");
  session_ = std::make_unique<memhost::Session>(options.hostVersion);
  memhost::SetInRuntime(true);  // as inside a built application: the library sets up its tables
  AsFunction<PluginMain>(entry)(memhost::Resolve);
  if (options.debug && !SwitchDebugging(true)) {
    std::cerr << "zyl: warning: the library registered no Debugging property (host version "
              << VersionText(options.hostVersion) << "), --debug has no effect\n";
  }
}

Library::~Library() = default;

std::string Banner(const Library& library) {
  void* entry = dlsym(library.handle(), "libEntry");
  int pipeEnds[2];
  if (entry == nullptr || pipe(pipeEnds) != 0) return {};
  std::cout.flush();
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    // The entry writes the banner to descriptor 1 and ends the process itself.
    close(pipeEnds[0]);
    dup2(pipeEnds[1], 1);
    AsFunction<void (*)()>(entry)();
    _exit(1);
  }
  close(pipeEnds[1]);
  std::string output;
  if (child > 0) {
    char buffer[256];
    for (ssize_t n; (n = read(pipeEnds[0], buffer, sizeof buffer)) > 0;) output.append(buffer, static_cast<std::size_t>(n));
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) output.clear();
  }
  close(pipeEnds[0]);
  while (!output.empty() && (output.back() == '\n' || output.back() == '\r')) output.pop_back();
  return output;
}

std::string VersionText(double version) {
  char buffer[32];
  const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, version);
  std::string text = ec == std::errc{} ? std::string(buffer, end) : "?";
  return text.find_first_of(".en") == std::string::npos ? text + ".0" : text;
}

bool SwitchDebugging(bool on) {
  const std::optional<memhost::RegisteredProperty> property = memhost::FindModuleProperty("Debugging");
  if (!property || property->setter == nullptr) return false;
  AsFunction<void (*)(int8_t)>(property->setter)(on ? 1 : 0);
  return true;
}

}  // namespace zyltool
