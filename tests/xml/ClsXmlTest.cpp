#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "XmlTestSupport.h"
#include "core/XString.h"
#include "xml/ClsXml.h"

namespace zenvary {
namespace {

using xmltest::TempFile;

XString x(const char* utf8) {
    XString s;
    s.setFromUtf8(utf8);
    return s;
}

std::string str(const XString& s) { return std::string(s.utf8View()); }

TEST(XmlLoadFile, EncodingsByMarkAndDeclaration) {
    // UTF-16LE with a mark, declared "UTF-16": the declaration becomes "utf-8".
    {
        TempFile f(".xml");
        std::string bytes = "\xFF\xFE";
        // é and € are both single UTF-16 units: E9 00 and AC 20.
        for (char c : std::string("<?xml version=\"1.0\" encoding=\"UTF-16\"?><r a=\"")) bytes += {c, '\0'};
        bytes += std::string("\xE9\0", 2);
        for (char c : std::string("\">")) bytes += {c, '\0'};
        bytes += "\xAC\x20";
        for (char c : std::string("</r>")) bytes += {c, '\0'};
        f.write(bytes);
        XString path = x(f.path().c_str());
        TreeNode* root = nullptr;
        ASSERT_TRUE(TreeNode::loadFile(path, nullptr, nullptr, root, false));
        xmltest::TreeHolder holder(root);
        EXPECT_STREQ(root->getContent(), "\xE2\x82\xAC");
        EXPECT_EQ(xmltest::attr(root, "a"), "\xC3\xA9");
        StringBuffer enc;
        ASSERT_TRUE(root->getEncoding(enc));
        EXPECT_STREQ(enc.getString(), "utf-8");
    }
    // UTF-16BE without a mark is told by its first bytes.
    {
        TempFile f(".xml");
        std::string bytes;
        for (char c : std::string("<?xml version='1.0' encoding='ucs-2'?><r>ok</r>")) bytes += {'\0', c};
        f.write(bytes);
        TreeNode* root = nullptr;
        ASSERT_TRUE(TreeNode::loadFile(x(f.path().c_str()), nullptr, nullptr, root, false));
        xmltest::TreeHolder holder(root);
        EXPECT_STREQ(root->getContent(), "ok");
        StringBuffer enc;
        root->getEncoding(enc);
        EXPECT_STREQ(enc.getString(), "utf-8");
    }
    // A declared single-byte charset is converted; its name stays.
    {
        TempFile f(".xml");
        f.write("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<r>caf\xE9</r>");
        TreeNode* root = nullptr;
        ASSERT_TRUE(TreeNode::loadFile(x(f.path().c_str()), nullptr, nullptr, root, false));
        xmltest::TreeHolder holder(root);
        EXPECT_STREQ(root->getContent(), "caf\xC3\xA9");
        StringBuffer enc;
        root->getEncoding(enc);
        EXPECT_STREQ(enc.getString(), "ISO-8859-1");
    }
    // A UTF-8 mark is dropped; a missing file fails.
    {
        TempFile f(".xml");
        f.write("\xEF\xBB\xBF<r>\xC3\xA9</r>");
        TreeNode* root = nullptr;
        ASSERT_TRUE(TreeNode::loadFile(x(f.path().c_str()), nullptr, nullptr, root, false));
        xmltest::TreeHolder holder(root);
        EXPECT_STREQ(root->getTag(), "r");
        EXPECT_STREQ(root->getContent(), "\xC3\xA9");
        TreeNode* none = reinterpret_cast<TreeNode*>(1);
        EXPECT_FALSE(TreeNode::loadFile(x("/nonexistent/dir/x.xml"), nullptr, nullptr, none, false));
        EXPECT_EQ(none, nullptr);
    }
}

TEST(ClsXml, NewObjectAndLoading) {
    ClsXml xml;
    XString out;
    xml.get_Tag(out);
    EXPECT_EQ(str(out), "unnamed");

    // A text ending in ".xml" is a file name.
    TempFile f(".xml");
    f.write("<doc><k>from file</k></doc>");
    ASSERT_TRUE(xml.LoadXml(x(f.path().c_str()), false));
    xml.get_Tag(out);
    EXPECT_EQ(str(out), "doc");
    StringBuffer content;
    xml.getChildContent("k", content);
    EXPECT_STREQ(content.getString(), "from file");

    // A failed parse leaves the tree as it was; a good one replaces it.
    EXPECT_FALSE(xml.LoadXml(x("no markup"), false));
    EXPECT_FALSE(xml.LoadXml(x("/nonexistent/none.xml"), false));
    xml.get_Tag(out);
    EXPECT_EQ(str(out), "doc");
    XString lastError;
    xml.lastErrorText(lastError, false);
    EXPECT_NE(str(lastError).find("LoadXml"), std::string::npos);

    ASSERT_TRUE(xml.LoadXml(x("<a><b>1</b><b>2</b></a>"), false));
    EXPECT_EQ(xml.get_NumChildren(), 2);
    EXPECT_TRUE(xml.GetChildContent(x("b"), out));
    EXPECT_EQ(str(out), "1");
    EXPECT_FALSE(xml.GetChildContent(x("c"), out));

    // Saved and loaded again through a file.
    TempFile g(".xml");
    xml.put_Encoding(x("iso-8859-1"));
    std::unique_ptr<ClsXml> child(xml.NewChild(x("t"), x("\xC3\xA9")));
    ASSERT_TRUE(child);
    ASSERT_TRUE(xml.SaveXml(x(g.path().c_str())));
    std::string saved = g.read();
    EXPECT_NE(saved.find("<t>\xE9</t>"), std::string::npos);  // written in the declared charset
    ClsXml again;
    ASSERT_TRUE(again.LoadXmlFile(x(g.path().c_str()), false));
    std::unique_ptr<ClsXml> t(again.GetChildWithTag(x("t")));
    ASSERT_TRUE(t);
    t->get_Content(out);
    EXPECT_EQ(str(out), "\xC3\xA9");
}

TEST(ClsXml, SharedTreeOutlivesItsFirstHolder) {
    std::unique_ptr<ClsXml> child;
    std::unique_ptr<ClsXml> grandChild;
    {
        ClsXml xml;
        ASSERT_TRUE(xml.LoadXml(x("<r><a k=\"v\"><b>deep</b></a><c/></r>"), false));
        child.reset(xml.FirstChild());
        ASSERT_TRUE(child);
        grandChild.reset(child->GetChildWithTag(x("b")));
        ASSERT_TRUE(grandChild);
        // The first holder loads a new tree: the old one stays for the others.
        ASSERT_TRUE(xml.LoadXml(x("<other/>"), false));
    }
    XString out;
    grandChild->get_Content(out);
    EXPECT_EQ(str(out), "deep");
    EXPECT_TRUE(child->GetAttrValue(x("k"), out));
    EXPECT_EQ(str(out), "v");
    std::unique_ptr<ClsXml> sibling(child->NextSibling());
    ASSERT_TRUE(sibling);
    sibling->get_Tag(out);
    EXPECT_EQ(str(out), "c");
    EXPECT_EQ(sibling->NextSibling(), nullptr);
    std::unique_ptr<ClsXml> back(sibling->PreviousSibling());
    ASSERT_TRUE(back);
    std::unique_ptr<ClsXml> root(grandChild->GetRoot());
    root->get_Tag(out);
    EXPECT_EQ(str(out), "r");
    std::unique_ptr<ClsXml> found(root->SearchForTag(nullptr, x("b")));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->node(), grandChild->node());
    EXPECT_EQ(root->SearchForTag(found.get(), x("b")), nullptr);
    EXPECT_EQ(root->GetParent(), nullptr);

    // Edits through one holder are seen by the others.
    grandChild->put_Content(x("changed"));
    grandChild->put_Tag(x("bb"));
    EXPECT_TRUE(child->AddAttribute(x("n"), x("1")));
    EXPECT_EQ(child->get_NumAttributes(), 2);
    EXPECT_TRUE(child->GetAttributeName(1, out));
    EXPECT_EQ(str(out), "n");
    root->put_EmitCompact(true);
    root->GetXml(out);
    EXPECT_EQ(str(out), "<r><a k=\"v\" n=\"1\"><bb>changed</bb></a><c/></r>");
    // Released in any order; the sanitizer run checks that nothing leaks
    // or is freed twice.
    root.reset();
    child.reset();
    back.reset();
    sibling.reset();
    found.reset();
}

}  // namespace
}  // namespace zenvary
