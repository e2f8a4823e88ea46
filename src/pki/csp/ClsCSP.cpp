#include "pki/csp/ClsCSP.h"

#include <cstdlib>
#include <string>

#include "cipher/CryptoSettings2.h"
#include "core/ExtPtrArray.h"
#include "pki/csp/CryptoAlg.h"
#include "pki/csp/CryptoSP.h"
#include "pki/key/KeyStorage.h"
#include "pki/platform/PkiPaths.h"

namespace zenvary {

namespace {

// The passes of choosing a default hash and cipher, in order.
constexpr const char* kPassHash[] = {"SHA-1", "MD2", "MD5", "MD4", nullptr};

bool passCipher(int pass, const CryptoAlg& alg) {
    const StringBuffer& name = alg.getName();
    switch (pass) {
    case 0: return name.equals("RC2") && alg.getNumBits() == 40;
    case 1: return name.equals("RC2");
    case 2: {
        StringBuffer lower(name);
        lower.toLower();
        return lower.endsWith("c4") || lower.equals("arcfour");
    }
    case 3: return name.equals("DES");
    case 4: return name.equals("3DES");
    }
    return false;
}

// The class an algorithm counts under; false for none of the four.
bool classOf(const CryptoAlg& alg, ClsCSP::AlgClass& cls) {
    if (alg.isEncrypt()) cls = ClsCSP::AlgClass::Encrypt;
    else if (alg.isHash()) cls = ClsCSP::AlgClass::Hash;
    else if (alg.isSignature()) cls = ClsCSP::AlgClass::Signature;
    else if (alg.isKeyExchange()) cls = ClsCSP::AlgClass::KeyExchange;
    else return false;
    return true;
}

// Whether the list holds an algorithm of that class, name and key size.
bool listHas(const ExtPtrArray& algs, ClsCSP::AlgClass wanted, const char* name, uint32_t numBits) {
    StringBuffer target(name ? name : "");
    target.trim();
    for (int32_t i = 0; i < algs.getCount(); ++i) {
        const CryptoAlg* alg = algs.at<CryptoAlg>(i);
        ClsCSP::AlgClass cls;
        if (classOf(*alg, cls) && cls == wanted && alg->getNumBits() == numBits &&
            alg->getName().equalsNoCase(target.getString()))
            return true;
    }
    return false;
}

}  // namespace

ClsCSP::ClsCSP() : providerName(kDefaultProvider) {
    keyContainerName.setString(PkiPaths::accountName());
    recount(false);
}

ClsCSP::~ClsCSP() {
    delete csp;
    delete encryptAlg;
    delete hashAlg;
}

bool ClsCSP::acquireIfNeeded() {
    if (!csp)
        csp = CryptoSP::acquireCsp(providerName.getString(), keyContainerName.getString(), true, machineKeyset,
                                   &m_log);
    return csp != nullptr;
}

void ClsCSP::zeroCounters() { numEncrypt = numHash = numKeyExchange = numSignature = 0; }

bool ClsCSP::recount(bool withLog) {
    zeroCounters();
    if (!acquireIfNeeded()) {
        m_log.logError("Failed to acquire CSP");
        return false;
    }
    if (withLog) m_log.logInfo("Recounting algorithms...");
    ExtPtrArray algs;
    csp->listAlgorithms(algs);
    for (int32_t i = 0; i < algs.getCount(); ++i) {
        const CryptoAlg* alg = algs.at<CryptoAlg>(i);
        if (withLog) m_log.logData("algorithm", alg->getName().getString());
        AlgClass cls;
        if (!classOf(*alg, cls)) continue;
        switch (cls) {
        case AlgClass::Encrypt: ++numEncrypt; break;
        case AlgClass::Hash: ++numHash; break;
        case AlgClass::Signature: ++numSignature; break;
        case AlgClass::KeyExchange: ++numKeyExchange; break;
        }
    }
    algs.deleteAll();
    return true;
}

void ClsCSP::chooseDefaults() {
    CryptoAlg* formerCipher = encryptAlg;
    CryptoAlg* formerHash = hashAlg;
    encryptAlg = nullptr;
    hashAlg = nullptr;
    recount(false);
    if (csp) {
        ExtPtrArray algs;
        csp->listAlgorithms(algs);
        // A former choice stays when the new provider has it.
        for (int32_t i = 0; i < algs.getCount(); ++i) {
            const CryptoAlg* alg = algs.at<CryptoAlg>(i);
            if (formerHash && !hashAlg && alg->isHash() && alg->getName().equalsNoCase(formerHash->getName().getString()))
                hashAlg = alg->clone();
            if (formerCipher && !encryptAlg && alg->isEncrypt() &&
                alg->getName().equalsNoCase(formerCipher->getName().getString()) &&
                alg->getNumBits() == formerCipher->getNumBits())
                encryptAlg = alg->clone();
        }
        for (int pass = 0; pass < 5 && (!hashAlg || !encryptAlg); ++pass) {
            for (int32_t i = 0; i < algs.getCount(); ++i) {
                const CryptoAlg* alg = algs.at<CryptoAlg>(i);
                if (!hashAlg && kPassHash[pass] && alg->isHash() && alg->getName().equalsNoCase(kPassHash[pass]))
                    hashAlg = alg->clone();
                if (!encryptAlg && alg->isEncrypt() && passCipher(pass, *alg)) encryptAlg = alg->clone();
            }
        }
        algs.deleteAll();
    }
    delete formerCipher;
    delete formerHash;
    if (csp) {
        providerName.setFrom(csp->getProviderName());
        keyContainerName.setFrom(csp->getContainerName());
    }
}

bool ClsCSP::put_ProviderName(const char* name) {
    LogContext context(&m_log, "put_ProviderName");
    m_log.logData("providerName", name ? name : "");
    if (!name || !*name) {
        m_log.logError("Empty provider name");
        return false;
    }
    if (providerName.equals(name)) {
        m_log.logError("Provider name did not change.");
        return false;
    }
    delete csp;
    csp = nullptr;
    zeroCounters();
    providerName.setString(name);
    recount(true);
    chooseDefaults();
    return csp != nullptr;
}

uint32_t ClsCSP::SetEncryptAlgorithm(const char* name) {
    LogContext context(&m_log, "SetEncryptAlgorithm");
    if (!acquireIfNeeded()) {
        m_log.logError("Failed to acquire CSP");
        return 0;
    }
    m_log.logData("targetAlg", name ? name : "");
    StringBuffer target(name ? name : "");
    target.trim();
    ExtPtrArray algs;
    csp->listAlgorithms(algs);
    m_log.logDataInt("NumAlg", algs.getCount());
    uint32_t bits = 0;
    for (int32_t i = 0; i < algs.getCount(); ++i) {
        const CryptoAlg* alg = algs.at<CryptoAlg>(i);
        m_log.logData("Checking", alg->getName().getString());
        m_log.logData("isEncryptAlg", alg->isEncrypt() ? "yes" : "no");
        if (alg->isEncrypt() && alg->getName().equalsNoCase(target.getString())) {
            delete encryptAlg;
            encryptAlg = alg->clone();
            bits = alg->getNumBits();
            break;
        }
    }
    algs.deleteAll();
    return bits;
}

uint32_t ClsCSP::SetHashAlgorithm(const char* name) {
    LogContext context(&m_log, "SetHashAlgorithm");
    if (!acquireIfNeeded()) {
        m_log.logError("Failed to acquire CSP");
        return 0;
    }
    m_log.logData("targetAlg", name ? name : "");
    StringBuffer target(name ? name : "");
    target.trim();
    CryptoAlg* found = csp->findHashAlg(target.getString());
    if (!found) return 0;
    delete hashAlg;
    hashAlg = found;
    return found->getNumBits();
}

bool ClsCSP::HasEncryptAlgorithm(const char* name, uint32_t numBits) {
    if (!acquireIfNeeded()) return false;
    ExtPtrArray algs;
    csp->listAlgorithms(algs);
    const bool found = listHas(algs, AlgClass::Encrypt, name, numBits);
    algs.deleteAll();
    return found;
}

bool ClsCSP::HasHashAlgorithm(const char* name, uint32_t numBits) {
    if (!acquireIfNeeded()) return false;
    ExtPtrArray algs;
    csp->listAlgorithms(algs);
    const bool found = listHas(algs, AlgClass::Hash, name, numBits);
    algs.deleteAll();
    return found;
}

bool ClsCSP::setProvider(const char* name) {
    if (providerName.equalsNoCase(name)) return acquireIfNeeded();
    return put_ProviderName(name);
}

bool ClsCSP::getAlgorithm(AlgClass wanted, int32_t index, StringBuffer& name, uint32_t& numBits) {
    if (index < 0 || !acquireIfNeeded()) return false;
    ExtPtrArray algs;
    csp->listAlgorithms(algs);
    bool found = false;
    int32_t seen = 0;
    for (int32_t i = 0; i < algs.getCount() && !found; ++i) {
        const CryptoAlg* alg = algs.at<CryptoAlg>(i);
        AlgClass cls;
        if (!classOf(*alg, cls) || cls != wanted) continue;
        if (seen++ == index) {
            name.append(alg->getName().view());
            numBits = alg->getNumBits();
            found = true;
        }
    }
    algs.deleteAll();
    return found;
}

std::vector<std::string> ClsCSP::GetKeyContainerNames() const { return KeyStorage::listContainers(machineKeyset); }

void ClsCSP::get_EncryptAlgorithm(StringBuffer& out) const {
    if (encryptAlg) out.append(encryptAlg->getName().view());
}
uint32_t ClsCSP::get_EncryptAlgorithmID() const { return encryptAlg ? encryptAlg->getAlgId() : 0; }
uint32_t ClsCSP::get_EncryptNumBits() const { return encryptAlg ? encryptAlg->getNumBits() : 0; }
void ClsCSP::get_HashAlgorithm(StringBuffer& out) const {
    if (hashAlg) out.append(hashAlg->getName().view());
}
uint32_t ClsCSP::get_HashAlgorithmID() const { return hashAlg ? hashAlg->getAlgId() : 0; }
uint32_t ClsCSP::get_HashNumBits() const { return hashAlg ? hashAlg->getNumBits() : 0; }

uint32_t ClsCSP::get_ProviderType() { return acquireIfNeeded() ? csp->getProviderType() : 0; }

void ClsCSP::Serialize(StringBuffer& out) const {
    out.append(providerName.view());
    out.append(",");
    out.append(keyContainerName.view());
    for (uint32_t n : {numEncrypt, numHash, numKeyExchange, numSignature}) {
        out.append(",");
        out.append(std::to_string(n));
    }
    out.append(",");
    if (encryptAlg) out.append(encryptAlg->getName().view());
    else out.append("*");
    out.append(",");
    if (hashAlg) out.append(hashAlg->getName().view());
    else out.append("*");
}

bool ClsCSP::loadSerialized(const char* text) {
    StringBuffer whole(text ? text : "");
    whole.trim();
    ExtPtrArray tokens;
    whole.split(tokens, ',', false, false);
    const int32_t count = tokens.getCount();
    auto token = [&](int32_t i) { return tokens.at<StringBuffer>(i)->getString(); };

    if (count > 0) {
        // Stored first, so the provider call finds the name unchanged and
        // keeps the provider acquired at construction.
        providerName.setString(token(0));
        put_ProviderName(token(0));
    }
    if (count > 1) keyContainerName.setString(token(1));
    uint32_t* counters[] = {&numEncrypt, &numHash, &numKeyExchange, &numSignature};
    for (int32_t i = 2; i < 6 && i < count; ++i)
        *counters[i - 2] = static_cast<uint32_t>(std::strtoul(token(i), nullptr, 10));
    if (count < 6) {
        tokens.deleteAll();
        return false;
    }
    if (count > 6 && token(6)[0] != '*') SetEncryptAlgorithm(token(6));
    if (count > 7 && token(7)[0] != '*') SetHashAlgorithm(token(7));
    tokens.deleteAll();
    return true;
}

void ClsCSP::copyTo(CryptoSettings2& settings) {
    settings.providerType = get_ProviderType();
    settings.hashAlgId = get_HashAlgorithmID();
    settings.hashNumBits = get_HashNumBits();
    settings.encryptAlgId = get_EncryptAlgorithmID();
    settings.encryptNumBits = get_EncryptNumBits();
    settings.machineKeyset = machineKeyset ? 1 : 0;
    settings.hashAlgorithm.clear();
    get_HashAlgorithm(settings.hashAlgorithm);
    settings.encryptAlgorithm.clear();
    get_EncryptAlgorithm(settings.encryptAlgorithm);
    settings.providerName.setFrom(providerName);
    settings.keyContainerName.setFrom(keyContainerName);
}

}  // namespace zenvary
