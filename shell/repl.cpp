// The REPL: reads lines with libedit until they make complete statements,
// runs them, and keeps a history in ~/.quarn_history. Ctrl-C interrupts a
// running computation (loops and procedure calls check for it).
#include "shell/repl.h"

#include <editline/readline.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "shell/eval.h"
#include "shell/session.h"

namespace quarn::shell {

namespace {

void OnInterrupt(int) { RequestInterrupt(); }

std::string HistoryPath() {
  const char* home = std::getenv("HOME");
  return home ? std::string(home) + "/.quarn_history" : std::string();
}

bool Blank(const std::string& s) { return s.find_first_not_of(" \t\r\n") == std::string::npos; }

}  // namespace

int RunRepl() {
  struct sigaction sa {};
  sa.sa_handler = OnInterrupt;
  sa.sa_flags = SA_RESTART;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGINT, &sa, nullptr);

  std::string history = HistoryPath();
  using_history();
  if (!history.empty()) read_history(history.c_str());
  std::printf("quarn: the quarnstats shell. End statements with ; (show) or : (quiet); quit to leave.\n");

  Session session;
  std::string buffer;
  while (!session.quit_requested()) {
    char* line = readline(buffer.empty() ? "> " : "  ");
    if (!line) break;
    buffer += line;
    buffer += '\n';
    std::free(line);
    if (Blank(buffer)) {
      buffer.clear();
      continue;
    }
    if (!Session::IsComplete(buffer)) continue;
    std::string entry = buffer.substr(0, buffer.size() - 1);
    add_history(entry.c_str());
    buffer.clear();
    ClearInterrupt();
    session.Run(entry, true);
  }
  if (!history.empty()) write_history(history.c_str());
  std::printf("\n");
  return 0;
}

}  // namespace quarn::shell
