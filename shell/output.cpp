// Output channels of the shell; see output.h.
#include "shell/output.h"

#include <cstdio>

#include "platform/host/host.h"

namespace quarn::shell {

void WriteLine(const std::string& line) { host::Output(line); }

void WriteText(const std::string& text) {
  std::fputs(text.c_str(), stdout);
  std::fflush(stdout);
}

namespace {
std::function<void(const std::string&)>& ErrorSink() {
  static auto* sink = new std::function<void(const std::string&)>;
  return *sink;
}
}  // namespace

void SetErrorSink(std::function<void(const std::string&)> sink) { ErrorSink() = std::move(sink); }

void WriteError(const std::string& line) {
  if (ErrorSink()) return ErrorSink()(line);
  std::fflush(stdout);
  std::fputs(line.c_str(), stderr);
  std::fputc('\n', stderr);
  std::fflush(stderr);
}

}  // namespace quarn::shell
