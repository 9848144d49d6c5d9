#!/usr/bin/env bash
# Installs the build into a fresh prefix and builds programs against it the
# two ways a user does: pkg-config and find_package(ORNC).
#   check_install.sh BUILD_DIR C_COMPILER
set -euo pipefail

build_dir="$1"
cc="$2"
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
work="$(mktemp -d "${TMPDIR:-/tmp}/ornc-install-test.XXXXXX")"
trap 'rm -rf "$work"' EXIT
prefix="$work/prefix"

step() { echo "== $*"; }
fail() { echo "FAILED: $*" >&2; exit 1; }
# True when the program loads libORNC from the installed tree.
loads_installed_library() {
  local loaded
  loaded="$(env -u LD_LIBRARY_PATH ldd "$1" | awk '$1 ~ /^libORNC\.so/ { print $3 }')"
  [ -n "$loaded" ] && [ "$(realpath "$loaded")" = "$(realpath "$libdir/$real")" ]
}

step "install into $prefix"
cmake --install "$build_dir" --prefix "$prefix" >"$work/install.log" || { cat "$work/install.log"; fail "cmake --install"; }

step "library, SONAME and links"
libdir="$(dirname "$(find "$prefix" -name 'libORNC.so.*.*.*' -type f | head -n 1)")"
[ -d "$libdir" ] || fail "no versioned libORNC.so.X.Y.Z installed"
real="$(cd "$libdir" && ls libORNC.so.*.*.*)"
major="${real#libORNC.so.}"; major="${major%%.*}"
soname="$(objdump -p "$libdir/$real" | awk '$1 == "SONAME" { print $2 }')"
[ "$soname" = "libORNC.so.$major" ] || fail "SONAME is '$soname', expected libORNC.so.$major"
[ "$(readlink "$libdir/libORNC.so.$major")" = "$real" ] || fail "libORNC.so.$major does not point at $real"
[ "$(readlink "$libdir/libORNC.so")" = "libORNC.so.$major" ] || fail "libORNC.so does not point at libORNC.so.$major"
for f in include/ORNC.h include/ORNCExt.h include/ORNBase.h bin/ornc-tool share/ornc/examples/CMakeLists.txt \
         share/ornc/examples/first_steps.c; do
  [ -f "$prefix/$f" ] || fail "$f not installed"
done
[ -f "$libdir/pkgconfig/ornc.pc" ] || fail "ornc.pc not installed"
[ -f "$libdir/cmake/ORNC/ORNCConfig.cmake" ] || fail "ORNCConfig.cmake not installed"
[ -f "$libdir/cmake/ORNC/ORNCConfigVersion.cmake" ] || fail "ORNCConfigVersion.cmake not installed"

step "the installed tool finds the installed library"
# One version: that of the SONAME's file, for the tool and the library.
env -u LD_LIBRARY_PATH "$prefix/bin/ornc-tool" --version | grep -qx "ornc-tool ${real#libORNC.so.}, libORNC ${real#libORNC.so.}" ||
  fail "ornc-tool --version: $("$prefix/bin/ornc-tool" --version)"
loads_installed_library "$prefix/bin/ornc-tool" || fail "ornc-tool does not load the installed library"

step "pkg-config"
export PKG_CONFIG_LIBDIR="$libdir/pkgconfig"
pkg-config --exists ornc || fail "pkg-config does not know ornc"
version="$(pkg-config --modversion ornc)"
[ "${version%%.*}" = "$major" ] || fail "pkg-config version $version does not match the SONAME major $major"
# shellcheck disable=SC2046
"$cc" -std=c99 -Wall -Wextra -Werror -o "$work/consumer-pc" "$here/../c_api/c_api_check.c" \
  $(pkg-config --cflags --libs ornc) -Wl,-rpath,"$libdir"
"$work/consumer-pc" || fail "consumer built with pkg-config"
loads_installed_library "$work/consumer-pc" || fail "consumer-pc does not load the installed library"

step "find_package(ORNC)"
cmake -S "$here/consumer" -B "$work/consumer-cmake" -DCMAKE_C_COMPILER="$cc" -DCMAKE_PREFIX_PATH="$prefix" \
  >"$work/cmake.log" 2>&1 || { cat "$work/cmake.log"; fail "configure with find_package"; }
cmake --build "$work/consumer-cmake" >"$work/build.log" 2>&1 || { cat "$work/build.log"; fail "build with find_package"; }
"$work/consumer-cmake/consumer" || fail "consumer built with find_package"
loads_installed_library "$work/consumer-cmake/consumer" || fail "consumer does not load the installed library"

step "find_package refuses another major version"
if cmake -S "$here/consumer" -B "$work/consumer-wrong" -DCMAKE_C_COMPILER="$cc" -DCMAKE_PREFIX_PATH="$prefix" \
     -DORNC_WANTED_VERSION=$((major + 1)).0 >"$work/wrong.log" 2>&1; then
  fail "find_package(ORNC $((major + 1)).0) accepted version $version"
fi

step "the installed examples build on the package"
cmake -S "$prefix/share/ornc/examples" -B "$work/examples" -DCMAKE_C_COMPILER="$cc" -DCMAKE_PREFIX_PATH="$prefix" \
  >"$work/examples.log" 2>&1 || { cat "$work/examples.log"; fail "configure the installed examples"; }
cmake --build "$work/examples" >>"$work/examples.log" 2>&1 || { cat "$work/examples.log"; fail "build the installed examples"; }
[ -x "$work/examples/first_steps" ] || fail "first_steps not built"

echo "install tree OK ($real, pkg-config $version)"
