#!/usr/bin/env python3
"""The certificate object through the Python module and, for the border
cases, straight through the C interface: properties against what the openssl
tool prints, exports against openssl's own DER and PEM, PKCS #12 files both
ways (openssl reads ours, ours give a key that signs for openssl), the store
lookups, the trust and revocation checks, and bad input."""

import base64
import calendar
import ctypes
import os
import shutil
import sys
import tempfile
import time
import unittest

import zenvary
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from shell_support import LEGACY, openssl, read, write  # noqa: E402


USAGE_BITS = {"Digital Signature": 0x80, "Non Repudiation": 0x40, "Key Encipherment": 0x20,
              "Data Encipherment": 0x10, "Key Agreement": 0x08, "Certificate Sign": 0x04, "CRL Sign": 0x02,
              "Encipher Only": 0x01, "Decipher Only": 0x8000}
NAME_PROPS = {"CN": "CN", "OU": "OU", "O": "O", "L": "L", "ST": "S", "C": "C", "emailAddress": "E"}


class Pki:
    """A root CA; a mail leaf and a server certificate it issued; an expired
    and a revoked leaf issued through an openssl CA database, with its CRL;
    an unrelated self-signed certificate. Keys beside each."""

    def __init__(self):
        self.dir = tempfile.mkdtemp(prefix="zv-cert-")
        d = self.path
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", d("ca.key"), "-out", d("ca.pem"),
                "-subj", "/C=DE/ST=Hessen/L=Kassel/O=Zenvary Cert Test/OU=Roots/CN=Cert Test Root", "-days", "60",
                "-set_serial", "0x0102",
                "-addext", "basicConstraints=critical,CA:TRUE", "-addext", "keyUsage=critical,keyCertSign,cRLSign")
        self.issue("leaf", "/C=DE/ST=Bayern/L=München/O=Zenvary Cert Test/OU=Mail/CN=Cert Test Leaf"
                           "/emailAddress=leaf@zenvary.test", "0x00C0FFEE",
                   "keyUsage=critical,digitalSignature,nonRepudiation,keyEncipherment\n"
                   "extendedKeyUsage=emailProtection,clientAuth\n"
                   "subjectAltName=email:first@zenvary.test,email:leaf.alt@zenvary.test\n")
        self.issue("server", "/O=Zenvary Cert Test/CN=server.zenvary.test", "0x05",
                   "keyUsage=digitalSignature,keyAgreement,encipherOnly,decipherOnly\n"
                   "extendedKeyUsage=serverAuth,codeSigning,timeStamping\n")
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", d("other.key"), "-out", d("other.pem"),
                "-subj", "/CN=Cert Test Other", "-days", "5")
        # The CA database: an expired leaf, a revoked one, and the CRL.
        write(d("ca.cnf"), ("[ca]\ndefault_ca = d\n[d]\ndatabase = %s\nnew_certs_dir = %s\nserial = %s\n"
                            "crlnumber = %s\ncertificate = %s\nprivate_key = %s\ndefault_md = sha256\n"
                            "default_crl_days = 30\npolicy = p\nunique_subject = no\n[p]\ncommonName = supplied\n"
                            "emailAddress = optional\n"
                            % (d("index.txt"), self.dir, d("serial"), d("crlnumber"), d("ca.pem"), d("ca.key")))
              .encode())
        write(d("index.txt"), b"")
        write(d("serial"), b"1000\n")
        write(d("crlnumber"), b"01\n")
        for name, subject, dates in (("expired", "/CN=Cert Test Expired/emailAddress=old@zenvary.test",
                                      ["-startdate", "20200101000000Z", "-enddate", "20200201000000Z"]),
                                     ("revoked", "/CN=Cert Test Revoked", ["-days", "20"])):
            openssl("req", "-new", "-newkey", "rsa:2048", "-nodes", "-keyout", d(name + ".key"), "-out",
                    d(name + ".csr"), "-subj", subject)
            openssl("ca", "-batch", "-config", d("ca.cnf"), "-in", d(name + ".csr"), "-out", d(name + ".pem"), *dates)
        openssl("ca", "-config", d("ca.cnf"), "-revoke", d("revoked.pem"))
        openssl("ca", "-config", d("ca.cnf"), "-gencrl", "-out", d("ca.crl"))

    def issue(self, name, subject, serial, ext):
        d = self.path
        openssl("req", "-new", "-newkey", "rsa:2048", "-nodes", "-utf8", "-keyout", d(name + ".key"), "-out",
                d(name + ".csr"), "-subj", subject)
        write(d(name + ".ext"), ext.encode())
        openssl("x509", "-req", "-in", d(name + ".csr"), "-CA", d("ca.pem"), "-CAkey", d("ca.key"), "-set_serial",
                serial, "-days", "20", "-extfile", d(name + ".ext"), "-out", d(name + ".pem"))

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


