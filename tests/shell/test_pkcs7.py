#!/usr/bin/env python3
"""PKCS #7 messages end to end: the zenvary tool and the Python module
against the openssl cms and openssl smime commands, both ways, with
certificates and keys made by openssl for this run."""

import base64
import os
import shutil
import sys
import tempfile
import unittest
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from shell_support import LEGACY, openssl, read, run, write  # noqa: E402

CLI = os.environ.get("ZENVARY_CLI", "zenvary")


class Pki:
    """A CA, a leaf it issued, an unrelated self-signed party and an expired
    self-signed signer, each with its key, in a temporary directory."""

    def __init__(self):
        self.dir = tempfile.mkdtemp(prefix="zv-p7-")
        d = self.path
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", d("ca.key"), "-out", d("ca.pem"),
                "-subj", "/O=Zenvary Interop/CN=Interop Root", "-days", "30",
                "-addext", "basicConstraints=critical,CA:TRUE", "-addext", "keyUsage=critical,keyCertSign")
        openssl("req", "-new", "-newkey", "rsa:2048", "-nodes", "-keyout", d("leaf.key"), "-out", d("leaf.csr"),
                "-subj", "/O=Zenvary Interop/CN=Interop Leaf/emailAddress=leaf@zenvary.test")
        write(d("leaf.ext"), b"keyUsage=digitalSignature,keyEncipherment\nextendedKeyUsage=emailProtection\n"
                             b"subjectAltName=email:leaf@zenvary.test\n")
        openssl("x509", "-req", "-in", d("leaf.csr"), "-CA", d("ca.pem"), "-CAkey", d("ca.key"), "-set_serial", "0x1234",
                "-days", "10", "-extfile", d("leaf.ext"), "-out", d("leaf.pem"))
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", d("other.key"), "-out", d("other.pem"),
                "-subj", "/CN=Interop Other", "-days", "5")
        # An expired signer: a CA database lets openssl set the dates.
        write(d("ca.cnf"), ("[ca]\ndefault_ca = d\n[d]\ndatabase = %s\nnew_certs_dir = %s\nserial = %s\n"
                            "default_md = sha256\npolicy = p\n[p]\ncommonName = supplied\n"
                            % (d("index.txt"), self.dir, d("serial"))).encode())
        write(d("index.txt"), b"")
        write(d("serial"), b"01\n")
        openssl("req", "-new", "-newkey", "rsa:2048", "-nodes", "-keyout", d("old.key"), "-out", d("old.csr"),
                "-subj", "/CN=Interop Expired")
        openssl("ca", "-batch", "-config", d("ca.cnf"), "-selfsign", "-keyfile", d("old.key"), "-in", d("old.csr"),
                "-startdate", "20200101000000Z", "-enddate", "20200201000000Z", "-out", d("old.pem"))

    def path(self, name):
        return os.path.join(self.dir, name)

    def close(self):
        shutil.rmtree(self.dir, ignore_errors=True)


PKI = None


def setUpModule():
    global PKI
    PKI = Pki()


def tearDownModule():
    PKI.close()


class Work(unittest.TestCase):
    def setUp(self):
        self.tmp = tempfile.TemporaryDirectory()
        self.content = b"Interop content\r\nline two \x00\x01\xff and more\n" * 20
        write(self.f("in.bin"), self.content)

    def tearDown(self):
        self.tmp.cleanup()

    def f(self, name):
        return os.path.join(self.tmp.name, name)

    def sign(self, *extra, key="leaf"):
        return run("sign", "--cert", PKI.path(key + ".pem"), "--key", PKI.path(key + ".key"), *extra)


