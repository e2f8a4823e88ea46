// CryptoSettings2: the cryptographic provider choice copied from a provider
// object and read by the message code. Plain data.
#pragma once
#include <cstdint>

#include "core/StringBuffer.h"

namespace zenvary {

struct CryptoSettings2 {
    StringBuffer providerName;
    StringBuffer keyContainerName;
    uint32_t machineKeyset = 0;
    uint32_t providerType = 0;
    uint32_t hashAlgId = 0;
    uint32_t hashNumBits = 0;
    StringBuffer hashAlgorithm;
    uint32_t encryptAlgId = 0;
    uint32_t encryptNumBits = 0;
    StringBuffer encryptAlgorithm;
};

}  // namespace zenvary
