#!/usr/bin/env bash
# make install's tree, installed from the build tree $1 and then moved: the
# shell still finds its libraries ($ORIGIN run path) and reports its
# version, and a program built with pkg-config's flags calls an entry.
set -u
build=${1:?usage: install_test.sh BUILD_DIR}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
passed=0
failed=0
check() {  # name, expected, actual
  if [ "$2" = "$3" ]; then echo "ok   $1"; passed=$((passed + 1)); else
    echo "FAIL $1: expected [$2], got [$3]"; failed=$((failed + 1)); fi
}
cmake --install "$build" --prefix "$work/usr" >/dev/null
mv "$work/usr" "$work/moved"
root=$work/moved
version=$(sed -n 's/^project(quarnstats VERSION \([0-9.]*\).*/\1/p' "$(dirname "$0")/../CMakeLists.txt")
check version "quarn $version (quarnstats)" "$("$root/bin/quarn" --version)"
check "moved tree" "1.959963985" "$(env -u QUARN_LIBRARY "$root/bin/quarn" -e 'QuarnNormalDeviate(0.975, 0, 1);' 2>&1)"
check "docs" "yes" "$([ -f "$root/share/doc/quarnstats/entries.md" ] && echo yes)"
cat >"$work/use.cpp" <<'CPP'
#include <cstdio>
#include "platform/host/host.h"
#include "stats/distributions/distributions.h"
int main() {
  namespace host = quarn::host;
  host::Initialize();
  STATS_StatsInitialize_MP(host::Kernel(), host::Null());
  HostObject args = host::MakeSeq({host::ParseFloat("0.5"), host::MakeInteger(2), host::MakeInteger(3)});
  std::printf("%s\n", host::Print(STATS_QuarnGammaDeviate_MP(host::Kernel(), args)).c_str());
}
CPP
flags=$(PKG_CONFIG_PATH=$root/lib/pkgconfig pkg-config --cflags --libs quarnstats)
# The AddressSanitizer build's libraries need its runtime first in the program.
sanitize=""
grep -q '^QUARN_ASAN:BOOL=ON' "$build/CMakeCache.txt" 2>/dev/null && sanitize="-fsanitize=address,undefined"
if c++ -std=c++20 $sanitize "$work/use.cpp" $flags -o "$work/use" 2>"$work/cc.log"; then
  check "pkg-config program" "5.348120627" "$(LD_LIBRARY_PATH=$root/lib "$work/use" 2>&1)"
else
  check "pkg-config program compiles" "" "$(head -5 "$work/cc.log")"
fi
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
