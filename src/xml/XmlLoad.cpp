// TreeNode::loadFile: a file's bytes brought to UTF-8, then parsed.
#include <cstring>
#include <strings.h>

#include "core/DataBuffer.h"
#include "core/ParseEngine.h"
#include "core/StringBuffer.h"
#include "core/XString.h"
#include "encoding/Charset.h"
#include "encoding/CodePage.h"
#include "encoding/EncodingConvert.h"
#include "xml/TreeNode.h"

namespace zenvary {

namespace {

bool isUtf16Page(uint32_t cp) { return cp == kCodePageUtf16LE || cp == kCodePageUtf16BE; }

// The declared encoding of a document that starts with "<?xml", read from
// the declaration only; 0 when none is declared or the name is unknown.
uint32_t declaredCodePage(const uint8_t* p, uint32_t n) {
    uint32_t limit = n < 1024 ? n : 1024;
    uint32_t i = 0;
    while (i < limit && (p[i] == ' ' || p[i] == '\t' || p[i] == '\r' || p[i] == '\n')) ++i;
    if (limit - i < 5 || strncasecmp(reinterpret_cast<const char*>(p + i), "<?xml", 5) != 0) return 0;
    uint32_t end = i;
    while (end + 1 < limit && !(p[end] == '?' && p[end + 1] == '>')) ++end;
    static const char kKey[] = "encoding";
    const uint32_t keyLen = sizeof kKey - 1;
    for (uint32_t k = i + 5; k + keyLen <= end; ++k) {
        if (memcmp(p + k, kKey, keyLen) != 0) continue;
        uint32_t j = k + keyLen;
        while (j < end && (p[j] == ' ' || p[j] == '\t' || p[j] == '\r' || p[j] == '\n')) ++j;
        if (j >= end || p[j] != '=') return 0;
        ++j;
        while (j < end && (p[j] == ' ' || p[j] == '\t' || p[j] == '\r' || p[j] == '\n')) ++j;
        if (j >= end || (p[j] != '"' && p[j] != '\'')) return 0;
        uint8_t quote = p[j++];
        uint32_t start = j;
        while (j < end && p[j] != quote) ++j;
        StringBuffer name(reinterpret_cast<const char*>(p + start), j - start, 0);
        return nameToCodePage(name.getString());
    }
    return 0;
}

// The code page of the bytes by their byte-order mark, a UTF-16 form of
// "<?", or the declaration; `skip` gets the length of the mark.
uint32_t detectCodePage(const uint8_t* p, uint32_t n, uint32_t& skip) {
    skip = 0;
    if (n >= 3 && p[0] == 0xEF && p[1] == 0xBB && p[2] == 0xBF) {
        skip = 3;
        return kCodePageUtf8;
    }
    if (n >= 2 && p[0] == 0xFF && p[1] == 0xFE) {
        skip = 2;
        return kCodePageUtf16LE;
    }
    if (n >= 2 && p[0] == 0xFE && p[1] == 0xFF) {
        skip = 2;
        return kCodePageUtf16BE;
    }
    if (n >= 4 && p[0] == '<' && p[1] == 0 && p[2] == '?' && p[3] == 0) return kCodePageUtf16LE;
    if (n >= 4 && p[0] == 0 && p[1] == '<' && p[2] == 0 && p[3] == '?') return kCodePageUtf16BE;
    uint32_t cp = declaredCodePage(p, n);
    // Bytes read as 8-bit text cannot be UTF-16 whatever they declare.
    if (isUtf16Page(cp) || cp == kCodePageUtf32LE || cp == kCodePageUtf32BE) return kCodePageUtf8;
    return cp;
}

}  // namespace

bool TreeNode::loadFile(const XString& path, LogBase* log, ProgressMonitor* progress, TreeNode*& root,
                        bool keepWhitespace) {
    root = nullptr;
    DataBuffer bytes;
    if (!bytes.loadFile(path, log)) return false;

    uint32_t skip = 0;
    uint32_t cp = detectCodePage(bytes.data(), bytes.getSize(), skip);
    const uint8_t* body = bytes.data() + skip;
    uint32_t bodyLength = bytes.getSize() - skip;

    ParseEngine input;
    if (cp == 0 || cp == kCodePageUtf8 || cp == kCodePageUsAscii) {
        input.setText(reinterpret_cast<const char*>(body), bodyLength);
    } else {
        DataBuffer utf8;
        EncodingConvert conv;
        conv.convert(cp, kCodePageUtf8, body, bodyLength, utf8);
        input.setText(reinterpret_cast<const char*>(utf8.data()), utf8.getSize());
    }

    if (!parseXml(input, log, progress, root, keepWhitespace)) return false;

    // The bytes in the tree are UTF-8 from here on.
    StringBuffer encoding;
    if (root->getEncoding(encoding) &&
        (encoding.equalsNoCase("utf-16") || encoding.equalsNoCase("ucs-2") || encoding.equalsNoCase("unicode")))
        root->setEncoding("utf-8");
    return true;
}

}  // namespace zenvary
