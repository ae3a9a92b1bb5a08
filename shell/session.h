// Running quarn source: parse a statement, execute it, show its result,
// report its error, go on.
#ifndef QUARN_SHELL_SESSION_H
#define QUARN_SHELL_SESSION_H

#include <exception>
#include <string>

namespace quarn::shell {

struct Stmt;

// Registers the builtins; call once before the first Run.
void InitShell();

class Session {
 public:
  // Runs the statements of source in order, showing the results of those
  // ended by ';' (and of a final unterminated one when lenient). An error in
  // a statement is reported and the next statement runs; a syntax error is
  // reported and ends the source. Returns false when anything was reported.
  bool Run(const std::string& source, bool lenient);

  // Whether source is a complete input: false when it ends inside a
  // statement (the REPL then reads another line).
  static bool IsComplete(const std::string& source);

  bool quit_requested() const { return quit_; }

  // How results are shown: on one line as they read back (scripts), or
  // matrices as rows and columns (the REPL).
  enum class Display { OneLine, TwoDimensional };
  void SetDisplay(Display d) { display_ = d; }
  // Whether each statement's source is printed before its result, as in a
  // worksheet (quarn --echo).
  void SetEcho(bool echo) { echo_source_ = echo; }

 private:
  void Execute(const Stmt& s);
  bool quit_ = false;
  Display display_ = Display::OneLine;
  bool echo_source_ = false;
};

// "Error, (in QuarnX) message" for errors that left an entry, else
// "Error, message".
std::string ErrorLine(const std::exception& e);

}  // namespace quarn::shell

#endif
