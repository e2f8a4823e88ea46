// CertChain: the chain of a signer, signer first, built by asking the
// certificate stores for each issuer in a fixed order until a self-issued
// certificate closes it. No trust or validity decision is made here.
//
// Six process-wide switches, one per store, start on; a store that fails to
// open turns its switch off for the rest of the process.
#pragma once
#include <cstdint>

#include "core/ExtPtrArray.h"
#include "core/ZenvaryObject.h"

namespace zenvary {

class CertContext;
class Certificate;
class LogBase;

class CertChain : public ZenvaryObject {
public:
    // The switches, by store.
    enum StoreSwitch : int {
        kCurrentUser = 0,      // current user "MY"
        kMachineMy = 1,        // local machine "MY"
        kMachineCa = 2,        // local machine "CA"
        kRoot = 3,             // "ROOT"
        kAuthRoot = 4,         // "AUTHROOT"
        kCurrentUserCa = 5,    // current user "CA"
        kSwitchCount = 6
    };
    static constexpr int32_t kMaxIssuers = 20;

    CertChain() = default;
    ~CertChain() override;
    CertChain(const CertChain&) = delete;
    CertChain& operator=(const CertChain&) = delete;

    // The chain for signing; true when it ends at a self-issued certificate.
    // `extraCerts` (Certificate, may be null) are tried before the stores.
    bool build(const Certificate& cert, const ExtPtrArray* extraCerts, LogBase* log);
    // The chain for mail: no root member, expired issuers passed over, no
    // log lines. Always true.
    bool buildForEmail(const Certificate& cert, LogBase* log);

    int32_t size() const { return certs.getCount(); }
    // Borrowed; null out of range.
    CertContext* getContext(int32_t index) const;
    Certificate* getCertificate(int32_t index) const;

    static bool storeSwitch(StoreSwitch which);
    // Turns every switch on again (tests, which change the store roots).
    static void resetStoreSwitches();

private:
    ExtPtrArray certs;  // Certificate, owned
};

}  // namespace zenvary
