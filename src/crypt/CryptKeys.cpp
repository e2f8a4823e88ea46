// Keys and IVs. None of these members runs the method frame: they leave the
// log alone and cannot fail.
#include <algorithm>

#include "cipher/RandomBytes.h"
#include "crypt/ClsCrypt.h"
#include "encoding/ContentCoding.h"
#include "hash/Md5.h"

namespace zenvary {

// The password rule: MD5 of the password's bytes in Charset, then MD5 of
// their base64 text, cut to KeyLength / 8 bytes (never lengthened).
void ClsCrypt::passwordKey(const XString& password, DataBuffer& out) const {
    DataBuffer bytes;
    textToBytes(password, bytes);
    uint8_t digests[32];
    DigestMD5 md5;
    md5.digest(bytes.data(), bytes.getSize(), digests);
    StringBuffer b64;
    ContentCoding().encodeBase64(bytes.data(), bytes.getSize(), b64);
    md5.digest(b64.getString(), b64.getLength(), digests + 16);
    const uint32_t n = std::min<uint32_t>(32, static_cast<uint32_t>(std::max(m_keyLength, 0)) / 8);
    out.clear();
    out.append(digests, n);
}

void ClsCrypt::GenerateSecretKey(const XString& password, DataBuffer& out) { passwordKey(password, out); }

void ClsCrypt::SetSecretKeyViaPassword(const XString& password) { passwordKey(password, m_secretKey); }

void ClsCrypt::GenEncodedSecretKey(const XString& password, const XString& encoding, XString& out) {
    DataBuffer key;
    passwordKey(password, key);
    encodeByName(key, encoding, out, false);
}

void ClsCrypt::SetEncodedKey(const XString& keyText, const XString& encoding) {
    m_secretKey.clear();
    decodeByName(keyText, encoding, m_secretKey, false);
}

void ClsCrypt::SetEncodedIV(const XString& ivText, const XString& encoding) {
    DataBuffer iv;
    decodeByName(ivText, encoding, iv, false);
    put_IV(iv);
}

void ClsCrypt::GetEncodedKey(const XString& encoding, XString& out) { encodeByName(m_secretKey, encoding, out, false); }

void ClsCrypt::GetEncodedIV(const XString& encoding, XString& out) {
    DataBuffer iv;
    get_IV(iv);
    encodeByName(iv, encoding, out, false);
}

// KeyLength / 8 random bytes. They come from the kernel's CSPRNG, uniform
// over 0 to 255: an IV drawn from the C library's generator would be
// predictable.
void ClsCrypt::RandomizeIV() {
    const uint32_t n = static_cast<uint32_t>(std::max(m_keyLength, 0)) / 8;
    m_iv.clear();
    if (m_iv.ensureCapacity(n) && n) {
        randomBytes(m_iv.getData(), n);
        m_iv.setSize(n);
    }
    m_ivIsSet = true;
}

}  // namespace zenvary
