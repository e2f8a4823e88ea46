#include "pki/key/RsaKeyXml.h"

#include "core/ExtPtrArray.h"
#include "core/ParseEngine.h"
#include "core/StringBuffer.h"
#include "encoding/ContentCoding.h"
#include "log/LogBase.h"
#include "pki/asn1/Asn1.h"
#include "xml/TreeNode.h"

namespace zenvary {

namespace {

// Tags of the XML with their place in the PKCS#1 sequence, in writing order.
struct Slot {
    const char* tag;
    int32_t item;
};
constexpr Slot kSlots[] = {{"Modulus", 1}, {"Exponent", 2}, {"P", 4},        {"Q", 5},
                           {"DP", 6},      {"DQ", 7},       {"InverseQ", 8}, {"D", 3}};

// The content of the first element with that tag, the root included.
bool findContent(const TreeNode* root, const char* tag, StringBuffer& out) {
    const TreeNode* node = root->tagEquals(tag) ? root : root->searchForTag(nullptr, tag);
    if (!node) return false;
    out.append(node->getContent());
    out.trimWhitespace();
    return out.getLength() != 0;
}

}  // namespace

bool RsaKeyXml::fromDer(const DataBuffer& der, StringBuffer& out, LogBase* log) {
    Asn1* top = Asn1::decodeFirst(der.data(), der.getSize(), log);
    if (!top) return false;
    bool ok = false;
    if (top->getTag() != Asn1::kTagSequence) {
        if (log) log->logError("Invalid ASN.1 for RSA Private Key");
    } else if (!top->hasSubItems()) {
        if (log) log->logError("Invalid ASN.1 for RSA Private Key.");
    } else if (top->numSubItems() < 9) {
        if (log) log->logError("Invalid ASN.1 for RSA Private Key..");
    } else {
        out.append("<RSAKeyValue>");
        for (const Slot& slot : kSlots) {
            out.append("<");
            out.append(slot.tag);
            out.append(">");
            top->getSubItem(slot.item)->contentToBase64(out);
            out.append("</");
            out.append(slot.tag);
            out.append(">");
        }
        out.append("</RSAKeyValue>");
        ok = true;
    }
    delete top;
    return ok;
}

bool RsaKeyXml::parse(const StringBuffer& xml, RsaKeyParts& parts, LogBase* log) {
    if (xml.getLength() == 0) {
        if (log) log->logError("Cannot import private key, XML is empty");
        return false;
    }
    ParseEngine input;
    input.setText(xml.getString(), xml.getLength());
    TreeNode* root = nullptr;
    if (!parseXml(input, log, nullptr, root, false) || !root) {
        if (log) log->logError("Modulus missing for private key");
        return false;
    }
    StringBuffer text[8];
    bool found[8];
    for (int i = 0; i < 8; ++i) found[i] = findContent(root, kSlots[i].tag, text[i]);
    TreeNode::deleteTree(root);

    if (!found[0]) {
        if (log) log->logError("Modulus missing for private key");
        return false;
    }
    if (!found[1]) {
        if (log) log->logError("Exponent missing for private key");
        return false;
    }
    for (int i = 2; i < 8; ++i) {
        if (!found[i]) {
            if (log) log->logError("Parts missing for private key");
            return false;
        }
    }
    DataBuffer* targets[8] = {&parts.modulus, &parts.exponent, &parts.p,        &parts.q,
                              &parts.dp,      &parts.dq,       &parts.inverseQ, &parts.d};
    ContentCoding coding;
    for (int i = 0; i < 8; ++i) coding.decodeBase64(text[i].getString(), text[i].getLength(), *targets[i]);
    return true;
}

}  // namespace zenvary
