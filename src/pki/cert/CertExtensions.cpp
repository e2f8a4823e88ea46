// The extensions a Certificate reads: key usage, extended key usage and the
// RFC 822 names of the subject alternative name. An extension that does not
// decode is passed over.
#include <openssl/asn1.h>
#include <openssl/objects.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstring>

#include "pki/cert/Certificate.h"
#include "pki/platform/PkiError.h"

namespace zenvary {

void Certificate::loadExtensions() {
    X509* cert = x509();
    if (!cert) return;
    int count = X509_get_ext_count(cert);
    for (int i = 0; i < count; ++i) {
        X509_EXTENSION* ext = X509_get_ext(cert, i);
        int nid = OBJ_obj2nid(X509_EXTENSION_get_object(ext));
        if (nid != NID_key_usage && nid != NID_ext_key_usage && nid != NID_subject_alt_name) continue;
        void* decoded = X509V3_EXT_d2i(ext);
        if (!decoded) continue;

        if (nid == NID_key_usage) {
            auto* bits = static_cast<ASN1_BIT_STRING*>(decoded);
            uint8_t first = ASN1_STRING_length(bits) > 0 ? ASN1_STRING_get0_data(bits)[0] : 0;
            usageDigitalSignature = (first & 0x80) != 0;
            usageNonRepudiation = (first & 0x40) != 0;
            usageKeyEncipherment = (first & 0x20) != 0;
            usageDataEncipherment = (first & 0x10) != 0;
            usageKeyCertSign = (first & 0x04) != 0;
            usageCrlSign = (first & 0x02) != 0;
            ASN1_BIT_STRING_free(bits);
        } else if (nid == NID_ext_key_usage) {
            auto* usages = static_cast<EXTENDED_KEY_USAGE*>(decoded);
            hasExtendedUsage = true;
            for (int k = 0; k < sk_ASN1_OBJECT_num(usages); ++k) {
                char oid[80];
                OBJ_obj2txt(oid, sizeof oid, sk_ASN1_OBJECT_value(usages, k), 1);
                if (std::strcmp(oid, "1.3.6.1.5.5.7.3.1") == 0) {
                    forServerAuthentication = true;
                } else if (std::strcmp(oid, "1.3.6.1.5.5.7.3.2") == 0) {
                    forClientAuthentication = true;
                } else if (std::strcmp(oid, "1.3.6.1.5.5.7.3.3") == 0) {
                    forCodeSigning = true;
                } else if (std::strcmp(oid, "1.3.6.1.5.5.7.3.4") == 0) {
                    forSecureEmail = true;
                } else if (std::strcmp(oid, "1.3.6.1.5.5.7.3.8") == 0) {
                    forTimeStamping = true;
                }
                // 1.3.6.1.5.5.7.3.5 to .7 (IPsec) and all others set nothing.
            }
            EXTENDED_KEY_USAGE_free(usages);
        } else {
            auto* names = static_cast<GENERAL_NAMES*>(decoded);
            for (int k = 0; k < sk_GENERAL_NAME_num(names); ++k) {
                const GENERAL_NAME* name = sk_GENERAL_NAME_value(names, k);
                if (name->type != GEN_EMAIL) continue;
                const ASN1_IA5STRING* mail = name->d.rfc822Name;
                rfc822Name.setFromUtf8(std::string_view(reinterpret_cast<const char*>(ASN1_STRING_get0_data(mail)),
                                                        static_cast<size_t>(ASN1_STRING_length(mail))));
            }
            GENERAL_NAMES_free(names);
        }
    }
    PkiError::clearOpenSsl();
}

}  // namespace zenvary
