// StoreHandle: the platform certificate store on Linux. The certificates of
// one store, read when it is opened, and where additions go:
// - a directory of PEM certificates, one file "<SHA-1 hex>.pem" each, with
//   the key provider record of a certificate beside it in "<SHA-1 hex>.keyprov";
// - a file of PEM, DER or PKCS#12 certificates, written back on demand;
// - memory only.
// Certificates keep the order of their files' names, then of the file.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "core/StringBuffer.h"
#include "pki/cert/CertParse.h"

namespace zenvary {

class CertContext;

class StoreHandle {
public:
    // Dispositions of add().
    static constexpr uint32_t kAddNew = 1;
    static constexpr uint32_t kAddReplaceExisting = 3;
    static constexpr uint32_t kAddNewer = 6;
    // The error of add() when the certificate is there already.
    static constexpr uint32_t kErrorExists = 0x80092005;

    ~StoreHandle();
    StoreHandle(const StoreHandle&) = delete;
    StoreHandle& operator=(const StoreHandle&) = delete;

    // A directory store. A missing directory is made (mode `dirMode`, its
    // parents too) unless `readOnly`, when it opens as an empty store;
    // `mustExist` refuses a missing one either way. Null with the reason in
    // `errorText`.
    static StoreHandle* openDirectory(const std::string& dir, bool readOnly, bool mustExist, uint32_t dirMode,
                                      StringBuffer& errorText);
    // A store read from an open file (read from its start).
    static StoreHandle* openFile(int fd, bool readOnly, StringBuffer& errorText);
    static StoreHandle* openMemory();

    size_t count() const { return m_certs.size(); }
    // Borrowed; valid while the store lives.
    CertContext* at(size_t i) const { return i < m_certs.size() ? m_certs[i] : nullptr; }
    bool isReadOnly() const { return m_readOnly; }

    // Adds a copy of the certificate, with its properties. `outNew` (may be
    // null) gets a reference to the store's context. On failure `errorCode`
    // is kErrorExists or an errno value and `errorText` tells why.
    bool add(const CertContext& cert, uint32_t disposition, CertContext** outNew, uint32_t& errorCode,
             StringBuffer& errorText);

    // Writes every certificate as PEM over the file from its start. A store
    // read from PKCS#12 is not written back.
    bool saveToFile(int fd, StringBuffer& errorText) const;

private:
    enum class Kind { Directory, File, Memory };
    StoreHandle(Kind kind, bool readOnly) : m_kind(kind), m_readOnly(readOnly) {}
    void loadDirectory();
    void takeUnique(std::vector<CertContext*>& found);
    bool writeCertFile(const CertContext& cert, StringBuffer& errorText) const;

    Kind m_kind;
    bool m_readOnly;
    std::string m_dir;
    CertFileFormat m_fileFormat = CertFileFormat::None;
    std::vector<CertContext*> m_certs;  // one reference each
};

// The SHA-1 of a certificate as 40 upper-case hexadecimal digits.
std::string thumbprintHex(const CertContext& cert);

}  // namespace zenvary
