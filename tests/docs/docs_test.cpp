// The reference under docs/ against the library: every example runs and gives what its page
// says, every registered declaration is stated exactly once and exercised, the index is what the
// registration table gives, and one version number names the library, the docs and the changelog.
#include <doctest/doctest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <string>

#include "doc_examples.h"
#include "doc_index.h"
#include "doc_pages.h"
#include "plugin/registration.h"
#include "support/plugin_host.h"

namespace {

const std::string kSource = ZYL_SOURCE_DIR;
const std::string kDocs = kSource + "/docs";

std::vector<zyldocs::Page> AllPages() {
  std::vector<zyldocs::Page> pages = zyldocs::ReadFamilyPages(kDocs);
  pages.push_back(zyldocs::ReadPage(kDocs + "/conventions.md"));
  return pages;
}

}  // namespace

TEST_CASE("docs: the folder holds the index, the conventions and the family pages") {
  std::set<std::string> expected = {"index.md", "conventions.md"};
  for (std::string_view page : zyldocs::FamilyPages()) expected.insert(std::string(page));
  std::set<std::string> found;
  for (const auto& entry : std::filesystem::directory_iterator(kDocs)) found.insert(entry.path().filename().string());
  CHECK(found == expected);
}

TEST_CASE("docs: every page is well formed and every documented section has a short summary") {
  for (const zyldocs::Page& page : AllPages()) {
    CAPTURE(page.file);
    for (const std::string& problem : page.problems) FAIL_CHECK(problem);
    CHECK_FALSE(page.title.empty());
    for (const zyldocs::Section& section : page.sections) {
      if (section.declarations.empty() && section.properties.empty()) continue;
      CAPTURE(section.heading);
      // One sentence the index shows on one line.
      CHECK(section.summaryLines <= 2);
      CHECK(section.summary.size() <= 120);
      CHECK((!section.summary.empty() && section.summary.back() == '.'));
      CHECK_FALSE(section.examples.empty());
    }
  }
}

TEST_CASE("docs: every example gives what its page says, and calls each declaration of its section") {
  int examples = 0, checks = 0, statements = 0;
  for (const zyldocs::Page& page : AllPages()) {
    for (const zyldocs::Section& section : page.sections) {
      std::set<std::string> called;
      for (const zyldocs::CodeBlock& block : section.examples) {
        zyltest::PluginHost host;
        const zyldocs::ExampleResult result = zyldocs::RunExample(block, page.file);
        for (const std::string& failure : result.failures) FAIL_CHECK(failure);
        called.insert(result.declarations.begin(), result.declarations.end());
        ++examples;
        checks += result.checks;
        statements += result.statements;
      }
      for (const std::string& declaration : section.declarations) {
        CAPTURE(page.file);
        CAPTURE(section.heading);
        CHECK_MESSAGE(called.count(declaration) == 1, "no example of its section calls " << declaration);
      }
    }
  }
  MESSAGE(examples << " examples, " << statements << " statements, " << checks << " results checked");
  CHECK(examples > 0);
}

TEST_CASE("docs: the pages state every registered declaration exactly once, exactly as registered") {
  zyltest::PluginHost host;
  std::vector<std::string> registered = zyldocs::RegisteredDeclarations();
  const std::vector<std::string> properties = zyldocs::RegisteredProperties();
  registered.insert(registered.end(), properties.begin(), properties.end());
  REQUIRE(registered.size() == 75);  // 72 global methods, the extension's getter and setter, Debugging

  std::map<std::string, std::vector<std::string>> stated;  // declaration -> where
  for (const zyldocs::Page& page : AllPages()) {
    for (const zyldocs::Section& section : page.sections) {
      for (const std::string& d : section.declarations) stated[d].push_back(page.file + " " + section.heading);
      for (const std::string& p : section.properties) stated[p].push_back(page.file + " " + section.heading);
    }
  }
  for (const auto& [declaration, where] : stated) {
    CAPTURE(where.front());
    CHECK_MESSAGE(std::find(registered.begin(), registered.end(), declaration) != registered.end(),
                  "stated but not registered: " << declaration);
  }
  for (const std::string& declaration : registered) {
    const auto it = stated.find(declaration);
    CHECK_MESSAGE((it != stated.end() && it->second.size() == 1), "registered, stated "
                                                                       << (it == stated.end() ? 0 : it->second.size())
                                                                       << " times: " << declaration);
  }
}

TEST_CASE("docs: index.md is what the registration table and the pages give") {
  zyltest::PluginHost host;
  const std::string expected =
      zyldocs::MakeIndex(zyldocs::ReadFamilyPages(kDocs), zyldocs::RegisteredDeclarations(),
                         zyldocs::RegisteredProperties(), zyldocs::VersionOf(zyl::gversion));
  bool ok = false;
  const std::string actual = zyldocs::ReadFile(kDocs + "/index.md", &ok);
  REQUIRE(ok);
  CHECK(expected.find("## Not documented") == std::string::npos);
  CHECK_MESSAGE(actual == expected,
                "docs/index.md is out of date: cmake --build --preset native --target docs_index\n--- it should read:\n"
                    << expected);
}

TEST_CASE("docs: one version number names the library, the docs, the changelog and the README") {
  std::string version;
  {
    zyltest::PluginHost host;
    version = zyldocs::VersionOf(zyl::gversion);
  }
  CHECK(version == ZYL_PROJECT_VERSION);
  const std::string index = zyldocs::ReadFile(kDocs + "/index.md");
  CHECK(index.rfind("# libZYLString " + version + " reference\n", 0) == 0);
  const std::string changelog = zyldocs::ReadFile(kSource + "/CHANGELOG.md");
  const std::size_t first = changelog.find("\n## ");
  REQUIRE(first != std::string::npos);
  CHECK(changelog.compare(first + 4, version.size() + 1, version + " ") == 0);
  const std::string readme = zyldocs::ReadFile(kSource + "/README.md");
  for (const std::string& needle : {"libZYLString " + version, std::string("docs/index.md"), std::string("CHANGELOG.md"),
                                    std::string("scripts/package.sh"), std::string("ZYLString.xojo_plugin")}) {
    CHECK_MESSAGE(readme.find(needle) != std::string::npos, "README.md does not mention " << needle);
  }
}
