// A seeded fuzz driver for the library's host entries.
//
//   fuzz_entries [--calls N] [--seed S] [--jobs J] [--only TEXT]
//                [--max-digits D] [--hang-seconds T] [--library PATH]
//                [--slowest K] [--trace 1]
//
// The entries are found in the library's dynamic symbol table (every
// exported STATS_Quarn<Name>_MP and the regression entries STATS_g0..._MP),
// so an entry added later is fuzzed without any change here. Each is called
// through the shell's entry procedures, as a user's call would be, with
// random argument sequences: mostly of the entry's own argument count (read
// from its count message when it is called without arguments), numbers from
// the ordinary to the extreme (1e400000, 2^70, -0., undefined, infinities,
// rationals, complex numbers), names, strings, lists, tables, procedures
// (that fail, return non-numbers, recurse or call entries), and rtables of
// every data type and storage, empty, long, two- and three-dimensional,
// read-only, with odd index ranges. Digits is drawn from 1 to 1000 and
// _EnvStatisticsIterations set to odd values now and then.
//
// A call may raise: what it may not do is crash, hang, trip a sanitizer, or
// let internal text reach the user (C++ exception names, library names,
// addresses, unreplaced placeholders, an error without its entry's name).
// Each such finding is printed with a one-line shell reproducer; the exit
// status is 1 when there was any. A crash or a sanitizer report ends the run
// after printing the call; a call that does not return within the hang
// limit ends it too (a detector of endless loops, set far above any
// legitimate call).
//
// With --jobs J the calls are shared by J processes, process j drawing its
// calls from seed S + j (so --jobs 1 and the first process of any J make the
// same calls); the exit status is 1 when any process had a finding or died.
// --slowest K prints the K calls that took the most CPU time, with their
// reproducers (where a round's time goes). --trace 1 prints every call
// with what it gave (a result, or the error), to compare two builds.
#include <elf.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <random>
#include <string>
#include <vector>

#if __has_include(<sanitizer/common_interface_defs.h>)
#include <sanitizer/common_interface_defs.h>
#define FUZZ_HAVE_SANITIZER 1
#endif

#include "platform/host/host.h"
#include "shell/eval.h"
#include "shell/library.h"
#include "shell/parser.h"
#include "shell/session.h"

namespace host = quarn::host;
namespace shell = quarn::shell;

