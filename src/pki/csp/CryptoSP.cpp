#include "pki/csp/CryptoSP.h"

#include <string>

#include "core/ExtPtrArray.h"
#include "log/LogBase.h"
#include "pki/csp/CryptoAlg.h"
#include "pki/csp/CspProvider.h"
#include "pki/platform/PkiError.h"
#include "pki/platform/PkiLibCtx.h"

namespace zenvary {

namespace {

std::string trimmed(const char* text) {
    StringBuffer s(text ? text : "");
    s.trim();
    return std::string(s.view());
}

// Walks the provider's algorithms in order until `visit` answers true.
template <class Visit>
void walk(const CspHandle* handle, Visit visit) {
    if (!handle || !handle->profile) return;
    for (const CspAlgorithm& alg : handle->profile->algorithms) {
        if (!CspProvider::available(alg)) continue;
        CryptoAlg candidate(alg.algId, alg.numBits, alg.name);
        if (visit(candidate)) return;
    }
}

}  // namespace

CryptoSP::~CryptoSP() { CspProvider::release(hProv); }

uint32_t CryptoSP::providerTypeForName(const char* name) {
    if (!name) return 1;
    struct Row {
        const char* name;
        uint32_t type;
    };
    static constexpr Row kNoCase[] = {
        {"Microsoft Base Cryptographic Provider v1.0", 1},
        {"Microsoft Enhanced Cryptographic Provider v1.0", 1},
        {"Microsoft RSA SChannel Cryptographic Provider", 12},
        {"Microsoft Strong Cryptographic Provider", 1},
        {"Microsoft RSA Signature Cryptographic Provider", 2},
        {"Microsoft Base DSS Cryptographic Provider", 3},
        {"Microsoft Enhanced RSA and AES Cryptographic Provider", 24},
        {"Microsoft DH SChannel Cryptographic Provider", 18},
        {"Microsoft Enhanced DSS and Diffie-Hellman Cryptographic Provider", 13},
        {"Microsoft Base DSS and Diffie-Hellman Cryptographic Provider", 13},
        {"Crypto-Pro GOST R 34.10-2001 Cryptographic Service Provider", 75},
        {"Crypto-Pro Cryptographic Service Provider", 2},
        {"Crypto-Pro GOST R 34.10-94 Cryptographic Service Provider", 71},
    };
    static constexpr Row kExact[] = {
        {"Gemplus GemSAFE Card CSP v1.0", 1},
        {"Infineon SICRYPT Base Smart Card CSP", 1},
        {"Schlumberger Cryptographic Service Provider", 1},
        {"Microsoft Enhanced RSA and AES Cryptographic Provider (Prototype)", 24},
        {"Microsoft Exchange Cryptographic Provider v1.0", 5},
        {"", 12},
    };
    StringBuffer given(name);
    for (const Row& row : kNoCase)
        if (given.equalsNoCase(row.name)) return row.type;
    for (const Row& row : kExact)
        if (given.equals(row.name)) return row.type;
    for (const CspProfile& installed : CspProvider::installed())
        if (given.equals(installed.name)) return installed.type;
    given.toLower();
    if (given.contains("fortezza")) return 4;
    if (given.contains("schannel")) return 12;
    if (given.contains("aes")) return 24;
    return 1;
}

CryptoSP* CryptoSP::fromHandle(CspHandle* handle, uint32_t type) {
    CryptoSP* sp = new CryptoSP;
    sp->hProv = handle;
    sp->providerType = type;
    std::string text;
    // The text parameters pass through a buffer of fixed size.
    if (CspProvider::getParam(*handle, kCspParamContainer, text))
        sp->containerName.setString(std::string_view(text).substr(0, kParamBufferSize - 1));
    if (CspProvider::getParam(*handle, kCspParamName, text))
        sp->providerName.setString(std::string_view(text).substr(0, kParamBufferSize - 1));
    uint32_t number = 0;
    if (CspProvider::getParam(*handle, kCspParamImplType, number)) sp->implType = number;
    if (CspProvider::getParam(*handle, kCspParamVersion, number)) sp->version = number;
    return sp;
}

CryptoSP* CryptoSP::acquireCsp(const char* providerName, const char* keyContainer, bool verifyContext,
                               bool machineKeyset, LogBase* log) {
    std::string provider = trimmed(providerName);
    std::string container = trimmed(keyContainer);
    const char* providerArg = provider.empty() ? nullptr : provider.c_str();

    uint32_t type = providerArg ? providerTypeForName(providerArg) : 1;
    if (log) log->logDataHex("providerType", type);

    uint32_t flags = machineKeyset ? kCspMachineKeyset : 0;
    if (verifyContext) {
        flags |= kCspVerifyContext;
        container.clear();
    }
    const char* containerArg = container.empty() ? nullptr : container.c_str();

    if (log) {
        StringBuffer line;
        line.append(provider);
        line.append(",");
        line.append(container);
        line.append(",");
        if (flags & kCspMachineKeyset) line.append("MACHINE_KEYSET,");
        if ((flags & kCspVerifyContext) == kCspVerifyContext) line.append("VERIFYCONTEXT");
        log->logData("AcquireCSP", line.getString());
    }

    if (CspHandle* handle = CspProvider::acquire(containerArg, providerArg, type, flags))
        return fromHandle(handle, type);

    if (log) {
        StringBuffer text;
        PkiError::appendLastText(text);
        log->logData("WindowsError", text.getString());
        log->logDataHex("errorCode", PkiError::lastCode());
        log->logInfo("Retry with new keyset...");
    }
    if (CspHandle* handle = CspProvider::acquire(containerArg, providerArg, type, flags | kCspNewKeyset))
        return fromHandle(handle, type);
    return nullptr;
}

CryptoSP* CryptoSP::smartAcquireCsp(const char* providerName, const char* keyContainer, bool verifyContext,
                                    bool machineKeyset, LogBase* log, bool wantLog) {
    LogBase* contextLog = wantLog ? log : nullptr;
    LogContext context(contextLog, "SmartAcquireCSP");
    if (wantLog && log) {
        log->logData("providerName", providerName ? providerName : "");
        log->logData("keyContainer", keyContainer ? keyContainer : "");
        log->logData("verifyContext", verifyContext ? "true" : "false");
        log->logData("machineKeyset", machineKeyset ? "true" : "false");
    }
    CryptoSP* sp = acquireCsp(providerName, keyContainer, verifyContext, machineKeyset, log);
    if (sp) return sp;
    if (wantLog && log) log->logInfo("Reversing machine keyset...");
    return acquireCsp(providerName, keyContainer, verifyContext, !machineKeyset, log);
}

CryptoSP* CryptoSP::acquireBaseProvider() {
    static const char* kBase = "Microsoft Base Cryptographic Provider v1.0";
    static constexpr uint32_t kFlags[] = {kCspVerifyContext, kCspVerifyContext | kCspNewKeyset,
                                          kCspVerifyContext | kCspMachineKeyset,
                                          kCspVerifyContext | kCspNewKeyset | kCspMachineKeyset};
    for (uint32_t flags : kFlags)
        if (CspHandle* handle = CspProvider::acquire(nullptr, kBase, 1, flags)) return fromHandle(handle, 1);
    return nullptr;
}

CryptoSP* CryptoSP::fromProfile(const CspProfile& profile) {
    CspHandle* handle = new CspHandle;
    handle->profile = &profile;
    handle->libCtx = PkiLibCtx::get();
    handle->flags = kCspVerifyContext;
    return fromHandle(handle, profile.type);
}

CryptoAlg* CryptoSP::findEncryptAlg(const char* name) const {
    CryptoAlg* found = nullptr;
    walk(hProv, [&](const CryptoAlg& alg) {
        if (alg.isEncrypt() && alg.getName().equalsNoCase(name)) found = alg.clone();
        return found != nullptr;
    });
    return found;
}

CryptoAlg* CryptoSP::firstEncryptAlg() const {
    CryptoAlg* found = nullptr;
    walk(hProv, [&](const CryptoAlg& alg) {
        if (alg.isEncrypt()) found = alg.clone();
        return found != nullptr;
    });
    return found;
}

CryptoAlg* CryptoSP::findHashAlg(const char* name) const {
    CryptoAlg* found = nullptr;
    walk(hProv, [&](const CryptoAlg& alg) {
        if (alg.isHash() && alg.getName().equalsNoCase(name)) found = alg.clone();
        return found != nullptr;
    });
    return found;
}

CryptoAlg* CryptoSP::defaultHashAlg() const {
    for (const char* name : {"SHA-1", "MD2", "MD5", "MD4", "HMAC", "MAC"})
        if (CryptoAlg* alg = findHashAlg(name)) return alg;
    CryptoAlg* found = nullptr;
    walk(hProv, [&](const CryptoAlg& alg) {
        if (alg.isHash()) found = alg.clone();
        return found != nullptr;
    });
    return found;
}

void CryptoSP::listAlgorithms(ExtPtrArray& out) const {
    walk(hProv, [&](const CryptoAlg& alg) {
        out.append(alg.clone());
        return false;
    });
}

}  // namespace zenvary
