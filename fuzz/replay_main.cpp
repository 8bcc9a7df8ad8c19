// Replays fuzz inputs as an ordinary test: `zyl_fuzz_replay TARGET PATH...` runs the target on
// every file named, or found in a named folder (sorted, so runs are repeatable). A finding aborts
// the program as it aborts the fuzzer; otherwise it prints how many inputs ran.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz_support.h"

int main(int argc, char** argv) {
  const auto usage = [] {
    std::string names;
    for (const std::string& name : zylfuzz::TargetNames()) names += " " + name;
    std::fprintf(stderr, "usage: zyl_fuzz_replay TARGET PATH...\ntargets:%s\n", names.c_str());
    return 2;
  };
  if (argc < 3) return usage();
  const zylfuzz::TargetFunction target = zylfuzz::FindTarget(argv[1]);
  if (target == nullptr) return usage();

  std::vector<std::filesystem::path> inputs;
  for (int i = 2; i < argc; ++i) {
    const std::filesystem::path path(argv[i]);
    if (std::filesystem::is_directory(path)) {
      for (const auto& file : std::filesystem::directory_iterator(path)) {
        if (file.is_regular_file()) inputs.push_back(file.path());
      }
    } else if (std::filesystem::exists(path)) {
      inputs.push_back(path);
    } else {
      std::fprintf(stderr, "zyl_fuzz_replay: %s does not exist\n", argv[i]);
      return 1;
    }
  }
  std::sort(inputs.begin(), inputs.end());
  for (const std::filesystem::path& path : inputs) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    target(bytes.data(), bytes.size());
  }
  std::printf("%s: %zu passed, 0 failed\n", argv[1], inputs.size());
  return inputs.empty() ? 1 : 0;
}
