"""Python bindings of the Zenvary component.

A thin layer over the C interface (zenvary.h): each class wraps one object,
and its properties and methods carry the component's own member names.

Byte arguments accept bytes, bytearray and memoryview (raw bytes), str (its
UTF-16LE code units, as the component takes text passed where bytes are
expected), a list or tuple of ints (each int adds bytes by its width: 0-255
one byte, other values that fit 16 bits two bytes, the rest four bytes,
little-endian; wrap an int in Width(value, n) to choose), and None (empty).
Text results are str, byte results bytes. A failed method returns an empty
result; the reason is in LastErrorText.
"""

import ctypes
import glob
import os

__all__ = ["ZenvaryVault2", "ZenvaryOmaDrm", "Width", "ZenvaryError", "ansi_code_page", "set_ansi_code_page"]

ZV_OK, ZV_FAILED, ZV_NOMEM, ZV_BADARG = 0, 1, -1, -2
_KIND_PYTHON = 1002  # ZV_KIND_PYTHON: writes no "Component" line


class ZenvaryError(Exception):
    """Raised only for out-of-memory or a misuse of the binding itself."""


def _load():
    here = os.path.dirname(os.path.abspath(__file__))
    candidates = sorted(glob.glob(os.path.join(here, "libzenvary.so*")), key=len)
    candidates += ["libzenvary.so.4", "libzenvary.so"]
    last = None
    for path in candidates:
        try:
            return ctypes.CDLL(path)
        except OSError as exc:  # try the next candidate
            last = exc
    raise ImportError("cannot load libzenvary: %s" % last)


_lib = _load()
_c_obj = ctypes.c_void_p
_c_text_out = ctypes.POINTER(ctypes.c_void_p)
_c_bytes_out = ctypes.POINTER(ctypes.POINTER(ctypes.c_ubyte))
_c_size_out = ctypes.POINTER(ctypes.c_size_t)

_lib.zenvary_free.argtypes = [ctypes.c_void_p]
_lib.zenvary_free.restype = None
_lib.zenvary_get_ansi_code_page.restype = ctypes.c_uint
_lib.zenvary_set_ansi_code_page.argtypes = [ctypes.c_uint]
_lib.zenvary_set_ansi_code_page.restype = None
_lib.ZenvaryVault2_Create.restype = _c_obj
_lib.ZenvaryVault2_Dispose.argtypes = [_c_obj]
_lib.ZenvaryVault2_Dispose.restype = None
_lib.zenvary_set_binding_kind.argtypes = [_c_obj, ctypes.c_int]
_lib.zenvary_set_binding_kind.restype = None


def ansi_code_page():
    """The process-wide ANSI code page (default 1252)."""
    return _lib.zenvary_get_ansi_code_page()


def set_ansi_code_page(code_page):
    _lib.zenvary_set_ansi_code_page(int(code_page))


_PERCENT_FN = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_long, ctypes.POINTER(ctypes.c_int))
_ABORT_FN = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.POINTER(ctypes.c_int))
_lib.ZenvaryVault2_SetEvents.argtypes = [_c_obj, _PERCENT_FN, _ABORT_FN, ctypes.c_void_p]
_lib.ZenvaryVault2_SetEvents.restype = None


class Width:
    """An int with an explicit width in bytes (1, 2 or 4) for byte arguments."""

    def __init__(self, value, width):
        if width not in (1, 2, 4):
            raise ValueError("width must be 1, 2 or 4")
        self.value, self.width = int(value), width


def _int_bytes(value, width=None):
    if width is None:
        if 0 <= value <= 255 or -128 <= value < 0:
            width = 1
        elif -32768 <= value <= 65535:
            width = 2
        else:
            width = 4
    return (value & ((1 << (8 * width)) - 1)).to_bytes(width, "little")


