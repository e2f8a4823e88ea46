#!/usr/bin/env python3
"""Generates the component's code tables from the platform's converters.

For every code page with a table this asks glibc iconv (through libc, with
ctypes) for the page's characters, builds the table data in the component's
layout (see src/encoding/CodeTables.h) and writes it in the stored form:

    "c" + base64(envelope)     the envelope: magic 0xb394a7e1 LE, size LE,
                               one bzip2 stream of block size 3
    "x" + base64(table data)   only US-ASCII (20127)

Output, under src/encoding/tables/:
    tables_<group>.cpp     one file per group of pages, string literals only
    SingleByteTables.h     the data functions of the single-byte pages
    MultiByteTables.h      the data functions of the multi-byte pages
    TableIndex.cpp         the list of pages with their bucket counts

Where glibc has no converter for a page the script says so in SOURCES: a few
pages come from Python's codecs or Perl's Encode, and three are derived from
glibc converters by a documented rule (see docs/charsets.md).

The decoded pairs of a page are stored in the order that makes the
UTF-16-to-page direction agree with the source converter: when several byte
sequences give one code unit, the one the converter writes for that unit is
listed first (the first of equal keys wins at lookup).

Usage: python3 tools/gen_code_tables.py [repository root]
"""
import base64
import bz2
import ctypes
import os
import struct
import subprocess
import sys

MAGIC = 0xB394A7E1

