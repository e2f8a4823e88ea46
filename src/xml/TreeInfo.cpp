#include "xml/TreeInfo.h"

#include "xml/TreeNode.h"

namespace zenvary {

TreeInfo::~TreeInfo() {
    TreeNode::deleteTree(m_declaration);
    m_processingNodes.deleteAll();
}

void TreeInfo::setDeclaration(TreeNode* decl) {
    if (decl == m_declaration) return;
    TreeNode::deleteTree(m_declaration);
    m_declaration = decl;
}

}  // namespace zenvary
