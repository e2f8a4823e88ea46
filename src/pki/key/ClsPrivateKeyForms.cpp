// The file and text forms of ClsPrivateKey: the members of the private key
// object. The key is kept as PKCS#1 DER; every other form is made from it.
#include <openssl/crypto.h>
#include <openssl/evp.h>

#include "core/StringBuffer.h"
#include "core/XString.h"
#include "pki/key/ClsPrivateKey.h"
#include "pki/key/KeyFormats.h"
#include "pki/key/KeyPem.h"
#include "pki/key/KeyPvk.h"
#include "pki/key/RsaKeyNumbers.h"
#include "pki/key/RsaKeyXml.h"
#include "pki/key/SecretFile.h"

namespace zenvary {

namespace {

// Bytes read from a file, wiped when they go.
struct FileBytes {
    DataBuffer bytes;
    ~FileBytes() {
        if (bytes.getSize()) OPENSSL_cleanse(bytes.getData(), bytes.getSize());
    }
    bool load(const XString& path, LogBase& log) {
        log.logData("filename", path.getUtf8());
        return bytes.loadFile(path, &log);
    }
    std::string_view text() const {
        return {reinterpret_cast<const char*>(bytes.data()), bytes.getSize()};
    }
};

void toText(const DataBuffer& bytes, XString& out) {
    out.setFromUtf8(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.getSize()));
}

void wipe(DataBuffer& bytes) {
    if (bytes.getSize()) OPENSSL_cleanse(bytes.getData(), bytes.getSize());
    bytes.clear();
}

}  // namespace

void ClsPrivateKey::wipe() { zenvary::wipe(der); }

EVP_PKEY* ClsPrivateKey::toKey(LogBase* log) const {
    if (der.getSize() == 0) {
        if (log) log->logError("No private key is loaded");
        return nullptr;
    }
    return KeyFormats::decodePrivate(der.bytes(), KeyStructure::Pkcs1, log);
}

bool ClsPrivateKey::adopt(EVP_PKEY* key, LogBase& log) {
    if (!key) return false;
    DataBuffer pkcs1;
    const bool ok = KeyFormats::encodePrivate(key, KeyStructure::Pkcs1, false, pkcs1, &log);
    const int bits = EVP_PKEY_get_bits(key);
    EVP_PKEY_free(key);
    if (!ok) return false;
    wipe();
    der.append(pkcs1.bytes());
    zenvary::wipe(pkcs1);
    log.logDataInt("keyBits", bits);
    return true;
}

bool ClsPrivateKey::loadDer(std::span<const uint8_t> bytes, KeyStructure structure, LogBase& log) {
    return adopt(KeyFormats::decodePrivate(bytes, structure, &log), log);
}

bool ClsPrivateKey::loadText(std::string_view text, bool xml, LogBase& log) {
    if (!xml) return adopt(KeyPem::readPrivate(text, &log), log);
    StringBuffer xmlText;
    xmlText.append(text);
    RsaKeyParts parts;
    bool ok = RsaKeyXml::parse(xmlText, parts, &log) && adopt(RsaKeyNumbers::privateKey(parts, &log), log);
    OPENSSL_cleanse(const_cast<char*>(xmlText.getString()), xmlText.getLength());
    for (DataBuffer* v : {&parts.modulus, &parts.exponent, &parts.p, &parts.q, &parts.dp, &parts.dq,
                          &parts.inverseQ, &parts.d})
        zenvary::wipe(*v);
    return ok;
}

bool ClsPrivateKey::LoadRsaDerChecked(std::span<const uint8_t> bytes) {
    MethodFrame frame(*this, "LoadRsaDer");
    return loadDer(bytes, KeyStructure::Pkcs1, m_log);
}

bool ClsPrivateKey::LoadPkcs8(std::span<const uint8_t> bytes) {
    MethodFrame frame(*this, "LoadPkcs8");
    return loadDer(bytes, KeyStructure::Pkcs8, m_log);
}

bool ClsPrivateKey::LoadPem(const XString& pem) {
    MethodFrame frame(*this, "LoadPem");
    return loadText(pem.utf8View(), false, m_log);
}

bool ClsPrivateKey::LoadXml(const XString& xml) {
    MethodFrame frame(*this, "LoadXml");
    return loadText(xml.utf8View(), true, m_log);
}

bool ClsPrivateKey::LoadPvk(std::span<const uint8_t> pvk, const XString& password) {
    MethodFrame frame(*this, "LoadPvk");
    return adopt(KeyPvk::read(pvk, password.utf8View(), &m_log), m_log);
}

bool ClsPrivateKey::LoadRsaDerFile(const XString& path) {
    MethodFrame frame(*this, "LoadRsaDerFile");
    FileBytes file;
    return file.load(path, m_log) && loadDer(file.bytes.bytes(), KeyStructure::Pkcs1, m_log);
}