namespace {

// ------------------------------------------------------------- the entries

// Names of the exported functions of an ELF shared object (its .dynsym).
std::vector<std::string> DynamicFunctions(const std::string& path) {
  std::vector<std::string> names;
  int fd = open(path.c_str(), O_RDONLY);
  if (fd < 0) return names;
  struct stat st;
  if (fstat(fd, &st) != 0 || st.st_size < static_cast<off_t>(sizeof(Elf64_Ehdr))) {
    close(fd);
    return names;
  }
  const size_t size = static_cast<size_t>(st.st_size);
  void* map = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
  close(fd);
  if (map == MAP_FAILED) return names;
  const auto* base = static_cast<const unsigned char*>(map);
  const auto* eh = reinterpret_cast<const Elf64_Ehdr*>(base);
  const bool elf64 = std::memcmp(eh->e_ident, ELFMAG, SELFMAG) == 0 && eh->e_ident[EI_CLASS] == ELFCLASS64;
  if (elf64 && eh->e_shoff + size_t{eh->e_shnum} * sizeof(Elf64_Shdr) <= size) {
    const auto* sh = reinterpret_cast<const Elf64_Shdr*>(base + eh->e_shoff);
    for (int i = 0; i < eh->e_shnum; ++i) {
      if (sh[i].sh_type != SHT_DYNSYM || sh[i].sh_link >= eh->e_shnum) continue;
      const Elf64_Shdr& strtab = sh[sh[i].sh_link];
      const auto* sym = reinterpret_cast<const Elf64_Sym*>(base + sh[i].sh_offset);
      const size_t count = sh[i].sh_size / sizeof(Elf64_Sym);
      for (size_t k = 0; k < count; ++k) {
        if (sym[k].st_shndx == SHN_UNDEF || ELF64_ST_TYPE(sym[k].st_info) != STT_FUNC) continue;
        if (sym[k].st_name >= strtab.sh_size) continue;
        names.emplace_back(reinterpret_cast<const char*>(base + strtab.sh_offset + sym[k].st_name));
      }
    }
  }
  munmap(map, size);
  return names;
}

// Host entries take (kernel handle, argument sequence); the library's other
// exports (computing functions, data-block routines) do not, and are left
// alone. The state entries are called by the shell itself.
bool IsWord(const std::string& s) {
  return !s.empty() && std::all_of(s.begin(), s.end(), [](char c) { return std::isalnum(c) || c == '_'; });
}

std::vector<std::string> HostEntryNames(const std::string& library) {
  std::vector<std::string> out;
  for (const std::string& s : DynamicFunctions(library)) {
    // STATS_Quarn<Name>_MP, or STATS_g0<digit><three letters>_MP.
    if (s.size() < 10 || s.rfind("STATS_", 0) != 0 || s.compare(s.size() - 3, 3, "_MP") != 0) continue;
    const std::string core = s.substr(6, s.size() - 9);
    const bool quarn = core.size() > 5 && core.rfind("Quarn", 0) == 0 && IsWord(core);
    const bool regression = core.size() == 6 && core.rfind("g0", 0) == 0 && std::isdigit(core[2]) &&
                            std::all_of(core.begin() + 3, core.end(), [](char c) { return std::islower(c); });
    if (quarn) out.push_back(core);
    if (regression) out.push_back("STATS_" + core);
  }
  std::sort(out.begin(), out.end());
  out.erase(std::unique(out.begin(), out.end()), out.end());
  return out;
}

// ----------------------------------------------------------- shell values

HostObject EvalSource(const std::string& source) {
  shell::Parser parser(source, true);
  shell::StmtPtr s = parser.Next();
  if (s->kind == shell::StmtKind::Expr) return shell::Eval(*s->value, nullptr);
  shell::ExecContext ctx;
  shell::Exec(*s, nullptr, ctx);
  return ctx.result;
}

// As the shell calls a procedure: an explicit NULL keeps its place.
HostObject CallWith(HostObject f, const std::vector<HostObject>& args) {
  QKernel kv = host::Kernel();
  HostObject seq = NewQuarnExpressionSequence(kv, static_cast<int>(args.size()));
  for (size_t i = 0; i < args.size(); ++i) QuarnExpseqAssign(kv, seq, static_cast<int>(i + 1), args[i]);
  return host::Apply(f, args.size() == 1 && host::KindOf(args[0]) != host::Kind::ExpSeq ? args[0] : seq);
}

const std::vector<std::string> kPrelude = {
    "_rec := proc(x) _rec(x) + 1 end proc",
    "_cnt := 0",
    "_L1 := Vector(100000, fill = 0.25, datatype = float[8])",
    "_L2 := Vector(20000, fill = 1/3)",
    "_L3 := Vector(100000, fill = 0.5, datatype = sfloat)",
    "_L4 := Vector(100000, fill = 7, datatype = integer[4])",
    "_L5 := Vector(30000, fill = 0.5)",
    "_L5[7777] := undefined",
    "_L6 := Vector(100000, fill = 1.5, datatype = complex[8])",
    "_L7 := Array(-50000..49999, fill = 2.5, datatype = float[4])",
    "_L8 := Array(1..300, 1..300, fill = 0.5, datatype = float[8])",
};

const std::vector<std::string> kNumbers = {
    "0", "1", "-1", "2", "3", "10", "100", "0.5", "0.3", "0.975", "0.999", "-0.", "0.", "1.0", "1e-400000",
    "1e400000", "-1e400000", "-1e-400000", "1e-300", "1e300", "1e-20", "1e20", "2^64", "2^64+1", "-2^64", "2^70",
    "-(2^63)", "2^31", "2^31-1", "-2^31", "2^32", "2^63", "10^1000", "-10^1000", "3/7", "-22/7", "1/3",
    "10^30/3", "1/10^400", "2+3*I", "I", "0.5*I", "0.5+0.*I", "1e-20*I+0.5", "evalf(Pi)", "Pi", "exp(1)",
    "sqrt(2)", "0.5e-5000", "1.5e5000", "-2", "-0.5", "1.5", "1000000", "0.9999999999", "1e-10", "1e15", "1e-15",
    "0.1", "0.25", "1e6", "1e-6", "5", "7", "20", "50", "1e10", "-1e10"};
const std::vector<std::string> kSpecials = {"true",      "false", "undefined", "infinity", "-infinity", "NULL",
                                            "evalf(undefined)", "evalf(infinity)", "evalf(-infinity)", "FAIL"};
const std::vector<std::string> kNames = {"x", "y", "`a name`", "sfloat", "Digits", "float[8]", "sin(x)",
                                         "f(1, 2)", "x + 1", "x = 1", "_L1"};
const std::vector<std::string> kStrings = {"\"\"", "\"abc\"", "\"0.5\"", "\"%1 %2 %s %d\"", "\"\\n\""};
const std::vector<std::string> kContainers = {"[]",      "[1, 2, 3]",     "[0.5]",           "[x, y]",
                                              "[[1, 2], [3, 4]]", "[undefined]", "1..3", "a = b",
                                              "table([1 = 2])", "[NULL]",        "0.2..0.8", "[0.1, 0.5, 0.9]"};
const std::vector<std::string> kProcedures = {
    "(x -> x)", "(x -> x^2)", "(x -> 1/(1 + exp(-x)))", "(x -> exp(-x)/(1 + exp(-x))^2)", "(x -> \"str\")",
    "(x -> y)", "(x -> undefined)", "(x -> infinity)", "(x -> -infinity)", "(x -> NULL)", "(x -> [x])",
    "(x -> x + I)", "(() -> 1)", "((a, b) -> a + b)", "proc(x) error \"boom %1\", x end proc", "_rec",
    "proc(x) 1/0 end proc", "(x -> 1e400000)", "(x -> 0)", "(x -> -x)", "(x -> evalf(Pi))", "(x -> true)",
    "(x -> Vector([x]))", "QuarnNormalProbability", "(x -> QuarnNormalProbability(x, 0, 1))",
    "(x -> exp(-x^2/2)/sqrt(2*Pi))", "(x -> QuarnBrentMethod(x, t -> t^3, -10, 10, 1, 100))", "(x -> 1/x)",
    "(x -> sqrt(x))", "(x -> ln(x))", "(x -> 2^x)", "proc(x) global _cnt; _cnt := _cnt + 1; x end proc", "sin",
    "evalf", "(k -> k^2)", "(x -> x^3 - 2)", "(x -> 3*x^2)"};
const std::vector<std::string> kDataTypes = {"",           "anything",   "sfloat",     "float[8]",
                                             "float[4]",   "complex[8]", "integer[1]", "integer[2]",
                                             "integer[4]", "integer[8]", "complex(anything)", "complex(sfloat)"};
const std::vector<std::string> kLong = {"_L1", "_L2", "_L3", "_L4", "_L5", "_L6", "_L7", "_L8"};

// ------------------------------------------------------------ a fuzz call

enum class Kind { Number, Unit, Count, Special, Name, String, Container, Procedure, RTable };

class Generator {
 public:
  explicit Generator(uint64_t seed) : rng_(seed) {}

