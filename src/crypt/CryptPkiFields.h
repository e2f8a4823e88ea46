// The certificate fields of ClsCrypt, shared by CryptPki.cpp and
// CryptSign.cpp. The object owns every certificate and store held here.
#pragma once
#include <cstdint>

#include "core/ExtPtrArray.h"
#include "crypt/ClsCrypt.h"
#include "pki/cert/ClsCert.h"

namespace zenvary {

struct ClsCrypt::PkiFields {
    ClsCert* encryptCert = nullptr;
    ClsCert* signingCert = nullptr;
    ClsCert* verifyCert = nullptr;
    int32_t decryptKey = 0;  // 1: the key went into a machine keyset
    ClsCert* decryptCert = nullptr;
    ClsCert* lastCert = nullptr;
    ExtPtrArray certStores;     // CertificateStore, owned
    ExtPtrArray altCertStores;  // CertificateStore, owned

    PkiFields() = default;
    PkiFields(const PkiFields&) = delete;
    PkiFields& operator=(const PkiFields&) = delete;
    ~PkiFields() {
        delete verifyCert;
        delete decryptCert;
        delete signingCert;
        delete encryptCert;
        delete lastCert;
        certStores.deleteAll();
        altCertStores.deleteAll();
    }
};

}  // namespace zenvary