def printed(name, *what):
    return openssl("x509", "-in", PKI.path(name + ".pem"), "-noout", *what).stdout.decode()


def printed_field(name, option, prefix):
    for line in printed(name, *option.split()).splitlines():
        if line.startswith(prefix):
            return line[len(prefix):].strip()
    raise AssertionError("%s: no %s" % (name, prefix))


def printed_parts(name, which):
    text = printed(name, "-" + which, "-nameopt", "sep_multiline,sname,utf8,-esc_msb")
    parts = {}
    for line in text.splitlines()[1:]:
        key, _, value = line.strip().partition("=")
        parts.setdefault(key, value)
    return parts


def printed_time(text):
    return time.strftime("%Y-%m-%d %H:%M:%S", time.gmtime(calendar.timegm(time.strptime(text, "%b %d %H:%M:%S %Y GMT"))))


class Stores(unittest.TestCase):
    """Certificate stores and key containers below a fresh root per test."""

    def setUp(self):
        self.root = tempfile.mkdtemp(prefix="zv-cert-root-")
        zenvary.set_pki_root(self.root)
        self.tmp = tempfile.mkdtemp(prefix="zv-cert-out-")

    def tearDown(self):
        zenvary.set_pki_root(None)
        shutil.rmtree(self.root, ignore_errors=True)
        shutil.rmtree(self.tmp, ignore_errors=True)

    def f(self, name):
        return os.path.join(self.tmp, name)

    def put(self, store, name, filename=None):
        directory = os.path.join(self.root, store)
        os.makedirs(directory, exist_ok=True)
        shutil.copy(PKI.path(name), os.path.join(directory, filename or name))

    def trust_root(self):
        self.put("root-store", "ca.pem")


