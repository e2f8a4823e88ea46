#include "pki/msg/MsgError.h"

#include <openssl/err.h>

#include "log/LogBase.h"
#include "pki/platform/PkiError.h"

namespace zenvary {

const char* msgErrorWording(uint32_t code) {
    switch (code) {
        case kErrInvalidHandle: return "The handle is invalid.";
        case kErrInvalidParameter: return "The parameter is incorrect.";
        case kNteBadData: return "Bad Data.";
        case kNteBadSignature: return "Invalid Signature.";
        case kNteFail: return "An internal error occurred.";
        case kCryptEUnknownAlgo: return "Unknown cryptographic algorithm.";
        case kCryptEInvalidMsgType: return "Invalid cryptographic message type.";
        case kCryptEHashValue: return "The hash value is not correct.";
        case kCryptENotFound: return "Cannot find object or property.";
        case kCryptEExists: return "The object or property already exists.";
        case kCryptENoDecryptCert: return "Cannot find the certificate and private key to use for decryption.";
        case kCryptENoSigner: return "Cannot find the original signer.";
        case kCryptEAsn1BadTag: return "ASN1 bad tag value met.";
        default: return "";
    }
}

void MsgError::set(uint32_t c) {
    code = c;
    text.clear();
    if (ERR_peek_error() != 0)
        PkiError::drainOpenSsl(text);
    else
        text.setString(msgErrorWording(c));
}

void MsgError::setText(uint32_t c, const char* message) {
    PkiError::clearOpenSsl();
    code = c;
    text.setString(message ? message : "");
}

StringBuffer stripped(const StringBuffer& text) {
    StringBuffer s(text);
    s.trimWhitespace();
    return s;
}

void logPrefixed(LogBase& log, const char* prefix, const StringBuffer& text) {
    StringBuffer line(prefix);
    line.appendString(stripped(text));
    log.logError(line.getString());
}

}  // namespace zenvary
