// The UTF-8 example of the README's first look, compiled as it stands there, then checked.
#include <gtest/gtest.h>

#include <string>

#include "vnxml/json/uVnJSON.h"
#include "vnxml/xml/uVnXMLDOM.h"

using namespace vn;

TEST(Utf8FirstLook, TheReadmeExample) {
  // --- the example, as the README shows it
  Owned<TVnDOMDocument> doc(TVnDOMDocument::CreateFromUTF8(
      "<menu><dish lang=\"fr\">Crème brûlée</dish><dish lang=\"ja\">抹茶</dish></menu>"));
  TVnDOMElement *dish = doc->SelectSingleElement("dish[@lang=\"ja\"]");
  std::string name = dish->GetTextUTF8();  // "抹茶"
  dish->SetAttribute("price", "4 €");
  std::string xml = doc->GetXMLUTF8();  // UTF-8 bytes, ready to write out

  Owned<TVnJSONDocument> json(TVnJSONDocument::CreateFromUTF8(R"({"café": {"prix": "3 €"}})"));
  std::string price = json->SelectSingleNode("$.café.prix", true)->GetAsStringUTF8();  // "3 €"
  json->GetMember("thé", {jsoCreate})->SetAsString("2 €");
  std::string text = json->GetAsJSONUTF8();  // JSON escapes what is above U+00FF
  // --- end of the example

  EXPECT_EQ(name, "\xE6\x8A\xB9\xE8\x8C\xB6");
  EXPECT_EQ(xml,
            "<menu><dish lang=\"fr\">Cr\xC3\xA8me br\xC3\xBBl\xC3\xA9"
            "e</dish><dish lang=\"ja\" price=\"4 \xE2\x82\xAC\">\xE6\x8A\xB9\xE8\x8C\xB6</dish>"
            "</menu>");
  EXPECT_EQ(price, "3 \xE2\x82\xAC");
  EXPECT_EQ(text, "{\"caf\xC3\xA9\": {\"prix\": \"3 \\u20AC\"}, \"th\xC3\xA9\": \"2 \\u20AC\"}");
  EXPECT_EQ(dish->GetAttribute(u"price"), u"4 \u20AC");
}
