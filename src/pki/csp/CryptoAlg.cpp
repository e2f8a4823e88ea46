#include "pki/csp/CryptoAlg.h"

namespace zenvary {

namespace {

constexpr const char* kOidSha1 = "1.3.14.3.2.26";
constexpr const char* kOidRc2 = "1.2.840.113549.3.2";

bool hashOid(const StringBuffer& name, StringBuffer& out) {
    // Tried in this order: "sha" sees only what "sha1" and "sha-1" left.
    struct Row {
        const char* name;
        const char* oid;
    };
    static constexpr Row kRows[] = {
        {"sha1", kOidSha1},
        {"sha-1", kOidSha1},
        {"sha", "1.3.14.3.2.18"},
        {"md5", "1.2.840.113549.2.5"},
        {"md4", "1.2.840.113549.2.4"},
        {"md2", "1.2.840.113549.2.2"},
        {"GOST R 34.11-94", "1.2.643.2.2.21"},
    };
    for (const Row& row : kRows) {
        if (name.equalsNoCase(row.name)) {
            out.append(row.oid);
            return true;
        }
    }
    out.append(kOidSha1);
    return false;
}

bool cipherOid(const StringBuffer& name, uint32_t numBits, StringBuffer& out) {
    const char* oid = nullptr;
    if (name.equalsNoCase("des")) {
        oid = "1.3.14.3.2.7";
    } else if (name.equalsNoCase("3des") || name.equalsNoCase("3DES TWO KEY")) {
        oid = "1.2.840.113549.3.7";
    } else if (name.equalsNoCase("rc2")) {
        oid = kOidRc2;
    } else if (name.endsWith("c4") || name.endsWith("C4")) {
        oid = "1.2.840.113549.3.4";
    } else if (name.equalsNoCase("GOST 28147-89")) {
        oid = "1.2.643.2.2.9";
    } else if (name.equalsNoCase("aes") || name.equalsNoCase("aes 128") || name.equalsNoCase("aes 192") ||
               name.equalsNoCase("aes 256")) {
        oid = numBits == 128 ? "2.16.840.1.101.3.4.1.2"
              : numBits == 192 ? "2.16.840.1.101.3.4.1.22"
                               : "2.16.840.1.101.3.4.1.42";
    }
    if (!oid) {
        out.append(kOidRc2);
        return false;
    }
    out.append(oid);
    return true;
}

}  // namespace

bool CryptoAlg::isEncrypt() const { return algClass() == 0x6000 || algClass() == 0x4000; }
bool CryptoAlg::isHash() const { return algClass() == 0x8000; }
bool CryptoAlg::isKeyExchange() const { return algClass() == 0xA000; }
bool CryptoAlg::isSignature() const { return algClass() == 0x2000; }

bool CryptoAlg::getOid(StringBuffer& out) const {
    if (isHash()) return hashOid(name, out);
    if (isEncrypt()) return cipherOid(name, numBits, out);
    return false;
}

}  // namespace zenvary
