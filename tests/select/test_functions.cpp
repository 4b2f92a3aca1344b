// Functions of the application's own: registration, parameter lists, and the node parameter
// with its XPath error codes.
#include "select_util.h"

namespace selecttest {
namespace {

const char16_t *cItems =
    u"<r>"
    u"<i id=\"1\"><t>x</t><w>2</w><w>10</w></i>"
    u"<i id=\"2\"><t>y</t></i>"
    u"</r>";

class Functions : public ::testing::Test {
 protected:
  void SetUp() override { FDoc = Load(cItems); }
  std::string Sel(const UnicodeString &APath) { return Selected(FDoc->GetRootNode(), APath); }
  std::string SyntaxError(const UnicodeString &APath) {
    return MessageOf<EVnDomSyntax>([&] { Sel(APath); });
  }
  Doc FDoc;
};

const std::string cNotValid = "The specified XPath statement is not valid!";

// The parameter values joined by "+", and their count in front: "2:a+b".
class TJoin : public TVnXPathFunction {
  VN_CLASS(TJoin, TVnXPathFunction)
 public:
  using TVnXPathFunction::TVnXPathFunction;
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override {
    UnicodeString r = IntToStr(ParamCount()) + u":";
    for (Integer k = 0; k < ParamCount(); ++k) {
      if (k) r += u"+";
      r += VnVarToStr(Param(k)->Value(ANodeList, AIndex));
    }
    return r;
  }
};

class TFirstClass : public TVnXPathFunction {
  VN_CLASS(TFirstClass, TVnXPathFunction)
 public:
  using TVnXPathFunction::TVnXPathFunction;
  Variant Value(TVnDOMObjectList *, Integer) override { return UnicodeString(u"first"); }
};

class TSecondClass : public TVnXPathFunction {
  VN_CLASS(TSecondClass, TVnXPathFunction)
 public:
  using TVnXPathFunction::TVnXPathFunction;
  Variant Value(TVnDOMObjectList *, Integer) override { return UnicodeString(u"second"); }
};

// The qualified name of the one node its path parameter selects.
class TNodeName : public TVnXPathFunction {
  VN_CLASS(TNodeName, TVnXPathFunction)
 public:
  using TVnXPathFunction::TVnXPathFunction;
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override {
    auto *path = dynamic_cast<TVnXPathValueTerm *>(Param(0));
    if (!path) throw EVnDomSyntax(u"fnnodename() takes a path!");
    return ResolveNodeParam(path, ANodeList, AIndex, u"fn:node-name")->GetQualifiedName();
  }
};

TEST_F(Functions, ARegisteredNameIsCallableInTheNextFilter) {
  EXPECT_EQ(SyntaxError(u"i[fnjoin(t)=\"1:x\"]"),
            "The filter contains an unsupported function (fnjoin)!");
  RegisterXPathFunction(u"fnjoin", VnXPathFunctionClass<TJoin>());
  EXPECT_EQ(Sel(u"i[fnjoin(t)=\"1:x\"]"), "i#1");
  EXPECT_EQ(Sel(u"i[fnjoin (t, \"a\")=\"2:y+a\"]"), "i#2");
  // Names compare case-sensitively and are called without prefix.
  EXPECT_EQ(SyntaxError(u"i[FnJoin(t)]"), "The filter contains an unsupported function (FnJoin)!");
  EXPECT_EQ(SyntaxError(u"i[fn:fnjoin(t)]"),
            "The filter contains an unsupported function (fn:fnjoin)!");
  EXPECT_EQ(SyntaxError(u"i[t/fnjoin(t)]"),
            "The filter contains an unsupported function (t/fnjoin)!");
}

TEST_F(Functions, TheFirstRegistrationOfANameStays) {
  RegisterXPathFunction(u"fntwice", VnXPathFunctionClass<TFirstClass>());
  RegisterXPathFunction(u"fntwice", VnXPathFunctionClass<TSecondClass>());
  EXPECT_EQ(Sel(u"i[fntwice()=\"first\"]"), "i#1 i#2");
  EXPECT_EQ(Sel(u"i[fntwice()=\"second\"]"), "");
}

TEST_F(Functions, ParameterLists) {
  RegisterXPathFunction(u"fnlist", VnXPathFunctionClass<TJoin>());
  EXPECT_EQ(Sel(u"i[fnlist()=\"0:\"]"), "i#1 i#2");
  EXPECT_EQ(Sel(u"i[fnlist( )=\"0:\"]"), "i#1 i#2");
  EXPECT_EQ(Sel(u"i[fnlist(\"a\",\"b\")=\"2:a+b\"]"), "i#1 i#2");
  EXPECT_EQ(Sel(u"i[fnlist( \"a\", t)=\"2:a+x\"]"), "i#1");
  // A trailing comma ends the list at ")".
  EXPECT_EQ(Sel(u"i[fnlist(\"a\",)=\"1:a\"]"), "i#1 i#2");
  EXPECT_EQ(Sel(u"i[fnlist(t )=\"1:y\"]"), "i#2");
  EXPECT_EQ(Sel(u"i[fnlist(fnlist(t), (\"a\", \"b\"))=\"2:1:x+a, b\"]"), "i#1");
  // Nothing skips the spaces behind a literal or a call.
  EXPECT_EQ(SyntaxError(u"i[fnlist(,)]"), cNotValid);
  EXPECT_EQ(SyntaxError(u"i[fnlist(\"a\" ,\"b\")]"), cNotValid);
  EXPECT_EQ(SyntaxError(u"i[fnlist(\"a\" )]"), cNotValid);
  EXPECT_EQ(SyntaxError(u"i[fnlist(fnlist() , \"b\")]"), cNotValid);
  EXPECT_EQ(SyntaxError(u"i[fnlist(\"a\", , \"b\")]"), cNotValid);
}

TEST_F(Functions, ParametersAreEvaluatedOnlyWhenTheFunctionRuns) {
  RegisterXPathFunction(u"fnnodename", VnXPathFunctionClass<TNodeName>());
  EXPECT_EQ(Sel(u"i[fnnodename(t)=\"t\"]"), "i#1 i#2");
  EXPECT_EQ(Sel(u"zz[fnnodename()]"), "");
  EXPECT_THROW(Sel(u"i[fnnodename()]"), EListError);
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Sel(u"i[fnnodename(\"t\")]"); }),
            "fnnodename() takes a path!");
}

