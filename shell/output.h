// Where the shell writes: results and print go to standard output through
// the host's output sink (which information messages use too, so the two
// stay in order); errors go to standard error after standard output is
// flushed, so that a combined capture keeps the order of events.
#ifndef QUARN_SHELL_OUTPUT_H
#define QUARN_SHELL_OUTPUT_H

#include <functional>
#include <string>

#include "platform/host/quarnc.h"

namespace quarn::shell {

void WriteLine(const std::string& line);   // one line; the newline is added
void WriteText(const std::string& text);   // as is (printf)
void WriteError(const std::string& line);  // one line on standard error

// Replaces where WriteError writes (tests capture errors); an empty
// function restores standard error.
void SetErrorSink(std::function<void(const std::string&)> sink);

// A result as the REPL shows it: a two-dimensional rtable as aligned rows,
// one line each (long ones elided to their first and last rows and
// columns); anything else in its one-line printed form.
std::string DisplayForm(HostObject v);

}  // namespace quarn::shell

#endif
