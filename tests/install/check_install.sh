#!/usr/bin/env bash
# Checks the installed package as a user would meet it:
#   1. `cmake --install` of BUILD_DIR into a temporary prefix,
#   2. the C example built with `pkg-config --cflags --libs zenvary`, and run,
#   3. the CMake example (find_package(Zenvary)), shared and static, and run,
#   4. the man page in share/man/man1, readable by man,
#   5. the Python package installed by pip (offline, Debian's setuptools)
#      from the repository, imported and run.
# usage: tests/install/check_install.sh BUILD_DIR
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
repo="$(cd "$here/../.." && pwd)"
build="$(cd "${1:?usage: $0 BUILD_DIR}" && pwd)"
python="${PYTHON:-/usr/bin/python3}"
tmp="$(mktemp -d)"
trap 'rm -rf "$tmp"' EXIT
prefix="$tmp/prefix"

step() { printf '== install check: %s\n' "$*"; }

# This folder holds no .cpp file, so it never becomes a test program.
[ ! -e "$build/tests/test_install" ] || { echo "tests/install became a test program" >&2; exit 1; }

step "cmake --install into $prefix"
cmake --install "$build" --prefix "$prefix" > "$tmp/install.log"
for f in include/zenvary.h bin/zenvary share/man/man1/zenvary.1; do
  [ -f "$prefix/$f" ] || { echo "missing: $f" >&2; exit 1; }
done
libdir="$(dirname "$(find "$prefix" -name zenvary.pc -print -quit)")/.."
for f in libzenvary.a libzenvary.so pkgconfig/zenvary.pc cmake/Zenvary/ZenvaryConfig.cmake; do
  [ -e "$libdir/$f" ] || { echo "missing: lib/$f" >&2; exit 1; }
done

step "C example with pkg-config"
export PKG_CONFIG_PATH="$libdir/pkgconfig"
header_version="$(sed -n 's/^#define ZENVARY_VERSION "\(.*\)"$/\1/p' "$prefix/include/zenvary.h")"
[ "$(pkg-config --modversion zenvary)" = "$header_version" ] || { echo "pkg-config version differs" >&2; exit 1; }
# shellcheck disable=SC2046
cc -std=c99 -Wall -Wextra -Werror -o "$tmp/c_example" "$here/c_example/main.c" $(pkg-config --cflags --libs zenvary)
LD_LIBRARY_PATH="$libdir" "$tmp/c_example"
# The installed tool runs from its prefix too.
printf abc | "$prefix/bin/zenvary" hash --alg sha256 --encoding hex | grep -qi '^ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad$'

step "CMake example with find_package(Zenvary)"
cmake -S "$here/cmake_example" -B "$tmp/cmake_example" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" > "$tmp/cmake.log"
cmake --build "$tmp/cmake_example" > "$tmp/cmake-build.log"
LD_LIBRARY_PATH="$libdir" "$tmp/cmake_example/example_shared"
"$tmp/cmake_example/example_static"
if ldd "$tmp/cmake_example/example_static" | grep -q libzenvary; then
  echo "example_static is linked to the shared library" >&2; exit 1
fi

step "man page"
grep -q '^\.TH ZENVARY "1"' "$prefix/share/man/man1/zenvary.1"
MANWIDTH=80 man -l "$prefix/share/man/man1/zenvary.1" 2>/dev/null > "$tmp/man.txt"
for word in encrypt-file hash COMMANDS; do
  grep -q -- "$word" "$tmp/man.txt" || { echo "man page lacks $word" >&2; exit 1; }
done

step "pip install of the Python package"
(cd "$repo" && PIP_ROOT_USER_ACTION=ignore ZENVARY_BUILD_DIR="$build" "$python" -m pip install --quiet \
   --no-build-isolation --no-index --no-deps --target "$tmp/site" .)
(cd "$tmp" && PYTHONPATH="$tmp/site" "$python" - <<'PY'
import zenvary
assert zenvary.__file__.startswith(__import__("os").environ["PYTHONPATH"]), zenvary.__file__
v = zenvary.ZenvaryVault2()
v.HashAlgorithm, v.EncodingMode = "sha256", "hex"
assert v.HashStringENC("abc").lower() == "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"
v.SetSecretKeyViaPassword("pass phrase")
assert v.DecryptStringENC(v.EncryptStringENC("secret")) == "secret"
print("python package: all checks passed")
PY
)
step "all passed"
