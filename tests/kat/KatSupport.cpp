#include "kat/KatSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <map>
#include <mutex>

#include "crypt/ClsCrypt.h"

namespace zvkat {

namespace {

struct Tally {
    std::mutex lock;
    std::map<std::string, size_t> skipped;
    std::map<std::string, std::string> reasons;
    std::map<std::string, size_t> run;
    std::map<std::string, size_t> applied;
};

Tally& tally() {
    static Tally t;
    return t;
}

// Prints every counter once all tests have run, so that a run shows how many
// vectors each rule left out.
class TallyPrinter : public ::testing::Environment {
public:
    void TearDown() override {
        Tally& t = tally();
        std::lock_guard<std::mutex> hold(t.lock);
        std::printf("\n[ vectors ] run per family:\n");
        for (const auto& [family, n] : t.run) std::printf("[ vectors ]   %-10s %zu\n", family.c_str(), n);
        std::printf("[ vectors ] skipped by rule:\n");
        for (const SkipRule* rule : {&kHashNotOffered, &kHmacBlock64, &kKeySizeNotTaken, &kPartialBlock}) {
            const auto it = t.skipped.find(rule->name);
            std::printf("[ vectors ]   %-20s %zu  (%s)\n", rule->name, it == t.skipped.end() ? size_t{0} : it->second,
                        rule->reason);
        }
        t.applied.emplace("truncated-mac-prefix", 0);  // shown even when no file has a truncated MAC
        std::printf("[ vectors ] rules applied to vectors that ran:\n");
        for (const auto& [what, n] : t.applied) std::printf("[ vectors ]   %-20s %zu\n", what.c_str(), n);
    }
};

const bool kPrinterAdded = (::testing::AddGlobalTestEnvironment(new TallyPrinter), true);

}  // namespace

void countSkip(const SkipRule& rule, size_t n) {
    Tally& t = tally();
    std::lock_guard<std::mutex> hold(t.lock);
    t.skipped[rule.name] += n;
}

size_t skipCount(const SkipRule& rule) {
    Tally& t = tally();
    std::lock_guard<std::mutex> hold(t.lock);
    const auto it = t.skipped.find(rule.name);
    return it == t.skipped.end() ? 0 : it->second;
}

void countRun(const std::string& family, size_t n) {
    Tally& t = tally();
    std::lock_guard<std::mutex> hold(t.lock);
    t.run[family] += n;
}

void countApplied(const std::string& what, size_t n) {
    Tally& t = tally();
    std::lock_guard<std::mutex> hold(t.lock);
    t.applied[what] += n;
}

std::string vectorPath(const std::string& family, const std::string& file) {
    return std::string(ZV_TEST_DATA_DIR) + "/vectors/" + family + "/" + file;
}

const std::vector<std::string>& aesFiles() {
    static const std::vector<std::string> files = [] {
        std::vector<std::string> v;
        for (const char* mode : {"ECB", "CBC"})
            for (const char* kind : {"GFSbox", "KeySbox", "VarKey", "VarTxt", "MMT"})
                for (const char* bits : {"128", "192", "256"})
                    v.push_back(std::string(mode) + kind + bits + ".rsp");
        return v;
    }();
    return files;
}

const std::vector<std::string>& tdesFiles() {
    static const std::vector<std::string> files = [] {
        std::vector<std::string> v;
        for (const char* mode : {"TECB", "TCBC"})
            for (const char* kind : {"MMT1", "MMT2", "MMT3", "invperm", "permop", "subtab", "varkey", "vartext"})
                v.push_back(std::string(mode) + kind + ".rsp");
        return v;
    }();
    return files;
}

const std::vector<std::string>& shaFiles() {
    static const std::vector<std::string> files = {
        "SHA1ShortMsg.rsp",   "SHA1LongMsg.rsp",    "SHA1Monte.rsp",          "SHA256ShortMsg.rsp",
        "SHA256LongMsg.rsp",  "SHA256Monte.rsp",    "SHA384ShortMsg.rsp",     "SHA384Monte.rsp",
        "SHA512ShortMsg.rsp", "SHA512Monte.rsp",    "SHA224ShortMsg.rsp",     "SHA512_224ShortMsg.rsp",
        "SHA512_256ShortMsg.rsp",
    };
    return files;
}

const std::vector<std::string>& md5Files() {
    static const std::vector<std::string> files = {"rfc-1321.txt"};
    return files;
}

const std::vector<std::string>& hmacFiles() {
    static const std::vector<std::string> files = {
        "rfc-2202-md5.txt",    "rfc-2202-sha1.txt",   "rfc-4231-sha224.txt",
        "rfc-4231-sha256.txt", "rfc-4231-sha384.txt", "rfc-4231-sha512.txt",
    };
    return files;
}

const std::vector<std::string>& arc4Files() {
    static const std::vector<std::string> files = {
        "rfc-6229-40.txt",  "rfc-6229-56.txt",  "rfc-6229-64.txt",  "rfc-6229-80.txt",
        "rfc-6229-128.txt", "rfc-6229-192.txt", "rfc-6229-256.txt", "arc4.txt",
    };
    return files;
}

const std::vector<std::string>& blowfishFiles() {
    static const std::vector<std::string> files = {"bf-ecb.txt", "bf-cbc.txt"};
    return files;
}

zenvary::XString xs(const std::string& utf8) {
    zenvary::XString x;
    x.setFromUtf8(std::string_view(utf8));
    return x;
}

Bytes bytesOf(const zenvary::DataBuffer* d) {
    if (d == nullptr || d->getSize() == 0) return {};
    return Bytes(d->data(), d->data() + d->getSize());
}

std::string lower(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

Bytes runChunks(zenvary::ClsCrypt& c, bool encrypt, const Bytes& data, const std::vector<size_t>& pieces, bool& ok) {
    Bytes out;
    size_t pos = 0;
    for (size_t i = 0; i < pieces.size(); ++i) {
        c.put_FirstChunk(i == 0);
        c.put_LastChunk(i + 1 == pieces.size());
        zenvary::DataBuffer piece;
        piece.append(data.data() + pos, static_cast<uint32_t>(pieces[i]));
        pos += pieces[i];
        auto r = encrypt ? c.EncryptBytes(piece) : c.DecryptBytes(piece);
        if (!r) ok = false;
        const Bytes b = bytesOf(r.get());
        out.insert(out.end(), b.begin(), b.end());
    }
    c.put_FirstChunk(true);
    c.put_LastChunk(true);
    return out;
}

std::vector<size_t> awkwardPieces(size_t n, size_t block) {
    std::vector<size_t> pieces;
    size_t left = n;
    for (size_t want : {size_t{3}, block + 5, size_t{0}, 2 * block - 1, block}) {
        const size_t take = std::min(want, left);
        pieces.push_back(take);
        left -= take;
    }
    pieces.push_back(left);
    return pieces;
}

}  // namespace zvkat
