// What the table-driven vector tests share: where the files are and which
// ones each family reads, the rules that make a vector inapplicable (each
// with a counter printed when the program ends), and small bridges between
// byte vectors and the component's buffers.
#pragma once
#include <cstddef>
#include <string>
#include <vector>

#include "core/DataBuffer.h"
#include "core/XString.h"
#include "kat/KatFile.h"

namespace zenvary {
class ClsCrypt;
}

namespace zvkat {

// A reason for which the component cannot be held to a vector. Every vector
// left out is counted under exactly one rule.
struct SkipRule {
    const char* name;
    const char* reason;
};

inline constexpr SkipRule kHashNotOffered{"hash-not-offered",
                                          "the component has no such hash (SHA-224, SHA-512/224, SHA-512/256)"};
inline constexpr SkipRule kHmacBlock64{"hmac-block-64",
                                       "published HMAC-SHA-384/512 uses a 128-byte block; the component's HMAC "
                                       "uses 64 for every hash (checked against a 64-byte-block reference instead)"};
inline constexpr SkipRule kKeySizeNotTaken{"key-size-not-taken",
                                           "key length the cipher does not take as it stands (AES 16/24/32 "
                                           "bytes, DES 8/16/24, ARC4 1-256, blowfish2 4-56, blowfish 5-56)"};
inline constexpr SkipRule kPartialBlock{"partial-block",
                                        "data that is not whole blocks has no unpadded known answer"};

void countSkip(const SkipRule& rule, size_t n = 1);
size_t skipCount(const SkipRule& rule);
// Vectors run per family, and rules applied to vectors that did run (e.g. a
// truncated MAC compared by its prefix); both are printed with the skips.
void countRun(const std::string& family, size_t n = 1);
void countApplied(const std::string& what, size_t n = 1);

// tests/vectors/<family>/<file>.
std::string vectorPath(const std::string& family, const std::string& file);

// The files each family reads; every file under tests/vectors is in one list.
const std::vector<std::string>& aesFiles();   // family "aes"
const std::vector<std::string>& tdesFiles();  // family "tdes"
const std::vector<std::string>& shaFiles();   // family "sha"
const std::vector<std::string>& md5Files();   // family "md5"
const std::vector<std::string>& hmacFiles();  // family "hmac"
const std::vector<std::string>& arc4Files();  // family "arc4"
const std::vector<std::string>& blowfishFiles();  // family "blowfish"

// Buffers and text.
zenvary::XString xs(const std::string& utf8);
// A DataBuffer holding a copy of `b`.
struct Buf : zenvary::DataBuffer {
    explicit Buf(const Bytes& b) { append(b.data(), static_cast<uint32_t>(b.size())); }
};
Bytes bytesOf(const zenvary::DataBuffer* d);
inline Bytes bytesOf(const zenvary::DataBuffer& d) { return bytesOf(&d); }
std::string lower(std::string s);

// Runs `data` through EncryptBytes or DecryptBytes in pieces of the given
// sizes, setting FirstChunk and LastChunk as a caller does, and joins the
// outputs. `ok` turns false if any call gave null. The flags are left at
// their defaults (both set) afterwards.
Bytes runChunks(zenvary::ClsCrypt& c, bool encrypt, const Bytes& data, const std::vector<size_t>& pieces, bool& ok);

// Piece sizes that cut `n` bytes across and inside block boundaries: a
// short first piece, pieces that straddle blocks, an empty one, the rest.
std::vector<size_t> awkwardPieces(size_t n, size_t block);

}  // namespace zvkat
