#!/usr/bin/env python3
"""The provider object through the C interface (ctypes, bypassing the
module's classes) and the Python module: the provider's algorithms class by
class, the provider shortcuts, the key containers, the serialized text that
SetCSP takes, and envelopes made after SetCSP opened by openssl."""

import base64
import ctypes
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

import zenvary
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from shell_support import LEGACY  # noqa: E402

ENHANCED = "Microsoft Enhanced Cryptographic Provider v1.0"
BASE = "Microsoft Base Cryptographic Provider v1.0"
STRONG = "Microsoft Strong Cryptographic Provider"
RSA_AES = "Microsoft Enhanced RSA and AES Cryptographic Provider"


def openssl(*args, data=b""):
    r = subprocess.run(["openssl", *args], input=data, capture_output=True, timeout=120)
    if r.returncode != 0:
        raise AssertionError("openssl %s: %s" % (" ".join(args), r.stderr.decode(errors="replace")))
    return r.stdout


def indexed(csp, kind, count):
    names = [getattr(csp, "Get%sAlgorithm" % kind)(i) for i in range(count)]
    bits = [getattr(csp, "Get%sNumBits" % kind)(i) for i in range(count)]
    return list(zip(names, bits))


class Root(unittest.TestCase):
    """Key containers below a temporary root for each test."""

    def setUp(self):
        self.root = tempfile.mkdtemp(prefix="zv-csp-")
        zenvary.set_pki_root(self.root)

    def tearDown(self):
        zenvary.set_pki_root(None)
        shutil.rmtree(self.root, ignore_errors=True)

    def f(self, name):
        return os.path.join(self.root, name)


class Algorithms(Root):
    def test_indexed_queries_agree_with_counts(self):
        csp = zenvary.CSP()
        self.assertEqual(csp.ProviderName, ENHANCED)
        self.assertEqual(csp.ProviderType, 1)
        seen = {}
        for setter, name, kind in ((csp.SetProviderMicrosoftBase, BASE, 1), (csp.SetProviderMicrosoftStrong, STRONG, 1),
                                   (csp.SetProviderMicrosoftRsaAes, RSA_AES, 24),
                                   (csp.SetProviderMicrosoftEnhanced, ENHANCED, 1)):
            self.assertEqual(setter(), 1, csp.LastErrorText)
            self.assertEqual((csp.ProviderName, csp.ProviderType), (name, kind))
            rows = {}
            for kind_name, count in (("Encryption", csp.NumEncryptAlgorithms), ("Hash", csp.NumHashAlgorithms),
                                     ("KeyExchange", csp.NumKeyExchangeAlgorithms),
                                     ("Signature", csp.NumSignatureAlgorithms)):
                self.assertGreater(count, 0, (name, kind_name))
                rows[kind_name] = indexed(csp, kind_name, count)
                self.assertNotIn("", [n for n, _ in rows[kind_name]], (name, kind_name))
                # Out of range, either side: empty and 0, no crash.
                for bad in (count, count + 100, -1, -(2 ** 31), 2 ** 40):
                    self.assertEqual(getattr(csp, "Get%sAlgorithm" % kind_name)(bad), "")
                    self.assertEqual(getattr(csp, "Get%sNumBits" % kind_name)(bad), 0)
            seen[name] = rows
        # Known answers of the provider lists.
        self.assertEqual(seen[BASE]["Encryption"], [("RC2", 40), ("RC4", 40), ("DES", 56)])
        self.assertEqual(seen[STRONG]["Encryption"],
                         [("RC2", 128), ("RC4", 128), ("DES", 56), ("3DES TWO KEY", 112), ("3DES", 168)])
        self.assertEqual(seen[ENHANCED], seen[STRONG])
        self.assertEqual(seen[RSA_AES]["Encryption"][5:], [("AES 128", 128), ("AES 192", 192), ("AES 256", 256)])
        self.assertEqual(seen[RSA_AES]["Hash"][-3:], [("SHA-256", 256), ("SHA-384", 384), ("SHA-512", 512)])
        self.assertEqual(seen[BASE]["KeyExchange"], [("RSA_KEYX", 512)])
        self.assertEqual(seen[STRONG]["Signature"], [("RSA_SIGN", 1024)])
        self.assertIn(("SHA-1", 160), seen[BASE]["Hash"])

    def test_choosing_and_asking(self):
        csp = zenvary.CSP()
        # Nothing chosen until a provider change.
        self.assertEqual((csp.EncryptAlgorithm, csp.EncryptNumBits, csp.HashAlgorithm), ("", 0, ""))
        self.assertEqual(csp.SetEncryptAlgorithm(" 3des "), 168)
        self.assertIn("SetEncryptAlgorithm", csp.LastErrorText)
        self.assertEqual((csp.EncryptAlgorithm, csp.EncryptAlgorithmID), ("3DES", 0x6603))
        self.assertEqual(csp.SetHashAlgorithm("md5"), 128)
        self.assertEqual((csp.HashAlgorithm, csp.HashNumBits, csp.HashAlgorithmID), ("MD5", 128, 0x8003))
        # Unknown names answer 0 and keep the choice.
        self.assertEqual(csp.SetEncryptAlgorithm("AES 128"), 0)
        self.assertEqual(csp.SetHashAlgorithm("SHA-256"), 0)
        self.assertEqual((csp.EncryptAlgorithm, csp.HashAlgorithm), ("3DES", "MD5"))
        self.assertEqual(csp.HasEncryptAlgorithm("3DES", 168), 1)
        self.assertEqual(csp.HasEncryptAlgorithm("3des two key", 112), 1)
        self.assertEqual(csp.HasEncryptAlgorithm("3DES", 112), 0)
        self.assertEqual(csp.HasEncryptAlgorithm("SHA-1", 160), 0)
        self.assertEqual(csp.HasEncryptAlgorithm("DES", -56), 0)
        self.assertEqual(csp.HasHashAlgorithm("SHA-1", 160), 1)
        self.assertEqual(csp.HasHashAlgorithm("SHA-512", 512), 0)
        # A provider change keeps a hash of the same name (MD5); 3DES is not
        # on Base, so the cipher falls to the first pass, RC2 of 40 bits.
        csp.ProviderName = BASE
        self.assertIn("Recounting algorithms...", csp.LastErrorText)
        self.assertEqual((csp.HashAlgorithm, csp.EncryptAlgorithm, csp.EncryptNumBits), ("MD5", "RC2", 40))
        self.assertEqual(csp.ProviderType, 1)
        csp.ProviderName = ENHANCED
        self.assertEqual((csp.HashAlgorithm, csp.EncryptAlgorithm, csp.EncryptNumBits), ("MD5", "RC2", 128))
        csp.ProviderName = BASE
        # Refused names change nothing, with the reason.
        csp.ProviderName = ""
        self.assertIn("Empty provider name", csp.LastErrorText)
        csp.ProviderName = BASE
        self.assertIn("Provider name did not change.", csp.LastErrorText)
        csp.ProviderName = "No Such Provider"
        self.assertIn("Failed to acquire CSP", csp.LastErrorText)
        self.assertIn("<", csp.LastErrorXml)
        self.assertIn("<", csp.LastErrorHtml)
        # Writable settings.
        csp.KeyContainerName = "box 1"
        self.assertEqual(csp.KeyContainerName, "box 1")
        csp.MachineKeyset = 1
        self.assertEqual(csp.MachineKeyset, 1)
        csp.MachineKeyset = 0
        self.assertEqual(csp.MachineKeyset, 0)


