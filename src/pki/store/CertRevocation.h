// Revocation of a certificate by the certificate revocation lists kept
// beside the stores: files whose names end in ".crl" (DER, or PEM with any
// number of lists) in the directories of the user's and the machine's "CA"
// stores and of the root store. A list counts when its issuer is the
// certificate's issuer and its signature verifies with the issuer's key
// (the issuer is looked up in the stores). No list is fetched from the
// network.
#pragma once

namespace zenvary {

class Certificate;
class LogBase;

// 1 revoked (a usable list names the certificate), 0 not revoked (at least
// one usable list, none names it), -1 unknown (no issuer or no usable list).
int checkRevocation(const Certificate& cert, LogBase* log);

}  // namespace zenvary
