// Entries of the loaded library as host procedures. An entry's procedure
// carries an integer handle into the entry list; calling it runs
// HostObject entry(QKernel, HostObject args) and marks a host error that
// leaves it with the entry's name.
#include "shell/library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <new>
#include <unordered_map>

#include "shell/eval.h"

namespace quarn::shell {

namespace {

using EntryFn = HostObject (*)(QKernel, HostObject);

struct Entry {
  std::string name;   // the host name, e.g. QuarnBetaDeviate
  EntryFn fn;
};

void* g_library = nullptr;
std::string* g_load_failure = nullptr;  // why the library is not loaded
bool g_initialized = false;
std::string* g_loaded_path = nullptr;  // the file that was loaded

std::vector<Entry>& Entries() {
  static auto* entries = new std::vector<Entry>;
  return *entries;
}

// Host name -> procedure, or null for a name that has no entry.
std::unordered_map<std::string, HostObject>& EntryProcs() {
  static auto* procs = new std::unordered_map<std::string, HostObject>;
  return *procs;
}

HostObject RunEntry(QKernel kv, HostObject data, HostObject args) {
  long i = 0;
  host::IntegerToLong(data, &i);
  // A copy: the entry may call back into the host, whose first call of
  // another entry appends to the list and may move its elements.
  const Entry e = Entries()[static_cast<size_t>(i)];
  // Digits is an environment variable of the call: an entry that raises
  // it for its own work and then fails leaves the caller's value in place.
  const long digits = host::WorkingDigits();
  try {
    HostObject result = e.fn(kv, args);
    host::CheckInterrupt();  // interrupted during its last stretch: the result is not wanted
    return result;
  } catch (const InterruptError&) {
    host::SetDigits(digits);
    throw;  // an interrupt is no error of the entry
  } catch (const EntryError&) {
    host::SetDigits(digits);
    throw;  // already names the innermost entry it left
  } catch (const host::Error& err) {
    host::SetDigits(digits);
    throw EntryError(e.name, err.message());
  } catch (const std::bad_alloc&) {
    // Memory from new (a container of the entry) beyond the heap's limit.
    host::SetDigits(digits);
    throw EntryError(e.name, "out of memory");
  }
}

HostObject RunMissing(QKernel, HostObject data, HostObject) {
  host::Raise("the statistics library is not loaded: " + (g_load_failure ? *g_load_failure : std::string("unknown")));
}

void* Symbol(const std::string& symbol) { return g_library ? dlsym(g_library, symbol.c_str()) : nullptr; }

}  // namespace

std::string DefaultLibraryPath() {
  if (const char* env = std::getenv("QUARN_LIBRARY"); env && *env) return env;
  char buf[PATH_MAX];
  ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
  if (n <= 0) return "libquarnstats.so";
  std::string exe(buf, static_cast<size_t>(n));
  return exe.substr(0, exe.rfind('/')) + "/../lib/libquarnstats.so";
}

bool LoadLibrary(const std::string& path, std::string* why) {
  g_library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!g_library) {
    const char* err = dlerror();
    g_load_failure = new std::string(err ? err : path);
    if (why) *why = *g_load_failure;
    return false;
  }
  g_loaded_path = new std::string(path);
  if (auto init = reinterpret_cast<EntryFn>(Symbol("STATS_StatsInitialize_MP"))) {
    init(host::Kernel(), host::Null());
    g_initialized = true;
  }
  return true;
}

void* LibrarySymbol(const std::string& symbol) { return Symbol(symbol); }

const std::string& LoadedLibraryPath() {
  static const std::string none;
  return g_loaded_path ? *g_loaded_path : none;
}

void TerminateLibrary() {
  if (!g_initialized) return;
  g_initialized = false;
  if (auto term = reinterpret_cast<EntryFn>(Symbol("STATS_StatsTerminate_MP"))) term(host::Kernel(), host::Null());
}

std::string EntrySymbol(const std::string& name) {
  if (name.rfind("Quarn", 0) == 0 && name.size() > 5) return "STATS_" + name + "_MP";
  if (name.rfind("STATS_", 0) == 0 && name.size() > 6) {
    bool has_suffix = name.size() > 9 && name.compare(name.size() - 3, 3, "_MP") == 0;
    return has_suffix ? name : name + "_MP";
  }
  return "";
}

HostObject EntryProcedure(const std::string& name) {
  std::string symbol = EntrySymbol(name);
  if (symbol.empty()) return nullptr;
  auto it = EntryProcs().find(name);
  if (it != EntryProcs().end()) return it->second;
  HostObject proc = nullptr;
  if (!g_library && g_load_failure) {
    proc = host::MakeProcedure(RunMissing, host::Null(), "proc() option external = " + symbol + "; end proc");
  } else if (auto fn = reinterpret_cast<EntryFn>(Symbol(symbol))) {
    Entries().push_back(Entry{name, fn});
    proc = host::MakeProcedure(RunEntry, host::MakeInteger(static_cast<long>(Entries().size() - 1)),
                               "proc() option external = " + symbol + "; end proc");
  }
  EntryProcs()[name] = proc;
  return proc;
}

}  // namespace quarn::shell
