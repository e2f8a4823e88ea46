#!/usr/bin/env python3
"""The key objects of the Python module against the openssl tool: each load
form gives the tool's key, each Get and Save form is what the tool writes,
the RSA key XML both ways, PVK files with and without a password, bad input,
and a certificate's public and private keys."""

import os
import shutil
import stat
import sys
import tempfile
import unittest

import zenvary
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from shell_support import openssl, read, write  # noqa: E402


class Keys:
    """One RSA key made by `openssl genrsa`, in each form the tool writes,
    and a self-signed certificate for it."""

    def __init__(self):
        self.dir = tempfile.mkdtemp(prefix="zv-keys-")
        p = self.path
        openssl("genrsa", "-out", p("key.pem"), "2048")
        openssl("rsa", "-in", p("key.pem"), "-traditional", "-out", p("rsa.pem"))
        openssl("rsa", "-in", p("key.pem"), "-traditional", "-outform", "DER", "-out", p("rsa.der"))
        openssl("pkcs8", "-topk8", "-nocrypt", "-in", p("key.pem"), "-out", p("p8.pem"))
        openssl("pkcs8", "-topk8", "-nocrypt", "-in", p("key.pem"), "-outform", "DER", "-out", p("p8.der"))
        openssl("rsa", "-in", p("key.pem"), "-outform", "PVK", "-pvk-none", "-out", p("plain.pvk"))
        openssl("rsa", "-provider", "legacy", "-provider", "default", "-in", p("key.pem"), "-outform", "PVK",
                "-passout", "pass:correct horse", "-out", p("secret.pvk"))
        openssl("rsa", "-in", p("key.pem"), "-pubout", "-out", p("spki.pem"))
        openssl("rsa", "-in", p("key.pem"), "-pubout", "-outform", "DER", "-out", p("spki.der"))
        openssl("rsa", "-in", p("key.pem"), "-RSAPublicKey_out", "-outform", "DER", "-out", p("rsapub.der"))
        openssl("req", "-x509", "-new", "-key", p("key.pem"), "-subj", "/CN=Key Objects", "-days", "2",
                "-out", p("cert.pem"))
        write(p("certpub.pem"), openssl("x509", "-in", p("cert.pem"), "-pubkey", "-noout").stdout)
        self.modulus = openssl("rsa", "-in", p("key.pem"), "-noout", "-modulus").stdout.strip()

    def path(self, name):
        return os.path.join(self.dir, name)

    def close(self):
        shutil.rmtree(self.dir, ignore_errors=True)


KEYS = None


def setUpModule():
    global KEYS
    KEYS = Keys()


def tearDownModule():
    KEYS.close()


class Work(unittest.TestCase):
    def setUp(self):
        self.tmp = tempfile.TemporaryDirectory()

    def tearDown(self):
        self.tmp.cleanup()

    def f(self, name):
        return os.path.join(self.tmp.name, name)

    def modulus_of(self, key):
        write(self.f("probe.der"), key.GetRsaDer())
        return openssl("rsa", "-inform", "DER", "-in", self.f("probe.der"), "-noout", "-modulus").stdout.strip()