def _to_bytes(value):
    """Converts a byte argument; returns (bytes, came_as_string)."""
    if value is None:
        return b"", False
    if isinstance(value, (bytes, bytearray, memoryview)):
        return bytes(value), False
    if isinstance(value, str):
        return value.encode("utf-16-le", "surrogatepass"), True
    if isinstance(value, Width):
        return _int_bytes(value.value, value.width), False
    if isinstance(value, bool):
        return bytes([int(value)]), False
    if isinstance(value, int):
        return _int_bytes(value), False
    if isinstance(value, (list, tuple)):
        out = bytearray()
        for item in value:
            out += _to_bytes(item)[0]
        return bytes(out), False
    return b"", False


def _check(rc):
    if rc == ZV_NOMEM:
        raise MemoryError("zenvary: out of memory")
    if rc == ZV_BADARG:
        raise ZenvaryError("zenvary: bad argument")
    return rc == ZV_OK


def _text_arg(value):
    if value is None:
        return b""
    if isinstance(value, bytes):
        return value
    return str(value).encode("utf-8", "surrogatepass")


def _take_text(out):
    """The UTF-8 text of a result block, which is then released."""
    text = ctypes.string_at(out.value) if out.value else b""
    _lib.zenvary_free(out)
    return text.decode("utf-8", "surrogateescape")


class _Object:
    _prefix = ""

    def _fn(self, name, argtypes, restype=ctypes.c_int):
        fn = getattr(_lib, self._prefix + name)
        fn.argtypes = [_c_obj] + argtypes
        fn.restype = restype
        return fn

    def _call_text(self, name, *args):
        """Calls a member that yields text; returns (ok, str)."""
        fn = self._fn(name, [ctypes.c_char_p] * len(args) + [_c_text_out])
        out = ctypes.c_void_p()
        ok = _check(fn(self._h, *[_text_arg(a) for a in args], ctypes.byref(out)))
        return ok, _take_text(out)

    def _take_bytes(self, out, size):
        data = ctypes.string_at(out, size.value) if size.value else b""
        _lib.zenvary_free(out)
        return data


def _text_property(name, writable=True):
    def getter(self):
        return self._call_text("get_" + name)[1]

    def setter(self, value):
        _check(self._fn("put_" + name, [ctypes.c_char_p])(self._h, _text_arg(value)))

    return property(getter, setter if writable else None)


def _long_property(name, writable=True):
    def getter(self):
        return self._fn("get_" + name, [], ctypes.c_long)(self._h)

    def setter(self, value):
        self._fn("put_" + name, [ctypes.c_long], None)(self._h, int(value))

    return property(getter, setter if writable else None)


def _bytes_property(name):
    def getter(self):
        out, size = ctypes.POINTER(ctypes.c_ubyte)(), ctypes.c_size_t()
        _check(self._fn("get_" + name, [_c_bytes_out, _c_size_out])(self._h, ctypes.byref(out), ctypes.byref(size)))
        return self._take_bytes(out, size)

    def setter(self, value):
        data = _to_bytes(value)[0]
        fn = self._fn("put_" + name, [ctypes.c_char_p, ctypes.c_size_t])
        _check(fn(self._h, data, len(data)))

    return property(getter, setter)