# code page -> (group, source kind, source name)
#   glibc    glibc iconv converter name
#   python   Python codec name (glibc lacks the page)
#   perl     Perl Encode name (neither glibc nor Python has the page)
#   derived  a rule over glibc converters, see derived_page()
#   alias    the table of another code page
SINGLE_BYTE = {
    37: ("ebcdic", "glibc", "IBM037"),
    437: ("dos", "glibc", "IBM437"),
    500: ("ebcdic", "glibc", "IBM500"),
    708: ("iso", "glibc", "ASMO-708"),
    720: ("dos", "python", "cp720"),
    737: ("dos", "glibc", "CP737"),
    775: ("dos", "glibc", "CP775"),
    850: ("dos", "glibc", "IBM850"),
    852: ("dos", "glibc", "IBM852"),
    855: ("dos", "glibc", "IBM855"),
    857: ("dos", "glibc", "IBM857"),
    858: ("dos", "glibc", "IBM858"),
    860: ("dos", "glibc", "IBM860"),
    861: ("dos", "glibc", "IBM861"),
    862: ("dos", "glibc", "IBM862"),
    863: ("dos", "glibc", "IBM863"),
    864: ("dos", "glibc", "IBM864"),
    865: ("dos", "glibc", "IBM865"),
    866: ("dos", "glibc", "IBM866"),
    869: ("dos", "glibc", "IBM869"),
    870: ("ebcdic", "glibc", "IBM870"),
    874: ("windows", "glibc", "WINDOWS-874"),
    875: ("ebcdic", "glibc", "IBM875"),
    1026: ("ebcdic", "glibc", "IBM1026"),
    1047: ("ebcdic", "glibc", "IBM1047"),
    1140: ("ebcdic", "glibc", "IBM1140"),
    1141: ("ebcdic", "glibc", "IBM1141"),
    1142: ("ebcdic", "glibc", "IBM1142"),
    1143: ("ebcdic", "glibc", "IBM1143"),
    1144: ("ebcdic", "glibc", "IBM1144"),
    1145: ("ebcdic", "glibc", "IBM1145"),
    1146: ("ebcdic", "glibc", "IBM1146"),
    1147: ("ebcdic", "glibc", "IBM1147"),
    1148: ("ebcdic", "glibc", "IBM1148"),
    1149: ("ebcdic", "glibc", "IBM1149"),
    1250: ("windows", "glibc", "CP1250"),
    1251: ("windows", "glibc", "CP1251"),
    1252: ("windows", "glibc", "CP1252"),
    1253: ("windows", "glibc", "CP1253"),
    1254: ("windows", "glibc", "CP1254"),
    1255: ("windows", "glibc", "CP1255"),
    1256: ("windows", "glibc", "CP1256"),
    1257: ("windows", "glibc", "CP1257"),
    1258: ("windows", "glibc", "CP1258"),
    10000: ("mac", "glibc", "MACINTOSH"),
    10004: ("mac", "python", "mac_arabic"),
    10005: ("mac", "perl", "MacHebrew"),
    10006: ("mac", "python", "mac_greek"),
    10007: ("mac", "glibc", "CP10007"),
    10010: ("mac", "python", "mac_romanian"),
    10017: ("mac", "glibc", "MACUKRAINIAN"),
    10021: ("mac", "perl", "MacThai"),
    10029: ("mac", "glibc", "MAC-CENTRALEUROPE"),
    10079: ("mac", "glibc", "MAC-IS"),
    10081: ("mac", "python", "mac_turkish"),
    10082: ("mac", "python", "mac_croatian"),
    20105: ("national", "derived", "IRV"),
    20106: ("national", "glibc", "DIN_66003"),
    20107: ("national", "glibc", "SEN_850200_B"),
    20108: ("national", "glibc", "NS_4551-1"),
    20127: ("iso", "glibc", "ANSI_X3.4-1968"),
    20261: ("national", "glibc", "T.61-8BIT"),
    20269: ("national", "glibc", "ISO_6937"),
    20273: ("ebcdic", "glibc", "IBM273"),
    20277: ("ebcdic", "glibc", "IBM277"),
    20278: ("ebcdic", "glibc", "IBM278"),
    20280: ("ebcdic", "glibc", "IBM280"),
    20284: ("ebcdic", "glibc", "IBM284"),
    20285: ("ebcdic", "glibc", "IBM285"),
    20290: ("ebcdic", "glibc", "IBM290"),
    20297: ("ebcdic", "glibc", "IBM297"),
    20420: ("ebcdic", "glibc", "IBM420"),
    20423: ("ebcdic", "glibc", "IBM423"),
    20424: ("ebcdic", "glibc", "IBM424"),
    20838: ("ebcdic", "glibc", "IBM1160"),
    20866: ("national", "glibc", "KOI8-R"),
    20871: ("ebcdic", "glibc", "IBM871"),
    20880: ("ebcdic", "glibc", "IBM880"),
    20905: ("ebcdic", "glibc", "IBM905"),
    20924: ("ebcdic", "derived", "IBM924"),
    21025: ("ebcdic", "glibc", "IBM1025"),
    21866: ("national", "glibc", "KOI8-U"),
    28591: ("iso", "glibc", "ISO-8859-1"),
    28592: ("iso", "glibc", "ISO-8859-2"),
    28593: ("iso", "glibc", "ISO-8859-3"),
    28594: ("iso", "glibc", "ISO-8859-4"),
    28595: ("iso", "glibc", "ISO-8859-5"),
    28596: ("iso", "glibc", "ISO-8859-6"),
    28597: ("iso", "glibc", "ISO-8859-7"),
    28598: ("iso", "glibc", "ISO-8859-8"),
    28599: ("iso", "glibc", "ISO-8859-9"),
    28600: ("iso", "glibc", "ISO-8859-10"),
    28601: ("iso", "glibc", "ISO-8859-11"),
    28603: ("iso", "glibc", "ISO-8859-13"),
    28605: ("iso", "glibc", "ISO-8859-15"),
    38598: ("iso", "alias", 28598),
}

# Pages whose tables exist but that the engine doesn't convert from or to.
NOT_ROUTED = {28600, 28601}

