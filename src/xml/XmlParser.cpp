// The tolerant XML reader: byte by byte over a ParseEngine, no validation.
// Mismatched closing tags are accepted, text outside the root element is
// dropped, and input that ends inside an element keeps what was read.
#include <cstring>

#include "core/ExtPtrArray.h"
#include "core/ParseEngine.h"
#include "core/StringBuffer.h"
#include "log/LogBase.h"
#include "xml/TreeInfo.h"
#include "xml/TreeNode.h"

namespace zenvary {

namespace {

bool isXmlSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Element content: "&amp;" goes last, so "&amp;lt;" comes out as "&lt;".
void replaceContentEntities(StringBuffer& text) {
    if (!text.containsChar('&')) return;
    text.replaceAll("&lt;", "<");
    text.replaceAll("&apos;", "'");
    text.replaceAll("&gt;", ">");
    text.replaceAll("&quot;", "\"");
    text.replaceAll("&amp;", "&");
}

void replaceAttributeEntities(StringBuffer& text) {
    if (!text.containsChar('&')) return;
    text.replaceAll("&lt;", "<");
    text.replaceAll("&gt;", ">");
    text.replaceAll("&quot;", "\"");
    text.replaceAll("&apos;", "'");
    text.replaceAll("&amp;", "&");
}

enum class TagEnd { Open, Closed, EndOfInput };

// Reads name="value" pairs into `node` up to ">" (or "?>" in a processing
// instruction). "/>" closes the element at once.
TagEnd readAttributes(ParseEngine& in, TreeNode& node, bool instruction) {
    const char* nameStops = instruction ? " \t\r\n=/>?" : " \t\r\n=/>";
    const char* bareValueStops = instruction ? " \t\r\n>?" : " \t\r\n>";
    StringBuffer name;
    StringBuffer value;
    for (;;) {
        in.skipWhitespace();
        char c = in.current();
        if (c == 0) return TagEnd::EndOfInput;
        if (c == '>') {
            in.advance(1);
            return instruction ? TagEnd::Closed : TagEnd::Open;
        }
        if (instruction && c == '?') {
            in.advance(1);
            if (in.current() == '>') {
                in.advance(1);
                return TagEnd::Closed;
            }
            continue;
        }
        if (c == '/') {
            in.advance(1);
            if (in.current() == '>') {
                in.advance(1);
                return TagEnd::Closed;
            }
            continue;
        }
        name.clear();
        in.copyUntilAnyOf(nameStops, name);
        if (name.getLength() == 0) {
            // A stray "=": nothing to name, step over it.
            in.advance(1);
            continue;
        }
        value.clear();
        in.skipWhitespace();
        if (in.current() == '=') {
            in.advance(1);
            in.skipWhitespace();
            char quote = in.current();
            if (quote == '"' || quote == '\'') {
                in.advance(1);
                in.copyUntil(quote, value);
                in.advance(1);
            } else {
                in.copyUntilAnyOf(bareValueStops, value);
            }
            replaceAttributeEntities(value);
        }
        node.addAttribute(name.getString(), value.getString());
    }
}

class XmlReader {
public:
    XmlReader(ParseEngine& in, LogBase& log, bool keepWhitespace)
        : m_in(in), m_log(log), m_trim(!keepWhitespace) {}
    ~XmlReader() {
        TreeNode::deleteTree(m_declaration);
        m_processing.deleteAll();
    }

    TreeNode* run();

private:
    void readContent();
    void readCdata();
    // Called with the position behind "<"; false ends the parse.
    bool readMarkup();
    bool readBang();
    void readInstruction();
    void readClosingTag();
    void readOpeningTag();
    void closeCurrent();
    void addContentPiece(StringBuffer& piece);