class ZenvaryVault2(_Object):
    """The crypt object: encryption, hashing, encodings and charsets."""

    _prefix = "ZenvaryVault2_"

    def __init__(self):
        self._h = _lib.ZenvaryVault2_Create()
        if not self._h:
            raise MemoryError("zenvary: out of memory")
        _lib.zenvary_set_binding_kind(self._h, _KIND_PYTHON)
        self._percent_done = None
        self._abort_check = None
        self._callbacks = None

    # Events of the file and hash-file methods. PercentDone(percent) and
    # AbortCheck() are callables; a true result asks the method to stop.
    def _install_events(self):
        percent, check = self._percent_done, self._abort_check

        def on_percent(_ctx, pct, abort):
            if percent is not None and percent(int(pct)):
                abort[0] = 1

        def on_check(_ctx, abort):
            if check is not None and check():
                abort[0] = 1

        if percent is None and check is None:
            self._callbacks = (_PERCENT_FN(), _ABORT_FN())
        else:
            self._callbacks = (_PERCENT_FN(on_percent), _ABORT_FN(on_check))
        _lib.ZenvaryVault2_SetEvents(self._h, self._callbacks[0], self._callbacks[1], None)

    @property
    def PercentDone(self):
        return self._percent_done

    @PercentDone.setter
    def PercentDone(self, fn):
        self._percent_done = fn
        self._install_events()

    @property
    def AbortCheck(self):
        return self._abort_check

    @AbortCheck.setter
    def AbortCheck(self, fn):
        self._abort_check = fn
        self._install_events()

    def __del__(self):
        h, self._h = getattr(self, "_h", None), None
        if h:
            _lib.ZenvaryVault2_Dispose(h)

    LastErrorText = _text_property("LastErrorText", writable=False)
    LastErrorXml = _text_property("LastErrorXml", writable=False)
    LastErrorHtml = _text_property("LastErrorHtml", writable=False)
    Version = _text_property("Version", writable=False)
    CipherMode = _text_property("CipherMode")
    Charset = _text_property("Charset")
    HashAlgorithm = _text_property("HashAlgorithm")
    CryptAlgorithm = _text_property("CryptAlgorithm")
    EncodingMode = _text_property("EncodingMode")
    CompressionAlgorithm = _text_property("CompressionAlgorithm")
    KeyLength = _long_property("KeyLength")
    PaddingScheme = _long_property("PaddingScheme")
    ByteSwapOnDecrypt = _long_property("ByteSwapOnDecrypt")
    HavalRounds = _long_property("HavalRounds")
    Rc2EffectiveKeyLength = _long_property("Rc2EffectiveKeyLength")
    LastChunk = _long_property("LastChunk")
    FirstChunk = _long_property("FirstChunk")
    IncludeCertChain = _long_property("IncludeCertChain")
    BlockSize = _long_property("BlockSize", writable=False)
    SecretKey = _bytes_property("SecretKey")
    IV = _bytes_property("IV")

    def SaveLastError(self, path):
        return 1 if _check(self._fn("SaveLastError", [ctypes.c_char_p])(self._h, _text_arg(path))) else 0

    def Encode(self, byteData, encoding):
        data, is_string = _to_bytes(byteData)
        fn = self._fn("Encode", [ctypes.c_char_p, ctypes.c_size_t, ctypes.c_int, ctypes.c_char_p, _c_text_out])
        out = ctypes.c_void_p()
        _check(fn(self._h, data, len(data), int(is_string), _text_arg(encoding), ctypes.byref(out)))
        return _take_text(out)

    def Decode(self, encodedStr, encoding):
        fn = self._fn("Decode", [ctypes.c_char_p, ctypes.c_char_p, _c_bytes_out, _c_size_out])
        out, size = ctypes.POINTER(ctypes.c_ubyte)(), ctypes.c_size_t()
        _check(fn(self._h, _text_arg(encodedStr), _text_arg(encoding), ctypes.byref(out), ctypes.byref(size)))
        return self._take_bytes(out, size)

    def _bytes_to_bytes(self, name, value):
        data = _to_bytes(value)[0]
        fn = self._fn(name, [ctypes.c_char_p, ctypes.c_size_t, _c_bytes_out, _c_size_out])
        out, size = ctypes.POINTER(ctypes.c_ubyte)(), ctypes.c_size_t()
        _check(fn(self._h, data, len(data), ctypes.byref(out), ctypes.byref(size)))
        return self._take_bytes(out, size)

    def _bytes_to_text(self, name, value):
        data = _to_bytes(value)[0]
        fn = self._fn(name, [ctypes.c_char_p, ctypes.c_size_t, _c_text_out])
        out = ctypes.c_void_p()
        _check(fn(self._h, data, len(data), ctypes.byref(out)))
        return _take_text(out)

    def _text_to_bytes(self, name, text):
        fn = self._fn(name, [ctypes.c_char_p, _c_bytes_out, _c_size_out])
        out, size = ctypes.POINTER(ctypes.c_ubyte)(), ctypes.c_size_t()
        _check(fn(self._h, _text_arg(text), ctypes.byref(out), ctypes.byref(size)))
        return self._take_bytes(out, size)

    def _call_status(self, name, *texts):
        return _check(self._fn(name, [ctypes.c_char_p] * len(texts))(self._h, *[_text_arg(t) for t in texts]))

    # Members by shape: bytes -> bytes, bytes -> str, str -> bytes, str -> str.
    def EncryptBytes(self, data):
        return self._bytes_to_bytes("EncryptBytes", data)

    def DecryptBytes(self, data):
        return self._bytes_to_bytes("DecryptBytes", data)

    def EncryptBytesENC(self, data):
        return self._bytes_to_text("EncryptBytesENC", data)

    def DecryptBytesENC(self, text):
        return self._text_to_bytes("DecryptBytesENC", text)

    def EncryptString(self, text):
        return self._text_to_bytes("EncryptString", text)

    def EncryptStringENC(self, text):
        return self._call_text("EncryptStringENC", text)[1]

    def DecryptString(self, data):
        return self._bytes_to_text("DecryptString", data)

    def DecryptStringENC(self, text):
        return self._call_text("DecryptStringENC", text)[1]

    def EncryptEncoded(self, text):
        return self._call_text("EncryptEncoded", text)[1]

    def DecryptEncoded(self, text):
        return self._call_text("DecryptEncoded", text)[1]

    def CompressBytes(self, data):
        return self._bytes_to_bytes("CompressBytes", data)

    def CompressString(self, text):
        return self._text_to_bytes("CompressString", text)

    def CompressBytesENC(self, data):
        return self._bytes_to_text("CompressBytesENC", data)

    def CompressStringENC(self, text):
        return self._call_text("CompressStringENC", text)[1]

    def InflateBytes(self, data):
        return self._bytes_to_bytes("InflateBytes", data)

    def InflateBytesENC(self, text):
        return self._text_to_bytes("InflateBytesENC", text)

    def InflateString(self, data):
        return self._bytes_to_text("InflateString", data)

    def InflateStringENC(self, text):
        return self._call_text("InflateStringENC", text)[1]

    def ByteSwap4321(self, data):
        return self._bytes_to_bytes("ByteSwap4321", data)

    def Shorten(self, data, numBytes):
        raw = _to_bytes(data)[0]
        fn = self._fn("Shorten", [ctypes.c_char_p, ctypes.c_size_t, ctypes.c_long, _c_bytes_out, _c_size_out])
        out, size = ctypes.POINTER(ctypes.c_ubyte)(), ctypes.c_size_t()
        _check(fn(self._h, raw, len(raw), int(numBytes), ctypes.byref(out), ctypes.byref(size)))
        return self._take_bytes(out, size)

    def BytesToString(self, data, charset):
        raw = _to_bytes(data)[0]
        fn = self._fn("BytesToString", [ctypes.c_char_p, ctypes.c_size_t, ctypes.c_char_p, _c_text_out])
        out = ctypes.c_void_p()
        _check(fn(self._h, raw, len(raw), _text_arg(charset), ctypes.byref(out)))
        return _take_text(out)

    def StringToBytes(self, text, charset):
        fn = self._fn("StringToBytes", [ctypes.c_char_p, ctypes.c_char_p, _c_bytes_out, _c_size_out])
        out, size = ctypes.POINTER(ctypes.c_ubyte)(), ctypes.c_size_t()
        _check(fn(self._h, _text_arg(text), _text_arg(charset), ctypes.byref(out), ctypes.byref(size)))
        return self._take_bytes(out, size)

    def TrimEndingWith(self, text, ending):
        return self._call_text("TrimEndingWith", text, ending)[1]

    def GenerateSecretKey(self, password):
        return self._text_to_bytes("GenerateSecretKey", password)

    def SetSecretKeyViaPassword(self, password):
        self._call_status("SetSecretKeyViaPassword", password)

    def GenEncodedSecretKey(self, password, encoding):
        return self._call_text("GenEncodedSecretKey", password, encoding)[1]

    def SetEncodedKey(self, keyStr, encoding):
        self._call_status("SetEncodedKey", keyStr, encoding)

    def SetEncodedIV(self, ivStr, encoding):
        self._call_status("SetEncodedIV", ivStr, encoding)

    def GetEncodedKey(self, encoding):
        return self._call_text("GetEncodedKey", encoding)[1]

    def GetEncodedIV(self, encoding):
        return self._call_text("GetEncodedIV", encoding)[1]

    def RandomizeIV(self):
        self._call_status("RandomizeIV")

    def HashBytes(self, data):
        return self._bytes_to_bytes("HashBytes", data)

    def HashString(self, text):
        return self._text_to_bytes("HashString", text)

    def HashBytesENC(self, data):
        return self._bytes_to_text("HashBytesENC", data)

    def HashStringENC(self, text):
        return self._call_text("HashStringENC", text)[1]

    def HashFile(self, filename):
        return self._text_to_bytes("HashFile", filename)

    def HashFileENC(self, filename):
        return self._call_text("HashFileENC", filename)[1]

    def SetHmacKeyBytes(self, keyBytes):
        key = _to_bytes(keyBytes)[0]
        _check(self._fn("SetHmacKeyBytes", [ctypes.c_char_p, ctypes.c_size_t])(self._h, key, len(key)))

    def SetHmacKeyString(self, key):
        self._call_status("SetHmacKeyString", key)

    def SetHmacKeyEncoded(self, key, encoding):
        self._call_status("SetHmacKeyEncoded", key, encoding)

    def HmacBytes(self, data):
        return self._bytes_to_bytes("HmacBytes", data)

    def HmacString(self, text):
        return self._text_to_bytes("HmacString", text)

    def HmacBytesENC(self, data):
        return self._bytes_to_text("HmacBytesENC", data)

    def HmacStringENC(self, text):
        return self._call_text("HmacStringENC", text)[1]

    def ReadFile(self, filename):
        return self._text_to_bytes("ReadFile", filename)

    def WriteFile(self, filename, binaryData):
        data = _to_bytes(binaryData)[0]
        fn = self._fn("WriteFile", [ctypes.c_char_p, ctypes.c_char_p, ctypes.c_size_t])
        return 1 if _check(fn(self._h, _text_arg(filename), data, len(data))) else 0

    def ZvEncryptFile(self, inFilename, outFilename):
        return 1 if self._call_status("ZvEncryptFile", inFilename, outFilename) else 0

    def ZvDecryptFile(self, inFilename, outFilename):
        return 1 if self._call_status("ZvDecryptFile", inFilename, outFilename) else 0

    def ReEncode(self, data, fromEncoding, toEncoding):
        return self._call_text("ReEncode", data, fromEncoding, toEncoding)[1]