  size_t Below(size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(rng_); }
  bool Chance(double p) { return std::uniform_real_distribution<double>(0, 1)(rng_) < p; }
  template <class T>
  const T& Pick(const std::vector<T>& v) {
    return v[Below(v.size())];
  }

  int Digits(int max_digits) {
    static const std::vector<int> kDigits = {1, 2, 3, 5, 8, 10, 10, 10, 10, 10, 10, 12, 15, 15, 16, 20, 25,
                                             30, 30, 40, 50, 60, 100, 150, 300, 500, 1000};
    int d = Pick(kDigits);
    return d > max_digits ? 10 : d;
  }

  // A random argument of the given kind, as shell source.
  std::string Source(Kind kind) {
    switch (kind) {
      case Kind::Number:
        return Chance(0.5) ? Pick(kNumbers) : RandomNumber();
      case Kind::Unit: {
        static const std::vector<std::string> kUnit = {"0.5", "0.3", "0.975", "0.01", "0.999", "1e-10", "1/3",
                                                       "0.1", "1e-300", "0.9999999999"};
        return Chance(0.5) ? Pick(kUnit) : Format("%.6g", std::uniform_real_distribution<double>(0, 1)(rng_));
      }
      case Kind::Count:
        return std::to_string(Below(Chance(0.9) ? 12 : 2000));
      case Kind::Special: return Pick(kSpecials);
      case Kind::Name: return Pick(kNames);
      case Kind::String: return Pick(kStrings);
      case Kind::Container: return Pick(kContainers);
      case Kind::Procedure: return Pick(kProcedures);
      case Kind::RTable: return RTable();
    }
    return "0";
  }

  Kind AnyKind() {
    static const std::vector<std::pair<Kind, int>> kWeights = {
        {Kind::Number, 34}, {Kind::Unit, 8},      {Kind::Count, 4},      {Kind::Special, 8}, {Kind::Name, 5},
        {Kind::String, 3},  {Kind::Container, 6}, {Kind::Procedure, 12}, {Kind::RTable, 20}};
    int total = 0;
    for (const auto& w : kWeights) total += w.second;
    int r = static_cast<int>(Below(static_cast<size_t>(total)));
    for (const auto& w : kWeights) {
      if (r < w.second) return w.first;
      r -= w.second;
    }
    return Kind::Number;
  }

 private:
  static std::string Format(const char* format, double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, format, v);
    std::string s = buf;
    // A literal the shell reads as a float.
    if (s.find_first_of(".e") == std::string::npos && s.find("inf") == std::string::npos) s += ".";
    return s;
  }

  std::string RandomNumber() {
    switch (Below(4)) {
      case 0: return std::to_string(static_cast<long>(Below(201)) - 100);
      case 1: return Format("%.17g", std::uniform_real_distribution<double>(-10, 10)(rng_));
      case 2: {
        double e = std::uniform_real_distribution<double>(-30, 30)(rng_);
        return Format("%.10g", std::pow(10.0, e));
      }
      default: return std::to_string(Below(50) + 1) + "/" + std::to_string(Below(50) + 1);
    }
  }

