#!/usr/bin/env python3
"""End-to-end tests of the zenvary command-line tool."""

import os
import random
import subprocess
import sys
import tempfile
import unittest

CLI = os.environ.get("ZENVARY_CLI", "zenvary")


def run(*args, data=b""):
    return subprocess.run([CLI, *args], input=data, capture_output=True, timeout=120)


class CipherCommands(unittest.TestCase):
    KEY = "000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F"
    IV = "0F0E0D0C0B0A09080706050403020100"

    def test_aes_equals_openssl_enc_and_decrypts_back(self):
        rng = random.Random(17)
        for bits, ossl in ((128, "aes-128"), (192, "aes-192"), (256, "aes-256")):
            key = self.KEY[: bits // 4]
            for mode in ("cbc", "ecb"):
                for n in (0, 1, 15, 16, 17, 4096 + 3):
                    data = bytes(rng.getrandbits(8) for _ in range(n))
                    ours = run("encrypt", "--alg", "aes", "--key-length", str(bits), "--mode", mode,
                               "--padding", "0", "--key", key, "--iv", self.IV, data=data)
                    self.assertEqual(ours.returncode, 0, ours.stderr)
                    args = ["openssl", "enc", "-%s-%s" % (ossl, mode), "-K", key]
                    if mode == "cbc":
                        args += ["-iv", self.IV]
                    theirs = subprocess.run(args, input=data, capture_output=True, check=True).stdout
                    # Empty input gives empty output here: no padding block.
                    self.assertEqual(ours.stdout, theirs if n else b"", (bits, mode, n))
                    back = run("decrypt", "--alg", "aes", "--key-length", str(bits), "--mode", mode,
                               "--key", key, "--iv", self.IV, data=ours.stdout)
                    self.assertEqual((back.returncode, back.stdout), (0, data))

    def test_encoded_ciphertext_and_failures(self):
        enc = run("encrypt", "--key", "00112233", "--encoding", "hex", data=b"attack at dawn")
        self.assertEqual(enc.returncode, 0)
        self.assertRegex(enc.stdout, rb"^[0-9A-F]{32}$")
        dec = run("decrypt", "--key", "00112233", "--encoding", "hex", data=enc.stdout)
        self.assertEqual(dec.stdout, b"attack at dawn")
        nokey = run("encrypt", data=b"x")
        self.assertEqual(nokey.returncode, 1)
        self.assertIn(b"No secret key has been set.", nokey.stderr)
        self.assertEqual(run("encrypt", "--key", "XYZ").returncode, 2)
        self.assertEqual(run("encrypt", "--key", "00", "--mode", "ofb").returncode, 2)
        self.assertEqual(run("encrypt", "--key", "00", "--padding", "one").returncode, 2)


class EncodingCommands(unittest.TestCase):
    def test_base64_agrees_with_coreutils_and_round_trips(self):
        rng = random.Random(7)
        for n in [0, 1, 2, 3, 4, 53, 54, 55, 1000, 65536 + 7]:
            data = bytes(rng.getrandbits(8) for _ in range(n))
            enc = run("encode", "--encoding", "base64", data=data)
            self.assertEqual(enc.returncode, 0, enc.stderr)
            ref = subprocess.run(["base64", "-w", "0"], input=data, capture_output=True, check=True).stdout
            self.assertEqual(enc.stdout, ref, n)
            dec = run("decode", "--encoding", "base-64", data=enc.stdout)
            self.assertEqual(dec.returncode, 0)
            self.assertEqual(dec.stdout, data, n)

    def test_hex_qp_url(self):
        self.assertEqual(run("encode", "--encoding", "hex", data=b"\x00\xffAb").stdout, b"00FF4162")
        self.assertEqual(run("decode", "--encoding", "hex", data=b" 00ff4162\r\n").stdout, b"\x00\xffAb")
        self.assertEqual(run("encode", "--encoding", "url", data=b"a b/c").stdout, b"a+b%2Fc")
        self.assertEqual(run("decode", "--encoding", "url", data=b"a+b%2fc").stdout, b"a b/c")
        self.assertEqual(run("encode", "--encoding", "quoted-printable", data=b"From me\r\n.").stdout,
                         b"=46rom me\r\n=2E")
        self.assertEqual(run("decode", "--encoding", "qp", data=b"=e9=E9=FFFFFFE9=ZZ").stdout,
                         b"\xe9\xe9\xe9\x00")

    def test_malformed_input_and_unknown_names_are_no_error(self):
        r = run("decode", "--encoding", "base64", data=b"QUJD=QUJD")
        self.assertEqual((r.returncode, r.stdout), (0, b"ABC"))
        r = run("decode", "--encoding", "base64", data=b"QU-D")
        self.assertEqual(r.returncode, 0)
        self.assertEqual(len(r.stdout), 3)
        r = run("decode", "--encoding", "hex", data=b"0g")
        self.assertEqual((r.returncode, r.stdout), (0, b"0"))
        for cmd in ("encode", "decode"):
            r = run(cmd, "--encoding", "hexadecimal", data=b"414243")
            self.assertEqual((r.returncode, r.stdout, r.stderr), (0, b"", b""))
        r = run("decode", "--encoding", "us-ascii", data=b"plain text")
        self.assertEqual(r.stdout, b"plain text")

    def test_reencode_and_file_operand(self):
        r = run("reencode", "--from", "hex", "--to", "base64", data=b"68656C6C6F")
        self.assertEqual((r.returncode, r.stdout), (0, b"aGVsbG8="))
        with tempfile.NamedTemporaryFile() as f:
            f.write(b"\x01\x02\x03")
            f.flush()
            r = run("encode", "--encoding=hex", f.name)
            self.assertEqual((r.returncode, r.stdout), (0, b"010203"))
        r = run("encode", "--encoding", "hex", "/no/such/file")
        self.assertEqual(r.returncode, 1)
        self.assertIn(b"/no/such/file", r.stderr)

    def test_usage_help_and_log(self):
        self.assertEqual(run().returncode, 2)
        self.assertEqual(run("frobnicate").returncode, 2)
        self.assertEqual(run("encode").returncode, 2)
        self.assertEqual(run("encode", "--encoding", "hex", "--bogus").returncode, 2)
        self.assertEqual(run("encode", "--encoding").returncode, 2)
        top = run("--help")
        self.assertEqual(top.returncode, 0)
        for cmd in (b"encode", b"decode", b"reencode", b"encrypt", b"decrypt"):
            self.assertIn(cmd, top.stdout)
            sub = run(cmd.decode(), "--help")
            self.assertEqual(sub.returncode, 0)
            self.assertIn(b"example:", sub.stdout)
        r = run("--log", "reencode", "--from", "hex", "--to", "hex", data=b"41")
        self.assertEqual(r.stdout, b"41")
        self.assertTrue(r.stderr.startswith(b"ZenvaryLog:\r\n  ReEncode:\r\n    DllDate: Jun  3 2008\r\n"), r.stderr)
        self.assertIn(b"Component: CLI\r\n", r.stderr)


if __name__ == "__main__":
    result = unittest.main(exit=False, verbosity=1).result
    sys.exit(0 if result.wasSuccessful() and result.testsRun > 0 else 1)