_lib.ZenvaryOmaDrm_Create.restype = _c_obj
_lib.ZenvaryOmaDrm_Dispose.argtypes = [_c_obj]
_lib.ZenvaryOmaDrm_Dispose.restype = None
_lib.ZenvaryOmaDrm_SetBindingKind.argtypes = [_c_obj, ctypes.c_int]
_lib.ZenvaryOmaDrm_SetBindingKind.restype = None


class ZenvaryOmaDrm(_Object):
    """The DRM object: DCF files of OMA DRM version 1 (AES-128-CBC content).

    To create a file set Base64Key, IV (or SetEncodedIV), ContentType,
    ContentUri and Headers, then LoadUnencryptedData or LoadUnencryptedFile,
    then CreateDcfFile. No key or IV is generated here.
    """

    _prefix = "ZenvaryOmaDrm_"

    def __init__(self):
        self._h = _lib.ZenvaryOmaDrm_Create()
        if not self._h:
            raise MemoryError("zenvary: out of memory")
        _lib.ZenvaryOmaDrm_SetBindingKind(self._h, _KIND_PYTHON)

    def __del__(self):
        h, self._h = getattr(self, "_h", None), None
        if h:
            _lib.ZenvaryOmaDrm_Dispose(h)

    LastErrorText = _text_property("LastErrorText", writable=False)
    LastErrorXml = _text_property("LastErrorXml", writable=False)
    LastErrorHtml = _text_property("LastErrorHtml", writable=False)
    Base64Key = _text_property("Base64Key")
    ContentType = _text_property("ContentType")
    ContentUri = _text_property("ContentUri")
    Headers = _text_property("Headers")
    DrmContentVersion = _long_property("DrmContentVersion", writable=False)
    IV = _bytes_property("IV")

    def _get_bytes(self, name):
        out, size = ctypes.POINTER(ctypes.c_ubyte)(), ctypes.c_size_t()
        _check(self._fn(name, [_c_bytes_out, _c_size_out])(self._h, ctypes.byref(out), ctypes.byref(size)))
        return self._take_bytes(out, size)

    @property
    def EncryptedData(self):
        return self._get_bytes("get_EncryptedData")

    @property
    def DecryptedData(self):
        """Decrypts the stored content on each read; a wrong key is not detected."""
        return self._get_bytes("get_DecryptedData")

    def _status(self, name, *texts):
        return 1 if _check(self._fn(name, [ctypes.c_char_p] * len(texts))(self._h, *map(_text_arg, texts))) else 0

    def _bytes_status(self, name, value):
        data = _to_bytes(value)[0]
        return 1 if _check(self._fn(name, [ctypes.c_char_p, ctypes.c_size_t])(self._h, data, len(data))) else 0

    def SaveLastError(self, path):
        return self._status("SaveLastError", path)

    def LoadDcfFile(self, filename):
        return self._status("LoadDcfFile", filename)

    def LoadDcfData(self, data):
        return self._bytes_status("LoadDcfData", data)

    def SaveDecrypted(self, filename):
        return self._status("SaveDecrypted", filename)

    def GetHeaderField(self, fieldName):
        """The field's value, or None when the header block has no such field."""
        ok, value = self._call_text("GetHeaderField", fieldName)
        return value if ok else None

    def LoadUnencryptedData(self, data):
        self._bytes_status("LoadUnencryptedData", data)

    def SetEncodedIV(self, encodedIV, encoding):
        self._status("SetEncodedIV", encodedIV, encoding)

    def LoadUnencryptedFile(self, filename):
        return self._status("LoadUnencryptedFile", filename)

    def CreateDcfFile(self, filename):
        return self._status("CreateDcfFile", filename)


