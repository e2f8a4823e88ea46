#include "xml/TreeNode.h"

#include <cstring>
#include <utility>
#include <vector>

#include "core/AttributeSet.h"
#include "core/ExtPtrArray.h"
#include "core/StringBuffer.h"
#include "xml/TreeInfo.h"

namespace zenvary {

TreeNode::TreeNode() = default;

TreeNode::TreeNode(const char* tag) { setTag(tag); }

TreeNode::~TreeNode() {
    m_magic = 0;
    // Children are deleted with an explicit work list rather than by
    // recursion, so that a deeply nested document cannot exhaust the stack.
    if (m_children) {
        std::vector<TreeNode*> pending;
        for (int32_t i = 0; i < m_children->getCount(); ++i) pending.push_back(m_children->at<TreeNode>(i));
        m_children->clear();
        while (!pending.empty()) {
            TreeNode* node = pending.back();
            pending.pop_back();
            if (!node || !node->checkTreeNode()) continue;
            if (node->m_children) {
                for (int32_t i = 0; i < node->m_children->getCount(); ++i)
                    pending.push_back(node->m_children->at<TreeNode>(i));
                node->m_children->clear();
            }
            node->m_parent = nullptr;
            delete node;
        }
        delete m_children;
    }
    delete m_info;
    delete m_tag;
    delete m_attributes;
    delete m_content;
}

TreeNode* TreeNode::createRoot(const char* tag) {
    TreeNode* node = new TreeNode(tag);
    node->m_info = new TreeInfo();
    return node;
}

void TreeNode::deleteTree(TreeNode* node) {
    if (!node || !node->checkTreeNode()) return;
    if (node->m_parent && node->m_parent->m_children) node->m_parent->m_children->removeItem(node);
    node->m_parent = nullptr;
    delete node;
}

// ---- tag ----

const char* TreeNode::getTag() const { return m_tag ? m_tag->getString() : ""; }

void TreeNode::setTag(const char* tag) {
    if (!m_tag) m_tag = new StringBuffer();
    m_tag->setString(tag ? tag : "");
}

bool TreeNode::tagEquals(const char* tag) const { return tag && std::strcmp(getTag(), tag) == 0; }

// ---- content ----

bool TreeNode::hasContent() const { return m_content && m_content->getLength() > 0; }

const char* TreeNode::getContent() const { return m_content ? m_content->getString() : ""; }

uint32_t TreeNode::getContentLength() const { return m_content ? m_content->getLength() : 0; }

void TreeNode::setContent(const char* text) {
    if (!text || !*text) {
        clearContent();
        return;
    }
    contentBuffer().setString(text);
}

void TreeNode::appendContent(const char* text, uint32_t n) {
    if (!text || !n) return;
    contentBuffer().appendN(text, static_cast<int>(n));
}

void TreeNode::clearContent() {
    delete m_content;
    m_content = nullptr;
}

StringBuffer& TreeNode::contentBuffer() {
    if (!m_content) m_content = new StringBuffer();
    return *m_content;
}

// ---- attributes ----

int32_t TreeNode::getNumAttributes() const { return m_attributes ? m_attributes->getCount() : 0; }

bool TreeNode::getAttribute(const char* name, StringBuffer& out) const {
    out.clear();
    return m_attributes && m_attributes->get(name, out);
}

bool TreeNode::getAttributeName(int32_t i, StringBuffer& out) const {
    out.clear();
    return m_attributes && m_attributes->getName(i, out);
}

bool TreeNode::getAttributeValue(int32_t i, StringBuffer& out) const {
    out.clear();
    return m_attributes && m_attributes->getValue(i, out);
}

bool TreeNode::hasAttribute(const char* name) const { return m_attributes && m_attributes->contains(name); }

bool TreeNode::addAttribute(const char* name, const char* value) {
    if (!name || !*name) return false;
    if (!m_attributes) m_attributes = new AttributeSet();
    return m_attributes->add(name, value);
}

bool TreeNode::updateAttribute(const char* name, const char* value) {
    if (!name || !*name) return false;
    if (!hasAttribute(name)) return addAttribute(name, value);
    // AttributeSet has no replace; rebuild it so the pair keeps its place.
    AttributeSet* rebuilt = new AttributeSet();
    StringBuffer n, v;
    bool replaced = false;
    for (int32_t i = 0; i < m_attributes->getCount(); ++i) {
        getAttributeName(i, n);
        getAttributeValue(i, v);
        if (!replaced && n.equals(name)) {
            rebuilt->add(name, value);
            replaced = true;
        } else {
            rebuilt->add(n.getString(), v.getString());
        }
    }
    delete m_attributes;
    m_attributes = rebuilt;
    return true;
}

bool TreeNode::removeAttribute(const char* name) { return m_attributes && m_attributes->remove(name); }

void TreeNode::removeAllAttributes() {
    delete m_attributes;
    m_attributes = nullptr;
}

// ---- children ----

int32_t TreeNode::getNumChildren() const { return m_children ? m_children->getCount() : 0; }

TreeNode* TreeNode::getChild(int32_t i) const { return m_children ? m_children->at<TreeNode>(i) : nullptr; }

TreeNode* TreeNode::getChildWithTag(const char* tag) const {
    if (!tag) return nullptr;
    for (int32_t i = 0; i < getNumChildren(); ++i) {
        TreeNode* child = getChild(i);
        if (child && child->tagEquals(tag)) return child;
    }
    return nullptr;
}

int32_t TreeNode::indexOfChild(const TreeNode* child) const { return m_children ? m_children->indexOf(child) : -1; }

TreeNode* TreeNode::getNextSibling() const {
    if (!m_parent) return nullptr;
    int32_t i = m_parent->indexOfChild(this);
    return i < 0 ? nullptr : m_parent->getChild(i + 1);
}

TreeNode* TreeNode::getPrevSibling() const {
    if (!m_parent) return nullptr;
    int32_t i = m_parent->indexOfChild(this);
    return i <= 0 ? nullptr : m_parent->getChild(i - 1);
}

bool TreeNode::appendChild(TreeNode* child) {
    if (!child || !child->checkTreeNode() || child->m_parent) return false;
    if (child == this) return false;
    // Only a node with children can be an ancestor of this one.
    if (child->getNumChildren() > 0) {
        for (const TreeNode* n = m_parent; n; n = n->m_parent) {
            if (n == child) return false;
        }
    }
    // A root still held from outside keeps its info and stays a root.
    if (child->m_info && child->m_info->refCount() > 0) return false;
    if (!m_children) m_children = new ExtPtrArray();
    if (!m_children->append(child)) return false;
    delete child->m_info;
    child->m_info = nullptr;
    child->m_parent = this;
    return true;
}

TreeNode* TreeNode::appendNewChild(const char* tag, const char* content) {
    TreeNode* child = new TreeNode(tag);
    child->setContent(content);
    if (!appendChild(child)) {
        delete child;
        return nullptr;
    }
    return child;
}

TreeNode* TreeNode::removeChildAt(int32_t i) {
    if (!m_children) return nullptr;
    TreeNode* child = static_cast<TreeNode*>(m_children->removeAt(i));
    if (child) child->m_parent = nullptr;
    return child;
}

bool TreeNode::getChildContent(const char* tag, StringBuffer& out) const {
    TreeNode* child = getChildWithTag(tag);
    if (!child) return false;
    out.append(child->getContent());
    return true;
}

TreeNode* TreeNode::searchForTag(const TreeNode* after, const char* tag) const {
    if (!tag) return nullptr;
    bool passed = after == nullptr;
    std::vector<std::pair<const TreeNode*, int32_t>> stack;
    stack.emplace_back(this, 0);
    while (!stack.empty()) {
        const TreeNode* node = stack.back().first;
        int32_t i = stack.back().second;
        if (i >= node->getNumChildren()) {
            stack.pop_back();
            continue;
        }
        ++stack.back().second;
        TreeNode* child = node->getChild(i);
        if (!child) continue;
        if (passed && child->tagEquals(tag)) return child;
        if (child == after) passed = true;
        stack.emplace_back(child, 0);
    }
    return nullptr;
}

// ---- place in the tree ----

TreeNode* TreeNode::getRoot() {
    TreeNode* n = this;
    while (n->m_parent) n = n->m_parent;
    return n;
}

const TreeNode* TreeNode::getRoot() const {
    const TreeNode* n = this;
    while (n->m_parent) n = n->m_parent;
    return n;
}

TreeInfo* TreeNode::getTreeInfo() const { return getRoot()->m_info; }

TreeInfo* TreeNode::ensureTreeInfo() {
    TreeNode* root = getRoot();
    if (!root->m_info) root->m_info = new TreeInfo();
    return root->m_info;
}

int32_t TreeNode::getDepth() const {
    int32_t depth = 0;
    for (const TreeNode* n = m_parent; n; n = n->m_parent) ++depth;
    return depth;
}

// ---- the document ----

void TreeNode::setEncoding(const char* name) {
    TreeInfo* info = ensureTreeInfo();
    TreeNode* decl = info->declaration();
    if (!decl) {
        decl = new TreeNode("xml");
        decl->addAttribute("version", "1.0");
        info->setDeclaration(decl);
    }
    if (decl->hasAttribute("encoding") || !decl->hasAttribute("version")) {
        decl->updateAttribute("encoding", name ? name : "");
        return;
    }
    // "encoding" belongs right behind "version", before "standalone".
    AttributeSet* rebuilt = new AttributeSet();
    StringBuffer n, v;
    for (int32_t i = 0; i < decl->getNumAttributes(); ++i) {
        decl->getAttributeName(i, n);
        decl->getAttributeValue(i, v);
        rebuilt->add(n.getString(), v.getString());
        if (n.equals("version")) rebuilt->add("encoding", name ? name : "");
    }
    delete decl->m_attributes;
    decl->m_attributes = rebuilt;
}

bool TreeNode::getEncoding(StringBuffer& out) const {
    out.clear();
    TreeInfo* info = getTreeInfo();
    return info && info->declaration() && info->declaration()->getAttribute("encoding", out);
}

}  // namespace zenvary
