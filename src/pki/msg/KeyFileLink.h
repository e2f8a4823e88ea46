// Links a certificate to the private key of a PEM (or DER) key file: the
// key is imported into the key container named by the certificate's
// thumbprint, which is the one way a private key enters the component.
// Used by the bindings, whose callers hold their keys as files.
#pragma once

namespace zenvary {

class ClsCert;
class LogBase;

// False (logged) when the file holds no RSA private key, the key is not the
// certificate's, or the import fails.
bool linkKeyFile(ClsCert& cert, const char* utf8Path, LogBase* log);

}  // namespace zenvary
