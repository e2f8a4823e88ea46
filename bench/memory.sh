#!/usr/bin/env bash
# Peak resident memory of the file commands, which stream their input: the
# figure must not grow with the file. Prints one line per run.
#   bench/memory.sh [path-to-zenvary]
set -euo pipefail
cd "$(dirname "$0")/.."
zenvary=${1:-build/zenvary}
[ -x "$zenvary" ] || { echo "build the tool first (README)" >&2; exit 2; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
peak() {  # peak RSS in KiB of the command
  /usr/bin/time -v "$@" 2>&1 >/dev/null | awk -F': ' '/Maximum resident set size/ {print $2}'
}
printf '%-32s %10s %12s\n' operation size peak_rss_kib
for size in 10M 1G; do
  head -c "$size" /dev/urandom > "$work/in"
  printf '%-32s %10s %12s\n' "encrypt-file aes-256-cbc" "$size" \
    "$(peak "$zenvary" encrypt-file --key-length 256 --key 00112233 "$work/in" "$work/out")"
  printf '%-32s %10s %12s\n' "decrypt-file aes-256-cbc" "$size" \
    "$(peak "$zenvary" decrypt-file --key-length 256 --key 00112233 "$work/out" "$work/back")"
  cmp "$work/in" "$work/back"
  printf '%-32s %10s %12s\n' "hash sha256 (HashFile)" "$size" \
    "$(peak "$zenvary" hash --alg sha256 "$work/in")"
  rm -f "$work/out" "$work/back"
done
