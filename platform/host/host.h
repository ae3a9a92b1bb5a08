// The host kernel's own C++ interface: what the shell, the float library and
// the tests use beyond the external-calling calls of quarnc.h. Libraries
// loaded by the host use quarnc.h only.
#ifndef QUARN_PLATFORM_HOST_HOST_H
#define QUARN_PLATFORM_HOST_HOST_H

#include <mpfr.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/host/quarnc.h"

namespace quarn::host {

// Starts the collector and builds the host's names; safe to call repeatedly.
// The host library calls it when it is loaded.
void Initialize();

// The process's kernel handle.
QKernel Kernel();

// ---------------------------------------------------------------- kinds
enum class Kind {
  Integer, Rational, Float, Complex, String, Name, Function, List, ExpSeq,
  Table, RTable, Procedure, Uneval, Equation, Range, Other,
};
Kind KindOf(HostObject h);
uint32_t TagOf(HostObject h);            // immediates: 1 negative, 2 otherwise
const char* KindName(Kind k);            // "integer", "float", ...

// Objects made by QuarnNew, one slot at a time (slot 1 is the first after
// the header); also used for equations and ranges.
HostObject Slot(HostObject h, int i);
int Length(HostObject h);                // words, header included

// --------------------------------------------------------------- errors
// The host's error: the fully formatted message. Raise calls throw it.
class Error : public std::exception {
 public:
  explicit Error(std::string message) : message_(std::move(message)) {}
  const char* what() const noexcept override { return message_.c_str(); }
  const std::string& message() const { return message_; }

