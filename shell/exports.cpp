// The loaded library's entries from its ELF dynamic symbol table, and the
// nearest-name suggestions for a name that is not one of them.
#include "shell/exports.h"

#include <elf.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

#include "platform/host/host.h"
#include "shell/library.h"

namespace quarn::shell {

namespace {

bool EndsWith(const std::string& s, const std::string& tail) {
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

// The host name of an exported symbol, or empty when the symbol is no
// entry: STATS_QuarnX_MP -> QuarnX, STATS_g02daf_MP -> STATS_g02daf. The
// library's start and stop calls and C computing functions are not entries.
std::string HostName(const std::string& symbol) {
  if (symbol.rfind("STATS_", 0) != 0 || !EndsWith(symbol, "_MP") || symbol.size() <= 9) return "";
  std::string middle = symbol.substr(6, symbol.size() - 9);
  if (middle.size() > 5 && middle.rfind("Quarn", 0) == 0 && std::isupper(static_cast<unsigned char>(middle[5]))) {
    return middle;
  }
  // A numerical routine's name: a letter, two digits, then letters (g02daf).
  bool routine = middle.size() >= 4 && std::islower(static_cast<unsigned char>(middle[0])) &&
                 std::isdigit(static_cast<unsigned char>(middle[1])) &&
                 std::isdigit(static_cast<unsigned char>(middle[2]));
  for (size_t i = 3; routine && i < middle.size(); ++i) routine = std::isalnum(static_cast<unsigned char>(middle[i]));
  return routine ? "STATS_" + middle : "";
}

template <class T>
bool ReadAt(const std::string& file, size_t offset, T* out) {
  if (offset > file.size() || file.size() - offset < sizeof(T)) return false;
  std::copy_n(file.data() + offset, sizeof(T), reinterpret_cast<char*>(out));
  return true;
}

std::string Lower(const std::string& s) {
  std::string out = s;
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

// Optimal string alignment distance: insertions, deletions, substitutions
// and transpositions of neighbours each cost 1.
size_t EditDistance(const std::string& a, const std::string& b) {
  const size_t n = a.size(), m = b.size();
  std::vector<std::vector<size_t>> d(n + 1, std::vector<size_t>(m + 1));
  for (size_t i = 0; i <= n; ++i) d[i][0] = i;
  for (size_t j = 0; j <= m; ++j) d[0][j] = j;
  for (size_t i = 1; i <= n; ++i) {
    for (size_t j = 1; j <= m; ++j) {
      size_t cost = a[i - 1] == b[j - 1] ? 0 : 1;
      d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + cost});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
    }
  }
  return d[n][m];
}

// The name as an entry's host name: STATS_QuarnX_MP and STATS_QuarnX are
// QuarnX, STATS_g02daf_MP is STATS_g02daf.
std::string Normalise(const std::string& name) {
  std::string s = name;
  if (s.rfind("STATS_", 0) == 0 && EndsWith(s, "_MP")) s = s.substr(0, s.size() - 3);
  if (s.rfind("STATS_Quarn", 0) == 0) s = s.substr(6);
  return s;
}

}  // namespace

bool ReadEntryNames(const std::string& path, std::vector<std::string>* names, std::string* why) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    *why = "cannot read " + path;
    return false;
  }
  std::string file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  Elf64_Ehdr eh;
  if (!ReadAt(file, 0, &eh) || std::memcmp(eh.e_ident, ELFMAG, SELFMAG) != 0 || eh.e_ident[EI_CLASS] != ELFCLASS64 ||
      eh.e_shentsize != sizeof(Elf64_Shdr)) {
    *why = path + " is not a 64-bit ELF file";
    return false;
  }
  std::vector<Elf64_Shdr> sections(eh.e_shnum);
  for (size_t i = 0; i < sections.size(); ++i) {
    if (!ReadAt(file, eh.e_shoff + i * sizeof(Elf64_Shdr), &sections[i])) {
      *why = path + ": truncated section table";
      return false;
    }
  }
  names->clear();
  for (const Elf64_Shdr& sh : sections) {
    if (sh.sh_type != SHT_DYNSYM || sh.sh_link >= sections.size() || sh.sh_entsize != sizeof(Elf64_Sym)) continue;
    const Elf64_Shdr& strtab = sections[sh.sh_link];
    for (size_t k = 0; k < sh.sh_size / sizeof(Elf64_Sym); ++k) {
      Elf64_Sym sym;
      if (!ReadAt(file, sh.sh_offset + k * sizeof(Elf64_Sym), &sym)) break;
      int bind = ELF64_ST_BIND(sym.st_info);
      if (sym.st_shndx == SHN_UNDEF || ELF64_ST_TYPE(sym.st_info) != STT_FUNC || (bind != STB_GLOBAL && bind != STB_WEAK) ||
          sym.st_name >= strtab.sh_size || strtab.sh_offset + sym.st_name >= file.size()) {
        continue;
      }
      const char* start = file.data() + strtab.sh_offset + sym.st_name;
      std::string symbol(start, strnlen(start, file.size() - (strtab.sh_offset + sym.st_name)));
      std::string host = HostName(symbol);
      if (!host.empty()) names->push_back(host);
    }
  }
  std::sort(names->begin(), names->end());
  names->erase(std::unique(names->begin(), names->end()), names->end());
  return true;
}

const std::vector<std::string>& LibraryEntryNames() {
  static auto* names = new std::vector<std::string>;
  static bool read = false;
  if (!read && !LoadedLibraryPath().empty()) {
    read = true;
    std::string why;
    if (!ReadEntryNames(LoadedLibraryPath(), names, &why)) names->clear();
  }
  return *names;
}

bool LooksLikeEntry(const std::string& name) {
  return (name.rfind("Quarn", 0) == 0 && name.size() > 5) || (name.rfind("STATS_", 0) == 0 && name.size() > 6);
}

std::vector<std::string> NearestEntries(const std::string& name, size_t max_count) {
  const std::string want = Lower(Normalise(name));
  const size_t threshold = std::max<size_t>(2, want.size() / 4);
  // The nearest names by edit distance, all at the least distance found;
  // failing those, names that the typed one begins (QuarnGammaDev), shortest first.
  std::vector<std::pair<size_t, std::string>> near, extended;
  for (const std::string& entry : LibraryEntryNames()) {
    std::string have = Lower(entry);
    size_t d = EditDistance(want, have);
    if (d <= threshold) near.emplace_back(d, entry);
    if (want.size() >= 7 && have.rfind(want, 0) == 0) extended.emplace_back(have.size(), entry);
  }
  std::vector<std::pair<size_t, std::string>>& chosen = near.empty() ? extended : near;
  std::sort(chosen.begin(), chosen.end());
  std::vector<std::string> out;
  for (const auto& [score, entry] : chosen) {
    if (out.size() == max_count || (&chosen == &near && score > chosen[0].first)) break;
    out.push_back(entry);
  }
  return out;
}

void RaiseNotAnEntry(const std::string& name) {
  std::vector<std::string> near = NearestEntries(name);
  std::string text = name + " is not a library entry";
  if (near.empty()) {
    text += "; help() lists the entries";
  } else {
    text += "; did you mean ";
    for (size_t i = 0; i < near.size(); ++i) {
      if (i > 0) text += i + 1 == near.size() ? " or " : ", ";
      text += near[i];
    }
    text += "?";
  }
  host::Raise(text);
}

}  // namespace quarn::shell