  std::string Element(const std::string& type) {
    if (type.rfind("integer[", 0) == 0) {
      static const std::map<std::string, std::vector<std::string>> kInts = {
          {"integer[1]", {"0", "1", "-1", "7", "127", "-128"}},
          {"integer[2]", {"0", "1", "-3", "7", "32767", "-32768"}},
          {"integer[4]", {"0", "1", "-3", "7", "2147483647", "-2147483648"}},
          {"integer[8]", {"0", "1", "-3", "7", "9223372036854775807", "-9223372036854775808"}}};
      return Pick(kInts.at(type));
    }
    if (type == "float[8]" || type == "float[4]" || type == "sfloat") {
      static const std::vector<std::string> kFloats = {"0.5", "-0.", "1.5", "1e308", "-1e-320", "3",   "1/3",
                                                       "2.25", "0.", "1e-30", "7",   "1e38",    "-2.5", "undefined"};
      return Pick(kFloats);
    }
    if (type == "complex[8]" || type == "complex(sfloat)") {
      static const std::vector<std::string> kComplex = {"1.5", "2+3*I", "0.*I + 1", "-0.5", "2", "1e-300*I"};
      return Pick(kComplex);
    }
    static const std::vector<std::string> kGeneral = {
        "0.5", "1", "1/3", "undefined", "infinity", "-infinity", "x",   "\"s\"", "[1]", "2^70",  "1e400000",
        "-0.", "Pi", "3+I", "sqrt(2)",  "evalf(undefined)", "true", "0.25",  "7",   "-3",  "1e-400000", "2.5"};
    return Pick(kGeneral);
  }

  std::string List(const std::string& type, size_t n) {
    std::string s = "[";
    for (size_t i = 0; i < n; ++i) s += (i ? ", " : "") + Element(type);
    return s + "]";
  }

  std::string RTable() {
    if (Chance(0.05)) return Pick(kLong);
    const std::string type = Pick(kDataTypes);
    std::string options = type.empty() ? "" : ", datatype = " + type;
    if (Chance(0.08)) {
      static const std::vector<std::string> kEmpty = {"Vector(0%s)", "Array(1..0%s)", "Array(5..4%s)",
                                                      "Matrix(0, 0%s)", "Array(1..0, 1..2%s)"};
      std::string f = Pick(kEmpty);
      return f.replace(f.find("%s"), 2, options);
    }
    if (Chance(0.15)) options += ", storage = sparse";
    if (Chance(0.05)) options += ", readonly = true";
    static const std::vector<size_t> kLengths = {1, 1, 2, 3, 5, 8, 13, 31};
    const double shape = std::uniform_real_distribution<double>(0, 1)(rng_);
    if (shape < 0.7) {
      const size_t n = Pick(kLengths);
      static const std::vector<int> kLower = {1, 1, 1, 0, -3, 5, 100};
      const int lo = Pick(kLower);
      if (lo == 1 && Chance(0.5)) return (Chance(0.8) ? "Vector(" : "Vector[row](") + List(type, n) + options + ")";
      return "Array(" + std::to_string(lo) + ".." + std::to_string(lo + static_cast<int>(n) - 1) + ", " +
             List(type, n) + options + ")";
    }
    if (Chance(0.4)) options += ", order = C_order";
    const size_t rows = 1 + Below(3), cols = 1 + Below(3);
    if (shape < 0.95) {
      std::string body = "[";
      for (size_t r = 0; r < rows; ++r) body += (r ? ", " : "") + List(type, cols);
      body += "]";
      if (Chance(0.5)) return "Matrix(" + body + options + ")";
      return "Array(0.." + std::to_string(rows - 1) + ", 1.." + std::to_string(cols) + ", " + body + options + ")";
    }
    return "Array(1.." + std::to_string(rows) + ", 1.." + std::to_string(cols) + ", 1..2, fill = " +
           Element(type) + options + ")";
  }

  std::mt19937_64 rng_;
};

// ------------------------------------------------------------ the findings

// The call running now, for the crash and hang reports.
char g_current[8192];
uint64_t g_seed = 0;

void WriteCurrent(const char* what) {
  char head[160];
  int n = std::snprintf(head, sizeof head, "\nfuzz_entries: %s (seed %" PRIu64 ") in the call\n  quarn -e '", what,
                        g_seed);
  (void)!write(2, head, static_cast<size_t>(n));
  (void)!write(2, g_current, strlen(g_current));
  (void)!write(2, "'\n", 2);
}

void OnFatalSignal(int sig) {
  WriteCurrent(sig == SIGALRM ? "no answer within the hang limit" : strsignal(sig));
  if (sig == SIGALRM) _exit(3);
  signal(sig, SIG_DFL);
  raise(sig);
}

