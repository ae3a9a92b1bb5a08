// Plots through gnuplot, started as a child process (no shell) that reads
// its commands and data from a pipe:
//   plot(f, a..b)          a procedure f on [a, b]
//   plot(e, x = a..b)      an expression in x on [a, b]
//   plot(data)             a Vector or list of y (x = 1, 2, ...), a two-column
//                          Matrix or a list of [x, y] pairs, as points or lines
//   histogram(data, bins)  counts in bins of equal width over the data's range
//   densityplot(d, a..b)   a kernel density estimate d (its values at the N
//                          equally spaced points of [a, b]), or d against a
//                          Vector of points
// Options: output = "name.png" or "name.svg" (the extension picks the format;
// plot.svg by default), title, xlabel, ylabel (strings), style = points or
// lines, numpoints = n (function plots, 200 by default). Returns the file
// name. Every text reaches gnuplot inside a single-quoted string, where
// gnuplot substitutes nothing (no backquoted commands, no macros), with its
// quotes doubled and line breaks removed; numbers are written by us; so no
// name or title can run a gnuplot or shell command.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>

#include "shell/eval.h"

extern char** environ;

namespace quarn::shell {

namespace {

struct PlotOptions {
  std::string output = "plot.svg";
  std::string title, xlabel, ylabel;
  std::string style;  // "points" or "lines"; empty: the kind's default
  long numpoints = 200;
};

// A text inside gnuplot's single quotes.
std::string Quoted(const std::string& text) {
  std::string out = "'";
  for (char c : text) {
    if (c == '\'') {
      out += "''";
    } else if (c == '\n' || c == '\r' || c == '\0') {
      out += ' ';
    } else {
      out += c;
    }
  }
  return out + "'";
}

std::string Text(HostObject v, const char* what) {
  if (host::KindOf(v) != host::Kind::String) host::Raise(std::string("plot: ") + what + " must be a string, received: %1", v);
  return host::StringText(v);
}

// Options from the trailing equations; the rest are returned in order.
std::vector<HostObject> SplitOptions(const std::vector<HostObject>& a, PlotOptions* o, const char* name) {
  std::vector<HostObject> rest;
  for (HostObject x : a) {
    bool option = host::KindOf(x) == host::Kind::Equation && host::KindOf(host::Slot(x, 1)) == host::Kind::Name;
    std::string key = option ? host::NameText(host::Slot(x, 1)) : "";
    HostObject v = option ? host::Slot(x, 2) : nullptr;
    if (key == "output") {
      o->output = Text(v, "output");
    } else if (key == "title") {
      o->title = Text(v, "title");
    } else if (key == "xlabel") {
      o->xlabel = Text(v, "xlabel");
    } else if (key == "ylabel") {
      o->ylabel = Text(v, "ylabel");
    } else if (key == "style") {
      std::string s = host::KindOf(v) == host::Kind::Name ? host::NameText(v) : "";
      if (s != "points" && s != "lines") host::Raise(std::string(name) + ": style must be points or lines, received: %1", v);
      o->style = s;
    } else if (key == "numpoints") {
      if (!host::IntegerToLong(v, &o->numpoints) || o->numpoints < 2 || o->numpoints > 1000000) {
        host::Raise(std::string(name) + ": numpoints must be an integer from 2 to 10^6, received: %1", v);
      }
    } else {
      rest.push_back(x);
    }
  }
  return rest;
}

// A real number as a double, or NaN when v is none.
double ToDouble(HostObject v) {
  if (host::KindOf(v) != host::Kind::Float) {
    try {
      v = host::Evalf(v);
    } catch (const InterruptError&) {
      throw;
    } catch (const host::Error&) {
      return std::nan("");
    }
  }
  return host::KindOf(v) == host::Kind::Float ? mpfr_get_d(host::FloatMpfr(v), MPFR_RNDN) : std::nan("");
}

double Number(HostObject v, const char* name, const char* what) {
  double d = ToDouble(v);
  if (!std::isfinite(d)) host::Raise(std::string(name) + ": " + what + " must be a finite real number, received: %1", v);
  return d;
}

// The values of a Vector, Array or list.
std::vector<HostObject> Values(HostObject data, const char* name) {
  if (host::KindOf(data) == host::Kind::List) return host::Elements(data);
  if (host::KindOf(data) == host::Kind::RTable && RTableNumDimensions(host::Kernel(), data) == 1) return AllElements(data);
  host::Raise(std::string(name) + " expects a Vector or list of numbers, received: %1", data);
}

using Points = std::vector<std::pair<double, double>>;

// The datablock of the points: one "x y" line each; a point whose y is not
// a number breaks the line there.
std::string DataBlock(const Points& pts) {
  std::string out = "$data << EOD\n";
  char line[80];
  for (const auto& [x, y] : pts) {
    if (!std::isfinite(y) || !std::isfinite(x)) {
      out += "\n";
      continue;
    }
    std::snprintf(line, sizeof line, "%.17g %.17g\n", x, y);
    out += line;
  }
  return out + "EOD\n";
}

// Runs gnuplot on the script; raises with gnuplot's own message when it fails.
void RunGnuplot(const std::string& script) {
  int in[2];
  if (pipe(in) != 0) host::Raise(std::string("plot: cannot make a pipe: ") + std::strerror(errno));
  char errname[] = "/tmp/quarn-gnuplot-XXXXXX";
  int errfd = mkstemp(errname);
  if (errfd < 0) {
    close(in[0]);
    close(in[1]);
    host::Raise(std::string("plot: cannot make a temporary file: ") + std::strerror(errno));
  }
  unlink(errname);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, errfd, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, errfd, STDERR_FILENO);
  posix_spawn_file_actions_addclose(&actions, in[1]);
  char* argv[] = {const_cast<char*>("gnuplot"), nullptr};
  pid_t pid;
  int spawned = posix_spawnp(&pid, "gnuplot", &actions, nullptr, argv, environ);
  posix_spawn_file_actions_destroy(&actions);
  close(in[0]);
  if (spawned != 0) {
    close(in[1]);
    close(errfd);
    host::Raise("plot needs gnuplot (the Debian package gnuplot-nox): " + std::string(std::strerror(spawned)));
  }
  // A gnuplot that dies early must not take the shell with it (SIGPIPE).
  struct sigaction ignore {}, old {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignore, &old);
  for (size_t done = 0; done < script.size();) {
    ssize_t n = write(in[1], script.data() + done, script.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  close(in[1]);
  sigaction(SIGPIPE, &old, nullptr);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  std::string messages;
  char buf[4096];
  lseek(errfd, 0, SEEK_SET);
  for (ssize_t n; (n = read(errfd, buf, sizeof buf)) > 0;) messages.append(buf, static_cast<size_t>(n));
  close(errfd);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    while (!messages.empty() && (messages.back() == '\n' || messages.back() == ' ')) messages.pop_back();
    size_t last = messages.rfind('\n');
    host::Raise("plot: gnuplot failed: " + (last == std::string::npos ? messages : messages.substr(last + 1)));
  }
}

// The script's head: terminal by the file's extension, fixed margins, the
// texts; then the plot command.
HostObject Render(const PlotOptions& o, const Points& pts, const std::string& plot_command, const std::string& extra) {
  const std::string& out = o.output;
  std::string ext = out.size() > 4 ? out.substr(out.size() - 4) : "";
  for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  std::string terminal;
  if (ext == ".png") {
    terminal = "set terminal pngcairo size 800,500 noenhanced font 'sans,10'\n";
  } else if (ext == ".svg") {
    terminal = "set terminal svg size 800,500 noenhanced font 'sans,10' background rgb 'white'\n";
  } else {
    host::Raise("plot: the output file must end in .png or .svg, received: %1", host::MakeString(out));
  }
  std::string script = terminal + "set output " + Quoted(out) + "\n" +
                       "set lmargin at screen 0.1\nset rmargin at screen 0.95\n"
                       "set bmargin at screen 0.1\nset tmargin at screen 0.9\n"
                       "set grid\nunset key\n";
  if (!o.title.empty()) script += "set title " + Quoted(o.title) + "\n";
  if (!o.xlabel.empty()) script += "set xlabel " + Quoted(o.xlabel) + "\n";
  if (!o.ylabel.empty()) script += "set ylabel " + Quoted(o.ylabel) + "\n";
  script += extra + DataBlock(pts) + plot_command + "\nset output\n";
  RunGnuplot(script);
  return host::MakeString(out);
}

std::string Style(const PlotOptions& o, const char* fallback) {
  std::string s = o.style.empty() ? fallback : o.style;
  return s == "lines" ? "with lines lw 2 lc rgb '#1f5fbf'" : "with points pt 7 ps 0.7 lc rgb '#1f5fbf'";
}

std::string Range(double a, double b) {
  char buf[100];
  std::snprintf(buf, sizeof buf, "set xrange [%.17g:%.17g]\n", a, b);
  return buf;
}

// Points of a function on [a, b]: value(x) at numpoints equally spaced x.
template <class F>
Points Sample(double a, double b, long n, F value) {
  Points pts;
  for (long i = 0; i < n; ++i) {
    CheckInterrupt();
    double t = a + (b - a) * static_cast<double>(i) / static_cast<double>(n - 1);
    HostObject x = host::MakeFloat(t);
    pts.emplace_back(t, ToDouble(value(x)));
  }
  return pts;
}

HostObject DataPlot(HostObject data, const PlotOptions& o) {
  Points pts;
  QKernel kv = host::Kernel();
  if (host::KindOf(data) == host::Kind::RTable && RTableNumDimensions(kv, data) == 2) {
    if (RTableUpperBound(kv, data, 2) - RTableLowerBound(kv, data, 2) != 1) {
      host::Raise("plot expects a Matrix of two columns (x, y), received: %1", data);
    }
    std::vector<HostObject> all = AllElements(data);
    for (size_t k = 0; k + 1 < all.size(); k += 2) pts.emplace_back(ToDouble(all[k]), ToDouble(all[k + 1]));
  } else {
    std::vector<HostObject> v = Values(data, "plot");
    for (size_t i = 0; i < v.size(); ++i) {
      if (host::KindOf(v[i]) == host::Kind::List && host::Elements(v[i]).size() == 2) {
        pts.emplace_back(ToDouble(host::Elements(v[i])[0]), ToDouble(host::Elements(v[i])[1]));
      } else {
        pts.emplace_back(static_cast<double>(i + 1), ToDouble(v[i]));
      }
    }
  }
  if (pts.empty()) host::Raise("plot: no data to plot");
  return Render(o, pts, "plot $data using 1:2 " + Style(o, "points"), "");
}

HostObject Histogram(const std::vector<HostObject>& args) {
  PlotOptions o;
  std::vector<HostObject> a = SplitOptions(args, &o, "histogram");
  if (a.empty() || a.size() > 2) RaiseArity("histogram", "data, a number of bins and options", args);
  std::vector<double> x;
  for (HostObject v : Values(a[0], "histogram")) {
    double d = ToDouble(v);
    if (std::isfinite(d)) x.push_back(d);  // missing data is left out
  }
  if (x.empty()) host::Raise("histogram: no data to count");
  long bins = static_cast<long>(std::ceil(std::sqrt(static_cast<double>(x.size()))));
  if (a.size() == 2 && (!host::IntegerToLong(a[1], &bins) || bins < 1 || bins > 100000)) {
    host::Raise("histogram: the number of bins must be an integer from 1 to 100000, received: %1", a[1]);
  }
  double lo = *std::min_element(x.begin(), x.end()), hi = *std::max_element(x.begin(), x.end());
  if (hi == lo) {
    lo -= 0.5;
    hi += 0.5;
  }
  const double width = (hi - lo) / static_cast<double>(bins);
  std::vector<long> counts(static_cast<size_t>(bins));
  for (double d : x) {
    long k = std::min(bins - 1, static_cast<long>((d - lo) / width));
    ++counts[static_cast<size_t>(k)];
  }
  Points pts;
  for (long k = 0; k < bins; ++k) pts.emplace_back(lo + (static_cast<double>(k) + 0.5) * width, static_cast<double>(counts[static_cast<size_t>(k)]));
  char box[80];
  std::snprintf(box, sizeof box, "set boxwidth %.17g absolute\n", width);
  return Render(o, pts, "plot $data using 1:2 with boxes lc rgb '#1f5fbf'",
                Range(lo, hi) + box + "set style fill solid 0.6 border lc rgb '#103060'\nset yrange [0:*]\n");
}

HostObject DensityPlot(const std::vector<HostObject>& args) {
  PlotOptions o;
  std::vector<HostObject> a = SplitOptions(args, &o, "densityplot");
  if (a.size() != 2) RaiseArity("densityplot", "a density estimate, a grid (a..b or a Vector of points) and options", args);
  std::vector<HostObject> d = Values(a[0], "densityplot");
  Points pts;
  if (host::KindOf(a[1]) == host::Kind::Range) {
    double lo = Number(host::Slot(a[1], 1), "densityplot", "the grid's left end");
    double hi = Number(host::Slot(a[1], 2), "densityplot", "the grid's right end");
    for (size_t k = 0; k < d.size(); ++k) {
      double t = d.size() > 1 ? static_cast<double>(k) / static_cast<double>(d.size() - 1) : 0.0;
      pts.emplace_back(lo + t * (hi - lo), ToDouble(d[k]));
    }
  } else {
    std::vector<HostObject> x = Values(a[1], "densityplot");
    if (x.size() != d.size()) host::Raise("densityplot: the grid has " + std::to_string(x.size()) + " points, the estimate " + std::to_string(d.size()));
    for (size_t k = 0; k < d.size(); ++k) pts.emplace_back(ToDouble(x[k]), ToDouble(d[k]));
  }
  if (pts.empty()) host::Raise("densityplot: the estimate is empty");
  return Render(o, pts, "plot $data using 1:2 " + Style(o, "lines"), "set yrange [0:*]\n");
}

}  // namespace

// plot is a special form, so that plot(e, x = a..b) can evaluate e at each
// point with x bound; the other forms evaluate their arguments first.
HostObject Plot(const Expr& call, const EnvPtr& env) {
  const std::vector<ExprPtr>& items = call.items;
  static const char* const kOptions[] = {"output", "title", "xlabel", "ylabel", "style", "numpoints"};
  bool variable = items.size() >= 2 && items[1]->kind == ExprKind::Eq && items[1]->a->kind == ExprKind::Name &&
                  std::none_of(std::begin(kOptions), std::end(kOptions),
                               [&](const char* k) { return items[1]->a->text == k; });
  if (variable) {
    PlotOptions o;
    std::vector<ExprPtr> option_items(items.begin() + 2, items.end());
    SplitOptions(EvalItems(option_items, env, false), &o, "plot");
    HostObject range = Eval(*items[1]->b, env);
    if (host::KindOf(range) != host::Kind::Range) host::Raise("plot expects x = a..b, received: %1", range);
    double lo = Number(host::Slot(range, 1), "plot", "the left end"), hi = Number(host::Slot(range, 2), "plot", "the right end");
    const std::string var = items[1]->a->text;
    HostObject saved = BoundValue(var, env);
    Points pts;
    try {
      pts = Sample(lo, hi, o.numpoints, [&](HostObject x) {
        AssignVar(var, x, env);
        return Eval(*items[0], env);
      });
    } catch (...) {
      AssignVar(var, saved ? saved : host::Name(var), env);
      throw;
    }
    AssignVar(var, saved ? saved : host::Name(var), env);
    return Render(o, pts, "plot $data using 1:2 " + Style(o, "lines"), Range(lo, hi));
  }
  std::vector<HostObject> args = EvalItems(items, env, false);
  PlotOptions o;
  std::vector<HostObject> a = SplitOptions(args, &o, "plot");
  if (a.size() == 1) return DataPlot(a[0], o);
  if (a.size() == 2 && host::KindOf(a[1]) == host::Kind::Range) {
    if (host::KindOf(a[0]) != host::Kind::Procedure) host::Raise("plot expects a procedure before the range, received: %1", a[0]);
    double lo = Number(host::Slot(a[1], 1), "plot", "the left end"), hi = Number(host::Slot(a[1], 2), "plot", "the right end");
    Points pts = Sample(lo, hi, o.numpoints, [&](HostObject x) { return host::Apply(a[0], x); });
    return Render(o, pts, "plot $data using 1:2 " + Style(o, "lines"), Range(lo, hi));
  }
  RaiseArity("plot", "f, a..b or e, x = a..b or data, and options", args);
}

void RegisterPlotBuiltins() {
  RegisterForm("plot",
               "plot(f, a..b), plot(e, x = a..b), plot(data): a picture in the file output = \"name.png\" or "
               "\"name.svg\" (plot.svg by default); options title, xlabel, ylabel, style = points or lines, numpoints");
  RegisterBuiltin("histogram", Histogram, "histogram(data, bins): a histogram of counts in bins of equal width (options as plot)");
  RegisterBuiltin("densityplot", DensityPlot,
                  "densityplot(d, a..b): a kernel density estimate d at the equally spaced points of [a, b] (options as plot)");
}

}  // namespace quarn::shell
