// The generator of a built-in distribution, chosen by type id.
#include "stats/distributions/distributions.h"
#include "stats/sampling/sampling.h"

namespace {

// The parameter-array variate of a family.
#define STATS_ARRAY_VARIATE(N) static_cast<STATS_ArrayVariate_MP>(&STATS_##N##RandomVariate_MP)

struct TypeId {
  long id;
  STATS_ArrayVariate_MP variate;
};

// The families in alphabetical order; 7 and 32 name nothing.
const TypeId kTypeIds[] = {
    {1, STATS_ARRAY_VARIATE(Bernoulli)},          {2, STATS_ARRAY_VARIATE(Beta)},
    {3, STATS_ARRAY_VARIATE(Binomial)},           {4, STATS_ARRAY_VARIATE(Cauchy)},
    {5, STATS_ARRAY_VARIATE(ChiSquare)},          {6, STATS_ARRAY_VARIATE(DiscreteUniform)},
    {8, STATS_ARRAY_VARIATE(Error)},              {9, STATS_ARRAY_VARIATE(Exponential)},
    {10, STATS_ARRAY_VARIATE(FRatio)},            {11, STATS_ARRAY_VARIATE(Gamma)},
    {12, STATS_ARRAY_VARIATE(Geometric)},         {13, STATS_ARRAY_VARIATE(Gumbel)},
    {14, STATS_ARRAY_VARIATE(Hypergeometric)},    {15, STATS_ARRAY_VARIATE(InverseGaussian)},
    {16, STATS_ARRAY_VARIATE(Laplace)},           {17, STATS_ARRAY_VARIATE(Logistic)},
    {18, STATS_ARRAY_VARIATE(LogNormal)},         {19, STATS_ARRAY_VARIATE(Maxwell)},
    {20, STATS_ARRAY_VARIATE(Moyal)},             {21, STATS_ARRAY_VARIATE(NegativeBinomial)},
    {22, STATS_ARRAY_VARIATE(NonCentralBeta)},    {23, STATS_ARRAY_VARIATE(NonCentralStudentT)},
    {24, STATS_ARRAY_VARIATE(Normal)},            {25, STATS_ARRAY_VARIATE(Pareto)},
    {26, STATS_ARRAY_VARIATE(Poisson)},           {27, STATS_ARRAY_VARIATE(Power)},
    {28, STATS_ARRAY_VARIATE(Rayleigh)},          {29, STATS_ARRAY_VARIATE(StudentT)},
    {30, STATS_ARRAY_VARIATE(Triangular)},        {31, STATS_ARRAY_VARIATE(Uniform)},
    {33, STATS_ARRAY_VARIATE(Weibull)},
};

constexpr int kMaxCoefficients = 5;

}  // namespace

STATS_ArrayVariate_MP STATS_DefaultGenerator_MP::VariateOf(long id) {
  for (const TypeId& t : kTypeIds) {
    if (t.id == id) return t.variate;
  }
  return nullptr;
}

uint32_t STATS_DefaultGenerator_MP::Initialize(QKernel kv, HostObject description) {
  if (!IsQuarnList(kv, description)) QuarnRaiseError1(kv, "expected: list, received: %1", description);
  if (QuarnListLength(kv, description) != 2) QuarnRaiseError1(kv, "expected: list of size 2, received: %1", description);
  HostObject id = QuarnListSelect(kv, description, 1);
  if (!IsQuarnInteger8(kv, id)) QuarnRaiseError1(kv, "invalid random variate type, expected: integer, received: %1", id);
  HostObject coefficients = QuarnListSelect(kv, description, 2);
  if (!IsQuarnList(kv, coefficients)) QuarnRaiseError1(kv, "expected: list of coefficients, received: %1", coefficients);
  const int count = QuarnListLength(kv, coefficients);
  if (count > kMaxCoefficients) QuarnRaiseError1(kv, "invalid number of parameters: %1", coefficients);
  // Five slots whatever the count; those beyond it stay 0.0.
  parameters_.reset(new QuarnFloat[kMaxCoefficients]);
  variate_ = VariateOf(QuarnToQ_INT(kv, id));
  if (variate_ == nullptr) return 0;
  count_ = count;
  for (int i = 0; i < count; ++i) parameters_[i] = quarnstats::HostToFloat(QuarnListSelect(kv, coefficients, i + 1));
  return 1;
}