class Properties(Stores):
    def test_fields_equal_what_openssl_prints(self):
        self.trust_root()
        for name in ("ca", "leaf", "server", "expired", "other"):
            with self.subTest(name=name):
                c = zenvary.Cert(PKI.path(name + ".pem"))
                serial = c.SerialNumber
                self.assertEqual(serial, serial.lower())
                self.assertEqual(serial[2:] if serial.startswith("00") and len(serial) > 2 else serial,
                                 printed_field(name, "-serial", "serial=").lower())
                self.assertEqual(c.ValidFrom, printed_time(printed_field(name, "-dates", "notBefore=")))
                self.assertEqual(c.ValidTo, printed_time(printed_field(name, "-dates", "notAfter=")))
                self.assertEqual(c.Sha1Thumbprint,
                                 printed_field(name, "-fingerprint -sha1", "sha1 Fingerprint=").replace(":", ""))
                version = printed(name, "-text").split("Version:")[1].split()[0]
                self.assertEqual(c.Version, int(version))
                for which, prefix in (("subject", "Subject"), ("issuer", "Issuer")):
                    parts = printed_parts(name, which)
                    for key, prop in NAME_PROPS.items():
                        self.assertEqual(getattr(c, prefix + prop), parts.get(key, ""), (which, key))
                # Usages as the tool names them.
                usage = printed(name, "-ext", "keyUsage,extendedKeyUsage")
                bits = sum(bit for label, bit in USAGE_BITS.items() if label in usage)
                self.assertEqual(c.IntendedKeyUsage, bits)
                self.assertEqual(c.ForSecureEmail, int("E-mail Protection" in usage))
                self.assertEqual(c.ForServerAuthentication, int("TLS Web Server Authentication" in usage))
                self.assertEqual(c.ForClientAuthentication, int("TLS Web Client Authentication" in usage))
                self.assertEqual(c.ForCodeSigning, int("Code Signing" in usage))
                self.assertEqual(c.ForTimeStamping, int("Time Stamping" in usage))
                self.assertEqual(c.IsRoot, int(name in ("ca", "other")))
                self.assertEqual(c.IsExpired(), int(name == "expired"))
                self.assertEqual((c.HasKeyContainer, c.KeyContainerName, c.CspName, c.MachineKeyset, c.Silent),
                                 (0, "", "", 0, 0))

    def test_known_values(self):
        leaf = zenvary.Cert(PKI.path("leaf.pem"))
        ca = zenvary.Cert(PKI.path("ca.pem"))
        self.assertEqual(leaf.SubjectL, "München")
        self.assertEqual(leaf.SubjectE, "leaf@zenvary.test")
        # The last e-mail name of the alternative name.
        self.assertEqual(leaf.Rfc822Name, "leaf.alt@zenvary.test")
        self.assertEqual(leaf.IssuerDN, ca.SubjectDN)
        self.assertEqual(ca.IssuerDN, ca.SubjectDN)
        self.assertEqual(leaf.SubjectDN, "C=DE, ST=Bayern, L=München, O=Zenvary Cert Test, OU=Mail, "
                                         "CN=Cert Test Leaf, E=leaf@zenvary.test")
        self.assertEqual(ca.SerialNumber, "0102")
        self.assertEqual(leaf.SerialNumber, "00c0ffee")
        self.assertEqual(leaf.IntendedKeyUsage, 0x80 | 0x40 | 0x20)
        self.assertEqual(ca.IntendedKeyUsage, 0x04 | 0x02)
        self.assertEqual(zenvary.Cert(PKI.path("server.pem")).IntendedKeyUsage, 0x80 | 0x08 | 0x01 | 0x8000)
        self.assertEqual(zenvary.Cert(PKI.path("other.pem")).IntendedKeyUsage, 0)
        self.assertEqual(ca.ValidTo[4], "-")

    def test_empty_object(self):
        c = zenvary.Cert()
        self.assertEqual((c.SubjectCN, c.SubjectDN, c.ValidFrom, c.Sha1Thumbprint, c.GetEncoded()), ("",) * 5)
        self.assertEqual((c.Version, c.IntendedKeyUsage, c.IsRoot, c.Expired, c.TrustedRoot), (0,) * 5)
        self.assertEqual(c.ExportCertDer(), b"")
        self.assertEqual(c.ExportCertPem(), "")
        self.assertIn("Object does not contain a certificate", c.LastErrorText)
        self.assertEqual(c.IsExpired(), 1)
        self.assertEqual(c.CheckRevoked(), -1)
        self.assertEqual(c.TestCert(), 0)
        self.assertEqual(c.HasPrivateKey(), 0)
        self.assertIn("<HasPrivateKey>", c.LastErrorXml)
        self.assertIn("Object does not contain a certificate", c.LastErrorHtml)
        self.assertEqual(c.SaveLastError(self.f("log.xml")), 1)
        self.assertIn(b"Object does not contain a certificate", read(self.f("log.xml")))


