// Lookups of one certificate across the certificate stores, for callers
// that name a certificate rather than hold it: by e-mail address or common
// name, and the issuer of a certificate.
#pragma once

namespace zenvary {

class Certificate;
class LogBase;

enum class CertLookupField { EmailAddress, CommonName };

// Searches, in order, the default stores (local machine, the component's
// store and the address book unless under a web account, current user),
// then the "CA" stores of the user and the machine, "AUTHROOT" and "ROOT".
// E-mail addresses are matched against the subject's "E" parts and every
// e-mail name of the subject alternative name; common names against every
// "CN" part. Both compare trimmed and without regard to ASCII case. The
// first certificate within its validity wins; when only expired ones match,
// the first of those. A new Certificate (with the store's key link) or null.
Certificate* findCertInStores(CertLookupField field, const char* value, LogBase* log);

// The issuer of `cert` from the stores (the certificate itself when it is
// self-signed), as a new Certificate, or null.
Certificate* findIssuerInStores(const Certificate& cert);

}  // namespace zenvary