    ParseEngine& m_in;
    LogBase& m_log;
    const bool m_trim;
    TreeNode* m_root = nullptr;
    TreeNode* m_current = nullptr;
    TreeNode* m_declaration = nullptr;
    ExtPtrArray m_processing;
    StringBuffer m_prolog;
};

TreeNode* XmlReader::run() {
    while (!m_in.atEnd()) {
        if (!m_current) {
            m_in.skipWhitespace();
            m_in.skipTo('<');
            if (m_in.atEnd()) break;
            m_in.advance(1);
        } else {
            readContent();
            if (m_in.atEnd()) break;
            if (m_in.lookingAt("<![CDATA[")) {
                readCdata();
                if (m_in.atEnd()) break;
            }
            m_in.advance(1);  // the "<"
        }
        if (m_in.atEnd()) break;
        if (!readMarkup()) break;
    }

    if (!m_root) return nullptr;
    TreeInfo* info = m_root->ensureTreeInfo();
    info->setDeclaration(m_declaration);
    m_declaration = nullptr;
    for (int32_t i = 0; i < m_processing.getCount(); ++i) info->processingNodes().append(m_processing.get(i));
    m_processing.clear();
    info->docTypeText().append(m_prolog.view());
    TreeNode* root = m_root;
    m_root = nullptr;
    return root;
}

// Content of the current element up to the next "<" (or a CDATA section);
// leaves the position on that "<".
void XmlReader::readContent() {
    StringBuffer leading;
    if (m_trim) {
        m_in.skipWhitespace();
    } else {
        while (isXmlSpace(m_in.current())) {
            leading.appendChar(m_in.current());
            m_in.advance(1);
        }
    }
    if (m_in.lookingAt("<![CDATA[")) return;

    StringBuffer piece;
    m_in.copyUntil('<', piece);
    if (m_trim) {
        uint32_t n = piece.getLength();
        while (n > 0 && isXmlSpace(piece.charAt(n - 1))) --n;
        piece.removeRange(n, piece.getLength() - n);
    } else if (leading.getLength()) {
        piece.prepend(leading.getString());
    }
    addContentPiece(piece);
}

void XmlReader::addContentPiece(StringBuffer& piece) {
    if (piece.getLength() == 0) return;
    StringBuffer& content = m_current->contentBuffer();
    if (content.getLength()) content.appendChar(' ');
    content.append(piece.view());
    // Over the whole content again, so an earlier piece may resolve twice.
    replaceContentEntities(content);
}

// Called on "<![CDATA["; joins directly following sections, then leaves
// the position on the next "<" that starts no section.
void XmlReader::readCdata() {
    m_current->setCdata(true);
    StringBuffer& content = m_current->contentBuffer();
    while (m_in.lookingAt("<![CDATA[")) {
        m_in.advance(9);
        StringBuffer text;
        bool closed = m_in.copyUntilText("]]>", text);
        content.append(text.view());
        if (!closed) return;
        m_in.advance(3);
        m_in.skipTo('<');
    }
}

bool XmlReader::readMarkup() {
    switch (m_in.current()) {
        case '!':
            return readBang();
        case '?':
            readInstruction();
            return true;
        case '/':
            readClosingTag();
            return true;
        default:
            readOpeningTag();
            return true;
    }
}

bool XmlReader::readBang() {
    if (m_in.lookingAt("!--")) {
        m_in.advance(3);
        if (!m_in.skipPastText("-->")) {
            m_log.logError("Unclosed comment");
            return false;
        }
        return true;
    }
    if (m_in.lookingAtNoCase("!DOCTYPE")) {
        m_prolog.appendChar('<');
        bool balanced = m_in.copyBalanced('<', '>', 1, m_prolog);
        if (balanced) {
            m_prolog.appendChar('>');
            m_in.advance(1);
        } else {
            m_log.logError("Failed to parse DTD");
        }
        m_prolog.appendChar('\n');
        return true;
    }
    m_in.skipTo('>');
    m_in.advance(1);
    return true;
}

void XmlReader::readInstruction() {
    if (m_in.lookingAtNoCase("?xml ")) {
        m_in.advance(5);
        TreeNode* decl = new TreeNode("xml");
        readAttributes(m_in, *decl, true);
        TreeNode::deleteTree(m_declaration);
        m_declaration = decl;
        return;
    }
    if (m_in.lookingAtNoCase("?xml-stylesheet ")) {
        m_in.advance(16);
        TreeNode* sheet = new TreeNode("xml-stylesheet");
        readAttributes(m_in, *sheet, true);
        m_processing.append(sheet);
        return;
    }
    m_prolog.appendChar('<');
    if (m_in.copyUntilText("?>", m_prolog)) {
        m_prolog.append("?>");
        m_in.advance(2);
    }
    m_prolog.appendChar('\n');
}

void XmlReader::readClosingTag() {
    bool clean = m_in.skipToOneOf(">", "<");
    if (!clean) {
        m_log.logError("Error in closing tag");
        m_log.logData("error_tag", m_current ? m_current->getTag() : "");
    } else {
        m_in.advance(1);
    }
    closeCurrent();
}

void XmlReader::closeCurrent() {
    if (m_current) m_current = m_current->getParent();
}

void XmlReader::readOpeningTag() {
    StringBuffer name;
    m_in.copyUntilAnyOf(" \t\r\n/>", name);
    name.removeChar('<');

    TreeNode* node = new TreeNode(name.getString());
    if (m_current) {
        m_current->appendChild(node);
    } else {
        // A further top-level element replaces the one before.
        TreeNode::deleteTree(m_root);
        m_root = node;
    }
    TagEnd end = readAttributes(m_in, *node, false);
    if (end != TagEnd::Closed) m_current = node;
}

}  // namespace

bool parseXml(ParseEngine& input, LogBase* log, ProgressMonitor* progress, TreeNode*& root, bool keepWhitespace) {
    (void)progress;
    LogNull nullLog;
    XmlReader reader(input, log ? *log : nullLog, keepWhitespace);
    root = reader.run();
    return root != nullptr;
}

}  // namespace zenvary
