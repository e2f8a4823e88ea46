// SHA-256, SHA-384 and SHA-512 (FIPS 180-2) over one shared state record and
// one compression entry point that branches on the record's selector.
#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

#include "core/DataBuffer.h"
#include "hash/HashSource.h"

namespace zenvary {

// Selector values of Sha2State::algorithm. Selector 0 runs SHA-1 through the
// same routines; the component itself never uses it.
enum : int32_t { kSha2Sha1 = 0, kSha2Sha256 = 1, kSha2Sha384 = 2, kSha2Sha512 = 3 };

struct Sha2State {
    int32_t algorithm;
    uint32_t h32[8];        // chaining words of selectors 0 (five used) and 1
    uint32_t count32[2];    // bit count of selectors 0 and 1: low word, high word
    uint8_t block[128];     // 64 bytes used by selectors 0 and 1
    uint64_t h64[8];        // chaining words of selectors 2 and 3
    uint32_t count128[4];   // bit count of selectors 2 and 3, high word first
};

// Loads the initial values of the selector and clears the counts.
void sha2Init(Sha2State& state);
// Nothing happens for a null pointer, a zero length or a selector outside 0..3.
void sha2Update(Sha2State& state, const void* data, uint32_t length);
// Pads, writes the digest big-endian (sha2DigestSize bytes) and re-initialises.
void sha2Final(Sha2State& state, uint8_t* digest);
// 20, 32, 48 or 64; 0 for a selector outside 0..3.
uint32_t sha2DigestSize(int32_t algorithm);

// One variant of the family as a class: streaming members over a state record
// plus the one-shot entry points.
template <int32_t Algorithm>
class Sha2Hash {
public:
    static constexpr uint32_t kDigestSize = Algorithm == kSha2Sha256 ? 32 : Algorithm == kSha2Sha384 ? 48 : 64;
    static constexpr uint32_t kBlockSize = Algorithm == kSha2Sha256 ? 64 : 128;
    static constexpr uint32_t digestSize() { return kDigestSize; }
    static constexpr uint32_t blockSize() { return kBlockSize; }

    Sha2Hash() { reset(); }

    void reset() {
        m_state.algorithm = Algorithm;
        sha2Init(m_state);
    }
    // Any length; sha2Update itself takes less than 4 GiB per call.
    void update(const void* data, size_t length) {
        const uint8_t* p = static_cast<const uint8_t*>(data);
        if (p == nullptr) return;
        constexpr size_t kStep = size_t{1} << 30;
        while (length > kStep) {
            sha2Update(m_state, p, static_cast<uint32_t>(kStep));
            p += kStep;
            length -= kStep;
        }
        sha2Update(m_state, p, static_cast<uint32_t>(length));
    }
    void update(std::span<const uint8_t> bytes) { update(bytes.data(), bytes.size()); }
    // Writes kDigestSize bytes and resets for a new message.
    void finish(uint8_t* digest) { sha2Final(m_state, digest); }

    // One shot, appending the digest to `output`.
    static void hashBytes(const DataBuffer& input, DataBuffer& output) {
        hashPointer(input.data(), input.getSize(), output);
    }
    static void hashPointer(const void* data, uint32_t length, DataBuffer& output) {
        Sha2State state;
        state.algorithm = Algorithm;
        sha2Init(state);
        sha2Update(state, data, length);
        uint8_t digest[kDigestSize];
        sha2Final(state, digest);
        output.append(digest, kDigestSize);
    }
    // One shot into a caller array.
    static void digest(const void* data, size_t length, uint8_t* out) {
        Sha2Hash h;
        h.update(data, length);
        h.finish(out);
    }

    // Streaming over a source (see HashSource.h). Appends the digest and
    // returns true; after an abort logs it, clears `output`, returns false.
    template <class Source, class Monitor>
    static bool hashSource(Source& source, DataBuffer& output, Monitor* monitor, LogBase* log) {
        Sha2State state;
        state.algorithm = Algorithm;
        sha2Init(state);
        const bool completed = streamSource(source, monitor, log, abortMessage(),
                                            [&state](const uint8_t* p, uint32_t n) { sha2Update(state, p, n); });
        if (!completed) {
            output.clear();
            return false;
        }
        uint8_t digest[kDigestSize];
        sha2Final(state, digest);
        output.append(digest, kDigestSize);
        return true;
    }
    template <class Source>
    static bool hashSource(Source& source, DataBuffer& output, std::nullptr_t, LogBase* log) {
        return hashSource(source, output, static_cast<NoProgress*>(nullptr), log);
    }

private:
    static constexpr const char* abortMessage() {
        return Algorithm == kSha2Sha256   ? "SHA-256 aborted by application"
               : Algorithm == kSha2Sha384 ? "SHA-384 aborted by application"
                                          : "SHA-512 aborted by application";
    }

    Sha2State m_state;
};

using Sha256 = Sha2Hash<kSha2Sha256>;
using Sha384 = Sha2Hash<kSha2Sha384>;
using Sha512 = Sha2Hash<kSha2Sha512>;

}  // namespace zenvary
