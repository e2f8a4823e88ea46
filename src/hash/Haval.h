// Haval: the HAVAL digest (Zheng, Pieprzyk, Seberry, version 1) with 3, 4 or
// 5 passes and 128, 160, 192, 224 or 256 output bits. The object holds only
// the two parameters; the running digest lives in a HavalContext record.
#pragma once
#include <cstddef>
#include <cstdint>

#include "hash/HashSource.h"

namespace zenvary {

struct HavalContext {
    uint32_t count[2];  // bit count: low word, high word
    uint32_t state[8];
    uint8_t block[128];
};

class Haval {
public:
    static constexpr uint32_t kBlockSize = 128;
    static constexpr uint32_t kMaxDigestSize = 32;

    Haval() = default;
    Haval(int32_t rounds, int32_t outputBits) : m_rounds(rounds), m_outputBits(outputBits) {}
    virtual ~Haval() = default;

    // Plain stores; callers clamp. Out-of-range values are read as the
    // nearest allowed ones: rounds below 4 as 3, above 4 as 5; output bits
    // as the largest allowed size not above them (128 at least).
    void setRounds(int32_t n) { m_rounds = n; }
    void setOutputBits(int32_t n) { m_outputBits = n; }
    int32_t rounds() const { return m_rounds; }
    int32_t outputBits() const { return m_outputBits; }
    // The passes and output bits actually used, and the digest size in bytes.
    int32_t effectiveRounds() const;
    int32_t effectiveOutputBits() const;
    uint32_t digestSize() const { return static_cast<uint32_t>(effectiveOutputBits()) / 8; }

    void init(HavalContext& ctx) const;
    // A null pointer or a zero length changes nothing.
    void update(HavalContext& ctx, const void* data, size_t length) const;
    // Pads, appends the tail, folds the state to the output size and writes
    // digestSize() bytes. The context is wiped.
    void final(HavalContext& ctx, uint8_t* out) const;

    // One shot; `out` must hold digestSize() bytes. Only a null pointer with
    // a non-zero length is refused (false, `out` untouched).
    bool hash(const void* data, size_t length, uint8_t* out) const;

    // Streaming over a source (see HashSource.h). After an abort the message
    // is logged and the digest of what was read is still written, but false
    // is returned and the caller discards it.
    template <class Source, class Monitor>
    bool hashSource(Source& source, uint8_t* out, Monitor* monitor, LogBase* log) const {
        HavalContext ctx;
        init(ctx);
        const bool completed = streamSource(source, monitor, log, "Haval hash aborted by application",
                                            [&](const uint8_t* p, uint32_t n) { update(ctx, p, n); });
        final(ctx, out);
        return completed;
    }
    template <class Source>
    bool hashSource(Source& source, uint8_t* out, std::nullptr_t, LogBase* log) const {
        return hashSource(source, out, static_cast<NoProgress*>(nullptr), log);
    }

private:
    int32_t m_rounds = 3;
    int32_t m_outputBits = 128;
};

// A streaming face with the members the generic HMAC expects.
class HavalStream {
public:
    static constexpr uint32_t kBlockSize = Haval::kBlockSize;
    static constexpr uint32_t blockSize() { return kBlockSize; }

    HavalStream(int32_t rounds, int32_t outputBits) : m_haval(rounds, outputBits) { reset(); }
    uint32_t digestSize() const { return m_haval.digestSize(); }
    void reset() { m_haval.init(m_ctx); }
    void update(const void* data, size_t length) { m_haval.update(m_ctx, data, length); }
    void finish(uint8_t* digest) {
        m_haval.final(m_ctx, digest);
        reset();
    }

private:
    Haval m_haval;
    HavalContext m_ctx;
};

}  // namespace zenvary
