// The distribution routines against mpmath reference tables at Digits 10 to
// 300, with a per-routine report of the worst error; properties that need no
// reference (chi-square against gamma, symmetry of t, deviate against
// probability); failure codes and messages; and the special-function
// variants against each other.
//
// Errors are measured two ways, both against the reference:
//  - in units of the last place of the binary working precision
//    (2^(exponent - WorkingBits)); a correctly rounded result is within 0.5;
//  - in units of the last of Digits decimal digits, after rounding the
//    result to Digits significant digits (what the host prints); the target
//    is at most 1.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "platform/numerics/numerics.h"
#include "support/accuracy.h"
#include "support/support.h"

namespace {

namespace host = quarn::host;
using quarn::test::AccuracyReport;
using quarn::test::ScopedDigits;
using quarn::test::UlpError;
using quarn::test::MeasureUlps;

// ------------------------------------------------------------ reference data

struct Row {
  long digits = 0;
  char tail = '-';
  std::vector<std::string> in;
  std::vector<std::string> values;
  int line = 0;
};

std::string SourceDir() {
  if (const char* dir = std::getenv("QUARN_SOURCE_DIR")) return dir;
  std::string file = __FILE__;
  return file.substr(0, file.rfind("/tests/"));
}

// A routine's table: digits, tail, `inputs` inputs, then the values.
std::vector<Row> LoadTable(const std::string& routine, int inputs) {
  std::string path = SourceDir() + "/tests/data/numerics_" + routine + ".tsv";
  std::ifstream in(path);
  EXPECT_TRUE(in.good()) << "missing " << path;
  std::vector<Row> rows;
  std::string line;
  int number = 0;
  while (std::getline(in, line)) {
    ++number;
    if (line.empty() || line[0] == '#') continue;
    std::vector<std::string> f;
    std::stringstream ss(line);
    std::string cell;
    while (std::getline(ss, cell, '\t')) f.push_back(cell);
    if (f.size() < static_cast<size_t>(3 + inputs)) {
      ADD_FAILURE() << path << ":" << number << ": malformed row";
      continue;
    }
    Row r;
    r.digits = std::stol(f[0]);
    r.tail = f[1][0];
    r.in.assign(f.begin() + 2, f.begin() + 2 + inputs);
    r.values.assign(f.begin() + 2 + inputs, f.end());
    r.line = number;
    rows.push_back(r);
  }
  return rows;
}

// An input written as a hexadecimal float, exactly, at the working precision;
// or a decimal (7.1), rounded to it as the host reads a typed number.
QuarnFloat Input(const std::string& hex) {
  if (hex.find("0x") == std::string::npos) return QuarnFloat(host::ParseFloat(hex));
  return quarn::floats::Compute([&](mpfr_ptr z) {
    int inexact = mpfr_set_str(z, hex.c_str(), 0, MPFR_RNDN);
    EXPECT_EQ(0, inexact) << "input " << hex << " is not a number";
    MPFR_DECL_INIT(check, 64);
    mpfr_set_str(check, hex.c_str(), 0, MPFR_RNDN);
    EXPECT_TRUE(mpfr_equal_p(z, check)) << "input " << hex << " is not exact at this precision";
  });
}

Nag_TailProbability Tail(char c) {
  switch (c) {
    case 'U': return Nag_UpperTail;
    case 'S': return Nag_TwoTailSignif;
    case 'C': return Nag_TwoTailConfid;
    default: return Nag_LowerTail;
  }
}

// -------------------------------------------------------------- the routines

// How a routine is called on a row: its outputs for the row's tail and inputs.
using Call = std::function<std::vector<QuarnFloat>(const Row&, NagError*)>;

struct Routine {
  const char* name;
  Call call;
  std::vector<const char*> outputs = {};  // names of several outputs, for the report
  int inputs = 3;                         // input columns of its table
};

// Test names and failure messages show the routine's name.
void PrintTo(const Routine& r, std::ostream* os) { *os << r.name; }

QuarnFloat In(const Row& r, int i) { return Input(r.in[i]); }
long Int(const Row& r, int i) { return FloatToInt(Input(r.in[i])); }

// The series routines' iteration limit in the tables: enough for every row
// (the limit's own failure is checked in properties_test).
constexpr long kSeriesTerms = 1000000;

// The three outputs of a discrete routine.
template <class F>
std::vector<QuarnFloat> Three(F&& routine) {
  QuarnFloat plek, pgtk, peqk;
  routine(&plek, &pgtk, &peqk);
  return {plek, pgtk, peqk};
}

const std::vector<Routine>& Routines() {
  static const std::vector<Routine> routines = {
      {"g01eac", [](const Row& r, NagError* f) { return std::vector{QuarnMP_g01eac(Tail(r.tail), In(r, 0), f)}; }},
      {"g01ebc",
       [](const Row& r, NagError* f) { return std::vector{QuarnMP_g01ebc(Tail(r.tail), In(r, 0), In(r, 1), f)}; }},
      {"g01ecc",
       [](const Row& r, NagError* f) { return std::vector{QuarnMP_g01ecc(Tail(r.tail), In(r, 0), In(r, 1), f)}; }},
      {"g01edc",
       [](const Row& r, NagError* f) {
         return std::vector{QuarnMP_g01edc(Tail(r.tail), In(r, 0), In(r, 1), In(r, 2), f)};
       }},
      {"g01eec",
       [](const Row& r, NagError* f) {
         QuarnFloat p, q, pdf;
         QuarnMP_g01eec(In(r, 0), In(r, 1), In(r, 2), QuarnFloat(0.0), &p, &q, &pdf, f);
         return std::vector{p, q, pdf};
       },
       {"p", "q", "pdf"}},
      {"g01efc",
       [](const Row& r, NagError* f) {
         return std::vector{QuarnMP_g01efc(Tail(r.tail), In(r, 0), In(r, 1), In(r, 2), f)};
       }},
      {"g01fac", [](const Row& r, NagError* f) { return std::vector{QuarnMP_g01fac(Tail(r.tail), In(r, 0), f)}; }},
      {"g01fbc",
       [](const Row& r, NagError* f) { return std::vector{QuarnMP_g01fbc(Tail(r.tail), In(r, 0), In(r, 1), f)}; }},
      {"g01fcc", [](const Row& r, NagError* f) { return std::vector{QuarnMP_g01fcc(In(r, 0), In(r, 1), f)}; }},
      {"g01fdc",
       [](const Row& r, NagError* f) { return std::vector{QuarnMP_g01fdc(In(r, 0), In(r, 1), In(r, 2), f)}; }},
      {"g01fec",
       [](const Row& r, NagError* f) {
         return std::vector{QuarnMP_g01fec(In(r, 0), In(r, 1), In(r, 2), QuarnFloat(0.0), f)};
       }},
      {"g01ffc",
       [](const Row& r, NagError* f) {
         return std::vector{QuarnMP_g01ffc(In(r, 0), In(r, 1), In(r, 2), QuarnFloat(0.0), f)};
       }},
      {"g01bjc",
       [](const Row& r, NagError* f) {
         return Three([&](QuarnFloat* a, QuarnFloat* b, QuarnFloat* c) {
           QuarnMP_g01bjc(Int(r, 0), In(r, 1), Int(r, 2), a, b, c, f);
         });
       },
       {"plek", "pgtk", "peqk"}},
      {"g01bkc",
       [](const Row& r, NagError* f) {
         return Three([&](QuarnFloat* a, QuarnFloat* b, QuarnFloat* c) { QuarnMP_g01bkc(In(r, 0), Int(r, 1), a, b, c, f); });
       },
       {"plek", "pgtk", "peqk"}},
      {"g01blc",
       [](const Row& r, NagError* f) {
         return Three([&](QuarnFloat* a, QuarnFloat* b, QuarnFloat* c) {
           QuarnMP_g01blc(Int(r, 0), Int(r, 1), Int(r, 2), Int(r, 3), a, b, c, f);
         });
       },
       {"plek", "pgtk", "peqk"}, 4},
      {"g01gbc",
       [](const Row& r, NagError* f) {
         return std::vector{QuarnMP_g01gbc(In(r, 0), In(r, 1), In(r, 2), QuarnFloat(0.0), kSeriesTerms, f)};
       }},
      {"g01gcc",
       [](const Row& r, NagError* f) {
         return std::vector{QuarnMP_g01gcc(In(r, 0), In(r, 1), In(r, 2), QuarnFloat(0.0), kSeriesTerms, f)};
       }},
      {"g01gdc",
       [](const Row& r, NagError* f) {
         return std::vector{
             QuarnMP_g01gdc(In(r, 0), In(r, 1), In(r, 2), In(r, 3), QuarnFloat(0.0), kSeriesTerms, f)};
       },
       {}, 4},
      {"g01gec",
       [](const Row& r, NagError* f) {
         return std::vector{
             QuarnMP_g01gec(In(r, 0), In(r, 1), In(r, 2), In(r, 3), QuarnFloat(0.0), kSeriesTerms, f)};
       },
       {}, 4},
  };
  return routines;
}

// ------------------------------------------------------------------- report

AccuracyReport* const kReport = static_cast<AccuracyReport*>(testing::AddGlobalTestEnvironment(new AccuracyReport(
    "The numerical routines",
    "Worst error per routine and Digits against tests/data/numerics_*.tsv (mpmath, tools/gen_numerics_reference.py), "
    "from tests/platform/numerics/accuracy_test.cpp.",
    "routine")));

class ReferenceTable : public testing::TestWithParam<Routine> {};

TEST_P(ReferenceTable, WithinOneUlpAtEveryDigits) {
  const Routine& routine = GetParam();
  std::vector<Row> rows = LoadTable(routine.name, routine.inputs);
  ASSERT_FALSE(rows.empty());
  for (const Row& r : rows) {
    ScopedDigits digits(r.digits);
    std::string where = std::string(routine.name) + " line " + std::to_string(r.line) + " (" + r.tail;
    for (const std::string& in : r.in) where += ", " + in;
    where += ")";
    SCOPED_TRACE(where + " at Digits " + std::to_string(r.digits));
    NagError fail{};
    std::vector<QuarnFloat> got = routine.call(r, &fail);
    EXPECT_EQ(0, fail.code) << fail.message;
    ASSERT_EQ(got.size(), r.values.size());
    for (size_t i = 0; i < got.size(); ++i) {
      std::string name = routine.name;
      if (!routine.outputs.empty()) name += std::string(":") + routine.outputs[i];
      UlpError e = MeasureUlps(got[i].Mpfr(), r.values[i], r.digits, static_cast<long>(host::WorkingBits()));
      // Correctly rounded in binary, hence within 1 ulp printed in decimal.
      EXPECT_LE(e.binary_ulps, 0.501) << name << " got " << host::Print(got[i].Handle());
      EXPECT_LE(e.decimal_ulps, 1.0) << name << " got " << host::Print(got[i].Handle());
      kReport->Add(name, r.digits, e, "line " + std::to_string(r.line));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Routines, ReferenceTable, testing::ValuesIn(Routines()),
                         [](const testing::TestParamInfo<Routine>& info) { return std::string(info.param.name); });

}  // namespace