bool ClsPrivateKey::LoadPkcs8File(const XString& path) {
    MethodFrame frame(*this, "LoadPkcs8File");
    FileBytes file;
    return file.load(path, m_log) && loadDer(file.bytes.bytes(), KeyStructure::Pkcs8, m_log);
}

bool ClsPrivateKey::LoadPemFile(const XString& path) {
    MethodFrame frame(*this, "LoadPemFile");
    FileBytes file;
    return file.load(path, m_log) && loadText(file.text(), false, m_log);
}

bool ClsPrivateKey::LoadXmlFile(const XString& path) {
    MethodFrame frame(*this, "LoadXmlFile");
    FileBytes file;
    return file.load(path, m_log) && loadText(file.text(), true, m_log);
}

bool ClsPrivateKey::LoadPvkFile(const XString& path, const XString& password) {
    MethodFrame frame(*this, "LoadPvkFile");
    FileBytes file;
    return file.load(path, m_log) && adopt(KeyPvk::read(file.bytes.bytes(), password.utf8View(), &m_log), m_log);
}

bool ClsPrivateKey::render(KeyStructure structure, bool pem, DataBuffer& out, LogBase& log) {
    EVP_PKEY* key = toKey(&log);
    if (!key) return false;
    const bool ok = KeyFormats::encodePrivate(key, structure, pem, out, &log);
    EVP_PKEY_free(key);
    return ok;
}

bool ClsPrivateKey::renderXml(DataBuffer& out, LogBase& log) {
    // Checked first, so that a DER that is no key gives no XML.
    EVP_PKEY* key = toKey(&log);
    if (!key) return false;
    EVP_PKEY_free(key);
    StringBuffer xml;
    const bool ok = getXml(xml, &log);
    if (ok) out.append(xml.getString(), xml.getLength());
    OPENSSL_cleanse(const_cast<char*>(xml.getString()), xml.getLength());
    return ok;
}

bool ClsPrivateKey::GetRsaDer(DataBuffer& out) {
    MethodFrame frame(*this, "GetRsaDer");
    out.clear();
    return render(KeyStructure::Pkcs1, false, out, m_log);
}

bool ClsPrivateKey::GetPkcs8(DataBuffer& out) {
    MethodFrame frame(*this, "GetPkcs8");
    out.clear();
    return render(KeyStructure::Pkcs8, false, out, m_log);
}

bool ClsPrivateKey::GetRsaPem(XString& out) {
    MethodFrame frame(*this, "GetRsaPem");
    DataBuffer pem;
    out.clear();
    const bool ok = render(KeyStructure::Pkcs1, true, pem, m_log);
    if (ok) toText(pem, out);
    zenvary::wipe(pem);
    return ok;
}

bool ClsPrivateKey::GetPkcs8Pem(XString& out) {
    MethodFrame frame(*this, "GetPkcs8Pem");
    DataBuffer pem;
    out.clear();
    const bool ok = render(KeyStructure::Pkcs8, true, pem, m_log);
    if (ok) toText(pem, out);
    zenvary::wipe(pem);
    return ok;
}

bool ClsPrivateKey::GetXml(XString& out) {
    MethodFrame frame(*this, "GetXml");
    DataBuffer xml;
    out.clear();
    const bool ok = renderXml(xml, m_log);
    if (ok) toText(xml, out);
    zenvary::wipe(xml);
    return ok;
}

namespace {

template <class Render>
bool saveRendered(const XString& path, LogBase& log, Render render) {
    log.logData("filename", path.getUtf8());
    DataBuffer bytes;
    const bool ok = render(bytes) && SecretFile::write(path, bytes.bytes(), &log);
    wipe(bytes);
    return ok;
}

}  // namespace

bool ClsPrivateKey::SaveRsaDerFile(const XString& path) {
    MethodFrame frame(*this, "SaveRsaDerFile");
    return saveRendered(path, m_log, [&](DataBuffer& b) { return render(KeyStructure::Pkcs1, false, b, m_log); });
}

bool ClsPrivateKey::SavePkcs8File(const XString& path) {
    MethodFrame frame(*this, "SavePkcs8File");
    return saveRendered(path, m_log, [&](DataBuffer& b) { return render(KeyStructure::Pkcs8, false, b, m_log); });
}

bool ClsPrivateKey::SaveRsaPemFile(const XString& path) {
    MethodFrame frame(*this, "SaveRsaPemFile");
    return saveRendered(path, m_log, [&](DataBuffer& b) { return render(KeyStructure::Pkcs1, true, b, m_log); });
}

bool ClsPrivateKey::SavePkcs8PemFile(const XString& path) {
    MethodFrame frame(*this, "SavePkcs8PemFile");
    return saveRendered(path, m_log, [&](DataBuffer& b) { return render(KeyStructure::Pkcs8, true, b, m_log); });
}

bool ClsPrivateKey::SaveXmlFile(const XString& path) {
    MethodFrame frame(*this, "SaveXmlFile");
    return saveRendered(path, m_log, [&](DataBuffer& b) { return renderXml(b, m_log); });
}

}  // namespace zenvary
