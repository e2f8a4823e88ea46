// AesImpl: the block-level AES engines. Each implementation expands a key
// into an AesSchedule of its own layout and runs whole blocks in ECB or CBC.
// A schedule must be used only with the implementation that built it.
#pragma once
#include <cstddef>
#include <cstdint>

namespace zenvary {

struct AesSchedule {
    // 15 round keys of 16 bytes at most; the layout belongs to the builder.
    alignas(16) uint32_t words[60];
    uint32_t rounds;  // 10, 12 or 14
};

struct AesImpl {
    const char* name;
    // keyBytes is 16, 24 or 32. With forDecrypt the round keys are those of
    // the equivalent inverse cipher, in the order decryption uses them.
    void (*expandKey)(AesSchedule& ks, const uint8_t* key, uint32_t keyBytes, bool forDecrypt);
    // `in` and `out` may be the same pointer; partial overlap is not allowed.
    void (*encryptEcb)(const AesSchedule& ks, const uint8_t* in, uint8_t* out, size_t blocks);
    void (*decryptEcb)(const AesSchedule& ks, const uint8_t* in, uint8_t* out, size_t blocks);
    // `iv` holds the chaining block on entry and the last ciphertext block on return.
    void (*encryptCbc)(const AesSchedule& ks, uint8_t iv[16], const uint8_t* in, uint8_t* out, size_t blocks);
    void (*decryptCbc)(const AesSchedule& ks, uint8_t iv[16], const uint8_t* in, uint8_t* out, size_t blocks);
};

// 32-bit T-table implementation; runs everywhere.
const AesImpl& aesPortable();
// AES-NI implementation; call only when aesX86niSupported() is true.
const AesImpl& aesX86ni();
bool aesX86niSupported();

// Which implementation aesActive() hands out.
enum class AesPath { Auto, Portable, X86ni };

// The implementation in use: AES-NI when the processor has it, else portable,
// unless aesSelectPath() forced one. New schedules pick it up; existing ones
// keep the implementation that built them.
const AesImpl& aesActive();
// Forces a path, for tests and benchmarks. Returns false (and changes
// nothing) when X86ni is asked for on a processor without it.
bool aesSelectPath(AesPath path);

}  // namespace zenvary
