// The mpmath tables of the distribution tests (tests/data, written by
// tools/gen_distribution_refs.py).
#ifndef QUARN_TESTS_STATS_DISTRIBUTIONS_TABLES_H
#define QUARN_TESTS_STATS_DISTRIBUTIONS_TABLES_H

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace quarn::test {

inline std::string SourceDir() {
  if (const char* dir = std::getenv("QUARN_SOURCE_DIR")) return dir;
  std::string file = __FILE__;
  return file.substr(0, file.rfind("/tests/"));
}

// The tab-separated fields of each row of a table, comments skipped.
inline std::vector<std::vector<std::string>> ReadTable(const std::string& name) {
  std::vector<std::vector<std::string>> rows;
  std::ifstream in(SourceDir() + "/tests/data/" + name);
  std::string line, field;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    std::vector<std::string> row;
    while (std::getline(fields, field, '\t')) row.push_back(field);
    rows.push_back(row);
  }
  return rows;
}

inline std::vector<std::string> SplitCommas(const std::string& text) {
  std::vector<std::string> out;
  std::istringstream list(text);
  std::string item;
  while (std::getline(list, item, ',')) out.push_back(item);
  return out;
}

// A value of distribution_refs.tsv: entry name and arguments as written
// there, e.g. ("QuarnNormalDeviate", "0.96875,0,1"); "" when absent.
inline std::string ReferenceValue(const std::string& entry, const std::string& args) {
  for (const auto& row : ReadTable("distribution_refs.tsv")) {
    if (row[0] == entry && row[1] == args) return row[2];
  }
  return "";
}

}  // namespace quarn::test

#endif
