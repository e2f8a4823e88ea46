#include <gtest/gtest.h>

#include <string>

#include "XmlTestSupport.h"

namespace zenvary {
namespace {

using xmltest::attr;
using xmltest::logText;
using xmltest::parse;
using xmltest::TreeHolder;

TEST(XmlParser, ToleratesMismatchAndMixedContent) {
    Logger log;
    TreeHolder a(parse("<a>x</b>", false, &log));
    ASSERT_NE(a.root, nullptr);
    EXPECT_STREQ(a->getTag(), "a");
    EXPECT_STREQ(a->getContent(), "x");
    EXPECT_EQ(logText(log).find("Error"), std::string::npos);

    // Content pieces around a child join with one space.
    TreeHolder b(parse("<a>1<b/>2</a>"));
    EXPECT_STREQ(b->getContent(), "1 2");
    ASSERT_EQ(b->getNumChildren(), 1);
    EXPECT_STREQ(b->getChild(0)->getTag(), "b");
    EXPECT_EQ(b->getChild(0)->getParent(), b.root);

    // The last top-level element wins; text outside the root is dropped.
    TreeHolder c(parse("junk <a/> more <b>t</b> tail"));
    EXPECT_STREQ(c->getTag(), "b");
    EXPECT_STREQ(c->getContent(), "t");

    // Input that ends inside an element keeps what was read.
    TreeHolder d(parse("<a><b k='v'>text"));
    EXPECT_STREQ(d->getTag(), "a");
    ASSERT_EQ(d->getNumChildren(), 1);
    EXPECT_STREQ(d->getChild(0)->getContent(), "text");
    EXPECT_EQ(attr(d->getChild(0), "k"), "v");

    // "<" inside a name is removed; nothing but markup is no document.
    TreeHolder e(parse("<a<b>z</a>"));
    EXPECT_STREQ(e->getTag(), "ab");
    EXPECT_EQ(parse(""), nullptr);
    EXPECT_EQ(parse("just text"), nullptr);
    EXPECT_EQ(parse("<"), nullptr);
}

TEST(XmlParser, EntitiesInContentAndAttributes) {
    // Only the five named entities; numeric references stay.
    TreeHolder a(parse("<a>&#65;&#x42;&nbsp;</a>"));
    EXPECT_STREQ(a->getContent(), "&#65;&#x42;&nbsp;");

    TreeHolder b(parse("<a>&lt;&gt;&quot;&apos;&amp;</a>"));
    EXPECT_STREQ(b->getContent(), "<>\"'&");

    // "&amp;" goes last, so "&amp;lt;" resolves once...
    TreeHolder c(parse("<a>&amp;lt;</a>"));
    EXPECT_STREQ(c->getContent(), "&lt;");
    // ...and once more when the node gets a further piece of content.
    TreeHolder d(parse("<a>&amp;lt;<b/>x</a>"));
    EXPECT_STREQ(d->getContent(), "< x");

    TreeHolder e(parse("<a v=\"&lt;&gt;&quot;&apos;&amp;lt;\" w='it&apos;s \"q\"'/>"));
    EXPECT_EQ(attr(e.root, "v"), "<>\"'&lt;");
    EXPECT_EQ(attr(e.root, "w"), "it's \"q\"");
}

TEST(XmlParser, CdataSections) {
    TreeHolder a(parse("<a><![CDATA[x]y]]></a>"));
    EXPECT_STREQ(a->getContent(), "x]y");
    EXPECT_TRUE(a->isCdata());

    // No entity replacement; adjacent sections join; text right behind a
    // section is skipped up to the next "<".
    TreeHolder b(parse("<a><![CDATA[&lt;]]]]><![CDATA[>]]>skipped<b/></a>"));
    EXPECT_STREQ(b->getContent(), "&lt;]]>");
    EXPECT_EQ(b->getNumChildren(), 1);

    // A section after text joins the content; an unterminated one runs to
    // the end. The CDATA marker is matched in exact case only.
    TreeHolder c(parse("<a>t<![CDATA[u]]></a>"));
    EXPECT_STREQ(c->getContent(), "tu");
    TreeHolder d(parse("<a><![CDATA[open"));
    EXPECT_STREQ(d->getContent(), "open");
    TreeHolder e(parse("<a><![cdata[x]]>y</a>"));
    EXPECT_FALSE(e->isCdata());
}

TEST(XmlParser, WhitespaceTrimmedOrKept) {
    const std::string text = "<a>\n  x y \n  <b> </b>\n</a>";
    TreeHolder trimmed(parse(text, false));
    EXPECT_STREQ(trimmed->getContent(), "x y");
    EXPECT_FALSE(trimmed->getChild(0)->hasContent());

    TreeHolder kept(parse(text, true));
    EXPECT_STREQ(kept->getContent(), "\n  x y \n   \n");
    EXPECT_STREQ(kept->getChild(0)->getContent(), " ");
}

TEST(XmlParser, CommentsAndUnknownDeclarations) {
    Logger log;
    EXPECT_EQ(parse("<!-- no end", false, &log), nullptr);
    EXPECT_NE(logText(log).find("Unclosed comment"), std::string::npos);

    // What was parsed before an unclosed comment stands.
    Logger log2;
    TreeHolder a(parse("<a>x<!-- open <b/>", false, &log2));
    ASSERT_NE(a.root, nullptr);
    EXPECT_STREQ(a->getContent(), "x");
    EXPECT_EQ(a->getNumChildren(), 0);
    EXPECT_NE(logText(log2).find("Unclosed comment"), std::string::npos);

    // "<!-->" does not close itself; "<!ELEMENT ...>" is skipped.
    TreeHolder b(parse("<a><!-->--><!-- <c/> --><!ELEMENT x><b/></a>"));
    ASSERT_EQ(b->getNumChildren(), 1);
    EXPECT_STREQ(b->getChild(0)->getTag(), "b");
}

TEST(XmlParser, PrologDeclarationAndInstructions) {
    TreeHolder a(parse("<?xml version=\"1.0\" encoding='ISO-8859-1'?>\n"
                       "<?xml-stylesheet type=\"text/xsl\" href=\"s.xsl\"?>\n"
                       "<?target some data?>\n"
                       "<!DOCTYPE r [<!ENTITY e \"v\"><!ELEMENT r ANY>]>\n"
                       "<r/>"));
    ASSERT_NE(a.root, nullptr);
    TreeInfo* info = a->getTreeInfo();
    ASSERT_NE(info, nullptr);
    ASSERT_NE(info->declaration(), nullptr);
    EXPECT_STREQ(info->declaration()->getTag(), "xml");
    EXPECT_EQ(attr(info->declaration(), "version"), "1.0");
    EXPECT_EQ(attr(info->declaration(), "encoding"), "ISO-8859-1");
    ASSERT_EQ(info->processingNodes().getCount(), 1);
    const TreeNode* sheet = info->processingNodes().at<TreeNode>(0);
    EXPECT_STREQ(sheet->getTag(), "xml-stylesheet");
    EXPECT_EQ(attr(sheet, "href"), "s.xsl");
    EXPECT_EQ(std::string(info->docTypeText().view()),
              "<?target some data?>\n<!DOCTYPE r [<!ENTITY e \"v\"><!ELEMENT r ANY>]>\n");
    StringBuffer enc;
    EXPECT_TRUE(a->getEncoding(enc));
    EXPECT_STREQ(enc.getString(), "ISO-8859-1");

    // A later declaration replaces an earlier one; "doctype" in any case.
    TreeHolder b(parse("<?xml version='1.0'?><?XML version='1.1'?><!doctype x><x/>"));
    EXPECT_EQ(attr(b->getTreeInfo()->declaration(), "version"), "1.1");
    EXPECT_EQ(std::string(b->getTreeInfo()->docTypeText().view()), "<!doctype x>\n");

    // An unbalanced DTD is reported; the rest of the input went into it.
    Logger log;
    TreeHolder c(parse("<c/><!DOCTYPE x [<!ENTITY a 'b'>", false, &log));
    EXPECT_NE(logText(log).find("Failed to parse DTD"), std::string::npos);
    ASSERT_NE(c.root, nullptr);
    EXPECT_EQ(std::string(c->getTreeInfo()->docTypeText().view()), "<!DOCTYPE x [<!ENTITY a 'b'>\n");
}

TEST(XmlParser, ClosingTagErrorsAndSelfClosing) {
    Logger log;
    TreeHolder a(parse("<a><b></x<c/></a>", false, &log));
    std::string text = logText(log);
    EXPECT_NE(text.find("Error in closing tag"), std::string::npos);
    EXPECT_NE(text.find("error_tag"), std::string::npos);
    // b closed at the "<" and c became its sibling.
    ASSERT_NE(a.root, nullptr);
    ASSERT_EQ(a->getNumChildren(), 2);
    EXPECT_STREQ(a->getChild(1)->getTag(), "c");

    // Attributes: both quotes, blanks around "=", a bare value and a name
    // without a value; "/" before ">" closes the element at once.
    TreeHolder b(parse("<a x = \"1\" y='2' z=3 flag/><next/>"));
    EXPECT_STREQ(b->getTag(), "next");
    TreeHolder c(parse("<r><a x = \"1\" y='2' z=3 flag/><n/></r>"));
    const TreeNode* el = c->getChild(0);
    ASSERT_EQ(el->getNumAttributes(), 4);
    EXPECT_EQ(attr(el, "x"), "1");
    EXPECT_EQ(attr(el, "y"), "2");
    EXPECT_EQ(attr(el, "z"), "3");
    EXPECT_TRUE(el->hasAttribute("flag"));
    EXPECT_EQ(el->getNumChildren(), 0);
    EXPECT_EQ(c->getNumChildren(), 2);
}

TEST(XmlParser, DeepNestingNeedsNoDeepStack) {
    const int depth = 100000;
    std::string text;
    for (int i = 0; i < depth; ++i) text += "<d>";
    text += "x";
    TreeHolder a(parse(text));
    ASSERT_NE(a.root, nullptr);
    const TreeNode* n = a.root;
    int levels = 1;
    while (n->getNumChildren()) {
        n = n->getChild(0);
        ++levels;
    }
    EXPECT_EQ(levels, depth);
    EXPECT_STREQ(n->getContent(), "x");
    // Writing and searching walk without recursion as well.
    std::string written = xmltest::xmlOf(a.root, true);
    EXPECT_EQ(written.size(), static_cast<size_t>(depth) * 7 + 1);
    EXPECT_EQ(a->searchForTag(nullptr, "nothing"), nullptr);
}

}  // namespace
}  // namespace zenvary
