#include "crypt/ClsCrypt.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "crypt/NameRules.h"
#include "encoding/CodePage.h"
#include "encoding/EncodingConvert.h"

namespace zenvary {

namespace {

struct IdName {
    uint32_t id;
    const char* name;
};

// CryptAlgorithm names accepted by the setter, in the order they are tried.
constexpr IdName kCryptNamesIn[] = {
    {kAlgPki, "pki"},           {kAlgAes, "aes"},          {kAlgAes, "rijndael"},
    {kAlgAes, "rjindael"},      {kAlgBlowfish, "blowfish"}, {kAlgTwofish, "twofish"},
    {kAlgNone, "none"},         {kAlgBlowfish2, "blowfish2"}, {kAlgDes, "des"},
    {kAlgDes, "3des"},          {kAlgDes, "tripledes"},    {kAlgDes, "tdes"},
    {kAlgRc2, "rc2"},           {kAlgArc4, "arc4"},        {kAlgArc4, "arcfour"},
};

// Names read back. DES (7) has no row on purpose: reading the property after
// choosing DES switches the object to AES.
constexpr IdName kCryptNamesOut[] = {
    {kAlgPki, "pki"},     {kAlgAes, "rijndael"}, {kAlgBlowfish, "blowfish"}, {kAlgTwofish, "twofish"},
    {kAlgNone, "none"},   {kAlgBlowfish2, "blowfish2"}, {kAlgRc2, "rc2"},   {kAlgArc4, "arc4"},
};

// HashAlgorithm names, in the order the setter tests them.
constexpr IdName kHashNames[] = {
    {kHashSha1, "sha1"}, {kHashSha256, "sha256"}, {kHashSha384, "sha384"}, {kHashSha512, "sha512"},
    {kHashMd2, "md2"},   {kHashMd5, "md5"},       {kHashHaval, "haval"},
};

const char* nameOf(const IdName* table, size_t n, uint32_t id) {
    for (size_t i = 0; i < n; ++i)
        if (table[i].id == id) return table[i].name;
    return nullptr;
}

}  // namespace

ClsCrypt::ClsCrypt() : m_lastAlgorithm("rijndael") {
    m_charset.setByCodePage(GetACP());
}

ClsCrypt::~ClsCrypt() = default;

void ClsCrypt::get_Version(XString& out) const { out.setFromUtf8("4.3.0"); }

int ClsCrypt::get_BlockSize() const { return static_cast<int>(blockSizeOf(m_cryptAlgorithmId)); }

uint32_t ClsCrypt::blockSizeOf(uint32_t algorithmId) {
    switch (algorithmId) {
        case kAlgAes:
        case kAlgTwofish:
            return 16;
        case kAlgBlowfish:
        case kAlgBlowfish2:
        case kAlgDes:
        case kAlgRc2:
            return 8;
        case kAlgArc4:
            return 1;
        default:
            return 0;
    }
}

void ClsCrypt::get_CryptAlgorithm(XString& out) {
    const char* name = nameOf(kCryptNamesOut, std::size(kCryptNamesOut), m_cryptAlgorithmId);
    if (!name) {
        m_cryptAlgorithmId = kAlgAes;
        name = "rijndael";
    }
    out.setFromUtf8(name);
}

void ClsCrypt::put_CryptAlgorithm(const XString& name) {
    const std::string n = normalizeName(name.utf8View(), false);
    m_cryptAlgorithmId = kAlgAes;
    for (const auto& e : kCryptNamesIn) {
        if (n == e.name) {
            m_cryptAlgorithmId = e.id;
            break;
        }
    }
}

void ClsCrypt::get_CipherMode(XString& out) const {
    out.setFromUtf8(m_cipherMode == kModeCbc ? "cbc" : m_cipherMode == kModeCfb ? "cfb" : "ecb");
}

void ClsCrypt::put_CipherMode(const XString& name) {
    const std::string n = normalizeName(name.utf8View(), true);
    if (n.rfind("cb", 0) == 0)
        m_cipherMode = kModeCbc;
    else if (n == "cfb")
        m_cipherMode = kModeCfb;
    else
        m_cipherMode = kModeEcb;
}

void ClsCrypt::get_HashAlgorithm(XString& out) {
    const char* name = nameOf(kHashNames, std::size(kHashNames), m_hashAlgorithmId);
    if (!name) {
        m_hashAlgorithmId = kHashSha1;
        name = "sha1";
    }
    out.setFromUtf8(name);
}

void ClsCrypt::put_HashAlgorithm(const XString& name) {
    const std::string n = normalizeName(name.utf8View(), false);
    m_hashAlgorithmId = kHashSha1;
    for (const auto& e : kHashNames) {
        if (n == e.name) {
            m_hashAlgorithmId = e.id;
            break;
        }
    }
}

void ClsCrypt::put_HavalRounds(int rounds) { m_havalRounds = std::clamp(rounds, 3, 5); }

void ClsCrypt::get_Charset(XString& out) const { out.setFromUtf8(m_charset.getName()); }

void ClsCrypt::put_Charset(const XString& name) {
    // Trimmed and lower-cased; "ansi", an unknown name and "default" all give
    // the process ANSI code page.
    StringBuffer n(name.getUtf8());
    n.trimWhitespace();
    n.toLower();
    if (n.equals("ansi")) {
        m_charset.setByCodePage(GetACP());
        return;
    }
    m_charset.setByName(n.getString());
    if (m_charset.getCodePage() == 0) m_charset.setByCodePage(GetACP());
}

void ClsCrypt::get_CompressionAlgorithm(XString& out) const { out.setFromUtf8("bzip2"); }

void ClsCrypt::get_SecretKey(DataBuffer& out) const {
    out.clear();
    out.appendBuffer(m_secretKey);
}

void ClsCrypt::put_SecretKey(const DataBuffer& key) {
    m_secretKey.clear();
    m_secretKey.appendBuffer(key);
}

void ClsCrypt::get_IV(DataBuffer& out) const {
    out.clear();
    if (m_ivIsSet) out.append(m_iv.data(), std::min<uint32_t>(m_iv.getSize(), 16));
}

void ClsCrypt::put_IV(const DataBuffer& iv) {
    m_iv.clear();
    m_iv.append(iv.data(), std::min<uint32_t>(iv.getSize(), 16));
    m_ivIsSet = true;
}

bool ClsCrypt::Encode(const DataBuffer& data, bool isString, const XString& encoding, XString& out) {
    if (!isString) {
        encodeByName(data, encoding, out, false);
        return true;
    }
    // Text that came as UTF-16 is encoded in the ANSI code page.
    DataBuffer ansi;
    EncodingConvert conv;
    conv.convertToAnsi(kCodePageUtf16LE, data.data(), data.getSize(), ansi);
    encodeByName(ansi, encoding, out, false);
    return true;
}

bool ClsCrypt::Decode(const XString& text, const XString& encoding, DataBuffer& out) {
    decodeByName(text, encoding, out, false);
    return true;
}

bool ClsCrypt::ReEncode(const XString& data, const XString& fromEncoding, const XString& toEncoding, XString& out) {
    MethodFrame frame(*this, "ReEncode");
    out.clear();
    DataBuffer bytes;
    decodeByName(data, fromEncoding, bytes, false);
    encodeByName(bytes, toEncoding, out, true);
    return true;
}

}  // namespace zenvary
