// The reference of the library's entries: one page per host entry (what it
// computes, its arguments in order, its result, one example), made from the
// same tables that make the entries, so that it cannot drift from them:
//   distributions   families.inc says which entries a family has (probability,
//                   deviate, upper tail and deviate, density, variate, sample)
//                   and their parameters; distributions/docs.inc says what they mean
//                   (FAMILY_DOC) and documents the hand-written entries
//                   (ENTRY_DOC)
//   root finders    rootfind/entries.inc gives the entries and their argument
//                   counts; rootfind/docs.inc the texts
//   other folders   <folder>/docs.inc, ENTRY_DOC rows keyed by the entry's
//                   host name; a folder's table is read once the file exists
//                   (a new folder also needs its #ifdef block below);
//                   where the folder's entry table gives argument counts
//                   (descriptive, manipulation, smoothing, sampling), the
//                   rows are held to them
//
// Adding an entry: add its row to the docs.inc of the folder that defines
// it (a new family: a FAMILY_DOC row), then run `make doc` to write
// doc/entries.md. A new kind of entry that every family gets (a new column
// of families.inc) gets its page written once, in AddFamily below; a new
// subsystem folder gets its table in AllPages. The `reference` test fails while an exported entry has no
// row, a row names no entry, argument names disagree with the entry table,
// an example fails, or doc/entries.md is not what `make doc` writes.
//
// ENTRY_DOC(name, summary, arguments, result, example)
//   name       the host name: QuarnBetaDeviate for STATS_QuarnBetaDeviate_MP,
//              STATS_g02daf for STATS_g02daf_MP
//   summary    what the entry computes, in a sentence or two
//   arguments  "name: meaning" for each argument in order, separated by "; "
//              (so no ";" inside a meaning)
//   result     what comes back
//   example    one call, as typed in quarn, without the final ';'
//
// The library hands the pages to the shell (help, the generator of
// doc/entries.md) as one string from quarnstats_entry_reference(): records
// separated by \x1e, fields by \x1f, in the order name, section, group,
// summary, arguments, result, example, table arguments (the argument names
// the entry table gives, "?" where it gives only a count).
#include <cstring>
#include <string>
#include <vector>

#include "stats/frame/frame.h"

