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


class LegacyCipherCommands(unittest.TestCase):
    def test_every_algorithm_round_trips_and_des_equals_openssl(self):
        data = bytes(range(256)) * 3 + b"tail"
        for alg in ("aes", "blowfish", "blowfish2", "twofish", "des", "3des", "rc2", "arc4", "none"):
            args = ["--alg", alg, "--key", "00112233445566778899AABBCCDDEEFF0011223344556677"]
            enc = run("encrypt", *args, data=data)
            self.assertEqual(enc.returncode, 0, (alg, enc.stderr))
            dec = run("decrypt", *args, data=enc.stdout)
            self.assertEqual(dec.stdout, data, alg)
        key, iv = "0123456789ABCDEF", "0011223344556677"
        ours = run("encrypt", "--alg", "des", "--key-length", "56", "--key", key, "--iv", iv, data=data)
        theirs = subprocess.run(["openssl", "enc", "-des-cbc", "-provider", "legacy", "-provider", "default",
                                 "-K", key, "-iv", iv], input=data, capture_output=True)
        if theirs.returncode == 0:
            self.assertEqual(ours.stdout, theirs.stdout)
        key3 = key * 3
        ours = run("encrypt", "--alg", "tdes", "--key-length", "168", "--key", key3, "--iv", iv, data=data)
        theirs = subprocess.run(["openssl", "enc", "-des-ede3-cbc", "-K", key3, "-iv", iv], input=data,
                                capture_output=True, check=True)
        self.assertEqual(ours.stdout, theirs.stdout)
        r1 = run("encrypt", "--alg", "rc2", "--key", key, "--rc2-effective-bits", "40", data=data)
        r2 = run("encrypt", "--alg", "rc2", "--key", key, "--rc2-effective-bits", "64", data=data)
        self.assertNotEqual(r1.stdout, r2.stdout)


class FileHashAndCompressionCommands(unittest.TestCase):
    def test_file_encryption_round_trip_and_target_kept_on_failure(self):
        with tempfile.TemporaryDirectory() as d:
            src, enc, dec = (os.path.join(d, n) for n in ("in \u00e9.bin", "enc.bin", "dec.bin"))
            data = os.urandom(2_000_003)
            with open(src, "wb") as f:
                f.write(data)
            args = ["--alg", "aes", "--key-length", "256", "--password", "pass phrase"]
            r = run("encrypt-file", *args, src, enc)
            self.assertEqual((r.returncode, r.stderr), (0, b""))  # no bar when not a terminal
            self.assertEqual(os.path.getsize(enc), (len(data) // 16 + 1) * 16)
            self.assertEqual(run("decrypt-file", *args, enc, dec).returncode, 0)
            with open(dec, "rb") as f:
                self.assertEqual(f.read(), data)
            with open(dec, "wb") as f:
                f.write(b"keep me")
            with open(src, "wb") as f:
                f.write(data[:1000])  # one whole-data call: the key check applies
            r = run("encrypt-file", src, dec)  # no key
            self.assertEqual(r.returncode, 1)
            self.assertIn(b"No secret key has been set.", r.stderr)
            with open(dec, "rb") as f:
                self.assertEqual(f.read(), b"keep me")
            self.assertEqual(sorted(os.listdir(d)), sorted(["in \u00e9.bin", "enc.bin", "dec.bin"]))
            self.assertEqual(run("encrypt-file", "--key", "00", src).returncode, 2)

    def test_hash_and_hmac_against_the_system_tools(self):
        with tempfile.NamedTemporaryFile() as f:
            data = os.urandom(100_000)
            f.write(data)
            f.flush()
            for alg, tool in (("sha1", "sha1sum"), ("sha256", "sha256sum"), ("sha512", "sha512sum"),
                              ("md5", "md5sum")):
                ref = subprocess.run([tool, f.name], capture_output=True, check=True).stdout.split()[0]
                from_file = run("hash", "--alg", alg, "--encoding", "hex", f.name)
                self.assertEqual(from_file.stdout.lower(), ref, alg)
                raw = run("hash", "--alg", alg, data=data)
                self.assertEqual(raw.stdout.hex().encode(), ref, alg)
        for alg in ("sha1", "sha256", "md5"):
            mac = run("hmac", "--alg", alg, "--key", "6B6579", "--encoding", "hex", data=b"message")
            ref = subprocess.run(["openssl", "dgst", "-" + alg, "-mac", "HMAC", "-macopt", "hexkey:6B6579"],
                                 input=b"message", capture_output=True, check=True).stdout.split()[-1]
            self.assertEqual(mac.stdout.lower(), ref, alg)
        self.assertEqual(run("hmac", "--alg", "sha1").returncode, 2)
        self.assertEqual(run("hash", "/no/such/file").returncode, 1)

    def test_compress_interoperates_with_bzip2(self):
        data = b"the same words again and again " * 1000
        packed = run("compress", data=data)
        self.assertEqual(packed.returncode, 0)
        self.assertEqual(packed.stdout[:4], b"\xe1\xa7\x94\xb3")
        self.assertEqual(int.from_bytes(packed.stdout[4:8], "little"), len(data))
        tool = subprocess.run(["bzip2", "-dc"], input=packed.stdout[8:], capture_output=True, check=True)
        self.assertEqual(tool.stdout, data)
        self.assertEqual(run("inflate", data=packed.stdout).stdout, data)
        self.assertEqual(run("compress").stdout, b"\xe1\xa7\x94\xb3\0\0\0\0")
        self.assertEqual(run("inflate", data=b"garbage").stdout, b"")


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
        for cmd in (b"encode", b"decode", b"reencode", b"encrypt", b"decrypt", b"encrypt-file", b"decrypt-file",
                    b"hash", b"hmac", b"compress", b"inflate"):
            self.assertIn(cmd, top.stdout)
            sub = run(cmd.decode(), "--help")
            self.assertEqual(sub.returncode, 0)
            self.assertIn(b"example:", sub.stdout)
        r = run("--log", "reencode", "--from", "hex", "--to", "hex", data=b"41")
        self.assertEqual(r.stdout, b"41")
        self.assertTrue(r.stderr.startswith(b"ZenvaryLog:\r\n  ReEncode:\r\n    DllDate: Jun  3 2008\r\n"), r.stderr)
        self.assertIn(b"Username: ", r.stderr)
        self.assertNotIn(b"Component:", r.stderr)


if __name__ == "__main__":
    result = unittest.main(exit=False, verbosity=1).result
    sys.exit(0 if result.wasSuccessful() and result.testsRun > 0 else 1)