class Containers(Root):
    def make_cert(self, name):
        key, pem = self.f(name + ".key"), self.f(name + ".pem")
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", key, "-out", pem, "-subj",
                "/CN=" + name, "-days", "2")
        cert = zenvary.Cert(pem)
        self.assertEqual(cert.LinkPrivateKeyFile(key), 1, cert.LastErrorText)
        fingerprint = openssl("x509", "-in", pem, "-noout", "-fingerprint", "-sha1").decode()
        return fingerprint.split("=", 1)[1].strip().replace(":", "").lower()

    def test_containers_made_by_linking_keys(self):
        csp = zenvary.CSP()
        self.assertEqual(csp.NumKeyContainers, 0)
        self.assertEqual(csp.GetKeyContainerName(0), "")
        self.assertEqual(list(csp.GetKeyContainerNames()), [])
        prints = sorted(self.make_cert(n) for n in ("one", "two", "three"))
        self.assertEqual(csp.NumKeyContainers, 3)
        names = [csp.GetKeyContainerName(i) for i in range(3)]
        self.assertEqual([n.lower() for n in names], prints)
        self.assertEqual(names, sorted(names))
        array = csp.GetKeyContainerNames()
        self.assertIsInstance(array, zenvary.ZvStringArray)
        self.assertEqual(list(array), names)
        for bad in (3, -1, 2 ** 40):
            self.assertEqual(csp.GetKeyContainerName(bad), "")
        # The machine's keysets are elsewhere.
        csp.MachineKeyset = 1
        self.assertEqual((csp.NumKeyContainers, len(csp.GetKeyContainerNames())), (0, 0))