#ifdef FUZZ_HAVE_SANITIZER
void OnSanitizerDeath() { WriteCurrent("sanitizer report"); }
#endif

void InstallReporters() {
  // The handlers run on their own stack, so that a stack overflow is
  // reported too. AddressSanitizer handles the fatal signals itself and
  // reports through its death callback.
  static std::vector<char> stack(1 << 16);
  stack_t ss{};
  ss.ss_sp = stack.data();
  ss.ss_size = stack.size();
  sigaltstack(&ss, nullptr);
  struct sigaction sa {};
  sa.sa_handler = OnFatalSignal;
  sa.sa_flags = SA_ONSTACK;
  sigaction(SIGALRM, &sa, nullptr);
#if !defined(__SANITIZE_ADDRESS__)
  for (int sig : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) sigaction(sig, &sa, nullptr);
#endif
#ifdef FUZZ_HAVE_SANITIZER
  __sanitizer_set_death_callback(OnSanitizerDeath);
#endif
}

// Whether text holds something of the implementation rather than of the
// user: C++ and library names, addresses, source files, the C spellings of
// NaN and infinity, the host's placeholders for broken objects.
bool HasInternalText(const std::string& text) {
  static const char* const kPieces[] = {
      "std::",        "basic_string", "what()",    "terminate called", "mpfr_",     "MPFR",         "gmp",
      "GMP",          "flint",        "arb_",      "ssert",            "__cxa",     "bad_alloc",    "vector::",
      "out_of_range", "invalid_argument", "length_error", "logic_error", "Segmentation", "nullptr", "(nil)",
      "host::",       "quarn::",      "quarnstats::", ".cpp",         "<null>",    "<object of kind", "QuarnMP_",
      "internal failure", "-nan"};
  for (const char* piece : kPieces)
    if (text.find(piece) != std::string::npos) return true;
  auto word_at = [&](size_t at, size_t len) {
    const bool before = at == 0 || !std::isalnum(static_cast<unsigned char>(text[at - 1]));
    const bool after = at + len >= text.size() || !std::isalnum(static_cast<unsigned char>(text[at + len]));
    return before && after;
  };
  for (const char* word : {"nan", "NaN", "inf"}) {
    for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1))
      if (word_at(at, std::strlen(word))) return true;
  }
  // An address: 0x and six hexadecimal digits or more.
  for (size_t at = text.find("0x"); at != std::string::npos; at = text.find("0x", at + 1)) {
    size_t n = 0;
    while (at + 2 + n < text.size() && std::isxdigit(static_cast<unsigned char>(text[at + 2 + n]))) ++n;
    if (n >= 6) return true;
  }
  return false;
}

// Quoted strings (the user's own) left out: "abc" becomes "".
std::string WithoutStrings(const std::string& s) {
  std::string out;
  bool quoted = false;
  for (size_t i = 0; i < s.size(); ++i) {
    if (!quoted) {
      out += s[i];
      quoted = s[i] == '"';
    } else if (s[i] == '\\') {
      ++i;
    } else if (s[i] == '"') {
      out += '"';
      quoted = false;
    }
  }
  return out;
}

bool HasPlaceholder(const std::string& text) {
  for (size_t at = text.find('%'); at != std::string::npos; at = text.find('%', at + 1))
    if (at + 1 < text.size() && std::isdigit(static_cast<unsigned char>(text[at + 1]))) return true;
  return false;
}

struct Findings {
  long count = 0;
  std::map<std::string, long> seen;  // by entry and class: later ones are counted, not printed

  void Add(const std::string& entry, const std::string& what, const std::string& detail) {
    ++count;
    if (seen[entry + ": " + what]++ > 0) return;
    std::fprintf(stderr, "FINDING %s: %s\n  quarn -e '%s'\n  %s\n", entry.c_str(), what.c_str(), g_current,
                 detail.substr(0, 600).c_str());
  }
};

// A message may quote the arguments, which print long at a high Digits (an
// rtable of 1000-digit floats): only what it adds to them is limited.
void CheckMessage(Findings* f, const std::string& entry, const std::string& in, const std::string& message,
                  const std::vector<HostObject>& args) {
  const std::string text = WithoutStrings(message);
  if (in.empty()) f->Add(entry, "an error without the entry's name", message);
  if (HasInternalText(text)) f->Add(entry, "internal text in a message", message);
  if (HasPlaceholder(text)) f->Add(entry, "an unreplaced placeholder", message);
  if (message.size() > 2000) {
    size_t quoted = 0;
    for (HostObject a : args) quoted += host::Print(a).size();
    if (message.size() > 2000 + quoted)
      f->Add(entry, "a message of " + std::to_string(message.size()) + " characters", message.substr(0, 300));
  }
  if (text.find_first_not_of(" \t\n") == std::string::npos) f->Add(entry, "an empty message", message);
}