class PrivateKeys(Work):
    def test_every_load_form_gives_the_tools_key(self):
        p = KEYS.path
        loads = [
            ("LoadRsaDerFile", lambda k: k.LoadRsaDerFile(p("rsa.der"))),
            ("LoadPkcs8File", lambda k: k.LoadPkcs8File(p("p8.der"))),
            ("LoadPemFile rsa", lambda k: k.LoadPemFile(p("rsa.pem"))),
            ("LoadPemFile pkcs8", lambda k: k.LoadPemFile(p("p8.pem"))),
            ("LoadPvkFile plain", lambda k: k.LoadPvkFile(p("plain.pvk"), "")),
            ("LoadPvkFile secret", lambda k: k.LoadPvkFile(p("secret.pvk"), "correct horse")),
            ("LoadRsaDer", lambda k: k.LoadRsaDer(read(p("rsa.der")))),
            ("LoadPkcs8", lambda k: k.LoadPkcs8(read(p("p8.der")))),
            ("LoadPem", lambda k: k.LoadPem(read(p("key.pem")).decode())),
            ("LoadPvk", lambda k: k.LoadPvk(read(p("secret.pvk")), "correct horse")),
        ]
        for name, load in loads:
            key = zenvary.PrivateKey()
            self.assertEqual(load(key), 1, name + "\n" + key.LastErrorText)
            self.assertEqual(key.GetRsaDer(), read(p("rsa.der")), name)
            self.assertEqual(self.modulus_of(key), KEYS.modulus, name)

    def test_gets_and_saves_are_what_the_tool_writes(self):
        key = zenvary.PrivateKey()
        self.assertEqual(key.LoadPemFile(KEYS.path("key.pem")), 1, key.LastErrorText)
        self.assertEqual(key.GetRsaDer(), read(KEYS.path("rsa.der")))
        self.assertEqual(key.GetPkcs8(), read(KEYS.path("p8.der")))
        self.assertEqual(key.GetRsaPem(), read(KEYS.path("rsa.pem")).decode())
        self.assertEqual(key.GetPkcs8Pem(), read(KEYS.path("p8.pem")).decode())
        for method, name, reference in [("SaveRsaDerFile", "o.der", "rsa.der"), ("SavePkcs8File", "o8.der", "p8.der"),
                                        ("SaveRsaPemFile", "o.pem", "rsa.pem"),
                                        ("SavePkcs8PemFile", "o8.pem", "p8.pem")]:
            self.assertEqual(getattr(key, method)(self.f(name)), 1, method + "\n" + key.LastErrorText)
            self.assertEqual(read(self.f(name)), read(KEYS.path(reference)), method)
            self.assertEqual(stat.S_IMODE(os.stat(self.f(name)).st_mode), 0o600, method)
            form = ["-inform", "DER"] if name.endswith(".der") else []
            openssl("rsa", "-check", "-noout", "-in", self.f(name), *form)

    def test_xml_round_trip(self):
        key = zenvary.PrivateKey()
        key.LoadRsaDerFile(KEYS.path("rsa.der"))
        xml = key.GetXml()
        self.assertTrue(xml.startswith("<RSAKeyValue><Modulus>") and xml.endswith("</D></RSAKeyValue>"), xml)
        self.assertIn("<Exponent>AQAB</Exponent>", xml)
        self.assertEqual(key.SaveXmlFile(self.f("k.xml")), 1, key.LastErrorText)
        self.assertEqual(read(self.f("k.xml")).decode(), xml)
        back = zenvary.PrivateKey()
        self.assertEqual(back.LoadXmlFile(self.f("k.xml")), 1, back.LastErrorText)
        self.assertEqual(back.GetRsaDer(), read(KEYS.path("rsa.der")))
        self.assertEqual(back.LoadXml(xml.replace("><", ">\n  <")), 1, back.LastErrorText)
        self.assertEqual(back.GetXml(), xml)

    def test_bad_input_fails_with_a_reason_and_keeps_the_key(self):
        key = zenvary.PrivateKey()
        self.assertEqual(key.GetRsaDer(), b"")
        self.assertEqual(key.GetXml(), "")
        self.assertIn("No private key is loaded", key.LastErrorText)
        self.assertEqual(key.SaveRsaPemFile(self.f("never.pem")), 0)
        self.assertFalse(os.path.exists(self.f("never.pem")))

        key.LoadRsaDerFile(KEYS.path("rsa.der"))
        der = read(KEYS.path("rsa.der"))
        cases = [
            ("garbage", lambda: key.LoadRsaDer(b"\x30\x03\x02\x01"), "not the DER of an RSA key"),
            ("truncated", lambda: key.LoadRsaDer(der[:-1]), "not the DER of an RSA key"),
            ("public key", lambda: key.LoadRsaDerFile(KEYS.path("rsapub.der")), "holds a public key"),
            ("spki to pkcs8", lambda: key.LoadPkcs8(read(KEYS.path("spki.der"))), "holds a public key"),
            ("public pem", lambda: key.LoadPemFile(KEYS.path("spki.pem")), "No private key in the PEM text"),
            ("wrong pvk password", lambda: key.LoadPvkFile(KEYS.path("secret.pvk"), "correct horse!"),
             "wrong password"),
            ("no pvk password", lambda: key.LoadPvkFile(KEYS.path("secret.pvk"), ""), "a password is needed"),
            ("pvk garbage", lambda: key.LoadPvk(b"\x1e\xf1\xb5\xb0" + b"\x00" * 40, ""), "Failed to read the PVK"),
            ("missing file", lambda: key.LoadPemFile(self.f("missing.pem")), "missing.pem"),
            ("xml", lambda: key.LoadXml("<RSAKeyValue><Modulus>AQAB</Modulus></RSAKeyValue>"), "missing"),
        ]
        for name, load, reason in cases:
            self.assertEqual(load(), 0, name)
            self.assertIn(reason, key.LastErrorText, name)
            self.assertEqual(key.GetRsaDer(), der, name)
        # The other renderings and the saved log carry the same reason.
        key.LoadPvkFile(KEYS.path("secret.pvk"), "nope")
        self.assertIn("wrong password", key.LastErrorXml)
        self.assertIn("wrong password", key.LastErrorHtml)
        self.assertEqual(key.SaveLastError(self.f("log.xml")), 1)
        self.assertIn(b"wrong password", read(self.f("log.xml")))