class Handles(unittest.TestCase):
    """The C functions called directly on NULL and on a live handle."""

    lib = zenvary._lib

    def fn(self, name, argtypes, restype=ctypes.c_int):
        f = getattr(self.lib, name)
        f.argtypes, f.restype = argtypes, restype
        return f

    def test_null_handles_fail_without_a_crash(self):
        p, text, idx = ctypes.c_void_p, ctypes.c_char_p, ctypes.c_long
        out = ctypes.c_void_p()
        ref = ctypes.byref(out)
        for name in ("get_LastErrorText", "get_LastErrorXml", "get_LastErrorHtml", "get_ProviderName",
                     "get_KeyContainerName", "get_EncryptAlgorithm", "get_HashAlgorithm", "Serialize",
                     "GetKeyContainerNames"):
            self.assertEqual(self.fn("ZenvaryCSP_" + name, [p, p])(None, ref), zenvary.ZV_BADARG, name)
        for name in ("GetEncryptionAlgorithm", "GetHashAlgorithm", "GetKeyExchangeAlgorithm", "GetSignatureAlgorithm",
                     "GetKeyContainerName"):
            self.assertEqual(self.fn("ZenvaryCSP_" + name, [p, idx, p])(None, 0, ref), zenvary.ZV_BADARG, name)
        for name in ("put_ProviderName", "put_KeyContainerName"):
            self.assertEqual(self.fn("ZenvaryCSP_" + name, [p, text])(None, b"x"), zenvary.ZV_BADARG, name)
        for name in ("SetProviderMicrosoftBase", "SetProviderMicrosoftEnhanced", "SetProviderMicrosoftStrong",
                     "SetProviderMicrosoftRsaAes"):
            self.assertEqual(self.fn("ZenvaryCSP_" + name, [p])(None), zenvary.ZV_BADARG, name)
        for name in ("get_MachineKeyset", "get_ProviderType", "get_EncryptNumBits", "get_HashNumBits",
                     "get_EncryptAlgorithmID", "get_HashAlgorithmID", "get_NumEncryptAlgorithms",
                     "get_NumHashAlgorithms", "get_NumKeyExchangeAlgorithms", "get_NumSignatureAlgorithms",
                     "get_NumKeyContainers"):
            self.assertEqual(self.fn("ZenvaryCSP_" + name, [p], ctypes.c_long)(None), 0, name)
        for name in ("GetEncryptionNumBits", "GetHashNumBits", "GetKeyExchangeNumBits", "GetSignatureNumBits"):
            self.assertEqual(self.fn("ZenvaryCSP_" + name, [p, idx], ctypes.c_long)(None, 0), 0, name)
        for name in ("SetEncryptAlgorithm", "SetHashAlgorithm"):
            self.assertEqual(self.fn("ZenvaryCSP_" + name, [p, text], ctypes.c_long)(None, b"DES"), 0, name)
        for name in ("HasEncryptAlgorithm", "HasHashAlgorithm"):
            self.assertEqual(self.fn("ZenvaryCSP_" + name, [p, text, idx], ctypes.c_long)(None, b"DES", 56), 0, name)
        self.fn("ZenvaryCSP_put_MachineKeyset", [p, idx], None)(None, 1)
        self.fn("ZenvaryCSP_Dispose", [p], None)(None)
        self.assertEqual(self.fn("ZenvaryVault2_SetCSP", [p, p])(None, None), zenvary.ZV_BADARG)

        # A live handle with NULL text arguments and NULL out-pointers.
        h = self.fn("ZenvaryCSP_Create", [], p)()
        self.assertTrue(h)
        try:
            self.assertEqual(self.fn("ZenvaryCSP_get_ProviderName", [p, p])(h, None), zenvary.ZV_BADARG)
            self.assertEqual(self.fn("ZenvaryCSP_GetKeyContainerNames", [p, p])(h, None), zenvary.ZV_BADARG)
            self.assertEqual(self.fn("ZenvaryCSP_put_ProviderName", [p, text])(h, None), zenvary.ZV_FAILED)
            self.assertEqual(self.fn("ZenvaryCSP_SetEncryptAlgorithm", [p, text], ctypes.c_long)(h, None), 0)
            self.assertEqual(self.fn("ZenvaryCSP_HasHashAlgorithm", [p, text, idx], ctypes.c_long)(h, None, 0), 0)
            self.assertEqual(self.fn("ZenvaryCSP_GetHashAlgorithm", [p, idx, p])(h, 10 ** 6, ref), zenvary.ZV_FAILED)
            self.assertEqual(zenvary._take_text(out), "")
            self.assertEqual(self.fn("ZenvaryCSP_GetHashAlgorithm", [p, idx, p])(h, 0, ref), zenvary.ZV_OK)
            self.assertEqual(zenvary._take_text(out), "SHA-1")
        finally:
            self.fn("ZenvaryCSP_Dispose", [p], None)(h)