_lib.ZvStringArray_Create.restype = _c_obj
_lib.ZvStringArray_Dispose.argtypes = [_c_obj]
_lib.ZvStringArray_Dispose.restype = None


class ZvStringArray(_Object):
    """An ordered list of strings, standalone: no member of the other objects
    takes one. Comparisons are exact. Serialize gives each string as base64
    followed by a comma; AppendSerialized reads that back. LoadFromFile and
    SaveToFile use one UTF-8 line per string (CR LF line ends when Crlf is
    set). Members that look a string up give None when there is none.
    """

    _prefix = "ZvStringArray_"

    def __init__(self, strings=()):
        self._h = _lib.ZvStringArray_Create()
        if not self._h:
            raise MemoryError("zenvary: out of memory")
        for s in strings:
            self.Append(s)

    def __del__(self):
        h, self._h = getattr(self, "_h", None), None
        if h:
            _lib.ZvStringArray_Dispose(h)

    def __len__(self):
        return self.Count

    def __iter__(self):
        return iter([self.GetString(i) for i in range(self.Count)])

    Count = _long_property("Count", writable=False)

    @property
    def Crlf(self):
        return bool(self._fn("get_Crlf", [], ctypes.c_long)(self._h))

    @Crlf.setter
    def Crlf(self, value):
        self._fn("put_Crlf", [ctypes.c_long], None)(self._h, 1 if value else 0)

    def _status(self, name, *texts):
        return _check(self._fn(name, [ctypes.c_char_p] * len(texts))(self._h, *[_text_arg(t) for t in texts]))

    def _found(self, ok_text):
        ok, text = ok_text
        return text if ok else None

    def _other(self, name, other):
        if not isinstance(other, ZvStringArray):
            raise TypeError("zenvary: %s takes a ZvStringArray" % name)
        _check(self._fn(name, [_c_obj])(self._h, other._h))

    def Append(self, text):
        return self._status("Append", text)

    def Prepend(self, text):
        return self._status("Prepend", text)

    def InsertAt(self, index, text):
        return _check(self._fn("InsertAt", [ctypes.c_long, ctypes.c_char_p])(self._h, int(index), _text_arg(text)))

    def Clear(self):
        self._status("Clear")

    def Contains(self, text):
        return bool(self._fn("Contains", [ctypes.c_char_p], ctypes.c_long)(self._h, _text_arg(text)))

    def Find(self, text, firstIndex=0):
        fn = self._fn("Find", [ctypes.c_char_p, ctypes.c_long], ctypes.c_long)
        return fn(self._h, _text_arg(text), int(firstIndex))

    def GetString(self, index):
        fn = self._fn("GetString", [ctypes.c_long, _c_text_out])
        out = ctypes.c_void_p()
        ok = _check(fn(self._h, int(index), ctypes.byref(out)))
        return self._found((ok, _take_text(out)))

    def LastString(self):
        return self._found(self._call_text("LastString"))

    def Pop(self):
        return self._found(self._call_text("Pop"))

    def Remove(self, text):
        """Removes every string equal to `text`; False when there was none."""
        return self._status("Remove", text)

    def RemoveAt(self, index):
        return _check(self._fn("RemoveAt", [ctypes.c_long])(self._h, int(index)))

    def Unique(self):
        self._status("Unique")

    def Trim(self):
        self._status("Trim")

    def Sort(self, ascending=True):
        _check(self._fn("Sort", [ctypes.c_long])(self._h, 1 if ascending else 0))

    def Union(self, other):
        self._other("Union", other)

    def Intersect(self, other):
        self._other("Intersect", other)

    def Subtract(self, other):
        self._other("Subtract", other)

    def Serialize(self):
        return self._call_text("Serialize")[1]

    def AppendSerialized(self, text):
        return self._status("AppendSerialized", text)

    def LoadFromFile(self, path):
        return self._status("LoadFromFile", path)

    def SaveToFile(self, path):
        return self._status("SaveToFile", path)