class Exports(Stores):
    def test_forms_equal_openssl(self):
        der = openssl("x509", "-in", PKI.path("leaf.pem"), "-outform", "DER").stdout
        pem = openssl("x509", "-in", PKI.path("leaf.pem")).stdout.decode()
        c = zenvary.Cert(PKI.path("leaf.pem"))
        self.assertEqual(c.ExportCertDer(), der)
        self.assertEqual(c.ExportCertPem(), pem)
        self.assertEqual(base64.b64decode(c.GetEncoded()), der)
        self.assertEqual(c.ExportCertDerFile(self.f("a.der")), 1)
        self.assertEqual(c.SaveToFile(self.f("b.der")), 1)
        self.assertEqual(c.ExportCertPemFile(self.f("a.pem")), 1)
        self.assertEqual(read(self.f("a.der")), der)
        self.assertEqual(read(self.f("b.der")), der)
        self.assertEqual(read(self.f("a.pem")).decode(), pem)
        self.assertEqual(c.PemFileToDerFile(PKI.path("ca.pem"), self.f("ca.der")), 1)
        self.assertEqual(read(self.f("ca.der")), openssl("x509", "-in", PKI.path("ca.pem"), "-outform", "DER").stdout)
        self.assertEqual(c.SubjectCN, "Cert Test Leaf", "PemFileToDerFile leaves the object alone")

    def test_loading_round_trips(self):
        der = openssl("x509", "-in", PKI.path("server.pem"), "-outform", "DER").stdout
        for load, arg in (("LoadFromBinary", der), ("LoadFromBinary", read(PKI.path("server.pem"))),
                          ("LoadFromBase64", base64.b64encode(der).decode()),
                          ("LoadFromBase64", base64.encodebytes(der).decode()),
                          ("LoadFromBase64", base64.b64encode(read(PKI.path("server.pem"))).decode()),
                          ("SetFromEncoded", base64.b64encode(der).decode())):
            with self.subTest(load=load, arg=arg[:12]):
                c = zenvary.Cert(PKI.path("leaf.pem"))
                self.assertEqual(getattr(c, load)(arg), 1, c.LastErrorText)
                self.assertEqual(c.SubjectCN, "server.zenvary.test")
                self.assertEqual(c.ExportCertDer(), der)