# code page -> (group, source kind, source name, from-Unicode buckets,
# to-Unicode buckets)
MULTI_BYTE = {
    932: ("japanese", "glibc", "CP932", 7669, 4919),
    936: ("chinese", "glibc", "CP936", 7649, 7649),
    949: ("korean", "glibc", "CP949", 7669, 7669),
    950: ("big5", "glibc", "CP950", 7649, 7649),
    1361: ("korean", "glibc", "JOHAB", 7669, 7669),
    10001: ("japanese", "diff", (932, "MacJapanese"), 4919, 4919),
    51932: ("japanese", "glibc", "EUC-JP-MS", 4919, 4919),
    51936: ("chinese", "glibc", "EUC-CN", 7649, 7649),
    51949: ("korean", "glibc", "EUC-KR", 7669, 7669),
    52936: ("chinese", "alias", 936, 7649, 7649),
}

# Local pairs beyond the source's own: (byte, unit). US-ASCII writes a
# no-break space as a space.
EXTRA_PAIRS = {20127: [(0x20, 0x00A0)]}

# Stored strings longer than this are split into pieces joined at load time.
PIECE_CHARS = 12000
LINE_CHARS = 100

# ---------------------------------------------------------------- glibc ---

_libc = ctypes.CDLL("libc.so.6", use_errno=True)
_libc.iconv_open.restype = ctypes.c_void_p
_libc.iconv_open.argtypes = [ctypes.c_char_p, ctypes.c_char_p]
_libc.iconv.restype = ctypes.c_size_t
_libc.iconv.argtypes = [ctypes.c_void_p, ctypes.POINTER(ctypes.c_char_p), ctypes.POINTER(ctypes.c_size_t),
                        ctypes.POINTER(ctypes.c_char_p), ctypes.POINTER(ctypes.c_size_t)]
_libc.iconv_close.argtypes = [ctypes.c_void_p]
_FAIL = ctypes.c_size_t(-1).value


class Iconv:
    """One glibc conversion descriptor; each call starts from the initial state."""

    def __init__(self, to, frm):
        self.cd = _libc.iconv_open(to.encode(), frm.encode())
        if self.cd is None or self.cd == ctypes.c_void_p(-1).value:
            sys.exit("iconv has no converter from %s to %s" % (frm, to))
        self.dst = ctypes.create_string_buffer(64)

    def close(self):
        _libc.iconv_close(self.cd)

    def __call__(self, data):
        """The whole conversion of `data` with the closing shift, or None."""
        _libc.iconv(self.cd, None, None, None, None)
        src = ctypes.create_string_buffer(data, len(data))
        inp = ctypes.c_char_p(ctypes.addressof(src))
        outp = ctypes.c_char_p(ctypes.addressof(self.dst))
        inleft = ctypes.c_size_t(len(data))
        outleft = ctypes.c_size_t(64)
        r = _libc.iconv(self.cd, ctypes.byref(inp), ctypes.byref(inleft), ctypes.byref(outp), ctypes.byref(outleft))
        if r == _FAIL or inleft.value != 0:
            return None
        r = _libc.iconv(self.cd, None, None, ctypes.byref(outp), ctypes.byref(outleft))
        if r == _FAIL:
            return None
        return self.dst.raw[:64 - outleft.value]


def one_unit(utf16):
    """The single BMP non-surrogate unit of a UTF-16LE result, or None."""
    if utf16 is None or len(utf16) != 2:
        return None
    u = struct.unpack("<H", utf16)[0]
    return None if 0xD800 <= u <= 0xDFFF or u == 0 else u


def glibc_decoder(name):
    dec = Iconv("UTF-16LE", name)
    return lambda b: one_unit(dec(b))


def glibc_encoder(name):
    enc = Iconv(name, "UTF-16LE")
    return lambda u: enc(struct.pack("<H", u)) or None


# --------------------------------------------------------------- others ---

def python_decoder(name):
    def dec(b):
        try:
            s = b.decode(name)
        except UnicodeDecodeError:
            return None
        return ord(s) if len(s) == 1 and 0 < ord(s) < 0x10000 and not 0xD800 <= ord(s) <= 0xDFFF else None
    return dec


def python_encoder(name):
    def enc(u):
        try:
            return chr(u).encode(name)
        except UnicodeEncodeError:
            return None
    return enc


