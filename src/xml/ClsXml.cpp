#include "xml/ClsXml.h"

#include "core/DataBuffer.h"
#include "core/ParseEngine.h"
#include "encoding/Charset.h"
#include "encoding/CodePage.h"
#include "encoding/EncodingConvert.h"
#include "file/FileHelpers.h"
#include "log/LogBase.h"
#include "xml/TreeInfo.h"
#include "xml/TreeNode.h"

namespace zenvary {

ClsXml::ClsXml() { attach(TreeNode::createRoot("unnamed")); }

ClsXml::ClsXml(TreeNode* shared) { attach(shared); }

ClsXml::~ClsXml() { detach(); }

void ClsXml::attach(TreeNode* node) {
    m_node = node;
    if (m_node) m_node->ensureTreeInfo()->addRef();
}

void ClsXml::detach() {
    if (!m_node || !m_node->checkTreeNode()) {
        m_node = nullptr;
        return;
    }
    TreeNode* root = m_node->getRoot();
    TreeInfo* info = root->getTreeInfo();
    m_node = nullptr;
    if (!info || info->release() == 0) TreeNode::deleteTree(root);
}

ClsXml* ClsXml::share(TreeNode* node) { return node ? new ClsXml(node) : nullptr; }

// ---- loading and saving ----

bool ClsXml::LoadXmlFile(const XString& path, bool keepWhitespace) {
    LogContext context(&m_log, "LoadXmlFile");
    TreeNode* root = nullptr;
    if (!TreeNode::loadFile(path, &m_log, nullptr, root, keepWhitespace)) return false;
    detach();
    attach(root);
    return true;
}

bool ClsXml::LoadXml(const XString& xmlOrPath, bool keepWhitespace) {
    LogContext context(&m_log, "LoadXml");
    if (xmlOrPath.endsWithUtf8(".xml")) return LoadXmlFile(xmlOrPath, keepWhitespace);
    ParseEngine input;
    input.setText(xmlOrPath.getUtf8(), xmlOrPath.getUtf8Length());
    TreeNode* root = nullptr;
    if (!parseXml(input, &m_log, nullptr, root, keepWhitespace)) return false;
    detach();
    attach(root);
    return true;
}

void ClsXml::GetXml(XString& out) {
    StringBuffer text;
    m_node->getRoot()->getXml(text, m_emitCompact);
    out.setFromUtf8(text.view());
}

bool ClsXml::SaveXml(const XString& path) {
    LogContext context(&m_log, "SaveXml");
    StringBuffer text;
    const TreeNode* root = m_node->getRoot();
    root->getXml(text, m_emitCompact);
    StringBuffer encoding;
    uint32_t cp = root->getEncoding(encoding) ? nameToCodePage(encoding.getString()) : 0;
    if (cp == 0 || cp == kCodePageUtf8) return writeWholeFile(path, text.getString(), text.getLength(), &m_log);
    DataBuffer bytes;
    EncodingConvert conv;
    conv.convert(kCodePageUtf8, cp, reinterpret_cast<const uint8_t*>(text.getString()), text.getLength(), bytes);
    return writeWholeFile(path, bytes.data(), bytes.getSize(), &m_log);
}

// ---- this node ----

void ClsXml::get_Tag(XString& out) const { out.setFromUtf8(m_node->getTag()); }

void ClsXml::put_Tag(const XString& tag) { m_node->setTag(tag.getUtf8()); }

void ClsXml::get_Content(XString& out) const { out.setFromUtf8(m_node->getContent()); }

void ClsXml::put_Content(const XString& text) { m_node->setContent(text.getUtf8()); }

bool ClsXml::get_Cdata() const { return m_node->isCdata(); }

void ClsXml::put_Cdata(bool on) { m_node->setCdata(on); }

int32_t ClsXml::get_NumChildren() const { return m_node->getNumChildren(); }

int32_t ClsXml::get_NumAttributes() const { return m_node->getNumAttributes(); }

void ClsXml::get_Encoding(XString& out) const {
    StringBuffer encoding;
    m_node->getEncoding(encoding);
    out.setFromUtf8(encoding.view());
}

void ClsXml::put_Encoding(const XString& name) { m_node->setEncoding(name.getUtf8()); }

// ---- attributes ----

bool ClsXml::GetAttrValue(const XString& name, XString& out) const {
    StringBuffer value;
    bool found = m_node->getAttribute(name.getUtf8(), value);
    out.setFromUtf8(value.view());
    return found;
}

bool ClsXml::HasAttribute(const XString& name) const { return m_node->hasAttribute(name.getUtf8()); }

bool ClsXml::AddAttribute(const XString& name, const XString& value) {
    return m_node->addAttribute(name.getUtf8(), value.getUtf8());
}

bool ClsXml::UpdateAttribute(const XString& name, const XString& value) {
    return m_node->updateAttribute(name.getUtf8(), value.getUtf8());
}

bool ClsXml::RemoveAttribute(const XString& name) { return m_node->removeAttribute(name.getUtf8()); }

bool ClsXml::GetAttributeName(int32_t i, XString& out) const {
    StringBuffer text;
    bool found = m_node->getAttributeName(i, text);
    out.setFromUtf8(text.view());
    return found;
}

bool ClsXml::GetAttributeValue(int32_t i, XString& out) const {
    StringBuffer text;
    bool found = m_node->getAttributeValue(i, text);
    out.setFromUtf8(text.view());
    return found;
}

// ---- navigation ----

ClsXml* ClsXml::GetChild(int32_t i) { return share(m_node->getChild(i)); }

ClsXml* ClsXml::FirstChild() { return share(m_node->getChild(0)); }

ClsXml* ClsXml::NextSibling() { return share(m_node->getNextSibling()); }

ClsXml* ClsXml::PreviousSibling() { return share(m_node->getPrevSibling()); }

ClsXml* ClsXml::GetParent() { return share(m_node->getParent()); }

ClsXml* ClsXml::GetRoot() { return share(m_node->getRoot()); }

ClsXml* ClsXml::GetChildWithTag(const XString& tag) { return share(m_node->getChildWithTag(tag.getUtf8())); }

ClsXml* ClsXml::SearchForTag(const ClsXml* after, const XString& tag) {
    return share(m_node->searchForTag(after ? after->m_node : nullptr, tag.getUtf8()));
}

ClsXml* ClsXml::NewChild(const XString& tag, const XString& content) {
    return share(m_node->appendNewChild(tag.getUtf8(), content.getUtf8()));
}

bool ClsXml::GetChildContent(const XString& tag, XString& out) const {
    StringBuffer text;
    bool found = m_node->getChildContent(tag.getUtf8(), text);
    out.setFromUtf8(text.view());
    return found;
}

void ClsXml::getChildContent(const char* tag, StringBuffer& out) const { m_node->getChildContent(tag, out); }

}  // namespace zenvary
