// DER pieces of the message structures, built as Asn1 items and written by
// the component's own writer; object identifiers as dotted text both ways;
// and the encodings that the message logic asks for by structure type
// (signing time, OCTET STRING, RC2 parameters).
#pragma once
#include <cstdint>
#include <ctime>
#include <span>
#include <string>

#include "pki/asn1/Asn1.h"

namespace zenvary {

class DataBuffer;

// Object identifiers of the messages.
inline constexpr const char* kOidData = "1.2.840.113549.1.7.1";
inline constexpr const char* kOidSignedData = "1.2.840.113549.1.7.2";
inline constexpr const char* kOidEnvelopedData = "1.2.840.113549.1.7.3";
inline constexpr const char* kOidSignedAndEnveloped = "1.2.840.113549.1.7.4";
inline constexpr const char* kOidRsaEncryption = "1.2.840.113549.1.1.1";
inline constexpr const char* kOidRsaesOaep = "1.2.840.113549.1.1.7";
inline constexpr const char* kOidSha1 = "1.3.14.3.2.26";
inline constexpr const char* kOidSigningTime = "1.2.840.113549.1.9.5";
inline constexpr const char* kOidRc2Cbc = "1.2.840.113549.3.2";
inline constexpr const char* kOidRc4 = "1.2.840.113549.3.4";
inline constexpr const char* kOidDesCbc = "1.3.14.3.2.7";
inline constexpr const char* kOidDesEde3Cbc = "1.2.840.113549.3.7";
inline constexpr const char* kOidAes128Cbc = "2.16.840.1.101.3.4.1.2";
inline constexpr const char* kOidAes192Cbc = "2.16.840.1.101.3.4.1.22";
inline constexpr const char* kOidAes256Cbc = "2.16.840.1.101.3.4.1.42";

// Items; each answers a new Asn1 that the caller owns, or null.
Asn1* derOid(const char* dotted);  // null for a malformed identifier
Asn1* derOctets(std::span<const uint8_t> bytes);
Asn1* derNull();
Asn1* derSet();
// An INTEGER whose content octets are given as they stand.
Asn1* derIntegerContent(std::span<const uint8_t> content);
Asn1* derSmallInteger(uint32_t value);
// A context-specific item [tag]; constructed ones get an empty list.
Asn1* derContext(uint32_t tag, bool constructed);
// One encoded item re-built as Asn1 items, so that it can join a tree
// (an issuer name, algorithm parameters). Null when `der` is not exactly
// one well-formed item.
Asn1* asn1FromDer(std::span<const uint8_t> der);

// The content octets of an OBJECT IDENTIFIER as dotted text; false when
// malformed (empty, an unfinished arc, an arc beyond 64 bits).
bool oidToText(std::span<const uint8_t> content, std::string& out);
// Dotted text to content octets; false when malformed.
bool oidToContent(const char* dotted, std::string& out);

// The encodings asked for by structure type. Each appends the DER to
// `out` and answers false only when the writer fails.
// The signing time: UTCTime for the years 1950 to 2049, GeneralizedTime otherwise.
bool encodeSigningTime(std::time_t when, DataBuffer& out);
bool encodeOctetString(std::span<const uint8_t> bytes, DataBuffer& out);
// RC2-CBC parameters: SEQUENCE { version INTEGER, iv OCTET STRING }.
bool encodeRc2Params(uint32_t version, std::span<const uint8_t> iv, DataBuffer& out);

// Encodes `item` (owned, deleted here) and appends it to `out`.
bool encodeAndFree(Asn1* item, DataBuffer& out);

}  // namespace zenvary
