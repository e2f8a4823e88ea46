// RsaKeyXml: the RSA key XML form. Every value is the base64 of the
// big-endian unsigned integer, with no leading zero octet and no white space:
// <RSAKeyValue><Modulus>..</Modulus><Exponent>..</Exponent><P>..</P><Q>..</Q>
// <DP>..</DP><DQ>..</DQ><InverseQ>..</InverseQ><D>..</D></RSAKeyValue>
// (one line). Written in that order; read by tag name in any order.
#pragma once
#include "core/DataBuffer.h"

namespace zenvary {

class LogBase;
class StringBuffer;

// The eight numbers of a private key as their base64 decodes, big-endian.
struct RsaKeyParts {
    DataBuffer modulus;
    DataBuffer exponent;
    DataBuffer p;
    DataBuffer q;
    DataBuffer dp;
    DataBuffer dq;
    DataBuffer inverseQ;
    DataBuffer d;
};

class RsaKeyXml {
public:
    // The XML of a PKCS#1 RSAPrivateKey DER, appended to `out`. Messages
    // "Invalid ASN.1 for RSA Private Key" (not a sequence), the same with "."
    // (no items) and with ".." (fewer than nine items).
    static bool fromDer(const DataBuffer& der, StringBuffer& out, LogBase* log);
    // The parts of the XML. Messages "Cannot import private key, XML is
    // empty", "Modulus missing for private key", "Exponent missing for
    // private key", "Parts missing for private key".
    static bool parse(const StringBuffer& xml, RsaKeyParts& parts, LogBase* log);
};

}  // namespace zenvary
