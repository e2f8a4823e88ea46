// Certificates out of the bytes of a file or a caller: PEM (any number of
// "CERTIFICATE" blocks), one DER certificate, or a PKCS#12 bundle without a
// password (its certificates; keys are not read here).
#pragma once
#include <cstdint>
#include <vector>

#include "core/StringBuffer.h"

namespace zenvary {

class CertContext;

enum class CertFileFormat { None, Pem, Der, Pkcs12 };

// Appends one new context per certificate to `out` (the caller releases
// them). An empty input gives no certificate, format None and true. On
// failure nothing is appended and `errorText` tells why.
bool parseCertificates(const uint8_t* data, uint32_t n, std::vector<CertContext*>& out,
                       CertFileFormat& format, StringBuffer& errorText);

// Releases every context of the list and empties it.
void releaseAll(std::vector<CertContext*>& contexts);

// PEM text of one certificate ("-----BEGIN CERTIFICATE-----", base64 in
// lines of 64, LF line ends), appended.
void appendPem(const uint8_t* der, uint32_t n, StringBuffer& out);

}  // namespace zenvary
