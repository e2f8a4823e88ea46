#include "drm/ClsOmaDrm.h"

#include <algorithm>
#include <memory>
#include <string_view>

#include "crypt/ClsCrypt.h"
#include "crypt/ClsEncode.h"
#include "log/LogBase.h"

namespace zenvary {

namespace {

std::string_view view(const StringBuffer& s) { return {s.getString(), s.getLength()}; }

XString literal(const char* text) {
    XString x;
    x.setFromUtf8(text);
    return x;
}

// Moves a cipher result into `dst`; a result that only views other bytes is copied.
void keep(DataBuffer& dst, DataBuffer& result) {
    dst.clear();
    if (result.isBorrowed())
        dst.appendBuffer(result);
    else
        dst.takeFrom(&result);
}

}  // namespace

// ---- loading ----

bool ClsOmaDrm::loaded(bool ok) {
    if (ok)
        m_headers.parse(m_drm.headers.getString());
    else
        m_headers.clear();
    return ok;
}

bool ClsOmaDrm::LoadDcfFile(const XString& filename) {
    MethodFrame frame(*this, "LoadFile");
    return loaded(m_drm.loadFile(filename));
}

bool ClsOmaDrm::LoadDcfData(const DataBuffer& data) {
    MethodFrame frame(*this, "LoadData");
    return loaded(m_drm.parse(data));
}

// ---- properties ----

void ClsOmaDrm::get_ContentType(XString& out) const { out.setFromUtf8(view(m_drm.contentType)); }
void ClsOmaDrm::put_ContentType(const XString& text) { m_drm.contentType.setString(text.utf8View()); }
void ClsOmaDrm::get_ContentUri(XString& out) const { out.setFromUtf8(view(m_drm.contentUri)); }
void ClsOmaDrm::put_ContentUri(const XString& text) { m_drm.contentUri.setString(text.utf8View()); }
void ClsOmaDrm::get_Headers(XString& out) const { out.setFromUtf8(view(m_drm.headers)); }

void ClsOmaDrm::put_Headers(const XString& text) {
    m_drm.headers.setString(text.utf8View());
    m_headers.clear();
    m_headers.parse(m_drm.headers.getString());
}

void ClsOmaDrm::get_IV(DataBuffer& out) const {
    out.clear();
    out.appendBuffer(m_drm.iv);
}

void ClsOmaDrm::put_IV(const DataBuffer& iv) {
    m_drm.iv.clear();
    m_drm.iv.appendBuffer(iv);
}

void ClsOmaDrm::get_EncryptedData(DataBuffer& out) const {
    out.clear();
    out.appendBuffer(m_drm.encryptedData);
}

void ClsOmaDrm::SetEncodedIV(const XString& encodedIV, const XString& encoding) {
    ClsEncode codec;
    m_drm.iv.clear();
    codec.decodeByName(encodedIV, encoding, m_drm.iv, false);
}

bool ClsOmaDrm::GetHeaderField(const XString& fieldName, XString& out) const {
    out.clear();
    StringBuffer value;
    if (!m_headers.getField(fieldName.getUtf8(), value)) return false;
    out.setFromUtf8(view(value));
    return true;
}

// ---- the cipher ----

void ClsOmaDrm::setUpCipher(ClsCrypt& crypt) const {
    crypt.put_CryptAlgorithm(literal("aes"));
    crypt.put_KeyLength(kKeyLengthBits);
    crypt.put_CipherMode(literal("cbc"));
    // put_IV keeps at most 16 bytes; a shorter IV is used as it stands and
    // still counts as set.
    crypt.put_IV(m_drm.iv);
    DataBuffer key;
    ClsEncode codec;
    codec.decodeByName(m_base64Key, literal("base64"), key, false);
    crypt.put_SecretKey(key);
}

void ClsOmaDrm::LoadUnencryptedData(const DataBuffer& data) {
    ClsCrypt crypt;
    setUpCipher(crypt);
    // Borrowed: the cipher copies the bytes before it changes any.
    DataBuffer input;
    input.borrow(data.data(), data.getSize());
    LogNull quiet;
    std::unique_ptr<DataBuffer> encrypted = crypt.EncryptCore(input, quiet);
    m_drm.encryptedData.clear();
    if (encrypted) keep(m_drm.encryptedData, *encrypted);
}

bool ClsOmaDrm::LoadUnencryptedFile(const XString& filename) {
    DataBuffer data;
    if (!data.loadFile(filename, nullptr)) return false;
    LoadUnencryptedData(data);
    return true;
}

bool ClsOmaDrm::decryptInto(DataBuffer& out, LogBase& log) {
    out.clear();
    ClsCrypt crypt;
    setUpCipher(crypt);
    DataBuffer input;
    input.borrow(m_drm.encryptedData.data(), m_drm.encryptedData.getSize());
    std::unique_ptr<DataBuffer> plain = crypt.DecryptCore(input, log);
    if (!plain) return false;
    keep(out, *plain);
    return true;
}

bool ClsOmaDrm::get_DecryptedData(DataBuffer& out) {
    LogNull quiet;
    return decryptInto(out, quiet);
}

bool ClsOmaDrm::SaveDecrypted(const XString& filename) {
    MethodFrame frame(*this, "SaveDecrypted");
    DataBuffer plain;
    if (!decryptInto(plain, frame.log())) return false;
    return plain.saveToFile(filename, &frame.log());
}

bool ClsOmaDrm::CreateDcfFile(const XString& filename) const { return m_drm.saveFile(filename); }

}  // namespace zenvary
