// NIST's univariate reference datasets (tests/data/strd, public domain):
// the certified mean and standard deviation to all 15 printed digits,
// through the summary entry and through the mean and the second moment
// about it. NumAcc3 and NumAcc4 (values 1000000.2, 1000000.1, ... and ten
// times larger) defeat a one-pass double-precision variance.
//
// The data are read as binary floats at Digits, as the shell reads them, so
// the certified values hold once Digits keeps the deviations of the data
// from their mean to 15 digits: from Digits 20 for eight sets, from 21 for
// NumAcc4, whose values 10000000.1 and 10000000.3 read at Digits 20 (75
// bits) already have a standard deviation of 0.0999999999999998668.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "stats/descriptive/descriptive.h"
#include "support/support.h"

namespace host = quarn::host;
using quarn::test::kv;
using quarn::test::Mpfr;
using quarn::test::ScopedDigits;

namespace {

struct Dataset {
  std::string mean, sd;           // certified, as printed
  std::vector<std::string> data;  // as printed
};

Dataset Load(const std::string& name) {
  std::ifstream in(std::string(std::getenv("QUARN_SOURCE_DIR")) + "/tests/data/strd/" + name + ".dat");
  Dataset d;
  std::string line;
  bool in_data = false;
  auto value_after_colon = [](const std::string& l) {
    std::istringstream s(l.substr(l.rfind(':') + 1));
    std::string v;
    s >> v;
    return v;
  };
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.rfind("Sample Mean", 0) == 0) d.mean = value_after_colon(line);
    if (line.rfind("Sample Standard Deviation", 0) == 0) d.sd = value_after_colon(line);
    if (line.rfind("Data: Y", 0) == 0) {
      std::getline(in, line);  // the rule under the heading
      in_data = true;
      continue;
    }
    std::istringstream s(line);
    std::string v;
    if (in_data && (s >> v)) d.data.push_back(v);
  }
  return d;
}

// The data as a dense sfloat vector, each literal read at Digits.
HostObject Vector(const std::vector<std::string>& data) {
  RTableSettingsRecord rts;
  RTableGetDefaults(kv(), &rts);
  rts.element_type_name = host::Name("sfloat");
  int bounds[2] = {1, static_cast<int>(data.size())};
  HostObject v = RTableCreate(kv(), &rts, nullptr, bounds);
  auto* block = static_cast<HostObject*>(RTableDataBlock(kv(), v));
  for (size_t i = 0; i < data.size(); ++i) block[i] = host::ParseFloat(data[i]);
  return v;
}

// x and the certified value, each rounded to 15 significant digits.
std::string FifteenDigits(mpfr_srcptr x) {
  char text[64];
  mpfr_snprintf(text, sizeof text, "%.14Re", x);
  return text;
}
std::string FifteenDigits(const std::string& certified) {
  Mpfr c(512);
  mpfr_set_str(c.v, certified.c_str(), 10, MPFR_RNDN);
  return FifteenDigits(c.v);
}

HostObject Call(HostObject (*entry)(QKernel, HostObject), const std::vector<HostObject>& args) {
  return entry(kv(), host::MakeSeq(args));
}

}  // namespace

TEST(NistUnivariate, CertifiedMeanAndStandardDeviationToFifteenDigits) {
  const char* names[] = {"PiDigits", "Lottery", "Lew", "Mavro", "Michelso", "NumAcc1", "NumAcc2", "NumAcc3", "NumAcc4"};
  for (long digits : {20, 21, 30, 60}) {
    ScopedDigits scoped(digits);
    for (const char* name : names) {
      if (digits < 21 && std::string(name) == "NumAcc4") continue;
      SCOPED_TRACE(std::string(name) + " at Digits " + std::to_string(digits));
      Dataset d = Load(name);
      ASSERT_FALSE(d.data.empty());
      HostObject x = Vector(d.data), none = Vector({});
      HostObject summary = Call(STATS_QuarnStatisticSummary_MP, {x, none, host::False()});
      auto* s = static_cast<HostObject*>(RTableDataBlock(kv(), summary));
      EXPECT_EQ(FifteenDigits(host::FloatMpfr(s[0])), FifteenDigits(d.mean)) << "mean";
      EXPECT_EQ(FifteenDigits(host::FloatMpfr(s[1])), FifteenDigits(d.sd)) << "standard deviation";
      // The user's route: the mean, then the second moment about it.
      HostObject mean = Call(STATS_QuarnMean_MP, {x, none, host::False(), host::MakeInteger(0)});
      HostObject m2 = Call(STATS_QuarnMoment_MP, {x, host::MakeInteger(2), mean, none, host::False()});
      const double n = static_cast<double>(d.data.size());
      Mpfr sd(host::WorkingBits());
      mpfr_mul_d(sd.v, host::FloatMpfr(m2), n / (n - 1), MPFR_RNDN);
      mpfr_sqrt(sd.v, sd.v, MPFR_RNDN);
      EXPECT_EQ(FifteenDigits(host::FloatMpfr(mean)), FifteenDigits(d.mean)) << "mean entry";
      EXPECT_EQ(FifteenDigits(sd.v), FifteenDigits(d.sd)) << "moment entry";
    }
  }
}
