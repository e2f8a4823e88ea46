// CryptoAlg: one algorithm that a provider reports, with its id, key size
// and name, and the object identifier that the message code uses for it.
// The class of an algorithm is in the bits 0xE000 of its id.
#pragma once
#include <cstdint>

#include "core/StringBuffer.h"
#include "core/ZenvaryObject.h"

namespace zenvary {

class CryptoAlg : public ZenvaryObject {
public:
    CryptoAlg() = default;
    CryptoAlg(uint32_t algId, uint32_t numBits, const char* name) : algId(algId), numBits(numBits), name(name) {}
    ~CryptoAlg() override = default;

    bool isEncrypt() const;       // block (0x6000) or stream (0x4000) cipher
    bool isHash() const;          // 0x8000
    bool isKeyExchange() const;   // 0xA000
    bool isSignature() const;     // 0x2000

    // Appends the object identifier for the name and answers whether the
    // name was recognised. An unknown hash gives SHA-1's, an unknown cipher
    // RC2's, both answering false; other classes write nothing.
    bool getOid(StringBuffer& out) const;

    uint32_t getAlgId() const { return algId; }
    uint32_t getNumBits() const { return numBits; }
    const StringBuffer& getName() const { return name; }
    CryptoAlg* clone() const { return new CryptoAlg(algId, numBits, name.getString()); }

private:
    uint32_t algClass() const { return algId & 0xE000; }

    uint32_t algId = 0;
    uint32_t numBits = 0;
    StringBuffer name;
};

}  // namespace zenvary
