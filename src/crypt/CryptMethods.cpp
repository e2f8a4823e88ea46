// The method families around EncryptCore and DecryptCore: they differ only
// in how the input becomes bytes and how the output leaves bytes.
#include "crypt/ClsCrypt.h"
#include "encoding/CodePage.h"
#include "encoding/EncodingConvert.h"

namespace zenvary {

void ClsCrypt::textToBytes(const XString& text, DataBuffer& out) const { text.getConverted(m_charset, out); }

bool ClsCrypt::bytesToText(const DataBuffer& bytes, XString& out) const {
    DataBuffer units;
    EncodingConvert conv;
    conv.convert(static_cast<uint32_t>(m_charset.getCodePage()), kCodePageUtf16LE, bytes.data(), bytes.getSize(),
                 units);
    if (units.getSize() == 0) return false;
    out.setFromUnicodeN(reinterpret_cast<const char16_t*>(units.data()), units.getSize() / 2);
    return true;
}

std::unique_ptr<DataBuffer> ClsCrypt::EncryptString(const XString& text) {
    MethodFrame frame(*this, "EncryptString");
    DataBuffer bytes;
    textToBytes(text, bytes);
    return EncryptCore(bytes, frame.log());
}

bool ClsCrypt::EncryptStringENC(const XString& text, XString& out) {
    MethodFrame frame(*this, "EncryptStringENC");
    out.clear();
    DataBuffer bytes;
    textToBytes(text, bytes);
    auto result = EncryptCore(bytes, frame.log());
    if (!result) return false;
    encodeByMode(*result, out, false);
    return true;
}

bool ClsCrypt::DecryptString(DataBuffer& data, XString& out) {
    MethodFrame frame(*this, "DecryptString");
    out.clear();
    auto result = DecryptCore(data, frame.log());
    if (!result) return false;
    bytesToText(*result, out);
    return true;
}

bool ClsCrypt::DecryptStringENC(XString& encoded, XString& out) {
    MethodFrame frame(*this, "DecryptStringENC");
    out.clear();
    DataBuffer data;
    decodeByMode(encoded, data, false);
    auto result = DecryptCore(data, frame.log());
    if (!result) {
        frame.log().logError("Failed to decrypt data.");
        return false;
    }
    if (!bytesToText(*result, out) && result->getSize() != 0) {
        // Nothing came through the charset: take the bytes as ANSI text.
        result->appendByte(0);
        out.setFromAnsi(reinterpret_cast<const char*>(result->data()));
    }
    return true;
}

// Encoded text in, encoded text out, both by the name of EncodingMode.
bool ClsCrypt::cryptEncoded(bool encrypt, XString& encoded, XString& out) {
    MethodFrame frame(*this, encrypt ? "EncryptEncoded" : "DecryptEncoded");
    out.clear();
    XString mode;
    get_EncodingMode(mode);
    DataBuffer data;
    decodeByName(encoded, mode, data, true);
    auto result = encrypt ? EncryptCore(data, frame.log()) : DecryptCore(data, frame.log());
    if (!result) return false;
    encodeByName(*result, mode, out, true);
    return true;
}

bool ClsCrypt::EncryptEncoded(XString& encoded, XString& out) { return cryptEncoded(true, encoded, out); }
bool ClsCrypt::DecryptEncoded(XString& encoded, XString& out) { return cryptEncoded(false, encoded, out); }

// Buffer in, buffer out, with the sizes in the log.
bool ClsCrypt::cryptBuffer(bool encrypt, DataBuffer& in, DataBuffer& out) {
    MethodFrame frame(*this, encrypt ? "Encrypt" : "Decrypt");
    out.clear();
    auto result = encrypt ? EncryptCore(in, frame.log()) : DecryptCore(in, frame.log());
    if (!result) {
        frame.log().logError(encrypt ? "Failed to encrypt data" : "Failed to decrypt data");
        return false;
    }
    out.takeFrom(result.get());
    frame.log().logDataInt("originalDataSize", static_cast<int32_t>(in.getSize()));
    frame.log().logDataInt(encrypt ? "encryptedDataSize" : "decryptedDataSize", static_cast<int32_t>(out.getSize()));
    return true;
}

bool ClsCrypt::Encrypt(DataBuffer& in, DataBuffer& out) { return cryptBuffer(true, in, out); }
bool ClsCrypt::Decrypt(DataBuffer& in, DataBuffer& out) { return cryptBuffer(false, in, out); }

bool ClsCrypt::BytesToString(const DataBuffer& data, const XString& charsetName, XString& out) {
    MethodFrame frame(*this, "BytesToString");
    out.clear();
    DataBuffer utf8;
    EncodingConvert conv;
    if (!conv.convertFromName(charsetName.getUtf8(), kCodePageUtf8, data.data(), data.getSize(), utf8)) return false;
    out.setFromUtf8(std::string_view(reinterpret_cast<const char*>(utf8.data()), utf8.getSize()));
    return true;
}

bool ClsCrypt::StringToBytes(const XString& text, const XString& charsetName, DataBuffer& out) {
    MethodFrame frame(*this, "StringToBytes");
    out.clear();
    EncodingConvert conv;
    conv.convertToName(kCodePageUtf8, charsetName.getUtf8(), reinterpret_cast<const uint8_t*>(text.getUtf8()),
                       text.getUtf8Length(), out);
    return true;
}

bool ClsCrypt::TrimEndingWith(const XString& text, const XString& ending, XString& out) {
    MethodFrame frame(*this, "TrimEndingWith");
    out.copyFrom(text);
    const uint32_t n = ending.getUtf8Length();
    if (n == 0) return true;
    // Removed over and over from the UTF-8 form while the text ends with it.
    std::string_view rest = out.utf8View();
    const std::string_view tail = ending.utf8View();
    while (rest.size() >= n && rest.substr(rest.size() - n) == tail) rest.remove_suffix(n);
    if (rest.size() != out.getUtf8Length()) {
        const std::string kept(rest);
        out.setFromUtf8(kept.c_str());
    }
    return true;
}

void ClsCrypt::ByteSwap4321(const DataBuffer& data, DataBuffer& out) const {
    out.clear();
    out.appendBuffer(data);
    out.reverseEach4();
}

void ClsCrypt::Shorten(const DataBuffer& data, int numBytes, DataBuffer& out) const {
    out.clear();
    out.appendBuffer(data);
    // A negative count is a large unsigned one: it empties the data.
    out.shorten(static_cast<uint32_t>(numBytes));
}

}  // namespace zenvary
