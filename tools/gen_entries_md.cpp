// Writes or checks doc/entries.md, the reference of the library's entries,
// from the pages the library makes from its entry tables (see
// stats/reference/reference.cpp) and the entries it exports.
//   gen_entries_md --write doc/entries.md   write it (make doc)
//   gen_entries_md doc/entries.md           check it (the reference test)
// Both fail, saying what to do, when an exported entry has no doc row, a
// row names no entry, argument names disagree with an entry table or an
// example raises an error; the check also fails when the file is not what
// --write would write.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "shell/eval.h"
#include "shell/help.h"
#include "shell/library.h"
#include "shell/output.h"
#include "shell/session.h"

namespace {

// Runs every example in one session; a problem for each that raises.
void RunExamples(std::vector<std::string>* problems) {
  using namespace quarn;
  std::vector<std::string> errors;
  host::SetOutputSink([](const std::string&) {});
  shell::SetErrorSink([&](const std::string& line) { errors.push_back(line); });
  shell::Session session;
  for (const shell::EntryPage& p : shell::LibraryReference()) {
    if (p.example.empty()) continue;
    errors.clear();
    session.Run("Digits := 10: randomize(1): " + p.example + ";", true);
    if (!errors.empty()) problems->push_back(p.name + ": its example " + p.example + " fails: " + errors[0]);
  }
  shell::SetErrorSink(nullptr);
}

}  // namespace

int main(int argc, char** argv) {
  using namespace quarn::shell;
  bool write = argc == 3 && std::strcmp(argv[1], "--write") == 0;
  if (argc != 2 && !write) {
    std::fprintf(stderr, "usage: gen_entries_md [--write] doc/entries.md\n");
    return 2;
  }
  const std::string path = argv[argc - 1];
  MarkStackBase();
  InitShell();
  std::string why;
  if (!LoadLibrary(DefaultLibraryPath(), &why)) {
    std::fprintf(stderr, "gen_entries_md: cannot load the library: %s\n", why.c_str());
    return 1;
  }
  std::vector<std::string> problems;
  const std::string markdown = ReferenceMarkdown(&problems);
  RunExamples(&problems);
  if (write && problems.empty()) {
    std::ofstream out(path, std::ios::binary);
    out << markdown;
    if (!out) problems.push_back("cannot write " + path);
  } else if (!write) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream have;
    have << in.rdbuf();
    if (have.str() != markdown) problems.push_back(path + " is not current: run make doc and commit it");
  }
  for (const std::string& p : problems) std::fprintf(stderr, "%s\n", p.c_str());
  TerminateLibrary();
  return problems.empty() ? 0 : 1;
}
