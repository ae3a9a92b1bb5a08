// The entries the loaded library exports, read from its dynamic symbol
// table: for Tab completion, for help, and for the suggestions that make a
// mistyped entry name an error instead of a silent unevaluated call.
#ifndef QUARN_SHELL_EXPORTS_H
#define QUARN_SHELL_EXPORTS_H

#include <string>
#include <vector>

namespace quarn::shell {

// The host names of the loaded library's entries, sorted: QuarnX for
// STATS_QuarnX_MP, STATS_g02daf for a routine entry STATS_g02daf_MP. Empty
// when no library is loaded.
const std::vector<std::string>& LibraryEntryNames();

// The host names of the entries among the dynamic symbols of the shared
// library at path (an ELF file); false, with the reason, when it cannot be read.
bool ReadEntryNames(const std::string& path, std::vector<std::string>* names, std::string* why);

// Whether a call of this name is meant for the library: it begins with
// Quarn or STATS_.
bool LooksLikeEntry(const std::string& name);

// Up to max_count entry names nearest to name (by edit distance, or names
// that extend it), best first.
std::vector<std::string> NearestEntries(const std::string& name, size_t max_count = 3);

// "QuarnNormDeviate is not a library entry; did you mean QuarnNormalDeviate?"
[[noreturn]] void RaiseNotAnEntry(const std::string& name);

}  // namespace quarn::shell

#endif