TEST_F(Functions, ANodeParameterMustSelectExactlyOneNode) {
  RegisterXPathFunction(u"fnnode", VnXPathFunctionClass<TNodeName>());
  try {
    Sel(u"i[fnnode(zz)]");
    ADD_FAILURE() << "nothing raised";
  } catch (const EVnXPathException &E) {
    EXPECT_EQ(E.ClassType(), EVnXPathException::StaticClass());
    EXPECT_EQ(UTF8Encode(E.GetErrorCode()), "XPDY0002");
    EXPECT_EQ(UTF8Encode(E.GetErrorObject()), "");
    EXPECT_EQ(UTF8Encode(E.Message),
              "The node parameter of function \"fn:node-name\" may not be nil!");
  }
  try {
    Sel(u"i[fnnode(w)]");
    ADD_FAILURE() << "nothing raised";
  } catch (const EVnDomException &E) {
    const auto *x = dynamic_cast<const EVnXPathException *>(&E);
    ASSERT_NE(x, nullptr);
    EXPECT_EQ(UTF8Encode(x->GetErrorCode()), "XPTY0004");
    EXPECT_EQ(UTF8Encode(x->GetErrorObject()), "");
    EXPECT_EQ(UTF8Encode(E.Message),
              "The node parameter of function \"fn:node-name\" must be a single node!");
  }
}

TEST(XPathException, CarriesItsCodeAndObject) {
  EVnXPathException e(u"FOER0000", u"Unidentified error", u"the object");
  EXPECT_EQ(UTF8Encode(e.GetErrorCode()), "FOER0000");
  EXPECT_EQ(UTF8Encode(e.GetErrorObject()), "the object");
  EXPECT_EQ(UTF8Encode(e.Message), "Unidentified error");
  EXPECT_EQ(UTF8Encode(EVnXPathException(u"XPTY0004", u"m").GetErrorObject()), "");
  EXPECT_NE(dynamic_cast<const EVnDomException *>(&e), nullptr);
}

}  // namespace
}  // namespace selecttest
