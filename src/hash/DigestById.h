// A digest chosen by the facade's hash id: 1 SHA-1, 7 SHA-256, 2 SHA-384,
// 3 SHA-512, 4 MD2, 5 MD5; any other id, HAVAL's 6 included, is SHA-1
// (HAVAL needs its sizing and is dispatched apart).
#pragma once
#include <cstddef>
#include <cstdint>
#include <variant>

#include "hash/Md2.h"
#include "hash/Md5.h"
#include "hash/Sha1.h"
#include "hash/Sha2.h"

namespace zenvary {

class DigestById {
public:
    explicit DigestById(uint32_t hashId);

    uint32_t digestSize() const;
    void update(const void* data, size_t length);
    // Writes digestSize() bytes.
    void finish(uint8_t* out);

    // The output size the HMAC key rule assumes for an id: 16 for ids it
    // does not know.
    static uint32_t tableSize(uint32_t hashId);

private:
    std::variant<Sha1, Sha256, Sha384, Sha512, Md2, Md5> m_digest;
};

}  // namespace zenvary
