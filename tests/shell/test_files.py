#!/usr/bin/env python3
"""File encryption and compression through the zenvary tool, against
openssl enc and the bzip2 tool, at the chunk boundaries and at 100 MiB."""

import os
import random
import stat
import subprocess
import sys
import tempfile
import unittest
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from shell_support import read, run, write  # noqa: E402

CLI = os.environ.get("ZENVARY_CLI", "zenvary")
KEY = "000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F"
IV = "F0E0D0C0B0A090807060504030201000"


class FileEncryption(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.TemporaryDirectory()
        self.d = self.dir.name

    def tearDown(self):
        self.dir.cleanup()

    def path(self, name):
        return os.path.join(self.d, name)

    def test_equals_openssl_enc_at_every_boundary(self):
        rng = random.Random(5)
        aes = ["--alg", "aes", "--key-length", "256", "--mode", "cbc", "--padding", "0", "--key", KEY, "--iv", IV]
        for n in (0, 1, 800000, 800001, 1600000, 100 * 1024 * 1024):
            src, enc, dec = self.path("in"), self.path("enc"), self.path("dec")
            write(src, rng.randbytes(n) if n < 2_000_000 else os.urandom(n))
            r = run("encrypt-file", *aes, src, enc)
            self.assertEqual(r.returncode, 0, r.stderr)
            if n == 0:
                self.assertEqual(os.path.getsize(enc), 0)  # no padding block for an empty file
            else:
                subprocess.run(["openssl", "enc", "-aes-256-cbc", "-K", KEY, "-iv", IV, "-in", src,
                                "-out", self.path("ref")], check=True)
                self.assertEqual(read(enc), read(self.path("ref")), n)
            self.assertEqual(run("decrypt-file", *aes, enc, dec).returncode, 0)
            self.assertEqual(read(dec), read(src), n)

    def test_every_algorithm_round_trips(self):
        data = os.urandom(1_700_001)
        write(self.path("in"), data)
        for alg in ("aes", "blowfish", "blowfish2", "twofish", "des", "rc2", "arc4", "none"):
            src = self.path("in")
            if alg == "rc2":  # a larger RC2 file pads its first chunk on its own
                src = self.path("small")
                write(src, data[:800000])
            args = ["--alg", alg, "--password", "correct horse", "--iv", IV]
            self.assertEqual(run("encrypt-file", *args, src, self.path("enc")).returncode, 0, alg)
            self.assertEqual(run("decrypt-file", *args, self.path("enc"), self.path("dec")).returncode, 0, alg)
            self.assertEqual(read(self.path("dec")), read(src), alg)

    def test_failures_leave_the_output_alone(self):
        write(self.path("in"), b"data")
        write(self.path("out"), b"precious")
        self.assertEqual(run("decrypt-file", "--key", "00", self.path("missing"), self.path("out")).returncode, 1)
        locked = self.path("locked")
        os.mkdir(locked)
        target = os.path.join(locked, "out")
        write(target, b"precious too")
        os.chmod(locked, stat.S_IRUSR | stat.S_IXUSR)
        try:
            r = run("encrypt-file", "--key", "00", self.path("in"), target)
            if os.geteuid() != 0:  # root writes anywhere
                self.assertEqual(r.returncode, 1)
            self.assertTrue(read(target) in (b"precious too",) or r.returncode == 0)
        finally:
            os.chmod(locked, stat.S_IRWXU)
        self.assertEqual(read(self.path("out")), b"precious")
        self.assertEqual(sorted(os.listdir(self.d)), ["in", "locked", "out"])
        self.assertEqual(os.listdir(locked), ["out"])

    def test_password_keys_are_stable_across_processes(self):
        outs = {run("encrypt", "--password", "pw", "--key-length", "256", "--iv", IV, "--encoding", "hex",
                    data=b"same").stdout for _ in range(3)}
        self.assertEqual(len(outs), 1)


class Compression(unittest.TestCase):
    def test_round_trips_and_bzip2_interop_up_to_100_mib(self):
        for data in (os.urandom(1 << 20), b"abc" * 1000, bytes(100 * 1024 * 1024)):
            packed = run("compress", data=data)
            self.assertEqual(packed.returncode, 0)
            self.assertEqual(packed.stdout[:4], b"\xe1\xa7\x94\xb3")
            self.assertEqual(int.from_bytes(packed.stdout[4:8], "little"), len(data))
            tool = subprocess.run(["bzip2", "-dc"], input=packed.stdout[8:], capture_output=True, check=True)
            self.assertEqual(tool.stdout, data)
            self.assertEqual(run("inflate", data=packed.stdout).stdout, data)


if __name__ == "__main__":
    result = unittest.main(exit=False, verbosity=1).result
    sys.exit(0 if result.wasSuccessful() and result.testsRun > 0 else 1)
