// The statistics library, loaded at run time: its entries are found by
// name, so a new entry needs no registration in the shell.
#ifndef QUARN_SHELL_LIBRARY_H
#define QUARN_SHELL_LIBRARY_H

#include <string>

namespace quarn::shell {

// <directory of the running binary>/../lib/libquarnstats.so, or the file
// named by the environment variable QUARN_LIBRARY.
std::string DefaultLibraryPath();

// Loads the library and runs its STATS_StatsInitialize_MP. Returns false
// (with the reason in *why) when it cannot be loaded; the shell then runs
// without entries, and calling one raises an error with that reason.
bool LoadLibrary(const std::string& path, std::string* why);
// The address of an exported symbol of the loaded library, or null.
void* LibrarySymbol(const std::string& symbol);
// The file LoadLibrary loaded, or empty when none is loaded.
const std::string& LoadedLibraryPath();
// Runs STATS_StatsTerminate_MP once, when the library was initialised.
void TerminateLibrary();

// The exported symbol a host name stands for: QuarnX -> STATS_QuarnX_MP,
// STATS_x -> STATS_x_MP (a name that already ends in _MP is kept); empty
// for any other name.
std::string EntrySymbol(const std::string& name);

}  // namespace quarn::shell

#endif
