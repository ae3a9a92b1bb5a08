// quarn: the host language's shell.
//   quarn FILE            runs a script
//   quarn -e 'STATEMENTS' runs statements, showing each result on its line
//   quarn                 the REPL (or, with standard input not a terminal,
//                         runs standard input as a script)
// The exit status is 1 when any statement reported an error, 2 on misuse.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "shell/eval.h"
#include "shell/library.h"
#include "shell/output.h"
#include "shell/repl.h"
#include "shell/session.h"

namespace {

void Usage(FILE* to) {
  std::fprintf(to,
               "usage: quarn [--echo] [FILE | -e STATEMENTS]\n"
               "  FILE           run the script FILE\n"
               "  -e STATEMENTS  run the statements, showing each result\n"
               "  --echo         show each statement before its result, like a worksheet\n"
               "  --version      the version of quarn and the library\n"
               "  (none)         interactive shell\n"
               "The statistics library is <bin>/../lib/libquarnstats.so unless QUARN_LIBRARY names another.\n");
}

bool ReadAll(std::istream& in, std::string* out) {
  std::ostringstream s;
  s << in.rdbuf();
  *out = s.str();
  return !in.bad();
}

}  // namespace

int main(int argc, char** argv) {
  using namespace quarn::shell;
  MarkStackBase();
  InitShell();

  std::string statements, file;
  bool have_e = false, echo = false;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "-e") == 0 && i + 1 < argc) {
      statements += std::string(argv[++i]) + "\n";
      have_e = true;
    } else if (std::strcmp(argv[i], "--echo") == 0) {
      echo = true;
    } else if (std::strcmp(argv[i], "--version") == 0) {
      std::printf("quarn %s (quarnstats)\n", QUARN_VERSION);
      return 0;
    } else if (std::strcmp(argv[i], "-h") == 0 || std::strcmp(argv[i], "--help") == 0) {
      Usage(stdout);
      return 0;
    } else if (argv[i][0] == '-' && argv[i][1] != '\0') {
      Usage(stderr);
      return 2;
    } else if (file.empty()) {
      file = argv[i];
    } else {
      Usage(stderr);
      return 2;
    }
  }
  if (have_e && !file.empty()) {
    Usage(stderr);
    return 2;
  }

  std::string why;
  if (!LoadLibrary(DefaultLibraryPath(), &why)) {
    WriteError("quarn: warning: the statistics library is not loaded: " + why);
  }

  int status = 0;
  Session session;
  session.SetEcho(echo);
  if (echo) session.SetDisplay(Session::Display::TwoDimensional);
  try {
    if (have_e) {
      status = session.Run(statements, true) ? 0 : 1;
    } else if (!file.empty() && file != "-") {
      std::ifstream in(file, std::ios::binary);
      std::string source;
      if (!in || !ReadAll(in, &source)) {
        WriteError("quarn: cannot read " + file);
        status = 2;
      } else {
        status = session.Run(source, true) ? 0 : 1;
      }
    } else if (file.empty() && isatty(STDIN_FILENO)) {
      status = RunRepl();
    } else {
      std::string source;
      ReadAll(std::cin, &source);
      status = session.Run(source, true) ? 0 : 1;
    }
    TerminateLibrary();
  } catch (const std::exception& e) {
    WriteError(ErrorLine(e));
    status = 1;
  }
  std::fflush(stdout);
  return status;
}
