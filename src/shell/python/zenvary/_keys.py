"""The key objects: an RSA private key and an RSA public key in their DER,
PEM and XML forms (and PVK files for reading private keys).

A Load method returns 1 when the input held a well-formed key of that kind
and 0 otherwise, keeping the former key; Get methods return bytes for DER
forms and str for PEM and XML, empty when no key is loaded. The reason of a
failure is in LastErrorText.
"""

import ctypes

from . import _KIND_PYTHON, _c_bytes_out, _c_obj, _c_size_out, _check, _lib, _Object, _text_arg, _text_property, \
    _to_bytes

for _prefix in ("ZenvaryPrivateKey_", "ZenvaryPublicKey_"):
    getattr(_lib, _prefix + "Create").restype = _c_obj
    getattr(_lib, _prefix + "Dispose").argtypes = [_c_obj]
    getattr(_lib, _prefix + "Dispose").restype = None
    getattr(_lib, _prefix + "SetBindingKind").argtypes = [_c_obj, ctypes.c_int]
    getattr(_lib, _prefix + "SetBindingKind").restype = None
del _prefix


class _Key(_Object):
    _prefix = ""

    def __init__(self):
        self._h = getattr(_lib, self._prefix + "Create")()
        if not self._h:
            raise MemoryError("zenvary: out of memory")
        getattr(_lib, self._prefix + "SetBindingKind")(self._h, _KIND_PYTHON)

    @classmethod
    def _adopt(cls, handle):
        obj = cls.__new__(cls)
        obj._h = handle
        getattr(_lib, cls._prefix + "SetBindingKind")(handle, _KIND_PYTHON)
        return obj

    def __del__(self):
        h, self._h = getattr(self, "_h", None), None
        if h:
            getattr(_lib, self._prefix + "Dispose")(h)

    LastErrorText = _text_property("LastErrorText", writable=False)
    LastErrorXml = _text_property("LastErrorXml", writable=False)
    LastErrorHtml = _text_property("LastErrorHtml", writable=False)

    def _status(self, name, *texts):
        fn = self._fn(name, [ctypes.c_char_p] * len(texts))
        return 1 if _check(fn(self._h, *[_text_arg(t) for t in texts])) else 0

    def _bytes_status(self, name, data, *texts):
        raw = _to_bytes(data)[0]
        fn = self._fn(name, [ctypes.c_char_p, ctypes.c_size_t] + [ctypes.c_char_p] * len(texts))
        return 1 if _check(fn(self._h, raw, len(raw), *[_text_arg(t) for t in texts])) else 0

    def _get_bytes(self, name):
        out, size = ctypes.POINTER(ctypes.c_ubyte)(), ctypes.c_size_t()
        _check(self._fn(name, [_c_bytes_out, _c_size_out])(self._h, ctypes.byref(out), ctypes.byref(size)))
        return self._take_bytes(out, size)

    def _get_text(self, name):
        return self._call_text(name)[1]

    def SaveLastError(self, path):
        return self._status("SaveLastError", path)


