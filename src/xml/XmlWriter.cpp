// The writer of a tree back to text. Text and attribute values are escaped
// so that the reader gives them back unchanged; a CDATA node is written as
// CDATA, split where its text holds "]]>".
#include <cstring>
#include <string_view>
#include <strings.h>
#include <vector>

#include "core/StringBuffer.h"
#include "xml/TreeInfo.h"
#include "xml/TreeNode.h"

namespace zenvary {

namespace {

void appendEscaped(StringBuffer& out, const char* text) {
    if (!std::strpbrk(text, "&<>\"")) {
        out.append(text);
        return;
    }
    StringBuffer escaped(text);
    escaped.escapeXml();
    out.append(escaped.view());
}

void appendAttributes(StringBuffer& out, const TreeNode& node) {
    StringBuffer name, value;
    for (int32_t i = 0; i < node.getNumAttributes(); ++i) {
        node.getAttributeName(i, name);
        node.getAttributeValue(i, value);
        out.appendChar(' ');
        out.append(name.view());
        out.append("=\"");
        appendEscaped(out, value.getString());
        out.appendChar('"');
    }
}

void appendInstruction(StringBuffer& out, const TreeNode& node) {
    out.append("<?");
    out.append(node.getTag());
    // "<?xml?>" would not be read back as a declaration: the reader wants
    // the blank behind the name.
    if (node.getNumAttributes() == 0) out.appendChar(' ');
    appendAttributes(out, node);
    out.append("?>");
}

void appendCdata(StringBuffer& out, const char* text) {
    out.append("<![CDATA[");
    const char* p = text;
    while (const char* hit = std::strstr(p, "]]>")) {
        out.appendN(p, static_cast<int>(hit - p));
        out.append("]]]]><![CDATA[>");
        p = hit + 3;
    }
    out.append(p);
    out.append("]]>");
}

void writeContent(StringBuffer& out, const TreeNode& node) {
    if (node.isCdata())
        appendCdata(out, node.getContent());
    else
        appendEscaped(out, node.getContent());
}

// The prolog text as the reader gathered it: instructions up to their
// "?>" and DOCTYPE declarations up to their balancing ">", each followed by
// a newline. A piece the input ended inside is the last one; it is closed
// here, as it would otherwise swallow the root element written after it.
void appendProlog(StringBuffer& out, std::string_view text) {
    out.append(text);
    size_t i = 0;
    while (i < text.size()) {
        if (text.compare(i, 2, "<?") == 0) {
            size_t end = text.find("?>", i + 1);
            if (end == std::string_view::npos) {
                out.append("?>");
                return;
            }
            i = end + 2;
        } else if (text.size() - i >= 9 && strncasecmp(text.data() + i, "<!DOCTYPE", 9) == 0) {
            int32_t depth = 1;
            size_t j = i + 1;
            for (; j < text.size() && depth > 0; ++j) {
                if (text[j] == '<') ++depth;
                if (text[j] == '>') --depth;
            }
            if (depth > 0) {
                out.appendCharN('>', depth);
                return;
            }
            i = j;
        } else {
            ++i;
        }
    }
}

void newLine(StringBuffer& out, bool compact, int32_t depth) {
    if (compact) return;
    out.append("\r\n");
    out.appendCharN(' ', depth * 2);
}

}  // namespace

void TreeNode::getXml(StringBuffer& out, bool compact) const {
    if (isRoot() && m_info) {
        const TreeInfo& info = *m_info;
        if (info.declaration()) {
            appendInstruction(out, *info.declaration());
            if (!compact) out.append("\r\n");
        }
        for (int32_t i = 0; i < info.processingNodes().getCount(); ++i) {
            const TreeNode* pi = info.processingNodes().at<TreeNode>(i);
            if (!pi) continue;
            appendInstruction(out, *pi);
            if (!compact) out.append("\r\n");
        }
        // Each piece of prolog text already ends in a newline.
        appendProlog(out, info.docTypeText().view());
    }

    // Depth-first with an explicit stack, so deep trees cannot exhaust the
    // call stack. Each entry is a node and the next child to write.
    struct Frame {
        const TreeNode* node;
        int32_t next;
    };
    std::vector<Frame> stack;
    // Writes the start tag and the content; false when the element was
    // closed at once.
    auto open = [&](const TreeNode* node) {
        out.appendChar('<');
        // A name that starts like a comment, a declaration or an instruction
        // gets one more "<" in front: the reader drops a "<" inside a name.
        const char first = *node->getTag();
        if (first == '!' || first == '?' || first == '/') out.appendChar('<');
        out.append(node->getTag());
        appendAttributes(out, *node);
        bool content = node->hasContent() || node->isCdata();
        if (!content && node->getNumChildren() == 0) {
            // "</>" would read as a closing tag.
            out.append(*node->getTag() ? "/>" : " />");
            return false;
        }
        out.appendChar('>');
        if (content) writeContent(out, *node);
        return true;
    };

    if (open(this)) stack.push_back({this, 0});
    while (!stack.empty()) {
        Frame& top = stack.back();
        int32_t depth = static_cast<int32_t>(stack.size());
        if (top.next >= top.node->getNumChildren()) {
            if (top.node->getNumChildren() > 0) newLine(out, compact, depth - 1);
            out.append("</");
            out.append(top.node->getTag());
            out.appendChar('>');
            stack.pop_back();
            continue;
        }
        const TreeNode* child = top.node->getChild(top.next++);
        if (!child) continue;
        newLine(out, compact, depth);
        if (open(child)) stack.push_back({child, 0});
    }
}

}  // namespace zenvary
