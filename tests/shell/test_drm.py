#!/usr/bin/env python3
"""DCF files through the zenvary tool and the Python module: round trips up
to 50 MiB, the layout checked by a reader of this test's own, the content
checked against openssl enc, and the failures that must leave no file."""

import base64
import os
import struct
import subprocess
import sys
import tempfile
import unittest

import zenvary
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from shell_support import read, run, write  # noqa: E402

CLI = os.environ.get("ZENVARY_CLI", "zenvary")
KEY = bytes(range(16))
KEY_B64 = base64.b64encode(KEY).decode()
IV_HEX = "F0E1D2C3B4A5968778695A4B3C2D1E0F"
HEADERS = ["Encryption-Method: AES128CBC;padding=RFC2630", "Rights-Issuer: http://ri.example/issue"]


def read_uintvar(buf, pos):
    """A WAP uintvar: 7 bits a byte, most significant first, at most 5 bytes."""
    value = 0
    for i in range(5):
        (byte,) = struct.unpack_from("B", buf, pos + i)
        value = (value << 7) | (byte & 0x7F)
        if byte < 0x80:
            return value, pos + i + 1
    raise ValueError("uintvar longer than 5 bytes")


def uintvar(value):
    out = [value & 0x7F]
    value >>= 7
    while value:
        out.append(0x80 | (value & 0x7F))
        value >>= 7
    return bytes(reversed(out))


def parse_dcf(buf):
    """The DCF layout, field by field; every length must match the file exactly."""
    version, type_len, uri_len = struct.unpack_from("BBB", buf, 0)
    pos = 3
    content_type = buf[pos:pos + type_len]
    pos += type_len
    content_uri = buf[pos:pos + uri_len]
    pos += uri_len
    headers_start = pos
    headers_len, pos = read_uintvar(buf, pos)
    data_len, pos = read_uintvar(buf, pos)
    lengths = buf[headers_start:pos]
    headers = buf[pos:pos + headers_len]
    pos += headers_len
    iv = buf[pos:pos + 16]
    pos += 16
    data = buf[pos:pos + data_len - 16]
    pos += data_len - 16
    return {
        "version": version, "type": content_type, "uri": content_uri, "lengths": lengths,
        "headers_len": headers_len, "data_len": data_len, "headers": headers, "iv": iv, "data": data, "end": pos,
    }


def pack(src, out, *extra, iv=IV_HEX, headers=HEADERS, ctype="image/png", uri="cid:logo@example.com"):
    args = ["drm", "pack", "--key", KEY_B64, "--content-type", ctype, "--content-uri", uri]
    if iv is not None:
        args += ["--iv", iv]
    for h in headers:
        args += ["--header", h]
    return run(*args, *extra, src, out)


def openssl_decrypt(path_or_data, iv):
    return subprocess.run(["openssl", "enc", "-d", "-aes-128-cbc", "-K", KEY.hex(), "-iv", iv.hex()],
                          input=path_or_data, capture_output=True, check=True).stdout