// ----------------------------------------------------------------- driver

struct EntryInfo {
  std::string name;
  HostObject procedure = nullptr;
  std::vector<int> counts;            // argument counts its count message names
  std::map<int, Kind> known_kinds;    // positions (from 1) with a kind it names
};

// The counts an entry's count message names ("expects 3 arguments",
// "expected 4 arguments", "expects 4 or 6 arguments", "expected one
// argument", "at least 3").
std::vector<int> CountsIn(const std::string& message) {
  std::vector<int> out;
  size_t at = message.find("expects ");
  if (at == std::string::npos) at = message.find("expected ");
  if (at == std::string::npos || message.find(" argument", at) == std::string::npos) return out;
  std::string rest = message.substr(message.find(' ', at) + 1, message.find(" argument", at) - message.find(' ', at) - 1);
  if (rest.rfind("at least ", 0) == 0) rest.erase(0, 9);
  if (rest == "one") return {1};
  // "3", or "4 or 6"
  for (size_t i = 0; i < rest.size();) {
    if (!std::isdigit(static_cast<unsigned char>(rest[i]))) {
      ++i;
      continue;
    }
    size_t j = i;
    while (j < rest.size() && std::isdigit(static_cast<unsigned char>(rest[j]))) ++j;
    out.push_back(std::stoi(rest.substr(i, j - i)));
    i = j;
  }
  return out;
}

const char* const kOrdinals[] = {"first", "second", "third", "fourth", "fifth", "sixth",
                                 "seventh", "eighth", "ninth", "tenth", "eleventh", "twelfth"};

// Learns an entry's argument counts from a call without arguments, then
// which positions want procedures, from calls of that count whose messages
// name "a procedure as its <ordinal> parameter".
void Probe(EntryInfo* e) {
  auto message_of = [&](const std::vector<HostObject>& args) -> std::string {
    try {
      CallWith(e->procedure, args);
    } catch (const host::Error& err) {
      return err.message();
    } catch (...) {
    }
    return "";
  };
  e->counts = CountsIn(message_of({}));
  if (e->counts.empty()) return;
  const int n = e->counts[0];
  std::vector<HostObject> args(static_cast<size_t>(n), host::MakeFloat(0.5));
  for (int round = 0; round < n; ++round) {
    const std::string m = message_of(args);
    bool learned = false;
    for (int i = 0; i < n && i < 12; ++i) {
      if (m.find(std::string("a procedure as its ") + kOrdinals[i] + " parameter") != std::string::npos &&
          !e->known_kinds.count(i + 1)) {
        e->known_kinds[i + 1] = Kind::Procedure;
        args[static_cast<size_t>(i)] = EvalSource("(x -> x^2)");
        learned = true;
      }
    }
    if (!learned) break;
  }
}

bool EndsWith(const std::string& s, const char* tail) {
  const size_t n = std::strlen(tail);
  return s.size() > n && s.compare(s.size() - n, n, tail) == 0;
}

// A number source whose value is an integer above 10^5 (or a float as large).
bool IsHugeCount(const std::string& source) {
  static const std::vector<std::string> kHuge = {"2^31-1", "1000000", "1e20",  "1e300", "1e6",   "10^1000", "2^31",
                                                 "2^32",   "2^63",    "2^64",  "2^64+1", "2^70", "1.5e5000", "1e10",
                                                 "1e15",   "1e400000", "infinity"};
  return std::find(kHuge.begin(), kHuge.end(), source) != kHuge.end();
}

// A kind for position i of a call of e: its known kind mostly, else by the
// entry's operation (a level for a deviate, a length for a sample), else any.
Kind KindFor(Generator& g, const EntryInfo& e, int i) {
  if (g.Chance(0.3)) return g.AnyKind();
  auto known = e.known_kinds.find(i);
  if (known != e.known_kinds.end()) return known->second;
  auto ends = [&](const char* op) { return EndsWith(e.name, op); };
  if (i == 1 && ends("Deviate")) return Kind::Unit;
  if (i == 1 && ends("RandomSample")) return g.Chance(0.7) ? Kind::Count : Kind::RTable;
  if (ends("Probability") || ends("Deviate") || ends("RandomVariate") || ends("RandomSample")) return Kind::Number;
  return g.AnyKind();
}

