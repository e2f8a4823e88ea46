#include "hash/DigestById.h"

namespace zenvary {

namespace {

std::variant<Sha1, Sha256, Sha384, Sha512, Md2, Md5> make(uint32_t id) {
    switch (id) {
        case 7: return Sha256();
        case 2: return Sha384();
        case 3: return Sha512();
        case 4: return Md2();
        case 5: return Md5();
        default: return Sha1();
    }
}

}  // namespace

DigestById::DigestById(uint32_t hashId) : m_digest(make(hashId)) {}

uint32_t DigestById::digestSize() const {
    return std::visit([](const auto& d) { return static_cast<uint32_t>(d.digestSize()); }, m_digest);
}

void DigestById::update(const void* data, size_t length) {
    std::visit([&](auto& d) { d.update(data, length); }, m_digest);
}

void DigestById::finish(uint8_t* out) {
    std::visit([&](auto& d) { d.finish(out); }, m_digest);
}

uint32_t DigestById::tableSize(uint32_t hashId) {
    switch (hashId) {
        case 1: return 20;
        case 7: return 32;
        case 2: return 48;
        case 3: return 64;
        default: return 16;
    }
}

}  // namespace zenvary
