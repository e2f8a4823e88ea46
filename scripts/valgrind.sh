#!/usr/bin/env bash
# Runs the examples of the command-line tool (README.md and each command's
# --help) under valgrind's memcheck, on a build without sanitizers, and fails
# on any report: an invalid read or write, a use of uninitialised memory, a
# bad free, or a definite, indirect or possible leak. Memory still reachable
# at exit (tables kept for the process's life) is not a leak and passes.
# Each example's output is also checked (round trips, or a reference tool),
# so that an example that silently did nothing cannot pass.
#
#   scripts/valgrind.sh [BUILD_DIR]
#
# BUILD_DIR defaults to build-valgrind (RelWithDebInfo, made if missing); an
# existing non-sanitizer build such as a Debug one can be given instead.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
build=${1:-build-valgrind}

if ! command -v valgrind >/dev/null; then
  SUDO=
  if [ "$(id -u)" != 0 ]; then SUDO=sudo; fi
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -q --no-install-recommends valgrind
fi
if [ ! -f "$build/CMakeCache.txt" ]; then
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZENVARY_TESTS=OFF >/dev/null
fi
if grep -qE '^ZENVARY_(SANITIZE|FUZZ):BOOL=ON' "$build/CMakeCache.txt"; then
  echo "valgrind.sh: $build is a sanitizer or fuzzing build; give a plain one" >&2
  exit 2
fi
ninja -C "$build" -j2 zenvary_cli >/dev/null
zv=$(cd "$build" && pwd)/zenvary

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

failures=0
runs=0
# vg NAME STDIN ARGS...: the tool under memcheck, stdin from the file STDIN
# ("-" for none), stdout to NAME.out; the log is NAME.vg.
vg() {
  local name=$1 input=$2
  shift 2
  runs=$((runs + 1))
  local status=0
  [ "$input" = - ] && input=/dev/null
  valgrind --quiet --error-exitcode=1 --leak-check=full \
    --show-leak-kinds=definite,indirect,possible --errors-for-leak-kinds=definite,indirect,possible \
    --track-origins=yes --num-callers=30 --log-file="$name.vg" \
    "$zv" "$@" <"$input" >"$name.out" 2>"$name.err" || status=$?
  if [ "$status" != 0 ] || [ -s "$name.vg" ]; then
    failures=$((failures + 1))
    echo "FAIL $name (exit $status): zenvary $*"
    sed 's/^/    /' "$name.vg" "$name.err"
  else
    echo "ok   $name"
  fi
}
# expect NAME FILE-A FILE-B: the example's result must match.
expect() {
  if ! cmp -s "$2" "$3"; then
    failures=$((failures + 1))
    echo "FAIL $1: $2 and $3 differ"
  fi
}

# Inputs: this project's README, a file over one 800000-byte chunk of the
# file commands, short texts, and Shift_JIS text made by iconv.
cp "$root/README.md" readme.txt
head -c 1000005 /dev/urandom >big.bin
printf 'hello' >hello.txt
printf 'aGVsbG8=' >hello.b64
printf '68656C6C6F' >hello.hex
printf 'secret' >secret.txt
printf 'message' >message.txt
printf 'こんにちは、世界。日本語のテキストです。\n' >ja-utf8.txt
iconv -f UTF-8 -t SHIFT_JIS ja-utf8.txt >ja-sjis.txt
key=000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F
iv=000102030405060708090A0B0C0D0E0F

vg encode hello.txt encode --encoding hex
printf '68656C6C6F' >want-hex; expect encode encode.out want-hex
vg encode-b64 readme.txt encode --encoding base64
vg decode-b64 encode-b64.out decode --encoding base64
expect decode-b64 decode-b64.out readme.txt
vg decode hello.b64 decode --encoding base64
expect decode decode.out hello.txt
vg reencode hello.hex reencode --from hex --to base64
expect reencode reencode.out hello.b64

vg encrypt secret.txt encrypt --alg aes --key-length 256 --mode cbc --key "$key" --iv "$iv" --encoding base64
openssl enc -aes-256-cbc -K "$key" -iv "$iv" -in secret.txt | base64 -w0 >want-enc
tr -d '\r\n' <encrypt.out >got-enc; expect encrypt got-enc want-enc
vg decrypt encrypt.out decrypt --alg aes --key-length 256 --key "$key" --iv "$iv" --encoding base64
expect decrypt decrypt.out secret.txt
vg encrypt-password secret.txt --log encrypt --alg aes --key-length 256 --password 'pass phrase' --encoding base64
vg decrypt-password encrypt-password.out decrypt --alg aes --key-length 256 --password 'pass phrase' --encoding base64
expect decrypt-password decrypt-password.out secret.txt

vg encrypt-file - encrypt-file --alg aes --key-length 256 --password 'pass phrase' --iv "$iv" big.bin big.enc
vg decrypt-file - decrypt-file --alg aes --key-length 256 --password 'pass phrase' --iv "$iv" big.enc big.back
expect decrypt-file big.back big.bin

vg hash - hash --alg sha256 --encoding hex readme.txt
sha256sum readme.txt | cut -c1-64 >want-hash
tr -d '\r\n' <hash.out | tr 'A-F' 'a-f' >got-hash; printf '\n' >>got-hash; expect hash got-hash want-hash
vg hmac message.txt hmac --alg sha256 --key 6B6579 --encoding hex
openssl dgst -sha256 -mac HMAC -macopt hexkey:6B6579 -r message.txt | cut -c1-64 >want-hmac
tr -d '\r\n' <hmac.out | tr 'A-F' 'a-f' >got-hmac; printf '\n' >>got-hmac; expect hmac got-hmac want-hmac

vg compress - compress readme.txt
vg inflate - inflate compress.out
expect inflate inflate.out readme.txt

vg convert - convert --from shift_jis --to utf-8 ja-sjis.txt
expect convert convert.out ja-utf8.txt

vg help - encrypt --help

echo "$runs runs under valgrind, $failures failed"
[ "$failures" = 0 ]
