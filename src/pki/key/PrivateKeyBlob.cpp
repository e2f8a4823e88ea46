#include "pki/key/PrivateKeyBlob.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>

#include <cerrno>
#include <algorithm>
#include <iterator>
#include <vector>

#include "core/DataBuffer.h"
#include "log/LogBase.h"
#include "pki/asn1/Asn1.h"
#include "pki/key/RsaKeyXml.h"

namespace zenvary {

namespace {

constexpr uint8_t kBlobType = 7;
constexpr uint8_t kBlobVersion = 2;
constexpr uint32_t kMagicRsa2 = 0x32415352;  // "RSA2"

// The numbers after the header in blob order, with their slot sizes as a
// fraction of the bit length: 8 for n/8, 16 for n/16.
struct BlobSlot {
    const char* param;
    uint32_t divisor;
};
constexpr BlobSlot kSlots[] = {
    {OSSL_PKEY_PARAM_RSA_N, 8},         {OSSL_PKEY_PARAM_RSA_FACTOR1, 16},
    {OSSL_PKEY_PARAM_RSA_FACTOR2, 16},  {OSSL_PKEY_PARAM_RSA_EXPONENT1, 16},
    {OSSL_PKEY_PARAM_RSA_EXPONENT2, 16}, {OSSL_PKEY_PARAM_RSA_COEFFICIENT1, 16},
    {OSSL_PKEY_PARAM_RSA_D, 8},
};

void putU32(DataBuffer& out, uint32_t v) {
    uint8_t b[4] = {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v >> 16),
                    static_cast<uint8_t>(v >> 24)};
    out.append(b, 4);
}

uint32_t getU32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
           (static_cast<uint32_t>(p[3]) << 24);
}

void putHeader(DataBuffer& out, bool isExchange, uint32_t bitLength, uint32_t exponent) {
    out.appendByte(kBlobType);
    out.appendByte(kBlobVersion);
    out.appendByte(0);
    out.appendByte(0);
    putU32(out, isExchange ? PrivateKeyBlob::kAlgExchange : PrivateKeyBlob::kAlgSignature);
    putU32(out, kMagicRsa2);
    putU32(out, bitLength);
    putU32(out, exponent);
}

// The size of a well-formed blob of that bit length.
uint64_t blobSize(uint32_t bitLength) {
    uint64_t size = PrivateKeyBlob::kHeaderSize;
    for (const BlobSlot& slot : kSlots) size += bitLength / slot.divisor;
    return size;
}

// Checks the header; `bitLength` and `exponent` get its numbers.
bool readHeader(const DataBuffer& blob, uint32_t& bitLength, uint32_t& exponent) {
    if (blob.getSize() < PrivateKeyBlob::kHeaderSize) return false;
    const uint8_t* p = blob.data();
    if (p[0] != kBlobType || p[1] != kBlobVersion || getU32(p + 8) != kMagicRsa2) return false;
    bitLength = getU32(p + 12);
    exponent = getU32(p + 16);
    return bitLength != 0 && blobSize(bitLength) == blob.getSize();
}

// The number little-endian, with zeros up to `slot` octets when shorter.
void appendReversed(DataBuffer& out, const DataBuffer& bigEndian, uint32_t slot) {
    std::vector<uint8_t> bytes(bigEndian.data(), bigEndian.data() + bigEndian.getSize());
    std::reverse(bytes.begin(), bytes.end());
    if (bytes.size() < slot) bytes.resize(slot, 0);
    out.append(bytes);
    OPENSSL_cleanse(bytes.data(), bytes.size());
}

}  // namespace

bool PrivateKeyBlob::fromKey(EVP_PKEY* key, bool isExchange, DataBuffer& blob, uint32_t& error) {
    error = 0;
    blob.clear();
    if (!key || !EVP_PKEY_is_a(key, "RSA")) {
        error = EINVAL;
        return false;
    }
    ERR_clear_error();
    BIGNUM* e = nullptr;
    if (!EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_RSA_E, &e) || BN_num_bytes(e) > 4) {
        BN_free(e);
        error = static_cast<uint32_t>(ERR_peek_last_error());
        if (error == 0) error = EINVAL;
        return false;
    }
    uint8_t exponentBytes[4] = {0, 0, 0, 0};
    BN_bn2lebinpad(e, exponentBytes, 4);
    BN_free(e);

    // The bit length rounded up to whole halves, so that every number fits.
    const uint32_t bits = static_cast<uint32_t>(EVP_PKEY_get_bits(key));
    const uint32_t bitLength = (bits + 15) / 16 * 16;
    putHeader(blob, isExchange, bitLength, getU32(exponentBytes));

    std::vector<uint8_t> slot;
    bool ok = true;
    for (const BlobSlot& s : kSlots) {
        BIGNUM* value = nullptr;
        if (!EVP_PKEY_get_bn_param(key, s.param, &value)) {
            ok = false;
            break;
        }
        slot.assign(bitLength / s.divisor, 0);
        int written = BN_bn2lebinpad(value, slot.data(), static_cast<int>(slot.size()));
        BN_clear_free(value);
        if (written < 0) {
            ok = false;
            break;
        }
        blob.append(slot.data(), static_cast<uint32_t>(slot.size()));
    }
    if (!slot.empty()) OPENSSL_cleanse(slot.data(), slot.size());
    if (!ok) {
        error = static_cast<uint32_t>(ERR_peek_last_error());
        if (error == 0) error = EINVAL;
        blob.clear();
    }
    return ok;
}

