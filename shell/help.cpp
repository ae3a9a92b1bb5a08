// help(), help(QuarnX), help(builtin), help("text") and the markdown of the
// entry reference; see help.h.
#include "shell/help.h"

#include <algorithm>
#include <cctype>
#include <set>

#include "shell/eval.h"
#include "shell/exports.h"
#include "shell/library.h"
#include "shell/output.h"

namespace quarn::shell {

namespace {

std::vector<std::string> Split(const std::string& s, char sep) {
  std::vector<std::string> out;
  size_t start = 0;
  for (size_t i = 0; i <= s.size(); ++i) {
    if (i == s.size() || s[i] == sep) {
      out.push_back(s.substr(start, i - start));
      start = i + 1;
    }
  }
  return out;
}

std::string Trim(const std::string& s) {
  size_t a = s.find_first_not_of(' '), b = s.find_last_not_of(' ');
  return a == std::string::npos ? "" : s.substr(a, b - a + 1);
}

std::string Lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

// Words wrapped to lines of at most width characters, each line after the
// first starting with indent.
std::string Wrap(const std::string& text, size_t width, const std::string& indent) {
  std::string out, line;
  for (const std::string& word : Split(text, ' ')) {
    if (word.empty()) continue;
    if (!line.empty() && line.size() + 1 + word.size() > width) {
      out += line + "\n";
      line = indent;
    }
    line += (line.empty() || line == indent ? "" : " ") + word;
  }
  return out + line;
}

std::string Join(const std::vector<std::string>& v, const std::string& sep) {
  std::string out;
  for (size_t i = 0; i < v.size(); ++i) out += (i ? sep : "") + v[i];
  return out;
}

// The part of a distribution entry's name after its family: "Probability"
// for QuarnGammaProbability in the group "Gamma distribution".
std::string Operation(const EntryPage& p) {
  std::string family = p.group.substr(0, p.group.find(' '));
  std::string prefix = "Quarn" + family;
  return p.name.rfind(prefix, 0) == 0 ? p.name.substr(prefix.size()) : p.name;
}

bool IsFamilyGroup(const std::string& group) {
  return group.size() > 13 && group.compare(group.size() - 13, 13, " distribution") == 0;
}

std::string Anchor(const std::string& heading) {
  std::string out;
  for (char c : Lower(heading)) {
    if (std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_') out += c;
    if (c == ' ') out += '-';
  }
  return out;
}

}  // namespace

std::vector<std::pair<std::string, std::string>> EntryPage::Arguments() const {
  std::vector<std::pair<std::string, std::string>> out;
  if (Trim(arguments).empty()) return out;
  for (const std::string& part : Split(arguments, ';')) {
    size_t colon = part.find(':');
    out.emplace_back(Trim(part.substr(0, colon)), colon == std::string::npos ? "" : Trim(part.substr(colon + 1)));
  }
  return out;
}

std::string EntryPage::Signature() const {
  std::vector<std::string> names;
  for (const auto& a : Arguments()) names.push_back(a.first);
  return name + "(" + Join(names, ", ") + ")";
}

const std::vector<EntryPage>& LibraryReference() {
  static auto* pages = new std::vector<EntryPage>;
  static bool read = false;
  if (read) return *pages;
  auto reference = reinterpret_cast<const char* (*)()>(LibrarySymbol("quarnstats_entry_reference"));
  if (!reference) return *pages;
  read = true;
  for (const std::string& record : Split(reference(), '\x1e')) {
    std::vector<std::string> f = Split(record, '\x1f');
    if (f.size() < 8) continue;
    pages->push_back(EntryPage{f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7]});
  }
  return *pages;
}

const EntryPage* FindPage(const std::string& name) {
  std::string want = name;
  // STATS_QuarnX and STATS_QuarnX_MP are QuarnX; STATS_g02daf_MP is STATS_g02daf.
  if (want.rfind("STATS_", 0) == 0 && want.size() > 9 && want.compare(want.size() - 3, 3, "_MP") == 0) {
    want = want.substr(0, want.size() - 3);
  }
  if (want.rfind("STATS_Quarn", 0) == 0) want = want.substr(6);
  for (const EntryPage& p : LibraryReference())
    if (p.name == want) return &p;
  return nullptr;
}

std::string EntryHelp(const EntryPage& p) {
  std::string out = p.Signature() + "\n  " + Wrap(p.summary, 96, "  ") + "\n";
  size_t width = 0;
  for (const auto& a : p.Arguments()) width = std::max(width, a.first.size());
  for (const auto& a : p.Arguments()) {
    out += "    " + a.first + std::string(width - a.first.size() + 2, ' ') +
           Wrap(a.second, 90 - width, std::string(width + 6, ' ')) + "\n";
  }
  out += "  Result: " + p.result + ".\n  Example: " + p.example + ";";
  return out;
}

std::string Overview() {
  std::string out =
      "help(QuarnX)      an entry's arguments in order, its result and an example\n"
      "help(name)        a builtin\n"
      "help(\"text\")      the entries and builtins whose names contain text\n"
      "The full reference is doc/entries.md (share/doc/quarnstats/entries.md when installed).\n";
  const std::vector<EntryPage>& pages = LibraryReference();
  if (pages.empty()) out += "\nNo statistics library is loaded.\n";
  std::string section;
  for (size_t i = 0; i < pages.size(); ++i) {
    const EntryPage& p = pages[i];
    if (p.section != section) {
      section = p.section;
      out += "\n" + section + ":\n";
    }
    // Distribution families on one line each, by operation.
    if (IsFamilyGroup(p.group)) {
      std::vector<std::string> ops;
      size_t j = i;
      for (; j < pages.size() && pages[j].group == p.group; ++j) ops.push_back(Operation(pages[j]));
      out += "  Quarn" + p.group.substr(0, p.group.find(' ')) + ": " + Join(ops, " ") + "\n";
      i = j - 1;
      continue;
    }
    std::vector<std::string> names;
    size_t j = i;
    for (; j < pages.size() && pages[j].group == p.group; ++j) names.push_back(pages[j].name);
    out += "  " + Wrap(Join(names, " "), 96, "  ") + "\n";
    i = j - 1;
  }
  std::vector<std::string> builtins = BuiltinNames();
  std::sort(builtins.begin(), builtins.end());
  out += "\nBuiltins:\n  " + Wrap(Join(builtins, " "), 96, "  ");
  return out;
}

std::string ReferenceMarkdown(std::vector<std::string>* problems) {
  const std::vector<EntryPage>& pages = LibraryReference();
  const std::vector<std::string>& exported = LibraryEntryNames();
  const std::string how =
      ": add its row to the docs.inc of the folder that defines the entry (ENTRY_DOC, or FAMILY_DOC for a "
      "distribution family; a new kind of family entry gets its page in AddFamily; "
      "stats/reference/reference.cpp explains it all), then run make doc";
  std::set<std::string> documented;
  for (const EntryPage& p : pages) {
    documented.insert(p.name);
    bool is_exported = std::binary_search(exported.begin(), exported.end(), p.name);
    if (!is_exported && !p.summary.empty()) {
      problems->push_back(p.name + ": a doc row names an entry the library does not export (check the name)");
    }
    if (is_exported && p.summary.empty()) problems->push_back(p.name + ": no doc text" + how);
    if (p.summary.empty() || p.table_arguments.empty()) continue;
    std::vector<std::string> table = Split(p.table_arguments, ',');
    std::vector<std::pair<std::string, std::string>> args = p.Arguments();
    bool agree = table.size() == args.size();
    for (size_t i = 0; agree && i < table.size(); ++i) agree = Trim(table[i]) == "?" || Trim(table[i]) == args[i].first;
    if (!agree) {
      problems->push_back(p.name + ": the doc row gives the arguments " + p.Signature() + " but the entry table (" +
                          p.table_arguments + ") disagrees; fix the doc row");
    }
  }
  for (const std::string& e : exported)
    if (!documented.count(e)) problems->push_back(e + ": no doc text" + how);

  std::string out =
      "# Entries of the quarnstats library\n\n"
      "<!-- Generated by `make doc` from the library's entry tables and their docs.inc rows; do not edit. -->\n\n"
      "Every exported entry `STATS_Quarn<Name>_MP` is called in `quarn` as `Quarn<Name>(...)`, and "
      "`help(Quarn<Name>)` there prints its page. Arguments are given in the order listed. Numbers are computed "
      "in software floating point at the working precision `Digits`; random results come from the host's random "
      "source, which `randomize(n)` seeds.\n\n"
      "To document a new entry, add its row to the `docs.inc` of the folder that defines it (`ENTRY_DOC`, or "
      "`FAMILY_DOC` for a distribution family; `stats/reference/reference.cpp` explains the columns) and run "
      "`make doc`; the `reference` test fails while an exported entry has no row or this file is not current.\n\n";
  // Contents: sections, with the groups of the distributions.
  std::string section, group;
  for (const EntryPage& p : pages) {
    if (p.summary.empty()) continue;
    if (p.section != section) {
      section = p.section;
      out += "- [" + section + "](#" + Anchor(section) + ")\n";
    }
    if (p.group != group) {
      group = p.group;
      if (group != section) out += "  - [" + group + "](#" + Anchor(group) + ")\n";
    }
  }
  section.clear();
  group.clear();
  for (const EntryPage& p : pages) {
    if (p.summary.empty()) continue;
    if (p.section != section) {
      section = p.section;
      out += "\n## " + section + "\n";
    }
    if (p.group != group) {
      group = p.group;
      if (group != section) out += "\n### " + group + "\n";
    }
    out += "\n" + std::string(group != section ? "####" : "###") + " " + p.name + "\n\n`" + p.Signature() + "`\n\n" +
           p.summary + "\n\n";
    for (const auto& a : p.Arguments()) out += "- `" + a.first + "`: " + a.second + "\n";
    out += "\nResult: " + p.result + ".\n\nExample: `" + p.example + ";`\n";
  }
  return out;
}

// help(), help(name), help("text"): the argument is not evaluated, so that
// help(QuarnX) names the entry rather than calling anything.
HostObject Help(const Expr& call, const EnvPtr& env) {
  if (call.items.empty()) {
    WriteLine(Overview());
    return host::Null();
  }
  if (call.items.size() != 1) RaiseArity("help", "0 or 1 arguments", EvalItems(call.items, env, false));
  const Expr& arg = *call.items[0];
  std::string text;
  if (arg.kind == ExprKind::Name || arg.kind == ExprKind::String) {
    text = arg.text;
  } else {
    host::Raise("help expects a name or a string, received: %1", Eval(arg, env));
  }
  if (const EntryPage* p = FindPage(text)) {
    WriteLine(EntryHelp(*p));
    return host::Null();
  }
  if (arg.kind == ExprKind::Name) {
    std::string usage = BuiltinUsage(text);
    if (!usage.empty()) {
      WriteLine(usage);
      return host::Null();
    }
  }
  // Anything else: the names that contain the text.
  std::vector<std::string> found;
  for (const std::string& n : LibraryEntryNames())
    if (Lower(n).find(Lower(text)) != std::string::npos) found.push_back(n);
  for (const std::string& n : BuiltinNames())
    if (Lower(n).find(Lower(text)) != std::string::npos) found.push_back(n);
  if (!found.empty()) {
    WriteLine("Names containing \"" + text + "\":\n  " + Wrap(Join(found, " "), 96, "  "));
  } else if (LooksLikeEntry(text) && !NearestEntries(text).empty()) {
    WriteLine(text + " is not a library entry; did you mean " + Join(NearestEntries(text), ", ") + "?");
  } else {
    WriteLine("No help for " + text + "; help() lists what there is.");
  }
  return host::Null();
}

void RegisterHelp() {
  RegisterForm("help", "help(), help(name), help(\"text\"): the overview, a page of the reference, a search");
}

}  // namespace quarn::shell