class Pfx(Stores):
    def make_p12(self, name, password, *extra):
        out = self.f(name + ".p12")
        openssl("pkcs12", "-export", "-inkey", PKI.path(name + ".key"), "-in", PKI.path(name + ".pem"),
                "-certfile", PKI.path("ca.pem"), "-passout", "pass:" + password, "-out", out, *extra)
        return out

    def sign_and_check(self, c):
        v = zenvary.ZenvaryVault2()
        v.SetSigningCert(c)
        content = b"PFX signed content \x00\xff\r\n" * 7
        sig = v.SignBytes(content)
        self.assertNotEqual(sig, b"", v.LastErrorText)
        write(self.f("sig.der"), sig)
        write(self.f("content.bin"), content)
        openssl("cms", "-verify", "-binary", "-inform", "DER", "-in", self.f("sig.der"), "-content",
                self.f("content.bin"), "-CAfile", PKI.path("ca.pem"), "-purpose", "any", "-out", os.devnull)
        openssl("smime", "-verify", "-binary", "-inform", "DER", "-in", self.f("sig.der"), "-content",
                self.f("content.bin"), "-noverify", "-out", os.devnull)

    def test_openssl_bundles_link_a_key_that_signs(self):
        for extra in ([], ["-legacy"] + LEGACY):
            with self.subTest(extra=extra):
                p12 = self.make_p12("leaf", "pfx pässword", *extra)
                c = zenvary.Cert()
                self.assertEqual(c.LoadPfxFile(p12, "pfx pässword"), 1, c.LastErrorText)
                self.assertEqual(c.SubjectCN, "Cert Test Leaf")
                self.assertEqual((c.HasKeyContainer, c.HasPrivateKey()), (1, 1), c.LastErrorText)
                self.assertEqual(c.KeyContainerName, c.Sha1Thumbprint)
                self.assertEqual(c.CspName, "Microsoft Base Cryptographic Provider v1.0")
                self.sign_and_check(c)
                d = zenvary.Cert()
                self.assertEqual(d.LoadPfxData(read(p12), "pfx pässword"), 1, d.LastErrorText)
                self.assertEqual(d.HasPrivateKey(), 1)
        # An empty password and a bundle without a key.
        c = zenvary.Cert()
        self.assertEqual(c.LoadPfxFile(self.make_p12("server", ""), ""), 1, c.LastErrorText)
        self.assertEqual(c.HasPrivateKey(), 1)
        openssl("pkcs12", "-export", "-nokeys", "-in", PKI.path("other.pem"), "-passout", "pass:x", "-out",
                self.f("nokey.p12"))
        self.assertEqual(c.LoadPfxFile(self.f("nokey.p12"), "x"), 1, c.LastErrorText)
        self.assertEqual((c.SubjectCN, c.HasKeyContainer), ("Cert Test Other", 0))
        self.assertIn("The PFX holds no private key.", c.LastErrorText)

    def test_our_bundle_reads_in_openssl(self):
        c = zenvary.Cert(PKI.path("leaf.pem"))
        self.assertEqual(c.ExportToPfxFile(self.f("none.p12"), "pw", 0), 0)
        self.assertIn("Failed to export private key.", c.LastErrorText)
        self.assertEqual(c.LinkPrivateKeyFile(PKI.path("leaf.key")), 1, c.LastErrorText)
        self.trust_root()
        for chain, certs in ((0, 1), (1, 2)):
            with self.subTest(chain=chain):
                out = self.f("ours%d.p12" % chain)
                self.assertEqual(c.ExportToPfxFile(out, "n3w pass", chain), 1, c.LastErrorText)
                info = openssl("pkcs12", "-info", "-in", out, "-passin", "pass:n3w pass", "-nodes").stdout.decode()
                self.assertEqual(info.count("BEGIN CERTIFICATE"), certs)
                self.assertIn("subject=C = DE, ST = Bayern", info)
                if chain:
                    self.assertIn("CN = Cert Test Root", info)
                self.assertEqual(openssl("pkcs12", "-in", out, "-passin", "pass:wrong", "-nodes",
                                         check=False).returncode != 0, True)
                key = openssl("pkcs12", "-in", out, "-passin", "pass:n3w pass", "-nocerts", "-nodes").stdout
                write(self.f("back.key"), key)
                modulus = lambda path: openssl("rsa", "-in", path, "-noout", "-modulus").stdout
                self.assertEqual(modulus(self.f("back.key")), modulus(PKI.path("leaf.key")))
                # And back in here.
                d = zenvary.Cert()
                self.assertEqual(d.LoadPfxFile(out, "n3w pass"), 1, d.LastErrorText)
                self.assertEqual((d.Sha1Thumbprint, d.HasPrivateKey()), (c.Sha1Thumbprint, 1))

    def test_wrong_password_and_garbage_fail_with_a_reason(self):
        p12 = self.make_p12("leaf", "right")
        c = zenvary.Cert(PKI.path("other.pem"))
        self.assertEqual(c.LoadPfxFile(p12, "wrong"), 0)
        self.assertIn("The PFX password is wrong or the data is damaged.", c.LastErrorText)
        self.assertEqual(c.SubjectCN, "Cert Test Other", "a failed load keeps the certificate")
        data = read(p12)
        for bad in (b"", b"garbage, not a bundle", data[: len(data) // 2]):
            self.assertEqual(c.LoadPfxData(bad, "right"), 0, bad[:8])
            self.assertTrue(any(m in c.LastErrorText for m in ("Failed to decode PFX data.", "No PFX data.")),
                            c.LastErrorText)
        self.assertEqual(c.LoadPfxFile(self.f("missing.p12"), "right"), 0)
        self.assertIn("Failed to read the PFX file.", c.LastErrorText)
        self.assertEqual(c.LoadFromBinary(b"\x30\x82\x01"), 0)
        self.assertIn("Failed to load certificate: ", c.LastErrorText)
        self.assertEqual(c.LoadFromBase64("!!not base64 of anything!!"), 0)
        self.assertEqual(c.PemFileToDerFile(self.f("missing.pem"), self.f("x.der")), 0)
        write(self.f("only.der"), c.ExportCertDer())
        self.assertEqual(c.PemFileToDerFile(self.f("only.der"), self.f("x.der")), 0)
        self.assertIn("no PEM certificate", c.LastErrorText)
        self.assertFalse(os.path.exists(self.f("x.der")))
        self.assertEqual(c.SubjectCN, "Cert Test Other")


class Lookups(Stores):
    def test_by_email_and_common_name(self):
        self.put("user-stores/MY", "leaf.pem")
        self.put("user-stores/MY", "expired.pem")
        self.put("machine-stores/MY", "server.pem")
        self.put("root-store", "ca.pem")
        c = zenvary.Cert()
        for address in ("leaf@zenvary.test", " LEAF.ALT@zenvary.test ", "first@zenvary.test"):
            self.assertEqual(c.LoadByEmailAddress(address), 1, c.LastErrorText)
            self.assertEqual(c.SubjectCN, "Cert Test Leaf")
        self.assertEqual(c.LoadByCommonName("server.ZENVARY.test"), 1, c.LastErrorText)
        self.assertEqual(c.SubjectO, "Zenvary Cert Test")
        self.assertEqual(c.LoadByCommonName("Cert Test Root"), 1)
        self.assertEqual(c.IsRoot, 1)
        # Only an expired certificate matches: it is taken, and said so.
        self.assertEqual(c.LoadByEmailAddress("old@zenvary.test"), 1)
        self.assertEqual(c.SubjectCN, "Cert Test Expired")
        self.assertIn("Only an expired certificate matches.", c.LastErrorText)
        for miss in ("nobody@zenvary.test", "zenvary.test", ""):
            self.assertEqual(c.LoadByEmailAddress(miss), 0, miss)
        self.assertEqual(c.LoadByCommonName("Cert Test"), 0)
        self.assertIn("No certificate found in the certificate stores.", c.LastErrorText)
        self.assertEqual(c.SubjectCN, "Cert Test Expired")

    def test_stored_key_link_comes_along(self):
        c = zenvary.Cert(PKI.path("leaf.pem"))
        self.assertEqual(c.LinkPrivateKeyFile(PKI.path("leaf.key")), 1, c.LastErrorText)
        directory = os.path.join(self.root, "user-stores", "MY")
        os.makedirs(directory)
        shutil.copy(PKI.path("leaf.pem"), os.path.join(directory, c.Sha1Thumbprint + ".pem"))
        write(os.path.join(directory, c.Sha1Thumbprint + ".keyprov"),
              ("container=%s\nprovider=x\nproviderType=1\nflags=64\nkeySpec=1\n" % c.Sha1Thumbprint).encode())
        d = zenvary.Cert()
        self.assertEqual(d.LoadByCommonName("Cert Test Leaf"), 1, d.LastErrorText)
        self.assertEqual((d.HasKeyContainer, d.KeyContainerName, d.Silent, d.MachineKeyset),
                         (1, c.Sha1Thumbprint, 1, 0))
        self.assertEqual(d.HasPrivateKey(), 1, d.LastErrorText)


class Checks(Stores):
    def test_trust_flags_and_test_cert(self):
        self.trust_root()
        self.put("user-stores/CA", "ca.crl")
        leaf = zenvary.Cert(PKI.path("leaf.pem"))
        self.assertEqual((leaf.SignatureVerified, leaf.TrustedRoot, leaf.Expired, leaf.Revoked), (1, 1, 0, 0))
        self.assertEqual(leaf.TestCert(), 1, leaf.LastErrorText)
        self.assertIn("Certificate test passed.", leaf.LastErrorText)
        self.assertEqual(leaf.CheckRevoked(), 0, leaf.LastErrorText)
        self.assertIn("ca.crl", leaf.LastErrorText)

        revoked = zenvary.Cert(PKI.path("revoked.pem"))
        self.assertEqual(revoked.CheckRevoked(), 1, revoked.LastErrorText)
        self.assertIn("Certificate is revoked.", revoked.LastErrorText)
        self.assertEqual(revoked.TestCert(), 0)
        self.assertIn("revocation: revoked", revoked.LastErrorText)

        expired = zenvary.Cert(PKI.path("expired.pem"))
        self.assertEqual((expired.Expired, expired.IsExpired()), (1, 1))
        self.assertEqual(expired.TestCert(), 0)
        self.assertIn("validity: failed", expired.LastErrorText)

        other = zenvary.Cert(PKI.path("other.pem"))
        self.assertEqual((other.TrustedRoot, other.SignatureVerified), (0, 1))
        self.assertEqual(other.TestCert(), 0)
        self.assertIn("trustedRoot: failed", other.LastErrorText)
        # No list from its issuer: unknown.
        self.assertEqual(other.CheckRevoked(), -1)
        self.assertIn("No revocation list of the issuer was found.", other.LastErrorText)

    def test_revocation_needs_a_genuine_list(self):
        self.trust_root()
        revoked = zenvary.Cert(PKI.path("revoked.pem"))
        self.assertEqual(revoked.CheckRevoked(), -1)
        # A list that does not verify with the issuer's key is not used.
        crl = openssl("crl", "-in", PKI.path("ca.crl"), "-outform", "DER").stdout
        bent = crl[:-5] + bytes([crl[-5] ^ 1]) + crl[-4:]
        os.makedirs(os.path.join(self.root, "machine-stores", "CA"))
        write(os.path.join(self.root, "machine-stores", "CA", "bent.crl"), bent)
        self.assertEqual(revoked.CheckRevoked(), -1)
        self.assertIn("crlSignatureFails", revoked.LastErrorText)
        write(os.path.join(self.root, "machine-stores", "CA", "good.crl"), crl)
        self.assertEqual(revoked.CheckRevoked(), 1, revoked.LastErrorText)
        # Without the issuer in any store nothing can be said.
        os.remove(os.path.join(self.root, "root-store", "ca.pem"))
        self.assertEqual(revoked.CheckRevoked(), -1)
        self.assertIn("The issuer of the certificate is not in the certificate stores.", revoked.LastErrorText)


class CInterface(unittest.TestCase):
    """The border: NULL handles, empty objects and output pointers."""

    @classmethod
    def setUpClass(cls):
        cls.lib = zenvary._lib

    def fn(self, name, argtypes, restype=ctypes.c_int):
        f = getattr(self.lib, "ZenvaryCert_" + name)
        f.argtypes, f.restype = argtypes, restype
        return f

    def test_null_handles_and_outputs(self):
        out = ctypes.c_void_p()
        for name in ("get_SubjectCN", "get_ValidFrom", "get_Sha1Thumbprint", "ExportCertPem", "GetEncoded",
                     "get_LastErrorText", "get_KeyContainerName"):
            f = self.fn(name, [ctypes.c_void_p, ctypes.POINTER(ctypes.c_void_p)])
            self.assertEqual(f(None, ctypes.byref(out)), zenvary.ZV_BADARG, name)
        text = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_char_p]
        self.assertEqual(self.fn("LoadPfxFile", text)(None, b"x", b"y"), zenvary.ZV_BADARG)
        self.assertEqual(self.fn("PemFileToDerFile", text)(None, b"x", b"y"), zenvary.ZV_BADARG)
        self.assertEqual(self.fn("LoadFromBase64", text[:2])(None, b"x"), zenvary.ZV_BADARG)
        data = ctypes.POINTER(ctypes.c_ubyte)()
        size = ctypes.c_size_t()
        f = self.fn("ExportCertDer", [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_void_p])
        self.assertEqual(f(None, ctypes.byref(data), ctypes.byref(size)), zenvary.ZV_BADARG)
        longs = {"get_Version": 0, "get_IntendedKeyUsage": 0, "get_IsRoot": 0, "get_HasKeyContainer": 0,
                 "IsExpired": 1, "CheckRevoked": -1, "TestCert": 0, "HasPrivateKey": 0}
        for name, value in longs.items():
            self.assertEqual(self.fn(name, [ctypes.c_void_p], ctypes.c_long)(None), value, name)

    def test_empty_object_gives_failed_and_empty_results(self):
        self.lib.ZenvaryCert_Create.restype = ctypes.c_void_p
        h = self.lib.ZenvaryCert_Create()
        try:
            out = ctypes.c_void_p()
            f = self.fn("get_SubjectCN", [ctypes.c_void_p, ctypes.POINTER(ctypes.c_void_p)])
            self.assertEqual(f(h, ctypes.byref(out)), zenvary.ZV_FAILED)
            self.assertEqual(ctypes.string_at(out.value), b"")
            self.lib.zenvary_free(out)
            data = ctypes.POINTER(ctypes.c_ubyte)()
            size = ctypes.c_size_t(99)
            f = self.fn("ExportCertDer", [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_void_p])
            self.assertEqual(f(h, ctypes.byref(data), ctypes.byref(size)), zenvary.ZV_FAILED)
            self.assertEqual(size.value, 0)
            self.assertTrue(bool(data))
            self.lib.zenvary_free(data)
            # No output pointer at all.
            f = self.fn("ExportCertPem", [ctypes.c_void_p, ctypes.c_void_p])
            self.assertEqual(f(h, None), zenvary.ZV_BADARG)
        finally:
            self.lib.ZenvaryCert_Dispose(h)


if __name__ == "__main__":
    result = unittest.main(exit=False, verbosity=2).result
    sys.exit(0 if result.wasSuccessful() and result.testsRun > 0 else 1)
