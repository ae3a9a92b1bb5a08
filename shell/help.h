// The reference of the library's entries as the shell shows it: help(),
// help(QuarnX) and help(builtin), and doc/entries.md, all from the pages the
// loaded library gives (quarnstats_entry_reference) and the builtins' usage
// lines.
#ifndef QUARN_SHELL_HELP_H
#define QUARN_SHELL_HELP_H

#include <string>
#include <vector>

namespace quarn::shell {

struct EntryPage {
  std::string name, section, group, summary, arguments, result, example;
  std::string table_arguments;  // argument names from the entry table ("?" for a count only)
  std::vector<std::pair<std::string, std::string>> Arguments() const;  // (name, meaning)
  std::string Signature() const;                                        // QuarnX(a, b)
};

// The pages of the loaded library, in its order; empty without a library.
const std::vector<EntryPage>& LibraryReference();
const EntryPage* FindPage(const std::string& name);

// What help prints: an entry's page, the overview.
std::string EntryHelp(const EntryPage& p);
std::string Overview();

// doc/entries.md. problems receives what keeps the reference from being
// complete and right (an exported entry without a page, a page for no
// entry, argument names that disagree with the entry table), each with
// what to do about it.
std::string ReferenceMarkdown(std::vector<std::string>* problems);

}  // namespace quarn::shell

#endif
