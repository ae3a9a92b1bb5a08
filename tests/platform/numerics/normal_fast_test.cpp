// The normal distribution's direct paths against tests/data/normal_fast.tsv
// (tools/gen_normal_fast_refs.py, mpmath): erfc by the continued fraction
// encloses the reference in a ball of the precision asked for, and the tails
// at (x - mu)/sigma and the deviates mu + sigma z, levels next to rounding
// boundaries included, are the correctly rounded values wherever they decide.
#include <arb.h>
#include <gtest/gtest.h>
#include <mpfr.h>

#include <string>
#include <vector>

#include "platform/host/host.h"
#include "platform/numerics/internal.h"
#include "platform/numerics/numerics.h"
#include "support/support.h"

namespace {

namespace nm = quarn::numerics;
using quarn::test::DataRows;
using quarn::test::ScopedDigits;

// A table input (0x<integer>p<exponent>), exact at the working precision.
QuarnFloat Exact(const std::string& text) {
  return quarn::floats::Compute([&](mpfr_ptr z) {
    EXPECT_EQ(0, mpfr_set_str(z, text.c_str(), 0, MPFR_RNDN)) << text << " is not exact";
  });
}

std::vector<std::string> Split(const std::string& s) {
  std::vector<std::string> out(1);
  for (char c : s) {
    if (c == ',') {
      out.emplace_back();
    } else {
      out.back().push_back(c);
    }
  }
  return out;
}

TEST(NormalFast, ErfcFractionEnclosesTheReference) {
  int rows = 0, decided = 0;
  for (const auto& row : DataRows("normal_fast.tsv")) {
    if (row[0] != "E") continue;
    ++rows;
    nm::Ball y, got, ref;
    quarn::test::Mpfr yd(53);
    ASSERT_EQ(0, mpfr_set_str(yd.v, row[2].c_str(), 0, MPFR_RNDN)) << row[2] << " is not a double";
    arf_set_mpfr(arb_midref(y.get()), yd.v);
    arb_set_str(ref, row[3].c_str(), 256);
    mag_set_ui_2exp_si(arb_radref(ref.get()), 1, arf_abs_bound_lt_2exp_si(arb_midref(ref.get())) - 190);
    for (slong prec : {53, 58, 64, 77, 90}) {
      SCOPED_TRACE("erfc(" + row[2] + ") at " + std::to_string(prec) + " bits");
      if (!nm::ErfcFraction(got, y, prec)) continue;
      ++decided;
      EXPECT_TRUE(arb_overlaps(got, ref));
      EXPECT_GE(arb_rel_accuracy_bits(got), prec - 3);
    }
  }
  ASSERT_EQ(25, rows);
  // The fraction reaches 104 of the 125 (the others: y near 2 at the higher
  // precisions, beyond its terms).
  EXPECT_GE(decided, 100);
}

TEST(NormalFast, TailsAndDeviatesAreCorrectlyRoundedWhereDecided) {
  int rows = 0, decided = 0;
  for (const auto& row : DataRows("normal_fast.tsv")) {
    if (row[0] == "E") continue;
    ++rows;
    ScopedDigits digits(std::stol(row[1]));
    const std::vector<std::string> in = Split(row[2]);
    const QuarnFloat a = Exact(in[0]), mu = Exact(in[1]), sigma = Exact(in[2]);
    const Nag_TailProbability tail = (row[0] == "P" || row[0] == "D") ? Nag_LowerTail : Nag_UpperTail;
    QuarnFloat got;
    const bool ok = (row[0] == "P" || row[0] == "Q") ? QuarnMP_NormalTailAt(&got, tail, a, mu, sigma)
                                                     : QuarnMP_NormalDeviateAt(&got, tail, a, mu, sigma);
    if (!ok) continue;
    ++decided;
    const QuarnFloat want = quarn::floats::Compute([&](mpfr_ptr z) { mpfr_set_str(z, row[3].c_str(), 10, MPFR_RNDN); });
    EXPECT_TRUE(mpfr_equal_p(got.Mpfr(), want.Mpfr()))
        << row[0] << "(" << row[2] << ") at Digits " << row[1] << ": got " << quarn::host::Print(got.Handle())
        << ", want " << row[3];
  }
  // 401 of the 415 decided: the others are levels whose deviate lies too
  // close to a rounding boundary, left to the guard digits' route.
  ASSERT_EQ(415, rows);
  EXPECT_GE(decided, 395);
}

}  // namespace