class DrmTool(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.TemporaryDirectory()
        self.d = self.dir.name

    def tearDown(self):
        self.dir.cleanup()

    def path(self, name):
        return os.path.join(self.d, name)

    def check_layout(self, dcf, content, iv):
        f = parse_dcf(dcf)
        self.assertEqual(f["version"], 1)
        self.assertEqual(f["type"], b"image/png")
        self.assertEqual(f["uri"], b"cid:logo@example.com")
        block = "".join(h + "\r\n" for h in HEADERS).encode()
        self.assertEqual(f["headers"], block)
        padded = (len(content) // 16 + 1) * 16
        self.assertEqual(f["data_len"], 16 + padded)
        self.assertEqual(f["lengths"], uintvar(len(block)) + uintvar(16 + padded))
        self.assertEqual(f["end"], len(dcf))  # nothing before, between or behind
        self.assertEqual(len(f["data"]), padded)
        if iv is not None:
            self.assertEqual(f["iv"], iv)
        return f

    def test_pack_unpack_round_trip_layout_and_openssl(self):
        iv = bytes.fromhex(IV_HEX)
        for n in (1, 15, 16, 17, 1000, 50 * 1024 * 1024):
            content = os.urandom(n)
            src, dcf, back = self.path("in"), self.path("out.dcf"), self.path("back")
            write(src, content)
            r = pack(src, dcf)
            self.assertEqual(r.returncode, 0, r.stderr)
            image = read(dcf)
            f = self.check_layout(image, content, iv)
            # The encrypted part is plain AES-128-CBC with PKCS#7 padding.
            self.assertEqual(openssl_decrypt(f["data"], f["iv"]), content, n)
            r = run("drm", "unpack", "--key", KEY_B64, dcf, back)
            self.assertEqual(r.returncode, 0, r.stderr)
            self.assertEqual(read(back), content, n)
            del image, content, f
        self.assertEqual(sorted(os.listdir(self.d)), ["back", "in", "out.dcf"])

    def test_fresh_random_iv_without_option(self):
        content = b"the same content twice"
        write(self.path("in"), content)
        ivs = set()
        for name in ("a.dcf", "b.dcf"):
            r = pack(self.path("in"), self.path(name), iv=None)
            self.assertEqual(r.returncode, 0, r.stderr)
            f = self.check_layout(read(self.path(name)), content, None)
            self.assertEqual(openssl_decrypt(f["data"], f["iv"]), content)
            ivs.add(f["iv"])
        self.assertEqual(len(ivs), 2)

    def test_info_prints_the_fields(self):
        write(self.path("in"), b"x" * 40)
        self.assertEqual(pack(self.path("in"), self.path("o.dcf")).returncode, 0)
        r = run("drm", "info", self.path("o.dcf"))
        self.assertEqual(r.returncode, 0, r.stderr)
        lines = r.stdout.decode().splitlines()
        self.assertEqual(lines[:5], ["DrmContentVersion: 1", "ContentType: image/png",
                                     "ContentUri: cid:logo@example.com", "IV: " + IV_HEX,
                                     "EncryptedData: 48 bytes"])
        self.assertEqual(lines[5:], ["Headers:"] + HEADERS)
        r = run("drm", "info", "--field", "rights-issuer", "--field", "ENCRYPTION-METHOD", self.path("o.dcf"))
        self.assertEqual(r.stdout.decode().splitlines(), ["http://ri.example/issue", "AES128CBC;padding=RFC2630"])
        r = run("drm", "info", "--field", "Missing", self.path("o.dcf"))
        self.assertEqual((r.returncode, r.stdout), (1, b""))
        self.assertIn(b"no header field Missing", r.stderr)

    def test_failures_leave_no_file(self):
        src, out = self.path("in"), self.path("out.dcf")
        write(src, b"content")
        # No header block: the writer refuses, and the partial file goes.
        r = pack(src, out, headers=[])
        self.assertEqual(r.returncode, 1)
        self.assertIn(b"header block is empty", r.stderr)
        # Empty content: nothing to encrypt.
        write(self.path("empty"), b"")
        r = pack(self.path("empty"), out)
        self.assertEqual(r.returncode, 1)
        self.assertIn(b"content is empty", r.stderr)
        r = pack(src, out, ctype="")
        self.assertEqual(r.returncode, 1)
        self.assertIn(b"content type is empty", r.stderr)
        self.assertEqual(sorted(os.listdir(self.d)), ["empty", "in"])
        # An existing output survives a failed run.
        write(out, b"precious")
        self.assertEqual(pack(self.path("empty"), out).returncode, 1)
        self.assertEqual(run("drm", "unpack", "--key", KEY_B64, src, out).returncode, 1)
        self.assertEqual(read(out), b"precious")
        self.assertEqual(pack(self.path("missing"), out).returncode, 1)
        self.assertEqual(sorted(os.listdir(self.d)), ["empty", "in", "out.dcf"])

    def test_unreadable_input_and_usage_errors(self):
        write(self.path("in"), b"content")
        # Not a DCF file: the object's log and the tool's line.
        r = run("drm", "unpack", "--key", KEY_B64, self.path("in"), self.path("x"))
        self.assertEqual(r.returncode, 1)
        self.assertIn(b"LoadFile", r.stderr)
        self.assertIn(b"not a readable DCF file", r.stderr)
        r = run("drm", "info", self.path("nope"))
        self.assertEqual(r.returncode, 1)
        for args in (["drm"], ["drm", "frob", "x"], ["drm", "pack", self.path("in"), self.path("o")],
                     ["drm", "unpack", "--key", "AAEC", self.path("in"), self.path("o")],
                     ["drm", "info", "--key", KEY_B64, self.path("in")],
                     ["drm", "pack", "--key", KEY_B64, "--iv", "0011", "--content-type", "a/b", "--content-uri",
                      "c", "--header", "A: b", self.path("in"), self.path("o")],
                     ["drm", "pack", "--key", KEY_B64, "--content-type", "t" * 256, "--content-uri", "c",
                      "--header", "A: b", self.path("in"), self.path("o")],
                     ["drm", "pack", "--key", KEY_B64, "--content-type", "a/b", "--content-uri", "c",
                      "--header", "no colon", self.path("in"), self.path("o")]):
            self.assertEqual(run(*args).returncode, 2, args)
        self.assertFalse(os.path.exists(self.path("o")))
        r = run("drm", "--help")
        self.assertEqual(r.returncode, 0)
        self.assertIn(b"zenvary drm pack", r.stdout)

    def test_wrong_key_is_not_detected_but_differs(self):
        content = os.urandom(1000)
        write(self.path("in"), content)
        self.assertEqual(pack(self.path("in"), self.path("o.dcf")).returncode, 0)
        other = base64.b64encode(bytes(range(16, 32))).decode()
        r = run("drm", "unpack", "--key", other, self.path("o.dcf"), self.path("back"))
        self.assertEqual(r.returncode, 0, r.stderr)
        self.assertNotEqual(read(self.path("back")), content)


class DrmPython(unittest.TestCase):
    def test_python_object_round_trips_and_interoperates(self):
        with tempfile.TemporaryDirectory() as d:
            content = os.urandom(5000)
            w = zenvary.ZenvaryOmaDrm()
            self.assertEqual((w.DrmContentVersion, w.ContentType, w.IV, w.EncryptedData), (0, "", b"", b""))
            w.Base64Key = KEY_B64
            w.SetEncodedIV(IV_HEX, "hex")
            w.ContentType = "image/png"
            w.ContentUri = "cid:logo@example.com"
            w.Headers = "".join(h + "\r\n" for h in HEADERS)
            w.LoadUnencryptedData(content)
            self.assertEqual(openssl_decrypt(w.EncryptedData, bytes.fromhex(IV_HEX)), content)
            self.assertEqual(w.DecryptedData, content)
            self.assertEqual(w.GetHeaderField("rights-issuer"), "http://ri.example/issue")
            self.assertIsNone(w.GetHeaderField("Missing"))
            dcf = os.path.join(d, "py.dcf")
            self.assertEqual(w.CreateDcfFile(dcf), 1)

            # The tool reads what the module wrote, and the layout is the same.
            DrmTool.check_layout(self, read(dcf), content, bytes.fromhex(IV_HEX))
            back = os.path.join(d, "back")
            self.assertEqual(run("drm", "unpack", "--key", KEY_B64, dcf, back).returncode, 0)
            self.assertEqual(read(back), content)

            # The module reads what the tool wrote, from a file and from memory.
            src, tool_dcf = os.path.join(d, "in"), os.path.join(d, "tool.dcf")
            write(src, content)
            self.assertEqual(pack(src, tool_dcf).returncode, 0)
            r = zenvary.ZenvaryOmaDrm()
            r.Base64Key = KEY_B64
            self.assertEqual(r.LoadDcfFile(tool_dcf), 1)
            self.assertIn("LoadFile", r.LastErrorText)
            self.assertEqual((r.DrmContentVersion, r.ContentType, r.ContentUri), (1, "image/png",
                                                                                   "cid:logo@example.com"))
            self.assertEqual(r.IV, bytes.fromhex(IV_HEX))
            self.assertEqual(r.DecryptedData, content)
            plain = os.path.join(d, "plain")
            self.assertEqual(r.SaveDecrypted(plain), 1)
            self.assertEqual(read(plain), content)

            m = zenvary.ZenvaryOmaDrm()
            m.Base64Key = KEY_B64
            image = read(tool_dcf)
            self.assertEqual(m.LoadDcfData(image), 1)
            self.assertIn("LoadData", m.LastErrorText)
            self.assertEqual(m.DecryptedData, content)
            # Cut inside the header block: false, and no parsed headers.
            self.assertEqual(m.LoadDcfData(image[:40]), 0)
            self.assertIsNone(m.GetHeaderField("Encryption-Method"))
            self.assertEqual(m.LoadDcfFile(os.path.join(d, "missing")), 0)
            self.assertEqual(m.SaveDecrypted(os.path.join(d, "no-dir", "x")), 0)
            self.assertIn("SaveDecrypted", m.LastErrorText)

            # Files in and out, and the failures of the writer.
            f = zenvary.ZenvaryOmaDrm()
            f.Base64Key = KEY_B64
            f.IV = bytes.fromhex(IV_HEX)
            f.ContentType, f.ContentUri, f.Headers = "a/b", "cid:x", "A: b\r\n"
            self.assertEqual(f.LoadUnencryptedFile(os.path.join(d, "missing")), 0)
            self.assertEqual(f.CreateDcfFile(os.path.join(d, "f.dcf")), 0)  # no content yet
            self.assertEqual(f.LoadUnencryptedFile(src), 1)
            self.assertEqual(f.CreateDcfFile(os.path.join(d, "f.dcf")), 1)
            self.assertEqual(f.GetHeaderField("a"), "b")
            self.assertEqual(f.IV, bytes.fromhex(IV_HEX))


if __name__ == "__main__":
    result = unittest.main(exit=False, verbosity=1).result
    sys.exit(0 if result.wasSuccessful() and result.testsRun > 0 else 1)