 private:
  std::string message_;
};

// Replaces %1 and %2 in text by the printed objects.
std::string FormatMessage(const std::string& text, HostObject a, HostObject b = nullptr);
[[noreturn]] void Raise(const std::string& text);
[[noreturn]] void Raise(const std::string& text, HostObject a);
[[noreturn]] void Raise(const std::string& text, HostObject a, HostObject b);

// A user's interrupt (Ctrl-C). A signal handler requests it; the host's own
// work checks for it wherever it makes a float, so that any long computation
// (arithmetic loops, refinements at high precision, long samples) raises
// Interrupted within one float operation. QuarnTrapError lets it through:
// an interrupt always reaches the caller that installed the handler.
class Interrupted : public Error {
 public:
  Interrupted() : Error("interrupted") {}
};
void RequestInterrupt();                 // async-signal-safe
void ClearInterrupt();
bool InterruptRequested();
// Raises Interrupted, and clears the request, when one is pending (never
// while an exception is already unwinding the stack).
void CheckInterrupt();

// ------------------------------------------------------------- numbers
HostObject MakeInteger(long n);
HostObject MakeIntegerFromString(const std::string& digits);  // decimal, optional sign
HostObject MakeIntegerFromMpz(mpz_srcptr z);
bool IntegerToLong(HostObject h, long* out);                 // false when too big
void IntegerToMpz(HostObject h, mpz_ptr out);                // out initialised by caller
HostObject MakeRational(HostObject num, HostObject den);     // normalised; may give an integer
HostObject MakeComplex(HostObject re, HostObject im);        // im exact 0 gives re
HostObject ComplexRe(HostObject h);
HostObject ComplexIm(HostObject h);

// Software floats. Every float records the digits it was made at; printing
// rounds to them.
//
// The working precision is read by every float operation, so assigning
// Digits stores it here once, with the size of a float object at that
// precision, rather than each operation looking it up.
struct WorkingPrecision {
  long digits;
  mpfr_prec_t bits;
  uint32_t float_words;     // a float object's length in words, header included
  uint32_t float_granules;  // the same in the collector's 16-byte granules
};
extern WorkingPrecision g_working;
inline long WorkingDigits() { return g_working.digits; }         // Digits
inline mpfr_prec_t WorkingBits() { return g_working.bits; }      // binary precision for Digits
mpfr_prec_t BitsForDigits(long digits);
// A fresh float at the given precision; the caller writes its value through
// FloatMpfr before anyone else sees it.
HostObject NewFloat(mpfr_prec_t bits, long digits);
mpfr_ptr FloatMpfr(HostObject f);        // the number inside a float object
long FloatDigits(HostObject f);
HostObject MakeFloat(double d);          // at the working precision
HostObject MakeFloatFromMpfr(mpfr_srcptr x, long digits);  // rounded to digits
HostObject ParseFloat(const std::string& text);            // decimal literal at Digits
HostObject FloatUndefined();
HostObject FloatInfinity(int sign);

// Arithmetic on numbers, with symbolic results for anything else
// (an unevaluated call of +, *, ^ ...). Exact where both sides are exact.
HostObject Add(HostObject a, HostObject b);
HostObject Sub(HostObject a, HostObject b);
HostObject Mul(HostObject a, HostObject b);
HostObject Div(HostObject a, HostObject b);
HostObject Pow(HostObject a, HostObject b);
HostObject Neg(HostObject a);
// Numeric order: -1, 0, 1, or 2 when unordered (an undefined float); raises
// when either side is not a real number.
int Compare(HostObject a, HostObject b);
// Structural equality (numbers by value, names by identity).
bool Equal(HostObject a, HostObject b);
size_t Hash(HostObject h);
bool IsZero(HostObject h);

// Evaluates numbers, constants and calls of the known functions (sin, cos,
// tan, arctan, exp, ln, sqrt, ...) to floats; digits 0 means Digits.
HostObject Evalf(HostObject h, long digits = 0);
// The known numeric functions, evaluated on an MPFR number in place.
bool EvalfFunction(std::string_view name, mpfr_ptr x);

// --------------------------------------------------------------- names
HostObject Name(const std::string& text);
std::string NameText(HostObject name);
HostObject NameValue(HostObject name);   // null when unassigned
bool IsAssigned(HostObject name);
// Assigns (value null unassigns); returns the previous value or null.
// Assigning Digits checks and sets the working precision.
HostObject AssignName(HostObject name, HostObject value);
void SetDigits(long digits);
HostObject True();
HostObject False();
HostObject Null();                       // the empty expression sequence

// ---------------------------------------------------------- containers
HostObject MakeString(const std::string& text);
std::string StringText(HostObject s);
HostObject MakeList(const std::vector<HostObject>& elements);
HostObject MakeSeq(const std::vector<HostObject>& elements);  // one element gives it
std::vector<HostObject> Elements(HostObject h);  // list, seq, function args
HostObject MakeFunction(HostObject fname, const std::vector<HostObject>& args);
HostObject FunctionName(HostObject f);
HostObject MakeEquation(HostObject lhs, HostObject rhs);
HostObject MakeRange(HostObject lo, HostObject hi);
HostObject MakeUneval(HostObject e);
HostObject UnevalBody(HostObject u);
HostObject MakeTable();
// Table entries in a stable order (keys sorted by their printed form).
std::vector<std::pair<HostObject, HostObject>> TableEntries(HostObject t);
void TableDelete(HostObject t, HostObject key);

// ----------------------------------------------------------- procedures
using NativeProc = HostObject (*)(QKernel kv, HostObject data, HostObject args);
HostObject MakeProcedure(NativeProc fn, HostObject data, const std::string& text);
// Applies a procedure, a name (assigned to a procedure, or a function left
// unevaluated) or another object used as a function to an argument sequence.
HostObject Apply(HostObject f, HostObject args);
HostObject ProcedureData(HostObject p);

// -------------------------------------------------------------- rtables
// Element at a 1-based position in storage order of a rectangular rtable,
// as a host object whatever the data type (for printing and the shell).
HostObject RTableElementObject(HostObject rt, const int* index);
// Converts a host object to an element of the given data type; raises when
// it does not fit.
RTableData ObjectToElement(int data_type, HostObject value);
HostObject ElementToObject(int data_type, const RTableData& e);
size_t DataTypeSize(int data_type);

// -------------------------------------------------------------- output
// Everything the host prints (information messages) goes through the sink;
// the default writes to standard output.
void SetOutputSink(std::function<void(const std::string&)> sink);
void Output(const std::string& text);
void SetInfoLevel(const std::string& channel, int level);  // "all" for every channel
int InfoLevel(const std::string& channel);

// Printed form of an object.
std::string Print(HostObject h);

// --------------------------------------------------------------- random
void SeedRandom(uint64_t seed);
std::string RandomState();
void SetRandomState(const std::string& state);

// ------------------------------------------------------------- collector
size_t ProtectedCount();                 // objects held by QuarnGcProtect
void Collect();                          // a full collection now

}  // namespace quarn::host

#endif