def perl_dump(name, double):
    """Perl Encode's single-unit decodings of every byte (and every two-byte
    sequence with `double`), and its encoding of each unit met."""
    script = r'''
use Encode;
my ($name, $double) = @ARGV;
my %units;
sub try { my ($bytes) = @_;
  my $copy = $bytes;
  my $s = eval { decode($name, $copy, Encode::FB_CROAK) };
  return if !defined $s || length($s) != 1;
  my $u = ord($s);
  return if $u == 0 || $u > 0xFFFF || ($u >= 0xD800 && $u <= 0xDFFF);
  printf "d %s %04x\n", unpack("H*", $bytes), $u;
  $units{$u} = 1; }
try(chr($_)) for 1..255;
if ($double) { for my $l (0x80..0xFF) { try(chr($l).chr($_)) for 0..255; } }
for my $u (sort { $a <=> $b } keys %units) {
  my $b = eval { encode($name, chr($u), Encode::FB_CROAK) };
  printf "e %04x %s\n", $u, unpack("H*", $b) if defined $b; }
'''
    out = subprocess.run(["perl", "-e", script, name, "1" if double else "0"], check=True,
                         capture_output=True, text=True).stdout
    decoded, encoded = {}, {}
    for line in out.splitlines():
        kind, a, b = line.split()
        if kind == "d":
            decoded[bytes.fromhex(a)] = int(b, 16)
        else:
            encoded[int(a, 16)] = bytes.fromhex(b)
    return decoded, encoded


# -------------------------------------------------------------- mapping ---

class Mapping:
    """A page's pairs: single bytes and two-byte codes to units, and the
    sequence the source writes for each unit."""

    def __init__(self):
        self.single = {}     # byte -> unit
        self.double = {}     # code (lead << 8 | trail) -> unit
        self.preferred = {}  # unit -> bytes the source writes for it

    def units(self):
        return set(self.single.values()) | set(self.double.values())


def scan(decode, encode, double):
    m = Mapping()
    for b in range(1, 256):
        u = decode(bytes([b]))
        if u is not None:
            m.single[b] = u
    if double:
        for lead in range(0x80, 0x100):
            if lead in m.single:
                continue
            for trail in range(0x100):
                u = decode(bytes([lead, trail]))
                if u is not None:
                    m.double[(lead << 8) | trail] = u
    for u in m.units():
        e = encode(u)
        if e is not None:
            m.preferred[u] = e
    return m


def derived_page(name):
    """Pages no converter on this platform has, built from glibc ones.

    IRV: International Reference Version of ISO 646 (1983): US-ASCII with
         the currency sign at 0x24 and the overline at 0x7E.
    IBM924: the Latin-9 counterpart of IBM1047: each byte of IBM1047 stands
         for a Latin-1 character; the character at that Latin-1 position in
         ISO-8859-15 is the IBM924 one.
    """
    if name == "IRV":
        m = scan(glibc_decoder("ANSI_X3.4-1968"), glibc_encoder("ANSI_X3.4-1968"), False)
        m.single[0x24] = 0x00A4
        m.single[0x7E] = 0x203E
        m.preferred = {u: bytes([b]) for b, u in m.single.items()}
        return m
    if name == "IBM924":
        base = scan(glibc_decoder("IBM1047"), glibc_encoder("IBM1047"), False)
        latin9 = glibc_decoder("ISO-8859-15")
        m = Mapping()
        for b, u in base.single.items():
            assert u < 256, "IBM1047 holds Latin-1 only"
            m.single[b] = latin9(bytes([u]))
        m.preferred = {u: bytes([b]) for b, u in m.single.items()}
        return m
    raise ValueError(name)


def page_mapping(kind, name, double):
    if kind == "glibc":
        return scan(glibc_decoder(name), glibc_encoder(name), double)
    if kind == "python":
        return scan(python_decoder(name), python_encoder(name), double)
    if kind == "perl":
        decoded, encoded = perl_dump(name, double)
        m = Mapping()
        for b, u in decoded.items():
            if len(b) == 1:
                m.single[b[0]] = u
            else:
                m.double[(b[0] << 8) | b[1]] = u
        m.preferred = encoded
        return m
    if kind == "derived":
        return derived_page(name)
    raise ValueError(kind)


