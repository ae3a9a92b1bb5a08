// The general linear regression entry on NIST's Statistical Reference
// Datasets for linear least squares (tests/data/strd, NIST's own files):
// every certified value of the eleven sets (estimates, their standard
// deviations, residual standard deviation, R-squared, the analysis of
// variance table) must round to its printed digits, at Digits 20 and 30.
// Filip (a degree-10 polynomial) and Wampler4-5 defeat double precision.
// The data are read at 30 digits in both cases: Filip's answer moves in its
// 14th digit when its data are rounded to 20 digits (a condition number of
// about 5e9 on data perturbed by 2^-74), whatever computes the fit.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "stats/inference/inference.h"
#include "support/support.h"

namespace {

namespace host = quarn::host;
using quarn::test::kv;
using quarn::test::Mpfr;
using quarn::test::ScopedDigits;

// A certified value with the text it was printed as.
struct Certified {
  std::string label, text;
};

struct Dataset {
  std::vector<Certified> values;
  std::vector<std::vector<std::string>> rows;  // y, then the x columns
};

Dataset Load(const std::string& name) {
  const char* dir = std::getenv("QUARN_SOURCE_DIR");
  std::string file = __FILE__;
  std::ifstream in((dir ? std::string(dir) : file.substr(0, file.rfind("/tests/"))) + "/tests/data/strd/" + name +
                   ".dat");
  EXPECT_TRUE(in.good()) << name;
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
  }
  Dataset d;
  std::smatch m;
  int first = 0, last = -1;
  for (const std::string& line : lines) {
    if (std::regex_search(line, m, std::regex(R"(Data\s+\(lines\s+(\d+)\s+to\s+(\d+)\))"))) {
      first = std::stoi(m[1]);
      last = std::stoi(m[2]);
      break;
    }
  }
  const std::regex parameter(R"(^\s+(B\d+)\s+(\S+)\s+(\S+)\s*$)");
  const std::regex single(R"(^\s*(Standard Deviation|R-Squared)\s+(\S+)\s*$)");
  const std::regex anova(R"(^(Regression|Residual)\s+(\d+)\s+(\S+)\s+(\S+)\s*(\S*)\s*$)");
  for (const std::string& line : lines) {
    if (std::regex_match(line, m, parameter)) {
      d.values.push_back({std::string(m[1]) + " estimate", m[2]});
      d.values.push_back({std::string(m[1]) + " sd", m[3]});
    } else if (std::regex_match(line, m, single)) {
      d.values.push_back({m[1], m[2]});
    } else if (std::regex_match(line, m, anova)) {
      d.values.push_back({std::string(m[1]) + " df", m[2]});
      d.values.push_back({std::string(m[1]) + " SS", m[3]});
      d.values.push_back({std::string(m[1]) + " MS", m[4]});
      if (m[5].length() > 0) d.values.push_back({"F", m[5]});
    }
  }
  for (int i = first; i <= last; ++i) {
    std::stringstream ss(lines[i - 1]);
    std::vector<std::string> row;
    for (std::string v; ss >> v;) row.push_back(v);
    d.rows.push_back(row);
  }
  return d;
}

// True when got rounds to the certified text: |got - certified| is at most
// half a unit of its last printed digit, and of its 15th significant digit.
bool Reproduces(mpfr_srcptr got, const std::string& text) {
  if (text == "Infinity") return mpfr_cmp_d(got, 1e25) > 0;
  std::smatch m;
  std::regex_match(text, m, std::regex(R"(^-?(\d*)\.?(\d*)(?:E([+-]\d+))?$)"));
  const long decimals = static_cast<long>(m[2].length());
  const long exponent = m[3].length() > 0 ? std::stol(m[3]) : 0;
  Mpfr ref(512), diff(512), unit(512), digit15(512);
  mpfr_set_str(ref.v, text.c_str(), 10, MPFR_RNDN);
  mpfr_set_ui(unit.v, 10, MPFR_RNDN);
  mpfr_pow_si(unit.v, unit.v, exponent - decimals, MPFR_RNDN);
  if (!mpfr_zero_p(ref.v)) {
    mpfr_abs(digit15.v, ref.v, MPFR_RNDN);
    mpfr_log10(digit15.v, digit15.v, MPFR_RNDN);
    long e = mpfr_get_si(digit15.v, MPFR_RNDD);
    mpfr_set_ui(digit15.v, 10, MPFR_RNDN);
    mpfr_pow_si(digit15.v, digit15.v, e - 14, MPFR_RNDN);
    mpfr_max(unit.v, unit.v, digit15.v, MPFR_RNDN);
  }
  mpfr_sub(diff.v, got, ref.v, MPFR_RNDN);
  mpfr_abs(diff.v, diff.v, MPFR_RNDN);
  mpfr_mul_d(unit.v, unit.v, 0.5 * (1 + 1e-9), MPFR_RNDN);
  return mpfr_lessequal_p(diff.v, unit.v);
}

HostObject Vector(const std::vector<QuarnFloat>& v) {
  RTableSettingsRecord rts;
  RTableGetDefaults(kv(), &rts);
  rts.num_dimensions = 1;
  rts.data_type = RTABLE_DAG;
  rts.element_type_name = ToQuarnName(kv(), "sfloat", 1);
  int bounds[2] = {1, static_cast<int>(std::max<size_t>(v.size(), 1))};
  HostObject rt = RTableCreate(kv(), &rts, nullptr, bounds);
  auto* data = static_cast<QuarnFloat*>(RTableDataBlock(kv(), rt));
  for (size_t i = 0; i < std::max<size_t>(v.size(), 1); ++i) data[i] = i < v.size() ? v[i] : QuarnFloat(0.0);
  return rt;
}

