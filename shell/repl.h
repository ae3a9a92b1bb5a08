// The interactive loop: line editing and history through libedit.
#ifndef QUARN_SHELL_REPL_H
#define QUARN_SHELL_REPL_H

namespace quarn::shell {

// Reads statements until quit or end of input; returns the exit status.
int RunRepl();

}  // namespace quarn::shell

#endif
