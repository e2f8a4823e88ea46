#!/bin/sh
# Regenerates tests/hash/data/md2_vectors.txt: MD2 digests computed by
# nettle-hash (package nettle-bin) and HMAC-MD2 values computed by PHP's hash
# extension (package php-cli), two implementations independent of ours.
# The tests only read the file.
set -eu
out="$(dirname "$0")/../tests/hash/data/md2_vectors.txt"
tmp="$(mktemp -d)"
trap 'rm -rf "$tmp"' EXIT
# Messages and keys from a fixed seed, one "id hex" line each.
php -r '
mt_srand(1319);
function rnd($n) { $s = ""; for ($i = 0; $i < $n; $i++) $s .= chr(mt_rand(0, 255)); return $s; }
$m = array("empty" => "", "abc" => "abc");
foreach (array(1, 15, 16, 17, 31, 32, 33, 47, 48, 49, 100, 255, 256, 1000) as $n) $m["len$n"] = rnd($n);
for ($i = 0; $i < 12; $i++) { $n = mt_rand(0, 700); $m["r$i"] = rnd($n); }
foreach ($m as $id => $v) echo "$id ", ($v === "" ? "-" : bin2hex($v)), "\n";
' > "$tmp/msgs"
{
  echo "# MD2 vectors made by tools/gen_md2_vectors.sh: md2 by nettle-hash, hmac by PHP hash_hmac()."
  echo "# msg <id> <hex>; md2 <msg> <digest>; hmac <key> <msg> <mac>"
  while read -r id hex; do echo "msg $id $hex"; done < "$tmp/msgs"
  while read -r id hex; do
    if [ "$hex" = "-" ]; then : > "$tmp/m"; else printf '%s' "$hex" | xxd -r -p > "$tmp/m"; fi
    echo "md2 $id $(nettle-hash -a md2 --raw < "$tmp/m" | xxd -p | tr -d '\n')"
  done < "$tmp/msgs"
  for key in len16 len17 len100; do
    for id in abc len33 len1000; do
      k=$(grep "^$key " "$tmp/msgs" | cut -d' ' -f2)
      m=$(grep "^$id " "$tmp/msgs" | cut -d' ' -f2)
      echo "hmac $key $id $(php -r "echo hash_hmac('md2', hex2bin('$m'), hex2bin('$k'));")"
    done
  done
} > "$out"
echo "wrote $out"
