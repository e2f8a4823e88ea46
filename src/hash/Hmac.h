// Hmac: HMAC (RFC 2104) over any of the digest classes. A digest class
// needs reset(), update(pointer, length), finish(out), digestSize() and
// blockSize(): Sha1, Sha256, Sha384, Sha512, Md2, Md5 and HavalStream.
//
// The pad block is the digest's own block size unless the caller gives
// another; keys longer than the pad block are first replaced by their digest.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <utility>
#include <vector>

namespace zenvary {

template <class Digest>
class Hmac {
public:
    // The arguments, if any, construct the digest (HavalStream takes its
    // passes and output bits).
    template <class... Args>
    explicit Hmac(Args&&... args) : m_inner(args...), m_outer(std::forward<Args>(args)...) {
        setKey(nullptr, 0);  // an empty key is valid
    }

    ~Hmac() { wipe(); }
    Hmac(const Hmac&) = delete;
    Hmac& operator=(const Hmac&) = delete;

    uint32_t macSize() const { return m_inner.digestSize(); }

    // Sets the key and starts a message. `padBlock` 0 means the digest's
    // block size.
    void setKey(const void* key, size_t keyLength, uint32_t padBlock = 0) {
        const uint32_t block = padBlock != 0 ? padBlock : m_inner.blockSize();
        wipe();
        m_innerPad.assign(block, 0x36);
        m_outerPad.assign(block, 0x5C);

        const uint8_t* k = static_cast<const uint8_t*>(key);
        std::vector<uint8_t> hashedKey;
        if (keyLength > block) {
            hashedKey.resize(m_inner.digestSize());
            m_inner.reset();
            m_inner.update(k, keyLength);
            m_inner.finish(hashedKey.data());
            k = hashedKey.data();
            keyLength = hashedKey.size();
        }
        for (size_t i = 0; i < keyLength && i < block; ++i) {
            m_innerPad[i] ^= k[i];
            m_outerPad[i] ^= k[i];
        }
        if (!hashedKey.empty()) std::memset(hashedKey.data(), 0, hashedKey.size());
        restart();
    }
    void setKey(std::span<const uint8_t> key, uint32_t padBlock = 0) { setKey(key.data(), key.size(), padBlock); }

    // Starts a new message with the same key.
    void restart() {
        m_inner.reset();
        m_inner.update(m_innerPad.data(), m_innerPad.size());
    }
    void update(const void* data, size_t length) { m_inner.update(data, length); }
    void update(std::span<const uint8_t> bytes) { m_inner.update(bytes.data(), bytes.size()); }

    // Writes macSize() bytes and restarts for another message with the same key.
    void finish(uint8_t* mac) {
        uint8_t innerDigest[64];
        const uint32_t size = m_inner.digestSize();
        m_inner.finish(innerDigest);
        m_outer.reset();
        m_outer.update(m_outerPad.data(), m_outerPad.size());
        m_outer.update(innerDigest, size);
        m_outer.finish(mac);
        std::memset(innerDigest, 0, sizeof innerDigest);
        restart();
    }

private:
    void wipe() {
        if (!m_innerPad.empty()) std::memset(m_innerPad.data(), 0, m_innerPad.size());
        if (!m_outerPad.empty()) std::memset(m_outerPad.data(), 0, m_outerPad.size());
    }

    Digest m_inner;
    Digest m_outer;
    std::vector<uint8_t> m_innerPad;
    std::vector<uint8_t> m_outerPad;
};

// One-shot HMAC into `mac` (the digest's size). Extra arguments construct
// the digest, as for Hmac.
template <class Digest, class... Args>
void hmac(const void* key, size_t keyLength, const void* data, size_t length, uint8_t* mac, Args&&... args) {
    Hmac<Digest> h(std::forward<Args>(args)...);
    h.setKey(key, keyLength);
    h.update(data, length);
    h.finish(mac);
}

}  // namespace zenvary
