// doc_index.h - docs/index.md, made from what the library registered and the pages that
// document it. The target docs_index writes it; the test docs checks that the file is what this
// gives, so a declaration the library registers cannot be missing from the index.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "doc_pages.h"

namespace zyldocs {

// The family pages in the order the index lists them. docs/conventions.md and docs/index.md are
// the only other pages.
const std::vector<std::string_view>& FamilyPages();

// What the current host session registered: every method declaration in registration order
// (module rows, then single rows, then class-extension rows), and every module property as
// "Name As Type".
std::vector<std::string> RegisteredDeclarations();
std::vector<std::string> RegisteredProperties();

// VersionOf: the version number in the library's version marker ("$$ Plugin version: 26.0 (2026) $$"
// gives "26.0"); empty when there is none.
std::string VersionOf(std::string_view marker);

// MakeIndex: the text of docs/index.md. `pages` in FamilyPages() order. Each registered
// declaration is listed under the section that states it; one that no section states is listed
// under "Not documented".
std::string MakeIndex(const std::vector<Page>& pages, const std::vector<std::string>& declarations,
                      const std::vector<std::string>& properties, const std::string& version);

// ReadFamilyPages: the family pages of a docs folder, in FamilyPages() order.
std::vector<Page> ReadFamilyPages(const std::string& folder);

}  // namespace zyldocs
