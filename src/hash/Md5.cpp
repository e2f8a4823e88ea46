// MD5 (RFC 1321): four rounds of sixteen steps written out, little-endian
// words, wiping the context once the digest is out.
#include "hash/Md5.h"

#include <algorithm>
#include <cstring>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"
#include "hash/HashBytes.h"

namespace zenvary {

using hashbytes::loadLe32;
using hashbytes::rotl32;

namespace {

#define MD5_F(x, y, z) ((z) ^ ((x) & ((y) ^ (z))))
#define MD5_G(x, y, z) ((y) ^ ((z) & ((x) ^ (y))))
#define MD5_H(x, y, z) ((x) ^ (y) ^ (z))
#define MD5_I(x, y, z) ((y) ^ ((x) | ~(z)))
#define MD5_STEP(f, a, b, c, d, x, s, t) a = b + rotl32(a + f(b, c, d) + (x) + (t), s)

void md5Blocks(uint32_t state[4], const uint8_t* data, size_t blocks) {
    for (; blocks != 0; --blocks, data += 64) {
        uint32_t x[16];
        for (int i = 0; i < 16; ++i) x[i] = loadLe32(data + 4 * i);
        uint32_t a = state[0], b = state[1], c = state[2], d = state[3];

        MD5_STEP(MD5_F, a, b, c, d, x[0], 7, 0xd76aa478);
        MD5_STEP(MD5_F, d, a, b, c, x[1], 12, 0xe8c7b756);
        MD5_STEP(MD5_F, c, d, a, b, x[2], 17, 0x242070db);
        MD5_STEP(MD5_F, b, c, d, a, x[3], 22, 0xc1bdceee);
        MD5_STEP(MD5_F, a, b, c, d, x[4], 7, 0xf57c0faf);
        MD5_STEP(MD5_F, d, a, b, c, x[5], 12, 0x4787c62a);
        MD5_STEP(MD5_F, c, d, a, b, x[6], 17, 0xa8304613);
        MD5_STEP(MD5_F, b, c, d, a, x[7], 22, 0xfd469501);
        MD5_STEP(MD5_F, a, b, c, d, x[8], 7, 0x698098d8);
        MD5_STEP(MD5_F, d, a, b, c, x[9], 12, 0x8b44f7af);
        MD5_STEP(MD5_F, c, d, a, b, x[10], 17, 0xffff5bb1);
        MD5_STEP(MD5_F, b, c, d, a, x[11], 22, 0x895cd7be);
        MD5_STEP(MD5_F, a, b, c, d, x[12], 7, 0x6b901122);
        MD5_STEP(MD5_F, d, a, b, c, x[13], 12, 0xfd987193);
        MD5_STEP(MD5_F, c, d, a, b, x[14], 17, 0xa679438e);
        MD5_STEP(MD5_F, b, c, d, a, x[15], 22, 0x49b40821);

        MD5_STEP(MD5_G, a, b, c, d, x[1], 5, 0xf61e2562);
        MD5_STEP(MD5_G, d, a, b, c, x[6], 9, 0xc040b340);
        MD5_STEP(MD5_G, c, d, a, b, x[11], 14, 0x265e5a51);
        MD5_STEP(MD5_G, b, c, d, a, x[0], 20, 0xe9b6c7aa);
        MD5_STEP(MD5_G, a, b, c, d, x[5], 5, 0xd62f105d);
        MD5_STEP(MD5_G, d, a, b, c, x[10], 9, 0x02441453);
        MD5_STEP(MD5_G, c, d, a, b, x[15], 14, 0xd8a1e681);
        MD5_STEP(MD5_G, b, c, d, a, x[4], 20, 0xe7d3fbc8);
        MD5_STEP(MD5_G, a, b, c, d, x[9], 5, 0x21e1cde6);
        MD5_STEP(MD5_G, d, a, b, c, x[14], 9, 0xc33707d6);
        MD5_STEP(MD5_G, c, d, a, b, x[3], 14, 0xf4d50d87);
        MD5_STEP(MD5_G, b, c, d, a, x[8], 20, 0x455a14ed);
        MD5_STEP(MD5_G, a, b, c, d, x[13], 5, 0xa9e3e905);
        MD5_STEP(MD5_G, d, a, b, c, x[2], 9, 0xfcefa3f8);
        MD5_STEP(MD5_G, c, d, a, b, x[7], 14, 0x676f02d9);
        MD5_STEP(MD5_G, b, c, d, a, x[12], 20, 0x8d2a4c8a);

        MD5_STEP(MD5_H, a, b, c, d, x[5], 4, 0xfffa3942);
        MD5_STEP(MD5_H, d, a, b, c, x[8], 11, 0x8771f681);
        MD5_STEP(MD5_H, c, d, a, b, x[11], 16, 0x6d9d6122);
        MD5_STEP(MD5_H, b, c, d, a, x[14], 23, 0xfde5380c);
        MD5_STEP(MD5_H, a, b, c, d, x[1], 4, 0xa4beea44);
        MD5_STEP(MD5_H, d, a, b, c, x[4], 11, 0x4bdecfa9);
        MD5_STEP(MD5_H, c, d, a, b, x[7], 16, 0xf6bb4b60);
        MD5_STEP(MD5_H, b, c, d, a, x[10], 23, 0xbebfbc70);
        MD5_STEP(MD5_H, a, b, c, d, x[13], 4, 0x289b7ec6);
        MD5_STEP(MD5_H, d, a, b, c, x[0], 11, 0xeaa127fa);
        MD5_STEP(MD5_H, c, d, a, b, x[3], 16, 0xd4ef3085);
        MD5_STEP(MD5_H, b, c, d, a, x[6], 23, 0x04881d05);
        MD5_STEP(MD5_H, a, b, c, d, x[9], 4, 0xd9d4d039);
        MD5_STEP(MD5_H, d, a, b, c, x[12], 11, 0xe6db99e5);
        MD5_STEP(MD5_H, c, d, a, b, x[15], 16, 0x1fa27cf8);
        MD5_STEP(MD5_H, b, c, d, a, x[2], 23, 0xc4ac5665);

        MD5_STEP(MD5_I, a, b, c, d, x[0], 6, 0xf4292244);
        MD5_STEP(MD5_I, d, a, b, c, x[7], 10, 0x432aff97);
        MD5_STEP(MD5_I, c, d, a, b, x[14], 15, 0xab9423a7);
        MD5_STEP(MD5_I, b, c, d, a, x[5], 21, 0xfc93a039);
        MD5_STEP(MD5_I, a, b, c, d, x[12], 6, 0x655b59c3);
        MD5_STEP(MD5_I, d, a, b, c, x[3], 10, 0x8f0ccc92);
        MD5_STEP(MD5_I, c, d, a, b, x[10], 15, 0xffeff47d);
        MD5_STEP(MD5_I, b, c, d, a, x[1], 21, 0x85845dd1);
        MD5_STEP(MD5_I, a, b, c, d, x[8], 6, 0x6fa87e4f);
        MD5_STEP(MD5_I, d, a, b, c, x[15], 10, 0xfe2ce6e0);
        MD5_STEP(MD5_I, c, d, a, b, x[6], 15, 0xa3014314);
        MD5_STEP(MD5_I, b, c, d, a, x[13], 21, 0x4e0811a1);
        MD5_STEP(MD5_I, a, b, c, d, x[4], 6, 0xf7537e82);
        MD5_STEP(MD5_I, d, a, b, c, x[11], 10, 0xbd3af235);
        MD5_STEP(MD5_I, c, d, a, b, x[2], 15, 0x2ad7d2bb);
        MD5_STEP(MD5_I, b, c, d, a, x[9], 21, 0xeb86d391);

        state[0] += a;
        state[1] += b;
        state[2] += c;
        state[3] += d;
    }
}

}  // namespace

void HmacMD5::init(Md5Context& ctx) const {
    ctx.state[0] = 0x67452301u;
    ctx.state[1] = 0xefcdab89u;
    ctx.state[2] = 0x98badcfeu;
    ctx.state[3] = 0x10325476u;
    ctx.count[0] = 0;
    ctx.count[1] = 0;
    std::memset(ctx.block, 0, sizeof ctx.block);
}

void HmacMD5::update(Md5Context& ctx, const void* data, size_t length) const {
    if (data == nullptr || length == 0) return;
    const uint8_t* p = static_cast<const uint8_t*>(data);
    size_t index = (ctx.count[0] >> 3) & 63;

    const uint32_t low = ctx.count[0] + (static_cast<uint32_t>(length) << 3);
    if (low < ctx.count[0]) ++ctx.count[1];
    ctx.count[1] += static_cast<uint32_t>(static_cast<uint64_t>(length) >> 29);
    ctx.count[0] = low;

    if (index != 0) {
        const size_t take = std::min<size_t>(64 - index, length);
        std::memcpy(ctx.block + index, p, take);
        index += take;
        p += take;
        length -= take;
        if (index < 64) return;
        md5Blocks(ctx.state, ctx.block, 1);
    }
    const size_t blocks = length / 64;
    if (blocks != 0) {
        md5Blocks(ctx.state, p, blocks);
        p += blocks * 64;
        length -= blocks * 64;
    }
    if (length != 0) std::memcpy(ctx.block, p, length);
}

void HmacMD5::final(Md5Context& ctx, uint8_t digest[kDigestSize]) const {
    size_t index = (ctx.count[0] >> 3) & 63;
    ctx.block[index++] = 0x80;
    if (index > 56) {
        std::memset(ctx.block + index, 0, 64 - index);
        md5Blocks(ctx.state, ctx.block, 1);
        index = 0;
    }
    std::memset(ctx.block + index, 0, 56 - index);
    hashbytes::storeLe32(ctx.block + 56, ctx.count[0]);
    hashbytes::storeLe32(ctx.block + 60, ctx.count[1]);
    md5Blocks(ctx.state, ctx.block, 1);
    for (int i = 0; i < 4; ++i) hashbytes::storeLe32(digest + 4 * i, ctx.state[i]);
    std::memset(&ctx, 0, sizeof ctx);
}

void DigestMD5::digest(const StringBuffer& text, uint8_t out[16]) const {
    digest(text.getString(), text.getLength(), out);
}

void DigestMD5::digest(const DataBuffer& data, uint8_t out[16]) const {
    digest(data.data(), data.getSize(), out);
}

void DigestMD5::digest(const void* data, size_t length, uint8_t out[16]) const {
    HmacMD5 core;
    Md5Context ctx;
    core.init(ctx);
    core.update(ctx, data, length);
    core.final(ctx, out);
}

}  // namespace zenvary
