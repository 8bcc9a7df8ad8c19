// make_index.cpp - zyl_docs_index DOCS_FOLDER: loads the library into the in-memory host as the
// host loads it, reads what it registered and the family pages, and writes DOCS_FOLDER/index.md.
#include <cstdio>
#include <fstream>
#include <string>

#include <memhost.h>

#include "doc_index.h"
#include "plugin/registration.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: zyl_docs_index DOCS_FOLDER\n");
    return 2;
  }
  const std::string folder = argv[1];
  std::string text;
  {
    memhost::Session session;
    zyl::ResetPluginStateForTests();
    memhost::SetInRuntime(true);
    REALPluginMain(memhost::Resolve);
    const std::vector<zyldocs::Page> pages = zyldocs::ReadFamilyPages(folder);
    for (const zyldocs::Page& page : pages) {
      for (const std::string& problem : page.problems) std::fprintf(stderr, "%s\n", problem.c_str());
    }
    text = zyldocs::MakeIndex(pages, zyldocs::RegisteredDeclarations(), zyldocs::RegisteredProperties(),
                              zyldocs::VersionOf(zyl::gversion ? zyl::gversion : ""));
    zyl::ResetPluginStateForTests();
  }
  std::ofstream out(folder + "/index.md", std::ios::binary);
  out << text;
  if (!out) {
    std::fprintf(stderr, "zyl_docs_index: cannot write %s/index.md\n", folder.c_str());
    return 1;
  }
  std::printf("zyl_docs_index: wrote %s/index.md\n", folder.c_str());
  return 0;
}
