// MsgError: the outcome of one message operation, the counterpart of the
// platform's last-error value and its text. The message logic branches on a
// few of these codes, so the operations set them from OpenSSL's outcomes;
// the text is OpenSSL's error queue when it has something to say, otherwise
// the fixed wording of the code.
#pragma once
#include <cstdint>

#include "core/StringBuffer.h"

namespace zenvary {

class LogBase;

// Codes of the message operations.
inline constexpr uint32_t kErrInvalidHandle = 6;              // no private key can be reached
inline constexpr uint32_t kErrInvalidParameter = 87;          // a null or empty argument
inline constexpr uint32_t kNteBadData = 0x80090005;           // content does not decrypt
inline constexpr uint32_t kNteBadSignature = 0x80090006;      // the signature does not verify
inline constexpr uint32_t kNteFail = 0x80090020;              // the library failed otherwise
inline constexpr uint32_t kCryptEUnknownAlgo = 0x80091002;    // algorithm has no mapping here
inline constexpr uint32_t kCryptEInvalidMsgType = 0x80091004; // not the message type asked for
inline constexpr uint32_t kCryptEHashValue = 0x80091007;      // content digest does not match
inline constexpr uint32_t kCryptENotFound = 0x80092004;       // no certificate for the signer
inline constexpr uint32_t kCryptEExists = 0x80092005;         // the object is there already
inline constexpr uint32_t kCryptENoDecryptCert = 0x8009200C;  // no recipient key at hand
inline constexpr uint32_t kCryptENoSigner = 0x8009200E;       // no signer at this index
inline constexpr uint32_t kCryptEAsn1BadTag = 0x8009310B;     // the message does not decode

struct MsgError {
    uint32_t code = 0;
    StringBuffer text;

    void clear() {
        code = 0;
        text.clear();
    }
    // Sets `c`. The text is OpenSSL's error queue, drained, or the fixed
    // wording of `c` when the queue is empty.
    void set(uint32_t c);
    // Sets `c` with a text of the caller's, and empties OpenSSL's queue.
    void setText(uint32_t c, const char* message);
    bool failed() const { return code != 0; }
};

// The fixed wording of a code; empty for a code of no known meaning.
const char* msgErrorWording(uint32_t code);

// An error text stripped of surrounding blanks, tabs, CR and LF.
StringBuffer stripped(const StringBuffer& text);
// Logs `prefix` followed by the stripped text as an error.
void logPrefixed(LogBase& log, const char* prefix, const StringBuffer& text);

}  // namespace zenvary
