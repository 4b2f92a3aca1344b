// Deep object graphs: the walk refuses a nesting deeper than its limit with a clear exception
// instead of running out of stack, and writes anything up to the limit.
#include <gtest/gtest.h>

#include "vnxml/common/uVnSerializer.h"
#include "vnxml/json/uVnJSONSerializer.h"
#include "vnxml/xml/uVnXMLSerializer.h"

using namespace vn;

namespace depth {

class TLink : public TObject {
  VN_CLASS(TLink, TObject)
 public:
  Integer Id = 0;
  TLink *Next = nullptr;
};
VN_RTTI(TLink, u"depth") {
  R.Field(u"Id", &TLink::Id);
  R.Field(u"Next", &TLink::Next);
}

// A chain of ACount links; freed without recursion.
struct TChain {
  explicit TChain(Integer ACount) {
    TLink **at = &Head;
    for (Integer i = 0; i < ACount; ++i) {
      *at = New<TLink>();
      (*at)->Id = i;
      at = &(*at)->Next;
    }
  }
  ~TChain() {
    while (Head) {
      TLink *n = Head->Next;
      Head->Free();
      Head = n;
    }
  }
  TLink *Head = nullptr;
};

}  // namespace depth

TEST(SerializeDepth, AMillionLinksFailAtTheLimit) {
  depth::TChain chain(1000000);
  for (auto format : {dsfJSON, dsfXML}) {
    try {
      VnSerialize(format, TValue(chain.Head));
      FAIL() << "a chain of a million links is deeper than the walk allows";
    } catch (const EVnSerializeException &e) {
      EXPECT_NE(e.Message.find(u"The value is nested deeper than 1000 levels!"),
                UnicodeString::npos);
      EXPECT_EQ(e.Message.rfind(u"Serialization failure at \"Next.Next.", 0), 0u);
    }
  }
}

TEST(SerializeDepth, ChainsUpToTheLimitAreWritten) {
  depth::TChain chain(cVnSerializerMaxDepth);
  RawByteString json = VnSerialize(dsfJSON, TValue(chain.Head));
  EXPECT_EQ(json.rfind(
                "{\"className\":\"TLink\",\"id\":0,\"next\":{\"className\":\"TLink\",\"id\":1,", 0),
            0u);
  // The last link's Next is nil.
  EXPECT_NE(json.find("\"id\":999,\"next\":{}}"), std::string::npos);
  RawByteString xml = VnSerialize(dsfXML, TValue(chain.Head));
  EXPECT_NE(
      xml.find("<Id xsi:type=\"xsd:int\">999</Id><Next xsi:type=\"xsd:TLink\" xsi:nil=\"true\"/>"),
      std::string::npos);
}
