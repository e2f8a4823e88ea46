#!/usr/bin/env python3
"""zenvary convert and the --text cipher options against glibc iconv on
natural text that each target can hold."""

import os
import subprocess
import sys
import unittest

CLI = os.environ.get("ZENVARY_CLI", "zenvary")

SAMPLES = {
    "latin": "Déjà vu: façade, naïve, coöperate, Straße, smörgåsbord.\r\n",
    "euro": "Prix: 12 € — « très bien » ‘quoted’ … ™ Œuvre\n",
    "central": "Zażółć gęślą jaźń. Příliš žluťoučký kůň úpěl ďábelské ódy.\n",
    "cyrillic": "Съешь же ещё этих мягких французских булок, да выпей чаю.\n",
    "greek": "Ξεσκεπάζω την ψυχοφθόρα βδελυγμία.\n",
    "japanese": "いろはにほへと ちりぬるを 日本語のテキスト、カタカナ。ｶﾅ\n",
    "chinese_simplified": "我能吞下玻璃而不伤身体。中文字符测试。\n",
    "chinese_traditional": "我能吞下玻璃而不傷身體。繁體中文測試。\n",
    "korean": "나는 유리를 먹을 수 있어요. 그래도 아프지 않아요.\n",
    "ascii": "The quick brown fox jumps over the lazy dog 0123456789 !?\n",
}

# Our charset name, glibc's name for the same Windows code page, and samples.
PAGES = [
    ("iso-8859-1", "ISO-8859-1", ["latin", "ascii"]),
    ("windows-1252", "CP1252", ["latin", "euro", "ascii"]),
    ("windows-1250", "CP1250", ["central", "ascii"]),
    ("windows-1251", "CP1251", ["cyrillic"]),
    ("windows-1253", "CP1253", ["greek"]),
    ("koi8-r", "KOI8-R", ["cyrillic"]),
    ("ibm437", "CP437", ["ascii"]),
    ("ibm850", "CP850", ["latin"]),
    ("shift_jis", "CP932", ["japanese", "ascii"]),
    ("euc-jp", "EUC-JP-MS", ["japanese"]),
    ("gb2312", "CP936", ["chinese_simplified", "ascii"]),
    ("big5", "CP950", ["chinese_traditional"]),
    ("ks_c_5601-1987", "CP949", ["korean", "ascii"]),
    ("utf-16", "UTF-16LE", list(SAMPLES)),
    ("unicodefffe", "UTF-16BE", list(SAMPLES)),
    ("utf-8", "UTF-8", list(SAMPLES)),
]


def run(*args, data=b""):
    return subprocess.run([CLI, *args], input=data, capture_output=True, timeout=120)


def iconv(data, src, dst):
    return subprocess.run(["iconv", "-f", src, "-t", dst], input=data, capture_output=True, check=True).stdout


class Convert(unittest.TestCase):
    def test_agrees_with_iconv_both_ways(self):
        for ours, theirs, samples in PAGES:
            for key in samples:
                text = SAMPLES[key].encode("utf-8")
                expected = iconv(text, "UTF-8", theirs)
                out = run("convert", "--from", "utf-8", "--to", ours, data=text)
                self.assertEqual(out.returncode, 0, out.stderr)
                self.assertEqual(out.stdout, expected, (ours, key))
                back = run("convert", "--from", ours, "--to", "utf-8", data=expected)
                self.assertEqual(back.stdout, text, (ours, key))

    def test_utf7_decodes_like_iconv_and_round_trips(self):
        for key, sample in SAMPLES.items():
            theirs = iconv(sample.encode("utf-8"), "UTF-8", "UTF-7")
            self.assertEqual(run("convert", "--from", "utf-7", "--to", "utf-8", data=theirs).stdout,
                             sample.encode("utf-8"), key)
            ours = run("convert", "--from", "utf-8", "--to", "utf-7", data=sample.encode("utf-8")).stdout
            self.assertEqual(iconv(ours, "UTF-7", "UTF-8"), sample.encode("utf-8"), key)

    def test_lossy_targets_and_bad_names(self):
        r = run("convert", "--from", "utf-8", "--to", "iso-8859-1", data="a€b".encode("utf-8"))
        self.assertEqual((r.returncode, r.stdout), (0, b"ab"))
        self.assertEqual(run("convert", "--from", "utf-8", "--to", "klingon").returncode, 2)
        self.assertEqual(run("convert", "--to", "utf-8").returncode, 2)

    def test_text_encryption_through_a_charset(self):
        for charset, key in (("utf-8", "japanese"), ("shift_jis", "japanese"), ("koi8-r", "cyrillic"),
                             ("windows-1252", "latin")):
            text = SAMPLES[key].encode("utf-8")
            args = ["--key", "00112233445566778899AABBCCDDEEFF", "--charset", charset, "--text"]
            enc = run("encrypt", *args, "--encoding", "base64", data=text)
            self.assertEqual(enc.returncode, 0, enc.stderr)
            raw = run("decrypt", "--key", "00112233445566778899AABBCCDDEEFF", "--encoding", "base64",
                      data=enc.stdout).stdout
            self.assertEqual(raw, run("convert", "--from", "utf-8", "--to", charset, data=text).stdout)
            self.assertEqual(run("decrypt", *args, "--encoding", "base64", data=enc.stdout).stdout, text)


if __name__ == "__main__":
    result = unittest.main(exit=False, verbosity=1).result
    sys.exit(0 if result.wasSuccessful() and result.testsRun > 0 else 1)
