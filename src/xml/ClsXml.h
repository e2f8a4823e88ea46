// ClsXml: the facade of an XML tree. An object holds one node of a tree;
// navigation gives new objects on other nodes of the same tree, and the
// tree lives as long as any object holds one of its nodes (the count is
// kept in the root's TreeInfo). A new object holds a root tagged "unnamed".
#pragma once
#include <cstdint>

#include "core/StringBuffer.h"
#include "core/XString.h"
#include "crypt/ClsBase.h"

namespace zenvary {

class TreeNode;

class ClsXml : public ClsBase {
public:
    ClsXml();
    ~ClsXml() override;
    ClsXml(const ClsXml&) = delete;
    ClsXml& operator=(const ClsXml&) = delete;

    // ---- loading and saving ----
    // Replaces the tree when the parse worked.
    bool LoadXmlFile(const XString& path, bool keepWhitespace);
    // A text ending in ".xml" is a file name for LoadXmlFile; any other
    // text is parsed as XML.
    bool LoadXml(const XString& xmlOrPath, bool keepWhitespace);
    // The document (from the root of the tree, with its declaration and
    // prolog); compact or indented by EmitCompact.
    void GetXml(XString& out);
    // The document as a file, in the declared encoding when that is known.
    bool SaveXml(const XString& path);
    bool get_EmitCompact() const { return m_emitCompact; }
    void put_EmitCompact(bool on) { m_emitCompact = on; }

    // ---- this node ----
    void get_Tag(XString& out) const;
    void put_Tag(const XString& tag);
    void get_Content(XString& out) const;
    void put_Content(const XString& text);
    bool get_Cdata() const;
    void put_Cdata(bool on);
    int32_t get_NumChildren() const;
    int32_t get_NumAttributes() const;
    // The declaration's encoding; empty when none.
    void get_Encoding(XString& out) const;
    void put_Encoding(const XString& name);

    // ---- attributes ----
    bool GetAttrValue(const XString& name, XString& out) const;
    bool HasAttribute(const XString& name) const;
    bool AddAttribute(const XString& name, const XString& value);
    bool UpdateAttribute(const XString& name, const XString& value);
    bool RemoveAttribute(const XString& name);
    bool GetAttributeName(int32_t i, XString& out) const;
    bool GetAttributeValue(int32_t i, XString& out) const;

    // ---- navigation: new objects the caller deletes; null when none ----
    ClsXml* GetChild(int32_t i);
    ClsXml* FirstChild();
    ClsXml* NextSibling();
    ClsXml* PreviousSibling();
    ClsXml* GetParent();
    ClsXml* GetRoot();
    ClsXml* GetChildWithTag(const XString& tag);
    // The next element with the tag after `after` (null: the first) among
    // this node's descendants, in document order.
    ClsXml* SearchForTag(const ClsXml* after, const XString& tag);
    ClsXml* NewChild(const XString& tag, const XString& content);
    // The content of the first child with the tag; false when none.
    bool GetChildContent(const XString& tag, XString& out) const;

    // Appends the content of the first child with that tag, or nothing.
    void getChildContent(const char* tag, StringBuffer& out) const;
    TreeNode* node() const { return m_node; }

private:
    explicit ClsXml(TreeNode* shared);
    ClsXml* share(TreeNode* node);
    void attach(TreeNode* node);
    void detach();

    TreeNode* m_node = nullptr;
    bool m_emitCompact = false;
};

}  // namespace zenvary