bool PrivateKeyBlob::toDer(const DataBuffer& blob, DataBuffer& der, LogBase* log) {
    uint32_t bitLength = 0;
    uint32_t exponent = 0;
    if (!readHeader(blob, bitLength, exponent)) {
        if (log) log->logError("Invalid private key blob");
        return false;
    }
    const uint8_t* p = blob.data() + kHeaderSize;
    // Big-endian copies of the seven slots, in blob order.
    std::vector<uint8_t> numbers[7];
    for (int i = 0; i < 7; ++i) {
        uint32_t size = bitLength / kSlots[i].divisor;
        numbers[i].assign(std::make_reverse_iterator(p + size), std::make_reverse_iterator(p));
        p += size;
    }
    const uint8_t version = 0;
    // The exponent's first three octets as they stand: exact for 65537.
    const uint8_t* exponentField = blob.data() + 16;

    Asn1* sequence = Asn1::newSequence();
    auto add = [&](const std::vector<uint8_t>& v) {
        sequence->appendSubItem(Asn1::newInteger(v.data(), static_cast<uint32_t>(v.size())));
    };
    sequence->appendSubItem(Asn1::newInteger(&version, 1));
    add(numbers[0]);                                      // modulus
    sequence->appendSubItem(Asn1::newInteger(exponentField, 3));
    add(numbers[6]);                                      // D
    for (int i = 1; i <= 5; ++i) add(numbers[i]);         // P, Q, DP, DQ, InverseQ
    bool ok = sequence->encode(der, log);
    delete sequence;
    for (auto& v : numbers) OPENSSL_cleanse(v.data(), v.size());
    return ok;
}

void PrivateKeyBlob::fromParts(const RsaKeyParts& parts, bool isExchange, DataBuffer& blob) {
    blob.clear();
    uint8_t exponentBytes[4] = {0, 0, 0, 0};
    // A 3-octet exponent gets a zero octet appended, a shorter one zeros:
    // either way the first four octets are read as they stand.
    for (uint32_t i = 0; i < parts.exponent.getSize() && i < 4; ++i) exponentBytes[i] = parts.exponent.data()[i];
    const uint32_t bitLength = parts.modulus.getSize() * 8;
    putHeader(blob, isExchange, bitLength, getU32(exponentBytes));
    appendReversed(blob, parts.modulus, bitLength / 8);
    for (const DataBuffer* half : {&parts.p, &parts.q, &parts.dp, &parts.dq, &parts.inverseQ})
        appendReversed(blob, *half, bitLength / 16);
    appendReversed(blob, parts.d, bitLength / 8);
}

EVP_PKEY* PrivateKeyBlob::toKey(const DataBuffer& blob, OSSL_LIB_CTX* ctx, uint32_t& error) {
    error = 0;
    uint32_t bitLength = 0;
    uint32_t exponent = 0;
    if (!readHeader(blob, bitLength, exponent)) {
        error = EINVAL;
        return nullptr;
    }
    ERR_clear_error();
    BIGNUM* numbers[7] = {};
    const uint8_t* p = blob.data() + kHeaderSize;
    bool ok = true;
    for (int i = 0; i < 7 && ok; ++i) {
        int size = static_cast<int>(bitLength / kSlots[i].divisor);
        numbers[i] = BN_secure_new();
        ok = numbers[i] && BN_lebin2bn(p, size, numbers[i]);
        p += size;
    }
    BIGNUM* e = BN_new();
    ok = ok && e && BN_set_word(e, exponent);

    OSSL_PARAM_BLD* build = ok ? OSSL_PARAM_BLD_new() : nullptr;
    ok = ok && build && OSSL_PARAM_BLD_push_BN(build, OSSL_PKEY_PARAM_RSA_E, e);
    for (int i = 0; i < 7 && ok; ++i) ok = OSSL_PARAM_BLD_push_BN(build, kSlots[i].param, numbers[i]);
    OSSL_PARAM* params = ok ? OSSL_PARAM_BLD_to_param(build) : nullptr;

    EVP_PKEY* key = nullptr;
    EVP_PKEY_CTX* make = params ? EVP_PKEY_CTX_new_from_name(ctx, "RSA", nullptr) : nullptr;
    if (make && EVP_PKEY_fromdata_init(make) == 1 && EVP_PKEY_fromdata(make, &key, EVP_PKEY_KEYPAIR, params) == 1) {
        // The numbers must make one key: n = pq, the exponents and the
        // coefficient agree with them.
        EVP_PKEY_CTX* check = EVP_PKEY_CTX_new_from_pkey(ctx, key, nullptr);
        if (!check || EVP_PKEY_pairwise_check(check) != 1) {
            EVP_PKEY_free(key);
            key = nullptr;
        }
        EVP_PKEY_CTX_free(check);
    }
    if (!key) {
        error = static_cast<uint32_t>(ERR_peek_last_error());
        if (error == 0) error = EINVAL;
    }
    EVP_PKEY_CTX_free(make);
    OSSL_PARAM_free(params);
    OSSL_PARAM_BLD_free(build);
    BN_free(e);
    for (BIGNUM* n : numbers) BN_clear_free(n);
    return key;
}

}  // namespace zenvary