# ----------------------------------------------------------- table data ---

def ordered(pairs, preferred, as_bytes):
    """The pairs in the order to store: for each unit the source's own
    sequence first (or else the lowest), every other sequence after."""
    by_unit = {}
    for code, u in pairs.items():
        by_unit.setdefault(u, []).append(code)
    first, rest = [], []
    for u, codes in by_unit.items():
        codes.sort()
        pick = codes[0]
        pref = preferred.get(u)
        for c in codes:
            if as_bytes(c) == pref:
                pick = c
        first.append(pick)
        rest.extend(c for c in codes if c != pick)
    return sorted(first) + sorted(rest)


def full_table(m, extra):
    ascii_ok = all(m.single.get(b) == b for b in range(1, 128))
    single = {b: u for b, u in m.single.items() if not (ascii_ok and b < 128)}
    out = bytearray(b"au" if ascii_ok else b"xu")
    order = ordered(single, m.preferred, lambda c: bytes([c]))
    pairs = [(b, single[b]) for b in order] + list(extra)
    prev_b = prev_u = 0
    for b, u in pairs:
        out += bytes([(b - prev_b) % 256]) + struct.pack("<H", (u - prev_u) % 65536)
        prev_b, prev_u = b, u
    out += b"\0"
    prev_c = prev_u = 0
    for c in ordered(m.double, m.preferred, lambda c: bytes([c >> 8, c & 0xFF])):
        u = m.double[c]
        out += struct.pack("<HH", (c - prev_c) % 65536, (u - prev_u) % 65536)
        prev_c, prev_u = c, u
    out += b"\0\0"
    return bytes(out), ascii_ok


def from_unicode(m):
    """What the engine's UTF-16-to-page map gives for each unit: the first
    stored pair of the unit, single bytes before two-byte codes."""
    result = {}
    ascii_ok = all(m.single.get(b) == b for b in range(1, 128))
    for b in ordered({b: u for b, u in m.single.items() if not (ascii_ok and b < 128)}, m.preferred,
                     lambda c: bytes([c])):
        result.setdefault(m.single[b], bytes([b]))
    for c in ordered(m.double, m.preferred, lambda c: bytes([c >> 8, c & 0xFF])):
        result.setdefault(m.double[c], bytes([c >> 8, c & 0xFF]))
    return result


def difference_table(base, target):
    """The changes that turn `base`'s UTF-16-to-page map into `target`'s:
    units to remove, units to map to one byte, units to map to two bytes.
    Units below 128 are left out: the engine writes them as ASCII."""
    have = from_unicode(base)
    want = {u: target.preferred[u] for u in target.units()
            if u >= 128 and u in target.preferred and len(target.preferred[u]) <= 2}
    removed = sorted(u for u in have if u >= 128 and u not in want)
    single = sorted((u, b) for u, b in want.items() if len(b) == 1 and have.get(u) != b)
    double = sorted((u, b) for u, b in want.items() if len(b) == 2 and have.get(u) != b)
    out = bytearray(b"ad")
    for u in removed:
        out += struct.pack("<H", u)
    out += b"\0\0"
    for u, b in single:
        out += bytes([b[0]]) + struct.pack("<H", u)
    out += b"\0"
    for u, b in double:
        out += struct.pack("<HH", (b[0] << 8) | b[1], u)
    return bytes(out), (len(removed), len(single), len(double))


def stored_form(data, plain):
    if plain:
        return "x" + base64.b64encode(data).decode()
    envelope = struct.pack("<II", MAGIC, len(data))
    if data:
        envelope += bz2.compress(data, 3)
    return "c" + base64.b64encode(envelope).decode()


# --------------------------------------------------------------- output ---

