#include <gtest/gtest.h>

#include <string>

#include "XmlTestSupport.h"

namespace zenvary {
namespace {

using xmltest::attr;
using xmltest::parse;
using xmltest::sameTree;
using xmltest::TreeHolder;
using xmltest::xmlOf;

TEST(XmlWriter, CompactAndIndentedForms) {
    TreeHolder a(parse("<?xml version=\"1.0\" encoding=\"utf-8\"?><r id=\"7\"><k>v</k><e/><m>t<c/></m></r>"));
    EXPECT_EQ(xmlOf(a.root, true),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?><r id=\"7\"><k>v</k><e/><m>t<c/></m></r>");
    EXPECT_EQ(xmlOf(a.root, false),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n"
              "<r id=\"7\">\r\n"
              "  <k>v</k>\r\n"
              "  <e/>\r\n"
              "  <m>t\r\n"
              "    <c/>\r\n"
              "  </m>\r\n"
              "</r>");
    // A node below the root writes its own subtree only.
    EXPECT_EQ(xmlOf(a->getChild(2), true), "<m>t<c/></m>");
}

TEST(XmlWriter, EscapingRoundTrips) {
    TreeNode* root = TreeNode::createRoot("r");
    TreeHolder holder(root);
    root->setContent("a<b>&c\"d'e &lt; &amp;amp;");
    root->addAttribute("q", "x\"y<z>&'w");
    TreeNode* cdata = root->appendNewChild("c", "one ]]> two ]]]]> <&>");
    cdata->setCdata(true);
    TreeNode* emptyCdata = root->appendNewChild("e", nullptr);
    emptyCdata->setCdata(true);
    root->appendNewChild("", nullptr);  // a nameless element

    std::string text = xmlOf(root, true);
    EXPECT_NE(text.find("a&lt;b&gt;&amp;c&quot;d'e &amp;lt; &amp;amp;amp;"), std::string::npos);
    EXPECT_NE(text.find("q=\"x&quot;y&lt;z&gt;&amp;'w\""), std::string::npos);
    EXPECT_NE(text.find("<![CDATA[one ]]]]><![CDATA[> two ]]]]]]><![CDATA[> <&>]]>"), std::string::npos);
    EXPECT_NE(text.find("< />"), std::string::npos);

    TreeHolder back(parse(text, true));
    EXPECT_TRUE(sameTree(root, back.root));
    EXPECT_TRUE(back->getChild(0)->isCdata());
    EXPECT_TRUE(back->getChild(1)->isCdata());
}

TEST(XmlWriter, DocumentRoundTrips) {
    const std::string docs[] = {
        "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?>\n"
        "<?xml-stylesheet type=\"text/xsl\" href=\"a.xsl\"?>\n"
        "<!DOCTYPE rights [<!ENTITY x \"y\"><!ELEMENT rights ANY>]>\n"
        "<o-ex:rights xmlns:o-ex=\"http://odrl.net/1.1/ODRL-EX\">\n"
        "  <o-ex:context><o-dd:version>1.0</o-dd:version></o-ex:context>\n"
        "  <o-ex:agreement><o-ex:asset><ds:KeyValue>QUJDREVGR0hJSktMTU5PUA==</ds:KeyValue></o-ex:asset>\n"
        "  <o-ex:permission><o-dd:play/><o-dd:display><o-ex:constraint><o-dd:count>5</o-dd:count>"
        "</o-ex:constraint></o-dd:display></o-ex:permission></o-ex:agreement>\n"
        "</o-ex:rights>",
        "<RSAKeyValue><Modulus>AQAB</Modulus><Exponent>AQAB</Exponent><P>zz==</P></RSAKeyValue>",
        "<a>mixed &amp; text<b k='1'>in</b>tail<![CDATA[x]]></a>",
        "<?other pi?><r>\xC3\xA9\xE2\x82\xAC</r>",
    };
    for (const std::string& doc : docs) {
        SCOPED_TRACE(doc);
        TreeHolder first(parse(doc, false));
        ASSERT_NE(first.root, nullptr);
        // Compact text read back with whitespace kept gives the same tree.
        std::string compact = xmlOf(first.root, true);
        TreeHolder second(parse(compact, true));
        EXPECT_TRUE(sameTree(first.root, second.root));
        EXPECT_EQ(xmlOf(second.root, true), compact);
        // The indented form, read with trimming, too.
        std::string indented = xmlOf(first.root, false);
        TreeHolder third(parse(indented, false));
        EXPECT_TRUE(sameTree(first.root, third.root));
        EXPECT_EQ(xmlOf(third.root, false), indented);
        // Prolog pieces survive.
        EXPECT_EQ(std::string(first->getTreeInfo()->docTypeText().view()),
                  std::string(third->getTreeInfo()->docTypeText().view()));
    }
}

TEST(XmlWriter, UnterminatedPrologPiecesAreClosed) {
    // An instruction or DTD the input ended inside would swallow the root
    // written after it; the writer closes it.
    TreeHolder a(parse("<a>x<?pi open"));
    EXPECT_EQ(std::string(a->getTreeInfo()->docTypeText().view()), "<?pi open\n");
    EXPECT_EQ(xmlOf(a.root, true), "<?pi open\n?><a>x</a>");
    TreeHolder a2(parse(xmlOf(a.root, true)));
    ASSERT_NE(a2.root, nullptr);
    EXPECT_STREQ(a2->getContent(), "x");
    EXPECT_EQ(xmlOf(a2.root, true), "<?pi open\n?>\n<a>x</a>");

    TreeHolder b(parse("<b/><!DOCTYPE x [<!ENTITY e 'v'"));
    EXPECT_EQ(xmlOf(b.root, true), "<!DOCTYPE x [<!ENTITY e 'v'\n>><b/>");
    TreeHolder b2(parse(xmlOf(b.root, true)));
    ASSERT_NE(b2.root, nullptr);
    EXPECT_STREQ(b2->getTag(), "b");

    // Tags that start like markup keep their meaning through a "<" the
    // reader drops again.
    TreeHolder c(parse("<r><<?t/><<!u>v</<!u></r>"));
    ASSERT_EQ(c->getNumChildren(), 2);
    EXPECT_STREQ(c->getChild(0)->getTag(), "?t");
    EXPECT_STREQ(c->getChild(1)->getTag(), "!u");
    EXPECT_EQ(xmlOf(c.root, true), "<r><<?t/><<!u>v</!u></r>");
    TreeHolder c2(parse(xmlOf(c.root, true)));
    EXPECT_TRUE(xmltest::sameTree(c.root, c2.root));
}

TEST(XmlWriter, SetEncodingAndDeclaration) {
    TreeNode* root = TreeNode::createRoot("r");
    TreeHolder holder(root);
    root->setEncoding("iso-8859-1");
    EXPECT_EQ(xmlOf(root, true), "<?xml version=\"1.0\" encoding=\"iso-8859-1\"?><r/>");
    root->setEncoding("utf-8");
    EXPECT_EQ(xmlOf(root, true), "<?xml version=\"1.0\" encoding=\"utf-8\"?><r/>");

    // "encoding" goes right behind "version", before "standalone".
    TreeHolder b(parse("<?xml version=\"1.0\" standalone=\"no\"?><r/>"));
    b->setEncoding("utf-8");
    EXPECT_EQ(xmlOf(b.root, true), "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"no\"?><r/>");

    // A declaration without attributes is written so that it reads back.
    TreeHolder c(parse("<?xml ?><r/>"));
    ASSERT_NE(c->getTreeInfo()->declaration(), nullptr);
    EXPECT_EQ(xmlOf(c.root, true), "<?xml ?><r/>");
    TreeHolder d(parse(xmlOf(c.root, true)));
    EXPECT_NE(d->getTreeInfo()->declaration(), nullptr);
}

TEST(XmlTree, EditingAndNavigation) {
    TreeNode* root = TreeNode::createRoot("root");
    TreeHolder holder(root);
    TreeNode* a = root->appendNewChild("a", "1");
    TreeNode* b = root->appendNewChild("b", nullptr);
    TreeNode* a2 = b->appendNewChild("a", "2");
    root->appendNewChild("a", "3");

    EXPECT_EQ(root->getChildWithTag("a"), a);
    EXPECT_EQ(root->searchForTag(nullptr, "a"), a);
    EXPECT_EQ(root->searchForTag(a, "a"), a2);
    EXPECT_STREQ(root->searchForTag(a2, "a")->getContent(), "3");
    EXPECT_EQ(root->searchForTag(root->getChild(2), "a"), nullptr);
    EXPECT_EQ(a->getNextSibling(), b);
    EXPECT_EQ(b->getPrevSibling(), a);
    EXPECT_EQ(a->getPrevSibling(), nullptr);
    EXPECT_EQ(a2->getRoot(), root);
    EXPECT_EQ(a2->getDepth(), 2);
    EXPECT_EQ(a2->getTreeInfo(), root->getTreeInfo());

    StringBuffer out("x=");
    EXPECT_TRUE(root->getChildContent("a", out));
    EXPECT_STREQ(out.getString(), "x=1");
    EXPECT_FALSE(root->getChildContent("zz", out));
    EXPECT_STREQ(out.getString(), "x=1");

    // Attributes keep their order; update replaces in place.
    EXPECT_TRUE(a->addAttribute("p", "1"));
    EXPECT_TRUE(a->addAttribute("q", "2"));
    EXPECT_FALSE(a->addAttribute("", "x"));
    EXPECT_TRUE(a->updateAttribute("p", "9"));
    EXPECT_TRUE(a->updateAttribute("r", "3"));
    EXPECT_EQ(xmlOf(a, true), "<a p=\"9\" q=\"2\" r=\"3\">1</a>");
    EXPECT_TRUE(a->removeAttribute("q"));
    EXPECT_FALSE(a->removeAttribute("q"));
    EXPECT_EQ(attr(a, "r"), "3");

    // No cycles, no second parent.
    EXPECT_FALSE(a2->appendChild(root));
    EXPECT_FALSE(b->appendChild(b));
    EXPECT_FALSE(root->appendChild(a2));
    TreeNode* taken = root->removeChildAt(1);
    ASSERT_EQ(taken, b);
    EXPECT_EQ(b->getParent(), nullptr);
    EXPECT_FALSE(a2->appendChild(b));
    EXPECT_TRUE(a->appendChild(b));
    EXPECT_EQ(xmlOf(root, true), "<root><a p=\"9\" r=\"3\">1<b><a>2</a></b></a><a>3</a></root>");
    TreeNode::deleteTree(a2);  // unlinks it from b first
    EXPECT_EQ(b->getNumChildren(), 0);
}

}  // namespace
}  // namespace zenvary
