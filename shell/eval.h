// The quarn evaluator: expressions to host objects, statements with their
// control flow, procedure environments, and the tables of builtins and
// library entries that unassigned names fall back on.
//
// Every value is a host object. Handles are kept only on the stack and in
// memory from operator new (environments, closures, caches), which the
// collector scans.
#ifndef QUARN_SHELL_EVAL_H
#define QUARN_SHELL_EVAL_H

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/host/host.h"
#include "shell/ast.h"

namespace quarn::shell {

// A procedure frame: parameters and locals (a null value is a local not yet
// assigned). The global frame is no Env at all: a null EnvPtr means names
// are the host's global names.
struct Env;
using EnvPtr = std::shared_ptr<Env>;
struct Env {
  std::unordered_map<std::string, HostObject> vars;
  std::vector<std::string> globals;  // declared global in this frame
  EnvPtr parent;                     // the frame the procedure was defined in
};

// An error that left a library entry: the shell prints it as
// "Error, (in <entry>) <message>". It is a host error, so traps inside the
// library still catch it.
class EntryError : public host::Error {
 public:
  EntryError(std::string entry, std::string message)
      : host::Error(std::move(message)), entry_(std::move(entry)) {}
  const std::string& entry() const { return entry_; }

 private:
  std::string entry_;
};

// The error an interrupt (Ctrl-C) raises; try/catch lets it through. The
// request flag is the host's, so that library entries stop too.
using InterruptError = host::Interrupted;

enum class Flow { Normal, Break, Next, Return, Quit };

// Where statement results go: echo is on for top-level statements (and
// statements inside top-level loops and conditionals ended by ';').
struct ExecContext {
  bool echo = false;
  std::function<void(HostObject)> show;
  HostObject result = nullptr;  // value of the last statement, or of return
};

// ---- expressions (eval.cpp)
HostObject Eval(const Expr& e, const EnvPtr& env);
bool Truth(const Expr& e, const EnvPtr& env);
bool TruthOf(HostObject v);
// The truth of a = b: real numbers by value, anything else structurally.
bool ValuesEqual(HostObject a, HostObject b);
// Evaluates a list of expressions, splicing sequences into it. A literal
// NULL in an argument list is kept as an empty argument so that entries can
// be told "no procedure" (keep_null).
std::vector<HostObject> EvalItems(const std::vector<ExprPtr>& items, const EnvPtr& env,
                                  bool keep_null);
HostObject LastResult();
void SetLastResult(HostObject v);

// a op b (Neg: op a, b null) for the arithmetic operators: rtables element
// by element and the product a . b, anything else by the host (rtable_ops.cpp).
HostObject Arith(ExprKind op, HostObject a, HostObject b);

// ---- names (exec.cpp)
// The value of a name: a local, else the global's value, else a builtin or
// library entry of that name, else the name itself.
HostObject LookupName(const std::string& name, const EnvPtr& env);
// Local or global binding of the name, without the builtin and entry
// fallbacks; null when unassigned.
HostObject BoundValue(const std::string& name, const EnvPtr& env);
void AssignVar(const std::string& name, HostObject value, const EnvPtr& env);
// What for x in c visits: the elements of a list or sequence, the values of
// a table, the elements of an rtable row by row, else c itself.
std::vector<HostObject> ForInElements(HostObject coll);

// ---- statements (exec.cpp)
Flow Exec(const Stmt& s, const EnvPtr& env, ExecContext& ctx);
Flow ExecBlock(const Block& b, const EnvPtr& env, ExecContext& ctx);

// read "file": runs the file's statements in the global frame, showing the
// results of those ended by ';' when the read statement itself shows
// (session.cpp). An error stops the reading and propagates.
Flow ReadStatement(const Stmt& s, const EnvPtr& env, ExecContext& ctx);

// ---- indexing (index.cpp)
HostObject IndexValue(const Expr& base, HostObject value, const std::vector<HostObject>& idx);
void AssignIndexed(const Expr& target, HostObject value, const EnvPtr& env);
bool IsIndexAssigned(const Expr& target, const EnvPtr& env);
HostObject RTableElement(HostObject rt, const std::vector<HostObject>& idx);
// Every element of an rtable, row by row (the last index fastest) (arith.cpp).
std::vector<HostObject> AllElements(HostObject rt);

// ---- procedures (procs.cpp)
HostObject MakeShellProcedure(const std::shared_ptr<ProcDef>& def, const EnvPtr& env);
// Raises when the shell was interrupted (Ctrl-C).
inline void CheckInterrupt() { host::CheckInterrupt(); }
inline void RequestInterrupt() { host::RequestInterrupt(); }
inline void ClearInterrupt() { host::ClearInterrupt(); }
// Records the stack's base, from which the recursion limit of shell
// procedures is measured; call early in main.
void MarkStackBase();

// ---- builtins and entries (builtins.cpp, library.cpp)
using BuiltinFn = HostObject (*)(const std::vector<HostObject>& args);
// usage: one line for help(), "name(arguments): what it gives".
void RegisterBuiltin(const std::string& name, BuiltinFn fn, const std::string& usage = "");
// A special form (evaluated by CallSpecialForm) known to help and completion.
void RegisterForm(const std::string& name, const std::string& usage);
std::vector<std::string> BuiltinNames();             // builtins and forms, as registered
std::string BuiltinUsage(const std::string& name);  // empty when none
void RegisterShellBuiltins();   // builtins.cpp
void RegisterRTableBuiltins();  // rtable_ctor.cpp
void RegisterFormatBuiltins();  // format.cpp: printf, sprintf
void RegisterNumberBuiltins();  // arith.cpp: floor ... irem, max, min, sort, rand, time
void RegisterRTableOps();       // rtable_ops.cpp: Transpose and rtable arithmetic
void RegisterDataBuiltins();    // data_io.cpp: ImportMatrix, ExportMatrix, ImportVector
void RegisterPlotBuiltins();    // plot.cpp: plot, histogram, densityplot
void RegisterHelp();            // help.cpp
// A host procedure for the builtin or library entry of this name, or null.
HostObject BuiltinProcedure(const std::string& name);
HostObject EntryProcedure(const std::string& name);
// Special forms see their arguments unevaluated (seq, add, mul, assigned);
// returns false when name is none of them.
bool CallSpecialForm(const std::string& name, const Expr& call, const EnvPtr& env,
                     HostObject* result);

// The text of printf(a...) (name: the builtin, for messages).
std::string FormatText(const std::vector<HostObject>& a, const char* name);

// help(...) and plot(...), special forms (help.cpp, plot.cpp).
HostObject Help(const Expr& call, const EnvPtr& env);
HostObject Plot(const Expr& call, const EnvPtr& env);

// Arguments of a procedure call as a vector, whatever shape the sequence has.
std::vector<HostObject> ArgsOf(HostObject seq);
// A message naming what a builtin expected: "nops expects 1 argument, received: ..."
[[noreturn]] void RaiseArity(const std::string& name, const char* expected,
                             const std::vector<HostObject>& args);

}  // namespace quarn::shell

#endif
