// The REPL's two-dimensional display of matrices; see output.h.
#include <algorithm>

#include "shell/eval.h"
#include "shell/output.h"

namespace quarn::shell {

namespace {

constexpr int kElideAbove = 12;  // as the one-line form: longer ones show their ends
constexpr int kElideKeep = 5;

// The indices lo..hi to show, with -1 where the elided middle goes.
std::vector<int> Shown(int lo, int hi) {
  std::vector<int> out;
  int n = hi - lo + 1;
  for (int i = lo; i <= hi; ++i) {
    if (n > kElideAbove && i == lo + kElideKeep) {
      out.push_back(-1);
      i = hi - kElideKeep;
    }
    out.push_back(i);
  }
  return out;
}

}  // namespace

std::string DisplayForm(HostObject v) {
  QKernel kv = host::Kernel();
  if (host::KindOf(v) != host::Kind::RTable || RTableNumDimensions(kv, v) != 2) return host::Print(v);
  int rlo = RTableLowerBound(kv, v, 1), rhi = RTableUpperBound(kv, v, 1);
  int clo = RTableLowerBound(kv, v, 2), chi = RTableUpperBound(kv, v, 2);
  if (rhi < rlo || chi < clo) return host::Print(v);
  std::vector<int> rows = Shown(rlo, rhi), cols = Shown(clo, chi);
  // Cells as text, then each column right-aligned to its widest cell.
  std::vector<std::vector<std::string>> cells;
  std::vector<size_t> width(cols.size(), 0);
  for (int i : rows) {
    std::vector<std::string> row;
    for (size_t c = 0; c < cols.size(); ++c) {
      std::string text = i < 0 || cols[c] < 0
                             ? "..."
                             : host::Print(RTableElement(v, {host::MakeInteger(i), host::MakeInteger(cols[c])}));
      width[c] = std::max(width[c], text.size());
      row.push_back(text);
    }
    cells.push_back(row);
  }
  std::string out;
  for (size_t r = 0; r < cells.size(); ++r) {
    out += r ? "\n[" : "[";
    for (size_t c = 0; c < cells[r].size(); ++c) {
      if (c) out += "  ";
      out += std::string(width[c] - cells[r][c].size(), ' ') + cells[r][c];
    }
    out += "]";
  }
  if (rows.size() != static_cast<size_t>(rhi - rlo + 1) || cols.size() != static_cast<size_t>(chi - clo + 1)) {
    out += "\n(" + std::to_string(rhi - rlo + 1) + " x " + std::to_string(chi - clo + 1) + " rtable)";
  }
  return out;
}

}  // namespace quarn::shell