HostObject IntVector(int n) {
  RTableSettingsRecord rts;
  RTableGetDefaults(kv(), &rts);
  rts.num_dimensions = 1;
  rts.data_type = RTABLE_INTEGER32;
  int bounds[2] = {1, n};
  HostObject rt = RTableCreate(kv(), &rts, nullptr, bounds);
  for (int i = 0; i < n; ++i) static_cast<int32_t*>(RTableDataBlock(kv(), rt))[i] = 1;
  return rt;
}

struct Model {
  const char* name;
  bool intercept;
  int degree;  // of a polynomial in the one x; 0: the x columns as they are
};

TEST(RegressionEntry, NistCertifiedValues) {
  const Model models[] = {{"Norris", true, 1},   {"Pontius", true, 2},  {"NoInt1", false, 1}, {"NoInt2", false, 1},
                          {"Filip", true, 10},   {"Longley", true, 0},  {"Wampler1", true, 5}, {"Wampler2", true, 5},
                          {"Wampler3", true, 5}, {"Wampler4", true, 5}, {"Wampler5", true, 5}};
  for (long digits : {20, 30}) {
    for (const Model& model : models) {
      SCOPED_TRACE(std::string(model.name) + " at Digits " + std::to_string(digits));
      Dataset d = Load(model.name);
      const int n = static_cast<int>(d.rows.size());
      const int m = model.degree > 0 ? model.degree : static_cast<int>(d.rows[0].size()) - 1;
      const int ip = m + (model.intercept ? 1 : 0);
      std::vector<QuarnFloat> x(static_cast<size_t>(n) * m), y;
      ScopedDigits data_digits(30);
      for (int i = 0; i < n; ++i) {
        y.push_back(QuarnFloat(host::ParseFloat(d.rows[i][0])));
        for (int j = 0; j < m; ++j) {
          x[static_cast<size_t>(j) * n + i] = model.degree > 0 ? pow(QuarnFloat(host::ParseFloat(d.rows[i][1])), j + 1)
                                                               : QuarnFloat(host::ParseFloat(d.rows[i][j + 1]));
        }
      }
      ScopedDigits scoped(digits);
      HostObject b = Vector(std::vector<QuarnFloat>(ip)), se = Vector(std::vector<QuarnFloat>(ip));
      HostObject names[4] = {ToQuarnName(kv(), "rss", 1), ToQuarnName(kv(), "idf", 1), ToQuarnName(kv(), "svd", 1),
                             ToQuarnName(kv(), "irank", 1)};
      HostObject zeros = Vector(std::vector<QuarnFloat>(static_cast<size_t>(n) * (ip + 1) + 2 * ip + ip * ip + 5 * ip));
      std::vector<HostObject> args = {ToQuarnString(kv(), model.intercept ? "M" : "Z"), ToQuarnString(kv(), "U"),
                                      ToQuarnInteger(kv(), n), Vector(x), ToQuarnInteger(kv(), n), ToQuarnInteger(kv(), m),
                                      IntVector(m), ToQuarnInteger(kv(), ip), Vector(y), Vector({}), names[0], names[1],
                                      b, se, zeros, Vector(std::vector<QuarnFloat>(n)),
                                      Vector(std::vector<QuarnFloat>(n)), zeros, ToQuarnInteger(kv(), n), names[2],
                                      names[3], zeros, ToQuarnFloat(kv(), 1e-25), zeros};
      HostObject ifail = STATS_g02daf_MP(kv(), host::MakeSeq(args));
      EXPECT_EQ("0", host::Print(ifail));
      // The derived values, at the working precision: residual SD, R^2 =
      // 1 - RSS / SST (SST about the mean, or about 0 without an intercept)
      // and the analysis of variance table.
      QuarnFloat rss(host::NameValue(names[0]));
      const long idf = std::stol(host::Print(host::NameValue(names[1])));
      QuarnFloat mean = 0.0, sst = 0.0;
      if (model.intercept) {
        for (const QuarnFloat& v : y) mean += v;
        mean /= n;
      }
      for (const QuarnFloat& v : y) sst += (v - mean) * (v - mean);
      const long reg_df = ip - (model.intercept ? 1 : 0);
      QuarnFloat reg_ss = sst - rss, res_ms = rss / idf;
      auto* bv = static_cast<QuarnFloat*>(RTableDataBlock(kv(), b));
      auto* sev = static_cast<QuarnFloat*>(RTableDataBlock(kv(), se));
      int parameter = 0;
      for (const Certified& c : d.values) {
        QuarnFloat got;
        if (c.label.find("estimate") != std::string::npos) {
          got = bv[parameter];
        } else if (c.label.find(" sd") != std::string::npos) {
          got = sev[parameter++];
        } else if (c.label == "Standard Deviation") {
          got = sqrt(res_ms);
        } else if (c.label == "R-Squared") {
          got = 1 - rss / sst;
        } else if (c.label == "Regression df") {
          got = reg_df;
        } else if (c.label == "Regression SS") {
          got = reg_ss;
        } else if (c.label == "Regression MS") {
          got = reg_ss / reg_df;
        } else if (c.label == "F") {
          got = reg_ss / reg_df / res_ms;
        } else if (c.label == "Residual df") {
          got = idf;
        } else if (c.label == "Residual SS") {
          got = rss;
        } else {
          ASSERT_EQ("Residual MS", c.label);
          got = res_ms;
        }
        EXPECT_TRUE(Reproduces(got.Mpfr(), c.text)) << c.label << ": " << host::Print(got.Handle()) << ", certified "
                                                     << c.text;
      }
      EXPECT_EQ(ip, parameter);
      for (HostObject name : names) host::AssignName(name, nullptr);
    }
  }
}

}  // namespace
