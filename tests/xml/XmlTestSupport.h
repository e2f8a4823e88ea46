// Helpers of the XML tests: parsing a text, comparing trees, temporary files.
#pragma once
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <unistd.h>

#include "core/ParseEngine.h"
#include "core/StringBuffer.h"
#include "log/Logger.h"
#include "xml/TreeInfo.h"
#include "xml/TreeNode.h"

namespace zenvary::xmltest {

// Parses `text`; the caller deletes the root with TreeNode::deleteTree.
inline TreeNode* parse(const std::string& text, bool keepWhitespace = false, LogBase* log = nullptr) {
    ParseEngine input;
    input.setText(text.data(), static_cast<uint32_t>(text.size()));
    TreeNode* root = nullptr;
    bool ok = parseXml(input, log, nullptr, root, keepWhitespace);
    EXPECT_EQ(ok, root != nullptr);
    return root;
}

struct TreeHolder {
    explicit TreeHolder(TreeNode* r) : root(r) {}
    ~TreeHolder() { TreeNode::deleteTree(root); }
    TreeHolder(const TreeHolder&) = delete;
    TreeHolder& operator=(const TreeHolder&) = delete;
    TreeNode* operator->() const { return root; }
    TreeNode* root;
};

inline std::string xmlOf(const TreeNode* node, bool compact) {
    StringBuffer out;
    node->getXml(out, compact);
    return std::string(out.view());
}

inline std::string attr(const TreeNode* node, const char* name) {
    StringBuffer out;
    node->getAttribute(name, out);
    return std::string(out.view());
}

inline std::string logText(Logger& log) {
    StringBuffer out;
    log.getText(out);
    return std::string(out.view());
}

// Tag, CDATA flag, content, attributes in order and children, all equal.
inline ::testing::AssertionResult sameTree(const TreeNode* a, const TreeNode* b) {
    if (!a || !b) return a == b ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << "null node";
    if (std::string(a->getTag()) != b->getTag())
        return ::testing::AssertionFailure() << "tag " << a->getTag() << " vs " << b->getTag();
    if (std::string(a->getContent()) != b->getContent())
        return ::testing::AssertionFailure() << "content of " << a->getTag() << ": [" << a->getContent() << "] vs ["
                                             << b->getContent() << "]";
    if (a->isCdata() != b->isCdata()) return ::testing::AssertionFailure() << "cdata flag of " << a->getTag();
    if (a->getNumAttributes() != b->getNumAttributes())
        return ::testing::AssertionFailure() << "attribute count of " << a->getTag();
    StringBuffer n1, n2, v1, v2;
    for (int32_t i = 0; i < a->getNumAttributes(); ++i) {
        a->getAttributeName(i, n1);
        b->getAttributeName(i, n2);
        a->getAttributeValue(i, v1);
        b->getAttributeValue(i, v2);
        if (!n1.equals(n2) || !v1.equals(v2))
            return ::testing::AssertionFailure() << "attribute " << n1.getString() << "=" << v1.getString() << " vs "
                                                 << n2.getString() << "=" << v2.getString();
    }
    if (a->getNumChildren() != b->getNumChildren())
        return ::testing::AssertionFailure() << "child count of " << a->getTag();
    for (int32_t i = 0; i < a->getNumChildren(); ++i) {
        auto r = sameTree(a->getChild(i), b->getChild(i));
        if (!r) return r;
    }
    return ::testing::AssertionSuccess();
}

// A file in the temporary directory, removed again at the end of the test.
class TempFile {
public:
    explicit TempFile(const std::string& suffix) {
        char pattern[] = "/tmp/zv_xml_XXXXXX";
        int fd = mkstemp(pattern);
        if (fd >= 0) close(fd);
        base_ = pattern;
        path_ = base_ + suffix;
    }
    ~TempFile() {
        std::remove(base_.c_str());
        std::remove(path_.c_str());
    }
    const std::string& path() const { return path_; }
    void write(const std::string& bytes) const {
        FILE* f = std::fopen(path_.c_str(), "wb");
        ASSERT_NE(f, nullptr);
        std::fwrite(bytes.data(), 1, bytes.size(), f);
        std::fclose(f);
    }
    std::string read() const {
        std::string bytes;
        FILE* f = std::fopen(path_.c_str(), "rb");
        if (!f) return bytes;
        char buf[4096];
        size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) bytes.append(buf, n);
        std::fclose(f);
        return bytes;
    }

private:
    std::string base_;
    std::string path_;
};

}  // namespace zenvary::xmltest
