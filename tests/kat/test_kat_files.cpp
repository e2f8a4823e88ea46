// The vector folder itself: every data file is read by some test (a file
// dropped in without a test, or a test whose file went missing, fails
// here), every file parses, and a damaged file is refused rather than read
// as fewer vectors.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>

#include <unistd.h>

#include "kat/KatSupport.h"

using namespace zvkat;
namespace fs = std::filesystem;

namespace {

TEST(VectorFiles, EveryFileIsListedAndParses) {
    std::set<std::string> listed;
    const std::pair<const char*, const std::vector<std::string>*> families[] = {
        {"aes", &aesFiles()}, {"tdes", &tdesFiles()}, {"sha", &shaFiles()}, {"md5", &md5Files()}, {"hmac", &hmacFiles()},
        {"arc4", &arc4Files()}, {"blowfish", &blowfishFiles()},
    };
    for (const auto& [family, files] : families)
        for (const std::string& f : *files) listed.insert(vectorPath(family, f));

    const fs::path root = fs::path(ZV_TEST_DATA_DIR) / "vectors";
    std::set<std::string> present;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        if (!entry.is_regular_file() || entry.path().filename() == "README.md") continue;
        present.insert(entry.path().string());
    }
    for (const std::string& p : present) EXPECT_TRUE(listed.count(p)) << p << " is read by no test";
    for (const std::string& p : listed) {
        EXPECT_TRUE(present.count(p)) << p << " is missing";
        KatFile file;
        EXPECT_TRUE(loadKatFile(p, file)) << file.error;
        EXPECT_FALSE(file.records.empty()) << p;
    }
    EXPECT_TRUE(fs::exists(root / "README.md")) << "the sources and licences are noted in README.md";
}

TEST(VectorFiles, ReaderRefusesDamageAndKeepsRecordsApart) {
    const fs::path tmp = fs::temp_directory_path() / ("zv_kat_" + std::to_string(::getpid()) + ".rsp");
    {
        std::ofstream out(tmp, std::ios::binary);
        out << "# header\r\n[ENCRYPT]\r\nCOUNT = 0\r\n# inside\r\nKEY = 00ff\r\n\r\nCOUNT = 1\r\nKEY = A0\r\n"
               "[DECRYPT]\nCOUNT = 0\nKEY = \n";
    }
    KatFile file;
    ASSERT_TRUE(loadKatFile(tmp.string(), file)) << file.error;
    ASSERT_EQ(file.records.size(), 3u);
    EXPECT_EQ(file.records[0].section, "ENCRYPT");
    EXPECT_EQ(file.records[1].get("KEY"), "A0");
    EXPECT_EQ(file.records[2].section, "DECRYPT");
    Bytes b;
    EXPECT_TRUE(file.records[0].hex("KEY", b));
    EXPECT_EQ(b, (Bytes{0x00, 0xff}));
    EXPECT_TRUE(file.records[2].hex("KEY", b));
    EXPECT_TRUE(b.empty());
    EXPECT_FALSE(file.records[0].hex("IV", b)) << "an absent field";

    {
        std::ofstream out(tmp, std::ios::binary);
        out << "COUNT = 0\nKEY 00ff\n";
    }
    EXPECT_FALSE(loadKatFile(tmp.string(), file));
    EXPECT_NE(file.error.find(":2:"), std::string::npos) << file.error;
    fs::remove(tmp);

    EXPECT_FALSE(loadKatFile(tmp.string(), file)) << "a missing file";
    EXPECT_FALSE(parseHex("abc", b));
    EXPECT_FALSE(parseHex("zz", b));
}

}  // namespace
