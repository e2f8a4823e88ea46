// Fuzz target of the XML reader and writer: any bytes are parsed in both
// whitespace modes, written, read back and written again. Written text must
// be stable from the second round on, and nothing may crash.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/ParseEngine.h"
#include "core/StringBuffer.h"
#include "log/LogBase.h"
#include "log/Logger.h"
#include "xml/TreeInfo.h"
#include "xml/TreeNode.h"

using namespace zenvary;

namespace {

TreeNode* parseText(const char* data, size_t size, bool keepWhitespace, LogBase* log) {
    ParseEngine input;
    input.setText(data, static_cast<uint32_t>(size));
    TreeNode* root = nullptr;
    bool ok = parseXml(input, log, nullptr, root, keepWhitespace);
    if (ok != (root != nullptr)) abort();
    return root;
}

std::string write(const TreeNode* root, bool compact) {
    StringBuffer out;
    root->getXml(out, compact);
    return std::string(out.view());
}

// Reads the tree the way callers do: by tag, attribute and content.
void walk(TreeNode* root) {
    StringBuffer out;
    root->getChildContent("Modulus", out);
    int32_t found = 0;
    for (TreeNode* n = root->searchForTag(nullptr, "a"); n && found < 1000; n = root->searchForTag(n, "a")) {
        n->getAttribute("k", out);
        for (int32_t i = 0; i < n->getNumAttributes(); ++i) n->getAttributeName(i, out);
        ++found;
    }
    root->getEncoding(out);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > (1u << 20)) return 0;
    const char* text = reinterpret_cast<const char*>(data);
    for (bool keep : {false, true}) {
        Logger log;
        TreeNode* first = parseText(text, size, keep, &log);
        if (!first) continue;
        walk(first);
        (void)write(first, false);
        std::string w1 = write(first, true);
        TreeNode::deleteTree(first);

        TreeNode* second = parseText(w1.data(), w1.size(), true, nullptr);
        if (!second) continue;
        std::string w2 = write(second, true);
        std::string pretty = write(second, false);
        second->setEncoding("utf-8");
        TreeNode::deleteTree(second);

        TreeNode* third = parseText(w2.data(), w2.size(), true, nullptr);
        if (!third) {
            fprintf(stderr, "second round lost the root:\n%s\n", w2.c_str());
            abort();
        }
        std::string w3 = write(third, true);
        TreeNode::deleteTree(third);
        if (w3 != w2) {
            fprintf(stderr, "unstable writing:\n[%s]\n[%s]\n", w2.c_str(), w3.c_str());
            abort();
        }
        // The indented form, read with trimming, parses as well.
        TreeNode* fourth = parseText(pretty.data(), pretty.size(), false, nullptr);
        if (!fourth) abort();
        TreeNode::deleteTree(fourth);
    }
    return 0;
}