namespace quarnstats::reference {

namespace {

struct Row {
  const char* name;
  const char* summary;
  const char* arguments;
  const char* result;
  const char* example;
};

struct FamilyRow {
  const char* name;
  const char* law;
  const char* parameters;
  const char* example;
  const char* point;
};

struct Page {
  std::string name, section, group, summary, arguments, result, example, table_arguments;
};

#define ENTRY_DOC(N, S, A, R, E) {#N, S, A, R, E},
#define FAMILY_DOC(N, L, P, E, X)
const std::vector<Row> kFrameRows = {
#include "stats/frame/docs.inc"
};
const std::vector<Row> kRootfindRows = {
#include "stats/rootfind/docs.inc"
};
const std::vector<Row> kDistributionRows = {
#include "stats/distributions/docs.inc"
};
// Folders whose entries are still to come: their tables count from the day
// their docs.inc exists (stats/CMakeLists.txt defines STATS_REF_DOCS_<FOLDER>
// for each docs.inc it finds).
const std::vector<Row> kDescriptiveRows = {
#ifdef STATS_REF_DOCS_DESCRIPTIVE
#include "stats/descriptive/docs.inc"
#endif
};
const std::vector<Row> kManipulationRows = {
#ifdef STATS_REF_DOCS_MANIPULATION
#include "stats/manipulation/docs.inc"
#endif
};
const std::vector<Row> kSamplingRows = {
#ifdef STATS_REF_DOCS_SAMPLING
#include "stats/sampling/docs.inc"
#endif
};
const std::vector<Row> kSmoothingRows = {
#ifdef STATS_REF_DOCS_SMOOTHING
#include "stats/smoothing/docs.inc"
#endif
};
const std::vector<Row> kInferenceRows = {
#ifdef STATS_REF_DOCS_INFERENCE
#include "stats/inference/docs.inc"
#endif
};
#undef ENTRY_DOC
#undef FAMILY_DOC

#define ENTRY_DOC(N, S, A, R, E)
#define FAMILY_DOC(N, L, P, E, X) {#N, L, P, E, X},
const std::vector<FamilyRow> kFamilyRows = {
#include "stats/distributions/docs.inc"
};
#undef ENTRY_DOC
#undef FAMILY_DOC

// What families.inc says of each family. The kind columns become the texts
// below, one macro per kind: a new kind in families.inc needs one here too.
struct Family {
  const char* name;
  const char* parameters;  // as written in families.inc: "(QuarnFloat b, QuarnFloat c)"
  const char* probability;
  bool mass;  // the probability entry gives P(X = x) rather than P(X <= x)
  const char* deviate;
  bool upper;
  bool density;
  const char* variate;
};
// A probability kind gives the result and whether it is a mass.
#define STATS_REF_PROBABILITY_Real "a float in [0, 1]", false
#define STATS_REF_PROBABILITY_Mass "a float in [0, 1]", true
#define STATS_REF_PROBABILITY_Tolerance STATS_REF_PROBABILITY_Real
#define STATS_REF_PROBABILITY_ToleranceEvalf STATS_REF_PROBABILITY_Real
#define STATS_REF_PROBABILITY_ToleranceTenth STATS_REF_PROBABILITY_Real
#define STATS_REF_PROBABILITY_None nullptr, false
#define STATS_REF_DEVIATE_Real "a float"
#define STATS_REF_DEVIATE_Tolerance "a float"
#define STATS_REF_DEVIATE_Integer "an integer"
#define STATS_REF_DEVIATE_IntegerLocal "an integer"
#define STATS_REF_DEVIATE_None nullptr
#define STATS_REF_UPPER_Real true
#define STATS_REF_UPPER_None false
#define STATS_REF_DENSITY_Real true
#define STATS_REF_DENSITY_None false
#define STATS_REF_VARIATE_Inversion "by inversion: the quantile at one uniform draw"
#define STATS_REF_VARIATE_Own "by an algorithm of its own"
#define STATS_REF_VARIATE_Explicit STATS_REF_VARIATE_Own
#define STATS_REF_VARIATE_Flag STATS_REF_VARIATE_Own
// Every kind of sample (Standard, Own) is an entry. Columns after these are
// ignored: a new kind of family entry gets its page in AddFamily.
#define FAMILY(N, P, A, PROB, DEV, UPPER, DENSITY, VAR, SAMPLE, ...)                                   \
  {#N, #P, STATS_REF_PROBABILITY_##PROB, STATS_REF_DEVIATE_##DEV, STATS_REF_UPPER_##UPPER,             \
   STATS_REF_DENSITY_##DENSITY, STATS_REF_VARIATE_##VAR},
const std::vector<Family> kFamilies = {
#include "stats/distributions/families.inc"
};
#undef FAMILY

struct RootfindEntry {
  const char* name;
  const char* kinds;  // one letter per argument
};
#define ROOTFIND_ENTRY(N, PRECISION, KINDS, ...) {"Quarn" #N, KINDS},
const std::vector<RootfindEntry> kRootfindEntries = {
#include "stats/rootfind/entries.inc"
};
#undef ROOTFIND_ENTRY

// Entry tables that give an argument count per entry: the doc rows of those
// entries are checked to name as many arguments. The count is taken as
// written: a number is checked, another form (AtLeast{3}) is not.
struct CountedEntry {
  const char* name;
  const char* count;
};
#define STATS_REF_COUNTED(N, COUNT, ...) {"Quarn" #N, #COUNT},
#define DESCRIPTIVE_ENTRY STATS_REF_COUNTED
#define MANIPULATION_ENTRY STATS_REF_COUNTED
#define SMOOTHING_ENTRY STATS_REF_COUNTED
#define INVERSE_ENTRY STATS_REF_COUNTED
#define SAMPLING_ENTRY STATS_REF_COUNTED
const std::vector<CountedEntry> kCountedEntries = {
#include "stats/descriptive/entries.inc"
#include "stats/manipulation/entries.inc"
#include "stats/smoothing/entries.inc"
#include "stats/sampling/inverse.inc"
#include "stats/sampling/entries.inc"
};
#undef DESCRIPTIVE_ENTRY
#undef MANIPULATION_ENTRY
#undef SMOOTHING_ENTRY
#undef INVERSE_ENTRY
#undef SAMPLING_ENTRY
#undef STATS_REF_COUNTED

// "?, ?, ?" for an entry of n arguments.
std::string Unnamed(size_t n) {
  std::string out;
  for (size_t i = 0; i < n; ++i) out += i ? ", ?" : "?";
  return out;
}

const Row* FindRow(const std::vector<Row>& rows, const std::string& name) {
  for (const Row& r : rows)
    if (name == r.name) return &r;
  return nullptr;
}

Page FromRow(const Row& r, const std::string& section, const std::string& group) {
  return Page{r.name, section, group, r.summary, r.arguments, r.result, r.example, ""};
}

// The parameter names of a families.inc list: "(QuarnFloat b, long n)" -> "b, n".
std::string ParameterNames(const std::string& list) {
  std::string out, word;
  for (char c : list) {
    if (c == ',' || c == ')') {
      if (!out.empty()) out += ", ";
      out += word;
      word.clear();
    } else if (c == ' ' || c == '(') {
      if (c == ' ' && !word.empty()) word.clear();  // the type before the name
    } else {
      word += c;
    }
  }
  return out;
}

// The entries of one family: probability, deviate, upper tail and upper
// deviate, density, variate and sample, as far as families.inc gives them.
void AddFamily(const Family& f, std::vector<Page>* out) {
  const std::string name = f.name;
  const std::string group = name + " distribution";
  const FamilyRow* doc = nullptr;
  for (const FamilyRow& r : kFamilyRows)
    if (name == r.name) doc = &r;
  const std::string params = ParameterNames(f.parameters);
  const std::string law = doc ? doc->law : "";
  const std::string pdoc = doc ? doc->parameters : "";
  const std::string ex = doc ? doc->example : "";
  auto add = [&](const std::string& op, const std::string& summary, const std::string& first_doc,
                 const std::string& first_name, const std::string& result, const std::string& example) {
    std::string entry = "Quarn" + name + op;
    if (const Row* r = FindRow(kDistributionRows, entry)) {
      out->push_back(FromRow(*r, "Distributions", group));  // written by hand: its own page
      return;
    }
    std::string args = first_doc.empty() ? pdoc : first_doc + (pdoc.empty() ? "" : "; " + pdoc);
    std::string table = first_name.empty() ? params : first_name + (params.empty() ? "" : ", " + params);
    Page p{entry, "Distributions", group, doc ? summary : "", doc ? args : "", result,
           doc ? "Quarn" + name + op + "(" + example + ")" : "", table};
    out->push_back(p);
  };
  const std::string with = ex.empty() ? "" : ", " + ex;
  if (f.probability) {
    add("Probability",
        (f.mass ? "P(X = x), the probability mass at the integer x, of " : "P(X <= x), the lower-tail probability, of ") +
            law + ".",
        "x: the point", "x", f.probability, (doc ? doc->point : "") + with);
  }
  if (f.deviate) {
    bool integer = std::strcmp(f.deviate, "an integer") == 0;
    add("Deviate",
        (integer ? "The quantile at u, the smallest integer k with P(X <= k) >= u, of "
                 : "The quantile at u, the x with P(X <= x) = u, of ") +
            law + ".",
        "u: the probability level (0 < u < 1)", "u", f.deviate, "0.95" + with);
  }
  if (f.upper) {
    add("UpperProbability",
        "P(X > x), the upper-tail probability, of " + law +
            ", computed directly (never as 1 - P(X <= x), which loses the digits of a small tail).",
        "x: the point", "x", "a float in [0, 1]", (doc ? doc->point : "") + with);
    add("UpperDeviate",
        "The upper quantile at q, the x with P(X > x) = q, of " + law +
            " (for a small q, where the quantile at 1 - q would lose its digits).",
        "q: the upper-tail probability (0 < q < 1)", "q", "a float", "1e-10" + with);
  }
  if (f.density) {
    add("Density", "The probability density at x of " + law + ".", "x: the point", "x", "a float",
        (doc ? doc->point : "") + with);
  }
  // The variates of an integer-valued family are its integers as floats.
  const bool integers = f.deviate && std::strcmp(f.deviate, "an integer") == 0;
  add("RandomVariate",
      "One random variate of " + law + ", " + f.variate +
          ", from the host's random source (randomize(n) makes it reproducible).",
      "", "", integers ? "a float with an integer value" : "a float", ex);
  add("RandomSample", "A Vector of n independent random variates of " + law + ", drawn in index order.",
      "n: the number of variates", "n",
      integers ? "a Vector 1..n of floats with integer values" : "a Vector 1..n of floats", "5" + with);
}

// Entries of the distribution folder written by hand (no family kind makes
// them): grouped with the family their name begins with.
void AddHandWritten(std::vector<Page>* out) {
  for (const Row& r : kDistributionRows) {
    bool placed = false;
    for (const Page& p : *out) placed = placed || p.name == r.name;
    if (placed) continue;
    std::string group = "Distributions";
    size_t best = 0;
    for (const Family& f : kFamilies) {
      std::string prefix = std::string("Quarn") + f.name;
      if (std::strncmp(r.name, prefix.c_str(), prefix.size()) == 0 && prefix.size() > best) {
        best = prefix.size();
        group = std::string(f.name) + " distribution";
      }
    }
    // After the family's generated pages.
    auto at = out->end();
    for (auto it = out->begin(); it != out->end(); ++it)
      if (it->group == group) at = it + 1;
    out->insert(at, FromRow(r, "Distributions", group));
  }
}

std::vector<Page> AllPages() {
  std::vector<Page> pages;
  for (const Row& r : kFrameRows) pages.push_back(FromRow(r, "Data", "Data"));
  for (const RootfindEntry& e : kRootfindEntries) {
    const std::string table = Unnamed(std::strlen(e.kinds));
    const Row* r = FindRow(kRootfindRows, e.name);
    Page p;
    if (r) {
      p = FromRow(*r, "Root finding", "Root finding");
    } else {
      p.name = e.name;
      p.section = p.group = "Root finding";
    }
    p.table_arguments = table;
    pages.push_back(p);
  }
  for (const Row& r : kRootfindRows) {
    bool known = false;
    for (const RootfindEntry& e : kRootfindEntries) known = known || std::strcmp(e.name, r.name) == 0;
    if (!known) pages.push_back(FromRow(r, "Root finding", "Root finding"));
  }
  for (const Family& f : kFamilies) AddFamily(f, &pages);
  AddHandWritten(&pages);
  const std::pair<const char*, const std::vector<Row>*> later[] = {
      {"Descriptive statistics", &kDescriptiveRows}, {"Data manipulation", &kManipulationRows},
      {"Random sampling", &kSamplingRows},           {"Smoothing and density estimation", &kSmoothingRows},
      {"Tests and regression", &kInferenceRows},
  };
  for (const auto& [section, rows] : later)
    for (const Row& r : *rows) pages.push_back(FromRow(r, section, section));
  for (Page& p : pages) {
    for (const CountedEntry& e : kCountedEntries) {
      const std::string count = e.count;
      if (p.name == e.name && !count.empty() && count.find_first_not_of("0123456789") == std::string::npos) {
        p.table_arguments = Unnamed(std::stoul(count));
      }
    }
  }
  return pages;
}

}  // namespace

}  // namespace quarnstats::reference

STATS_EXPORT const char* quarnstats_entry_reference() {
  static const std::string* text = [] {
    auto* s = new std::string;
    for (const quarnstats::reference::Page& p : quarnstats::reference::AllPages()) {
      for (const std::string* field : {&p.name, &p.section, &p.group, &p.summary, &p.arguments, &p.result, &p.example,
                                       &p.table_arguments}) {
        *s += *field;
        *s += '\x1f';
      }
      s->back() = '\x1e';
    }
    return s;
  }();
  return text->c_str();
}
