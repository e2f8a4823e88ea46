// TreeNode: one element of an XML tree: a tag, attributes, text content and
// child elements. A document's root also carries the TreeInfo that the whole
// document shares. A node owns its children; deleting a node deletes its
// subtree. All texts are UTF-8.
#pragma once
#include <cstdint>

#include "core/ZenvaryObject.h"

namespace zenvary {

class AttributeSet;
class ExtPtrArray;
class LogBase;
class ParseEngine;
class ProgressMonitor;
class StringBuffer;
class TreeInfo;
class XString;

class TreeNode : public ZenvaryObject {
public:
    static constexpr uint8_t kMagic = 206;

    TreeNode();
    explicit TreeNode(const char* tag);
    ~TreeNode() override;
    TreeNode(const TreeNode&) = delete;
    TreeNode& operator=(const TreeNode&) = delete;

    // A new parentless node with a TreeInfo of its own.
    static TreeNode* createRoot(const char* tag);
    // Deletes the node and its subtree, after checking that the pointer
    // still holds a live node. A node that still has a parent is first
    // taken out of its parent's list.
    static void deleteTree(TreeNode* node);
    bool checkTreeNode() const { return m_magic == kMagic; }

    // ---- tag ----
    const char* getTag() const;  // "" when none
    void setTag(const char* tag);
    bool tagEquals(const char* tag) const;

    // ---- content ----
    bool hasContent() const;
    const char* getContent() const;  // "" when none
    uint32_t getContentLength() const;
    // Null or "" leaves no content. Neither changes the CDATA flag.
    void setContent(const char* text);
    void appendContent(const char* text, uint32_t n);
    void clearContent();
    // The content buffer, made when missing (for the parser).
    StringBuffer& contentBuffer();
    bool isCdata() const { return m_isCdata != 0; }
    void setCdata(bool on) { m_isCdata = on ? 1 : 0; }

    // ---- attributes ----
    int32_t getNumAttributes() const;
    // Each clears `out` first; false when absent or out of range.
    bool getAttribute(const char* name, StringBuffer& out) const;
    bool getAttributeName(int32_t i, StringBuffer& out) const;
    bool getAttributeValue(int32_t i, StringBuffer& out) const;
    bool hasAttribute(const char* name) const;
    // Appends the pair; a name already present is kept as well. False for
    // a null or empty name.
    bool addAttribute(const char* name, const char* value);
    // Replaces the value of the first pair of that name in its place, or
    // appends the pair when the name is absent.
    bool updateAttribute(const char* name, const char* value);
    bool removeAttribute(const char* name);
    void removeAllAttributes();

    // ---- children ----
    int32_t getNumChildren() const;
    TreeNode* getChild(int32_t i) const;
    // The first child with exactly this tag, or null.
    TreeNode* getChildWithTag(const char* tag) const;
    int32_t indexOfChild(const TreeNode* child) const;
    TreeNode* getNextSibling() const;
    TreeNode* getPrevSibling() const;
    // Takes ownership of a parentless node; its own TreeInfo, if any, is
    // dropped. False for null, a node with a parent, or this node itself or
    // one of its ancestors.
    bool appendChild(TreeNode* child);
    // A new child at the end; null content leaves it empty.
    TreeNode* appendNewChild(const char* tag, const char* content);
    // Takes the child out of the list; the caller owns it then.
    TreeNode* removeChildAt(int32_t i);
    // Appends the content of the first child with that tag; false when
    // there is no such child.
    bool getChildContent(const char* tag, StringBuffer& out) const;
    // Depth-first, in document order: the first element with the tag that
    // comes after `after` (null: from this node's first descendant).
    // Only descendants of this node are searched.
    TreeNode* searchForTag(const TreeNode* after, const char* tag) const;

    // ---- place in the tree ----
    TreeNode* getParent() const { return m_parent; }
    bool isRoot() const { return m_parent == nullptr; }
    TreeNode* getRoot();
    const TreeNode* getRoot() const;
    // The TreeInfo of this node's document; null when the root has none.
    TreeInfo* getTreeInfo() const;
    TreeInfo* ensureTreeInfo();
    // Depth below the root (0 for the root).
    int32_t getDepth() const;

    // ---- the document ----
    // Replaces the declaration's "encoding" attribute in its place, making
    // a declaration with "version" "1.0" when the document has none.
    void setEncoding(const char* name);
    // The declaration's "encoding" into `out`; false when there is none.
    bool getEncoding(StringBuffer& out) const;

    // Appends the XML text of this node and its subtree. On a root with a
    // TreeInfo the declaration, the stylesheet instructions and the prolog
    // text come first. `compact`: no whitespace of the writer's own, so
    // that a parse with kept whitespace gives the same tree back; otherwise
    // two-space indentation and CR LF line ends.
    void getXml(StringBuffer& out, bool compact) const;

    // Reads a file, brings it to UTF-8 by its byte-order mark or its
    // declaration, and parses it. `root` gets the new tree (the caller
    // owns it) or null.
    static bool loadFile(const XString& path, LogBase* log, ProgressMonitor* progress, TreeNode*& root,
                         bool keepWhitespace);

private:
    // The fields the parser works on, in this order.
    TreeInfo* m_info = nullptr;
    StringBuffer* m_tag = nullptr;
    AttributeSet* m_attributes = nullptr;
    StringBuffer* m_content = nullptr;
    ExtPtrArray* m_children = nullptr;
    uint8_t m_isCdata = 0;
    TreeNode* m_parent = nullptr;
    uint8_t m_magic = kMagic;
};

// The tolerant XML reader. `log` may be null. `progress` is accepted for
// the callers' sake and not used: a parse runs in memory. `root` gets the
// last top-level element (the caller owns it) or null; the result is false
// only when there is none.
bool parseXml(ParseEngine& input, LogBase* log, ProgressMonitor* progress, TreeNode*& root, bool keepWhitespace);

}  // namespace zenvary
