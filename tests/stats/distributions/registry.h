// Every distribution entry of the library, by host name, read from the same
// family table the library is built from, so that a family added there is
// covered by the conformance suite without another line here.
#ifndef QUARN_TESTS_STATS_DISTRIBUTIONS_REGISTRY_H
#define QUARN_TESTS_STATS_DISTRIBUTIONS_REGISTRY_H

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/host/host.h"
#include "stats/distributions/distributions.h"

namespace quarn::test {

using HostEntry = HostObject (*)(QKernel, HostObject);
using ArrayVariate = QuarnFloat (*)(QKernel, const QuarnFloat*);

struct FamilyEntries {
  std::string name;
  HostEntry probability = nullptr;  // null where the family has none
  HostEntry deviate = nullptr;
  HostEntry variate = nullptr;
  HostEntry sample = nullptr;
  ArrayVariate array_variate = nullptr;  // null where the family has no parameter-array overload
  HostEntry upper_probability = nullptr;
  HostEntry upper_deviate = nullptr;
  HostEntry density = nullptr;
  bool integer_deviate = false;
};

#define REGISTRY_Probability_Real(N) &STATS_Quarn##N##Probability_MP
#define REGISTRY_Probability_Mass REGISTRY_Probability_Real
#define REGISTRY_Probability_Tolerance REGISTRY_Probability_Real
#define REGISTRY_Probability_ToleranceEvalf REGISTRY_Probability_Real
#define REGISTRY_Probability_ToleranceTenth REGISTRY_Probability_Real
#define REGISTRY_Probability_None(N) nullptr
#define REGISTRY_Deviate_Real(N) &STATS_Quarn##N##Deviate_MP
#define REGISTRY_Deviate_Integer REGISTRY_Deviate_Real
#define REGISTRY_Deviate_IntegerLocal REGISTRY_Deviate_Real
#define REGISTRY_Deviate_Tolerance REGISTRY_Deviate_Real
#define REGISTRY_Deviate_None(N) nullptr
#define REGISTRY_Array_Inversion(N) static_cast<ArrayVariate>(&STATS_##N##RandomVariate_MP)
#define REGISTRY_Array_Own REGISTRY_Array_Inversion
#define REGISTRY_Array_Explicit(N) nullptr
#define REGISTRY_Array_Flag(N) nullptr
#define REGISTRY_Upper_Real(N) &STATS_Quarn##N##UpperProbability_MP, &STATS_Quarn##N##UpperDeviate_MP
#define REGISTRY_Upper_None(N) nullptr, nullptr
#define REGISTRY_Density_Real(N) &STATS_Quarn##N##Density_MP
#define REGISTRY_Density_None(N) nullptr

inline const std::vector<FamilyEntries>& Families() {
  static const std::vector<FamilyEntries> families = {
#define FAMILY(N, P, A, PROBABILITY, DEVIATE, UPPER, DENSITY, VARIATE, SAMPLE)                          \
  {#N, REGISTRY_Probability_##PROBABILITY(N), REGISTRY_Deviate_##DEVIATE(N), &STATS_Quarn##N##RandomVariate_MP, \
   &STATS_Quarn##N##RandomSample_MP, REGISTRY_Array_##VARIATE(N), REGISTRY_Upper_##UPPER(N),                  \
   REGISTRY_Density_##DENSITY(N), std::string(#DEVIATE).rfind("Integer", 0) == 0},
#include "stats/distributions/families.inc"
#undef FAMILY
  };
  return families;
}

inline const FamilyEntries& FamilyNamed(const std::string& name) {
  for (const FamilyEntries& f : Families()) {
    if (f.name == name) return f;
  }
  throw std::out_of_range("no family " + name);
}

// Host entries by host name ("QuarnBetaDeviate"), including the entries that
// are written out by hand.
inline HostEntry EntryNamed(const std::string& name) {
  static const std::map<std::string, HostEntry> entries = [] {
    std::map<std::string, HostEntry> m;
    for (const FamilyEntries& f : Families()) {
      if (f.probability) m["Quarn" + f.name + "Probability"] = f.probability;
      if (f.deviate) m["Quarn" + f.name + "Deviate"] = f.deviate;
      if (f.upper_probability) m["Quarn" + f.name + "UpperProbability"] = f.upper_probability;
      if (f.upper_deviate) m["Quarn" + f.name + "UpperDeviate"] = f.upper_deviate;
      if (f.density) m["Quarn" + f.name + "Density"] = f.density;
      m["Quarn" + f.name + "RandomVariate"] = f.variate;
      m["Quarn" + f.name + "RandomSample"] = f.sample;
    }
    m["QuarnErrorDeviate"] = &STATS_QuarnErrorDeviate_MP;
    m["QuarnEmpiricalDeviate"] = &STATS_QuarnEmpiricalDeviate_MP;
    m["QuarnEmpiricalRandomVariate"] = &STATS_QuarnEmpiricalRandomVariate_MP;
    m["QuarnEmpiricalRandomSample"] = &STATS_QuarnEmpiricalRandomSample_MP;
    m["QuarnNormalDeviateApprox"] = &STATS_QuarnNormalDeviateApprox_MP;
    m["QuarnNormalWApprox"] = &STATS_QuarnNormalWApprox_MP;
    return m;
  }();
  auto it = entries.find(name);
  if (it == entries.end()) throw std::out_of_range("no entry " + name);
  return it->second;
}

// Calls a host entry with the given arguments.
inline HostObject Call(HostEntry entry, const std::vector<HostObject>& args) {
  return entry(host::Kernel(), host::MakeSeq(args));
}

}  // namespace quarn::test

#endif