class CliSignatures(Work):
    def test_ours_verify_with_openssl_cms_and_smime(self):
        r = self.sign("--detached", self.f("in.bin"), self.f("in.p7s"))
        self.assertEqual(r.returncode, 0, r.stderr)
        openssl("cms", "-verify", "-binary", "-inform", "DER", "-in", self.f("in.p7s"), "-content", self.f("in.bin"),
                "-CAfile", PKI.path("ca.pem"), "-purpose", "any", "-out", os.devnull)
        openssl("smime", "-verify", "-binary", "-inform", "DER", "-in", self.f("in.p7s"), "-content",
                self.f("in.bin"), "-noverify", "-out", os.devnull)
        r = self.sign(self.f("in.bin"), self.f("in.p7m"))
        self.assertEqual(r.returncode, 0, r.stderr)
        out = openssl("cms", "-verify", "-binary", "-inform", "DER", "-in", self.f("in.p7m"), "-CAfile",
                      PKI.path("ca.pem"), "-purpose", "any").stdout
        self.assertEqual(out, self.content)
        out = openssl("smime", "-verify", "-binary", "-inform", "DER", "-in", self.f("in.p7m"), "-noverify").stdout
        self.assertEqual(out, self.content)
        # Base64 text output is the same message.
        r = self.sign("--encoding", "base64", self.f("in.bin"), self.f("in.b64"))
        self.assertEqual(r.returncode, 0, r.stderr)
        write(self.f("in.der"), base64.b64decode(read(self.f("in.b64"))))
        out = openssl("cms", "-verify", "-binary", "-inform", "DER", "-in", self.f("in.der"), "-noverify").stdout
        self.assertEqual(out, self.content)
        r = run("verify", "--encoding", "base64", self.f("in.b64"))
        self.assertEqual((r.returncode, r.stdout), (0, self.content), r.stderr)

    def test_theirs_verify_here(self):
        openssl("cms", "-sign", "-binary", "-outform", "DER", "-in", self.f("in.bin"), "-signer", PKI.path("leaf.pem"),
                "-inkey", PKI.path("leaf.key"), "-out", self.f("cms.p7s"))
        r = run("verify", "--sig", self.f("cms.p7s"), self.f("in.bin"))
        self.assertEqual(r.returncode, 0, r.stderr)
        openssl("cms", "-sign", "-binary", "-nodetach", "-outform", "DER", "-md", "sha512", "-in", self.f("in.bin"),
                "-signer", PKI.path("other.pem"), "-inkey", PKI.path("other.key"), "-out", self.f("cms.p7m"))
        r = run("verify", self.f("cms.p7m"))
        self.assertEqual((r.returncode, r.stdout), (0, self.content), r.stderr)
        openssl("smime", "-sign", "-binary", "-nodetach", "-outform", "DER", "-in", self.f("in.bin"), "-signer",
                PKI.path("leaf.pem"), "-inkey", PKI.path("leaf.key"), "-out", self.f("smime.p7m"))
        r = run("verify", self.f("smime.p7m"))
        self.assertEqual((r.returncode, r.stdout), (0, self.content), r.stderr)
        openssl("smime", "-sign", "-binary", "-outform", "DER", "-in", self.f("in.bin"), "-signer",
                PKI.path("leaf.pem"), "-inkey", PKI.path("leaf.key"), "-out", self.f("smime.p7s"))
        r = run("verify", "--sig", self.f("smime.p7s"), self.f("in.bin"))
        self.assertEqual(r.returncode, 0, r.stderr)

    def test_expired_and_untrusted_signers_still_verify(self):
        for key in ("old", "other"):
            r = self.sign("--detached", self.f("in.bin"), self.f(key + ".p7s"), key=key)
            self.assertEqual(r.returncode, 0, r.stderr)
            r = run("verify", "--sig", self.f(key + ".p7s"), self.f("in.bin"))
            self.assertEqual(r.returncode, 0, r.stderr)
            # Only a chain check asks for trust, and then it fails.
            r = run("verify", "--sig", self.f(key + ".p7s"), "--ca", PKI.path("ca.pem"), self.f("in.bin"))
            self.assertEqual(r.returncode, 1, key)
            self.assertIn(b"does not chain", r.stderr)
        r = self.sign("--detached", self.f("in.bin"), self.f("leaf.p7s"))
        r = run("verify", "--sig", self.f("leaf.p7s"), "--ca", PKI.path("ca.pem"), self.f("in.bin"))
        self.assertEqual(r.returncode, 0, r.stderr)

    def test_damaged_messages_fail_with_a_reason(self):
        self.assertEqual(self.sign(self.f("in.bin"), self.f("in.p7m")).returncode, 0)
        self.assertEqual(self.sign("--detached", self.f("in.bin"), self.f("in.p7s")).returncode, 0)
        msg = read(self.f("in.p7m"))
        # The content is inside the message: change one of its bytes.
        at = msg.index(b"Interop content")
        write(self.f("bent.p7m"), msg[:at] + b"J" + msg[at + 1:])
        r = run("verify", self.f("bent.p7m"))
        self.assertEqual((r.returncode, r.stdout), (1, b""))
        self.assertIn(b"verifySignature.1: ", r.stderr)
        self.assertNotEqual(openssl("cms", "-verify", "-binary", "-inform", "DER", "-in", self.f("bent.p7m"),
                                    "-noverify", check=False).returncode, 0)
        write(self.f("other.bin"), self.content + b"!")
        r = run("verify", "--sig", self.f("in.p7s"), self.f("other.bin"))
        self.assertEqual(r.returncode, 1)
        self.assertIn(b"Failed to verify signature;", r.stderr)
        for bad in (msg[: len(msg) // 2], b"garbage, not a message", b"\x30\x80"):
            write(self.f("bad.p7m"), bad)
            r = run("verify", self.f("bad.p7m"))
            self.assertEqual((r.returncode, r.stdout), (1, b""), bad[:10])
            self.assertIn(b"verifySignature.1: ", r.stderr)
        # A wrong key for the certificate is refused before anything is signed.
        r = run("sign", "--cert", PKI.path("leaf.pem"), "--key", PKI.path("other.key"), self.f("in.bin"),
                self.f("x.p7m"))
        self.assertEqual(r.returncode, 1)
        self.assertIn(b"does not belong to the certificate", r.stderr)
        self.assertFalse(os.path.exists(self.f("x.p7m")))
        r = run("sign", "--cert", PKI.path("leaf.pem"), self.f("in.bin"), self.f("x.p7m"))
        self.assertEqual(r.returncode, 2)


class CliEnvelopes(Work):
    def test_ours_open_with_openssl(self):
        r = run("envelope", "--cert", PKI.path("leaf.pem"), self.f("in.bin"), self.f("env.p7m"))
        self.assertEqual(r.returncode, 0, r.stderr)
        out = openssl("cms", "-decrypt", "-binary", "-inform", "DER", "-in", self.f("env.p7m"), "-recip",
                      PKI.path("leaf.pem"), "-inkey", PKI.path("leaf.key"), *LEGACY).stdout
        self.assertEqual(out, self.content)
        out = openssl("smime", "-decrypt", "-binary", "-inform", "DER", "-in", self.f("env.p7m"), "-recip",
                      PKI.path("leaf.pem"), "-inkey", PKI.path("leaf.key"), *LEGACY).stdout
        self.assertEqual(out, self.content)
        info = openssl("cms", "-cmsout", "-print", "-inform", "DER", "-in", self.f("env.p7m")).stdout
        self.assertIn(b"rc2-cbc", info.lower())
        # Triple DES through the provider choice.
        csp = "Microsoft Enhanced Cryptographic Provider v1.0,,0,0,0,0,3DES,SHA-1"
        r = run("envelope", "--cert", PKI.path("leaf.pem"), "--csp", csp, self.f("in.bin"), self.f("env3.p7m"))
        self.assertEqual(r.returncode, 0, r.stderr)
        info = openssl("cms", "-cmsout", "-print", "-inform", "DER", "-in", self.f("env3.p7m")).stdout
        self.assertIn(b"des-ede3-cbc", info.lower())
        out = openssl("cms", "-decrypt", "-binary", "-inform", "DER", "-in", self.f("env3.p7m"), "-inkey",
                      PKI.path("leaf.key")).stdout
        self.assertEqual(out, self.content)

    def test_theirs_open_here(self):
        for tool, cipher in (("cms", "-aes256"), ("cms", "-des3"), ("smime", "-des3"), ("smime", "-aes128")):
            openssl(tool, "-encrypt", "-binary", "-outform", "DER", cipher, "-in", self.f("in.bin"), "-out",
                    self.f("theirs.p7m"), PKI.path("leaf.pem"))
            r = run("open", "--cert", PKI.path("leaf.pem"), "--key", PKI.path("leaf.key"), self.f("theirs.p7m"),
                    self.f("out.bin"))
            self.assertEqual(r.returncode, 0, (tool, cipher, r.stderr))
            self.assertEqual(read(self.f("out.bin")), self.content)

    def test_wrong_key_and_damage_fail_with_a_reason(self):
        self.assertEqual(run("envelope", "--cert", PKI.path("leaf.pem"), self.f("in.bin"),
                             self.f("env.p7m")).returncode, 0)
        r = run("open", "--cert", PKI.path("other.pem"), "--key", PKI.path("other.key"), self.f("env.p7m"),
                self.f("out.bin"))
        self.assertEqual(r.returncode, 1)
        self.assertIn(b"decodeMessage.1: ", r.stderr)
        self.assertFalse(os.path.exists(self.f("out.bin")))
        env = read(self.f("env.p7m"))
        for bad in (env[:-20], env[:40], b"\x00" * 64):
            write(self.f("bad.p7m"), bad)
            r = run("open", "--cert", PKI.path("leaf.pem"), "--key", PKI.path("leaf.key"), self.f("bad.p7m"),
                    self.f("out.bin"))
            self.assertEqual(r.returncode, 1, bad[:8])
            self.assertIn(b"decodeMessage.1: ", r.stderr)


class PythonModule(Work):
    @classmethod
    def setUpClass(cls):
        import zenvary
        cls.zv = zenvary
        cls.root = tempfile.mkdtemp(prefix="zv-p7-root-")
        zenvary.set_pki_root(cls.root)

    @classmethod
    def tearDownClass(cls):
        cls.zv.set_pki_root(None)
        shutil.rmtree(cls.root, ignore_errors=True)

    def cert(self, name, key=True):
        c = self.zv.Cert(PKI.path(name + ".pem"))
        if key:
            self.assertEqual(c.LinkPrivateKeyFile(PKI.path(name + ".key")), 1, c.LastErrorText)
            self.assertEqual(c.HasKeyContainer, 1)
        return c

    def test_signatures(self):
        v = self.zv.ZenvaryVault2()
        v.Charset = "utf-8"
        v.SetSigningCert(self.cert("leaf"))
        sig = v.SignStringENC("Grüße")
        self.assertNotEqual(sig, "", v.LastErrorText)
        write(self.f("sig.der"), base64.b64decode(sig))
        write(self.f("data.txt"), "Grüße".encode())
        openssl("cms", "-verify", "-binary", "-inform", "DER", "-in", self.f("sig.der"), "-content",
                self.f("data.txt"), "-noverify", "-out", os.devnull)
        self.assertEqual(v.VerifyStringENC("Grüße", sig), 1)
        self.assertIn("Interop Leaf", v.GetLastCert().SubjectDN)
        self.assertEqual(v.VerifyStringENC("Grüsse", sig), 0)
        self.assertIn("Failed to verify signature;", v.LastErrorText)
        msg = v.OpaqueSignBytes(self.content)
        self.assertEqual(v.OpaqueVerifyBytes(msg), self.content)
        bent = bytearray(msg)
        bent[-3] ^= 1
        self.assertEqual(v.OpaqueVerifyBytes(bytes(bent)), b"")
        self.assertIn("verifySignature.1: ", v.LastErrorText)
        self.assertEqual(v.CreateP7S(self.f("in.bin"), self.f("in.p7s")), 1, v.LastErrorText)
        self.assertEqual(v.VerifyP7S(self.f("in.bin"), self.f("in.p7s")), 1)
        self.assertEqual(v.CreateP7M(self.f("in.bin"), self.f("in.p7m")), 1)
        self.assertEqual(v.VerifyP7M(self.f("in.p7m"), self.f("back.bin")), 1)
        self.assertEqual(read(self.f("back.bin")), self.content)
        # No certificate: an empty signature and the reason.
        fresh = self.zv.ZenvaryVault2()
        self.assertEqual(fresh.SignBytes(b"x"), b"")
        self.assertIn("No explicit signing certificate set...", fresh.LastErrorText)

    def test_pki_encryption(self):
        v = self.zv.ZenvaryVault2()
        v.Charset = "utf-8"
        v.CryptAlgorithm = "pki"
        v.SetEncryptCert(self.cert("leaf", key=False))
        env = v.EncryptStringENC("für dich")
        self.assertNotEqual(env, "", v.LastErrorText)
        write(self.f("env.der"), base64.b64decode(env))
        out = openssl("cms", "-decrypt", "-binary", "-inform", "DER", "-in", self.f("env.der"), "-inkey",
                      PKI.path("leaf.key"), *LEGACY).stdout
        self.assertEqual(out, "für dich".encode())
        self.assertEqual(v.SetDecryptCert(self.cert("leaf")), 1, v.LastErrorText)
        self.assertEqual(v.DecryptStringENC(env), "für dich")
        self.assertIn("Interop Leaf", v.GetLastCert().SubjectDN)
        self.assertEqual(v.SetDecryptCert2(self.cert("other"), None), 1)
        self.assertEqual(v.DecryptStringENC(env), "")
        self.assertIn("decodeMessage.1: ", v.LastErrorText)
        self.assertEqual(v.SetDecryptCert(None), 0)
        self.assertIn("NULL certificate", v.LastErrorText)


if __name__ == "__main__":
    unittest.main(verbosity=2)