HEADER_NOTE = "// Generated by tools/gen_code_tables.py; do not edit."


def literal_lines(text, indent):
    return ['%s"%s"' % (indent, text[i:i + LINE_CHARS]) for i in range(0, len(text), LINE_CHARS)]


def emit_table(name, text, comment):
    """The definition of one stored string, in pieces when it is long."""
    lines = ["// " + comment]
    if len(text) <= PIECE_CHARS:
        lines.append("constexpr char %s[] =" % name)
        lines += literal_lines(text, "    ")
        lines[-1] += ";"
        return lines, False
    lines.append("constexpr const char* %s[] = {" % name)
    for i in range(0, len(text), PIECE_CHARS):
        lines += literal_lines(text[i:i + PIECE_CHARS], "    ")
        lines[-1] += ","
    lines.append("};")
    return lines, True


def write(path, lines):
    with open(path, "w") as f:
        f.write("\n".join(lines) + "\n")


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
    outdir = os.path.join(root, "src", "encoding", "tables")

    groups = {}        # group -> list of (function name, stored text, comment)
    functions = {}     # code page -> data function name
    declarations = {"single": [], "multi": []}
    mappings = {}

    def add(group, code_page, data, comment, plain=False, suffix=""):
        fn = "tableData%d%s" % (code_page, suffix)
        text = stored_form(data, plain)
        groups.setdefault(group, []).append((fn, text, "%s, %d bytes unpacked" % (comment, len(data))))
        return fn, len(text)

    total = 0
    for cp, (group, kind, name) in sorted(SINGLE_BYTE.items()):
        if kind == "alias":
            continue
        m = page_mapping(kind, name, False)
        mappings[cp] = m
        data, ascii_ok = full_table(m, EXTRA_PAIRS.get(cp, []))
        fn, size = add("sbcs_" + group, cp, data, "%s (%s)%s" % (name, kind, "" if ascii_ok else ", keeps no ASCII"),
                       plain=(cp == 20127))
        functions[cp] = fn
        declarations["single"].append("bool %s(DataBuffer& out);  // %d, %s (%s)" % (fn, cp, name, kind))
        total += size
        print("%6d %-18s %-7s %5d pairs %6d chars" % (cp, name, kind, len(m.single), size), file=sys.stderr)
    for cp, (group, kind, name) in SINGLE_BYTE.items():
        if kind == "alias":
            functions[cp] = functions[name]

    diffs = {}
    for cp, (group, kind, name, _, _) in sorted(MULTI_BYTE.items()):
        if kind in ("alias", "diff"):
            continue
        m = page_mapping(kind, name, True)
        mappings[cp] = m
        data, ascii_ok = full_table(m, [])
        fn, size = add("cjk_" + group, cp, data, "%s (%s)%s" % (name, kind, "" if ascii_ok else ", keeps no ASCII"))
        functions[cp] = fn
        declarations["multi"].append("bool %s(DataBuffer& out);  // %d, %s (%s)" % (fn, cp, name, kind))
        total += size
        print("%6d %-18s %-7s %5d + %5d pairs %6d chars" % (cp, name, kind, len(m.single), len(m.double), size),
              file=sys.stderr)
    for cp, (group, kind, name, _, _) in sorted(MULTI_BYTE.items()):
        if kind == "alias":
            functions[cp] = functions[name]
        elif kind == "diff":
            base_cp, perl_name = name
            target = page_mapping("perl", perl_name, True)
            data, counts = difference_table(mappings[base_cp], target)
            fn, size = add("cjk_" + group, cp, data, "%s (perl) over %d: %d removed, %d to one byte, %d to two"
                           % ((perl_name, base_cp) + counts), suffix="Changes")
            functions[cp] = functions[base_cp]
            diffs[cp] = fn
            declarations["multi"].append("bool %s(DataBuffer& out);  // %d, %s (perl), changes over %d"
                                         % (fn, cp, perl_name, base_cp))
            total += size
            print("%6d %-18s diff    %s %6d chars" % (cp, perl_name, counts, size), file=sys.stderr)

    for group, tables in sorted(groups.items()):
        lines = [HEADER_NOTE,
                 "// Stored code tables: \"c\" then the base64 of the compressed envelope, or",
                 "// \"x\" then the base64 of the table data itself.",
                 '#include "encoding/tables/MultiByteTables.h"' if group.startswith("cjk") else
                 '#include "encoding/tables/SingleByteTables.h"',
                 '#include "encoding/tables/StoredTable.h"',
                 "",
                 "namespace zenvary::tables {",
                 "",
                 "namespace {",
                 ""]
        bodies = []
        for fn, text, comment in tables:
            name = "k" + fn[len("tableData"):]
            defn, pieces = emit_table(name, text, comment)
            lines += defn + [""]
            bodies.append("bool %s(DataBuffer& out) { return unpackStoredTable(%s, out); }" % (fn, name))
        lines += ["}  // namespace", ""] + bodies + ["", "}  // namespace zenvary::tables"]
        write(os.path.join(outdir, "tables_%s.cpp" % group), lines)

    for kind, header, what in (("single", "SingleByteTables.h", "single-byte"),
                               ("multi", "MultiByteTables.h", "multi-byte")):
        lines = [HEADER_NOTE,
                 "// The table data of the %s pages: each function appends the unpacked" % what,
                 "// data (layout in encoding/CodeTables.h) and answers false when the",
                 "// stored form doesn't decode.",
                 "#pragma once",
                 "",
                 '#include "core/DataBuffer.h"',
                 "",
                 "namespace zenvary::tables {",
                 ""] + declarations[kind] + ["", "}  // namespace zenvary::tables"]
        write(os.path.join(outdir, header), lines)

    rows = []
    for cp in sorted(set(SINGLE_BYTE) | set(MULTI_BYTE)):
        routed = "true" if cp not in NOT_ROUTED else "false"
        if cp in SINGLE_BYTE:
            rows.append("    singleByte(%d, tables::%s, %s)," % (cp, functions[cp], routed))
        else:
            _, _, _, fb, tb = MULTI_BYTE[cp]
            diff = "tables::" + diffs[cp] if cp in diffs else "nullptr"
            rows.append("    multiByte(%d, %d, %d, tables::%s, %s)," % (cp, fb, tb, functions[cp], diff))
    lines = [HEADER_NOTE,
             '#include "encoding/tables/TableIndex.h"',
             "",
             "#include <algorithm>",
             "#include <iterator>",
             "",
             '#include "encoding/tables/MultiByteTables.h"',
             '#include "encoding/tables/SingleByteTables.h"',
             "",
             "namespace zenvary {",
             "",
             "namespace {",
             "",
             "constexpr TableSource singleByte(uint32_t codePage, TableDataFn data, bool routed) {",
             "    return {codePage, false, kSingleByteFromUnicodeBuckets, kSingleByteToUnicodeBuckets, data, nullptr,",
             "            routed};",
             "}",
             "",
             "constexpr TableSource multiByte(uint32_t codePage, uint32_t fromBuckets, uint32_t toBuckets, TableDataFn data,",
             "                                TableDataFn changes) {",
             "    return {codePage, true, fromBuckets, toBuckets, data, changes, true};",
             "}",
             "",
             "// Sorted by code page.",
             "constexpr TableSource kSources[] = {"] + rows + [
             "};",
             "",
             "static_assert(std::is_sorted(std::begin(kSources), std::end(kSources),",
             "                             [](const TableSource& a, const TableSource& b) { return a.codePage < b.codePage; }));",
             "",
             "}  // namespace",
             "",
             "std::span<const TableSource> tableSources() { return kSources; }",
             "",
             "}  // namespace zenvary"]
    write(os.path.join(outdir, "TableIndex.cpp"), lines)
    print("stored text: %d characters in %d files" % (total, len(groups)), file=sys.stderr)


if __name__ == "__main__":
    main()
