// MD5 (RFC 1321). HmacMD5 is the digest core, in spite of its name: it keeps
// no state of its own and works on an Md5Context record. DigestMD5 holds the
// one-shot and streaming entry points.
#pragma once
#include <cstddef>
#include <cstdint>

#include "hash/HashSource.h"

namespace zenvary {

class DataBuffer;
class StringBuffer;

struct Md5Context {
    uint32_t state[4];
    uint32_t count[2];  // bit count: low word, high word
    uint8_t block[64];
};

class HmacMD5 {
public:
    static constexpr uint32_t kDigestSize = 16;
    static constexpr uint32_t kBlockSize = 64;

    virtual ~HmacMD5() = default;

    void init(Md5Context& ctx) const;
    // A null pointer or a zero length changes nothing.
    void update(Md5Context& ctx, const void* data, size_t length) const;
    // Pads, writes 16 bytes and wipes the context to zero.
    void final(Md5Context& ctx, uint8_t digest[kDigestSize]) const;
};

class DigestMD5 {
public:
    virtual ~DigestMD5() = default;

    // One shot into a 16-byte array.
    void digest(const StringBuffer& text, uint8_t out[16]) const;
    void digest(const DataBuffer& data, uint8_t out[16]) const;
    void digest(const void* data, size_t length, uint8_t out[16]) const;

    // Streaming over a source (see HashSource.h). After an abort the message
    // is logged and the digest of what was read is still written, but false
    // is returned and the caller discards it.
    template <class Source, class Monitor>
    bool digestSource(Source& source, Monitor* monitor, LogBase* log, uint8_t out[16]) const {
        HmacMD5 core;
        Md5Context ctx;
        core.init(ctx);
        const bool completed = streamSource(source, monitor, log, "Digest MD5 aborted by application",
                                            [&](const uint8_t* p, uint32_t n) { core.update(ctx, p, n); });
        core.final(ctx, out);
        return completed;
    }
    template <class Source>
    bool digestSource(Source& source, std::nullptr_t, LogBase* log, uint8_t out[16]) const {
        return digestSource(source, static_cast<NoProgress*>(nullptr), log, out);
    }
};

// A streaming face over the core with the members the generic HMAC expects.
class Md5 {
public:
    static constexpr uint32_t kDigestSize = 16;
    static constexpr uint32_t kBlockSize = 64;
    static constexpr uint32_t digestSize() { return kDigestSize; }
    static constexpr uint32_t blockSize() { return kBlockSize; }

    Md5() { reset(); }
    void reset() { m_core.init(m_ctx); }
    void update(const void* data, size_t length) { m_core.update(m_ctx, data, length); }
    void finish(uint8_t digest[kDigestSize]) {
        m_core.final(m_ctx, digest);
        reset();
    }

private:
    HmacMD5 m_core;
    Md5Context m_ctx;
};

}  // namespace zenvary
