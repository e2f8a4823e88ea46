"""The certificate object: one X.509 certificate, optionally linked to its
private key, with its names, usages, trust flags, exports and PKCS #12
files."""

import ctypes

from . import _c_bytes_out, _c_obj, _c_size_out, _check, _lib, _long_property, _Object, _text_arg, \
    _text_property, _to_bytes

_lib.ZenvaryCert_Create.restype = _c_obj
_lib.ZenvaryCert_Dispose.argtypes = [_c_obj]
_lib.ZenvaryCert_Dispose.restype = None


class Cert(_Object):
    """One X.509 certificate, optionally linked to its private key.

    Load it with LoadFromFile (PEM, DER or PKCS#12), SetFromEncoded or
    LoadFromBase64 (base64), LoadFromBinary, LoadPfxFile/LoadPfxData (PKCS#12
    with a password, which also link its key), or from the certificate stores
    with LoadByEmailAddress/LoadByCommonName. LinkPrivateKeyFile imports the
    RSA key of a key file into the key container named by the certificate's
    thumbprint and links the two. Text properties of an empty object are "",
    numbers 0; a failed method answers 0 (or "", b"") with the reason in
    LastErrorText. The crypt object keeps copies of the certificates it is
    given.
    """

    _prefix = "ZenvaryCert_"

    def __init__(self, path=None):
        self._h = _lib.ZenvaryCert_Create()
        if not self._h:
            raise MemoryError("zenvary: out of memory")
        if path is not None and not self.LoadFromFile(path):
            raise ValueError("zenvary: cannot load a certificate from %s: %s" % (path, self.LastErrorText))

    @classmethod
    def _adopt(cls, handle):
        obj = cls.__new__(cls)
        obj._h = handle
        return obj

    def __del__(self):
        h, self._h = getattr(self, "_h", None), None
        if h:
            _lib.ZenvaryCert_Dispose(h)

    # The log.
    LastErrorText = _text_property("LastErrorText", writable=False)
    LastErrorXml = _text_property("LastErrorXml", writable=False)
    LastErrorHtml = _text_property("LastErrorHtml", writable=False)

    # Names, dates and numbers (see zenvary.h for the forms).
    SerialNumber = _text_property("SerialNumber", writable=False)
    ValidFrom = _text_property("ValidFrom", writable=False)
    ValidTo = _text_property("ValidTo", writable=False)
    SubjectDN = _text_property("SubjectDN", writable=False)
    IssuerDN = _text_property("IssuerDN", writable=False)
    Rfc822Name = _text_property("Rfc822Name", writable=False)
    Sha1Thumbprint = _text_property("Sha1Thumbprint", writable=False)
    SubjectCN = _text_property("SubjectCN", writable=False)
    SubjectOU = _text_property("SubjectOU", writable=False)
    SubjectO = _text_property("SubjectO", writable=False)
    SubjectL = _text_property("SubjectL", writable=False)
    SubjectS = _text_property("SubjectS", writable=False)
    SubjectC = _text_property("SubjectC", writable=False)
    SubjectE = _text_property("SubjectE", writable=False)
    IssuerCN = _text_property("IssuerCN", writable=False)
    IssuerOU = _text_property("IssuerOU", writable=False)
    IssuerO = _text_property("IssuerO", writable=False)
    IssuerL = _text_property("IssuerL", writable=False)
    IssuerS = _text_property("IssuerS", writable=False)
    IssuerC = _text_property("IssuerC", writable=False)
    IssuerE = _text_property("IssuerE", writable=False)
    KeyContainerName = _text_property("KeyContainerName", writable=False)
    CspName = _text_property("CspName", writable=False)
    Version = _long_property("Version", writable=False)
    IntendedKeyUsage = _long_property("IntendedKeyUsage", writable=False)

    # Flags, 0 or 1.
    ForSecureEmail = _long_property("ForSecureEmail", writable=False)
    ForServerAuthentication = _long_property("ForServerAuthentication", writable=False)
    ForClientAuthentication = _long_property("ForClientAuthentication", writable=False)
    ForCodeSigning = _long_property("ForCodeSigning", writable=False)
    ForTimeStamping = _long_property("ForTimeStamping", writable=False)
    Expired = _long_property("Expired", writable=False)
    SignatureVerified = _long_property("SignatureVerified", writable=False)
    Revoked = _long_property("Revoked", writable=False)
    TrustedRoot = _long_property("TrustedRoot", writable=False)
    IsRoot = _long_property("IsRoot", writable=False)
    HasKeyContainer = _long_property("HasKeyContainer", writable=False)
    MachineKeyset = _long_property("MachineKeyset", writable=False)
    Silent = _long_property("Silent", writable=False)

    def _status(self, name, *texts):
        return 1 if _check(self._fn(name, [ctypes.c_char_p] * len(texts))(self._h, *[_text_arg(t) for t in texts])) else 0

    def _long(self, name):
        return self._fn(name, [], ctypes.c_long)(self._h)

    def SaveLastError(self, path):
        return self._status("SaveLastError", path)

    # Loading.
    def LoadFromFile(self, path):
        return self._status("LoadFromFile", path)

    def SetFromEncoded(self, encoded):
        return self._status("SetFromEncoded", encoded)

    def LoadFromBase64(self, encoded):
        return self._status("LoadFromBase64", encoded)

    def LoadFromBinary(self, data):
        raw = _to_bytes(data)[0]
        fn = self._fn("LoadFromBinary", [ctypes.c_char_p, ctypes.c_size_t])
        return 1 if _check(fn(self._h, raw, len(raw))) else 0

    def LoadPfxFile(self, path, password):
        return self._status("LoadPfxFile", path, password)

    def LoadPfxData(self, data, password):
        raw = _to_bytes(data)[0]
        fn = self._fn("LoadPfxData", [ctypes.c_char_p, ctypes.c_size_t, ctypes.c_char_p])
        return 1 if _check(fn(self._h, raw, len(raw), _text_arg(password))) else 0

    def LoadByEmailAddress(self, emailAddress):
        return self._status("LoadByEmailAddress", emailAddress)

    def LoadByCommonName(self, commonName):
        return self._status("LoadByCommonName", commonName)

    # Export.
    def GetEncoded(self):
        return self._call_text("GetEncoded")[1]

    def ExportCertPem(self):
        return self._call_text("ExportCertPem")[1]

    def ExportCertDer(self):
        out, size = ctypes.POINTER(ctypes.c_ubyte)(), ctypes.c_size_t()
        _check(self._fn("ExportCertDer", [_c_bytes_out, _c_size_out])(self._h, ctypes.byref(out), ctypes.byref(size)))
        return self._take_bytes(out, size)

    def ExportCertPemFile(self, path):
        return self._status("ExportCertPemFile", path)

    def ExportCertDerFile(self, path):
        return self._status("ExportCertDerFile", path)

    def SaveToFile(self, path):
        return self._status("SaveToFile", path)

    def ExportToPfxFile(self, path, password, includeChain=0):
        fn = self._fn("ExportToPfxFile", [ctypes.c_char_p, ctypes.c_char_p, ctypes.c_int])
        return 1 if _check(fn(self._h, _text_arg(path), _text_arg(password), int(bool(includeChain)))) else 0

    def PemFileToDerFile(self, pemPath, derPath):
        return self._status("PemFileToDerFile", pemPath, derPath)

    # Keys.
    def LinkPrivateKeyFile(self, keyPath):
        return self._status("LinkPrivateKeyFile", keyPath)

    def LinkPrivateKey(self, containerName, machineKeyset, forSigning):
        fn = self._fn("LinkPrivateKey", [ctypes.c_char_p, ctypes.c_int, ctypes.c_int])
        return 1 if _check(fn(self._h, _text_arg(containerName), int(bool(machineKeyset)), int(bool(forSigning)))) else 0

    def HasPrivateKey(self):
        return self._long("HasPrivateKey")

    def ExportPublicKey(self):
        """A zenvary.PublicKey of the certificate's key, or None."""
        from ._keys import export_public_key
        return export_public_key(self)

    def ExportPrivateKey(self):
        """A zenvary.PrivateKey of the linked private key, or None."""
        from ._keys import export_private_key
        return export_private_key(self)

    # Checks.
    def IsExpired(self):
        return self._long("IsExpired")

    def CheckRevoked(self):
        """1 revoked, 0 not revoked, -1 unknown."""
        return self._long("CheckRevoked")

    def TestCert(self):
        return self._long("TestCert")
