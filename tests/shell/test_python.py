#!/usr/bin/env python3
"""Tests of the Python module over the C interface."""

import os
import random
import sys
import tempfile
import unittest

import zenvary


class PythonModule(unittest.TestCase):
    def test_properties_and_defaults(self):
        v = zenvary.ZenvaryVault2()
        self.assertEqual(v.Version, "4.3.0")
        self.assertEqual(v.CryptAlgorithm, "rijndael")
        self.assertEqual((v.KeyLength, v.PaddingScheme, v.BlockSize), (128, 0, 16))
        v.CipherMode = "E-C-B"
        self.assertEqual(v.CipherMode, "ecb")
        v.HavalRounds = 9
        self.assertEqual(v.HavalRounds, 5)
        v.EncodingMode = "Quoted Printable"
        self.assertEqual(v.EncodingMode, "qp")
        v.Charset = "UTF8"
        self.assertEqual(v.Charset, "utf-8")
        v.IV = bytes(range(20))
        self.assertEqual(v.IV, bytes(range(16)))
        v.SecretKey = [1, 2, 300, zenvary.Width(5, 4)]
        self.assertEqual(v.SecretKey, b"\x01\x02\x2c\x01\x05\x00\x00\x00")
        v.SecretKey = None
        self.assertEqual(v.SecretKey, b"")
        with self.assertRaises(AttributeError):
            v.Version = "1"

    def test_encode_decode_and_variant_rules(self):
        v = zenvary.ZenvaryVault2()
        rng = random.Random(3)
        for n in (0, 1, 2, 3, 100, 4097):
            data = bytes(rng.getrandbits(8) for _ in range(n))
            for name in ("base64", "hex", "qp", "url"):
                self.assertEqual(v.Decode(v.Encode(data, name), name), data, (n, name))
        self.assertEqual(v.Encode(bytearray(b"hi"), "hex"), "6869")
        self.assertEqual(v.Encode(memoryview(b"hi"), "hex"), "6869")
        # A str where bytes are expected is text: Encode takes it in the ANSI code page.
        self.assertEqual(v.Encode("\u00e9a", "hex"), "E961")
        self.assertEqual(v.Encode("hexadecimal", "hexadecimal"), "")
        self.assertEqual(v.Decode("c3\u00e9", "ansi"), b"c3\xe9")
        self.assertEqual(v.ReEncode("QUJD", "base64", "hex"), "414243")

    def test_log_renderings_and_save(self):
        v = zenvary.ZenvaryVault2()
        self.assertEqual(v.LastErrorText, "ZenvaryLog:\r\n")
        self.assertEqual(v.LastErrorXml, "<ZenvaryLog>\r\n</ZenvaryLog>\r\n")
        v.ReEncode("41", "hex", "hex")
        # The Python kind writes the user but no component line.
        self.assertIn("Username: ", v.LastErrorText)
        self.assertNotIn("Component:", v.LastErrorText)
        # The reserved kinds keep their own texts.
        for kind, text in ((3, "ActiveX"), (1, ".NET 1.*"), (2, ".NET 2.0"), (264, ".NET 2.0 / x64")):
            zenvary._lib.zenvary_set_binding_kind(v._h, kind)
            v.ReEncode("41", "hex", "hex")
            self.assertIn("Component: %s\r\n" % text, v.LastErrorText)
        zenvary._lib.zenvary_set_binding_kind(v._h, 1002)
        self.assertIn("<ReEncode>", v.LastErrorXml)
        self.assertIn("ReEncode:<blockquote>", v.LastErrorHtml)
        with tempfile.TemporaryDirectory() as d:
            path = os.path.join(d, "log \u00e9.xml")
            self.assertEqual(v.SaveLastError(path), 1)
            with open(path, "rb") as f:
                self.assertEqual(f.read().decode("utf-8"), v.LastErrorXml)
        self.assertEqual(v.SaveLastError("   "), 0)

    def test_encrypt_bytes(self):
        v = zenvary.ZenvaryVault2()
        self.assertEqual(v.EncryptBytes(b"abc"), b"")
        self.assertIn("No secret key has been set.", v.LastErrorText)
        v.SecretKey = bytes(range(16))
        v.IV = bytes(16)
        # AES-128-CBC of one block of zeros with PKCS#7 padding (FIPS 197 key).
        ct = v.EncryptBytes(bytes(16))
        self.assertEqual(ct[:16].hex(), "c6a13b37878f5b826f4f8162a1c8d879")
        self.assertEqual(len(ct), 32)
        self.assertEqual(v.DecryptBytes(ct), bytes(16))
        # A str is its UTF-16LE code units.
        self.assertEqual(v.DecryptBytes(v.EncryptBytes("hi")), "hi".encode("utf-16-le"))
        v.EncodingMode = "base64"
        text = v.EncryptBytesENC([1, 2, 3])
        self.assertEqual(v.DecryptBytesENC(text), b"\x01\x02\x03")

    def test_hash_hmac_and_files_with_events(self):
        import hashlib
        import hmac
        v = zenvary.ZenvaryVault2()
        v.HashAlgorithm = "sha256"
        self.assertEqual(v.HashBytes(b"abc"), hashlib.sha256(b"abc").digest())
        v.EncodingMode = "hex"
        self.assertEqual(v.HashStringENC("abc"), hashlib.sha256(b"abc").hexdigest().upper())
        v.SetHmacKeyBytes(b"key")
        self.assertEqual(v.HmacBytes(b"msg"), hmac.new(b"key", b"msg", "sha256").digest())
        with tempfile.TemporaryDirectory() as d:
            src, enc, dec = (os.path.join(d, n) for n in ("a", "b", "c"))
            data = os.urandom(3_000_000)
            self.assertEqual(v.WriteFile(src, data), 1)
            self.assertEqual(v.ReadFile(src), data)
            seen = []
            v.PercentDone = lambda pct: seen.append(pct)
            self.assertEqual(v.HashFile(src), hashlib.sha256(data).digest())
            self.assertEqual(seen[-1], 100)
            self.assertEqual(seen, sorted(set(seen)))
            v.SecretKey = b"k" * 16
            seen.clear()
            self.assertEqual(v.ZvEncryptFile(src, enc), 1)
            self.assertTrue(seen and seen[-1] == 100)
            self.assertEqual(v.ZvDecryptFile(enc, dec), 1)
            self.assertEqual(v.ReadFile(dec), data)
            # A true answer from the event stops the method, which fails.
            v.PercentDone = lambda pct: pct >= 30
            self.assertEqual(v.ZvEncryptFile(src, enc), 0)
            self.assertIn("Aborted by application", v.LastErrorText)
            self.assertEqual(v.HashFile(src), b"")
            v.PercentDone = None
            self.assertEqual(v.HashFile(src), hashlib.sha256(data).digest())

    def test_strings_keys_and_compression(self):
        v = zenvary.ZenvaryVault2()
        v.Charset = "utf-8"
        v.SetSecretKeyViaPassword("pw")
        import hashlib
        self.assertEqual(v.SecretKey, hashlib.md5(b"pw").digest())
        for mode in ("base64", "hex", "qp"):
            v.EncodingMode = mode
            self.assertEqual(v.DecryptStringENC(v.EncryptStringENC("d\u00e9j\u00e0 \u20ac")), "d\u00e9j\u00e0 \u20ac")
        self.assertEqual(v.DecryptString(v.EncryptString("\u00e9")), "\u00e9")
        v.RandomizeIV()
        self.assertEqual(len(v.IV), 16)
        self.assertEqual(v.InflateBytes(v.CompressBytes(b"x" * 1000)), b"x" * 1000)
        self.assertEqual(v.CompressBytes(b""), b"\xe1\xa7\x94\xb3\0\0\0\0")
        self.assertEqual(v.ByteSwap4321([1, 2, 3, 4, 5, 6, 7]), bytes([4, 3, 2, 1, 7, 6, 5]))
        self.assertEqual(v.Shorten(b"12345", 7), b"")
        self.assertEqual(v.TrimEndingWith("abab", "ab"), "")
        self.assertEqual(v.BytesToString(b"caf\xe9", "iso-8859-1"), "caf\u00e9")
        self.assertEqual(v.StringToBytes("caf\u00e9", "windows-1252"), b"caf\xe9")

    def test_code_page_switch(self):
        self.assertEqual(zenvary.ansi_code_page(), 1252)
        v = zenvary.ZenvaryVault2()
        self.assertEqual(v.Charset, "windows-1252")


if __name__ == "__main__":
    result = unittest.main(exit=False, verbosity=1).result
    sys.exit(0 if result.wasSuccessful() and result.testsRun > 0 else 1)