class PrivateKey(_Key):
    """An RSA private key: PKCS#1 ("RsaDer", "RSA PRIVATE KEY" PEM), PKCS#8
    ("Pkcs8", "PRIVATE KEY" PEM), the RSA key XML, and PVK files (a password,
    or "" when the file is not encrypted)."""

    _prefix = "ZenvaryPrivateKey_"

    def LoadRsaDer(self, data):
        return self._bytes_status("LoadRsaDer", data)

    def LoadPkcs8(self, data):
        return self._bytes_status("LoadPkcs8", data)

    def LoadPem(self, pem):
        return self._status("LoadPem", pem)

    def LoadXml(self, xml):
        return self._status("LoadXml", xml)

    def LoadPvk(self, data, password=""):
        return self._bytes_status("LoadPvk", data, password)

    def LoadRsaDerFile(self, path):
        return self._status("LoadRsaDerFile", path)

    def LoadPkcs8File(self, path):
        return self._status("LoadPkcs8File", path)

    def LoadPemFile(self, path):
        return self._status("LoadPemFile", path)

    def LoadXmlFile(self, path):
        return self._status("LoadXmlFile", path)

    def LoadPvkFile(self, path, password=""):
        return self._status("LoadPvkFile", path, password)

    def GetRsaDer(self):
        return self._get_bytes("GetRsaDer")

    def GetPkcs8(self):
        return self._get_bytes("GetPkcs8")

    def GetRsaPem(self):
        return self._get_text("GetRsaPem")

    def GetPkcs8Pem(self):
        return self._get_text("GetPkcs8Pem")

    def GetXml(self):
        return self._get_text("GetXml")

    def SaveRsaDerFile(self, path):
        return self._status("SaveRsaDerFile", path)

    def SavePkcs8File(self, path):
        return self._status("SavePkcs8File", path)

    def SaveRsaPemFile(self, path):
        return self._status("SaveRsaPemFile", path)

    def SavePkcs8PemFile(self, path):
        return self._status("SavePkcs8PemFile", path)

    def SaveXmlFile(self, path):
        return self._status("SaveXmlFile", path)


class PublicKey(_Key):
    """An RSA public key: PKCS#1 RSAPublicKey ("RsaDer"), SubjectPublicKeyInfo
    ("OpenSslDer", "PUBLIC KEY" PEM) and the RSA key XML."""

    _prefix = "ZenvaryPublicKey_"

    def LoadRsaDer(self, data):
        return self._bytes_status("LoadRsaDer", data)

    def LoadOpenSslDer(self, data):
        return self._bytes_status("LoadOpenSslDer", data)

    def LoadOpenSslPem(self, pem):
        return self._status("LoadOpenSslPem", pem)

    def LoadXml(self, xml):
        return self._status("LoadXml", xml)

    def LoadRsaDerFile(self, path):
        return self._status("LoadRsaDerFile", path)

    def LoadOpenSslDerFile(self, path):
        return self._status("LoadOpenSslDerFile", path)

    def LoadOpenSslPemFile(self, path):
        return self._status("LoadOpenSslPemFile", path)

    def LoadXmlFile(self, path):
        return self._status("LoadXmlFile", path)

    def GetRsaDer(self):
        return self._get_bytes("GetRsaDer")

    def GetOpenSslDer(self):
        return self._get_bytes("GetOpenSslDer")

    def GetOpenSslPem(self):
        return self._get_text("GetOpenSslPem")

    def GetXml(self):
        return self._get_text("GetXml")

    def SaveRsaDerFile(self, path):
        return self._status("SaveRsaDerFile", path)

    def SaveOpenSslDerFile(self, path):
        return self._status("SaveOpenSslDerFile", path)

    def SaveOpenSslPemFile(self, path):
        return self._status("SaveOpenSslPemFile", path)

    def SaveXmlFile(self, path):
        return self._status("SaveXmlFile", path)


def _export(cert, name, cls):
    from . import Cert  # defined before this module is imported

    if not isinstance(cert, Cert):
        raise TypeError("zenvary: a Cert is needed")
    fn = getattr(_lib, "ZenvaryCert_" + name)
    fn.argtypes = [_c_obj, ctypes.POINTER(ctypes.c_void_p)]
    fn.restype = ctypes.c_int
    out = ctypes.c_void_p()
    if not _check(fn(cert._h, ctypes.byref(out))) or not out.value:
        return None
    return cls._adopt(out.value)


def export_public_key(cert):
    """The certificate's RSA public key as a PublicKey, or None (the reason
    is in the certificate's LastErrorText)."""
    return _export(cert, "ExportPublicKey", PublicKey)


def export_private_key(cert):
    """The private key of the certificate's linked key container as a
    PrivateKey, or None (the reason is in the certificate's LastErrorText)."""
    return _export(cert, "ExportPrivateKey", PrivateKey)
