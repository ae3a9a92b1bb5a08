// Errors, information messages and the random source of the host.
#include <cstdarg>
#include <exception>
#include <map>
#include <random>
#include <sstream>

#include "platform/host/internal.h"

namespace quarn::host {

namespace {

std::function<void(const std::string&)>& Sink() {
  static auto* sink = new std::function<void(const std::string&)>([](const std::string& text) {
    std::fputs(text.c_str(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
  });
  return *sink;
}

std::map<std::string, int>& InfoLevels() {
  static auto* levels = new std::map<std::string, int>;
  return *levels;
}

std::mt19937& Generator() {
  static auto* generator = new std::mt19937(1);
  return *generator;
}

}  // namespace

std::string FormatMessage(const std::string& text, HostObject a, HostObject b) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 1 < text.size() && (text[i + 1] == '1' || text[i + 1] == '2')) {
      HostObject h = text[i + 1] == '1' ? a : b;
      out += h == nullptr ? std::string() : Print(h);
      ++i;
    } else {
      out += text[i];
    }
  }
  return out;
}

void Raise(const std::string& text) { throw Error(text); }
void Raise(const std::string& text, HostObject a) { throw Error(FormatMessage(text, a, nullptr)); }
void Raise(const std::string& text, HostObject a, HostObject b) { throw Error(FormatMessage(text, a, b)); }

volatile std::sig_atomic_t g_interrupt_requested = 0;

void RequestInterrupt() { g_interrupt_requested = 1; }
void ClearInterrupt() { g_interrupt_requested = 0; }
bool InterruptRequested() { return g_interrupt_requested != 0; }

void CheckInterrupt() {
  // A destructor that computes while an error unwinds must not throw again.
  if (!g_interrupt_requested || std::uncaught_exceptions() > 0) return;
  g_interrupt_requested = 0;
  throw Interrupted();
}

void SetOutputSink(std::function<void(const std::string&)> sink) { Sink() = std::move(sink); }
void Output(const std::string& text) { Sink()(text); }

void SetInfoLevel(const std::string& channel, int level) { InfoLevels()[channel] = level; }

int InfoLevel(const std::string& channel) {
  auto& levels = InfoLevels();
  auto it = levels.find(channel);
  if (it != levels.end()) return it->second;
  it = levels.find("all");
  return it != levels.end() ? it->second : 0;
}

void SeedRandom(uint64_t seed) {
  // Both halves of the seed count: distinct seeds give distinct sequences.
  std::seed_seq sequence{static_cast<uint32_t>(seed), static_cast<uint32_t>(seed >> 32)};
  Generator().seed(sequence);
}

std::string RandomState() {
  std::ostringstream out;
  out << Generator();
  return out.str();
}

void SetRandomState(const std::string& state) {
  std::istringstream in(state);
  in >> Generator();
}

void InitRandom() { SeedRandom(1); }

}  // namespace quarn::host

using namespace quarn::host;

extern "C" {

void QuarnRaiseError(QKernel, const char* text) { throw Error(text); }
void QuarnRaiseError1(QKernel, const char* text, HostObject a) { Raise(text, a); }
void QuarnRaiseError2(QKernel, const char* text, HostObject a, HostObject b) { Raise(text, a, b); }

void* QuarnTrapError(QKernel, void* (*body)(void* data), void* data, int* trapped) {
  *trapped = 0;
  try {
    return body(data);
  } catch (const Interrupted&) {
    throw;
  } catch (const Error&) {
    *trapped = 1;
    return nullptr;
  }
}

void QuarnUserInfo(QKernel, int level, const char* channel, const char* text) {
  if (InfoLevel(channel) >= level) Output(std::string(channel) + ": " + text);
}

HostObject QuarnRandomSoftwareFloat01(QKernel) {
  // Enough random bits for the working precision, drawn 32 at a time; the
  // result is a multiple of 2^-bits in [0, 1).
  mpfr_prec_t bits = WorkingBits();
  HostObject f = NewFloat(bits, WorkingDigits());
  mpfr_ptr x = FloatMpfr(f);
  mpfr_set_ui(x, 0, MPFR_RNDN);
  for (mpfr_prec_t have = 0; have < bits; have += 32) {
    mpfr_add_ui(x, x, Generator()(), MPFR_RNDZ);  // toward zero: never reaches 1
    mpfr_div_2ui(x, x, 32, MPFR_RNDN);
  }
  return f;
}

// Loops of integer draws (urn samples of 10^9 indices) allocate no floats, so
// the interrupt is looked at here as well as in every new float.
int32_t QuarnRandomInt32(QKernel) {
  if (g_interrupt_requested) quarn::host::CheckInterrupt();
  return static_cast<int32_t>(Generator()());
}

}  // extern "C"
