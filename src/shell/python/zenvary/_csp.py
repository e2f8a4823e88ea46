"""The provider object: a provider by name, a key container, and the cipher
and hash chosen from the provider's algorithms, which ZenvaryVault2.SetCSP
hands to the crypt object for its PKCS #7 messages."""

import ctypes

from . import ZvStringArray, _c_obj, _c_text_out, _check, _lib, _long_property, _Object, _take_text, _text_arg, \
    _text_property

_lib.ZenvaryCSP_Create.restype = _c_obj
_lib.ZenvaryCSP_Dispose.argtypes = [_c_obj]
_lib.ZenvaryCSP_Dispose.restype = None


def _indexed_name(name):
    def member(self, index):
        fn = self._fn(name, [ctypes.c_long, _c_text_out])
        out = ctypes.c_void_p()
        _check(fn(self._h, int(index), ctypes.byref(out)))
        return _take_text(out)

    member.__name__ = name
    return member


def _indexed_long(name):
    def member(self, index):
        return self._fn(name, [ctypes.c_long], ctypes.c_long)(self._h, int(index))

    member.__name__ = name
    return member


class CSP(_Object):
    """A provider choice. A new object stands on the Enhanced provider with no
    cipher or hash chosen; setting ProviderName (or a SetProviderMicrosoft*
    call) chooses defaults from the new provider. Indexed queries give "" or
    0 for an index out of range. Key containers are the user's, or the
    machine's when MachineKeyset is 1."""

    _prefix = "ZenvaryCSP_"

    def __init__(self):
        self._h = _lib.ZenvaryCSP_Create()
        if not self._h:
            raise MemoryError("zenvary: out of memory")

    def __del__(self):
        h, self._h = getattr(self, "_h", None), None
        if h:
            _lib.ZenvaryCSP_Dispose(h)

    LastErrorText = _text_property("LastErrorText", writable=False)
    LastErrorXml = _text_property("LastErrorXml", writable=False)
    LastErrorHtml = _text_property("LastErrorHtml", writable=False)
    KeyContainerName = _text_property("KeyContainerName")
    EncryptAlgorithm = _text_property("EncryptAlgorithm", writable=False)
    HashAlgorithm = _text_property("HashAlgorithm", writable=False)
    MachineKeyset = _long_property("MachineKeyset")
    ProviderType = _long_property("ProviderType", writable=False)
    EncryptNumBits = _long_property("EncryptNumBits", writable=False)
    HashNumBits = _long_property("HashNumBits", writable=False)
    EncryptAlgorithmID = _long_property("EncryptAlgorithmID", writable=False)
    HashAlgorithmID = _long_property("HashAlgorithmID", writable=False)
    NumEncryptAlgorithms = _long_property("NumEncryptAlgorithms", writable=False)
    NumHashAlgorithms = _long_property("NumHashAlgorithms", writable=False)
    NumKeyExchangeAlgorithms = _long_property("NumKeyExchangeAlgorithms", writable=False)
    NumSignatureAlgorithms = _long_property("NumSignatureAlgorithms", writable=False)
    NumKeyContainers = _long_property("NumKeyContainers", writable=False)

    @property
    def ProviderName(self):
        return self._call_text("get_ProviderName")[1]

    @ProviderName.setter
    def ProviderName(self, name):
        # A refused name (empty, or the present one) changes nothing; the
        # reason is in LastErrorText.
        _check(self._fn("put_ProviderName", [ctypes.c_char_p])(self._h, _text_arg(name)))

    GetEncryptionAlgorithm = _indexed_name("GetEncryptionAlgorithm")
    GetEncryptionNumBits = _indexed_long("GetEncryptionNumBits")
    GetHashAlgorithm = _indexed_name("GetHashAlgorithm")
    GetHashNumBits = _indexed_long("GetHashNumBits")
    GetKeyExchangeAlgorithm = _indexed_name("GetKeyExchangeAlgorithm")
    GetKeyExchangeNumBits = _indexed_long("GetKeyExchangeNumBits")
    GetSignatureAlgorithm = _indexed_name("GetSignatureAlgorithm")
    GetSignatureNumBits = _indexed_long("GetSignatureNumBits")
    GetKeyContainerName = _indexed_name("GetKeyContainerName")

    def _set(self, name, algorithm):
        return self._fn(name, [ctypes.c_char_p], ctypes.c_long)(self._h, _text_arg(algorithm))

    def SetEncryptAlgorithm(self, name):
        """The chosen cipher's key size, 0 when the provider has none of that name."""
        return self._set("SetEncryptAlgorithm", name)

    def SetHashAlgorithm(self, name):
        return self._set("SetHashAlgorithm", name)

    def _has(self, name, algorithm, num_bits):
        fn = self._fn(name, [ctypes.c_char_p, ctypes.c_long], ctypes.c_long)
        return fn(self._h, _text_arg(algorithm), int(num_bits))

    def HasEncryptAlgorithm(self, name, numBits):
        return self._has("HasEncryptAlgorithm", name, numBits)

    def HasHashAlgorithm(self, name, numBits):
        return self._has("HasHashAlgorithm", name, numBits)

    def _provider(self, name):
        return 1 if _check(self._fn(name, [])(self._h)) else 0

    def SetProviderMicrosoftBase(self):
        return self._provider("SetProviderMicrosoftBase")

    def SetProviderMicrosoftEnhanced(self):
        return self._provider("SetProviderMicrosoftEnhanced")

    def SetProviderMicrosoftStrong(self):
        return self._provider("SetProviderMicrosoftStrong")

    def SetProviderMicrosoftRsaAes(self):
        return self._provider("SetProviderMicrosoftRsaAes")

    def Serialize(self):
        return self._call_text("Serialize")[1]

    def GetKeyContainerNames(self):
        """A new ZvStringArray of the key containers' names."""
        out = ctypes.c_void_p()
        fn = self._fn("GetKeyContainerNames", [ctypes.POINTER(ctypes.c_void_p)])
        if not _check(fn(self._h, ctypes.byref(out))) or not out.value:
            return ZvStringArray()
        array = ZvStringArray.__new__(ZvStringArray)
        array._h = out.value
        return array