__all__ += ["ZvStringArray"]


# Certificates, signatures and PKCS #7 messages.

_lib.zenvary_set_pki_root.argtypes = [ctypes.c_char_p]
_lib.zenvary_set_pki_root.restype = ctypes.c_int


def set_pki_root(directory):
    """Keeps key containers and certificate stores below `directory`
    (process-wide); None goes back to the defaults under the home directory."""
    _check(_lib.zenvary_set_pki_root(None if directory is None else _text_arg(directory)))


def _cert_handle(cert):
    if cert is None:
        return None
    if not isinstance(cert, Cert):
        raise TypeError("zenvary: a Cert is needed")
    return cert._h


class _PkiMembers:
    """The crypt object's certificate, signature and message members."""

    def _cert_status(self, name, cert, *extra):
        fn = self._fn(name, [_c_obj] + [ctypes.c_void_p] * len(extra))
        return 1 if _check(fn(self._h, _cert_handle(cert), *extra)) else 0

    def SetSigningCert(self, cert):
        self._cert_status("SetSigningCert", cert)

    def SetEncryptCert(self, cert):
        self._cert_status("SetEncryptCert", cert)

    def SetVerifyCert(self, cert):
        self._cert_status("SetVerifyCert", cert)

    def SetDecryptCert(self, cert):
        return self._cert_status("SetDecryptCert", cert)

    def SetDecryptCert2(self, cert, privateKey=None):
        # The key argument is not used: the certificate's own key is.
        if privateKey is not None and not isinstance(privateKey, PrivateKey):
            raise TypeError("zenvary: a PrivateKey or None is needed")
        return self._cert_status("SetDecryptCert2", cert, None if privateKey is None else privateKey._h)

    def GetLastCert(self):
        out = ctypes.c_void_p()
        fn = self._fn("GetLastCert", [ctypes.POINTER(ctypes.c_void_p)])
        if not _check(fn(self._h, ctypes.byref(out))) or not out.value:
            return None
        return Cert._adopt(out.value)

    def SetCSP(self, csp):
        """Takes the provider choice of a zenvary.CSP; None does nothing."""
        if csp is None:
            return
        from ._csp import CSP
        if not isinstance(csp, CSP):
            raise TypeError("zenvary: SetCSP takes a CSP")
        _check(self._fn("SetCSP", [_c_obj])(self._h, csp._h))

    def SignBytes(self, data):
        return self._bytes_to_bytes("SignBytes", data)

    def SignString(self, text):
        return self._text_to_bytes("SignString", text)

    def SignBytesENC(self, data):
        return self._bytes_to_text("SignBytesENC", data)

    def SignStringENC(self, text):
        return self._call_text("SignStringENC", text)[1]

    def _verify(self, name, first, second):
        types, args = [], []
        for value, is_text in (first, second):
            if is_text:
                types.append(ctypes.c_char_p)
                args.append(_text_arg(value))
            else:
                raw = _to_bytes(value)[0]
                types += [ctypes.c_char_p, ctypes.c_size_t]
                args += [raw, len(raw)]
        return 1 if _check(self._fn(name, types)(self._h, *args)) else 0

    def VerifyBytes(self, data, signature):
        return self._verify("VerifyBytes", (data, False), (signature, False))

    def VerifyBytesENC(self, data, encodedSig):
        return self._verify("VerifyBytesENC", (data, False), (encodedSig, True))

    def VerifyString(self, text, signature):
        return self._verify("VerifyString", (text, True), (signature, False))

    def VerifyStringENC(self, text, encodedSig):
        return self._verify("VerifyStringENC", (text, True), (encodedSig, True))

    def OpaqueSignBytes(self, data):
        return self._bytes_to_bytes("OpaqueSignBytes", data)

    def OpaqueSignString(self, text):
        return self._text_to_bytes("OpaqueSignString", text)

    def OpaqueSignBytesENC(self, data):
        return self._bytes_to_text("OpaqueSignBytesENC", data)

    def OpaqueSignStringENC(self, text):
        return self._call_text("OpaqueSignStringENC", text)[1]

    def OpaqueVerifyBytes(self, data):
        return self._bytes_to_bytes("OpaqueVerifyBytes", data)

    def OpaqueVerifyString(self, data):
        return self._bytes_to_text("OpaqueVerifyString", data)

    def OpaqueVerifyBytesENC(self, text):
        return self._text_to_bytes("OpaqueVerifyBytesENC", text)

    def OpaqueVerifyStringENC(self, text):
        return self._call_text("OpaqueVerifyStringENC", text)[1]

    def CreateP7S(self, inFilename, p7sFilename):
        return 1 if self._call_status("CreateP7S", inFilename, p7sFilename) else 0

    def VerifyP7S(self, inFilename, p7sFilename):
        return 1 if self._call_status("VerifyP7S", inFilename, p7sFilename) else 0

    def CreateDetachedSignature(self, inFilename, sigFilename):
        return 1 if self._call_status("CreateDetachedSignature", inFilename, sigFilename) else 0

    def VerifyDetachedSignature(self, inFilename, sigFilename):
        return 1 if self._call_status("VerifyDetachedSignature", inFilename, sigFilename) else 0

    def CreateP7M(self, inFilename, p7mFilename):
        return 1 if self._call_status("CreateP7M", inFilename, p7mFilename) else 0

    def VerifyP7M(self, p7mFilename, outFilename):
        return 1 if self._call_status("VerifyP7M", p7mFilename, outFilename) else 0


for _name, _member in list(vars(_PkiMembers).items()):
    if not _name.startswith("__"):
        setattr(ZenvaryVault2, _name, _member)
del _name, _member

__all__ += ["Cert", "set_pki_root"]

from ._csp import CSP  # noqa: E402
from ._cert import Cert  # noqa: E402
from ._keys import PrivateKey, PublicKey  # noqa: E402
