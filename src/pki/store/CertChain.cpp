#include "pki/store/CertChain.h"

#include <atomic>

#include "core/XString.h"
#include "log/LogBase.h"
#include "pki/cert/Certificate.h"
#include "pki/store/CertificateStore.h"

namespace zenvary {

namespace {

// Plain process-wide flags: two threads can only turn them off.
std::atomic<bool> g_switches[CertChain::kSwitchCount] = {true, true, true, true, true, true};

using Opener = CertificateStore* (*)(bool, LogBase*);

CertificateStore* openUnderSwitch(CertChain::StoreSwitch which, Opener opener) {
    if (!g_switches[which].load(std::memory_order_relaxed)) return nullptr;
    CertificateStore* store = opener(true, nullptr);
    if (!store) g_switches[which].store(false, std::memory_order_relaxed);
    return store;
}

// The stores of one build, by switch.
struct OpenStores {
    CertificateStore* stores[CertChain::kSwitchCount] = {};
    ~OpenStores() {
        for (CertificateStore* store : stores) delete store;
    }
};

struct AskedStore {
    CertChain::StoreSwitch which;
    const char* tag;
};

// The order in which the signing chain asks for an issuer.
constexpr AskedStore kSigningOrder[] = {
    {CertChain::kCurrentUser, "(Current User) "}, {CertChain::kCurrentUserCa, "(CA User) "},
    {CertChain::kMachineCa, "(CA) "},             {CertChain::kAuthRoot, "(AUTHROOT) "},
    {CertChain::kMachineMy, "(MY) "},             {CertChain::kRoot, "(ROOT) "},
};

// The order of the mail chain.
constexpr CertChain::StoreSwitch kEmailOrder[] = {CertChain::kCurrentUserCa, CertChain::kMachineCa,
                                                  CertChain::kAuthRoot, CertChain::kMachineMy, CertChain::kRoot};

void logSerial(LogBase* log, const char* tag, const Certificate& cert) {
    StringBuffer serial;
    cert.getSerialNumberHex(serial);
    log->logData(tag, serial.getString());
}

}  // namespace

CertChain::~CertChain() { certs.deleteAll(); }

CertContext* CertChain::getContext(int32_t index) const {
    const Certificate* cert = certs.at<Certificate>(index);
    return cert ? cert->context() : nullptr;
}

Certificate* CertChain::getCertificate(int32_t index) const { return certs.at<Certificate>(index); }

bool CertChain::storeSwitch(StoreSwitch which) { return g_switches[which].load(std::memory_order_relaxed); }

void CertChain::resetStoreSwitches() {
    for (std::atomic<bool>& flag : g_switches) flag.store(true, std::memory_order_relaxed);
}

bool CertChain::build(const Certificate& cert, const ExtPtrArray* extraCerts, LogBase* log) {
    LogNull nullLog;
    if (!log) log = &nullLog;
    certs.deleteAll();

    OpenStores open;
    open.stores[kCurrentUser] = openUnderSwitch(kCurrentUser, CertificateStore::openCurrentUserStore);
    open.stores[kMachineMy] = openUnderSwitch(kMachineMy, CertificateStore::openLocalMachineStore);
    open.stores[kMachineCa] = openUnderSwitch(kMachineCa, CertificateStore::openLocalMachineCaStore);
    open.stores[kRoot] = openUnderSwitch(kRoot, CertificateStore::openRootStore);
    open.stores[kAuthRoot] = openUnderSwitch(kAuthRoot, CertificateStore::openAuthRootStore);
    open.stores[kCurrentUserCa] = openUnderSwitch(kCurrentUserCa, CertificateStore::openCurrentUserCaStore);

    {
        LogContext context(log, "SearchStores");
        log->logDataInt("CU", storeSwitch(kCurrentUser));
        log->logDataInt("MY", storeSwitch(kMachineMy));
        log->logDataInt("CA", storeSwitch(kMachineCa));
        log->logDataInt("ROOT", storeSwitch(kRoot));
        log->logDataInt("AUTHROOT", storeSwitch(kAuthRoot));
        log->logDataInt("CA_User", storeSwitch(kCurrentUserCa));
    }

    Certificate* current = cert.clone();
    certs.append(current);
    XString text;
    current->getSubjectSimple(text);
    log->logData("initialCertDn", text.getUtf8());
    logSerial(log, "initialCertSerial", *current);

    int32_t counter = 0;
    for (;;) {
        XString issuer;
        current->getIssuerSimple(issuer);
        log->logData("issuer", issuer.getUtf8());
        if (current->isSelfIssued()) {
            log->logInfo("Found self-issuer.  The chain is completed.");
            return true;
        }
        if (++counter > kMaxIssuers) {
            log->logInfo("Number of certs in chain exceeds 20, stopping.");
            return false;
        }

        Certificate* next = nullptr;
        const char* tag = nullptr;
        for (int32_t i = 0; extraCerts && i < extraCerts->getCount() && !next; ++i) {
            const Certificate* extra = extraCerts->at<Certificate>(i);
            if (!extra) continue;
            XString subject;
            extra->getSubjectSimple(subject);
            if (subject.utf8View() == issuer.utf8View()) {
                next = extra->clone();
                tag = "(extra) ";
            }
        }
        for (const AskedStore& asked : kSigningOrder) {
            if (next) break;
            CertificateStore* store = open.stores[asked.which];
            if (!store) continue;
            next = store->findIssuer(*current);
            tag = asked.tag;
        }
        if (!next) return false;

        certs.append(next);
        XString subject;
        next->getSubjectSimple(subject);
        StringBuffer line(tag);
        line.append(subject.utf8View());
        log->logData("nextCertDn", line.getString());
        logSerial(log, "nextCertSerial", *next);
        current = next;
    }
}

bool CertChain::buildForEmail(const Certificate& cert, LogBase* log) {
    certs.deleteAll();
    OpenStores open;
    open.stores[kMachineMy] = openUnderSwitch(kMachineMy, CertificateStore::openLocalMachineStore);
    open.stores[kMachineCa] = openUnderSwitch(kMachineCa, CertificateStore::openLocalMachineCaStore);
    open.stores[kRoot] = openUnderSwitch(kRoot, CertificateStore::openRootStore);
    open.stores[kAuthRoot] = openUnderSwitch(kAuthRoot, CertificateStore::openAuthRootStore);
    open.stores[kCurrentUserCa] = openUnderSwitch(kCurrentUserCa, CertificateStore::openCurrentUserCaStore);

    Certificate* current = cert.clone();
    certs.append(current);
    int32_t counter = 0;
    while (!current->isSelfIssued() && ++counter <= kMaxIssuers) {
        Certificate* next = nullptr;
        bool endChain = false;
        for (StoreSwitch which : kEmailOrder) {
            CertificateStore* store = open.stores[which];
            if (!store) continue;
            Certificate* issuer = store->findIssuer(*current);
            if (!issuer) continue;
            if (issuer->isExpired()) {
                delete issuer;
                if (which == kRoot) endChain = true;
                continue;
            }
            if (issuer->isSelfIssued()) {
                // The root is never a member of a mail chain.
                delete issuer;
                endChain = true;
                break;
            }
            next = issuer;
            break;
        }
        if (!next || endChain) {
            delete next;
            break;
        }
        certs.append(next);
        current = next;
    }
    return true;
}

}  // namespace zenvary
