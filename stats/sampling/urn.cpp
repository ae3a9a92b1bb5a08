// Walker's alias urn (Walker, "An efficient method for generating discrete
// random variables with general distributions", ACM TOMS 3, 1977).
#include <algorithm>

#include "stats/sampling/sampling.h"

// Scales the weights to mean 1 per cell, then lets every cell below 1 take
// its missing share from a cell above 1 (its alias), which keeps what is
// left; cells left over once no cell is above 1 keep everything.
void AliasUrn::Build(int32_t m, int32_t n, const QuarnFloat* weights) {
  n_ = n;
  m_ = m;
  alias_.assign(static_cast<size_t>(std::max(m, 0)), 0);
  probability_.assign(static_cast<size_t>(std::max(m, 0)), QuarnFloat(0.0));
  if (m <= 0) return;
  QuarnFloat sum = 0.0;
  for (int32_t i = 0; i < n; ++i) sum += weights[i];
  if (m == 1) {
    probability_[0] = 1.0;
    alias_[0] = 0;
    return;
  }
  const QuarnFloat scale = QuarnFloat(m) / sum;
  std::vector<int32_t> small, large;
  for (int32_t i = 0; i < n; ++i) {
    probability_[i] = weights[i] * scale;
    if (probability_[i] >= 1) {
      large.push_back(i);
      alias_[i] = i;
    } else {
      small.push_back(i);
    }
  }
  for (int32_t i = n; i < m; ++i) small.push_back(i);  // probability 0
  while (!small.empty()) {
    if (large.empty()) {
      for (int32_t s : small) {
        probability_[s] = 1.0;
        alias_[s] = s;
      }
      break;
    }
    const int32_t s = small.back(), l = large.back();
    alias_[s] = l;
    probability_[l] = probability_[l] + (probability_[s] - 1.0);
    if (probability_[l] < 1) {
      large.pop_back();
      small.back() = l;  // l takes s's place on top of small
    } else {
      small.pop_back();
    }
  }
}

// j from the top b + 1 bits of a random 32-bit integer (b the bit length of
// m - 1), redrawn until j < m; a cell beyond the weights hands the draw to
// its alias without a uniform.
int32_t AliasUrn::Draw() const {
  int b = 0;
  for (uint32_t v = static_cast<uint32_t>(m_ - 1); v != 0; v >>= 1) ++b;
  uint32_t j;
  do {
    j = static_cast<uint32_t>(quarnstats::RandomInt32()) >> (31 - b);
  } while (j >= static_cast<uint32_t>(m_));
  const auto cell = static_cast<int32_t>(j);
  if (cell >= n_) return alias_[cell];
  return quarnstats::UniformFloat() <= probability_[cell] ? cell : alias_[cell];
}
