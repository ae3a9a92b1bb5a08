// The REPL: reads lines with libedit until they make complete statements,
// runs them, and keeps a history in ~/.quarn_history.
//
// Ctrl-C never ends the session: at the prompt it clears the line being
// typed (and any unfinished statement); during a computation it requests an
// interrupt, which shell loops and the host's float arithmetic (so library
// entries too) raise at their next step. Ctrl-D at the primary prompt
// leaves; on a continuation line it discards the unfinished statement and
// says so. Tab completes builtin and library entry names.
#include "shell/repl.h"

#include <editline/readline.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>
#include <string>
#include <vector>

#include "shell/eval.h"
#include "shell/exports.h"
#include "shell/session.h"

namespace quarn::shell {

namespace {

volatile std::sig_atomic_t g_sigint = 0;  // Ctrl-C seen since the REPL last looked

void OnInterrupt(int) {
  g_sigint = 1;
  RequestInterrupt();
}

std::string HistoryPath() {
  const char* home = std::getenv("HOME");
  return home ? std::string(home) + "/.quarn_history" : std::string();
}

bool Blank(const std::string& s) { return s.find_first_not_of(" \t\r\n") == std::string::npos; }

// ---- Tab completion

std::vector<std::string>& Candidates() {
  static auto* names = new std::vector<std::string>;
  return *names;
}

void CollectCandidates() {
  std::vector<std::string>& names = Candidates();
  names = BuiltinNames();
  for (const std::string& e : LibraryEntryNames()) names.push_back(e);
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
}

// libedit calls this with state 0 first, then asks for the next match until
// it gets null; each match is malloc'd (libedit frees it).
char* NextCandidate(const char* text, int state) {
  static size_t next = 0;
  if (state == 0) next = 0;
  const size_t n = std::strlen(text);
  const std::vector<std::string>& names = Candidates();
  while (next < names.size()) {
    const std::string& name = names[next++];
    if (name.compare(0, n, text) == 0) return strdup(name.c_str());
  }
  return nullptr;
}

char** Complete(const char* text, int, int) {
  rl_attempted_completion_over = 1;  // no file names
  return rl_completion_matches(text, NextCandidate);
}

// One line from libedit's callback interface, so that the wait for input
// is ours: SIGINT stays blocked except inside pselect, which unblocks it
// atomically, so a Ctrl-C is seen whether it comes while we wait or while
// libedit works on a key.
enum class Input { Line, End, Interrupted };

char* g_line = nullptr;
bool g_line_done = false;

void OnLine(char* line) {
  g_line = line;
  g_line_done = true;
  rl_callback_handler_remove();
}

Input ReadLine(const char* prompt, std::string* line) {
  sigset_t block, orig;
  sigemptyset(&block);
  sigaddset(&block, SIGINT);
  sigprocmask(SIG_BLOCK, &block, &orig);
  g_line = nullptr;
  g_line_done = false;
  rl_callback_handler_install(prompt, OnLine);
  Input result = Input::Line;
  while (!g_line_done) {
    if (g_sigint) {
      rl_replace_line("", 0);
      rl_callback_handler_remove();
      tcflush(STDIN_FILENO, TCIFLUSH);  // keys typed before the Ctrl-C go with the line
      result = Input::Interrupted;
      break;
    }
    fd_set fds;
    FD_ZERO(&fds);
    FD_SET(STDIN_FILENO, &fds);
    int n = pselect(STDIN_FILENO + 1, &fds, nullptr, nullptr, nullptr, &orig);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      rl_callback_handler_remove();
      result = Input::End;
      break;
    }
    rl_callback_read_char();
  }
  sigprocmask(SIG_SETMASK, &orig, nullptr);
  if (result != Input::Line) return result;
  if (!g_line) return Input::End;
  *line = g_line;
  std::free(g_line);
  return Input::Line;
}

// The first line of an unfinished statement, for the message that says it
// was discarded.
std::string FirstLine(const std::string& buffer) {
  std::string line = buffer.substr(0, buffer.find('\n'));
  size_t lines = static_cast<size_t>(std::count(buffer.begin(), buffer.end(), '\n'));
  return lines > 1 ? line + " ... (" + std::to_string(lines) + " lines)" : line;
}

}  // namespace

int RunRepl() {
  struct sigaction sa {};
  sa.sa_handler = OnInterrupt;
  sa.sa_flags = 0;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGINT, &sa, nullptr);
  rl_catch_signals = 0;

  std::string history = HistoryPath();
  using_history();
  // Ctrl-C must not flush the terminal's input queue while a line is
  // edited: between pselect reporting a key and libedit reading it, a flush
  // would leave that read blocked with SIGINT held off. ReadLine flushes
  // the queue itself once it has seen the interrupt.
  rl_parse_and_bind("setty -d +noflsh");
  if (!history.empty()) read_history(history.c_str());
  CollectCandidates();
  rl_attempted_completion_function = Complete;
  rl_completion_append_character = '(';  // every candidate is a function
  rl_basic_word_break_characters = " \t\n\"'`@$<>=;:|&{}()[],+-*/^%.";
  std::printf(
      "quarn %s: the quarnstats shell. End statements with ; (show) or : (quiet); help() lists what there is;\n"
      "Tab completes names; Ctrl-C interrupts; quit or Ctrl-D leaves.\n",
      QUARN_VERSION);

  Session session;
  session.SetDisplay(Session::Display::TwoDimensional);
  std::string buffer;
  while (!session.quit_requested()) {
    // A Ctrl-C from here on belongs to this line or its computation: one
    // that comes while the line's last key is handled interrupts the run.
    g_sigint = 0;
    ClearInterrupt();
    std::string line;
    Input in = ReadLine(buffer.empty() ? "> " : "  ", &line);
    if (in == Input::Interrupted) {
      // Ctrl-C at the prompt: drop the line and any unfinished statement.
      std::printf("^C\n");
      buffer.clear();
      ClearInterrupt();
      continue;
    }
    if (in == Input::End) {
      if (buffer.empty()) break;
      std::printf("\n(discarded the unfinished statement: %s)\n", FirstLine(buffer).c_str());
      std::fflush(stdout);
      buffer.clear();
      continue;
    }
    buffer += line;
    buffer += '\n';
    if (Blank(buffer)) {
      buffer.clear();
      continue;
    }
    if (!Session::IsComplete(buffer)) continue;
    std::string entry = buffer.substr(0, buffer.size() - 1);
    add_history(entry.c_str());
    buffer.clear();
    session.Run(entry, true);
  }
  if (!history.empty()) write_history(history.c_str());
  std::printf("\n");
  return 0;
}

}  // namespace quarn::shell
