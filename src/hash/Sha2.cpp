// SHA-2 framing over Sha2State: counting, block buffering, padding and
// output for every selector, and the choice of block compressor.
#include "hash/Sha2.h"

#include <algorithm>
#include <cstring>

#include "hash/HashBytes.h"
#include "hash/HashCpu.h"
#include "hash/ShaBlocks.h"

namespace zenvary {

namespace {

constexpr uint32_t kInitSha1[5] = {0x67452301u, 0xEFCDAB89u, 0x98BADCFEu, 0x10325476u, 0xC3D2E1F0u};
constexpr uint32_t kInitSha256[8] = {0x6a09e667u, 0xbb67ae85u, 0x3c6ef372u, 0xa54ff53au,
                                     0x510e527fu, 0x9b05688cu, 0x1f83d9abu, 0x5be0cd19u};
constexpr uint64_t kInitSha384[8] = {0xcbbb9d5dc1059ed8ULL, 0x629a292a367cd507ULL, 0x9159015a3070dd17ULL,
                                     0x152fecd8f70e5939ULL, 0x67332667ffc00b31ULL, 0x8eb44a8768581511ULL,
                                     0xdb0c2e0d64f98fa7ULL, 0x47b5481dbefa4fa4ULL};
constexpr uint64_t kInitSha512[8] = {0x6a09e667f3bcc908ULL, 0xbb67ae8584caa73bULL, 0x3c6ef372fe94f82bULL,
                                     0xa54ff53a5f1d36f1ULL, 0x510e527fade682d1ULL, 0x9b05688c2b3e6c1fULL,
                                     0x1f83d9abfb41bd6bULL, 0x5be0cd19137e2179ULL};

bool validSelector(int32_t algorithm) { return algorithm >= kSha2Sha1 && algorithm <= kSha2Sha512; }
bool wideSelector(int32_t algorithm) { return algorithm >= kSha2Sha384; }

// The one compression entry: whole blocks of the selector's size.
void sha2Compress(Sha2State& state, const uint8_t* data, size_t blocks) {
    switch (state.algorithm) {
        case kSha2Sha1: sha1Blocks(state.h32, data, blocks); break;
        case kSha2Sha256: sha256Blocks(state.h32, data, blocks); break;
        default: sha512Blocks(state.h64, data, blocks); break;
    }
}

uint32_t blockIndex(const Sha2State& state) {
    return wideSelector(state.algorithm) ? (state.count128[3] >> 3) & 127 : (state.count32[0] >> 3) & 63;
}

void addBits(Sha2State& state, uint32_t length) {
    if (wideSelector(state.algorithm)) {
        const uint64_t low = (static_cast<uint64_t>(state.count128[2]) << 32) | state.count128[3];
        const uint64_t sum = low + (static_cast<uint64_t>(length) << 3);
        if (sum < low && ++state.count128[1] == 0) ++state.count128[0];
        state.count128[2] = static_cast<uint32_t>(sum >> 32);
        state.count128[3] = static_cast<uint32_t>(sum);
    } else {
        const uint32_t low = state.count32[0] + (length << 3);
        if (low < state.count32[0]) ++state.count32[1];
        state.count32[1] += length >> 29;
        state.count32[0] = low;
    }
}

}  // namespace

void sha256Blocks(uint32_t state[8], const uint8_t* data, size_t blocks) {
    if (shaNiActive()) sha256BlocksShaNi(state, data, blocks);
    else sha256BlocksPortable(state, data, blocks);
}

void sha512Blocks(uint64_t state[8], const uint8_t* data, size_t blocks) {
    if (sha512Avx2Active()) sha512BlocksAvx2(state, data, blocks);
    else sha512BlocksPortable(state, data, blocks);
}

uint32_t sha2DigestSize(int32_t algorithm) {
    switch (algorithm) {
        case kSha2Sha1: return 20;
        case kSha2Sha256: return 32;
        case kSha2Sha384: return 48;
        case kSha2Sha512: return 64;
        default: return 0;
    }
}

void sha2Init(Sha2State& state) {
    std::memset(state.h32, 0, sizeof state.h32);
    std::memset(state.h64, 0, sizeof state.h64);
    std::memset(state.count32, 0, sizeof state.count32);
    std::memset(state.count128, 0, sizeof state.count128);
    std::memset(state.block, 0, sizeof state.block);
    switch (state.algorithm) {
        case kSha2Sha1: std::copy(std::begin(kInitSha1), std::end(kInitSha1), state.h32); break;
        case kSha2Sha256: std::copy(std::begin(kInitSha256), std::end(kInitSha256), state.h32); break;
        case kSha2Sha384: std::copy(std::begin(kInitSha384), std::end(kInitSha384), state.h64); break;
        case kSha2Sha512: std::copy(std::begin(kInitSha512), std::end(kInitSha512), state.h64); break;
        default: break;
    }
}

void sha2Update(Sha2State& state, const void* data, uint32_t length) {
    if (data == nullptr || length == 0 || !validSelector(state.algorithm)) return;
    const uint32_t blockSize = wideSelector(state.algorithm) ? 128 : 64;
    const uint8_t* p = static_cast<const uint8_t*>(data);
    uint32_t index = blockIndex(state);
    addBits(state, length);

    if (index != 0) {
        const uint32_t take = std::min(blockSize - index, length);
        std::memcpy(state.block + index, p, take);
        index += take;
        p += take;
        length -= take;
        if (index < blockSize) return;
        sha2Compress(state, state.block, 1);
    }
    const uint32_t blocks = length / blockSize;
    if (blocks != 0) {
        sha2Compress(state, p, blocks);
        p += static_cast<size_t>(blocks) * blockSize;
        length -= blocks * blockSize;
    }
    if (length != 0) std::memcpy(state.block, p, length);
}

void sha2Final(Sha2State& state, uint8_t* digest) {
    if (!validSelector(state.algorithm)) {
        sha2Init(state);
        return;
    }
    const bool wide = wideSelector(state.algorithm);
    const uint32_t blockSize = wide ? 128 : 64;
    const uint32_t lengthBytes = wide ? 16 : 8;
    uint32_t index = blockIndex(state);

    state.block[index++] = 0x80;
    if (index > blockSize - lengthBytes) {
        std::memset(state.block + index, 0, blockSize - index);
        sha2Compress(state, state.block, 1);
        index = 0;
    }
    std::memset(state.block + index, 0, blockSize - lengthBytes - index);
    uint8_t* tail = state.block + blockSize - lengthBytes;
    if (wide) {
        for (int i = 0; i < 4; ++i) hashbytes::storeBe32(tail + 4 * i, state.count128[i]);
    } else {
        hashbytes::storeBe32(tail, state.count32[1]);
        hashbytes::storeBe32(tail + 4, state.count32[0]);
    }
    sha2Compress(state, state.block, 1);

    const uint32_t size = sha2DigestSize(state.algorithm);
    if (wide) {
        for (uint32_t i = 0; i < size / 8; ++i) hashbytes::storeBe64(digest + 8 * i, state.h64[i]);
    } else {
        for (uint32_t i = 0; i < size / 4; ++i) hashbytes::storeBe32(digest + 4 * i, state.h32[i]);
    }
    sha2Init(state);
}

// The class template's members live in the header; these instantiations keep
// the three variants compiled once in the library.
template class Sha2Hash<kSha2Sha256>;
template class Sha2Hash<kSha2Sha384>;
template class Sha2Hash<kSha2Sha512>;

}  // namespace zenvary
