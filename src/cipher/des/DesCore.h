// DES (FIPS 46) in the table form: the eight S-boxes are merged with the P
// permutation into eight 64-entry tables, and each round key is stored as two
// words whose 6-bit groups line up with the expanded right half.
#pragma once
#include <cstdint>
#include <span>

namespace zenvary {

// 16 rounds of two words each.
using DesSchedule = std::span<uint32_t, 32>;
using DesConstSchedule = std::span<const uint32_t, 32>;

// Builds the encryption schedule of one 8-byte key; parity bits are ignored.
void desKeySchedule(std::span<const uint8_t, 8> key, DesSchedule out);

// The decryption schedule is the encryption one with its round pairs reversed.
void desReverseSchedule(DesConstSchedule enc, DesSchedule dec);

// One block through one schedule. `in` and `out` may be the same bytes.
void desCryptBlock(DesConstSchedule keys, std::span<const uint8_t, 8> in, std::span<uint8_t, 8> out);

// One block through three schedules in a row with a single initial and final
// permutation: EDE encryption passes (enc k1, dec k2, enc k3), decryption
// (dec k3, enc k2, dec k1).
void des3CryptBlock(std::span<const uint32_t, 96> keys, std::span<const uint8_t, 8> in,
                    std::span<uint8_t, 8> out);

}  // namespace zenvary
