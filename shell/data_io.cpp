// Data files, read and written as CSV with libcsv:
//   ImportMatrix("file.csv", delimiter = ",", header = true)   a Matrix
//   ImportVector("file.csv", ...)                             a column Vector
//   ExportMatrix("file.csv", M, delimiter = ",", header = [names])
// Integers are read as exact integers, other numbers as floats at Digits,
// rounded once from their decimal text; an empty field, NA or NaN is the
// undefined float (missing data). A ragged or non-numeric file is an error
// that names the line and column. ExportMatrix writes floats with all their
// digits, so that a file read back at the same Digits prints the same,
// and returns the number of bytes written.
#include <csv.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>

#include "shell/eval.h"

namespace quarn::shell {

namespace {

QKernel Kv() { return host::Kernel(); }

struct Options {
  char delimiter = ',';
  bool header = false;
  HostObject header_names = nullptr;  // ExportMatrix: a list of names
};

Options ReadOptions(const std::vector<HostObject>& a, size_t first, const char* name, bool exporting) {
  Options o;
  for (size_t i = first; i < a.size(); ++i) {
    if (host::KindOf(a[i]) != host::Kind::Equation || host::KindOf(host::Slot(a[i], 1)) != host::Kind::Name) {
      host::Raise(std::string(name) + ": unexpected argument %1", a[i]);
    }
    std::string key = host::NameText(host::Slot(a[i], 1));
    HostObject v = host::Slot(a[i], 2);
    if (key == "delimiter" && host::KindOf(v) == host::Kind::String && host::StringText(v).size() == 1 &&
        host::StringText(v) != "\"" && host::StringText(v) != "\n") {
      o.delimiter = host::StringText(v)[0];
    } else if (key == "header" && !exporting) {
      o.header = TruthOf(v);
    } else if (key == "header" && host::KindOf(v) == host::Kind::List) {
      o.header_names = v;
    } else {
      host::Raise(std::string(name) + ": invalid option %1", a[i]);
    }
  }
  return o;
}

std::string FileName(const std::vector<HostObject>& a, const char* name, size_t min_args, const char* expected) {
  if (a.size() < min_args) RaiseArity(name, expected, a);
  if (host::KindOf(a[0]) != host::Kind::String) host::Raise(std::string(name) + " expects a file name as a string, received: %1", a[0]);
  return host::StringText(a[0]);
}

// The fields of a CSV file, record by record, as text.
struct Table {
  std::vector<std::vector<std::string>> rows;
  std::vector<std::string> row;
};

void OnField(void* s, size_t n, void* data) {
  static_cast<Table*>(data)->row.emplace_back(s ? static_cast<const char*>(s) : "", s ? n : 0);
}

void OnRecord(int, void* data) {
  auto* t = static_cast<Table*>(data);
  t->rows.push_back(std::move(t->row));
  t->row.clear();
}

char g_delimiter = ',';
// Blanks around unquoted fields are dropped, except the delimiter itself.
int IsBlank(unsigned char c) { return (c == ' ' || c == '\t') && c != static_cast<unsigned char>(g_delimiter); }

Table Parse(const std::string& path, char delimiter, const char* name) {
  std::ifstream in(path, std::ios::binary);
  if (!in) host::Raise(std::string(name) + ": cannot read " + path + ": " + std::strerror(errno));
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  csv_parser p;
  if (csv_init(&p, CSV_APPEND_NULL) != 0) host::Raise(std::string(name) + ": out of memory");
  std::unique_ptr<csv_parser, void (*)(csv_parser*)> guard(&p, csv_free);
  g_delimiter = delimiter;
  csv_set_delim(&p, static_cast<unsigned char>(delimiter));
  csv_set_space_func(&p, IsBlank);
  Table t;
  if (csv_parse(&p, text.data(), text.size(), OnField, OnRecord, &t) != text.size() ||
      csv_fini(&p, OnField, OnRecord, &t) != 0) {
    host::Raise(std::string(name) + ": cannot parse " + path + ": " + csv_strerror(csv_error(&p)));
  }
  return t;
}

bool AllDigits(const std::string& s, size_t from, size_t to) {
  if (from >= to) return false;
  for (size_t i = from; i < to; ++i)
    if (!std::isdigit(static_cast<unsigned char>(s[i]))) return false;
  return true;
}

// A field as a number: an integer exactly, a decimal as a float at Digits,
// a missing value as the undefined float; null when it is none of these.
HostObject FieldValue(const std::string& f) {
  std::string lower;
  for (char c : f) lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (f.empty() || lower == "na" || lower == "nan") return host::FloatUndefined();
  size_t s = f[0] == '+' || f[0] == '-' ? 1 : 0;
  std::string body = lower.substr(s);
  if (body == "inf" || body == "infinity") return host::FloatInfinity(f[0] == '-' ? -1 : 1);
  if (AllDigits(f, s, f.size())) return host::MakeIntegerFromString(f[0] == '+' ? f.substr(1) : f);
  // digits [. digits] [e [+-] digits], with digits on at least one side of the point
  size_t e = lower.find('e');
  size_t mant_end = e == std::string::npos ? f.size() : e;
  size_t dot = f.find('.', s);
  bool mantissa = dot == std::string::npos || dot >= mant_end
                      ? AllDigits(f, s, mant_end)
                      : (AllDigits(f, s, dot) || dot == s) && (AllDigits(f, dot + 1, mant_end) || dot + 1 == mant_end) &&
                            mant_end - s > 1;
  bool exponent = e == std::string::npos ||
                  AllDigits(f, e + 1 + (e + 1 < f.size() && (f[e + 1] == '+' || f[e + 1] == '-') ? 1 : 0), f.size());
  if (!mantissa || !exponent) return nullptr;
  return host::ParseFloat(f);
}

// The numbers of a file, row by row, checked to be rectangular.
std::vector<std::vector<HostObject>> ReadNumbers(const std::vector<HostObject>& a, const char* name) {
  std::string path = FileName(a, name, 1, "a file name and options");
  Options o = ReadOptions(a, 1, name, false);
  Table t = Parse(path, o.delimiter, name);
  size_t first = o.header && !t.rows.empty() ? 1 : 0;
  if (t.rows.size() <= first) host::Raise(std::string(name) + ": " + path + " holds no data");
  std::vector<std::vector<HostObject>> values;
  const size_t width = t.rows[first].size();
  for (size_t r = first; r < t.rows.size(); ++r) {
    const std::vector<std::string>& row = t.rows[r];
    if (row.size() != width) {
      host::Raise(std::string(name) + ": line " + std::to_string(r + 1) + " of " + path + " has " +
                  std::to_string(row.size()) + " fields, but line " + std::to_string(first + 1) + " has " +
                  std::to_string(width));
    }
    std::vector<HostObject> numbers;
    for (size_t c = 0; c < row.size(); ++c) {
      HostObject v = FieldValue(row[c]);
      if (!v) {
        host::Raise(std::string(name) + ": line " + std::to_string(r + 1) + ", column " + std::to_string(c + 1) + " of " +
                        path + " is not a number: %1",
                    host::MakeString(row[c]));
      }
      numbers.push_back(v);
    }
    values.push_back(numbers);
  }
  return values;
}

HostObject NewGeneral(int32_t subtype, std::vector<int> bounds) {
  RTableSettingsRecord rec;
  RTableGetDefaults(Kv(), &rec);
  rec.subtype = subtype;
  rec.num_dimensions = static_cast<int32_t>(bounds.size() / 2);
  return RTableCreate(Kv(), &rec, nullptr, bounds.data());
}

HostObject ImportMatrix(const std::vector<HostObject>& a) {
  std::vector<std::vector<HostObject>> v = ReadNumbers(a, "ImportMatrix");
  HostObject m = NewGeneral(RTABLE_MATRIX, {1, static_cast<int>(v.size()), 1, static_cast<int>(v[0].size())});
  for (size_t i = 0; i < v.size(); ++i) {
    for (size_t j = 0; j < v[i].size(); ++j) {
      int at[2] = {static_cast<int>(i + 1), static_cast<int>(j + 1)};
      RTableAssign(Kv(), m, at, host::ObjectToElement(RTABLE_DAG, v[i][j]));
    }
  }
  return m;
}

HostObject ImportVector(const std::vector<HostObject>& a) {
  std::vector<std::vector<HostObject>> v = ReadNumbers(a, "ImportVector");
  if (v[0].size() != 1) {
    host::Raise("ImportVector reads one column, but the lines of " + host::StringText(a[0]) + " have " +
                std::to_string(v[0].size()) + " fields (ImportMatrix reads them all)");
  }
  HostObject out = NewGeneral(RTABLE_COLUMN, {1, static_cast<int>(v.size())});
  for (size_t i = 0; i < v.size(); ++i) {
    int at = static_cast<int>(i + 1);
    RTableAssign(Kv(), out, &at, host::ObjectToElement(RTABLE_DAG, v[i][0]));
  }
  return out;
}

// One field's text: numbers as they read back (floats with all their
// digits, exact fractions as floats at Digits), missing data empty.
std::string FieldText(HostObject v, bool* quote) {
  *quote = false;
  switch (host::KindOf(v)) {
    case host::Kind::Integer: return host::Print(v);
    case host::Kind::Rational: return host::Print(host::Evalf(v));
    case host::Kind::Float: {
      mpfr_ptr x = host::FloatMpfr(v);
      if (mpfr_nan_p(x)) return "";
      if (mpfr_inf_p(x)) return mpfr_sgn(x) < 0 ? "-inf" : "inf";
      return host::Print(v);
    }
    case host::Kind::String: *quote = true; return host::StringText(v);
    default: *quote = true; return host::Print(v);
  }
}

HostObject ExportMatrix(const std::vector<HostObject>& a) {
  std::string path = FileName(a, "ExportMatrix", 2, "a file name, a Matrix, Vector or list of lists, and options");
  Options o = ReadOptions(a, 2, "ExportMatrix", true);
  HostObject m = a[1];
  std::vector<std::vector<HostObject>> rows;
  if (host::KindOf(m) == host::Kind::RTable && RTableNumDimensions(Kv(), m) <= 2) {
    std::vector<HostObject> all = AllElements(m);
    bool two = RTableNumDimensions(Kv(), m) == 2;
    RTableSettingsRecord rec;
    RTableGetSettings(Kv(), &rec, m);
    size_t cols = two ? static_cast<size_t>(std::max(0, RTableUpperBound(Kv(), m, 2) - RTableLowerBound(Kv(), m, 2) + 1))
                      : (rec.subtype == RTABLE_ROW ? all.size() : 1);
    for (size_t k = 0; cols > 0 && k < all.size(); k += cols) rows.emplace_back(all.begin() + k, all.begin() + k + cols);
  } else if (host::KindOf(m) == host::Kind::List) {
    for (HostObject r : host::Elements(m)) {
      rows.push_back(host::KindOf(r) == host::Kind::List ? host::Elements(r) : std::vector<HostObject>{r});
    }
  } else {
    host::Raise("ExportMatrix expects a Matrix, Vector or list of lists, received: %1", m);
  }
  if (o.header_names) rows.insert(rows.begin(), host::Elements(o.header_names));
  std::unique_ptr<FILE, int (*)(FILE*)> f(std::fopen(path.c_str(), "wb"), std::fclose);
  if (!f) host::Raise("ExportMatrix: cannot write " + path + ": " + std::strerror(errno));
  for (const std::vector<HostObject>& row : rows) {
    for (size_t j = 0; j < row.size(); ++j) {
      if (j) std::fputc(o.delimiter, f.get());
      bool quote;
      std::string text = FieldText(row[j], &quote);
      // Text is quoted (csv_fwrite doubles its quotes); numbers need none.
      if (quote || text.find(o.delimiter) != std::string::npos) {
        csv_fwrite(f.get(), text.data(), text.size());
      } else {
        std::fputs(text.c_str(), f.get());
      }
    }
    std::fputc('\n', f.get());
  }
  long bytes = std::ftell(f.get());
  if (std::ferror(f.get()) || std::fflush(f.get()) != 0) host::Raise("ExportMatrix: cannot write " + path);
  return host::MakeInteger(bytes);
}

}  // namespace

void RegisterDataBuiltins() {
  RegisterBuiltin("ImportMatrix", ImportMatrix,
                  "ImportMatrix(\"file.csv\", delimiter = \",\", header = true): a Matrix of the numbers of a CSV file "
                  "(floats at Digits; empty, NA and NaN fields are undefined)");
  RegisterBuiltin("ImportVector", ImportVector,
                  "ImportVector(\"file.csv\", ...): a column Vector of a one-column file (options as ImportMatrix)");
  RegisterBuiltin("ExportMatrix", ExportMatrix,
                  "ExportMatrix(\"file.csv\", M, delimiter = \",\", header = [names]): writes M as CSV; the number of "
                  "bytes written");
}

}  // namespace quarn::shell