double CpuSeconds() {
  timespec t;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

// The k calls of the most CPU time, and the total.
class Slowest {
 public:
  explicit Slowest(size_t k) : k_(k) {}
  void Add(double seconds, const std::string& repro) {
    total_ += seconds;
    if (k_ == 0 || (calls_.size() == k_ && seconds <= calls_.back().first)) return;
    calls_.emplace_back(seconds, repro);
    std::sort(calls_.begin(), calls_.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
    if (calls_.size() > k_) calls_.pop_back();
  }
  void Print() const {
    if (k_ == 0) return;
    std::fprintf(stderr, "fuzz_entries: %.1f s in the calls; the slowest:\n", total_);
    for (const auto& [seconds, repro] : calls_) std::fprintf(stderr, "  %7.2f s  %s\n", seconds, repro.c_str());
  }

 private:
  size_t k_;
  double total_ = 0.0;
  std::vector<std::pair<double, std::string>> calls_;
};

struct Options {
  uint64_t seed = 1;
  long calls = 3000;
  int jobs = 1;
  int slowest = 0;
  bool trace = false;
  std::string only;
  int max_digits = 1000;
  unsigned hang_seconds = 300;
  std::string library;
};

Options ParseOptions(int argc, char** argv) {
  Options o;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string k = argv[i], v = argv[i + 1];
    if (k == "--calls") o.calls = std::stol(v);
    else if (k == "--seed") o.seed = std::stoull(v);
    else if (k == "--jobs") o.jobs = std::max(1, std::stoi(v));
    else if (k == "--slowest") o.slowest = std::max(0, std::stoi(v));
    else if (k == "--trace") o.trace = v != "0";
    else if (k == "--only") o.only = v;
    else if (k == "--max-digits") o.max_digits = std::stoi(v);
    else if (k == "--hang-seconds") o.hang_seconds = static_cast<unsigned>(std::stoul(v));
    else if (k == "--library") o.library = v;
    else {
      std::fprintf(stderr, "fuzz_entries: unknown option %s\n", k.c_str());
      std::exit(2);
    }
  }
  if (const char* s = std::getenv("QUARN_FUZZ_SEED")) o.seed = std::stoull(s);
  if (const char* s = std::getenv("QUARN_FUZZ_CALLS")) o.calls = std::stol(s);
  if (const char* s = std::getenv("QUARN_FUZZ_JOBS")) o.jobs = std::max(1, std::stoi(s));
  return o;
}

// Runs the calls in opt.jobs child processes (before anything is loaded, so
// each starts as a fresh driver); returns the exit status for all of them.
int RunJobs(Options* opt) {
  std::vector<pid_t> children;
  const long share = opt->calls / opt->jobs, extra = opt->calls % opt->jobs;
  for (int j = 0; j < opt->jobs; ++j) {
    const pid_t pid = fork();
    if (pid < 0) {
      std::perror("fuzz_entries: fork");
      return 2;
    }
    if (pid == 0) {
      opt->seed += static_cast<uint64_t>(j);
      opt->calls = share + (j < extra ? 1 : 0);
      opt->jobs = 1;
      return -1;  // the child goes on to fuzz
    }
    children.push_back(pid);
  }
  int result = 0;
  for (pid_t pid : children) {
    int status = 0;
    if (waitpid(pid, &status, 0) < 0 || !WIFEXITED(status)) {
      std::fprintf(stderr, "fuzz_entries: process %d did not finish normally\n", static_cast<int>(pid));
      result = 1;
    } else if (WEXITSTATUS(status) != 0) {
      result = std::max(result, WEXITSTATUS(status));
    }
  }
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  Options opt = ParseOptions(argc, argv);
  if (opt.jobs > 1) {
    const int status = RunJobs(&opt);
    if (status >= 0) return status;
  }
  shell::MarkStackBase();
  shell::InitShell();
  if (opt.library.empty()) opt.library = shell::DefaultLibraryPath();
  g_seed = opt.seed;
  std::string why;
  if (!shell::LoadLibrary(opt.library, &why)) {
    std::fprintf(stderr, "fuzz_entries: cannot load %s: %s\n", opt.library.c_str(), why.c_str());
    return 2;
  }
  InstallReporters();
  host::SeedRandom(opt.seed);
  for (const std::string& s : kPrelude) EvalSource(s);

  std::vector<EntryInfo> entries;
  for (const std::string& name : HostEntryNames(opt.library)) {
    if (!opt.only.empty() && name.find(opt.only) == std::string::npos) continue;
    EntryInfo e;
    e.name = name;
    e.procedure = shell::EntryProcedure(name);
    if (e.procedure == nullptr) continue;
    std::snprintf(g_current, sizeof g_current, "%s()", name.c_str());
    Probe(&e);
    entries.push_back(std::move(e));
  }
  if (entries.empty()) {
    std::fprintf(stderr, "fuzz_entries: no entries found in %s\n", opt.library.c_str());
    return 2;
  }

  Generator g(opt.seed);
  Findings findings;
  Slowest slow(static_cast<size_t>(opt.slowest));
  long raised = 0, returned = 0, unbuilt = 0;
  HostObject iterations = host::Name("_EnvStatisticsIterations");
  for (long call = 0; call < opt.calls; ++call) {
    const EntryInfo& e = entries[g.Below(entries.size())];
    int n;
    if (!e.counts.empty() && g.Chance(0.8)) {
      n = g.Pick(e.counts);
    } else if (!e.counts.empty() && g.Chance(0.5)) {
      n = std::max(0, e.counts[0] + (g.Chance(0.5) ? 1 : -1));
    } else {
      n = static_cast<int>(g.Below(9));
    }
    std::vector<std::string> sources;
    for (int i = 1; i <= n; ++i) sources.push_back(g.Source(KindFor(g, e, i)));
    // A sample of a billion variates measures nothing but the allocator (and
    // a sample's other numbers may be lengths or replicate counts too).
    if (e.name.find("Sample") != std::string::npos || e.name.find("Bootstrap") != std::string::npos) {
      for (std::string& s : sources)
        if (IsHugeCount(s)) s = "5";
    }
    // A sample of n variates takes n times as long as one, and at extreme
    // parameters one variate by inversion takes seconds (1092 non-central
    // beta variates with a = 1.2e9 take 22 minutes, which no hang limit can
    // tell from an endless loop); the variates are fuzzed by their own
    // entries, so a sample's length stays below a dozen.
    auto digits_only = [](const std::string& t) {
      return !t.empty() && t.size() <= 9 &&
             std::all_of(t.begin(), t.end(), [](char c) { return std::isdigit(static_cast<unsigned char>(c)); });
    };
    if (EndsWith(e.name, "RandomSample") && !sources.empty() && digits_only(sources[0])) {
      sources[0] = std::to_string(std::stol(sources[0]) % 12);
    }
    const int digits = g.Digits(opt.max_digits);
    std::string env;
    if (g.Chance(0.04)) {
      static const std::vector<std::string> kIter = {"0", "-1", "1", "3", "10^9", "x", "1.5", "\"a\"", "2^40", "20"};
      env = g.Pick(kIter);
    }

    // The reproducer, ready before the call in case it never returns.
    std::string list;
    for (size_t i = 0; i < sources.size(); ++i) list += (i ? ", " : "") + sources[i];
    std::string repro;
    for (const std::string& p : kPrelude) {
      const std::string name = p.substr(0, p.find(' '));
      if (list.find(name) != std::string::npos || (name == "_cnt" && list.find("_cnt") != std::string::npos))
        repro += p + ": ";
    }
    repro += "Digits := " + std::to_string(digits) + ": ";
    if (!env.empty()) repro += "_EnvStatisticsIterations := " + env + ": ";
    repro += e.name + "(" + list + ");";
    std::snprintf(g_current, sizeof g_current, "%s", repro.c_str());

    std::vector<HostObject> args;
    try {
      host::SetDigits(digits);
      for (const std::string& s : sources) args.push_back(s == "NULL" ? host::Null() : EvalSource(s));
      if (!env.empty()) host::AssignName(iterations, EvalSource(env));
    } catch (const host::Error&) {
      ++unbuilt;  // e.g. 2^70 in an integer[8] rtable: the shell refuses it, not the library
      host::AssignName(iterations, nullptr);
      host::SetDigits(10);
      continue;
    }

    alarm(opt.hang_seconds);
    const double started = CpuSeconds();
    try {
      HostObject r = CallWith(e.procedure, args);
      ++returned;
      if (opt.trace) std::printf("%s\n  = %.300s\n", repro.c_str(), host::Print(r).c_str());
      const std::string printed = WithoutStrings(host::Print(r));
      if (HasInternalText(printed)) findings.Add(e.name, "internal text in a result", printed);
    } catch (const shell::EntryError& err) {
      ++raised;
      if (opt.trace) std::printf("%s\n  error %.300s\n", repro.c_str(), err.message().c_str());
      CheckMessage(&findings, e.name, err.entry(), err.message(), args);
    } catch (const host::Error& err) {
      // An error of an argument's own procedure outside any entry, which
      // the shell reports as the host's.
      ++raised;
      CheckMessage(&findings, e.name, "host", err.message(), args);
    } catch (const std::exception& err) {
      findings.Add(e.name, "a C++ exception reached the user", err.what());
    } catch (...) {
      findings.Add(e.name, "an unknown exception reached the user", "");
    }
    alarm(0);
    if (opt.slowest > 0) slow.Add(CpuSeconds() - started, repro);
    host::AssignName(iterations, nullptr);
    host::SetDigits(10);
    if ((call + 1) % 50000 == 0) {
      std::fprintf(stderr, "fuzz_entries: %ld calls, %ld findings\n", call + 1, findings.count);
    }
  }
  std::printf("fuzz_entries: seed %" PRIu64 ", %ld calls over %zu entries: %ld raised, %ld returned, "
              "%ld not built by the shell; %ld findings\n",
              opt.seed, opt.calls, entries.size(), raised, returned, unbuilt, findings.count);
  slow.Print();
  shell::TerminateLibrary();
  return findings.count == 0 ? 0 : 1;
}
