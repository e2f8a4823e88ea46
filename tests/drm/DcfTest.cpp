#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

#include "cipher/Rijndael.h"
#include "core/DataBuffer.h"
#include "core/XString.h"
#include "drm/Dcf.h"
#include "drm/MimeHeader.h"
#include "file/Output.h"

namespace zenvary {
namespace {

using Bytes = std::vector<uint8_t>;

// The DCF layout read by a reader of the test's own, field by field, with
// every bound checked and nothing shared with OmaDrm.
struct DcfImage {
    uint8_t version = 0;
    std::string contentType, contentUri, headers;
    uint32_t dataLength = 0;
    Bytes iv, data;
    size_t totalLength = 0;  // bytes the layout accounts for
};

std::optional<uint32_t> readUintvar(const Bytes& b, size_t& pos) {
    uint64_t value = 0;
    for (int i = 0; i < 5; ++i) {
        if (pos >= b.size()) return std::nullopt;
        uint8_t byte = b[pos++];
        value = (value << 7) | (byte & 0x7F);
        if (!(byte & 0x80)) return value <= UINT32_MAX ? std::optional<uint32_t>(static_cast<uint32_t>(value))
                                                       : std::nullopt;
    }
    return std::nullopt;
}

std::optional<DcfImage> readImage(const Bytes& b) {
    DcfImage img;
    if (b.size() < 3) return std::nullopt;
    img.version = b[0];
    size_t typeLength = b[1], uriLength = b[2], pos = 3;
    if (pos + typeLength + uriLength > b.size()) return std::nullopt;
    img.contentType.assign(b.begin() + pos, b.begin() + pos + typeLength);
    pos += typeLength;
    img.contentUri.assign(b.begin() + pos, b.begin() + pos + uriLength);
    pos += uriLength;
    auto headersLength = readUintvar(b, pos);
    auto dataLength = readUintvar(b, pos);
    if (!headersLength || !dataLength || *dataLength < 16) return std::nullopt;
    img.dataLength = *dataLength;
    if (pos + *headersLength + *dataLength > b.size()) return std::nullopt;
    img.headers.assign(b.begin() + pos, b.begin() + pos + *headersLength);
    pos += *headersLength;
    img.iv.assign(b.begin() + pos, b.begin() + pos + 16);
    pos += 16;
    img.data.assign(b.begin() + pos, b.begin() + pos + (*dataLength - 16));
    img.totalLength = pos + (*dataLength - 16);
    return img;
}

// An Output into memory, with the file form's rule that a null or empty
// item writes nothing and counts 0.
class MemoryOutput : public Output {
public:
    uint32_t write(const void* buffer, uint32_t size, uint32_t count, LogBase*) override {
        if (!buffer || !size || !count) return 0;
        ++calls;
        const auto* p = static_cast<const uint8_t*>(buffer);
        bytes.insert(bytes.end(), p, p + size_t(size) * count);
        return count;
    }
    Bytes bytes;
    int calls = 0;
};

Bytes bytesOf(const DataBuffer& d) { return Bytes(d.data(), d.data() + d.getSize()); }
std::string str(const StringBuffer& s) { return std::string(s.view()); }

// A DataBuffer holding the bytes (DataBuffer itself can't be copied).
struct Buf : DataBuffer {
    Buf(const Bytes& b) { append(b.data(), static_cast<uint32_t>(b.size())); }
};

Bytes bytes(const std::string& s) { return Bytes(s.begin(), s.end()); }

// A well-formed image built by hand.
Bytes makeImage(uint8_t version, const std::string& type, const std::string& uri, const std::string& headers,
                const Bytes& iv, const Bytes& data, uint32_t dataLength) {
    Bytes b = {version, static_cast<uint8_t>(type.size()), static_cast<uint8_t>(uri.size())};
    b.insert(b.end(), type.begin(), type.end());
    b.insert(b.end(), uri.begin(), uri.end());
    uint8_t n[5];
    uint32_t len = OmaDrm::encodeUintvar(static_cast<uint32_t>(headers.size()), n);
    b.insert(b.end(), n, n + len);
    len = OmaDrm::encodeUintvar(dataLength, n);
    b.insert(b.end(), n, n + len);
    b.insert(b.end(), headers.begin(), headers.end());
    b.insert(b.end(), iv.begin(), iv.end());
    b.insert(b.end(), data.begin(), data.end());
    return b;
}

Bytes sequence(size_t n, uint8_t start) {
    Bytes b(n);
    for (size_t i = 0; i < n; ++i) b[i] = static_cast<uint8_t>(start + i);
    return b;
}

TEST(Dcf, Uintvar) {
    struct {
        uint32_t value;
        Bytes encoded;
    } cases[] = {{0, {0x00}},
                 {127, {0x7F}},
                 {128, {0x81, 0x00}},
                 {300, {0x82, 0x2C}},
                 {16383, {0xFF, 0x7F}},
                 {16384, {0x81, 0x80, 0x00}},
                 {0xFFFFFFFF, {0x8F, 0xFF, 0xFF, 0xFF, 0x7F}}};
    for (const auto& c : cases) {
        uint8_t out[5];
        uint32_t n = OmaDrm::encodeUintvar(c.value, out);
        EXPECT_EQ(Bytes(out, out + n), c.encoded) << c.value;
        size_t pos = 0;
        EXPECT_EQ(readUintvar(c.encoded, pos), c.value);
    }
}

TEST(Dcf, ParseFieldsAndEdges) {
    const Bytes iv = sequence(16, 0xA0);
    const Bytes data = sequence(32, 0x10);
    Bytes image = makeImage(1, "text/plain", "cid:x@y", "Encryption-Method: AES128CBC\r\n", iv, data, 48);

    OmaDrm drm;
    ASSERT_TRUE(drm.parse(Buf(image)));
    EXPECT_EQ(drm.version, 1);
    EXPECT_EQ(str(drm.contentType), "text/plain");
    EXPECT_EQ(str(drm.contentUri), "cid:x@y");
    EXPECT_EQ(str(drm.headers), "Encryption-Method: AES128CBC\r\n");
    EXPECT_EQ(bytesOf(drm.iv), iv);
    EXPECT_EQ(bytesOf(drm.encryptedData), data);

    // Trailing bytes behind the declared data change nothing.
    Bytes trailing = image;
    trailing.insert(trailing.end(), {1, 2, 3});
    OmaDrm t;
    ASSERT_TRUE(t.parse(Buf(trailing)));
    EXPECT_EQ(bytesOf(t.encryptedData), data);

    // An empty input changes nothing; one byte sets the version only.
    OmaDrm d;
    d.version = 5;
    EXPECT_FALSE(d.parse(DataBuffer()));
    EXPECT_EQ(d.version, 5);
    EXPECT_FALSE(d.parse(Buf({9})));
    EXPECT_EQ(d.version, 9);

    // HeadersLen 0 gives empty headers; a version of 9 is kept as read.
    OmaDrm e;
    e.headers.setString("old");
    ASSERT_TRUE(e.parse(Buf(makeImage(9, "a", "b", "", iv, data, 48))));
    EXPECT_EQ(e.version, 9);
    EXPECT_EQ(e.headers.getLength(), 0u);

    // Input that ends right after the IV fails and leaves the IV and the
    // data as they were; the fields before them are replaced.
    OmaDrm f;
    f.iv.append("keep-iv", 7);
    f.encryptedData.append("keep-data", 9);
    f.headers.setString("old headers");
    ASSERT_FALSE(f.parse(Buf(makeImage(2, "image/gif", "u", "H: 1", iv, {}, 16))));
    EXPECT_EQ(str(f.contentType), "image/gif");
    EXPECT_EQ(str(f.headers), "H: 1");
    EXPECT_EQ(bytesOf(f.iv), bytes("keep-iv"));
    EXPECT_EQ(bytesOf(f.encryptedData), bytes("keep-data"));

    // A file ending exactly at the end of ContentType fails there.
    OmaDrm g;
    g.contentType.setString("old type");
    g.contentUri.setString("old uri");
    ASSERT_FALSE(g.parse(Buf({1, 3, 0, 'a', 'b', 'c'})));
    EXPECT_EQ(g.version, 1);
    EXPECT_EQ(str(g.contentType), "old type");
    EXPECT_EQ(str(g.contentUri), "old uri");
    // One byte more: the type and the empty URI are read, then the
    // uintvar runs off the end.
    ASSERT_FALSE(g.parse(Buf({1, 2, 0, 'a', 'b', 'c'})));
    EXPECT_EQ(str(g.contentType), "ab");
    EXPECT_EQ(str(g.contentUri), "");
}

TEST(Dcf, DataLengthBeyondOrBelowTheInput) {
    const Bytes iv = sequence(16, 0);
    const Bytes data = sequence(20, 0x40);
    // Longer than present: the read stops at the end of the input.
    OmaDrm a;
    ASSERT_TRUE(a.parse(Buf(makeImage(1, "t", "u", "h", iv, data, 1000))));
    EXPECT_EQ(bytesOf(a.encryptedData), data);
    // Below 16: the length wraps, and again the bytes present are kept.
    OmaDrm b;
    ASSERT_TRUE(b.parse(Buf(makeImage(1, "t", "u", "h", iv, data, 3))));
    EXPECT_EQ(bytesOf(b.encryptedData), data);
    // 16 exactly: no data, though a byte stands behind the IV.
    OmaDrm c;
    ASSERT_TRUE(c.parse(Buf(makeImage(1, "t", "u", "h", iv, data, 16))));
    EXPECT_EQ(c.encryptedData.getSize(), 0u);
    // A uintvar of more than 5 bytes: the higher bits fall off.
    Bytes longVar = {1, 1, 1, 't', 'u', 0x81, 0x80, 0x80, 0x80, 0x80, 0x01, 0x20};
    longVar.insert(longVar.end(), 1, 'h');
    longVar.insert(longVar.end(), iv.begin(), iv.end());
    longVar.insert(longVar.end(), data.begin(), data.end());
    OmaDrm d;
    ASSERT_TRUE(d.parse(Buf(longVar)));
    EXPECT_EQ(str(d.headers), "h");
    EXPECT_EQ(d.encryptedData.getSize(), 16u);
    // A uintvar running off the end.
    OmaDrm e;
    EXPECT_FALSE(e.parse(Buf({1, 0, 0, 0x81, 0x80})));
}

TEST(Dcf, WriterLayoutAndLimits) {
    OmaDrm drm;
    drm.version = 7;  // not written: the writer always writes 1
    drm.contentType.setString("application/octet-stream");
    drm.contentUri.setString(std::string(200, 'u'));
    drm.headers.setString(std::string(300, 'h'));
    drm.iv.append(sequence(16, 1).data(), 16);
    drm.encryptedData.append(sequence(130, 2).data(), 130);

    MemoryOutput out;
    ASSERT_TRUE(drm.write(out));
    EXPECT_EQ(out.calls, 10);
    auto img = readImage(out.bytes);
    ASSERT_TRUE(img);
    EXPECT_EQ(img->version, 1);
    EXPECT_EQ(img->contentType, "application/octet-stream");
    EXPECT_EQ(img->contentUri, std::string(200, 'u'));
    EXPECT_EQ(img->headers, std::string(300, 'h'));
    EXPECT_EQ(img->dataLength, 146u);
    EXPECT_EQ(img->iv, sequence(16, 1));
    EXPECT_EQ(img->data, sequence(130, 2));
    EXPECT_EQ(img->totalLength, out.bytes.size());
    // 300 as a uintvar: 0x82 0x2C; 146: 0x81 0x12.
    size_t at = 3 + 24 + 200;
    EXPECT_EQ(Bytes(out.bytes.begin() + at, out.bytes.begin() + at + 4), Bytes({0x82, 0x2C, 0x81, 0x12}));

    // Each empty field stops the writer at that field, leaving what came before.
    const char* order[] = {"contentType", "contentUri", "headers", "iv", "encryptedData"};
    for (const char* empty : order) {
        OmaDrm e;
        e.contentType.setString("t");
        e.contentUri.setString("u");
        e.headers.setString("h");
        e.iv.append(sequence(16, 0).data(), 16);
        e.encryptedData.append("d", 1);
        std::string which = empty;
        size_t expected = 3;
        if (which == "contentType") e.contentType.clear();
        if (which == "contentUri") e.contentUri.clear(), expected = 4;
        if (which == "headers") e.headers.clear(), expected = 7;
        if (which == "iv") e.iv.clear(), expected = 8;
        if (which == "encryptedData") e.encryptedData.clear(), expected = 24;
        MemoryOutput o;
        EXPECT_FALSE(e.write(o)) << which;
        EXPECT_EQ(o.bytes.size(), expected) << which;
    }

    // An IV of 20 bytes is written whole, and DataLen still counts 16.
    OmaDrm w;
    w.contentType.setString("t");
    w.contentUri.setString("u");
    w.headers.setString("h");
    w.iv.append(sequence(20, 0).data(), 20);
    w.encryptedData.append(sequence(16, 9).data(), 16);
    MemoryOutput o;
    ASSERT_TRUE(w.write(o));
    EXPECT_EQ(o.bytes.size(), 3u + 1 + 1 + 1 + 1 + 1 + 20 + 16);
    EXPECT_EQ(o.bytes[6], 32);
    // A type longer than 255 bytes keeps its whole length in the body.
    OmaDrm l;
    l.contentType.setString(std::string(256, 't'));
    l.contentUri.setString("u");
    l.headers.setString("h");
    l.iv.append(sequence(16, 0).data(), 16);
    l.encryptedData.append("d", 1);
    MemoryOutput lo;
    ASSERT_TRUE(l.write(lo));
    EXPECT_EQ(lo.bytes[1], 0);
    EXPECT_EQ(lo.bytes.size(), 3u + 256 + 1 + 1 + 1 + 1 + 16 + 1);
}

Bytes opensslDecrypt(const Bytes& key, const Bytes& iv, const Bytes& ct) {
    Bytes out(ct.size() + 16);
    int n1 = 0, n2 = 0;
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    EVP_DecryptInit_ex(ctx, EVP_aes_128_cbc(), nullptr, key.data(), iv.data());
    EVP_DecryptUpdate(ctx, out.data(), &n1, ct.data(), static_cast<int>(ct.size()));
    int ok = EVP_DecryptFinal_ex(ctx, out.data() + n1, &n2);
    EVP_CIPHER_CTX_free(ctx);
    if (ok != 1) return {};
    out.resize(static_cast<size_t>(n1 + n2));
    return out;
}

TEST(Dcf, EncryptedFileRoundTrip) {
    const Bytes key = sequence(16, 0x30);
    const Bytes iv = sequence(16, 0x70);
    std::string plain = "The content object of a protected file, long enough for several blocks.";

    // AES-128-CBC with the frame's default padding, as the DRM object does.
    Rijndael aes;
    aes.SetKeyLength(128);
    Buf keyBuffer(key);
    aes.SetKey(keyBuffer);
    aes.SetIV(iv.data());
    aes.SetCbcMode();
    aes.SetPaddingScheme(0);
    Buf plainBuffer(bytes(plain));
    std::unique_ptr<DataBuffer> cipher = aes.EncryptAll(plainBuffer, nullptr);
    ASSERT_TRUE(cipher);
    ASSERT_EQ(cipher->getSize(), 80u);

    MimeHeader fields;
    fields.setField("Content-Name", "\"Summer picture\"");
    fields.setField("Encryption-Method", "AES128CBC;padding=RFC2630");
    StringBuffer headerText;
    fields.getHeaderText(headerText);

    OmaDrm drm;
    drm.contentType.setString("text/plain");
    drm.contentUri.setString("cid:content0001@example.com");
    drm.headers.setFrom(headerText);
    drm.iv.append(iv.data(), 16);
    drm.encryptedData.append(cipher->data(), cipher->getSize());

    char pattern[] = "/tmp/zv_dcf_XXXXXX";
    int fd = mkstemp(pattern);
    ASSERT_GE(fd, 0);
    close(fd);
    XString path;
    path.setFromUtf8(pattern);
    ASSERT_TRUE(drm.saveFile(path));
    ASSERT_TRUE(drm.saveFile(path));  // an existing file is replaced

    DataBuffer fileBytes;
    ASSERT_TRUE(fileBytes.loadFile(path, nullptr));
    auto img = readImage(bytesOf(fileBytes));
    ASSERT_TRUE(img);
    EXPECT_EQ(img->totalLength, fileBytes.getSize());
    EXPECT_EQ(img->version, 1);
    EXPECT_EQ(img->contentType, "text/plain");
    EXPECT_EQ(img->contentUri, "cid:content0001@example.com");
    EXPECT_EQ(img->headers, std::string(headerText.view()));
    EXPECT_EQ(img->iv, iv);
    EXPECT_EQ(opensslDecrypt(key, img->iv, img->data), bytes(plain));

    OmaDrm back;
    ASSERT_TRUE(back.loadFile(path));
    EXPECT_EQ(str(back.contentUri), "cid:content0001@example.com");
    EXPECT_EQ(bytesOf(back.encryptedData), bytesOf(*cipher));
    MimeHeader parsed;
    parsed.parse(back.headers.getString());
    StringBuffer value;
    ASSERT_TRUE(parsed.getField("encryption-method", value));
    EXPECT_STREQ(value.getString(), "AES128CBC;padding=RFC2630");
    std::remove(pattern);

    EXPECT_FALSE(back.loadFile(path));
    XString bad;
    bad.setFromUtf8("/nonexistent/dir/file.dcf");
    EXPECT_FALSE(drm.saveFile(bad));
}

}  // namespace
}  // namespace zenvary
