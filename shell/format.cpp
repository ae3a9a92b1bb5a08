// printf and sprintf: C-style directives %[flags][width][.precision]conv.
//   d i     an integer, exactly (any size)
//   f e g E G   a number at the precision asked for (6 by default), correctly
//           rounded from the float, or from an exact number or constant
//           evaluated with enough digits
//   s       a string's text, or any value printed;  a  any value printed
//   %%      a percent sign
// Flags: - (left-justify), + (sign), space, 0 (zero padding), #.
#include <mpfr.h>

#include <cctype>
#include <cmath>
#include <cstdio>

#include "shell/eval.h"
#include "shell/output.h"

namespace quarn::shell {

namespace {

struct Directive {
  std::string flags;
  int width = -1;
  int precision = -1;
  char conv = 0;
};

std::string Pad(std::string text, const Directive& d) {
  if (d.width < 0 || static_cast<int>(text.size()) >= d.width) return text;
  size_t fill = static_cast<size_t>(d.width) - text.size();
  if (d.flags.find('-') != std::string::npos) return text + std::string(fill, ' ');
  if (d.flags.find('0') != std::string::npos && d.conv != 's' && d.conv != 'a') {
    size_t sign = !text.empty() && (text[0] == '-' || text[0] == '+' || text[0] == ' ') ? 1 : 0;
    return text.substr(0, sign) + std::string(fill, '0') + text.substr(sign);
  }
  return std::string(fill, ' ') + text;
}

std::string FormatInteger(HostObject v, const Directive& d) {
  if (host::KindOf(v) != host::Kind::Integer) {
    host::Raise(std::string("printf: %") + d.conv + " expects an integer, received: %1", v);
  }
  std::string text = host::Print(v);
  if (text[0] != '-') {
    if (d.flags.find('+') != std::string::npos) text = "+" + text;
    else if (d.flags.find(' ') != std::string::npos) text = " " + text;
  }
  return Pad(text, d);
}

std::string FormatFloat(HostObject v, const Directive& d) {
  host::Kind k = host::KindOf(v);
  int precision = d.precision < 0 ? 6 : d.precision;
  // An exact number or a constant: its value with digits enough for the
  // precision asked for, beyond the integer part.
  if (k != host::Kind::Float) {
    HostObject approx = host::Evalf(v, 20);
    if (host::KindOf(approx) != host::Kind::Float) {
      host::Raise(std::string("printf: %") + d.conv + " expects a number, received: %1", v);
    }
    long magnitude = mpfr_zero_p(host::FloatMpfr(approx)) || !mpfr_number_p(host::FloatMpfr(approx))
                         ? 0
                         : std::labs(static_cast<long>(mpfr_get_exp(host::FloatMpfr(approx)))) * 3 / 10 + 1;
    v = host::Evalf(v, std::max(host::WorkingDigits(), magnitude + precision + 10));
  }
  std::string spec = "%" + d.flags;
  if (d.width >= 0) spec += std::to_string(d.width);
  spec += "." + std::to_string(precision) + "R" + d.conv;
  char* out = nullptr;
  if (mpfr_asprintf(&out, spec.c_str(), host::FloatMpfr(v)) < 0) host::Raise("printf: cannot format %1", v);
  std::string text(out);
  mpfr_free_str(out);
  return text;
}

}  // namespace

std::string FormatText(const std::vector<HostObject>& a, const char* name) {
  if (a.empty() || host::KindOf(a[0]) != host::Kind::String) {
    host::Raise(std::string(name) + " expects a format string, received: %1", host::MakeSeq(a));
  }
  const std::string fmt = host::StringText(a[0]);
  std::string out;
  size_t next = 1;
  for (size_t i = 0; i < fmt.size(); ++i) {
    if (fmt[i] != '%' || i + 1 == fmt.size()) {
      out += fmt[i];
      continue;
    }
    if (fmt[i + 1] == '%') {
      out += '%';
      ++i;
      continue;
    }
    size_t start = i++;
    Directive d;
    while (i < fmt.size() && std::string("-+ 0#").find(fmt[i]) != std::string::npos) d.flags += fmt[i++];
    auto number = [&]() {
      int n = 0;
      while (i < fmt.size() && std::isdigit(static_cast<unsigned char>(fmt[i])) && n < 10000) n = n * 10 + (fmt[i++] - '0');
      return n;
    };
    if (i < fmt.size() && std::isdigit(static_cast<unsigned char>(fmt[i]))) d.width = number();
    if (i < fmt.size() && fmt[i] == '.') {
      ++i;
      d.precision = number();
    }
    d.conv = i < fmt.size() ? fmt[i] : '\0';
    if (std::string("dieEfgGsa").find(d.conv) == std::string::npos || d.conv == '\0') {
      host::Raise(std::string(name) + ": unknown directive " + fmt.substr(start, i + 1 - start));
    }
    if (next >= a.size()) host::Raise(std::string(name) + ": too few arguments for the format %1", a[0]);
    HostObject v = a[next++];
    switch (d.conv) {
      case 'd':
      case 'i': out += FormatInteger(v, d); break;
      case 's': out += Pad(host::KindOf(v) == host::Kind::String ? host::StringText(v) : host::Print(v), d); break;
      case 'a': out += Pad(host::Print(v), d); break;
      default: out += FormatFloat(v, d); break;
    }
  }
  return out;
}

namespace {

HostObject Printf(const std::vector<HostObject>& a) {
  WriteText(FormatText(a, "printf"));
  return host::Null();
}

HostObject Sprintf(const std::vector<HostObject>& a) { return host::MakeString(FormatText(a, "sprintf")); }

}  // namespace

void RegisterFormatBuiltins() {
  RegisterBuiltin("printf", Printf,
                  "printf(format, ...): formatted output; %d %5d integers, %f %.3f %e %g numbers, %s strings, "
                  "%a any value, %% a percent sign");
  RegisterBuiltin("sprintf", Sprintf, "sprintf(format, ...): the text printf would write, as a string");
}

}  // namespace quarn::shell