class Pki:
    """A recipient certificate and key made by openssl for this run."""

    def __init__(self):
        self.dir = tempfile.mkdtemp(prefix="zv-csp-pki-")
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", self.path("r.key"), "-out",
                self.path("r.pem"), "-subj", "/CN=Provider Recipient", "-days", "2")

    def path(self, name):
        return os.path.join(self.dir, name)


PKI = None


def setUpModule():
    global PKI
    PKI = Pki()


def tearDownModule():
    shutil.rmtree(PKI.dir, ignore_errors=True)


class SetCsp(Root):
    def test_serialized_text_reaches_the_crypt_object(self):
        csp = zenvary.CSP()
        self.assertEqual(csp.SetProviderMicrosoftStrong(), 1)
        self.assertEqual(csp.SetEncryptAlgorithm("3DES"), 168)
        csp.KeyContainerName = "box"
        counts = (csp.NumEncryptAlgorithms, csp.NumHashAlgorithms, csp.NumKeyExchangeAlgorithms,
                  csp.NumSignatureAlgorithms)
        self.assertEqual(csp.Serialize(), "%s,box,%d,%d,%d,%d,3DES,SHA-1" % ((STRONG,) + counts))
        v = zenvary.ZenvaryVault2()
        v.SetCSP(csp)
        log = v.LastErrorText
        for line in ("EncryptAlgorithm: 3DES", "EncryptNumBits: 168", "HashAlgorithm: SHA-1",
                     "ProviderName: " + STRONG, "KeyContainerName: box", "MachineKeyset: 0", "ProviderType: 1"):
            self.assertIn(line, log)
        self.assertIn("SetCSP", log)
        # The text is loaded into an object that keeps the provider acquired
        # at its construction: a cipher that provider lacks leaves the slot
        # empty, and the type is that provider's, whatever the name says.
        self.assertEqual(csp.SetProviderMicrosoftRsaAes(), 1)
        self.assertEqual(csp.SetEncryptAlgorithm("AES 256"), 256)
        self.assertTrue(csp.Serialize().endswith(",AES 256,SHA-1"))
        v.SetCSP(csp)
        log = v.LastErrorText
        self.assertIn("EncryptAlgorithm: \r\n", log)
        self.assertIn("EncryptNumBits: 0", log)
        self.assertIn("ProviderName: " + RSA_AES, log)
        self.assertIn("ProviderType: 1", log)
        # None does nothing; anything else is refused.
        v.SetCSP(None)
        self.assertEqual(v.LastErrorText, log)
        for bad in (csp.Serialize(), 1, zenvary.Cert()):
            with self.assertRaises(TypeError):
                v.SetCSP(bad)
        # A null provider through C is ZV_OK and leaves the log alone.
        fn = zenvary._lib.ZenvaryVault2_SetCSP
        fn.argtypes, fn.restype = [ctypes.c_void_p, ctypes.c_void_p], ctypes.c_int
        self.assertEqual(fn(v._h, None), zenvary.ZV_OK)
        self.assertEqual(v.LastErrorText, log)

    def envelope(self, cipher):
        csp = zenvary.CSP()
        self.assertEqual(csp.SetProviderMicrosoftStrong(), 1)
        self.assertGreater(csp.SetEncryptAlgorithm(cipher), 0)
        v = zenvary.ZenvaryVault2()
        v.CryptAlgorithm = "pki"
        v.SetCSP(csp)
        v.SetEncryptCert(zenvary.Cert(PKI.path("r.pem")))
        content = os.urandom(700) + b"provider choice"
        env = v.EncryptBytes(content)
        self.assertNotEqual(env, b"", v.LastErrorText)
        path = self.f(cipher + ".p7m")
        with open(path, "wb") as f:
            f.write(env)
        return content, path

    def test_envelope_ciphers_follow_the_provider_choice(self):
        content, path = self.envelope("3DES")
        info = openssl("cms", "-cmsout", "-print", "-inform", "DER", "-in", path).decode().lower()
        self.assertIn("des-ede3-cbc", info)
        for tool in ("cms", "smime"):
            out = openssl(tool, "-decrypt", "-binary", "-inform", "DER", "-in", path, "-recip", PKI.path("r.pem"),
                          "-inkey", PKI.path("r.key"))
            self.assertEqual(out, content, tool)
        content, path = self.envelope("DES")
        info = openssl("cms", "-cmsout", "-print", "-inform", "DER", "-in", path).decode().lower()
        self.assertIn("des-cbc", info)
        self.assertNotIn("des-ede3-cbc", info)
        out = openssl("cms", "-decrypt", "-binary", "-inform", "DER", "-in", path, "-inkey", PKI.path("r.key"),
                      *LEGACY)
        self.assertEqual(out, content)


if __name__ == "__main__":
    result = unittest.main(exit=False, verbosity=2).result
    sys.exit(0 if result.wasSuccessful() and result.testsRun > 0 else 1)