class PublicKeys(Work):
    def test_forms_match_the_tool(self):
        p = KEYS.path
        loads = [
            ("LoadOpenSslPemFile", lambda k: k.LoadOpenSslPemFile(p("spki.pem"))),
            ("LoadOpenSslDerFile", lambda k: k.LoadOpenSslDerFile(p("spki.der"))),
            ("LoadRsaDerFile", lambda k: k.LoadRsaDerFile(p("rsapub.der"))),
            ("LoadOpenSslPem", lambda k: k.LoadOpenSslPem(read(p("spki.pem")).decode())),
            ("LoadOpenSslDer", lambda k: k.LoadOpenSslDer(read(p("spki.der")))),
            ("LoadRsaDer", lambda k: k.LoadRsaDer(read(p("rsapub.der")))),
        ]
        for name, load in loads:
            key = zenvary.PublicKey()
            self.assertEqual(load(key), 1, name + "\n" + key.LastErrorText)
            self.assertEqual(key.GetOpenSslDer(), read(p("spki.der")), name)
            self.assertEqual(key.GetRsaDer(), read(p("rsapub.der")), name)
            self.assertEqual(key.GetOpenSslPem(), read(p("spki.pem")).decode(), name)
        for method, name, reference in [("SaveOpenSslDerFile", "o.der", "spki.der"),
                                        ("SaveOpenSslPemFile", "o.pem", "spki.pem"),
                                        ("SaveRsaDerFile", "r.der", "rsapub.der")]:
            self.assertEqual(getattr(key, method)(self.f(name)), 1, method + "\n" + key.LastErrorText)
            self.assertEqual(read(self.f(name)), read(p(reference)), method)
        xml = key.GetXml()
        self.assertTrue(xml.startswith("<RSAKeyValue><Modulus>") and xml.endswith("</Exponent></RSAKeyValue>"), xml)
        self.assertEqual(key.SaveXmlFile(self.f("pub.xml")), 1)
        back = zenvary.PublicKey()
        self.assertEqual(back.LoadXmlFile(self.f("pub.xml")), 1, back.LastErrorText)
        self.assertEqual(back.GetOpenSslDer(), read(p("spki.der")))
        # The private key's XML holds the same modulus and exponent.
        private = zenvary.PrivateKey()
        private.LoadPemFile(p("key.pem"))
        self.assertEqual(back.LoadXml(private.GetXml()), 1, back.LastErrorText)
        self.assertEqual(back.GetOpenSslDer(), read(p("spki.der")))

    def test_bad_input(self):
        key = zenvary.PublicKey()
        self.assertEqual(key.GetOpenSslDer(), b"")
        self.assertEqual(key.GetOpenSslPem(), "")
        self.assertEqual(key.LoadOpenSslPemFile(KEYS.path("rsa.pem")), 0)
        self.assertIn("No public key in the PEM text", key.LastErrorText)
        self.assertEqual(key.LoadOpenSslDer(read(KEYS.path("spki.der"))[:-3]), 0)
        self.assertEqual(key.LoadRsaDer(b"garbage"), 0)
        self.assertIn("not the DER of an RSA key", key.LastErrorText)
        self.assertEqual(key.LoadXml(""), 0)
        self.assertIn("Modulus or Exponent missing", key.LastErrorText)


class CertificateKeys(Work):
    def setUp(self):
        super().setUp()
        zenvary.set_pki_root(self.f("pki"))

    def tearDown(self):
        zenvary.set_pki_root(None)
        super().tearDown()

    def test_public_key_is_the_tools(self):
        cert = zenvary.Cert(KEYS.path("cert.pem"))
        key = zenvary._keys.export_public_key(cert)
        self.assertIsInstance(key, zenvary.PublicKey)
        self.assertEqual(key.GetOpenSslPem(), read(KEYS.path("certpub.pem")).decode())
        self.assertEqual(key.GetOpenSslDer(), read(KEYS.path("spki.der")))
        empty = zenvary.Cert()
        self.assertIsNone(zenvary._keys.export_public_key(empty))
        self.assertIn("No certificate", empty.LastErrorText)
        with self.assertRaises(TypeError):
            zenvary._keys.export_public_key("cert.pem")

    def test_private_key_of_the_linked_container(self):
        cert = zenvary.Cert(KEYS.path("cert.pem"))
        self.assertIsNone(zenvary._keys.export_private_key(cert))
        self.assertNotEqual(cert.LastErrorText, "")
        self.assertEqual(cert.LinkPrivateKeyFile(KEYS.path("key.pem")), 1, cert.LastErrorText)
        key = zenvary._keys.export_private_key(cert)
        self.assertIsInstance(key, zenvary.PrivateKey)
        self.assertEqual(key.GetRsaDer(), read(KEYS.path("rsa.der")), key.LastErrorText)
        # The crypt object takes the key argument (not used) or None, nothing else.
        crypt = zenvary.ZenvaryVault2()
        self.assertEqual(crypt.SetDecryptCert2(cert, key), 1, crypt.LastErrorText)
        self.assertEqual(crypt.SetDecryptCert2(cert, None), 1, crypt.LastErrorText)
        with self.assertRaises(TypeError):
            crypt.SetDecryptCert2(cert, "key.pem")


if __name__ == "__main__":
    result = unittest.main(exit=False, verbosity=1).result
    sys.exit(0 if result.wasSuccessful() and result.testsRun > 0 else 1)
