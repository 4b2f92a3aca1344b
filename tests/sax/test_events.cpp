// The events of well-formed and leniently accepted documents, from every source width.
#include "sax_test_util.h"

using namespace saxtest;

namespace {

TRunOptions Fragment() {
  TRunOptions o;
  o.SingleRoot = false;
  return o;
}

TEST(SaxEvents, NamespacedElementInOrder) {
  ExpectEvents(u"<p:a xmlns:p=\"u\" x=\"1\">t</p:a>",
               {"SD", "SPM(p,u)", "SE(u,a,p:a)[p,xmlns:p,=u;x,x,=1]", "C(t)", "EE(u,a,p:a)",
                "EPM(p)", "ED"});
}

TEST(SaxEvents, EmptyElements) {
  ExpectEvents(u"<a/>", {"SD", "SE(,a,a)", "EE(,a,a)", "ED"});
  // Everything between "/" and ">" is skipped.
  ExpectEvents(u"<a / junk>", {"SD", "SE(,a,a)", "EE(,a,a)", "ED"});
  ExpectEvents(u"<a x='1'/>", {"SD", "SE(,a,a)[x,x,=1]", "EE(,a,a)", "ED"});
}

TEST(SaxEvents, NamesSplitAtTheFirstColon) {
  ExpectEvents(u"<a:b:c/>", {"SD", "SE(,b:c,a:b:c)", "EE(,b:c,a:b:c)", "ED"});
  // Only the first character of each part is checked.
  ExpectEvents(u"<é-1.x/>", {"SD", "SE(,é-1.x,é-1.x)", "EE(,é-1.x,é-1.x)", "ED"});
}

TEST(SaxEvents, EndTagsAreNotMatched) {
  ExpectEvents(u"<a></b>", {"SD", "SE(,a,a)", "EE(,b,b)", "ED"});
  // Open elements at the end of input are no failure.
  ExpectEvents(u"<a><b>", {"SD", "SE(,a,a)", "SE(,b,b)", "ED"});
  ExpectEvents(u"<a><b></a>", {"SD", "SE(,a,a)", "SE(,b,b)", "EE(,a,a)", "ED"});
}

TEST(SaxEvents, TextAheadOfTheFirstTagIsDropped) {
  ExpectEvents(u"junk<a/>", {"SD", "SE(,a,a)", "EE(,a,a)", "ED"});
  ExpectEvents(u"\uFEFF<a/>", {"SD", "SE(,a,a)", "EE(,a,a)", "ED"});
}

TEST(SaxEvents, TextRuns) {
  ExpectEvents(u"<a>\n  <b/>\n</a>",
               {"SD", "SE(,a,a)", "IW(\n  )", "SE(,b,b)", "EE(,b,b)", "IW(\n)", "EE(,a,a)", "ED"});
  // A run with anything but white space is Characters, white space included; one run is one
  // event, and the text is raw.
  ExpectEvents(u"<a> x &amp; y\t</a>", {"SD", "SE(,a,a)", "C( x &amp; y\t)", "EE(,a,a)", "ED"});
  // Every code below 33 counts as white.
  ExpectEvents(u"<a>\x01\x1f </a>", {"SD", "SE(,a,a)", "IW(\x01\x1f )", "EE(,a,a)", "ED"});
  ExpectEvents(u"<a>x</a><!--c-->", {"SD", "SE(,a,a)", "C(x)", "EE(,a,a)", "Com(c)", "ED"});
}

TEST(SaxEvents, ReferencesPassThroughUnchanged) {
  ExpectEvents(
      u"<a v=\"&lt;&#65;&unknown;\">&lt;&#65;&unknown;</a>",
      {"SD", "SE(,a,a)[v,v,=&lt;&#65;&unknown;]", "C(&lt;&#65;&unknown;)", "EE(,a,a)", "ED"});
}

TEST(SaxEvents, NonAsciiText) {
  ExpectEvents(u"<a>é ü ß</a>", {"SD", "SE(,a,a)", "C(é ü ß)", "EE(,a,a)", "ED"});
  // Beyond Latin-1 and beyond 16 bits (the Latin-1 source is skipped for these).
  ExpectEvents(u"<a t='€'>𝄞 日本</a>", {"SD", "SE(,a,a)[t,t,=€]", "C(𝄞 日本)", "EE(,a,a)", "ED"});
}

TEST(SaxEvents, AttributeLeniencies) {
  // No white space needed between attributes.
  ExpectEvents(u"<e a=\"1\"b=\"2\"/>", {"SD", "SE(,e,e)[a,a,=1;b,b,=2]", "EE(,e,e)", "ED"});
  // Names may hold blanks; an attribute without "=" runs into the next one.
  ExpectEvents(u"<e a b=\"1\"/>", {"SD", "SE(,e,e)[a b,a b,=1]", "EE(,e,e)", "ED"});
  // Whatever stands between "=" and the quotation mark is skipped.
  ExpectEvents(u"<e a=xyz\"1\"/>", {"SD", "SE(,e,e)[a,a,=1]", "EE(,e,e)", "ED"});
  // Duplicates are kept.
  ExpectEvents(u"<e a='1' a='2'/>", {"SD", "SE(,e,e)[a,a,=1;a,a,=2]", "EE(,e,e)", "ED"});
  // Values hold "<", ">", line breaks and the other quotation mark, unnormalised.
  ExpectEvents(u"<e a='<x>\n\"y\"' b=\"it's\"/>",
               {"SD", "SE(,e,e)[a,a,=<x>\n\"y\";b,b,=it's]", "EE(,e,e)", "ED"});
  // Names are trimmed, and white space around "=" does not matter.
  ExpectEvents(u"<e\ta = '1'\n\tb\n=\n\"2\" >x</e>",
               {"SD", "SE(,e,e)[a,a,=1;b,b,=2]", "C(x)", "EE(,e,e)", "ED"});
  ExpectEvents(u"<e a=''/>", {"SD", "SE(,e,e)[a,a,=]", "EE(,e,e)", "ED"});
}

TEST(SaxEvents, AttributeNamespaces) {
  // An unprefixed attribute takes the default namespace.
  ExpectEvents(u"<a xmlns=\"u\" x=\"1\"/>",
               {"SD", "SPM(,u)", "SE(u,a,a)[xmlns,xmlns,=u;x,x,u=1]", "EE(u,a,a)", "EPM()", "ED"});
  // A prefix resolves when it is read: a declaration further right is not yet known.
  ExpectEvents(
      u"<a p:x=\"1\" xmlns:p=\"u\" p:y=\"2\"/>",
      {"SD", "SPM(p,u)", "SE(,a,a)[x,p:x,=1;p,xmlns:p,=u;y,p:y,u=2]", "EE(,a,a)", "EPM(p)", "ED"});
  // Prefixes match without regard to case, declarations too, on the low byte of each character.
  ExpectEvents(u"<P:a XMLNS:p=\"u\"/>",
               {"SD", "SPM(p,u)", "SE(u,a,P:a)[p,XMLNS:p,=u]", "EE(u,a,P:a)", "EPM(p)", "ED"});
  ExpectEvents(u"<a x\u016Dlns:p=\"u\"/>",
               {"SD", "SPM(p,u)", "SE(,a,a)[p,x\u016Dlns:p,=u]", "EE(,a,a)", "EPM(p)", "ED"});
  // Nothing is predeclared.
  ExpectEvents(u"<a xml:lang=\"en\"/>", {"SD", "SE(,a,a)[lang,xml:lang,=en]", "EE(,a,a)", "ED"});
  // Colons in a row after the prefix are skipped.
  ExpectEvents(u"<a p::x='1'/>", {"SD", "SE(,a,a)[x,p::x,=1]", "EE(,a,a)", "ED"});
}

TEST(SaxEvents, FirstAttributeOnANewLine) {
  // Only blanks are skipped ahead of the first attribute: the line break stays in front of
  // the prefix, so this declaration is not recognised and declares nothing.
  ExpectEvents(u"<a\nxmlns:p=\"u\"><p:b/></a>",
               {"SD", "SE(,a,a)[p,xmlns:p,=u]", "SE(,b,p:b)", "EE(,b,p:b)", "EE(,a,a)", "ED"});
  // Behind the first attribute, all white space is eaten.
  ExpectEvents(u"<a x='1'\nxmlns:p=\"u\"><p:b/></a>",
               {"SD", "SPM(p,u)", "SE(,a,a)[x,x,=1;p,xmlns:p,=u]", "SE(u,b,p:b)", "EE(u,b,p:b)",
                "EE(,a,a)", "EPM(p)", "ED"});
}

TEST(SaxEvents, NamespaceScopes) {
  ExpectEvents(
      u"<p:a xmlns:p=\"1\"><p:b xmlns:p=\"2\"/><p:c/></p:a>",
      {"SD", "SPM(p,1)", "SE(1,a,p:a)[p,xmlns:p,=1]", "SPM(p,2)", "SE(2,b,p:b)[p,xmlns:p,=2]",
       "EE(2,b,p:b)", "EPM(p)", "SE(1,c,p:c)", "EE(1,c,p:c)", "EE(1,a,p:a)", "EPM(p)", "ED"});
  // Two declarations of one prefix on one element: the second answers, both end.
  ExpectEvents(u"<a xmlns:p='1' xmlns:p='2'><p:b/></a>",
               {"SD", "SPM(p,1)", "SPM(p,2)", "SE(,a,a)[p,xmlns:p,=1;p,xmlns:p,=2]", "SE(2,b,p:b)",
                "EE(2,b,p:b)", "EE(,a,a)", "EPM(p)", "EPM(p)", "ED"});
  // The default namespace comes and goes with its element, around and between prefixed names.
  ExpectEvents(u"<a xmlns:p='1'><b xmlns='u'><p:c/><c/></b><d/><P:e/></a>",
               {"SD", "SPM(p,1)", "SE(,a,a)[p,xmlns:p,=1]", "SPM(,u)", "SE(u,b,b)[xmlns,xmlns,=u]",
                "SE(1,c,p:c)", "EE(1,c,p:c)", "SE(u,c,c)", "EE(u,c,c)", "EE(u,b,b)", "EPM()",
                "SE(,d,d)", "EE(,d,d)", "SE(1,e,P:e)", "EE(1,e,P:e)", "EE(,a,a)", "EPM(p)", "ED"});
  // The URI of an end tag is what its prefix resolves to at that moment.
  ExpectEvents(u"<a xmlns:p='1' xmlns:q='2'><p:b></q:b></a>",
               {"SD", "SPM(p,1)", "SPM(q,2)", "SE(,a,a)[p,xmlns:p,=1;q,xmlns:q,=2]", "SE(1,b,p:b)",
                "EE(2,b,q:b)", "EE(,a,a)", "EPM(q)", "EPM(p)", "ED"});
}

TEST(SaxEvents, ProcessingInstructions) {
  ExpectEvents(u"<?xml version=\"1.0\"?><a/>",
               {"SD", "PI(xml,version=\"1.0\")", "SE(,a,a)", "EE(,a,a)", "ED"});
  // The data ends at the first "?", and the rest up to ">" is dropped.
  ExpectEvents(u"<a><?p  one?two?></a>", {"SD", "SE(,a,a)", "PI(p,one)", "EE(,a,a)", "ED"});
  ExpectEvents(u"<a><?p?></a>", {"SD", "SE(,a,a)", "PI(p,)", "EE(,a,a)", "ED"});
  // A line break after the target belongs to it.
  ExpectEvents(u"<a><?p\nx y?></a>", {"SD", "SE(,a,a)", "PI(p\nx,y)", "EE(,a,a)", "ED"});
}

TEST(SaxEvents, Comments) {
  ExpectEvents(u"<!-- a -- b --><a><!----></a>",
               {"SD", "Com( a -- b )", "SE(,a,a)", "Com()", "EE(,a,a)", "ED"});
  ExpectEvents(u"<a><!-- x - y --->z</a>",
               {"SD", "SE(,a,a)", "Com( x - y -)", "C(z)", "EE(,a,a)", "ED"});
  // Without a lexical handler comments are passed over.
  TRunOptions noLexical;
  noLexical.Lexical = false;
  ExpectEvents(u"<!--c--><a><!--d-->x</a>", {"SD", "SE(,a,a)", "C(x)", "EE(,a,a)", "ED"},
               noLexical);
}

TEST(SaxEvents, Prolog) {
  // Text between prolog constructs is dropped, and so is a "<" followed by white space.
  ExpectEvents(u"junk<?p?>more< x <!--c-->text\n<a/>",
               {"SD", "PI(p,)", "Com(c)", "SE(,a,a)", "EE(,a,a)", "ED"});
  // The DOCTYPE is skipped by counting angle brackets and reported only as StartDTD, EndDTD.
  ExpectEvents(u"<!DOCTYPE a [<!ELEMENT a (#PCDATA)>]><a/>",
               {"SD", "SDTD", "EDTD", "SE(,a,a)", "EE(,a,a)", "ED"});
  // A ">" in a literal ends the count one too early; the rest of the subset is dropped by the
  // prolog's skip to the next "<".
  ExpectEvents(u"<!DOCTYPE a [<!ENTITY e \"x>y\">]><a/>",
               {"SD", "SDTD", "EDTD", "SE(,a,a)", "EE(,a,a)", "ED"});
}

TEST(SaxEvents, CDATASections) {
  ExpectEvents(u"<a><![CDATA[x<y>]]z]]></a>",
               {"SD", "SE(,a,a)", "SCD", "C(x<y>]]z)", "ECD", "EE(,a,a)", "ED"});
  ExpectEvents(u"<a><![CDATA[]]></a>", {"SD", "SE(,a,a)", "SCD", "C()", "ECD", "EE(,a,a)", "ED"});
  // A CDATA section behind the root is no failure.
  ExpectEvents(u"<a/><![CDATA[x]]>", {"SD", "SE(,a,a)", "EE(,a,a)", "SCD", "C(x)", "ECD", "ED"});
}

TEST(SaxEvents, BehindTheRoot) {
  ExpectEvents(u"<a/> <!-- c --> <?p?>\n",
               {"SD", "SE(,a,a)", "EE(,a,a)", "Com( c )", "PI(p,)", "ED"});
}

TEST(SaxEvents, Fragments) {
  ExpectEvents(u"<a/>text", {"SD", "SE(,a,a)", "EE(,a,a)", "C(text)", "IW()", "ED"}, Fragment());
  ExpectEvents(u"<a/><b/>", {"SD", "SE(,a,a)", "EE(,a,a)", "SE(,b,b)", "EE(,b,b)", "ED"},
               Fragment());
  ExpectEvents(u"<a/> <!-- c --> <?p?>", {"SD", "SE(,a,a)", "EE(,a,a)", "Com( c )", "PI(p,)", "ED"},
               Fragment());
  // Text that runs to the end of input is no failure: Characters and an empty
  // IgnorableWhitespace; white space alone is one IgnorableWhitespace.
  ExpectEvents(u"<a>x", {"SD", "SE(,a,a)", "C(x)", "IW()", "ED"}, Fragment());
  ExpectEvents(u"<a>  ", {"SD", "SE(,a,a)", "IW(  )", "ED"}, Fragment());
  // Behind the first root, every further tag is read by the loop behind the root, which skips
  // white space ahead of a text; only a text right behind a start tag keeps it.
  ExpectEvents(
      u"<a/><b> x<!--c--> y</b>",
      {"SD", "SE(,a,a)", "EE(,a,a)", "SE(,b,b)", "C( x)", "Com(c)", "C(y)", "EE(,b,b)", "ED"},
      Fragment());
  ExpectEvents(u"<b> x<!--c--> y</b>",
               {"SD", "SE(,b,b)", "C( x)", "Com(c)", "C( y)", "EE(,b,b)", "ED"});
  // An end tag with nothing open takes the level below 0; the parse goes on.
  ExpectEvents(u"<a/></b> t <c/>",
               {"SD", "SE(,a,a)", "EE(,a,a)", "EE(,b,b)", "C( t )", "SE(,c,c)", "EE(,c,c)", "ED"},
               Fragment());
}

TEST(SaxEvents, ManyRootsInAFragmentDoNotNest) {
  // Ten thousand top-level elements: the reader loops, it does not recurse per root.
  UnicodeString xml;
  for (int i = 0; i < 10000; ++i) xml += u"<r/>";
  TOutcome out = RunOne(xml, TSource::Utf8, Fragment());
  EXPECT_EQ(out.Error, "");
  ASSERT_EQ(out.Events.size(), 20002u);
  EXPECT_EQ(out.Events.back(), "ED");
}

TEST(SaxEvents, DeepNesting) {
  UnicodeString xml;
  for (int i = 0; i < 5000; ++i) xml += u"<e>";
  for (int i = 0; i < 5000; ++i) xml += u"</e>";
  TOutcome out = RunOne(xml, TSource::Utf16);
  EXPECT_EQ(out.Error, "");
  ASSERT_EQ(out.Events.size(), 10002u);
  EXPECT_EQ(out.Events[5000], "SE(,e,e)");
  EXPECT_EQ(out.Events[5001], "EE(,e,e)");
}

}  // namespace
