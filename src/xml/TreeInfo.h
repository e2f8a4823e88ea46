// TreeInfo: what a whole XML document shares, kept on its root node: the
// declaration, the "xml-stylesheet" instructions, the DOCTYPE and other
// prolog text, and the count of outside holders of nodes of the tree.
#pragma once
#include <cstdint>

#include "core/ExtPtrArray.h"
#include "core/StringBuffer.h"
#include "core/ZenvaryObject.h"

namespace zenvary {

class TreeNode;

class TreeInfo : public ZenvaryObject {
public:
    TreeInfo() = default;
    ~TreeInfo() override;
    TreeInfo(const TreeInfo&) = delete;
    TreeInfo& operator=(const TreeInfo&) = delete;

    // The "<?xml ...?>" declaration as a node tagged "xml"; null when none.
    TreeNode* declaration() const { return m_declaration; }
    // Takes ownership; a declaration held before is deleted.
    void setDeclaration(TreeNode* decl);

    // The "xml-stylesheet" instructions, owned, in document order.
    ExtPtrArray& processingNodes() { return m_processingNodes; }
    const ExtPtrArray& processingNodes() const { return m_processingNodes; }

    // DOCTYPE and other prolog text, each piece closed by a newline.
    StringBuffer& docTypeText() { return m_docTypeText; }
    const StringBuffer& docTypeText() const { return m_docTypeText; }

    int32_t refCount() const { return m_refCount; }
    void addRef() { ++m_refCount; }
    // The count after the release; never below 0.
    int32_t release() { return m_refCount > 0 ? --m_refCount : 0; }

private:
    TreeNode* m_declaration = nullptr;
    ExtPtrArray m_processingNodes;
    StringBuffer m_docTypeText;
    int32_t m_refCount = 0;
};

}  // namespace zenvary
