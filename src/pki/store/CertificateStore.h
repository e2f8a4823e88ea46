// CertificateStore: one opened certificate store, with the openers of the
// component's fixed stores, the searches and the additions. The stores are
// directories and files (see StoreHandle); their names in the log are the
// bracketed names below, whatever backs them.
#pragma once
#include <cstdint>

#include "core/ExtPtrArray.h"
#include "core/StringBuffer.h"
#include "core/XString.h"
#include "core/ZenvaryObject.h"
#include "pki/store/CertStoreSpec.h"

typedef struct X509_name_st X509_NAME;
typedef struct asn1_string_st ASN1_INTEGER;

namespace zenvary {

class Certificate;
class LogBase;
class StoreHandle;

class CertificateStore : public ZenvaryObject {
public:
    ~CertificateStore() override;
    CertificateStore(const CertificateStore&) = delete;
    CertificateStore& operator=(const CertificateStore&) = delete;

    // Openers: each answers a new store or null, logging the reason when a
    // log is given.
    static CertificateStore* openCurrentUserStore(bool readOnly, LogBase* log);
    static CertificateStore* openCurrentUserCaStore(bool readOnly, LogBase* log);
    static CertificateStore* openLocalMachineStore(bool readOnly, LogBase* log);
    static CertificateStore* openLocalMachineCaStore(bool readOnly, LogBase* log);
    static CertificateStore* openRootStore(bool readOnly, LogBase* log);
    static CertificateStore* openAuthRootStore(bool readOnly, LogBase* log);
    // `hive` is "HKEY_CURRENT_USER" or anything else for the local machine.
    static CertificateStore* openRegistryStore(const char* path, const char* hive, bool readOnly, LogBase* log);
    static CertificateStore* openFileStore(const char* path, bool readOnly, LogBase* log);
    static CertificateStore* openMemoryStore(LogBase* log);
    static CertificateStore* openBySpec(const CertStoreSpec& spec, bool readOnly, LogBase* log);

    // The name in the log: "(file) <name>", "(registry) <hive>/<name>",
    // "[In-Memory Certificate Store]" or "unknown".
    void describe(StringBuffer& out) const;

    // Searches; each answers a new Certificate or null.
    Certificate* findByFields(const XString& subject);
    Certificate* findBySubject(const XString& subject, bool includeExpired);
    Certificate* findIssuer(const Certificate& cert);
    Certificate* findForSigner(const X509_NAME* issuer, const ASN1_INTEGER* serial);

    bool addCertificate(const Certificate* cert, LogBase* log);
    bool addCertWithPrivateKey(const Certificate* cert, const char* containerName, bool machineKeyset,
                               LogBase* log);

    // The certificates held, in store order; each a new Certificate.
    int32_t getCount() const;
    Certificate* getCertificate(int32_t index) const;

    bool getIsFile() const { return isFile; }
    bool getIsRegistry() const { return isRegistry; }
    bool getIsMemory() const { return isMemory; }
    const StringBuffer& getDisplayName() const { return displayName; }
    const StringBuffer& getHive() const { return hive; }
    const CertStoreSpec& getSpec() const { return spec; }
    StoreHandle* handle() const { return hStore; }

private:
    CertificateStore() = default;
    static CertificateStore* openSystemStore(const char* storeName, bool currentUser, const char* display,
                                             bool readOnly, LogBase* log);
    // The first certificate of the store that `match` accepts; it is
    // wrapped without a reference of its own while it is tried.
    template <class Match>
    Certificate* findFirst(Match match);

    StoreHandle* hStore = nullptr;
    bool isFile = false;
    StringBuffer fileName;
    int hFile = -1;
    bool isRegistry = false;
    StringBuffer displayName;
    StringBuffer hive;
    bool isMemory = false;
    CertStoreSpec spec;
};

// The default list of stores: the local machine's; unless `webAccount` the
// component's store and the address book; then the current user's.
// The two indexes give the places of the machine's and the user's stores.
void listDefaultStoreSpecs(ExtPtrArray& list, bool webAccount, int32_t& outLocalMachineIndex,
                           int32_t& outCurrentUserIndex);
// Opens the default list in its order; a store that doesn't open is left
// out. The indexes are places in `outStores`, -1 when that store is absent.
void openDefaultStores(ExtPtrArray& outStores, bool readOnly, int32_t& outLocalMachineIndex,
                       int32_t& outCurrentUserIndex, LogBase* log);
// A web server's account: the user name begins with "IWAM_" or "IUSR_".
bool isWebAccountName(const char* userName);
bool currentUserIsWebAccount();

}  // namespace zenvary
