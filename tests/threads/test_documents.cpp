// Documents on several threads: independent documents loaded, queried, edited, saved and freed
// at once, and documents, subtrees and nodes of one load handed to other threads, so that the
// pages of a load and the name records its nodes share die on threads other than the one that
// made them.
#include <functional>
#include <memory>

#include "threads_util.h"
#include "vnxml/rtl/DateUtils.h"
#include "vnxml/xml/uVnXMLDOM.h"

namespace threadtest {
namespace {

struct FreeNode {
  void operator()(TObject *AObject) const { AObject->Free(); }
};
using Doc = std::unique_ptr<TVnDOMDocument, FreeNode>;

// A catalogue of ABooks books with namespaces, entities, CDATA, comments, an instruction and
// text beyond Latin-1; AVariant changes the values, so that threads can work on different
// documents.
UnicodeString Catalogue(int AVariant, int ABooks) {
  UnicodeString x = u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- catalogue ";
  x += IntToStr(AVariant);
  x += u" -->\n<cat:catalog xmlns:cat=\"urn:example:catalog\" xmlns=\"urn:example:books\" "
       u"xmlns:x=\"urn:example:extra\" version=\"";
  x += IntToStr(AVariant);
  x += u"\">\n";
  const char16_t *const langs[] = {u"en", u"fr", u"ja"};
  for (int i = 0; i < ABooks; ++i) {
    const UnicodeString n = IntToStr(AVariant * 1000 + i);
    x += u"  <book id=\"b" + n + u"\" x:shelf=\"" + IntToStr(i % 7) + u"\" lang=\"" + langs[i % 3] +
         u"\">\n";
    x += u"    <title>Title " + n + u" &amp; caf\u00e9 \u6f22\u5b57 \U0001F600 &lt;" + n +
         u"&gt;</title>\n";
    x += u"    <price currency=\"EUR\">" + IntToStr(i * 3 + AVariant) + u"." +
         IntToStr(10 + i % 90) + u"</price>\n";
    x += u"    <published>20" + IntToStr(10 + i % 15) + u"-0" + IntToStr(1 + i % 9) + u"-1" +
         IntToStr(i % 10) + u"T0" + IntToStr(i % 10) + u":30:00</published>\n";
    x += u"    <note><![CDATA[<raw> & \"quoted\" " + n + u"]]></note>\n";
    x += u"    <!-- book " + n + u" -->\n";
    x += u"  </book>\n";
  }
  x += u"  <?render mode=\"" + IntToStr(AVariant) + u"\"?>\n</cat:catalog>\n";
  return x;
}

constexpr int cBooks = 24;

// Reads everything a client reads of a loaded catalogue through the element API.
void Query(TVnDOMDocument *ADoc, TLog &ALog) {
  TVnDOMElement *root = ADoc->GetRootNode();
  ALog << root->GetQualifiedName() << " " << root->GetNamespaceURI() << " "
       << root->AttributeCount() << " " << root->GetAttribute(u"version") << " "
       << root->ElementCount() << "\n";
  TVnDOMElementList *books = root->GetElements();
  for (TVnDOMNode *n : *books) {
    auto *book = As<TVnDOMElement>(n);
    TVnDOMElement *title = book->FindElement(u"title");
    if (!title) {
      ALog << book->GetQualifiedName() << " " << book->GetText() << "\n";
      continue;
    }
    ALog << book->GetAttribute(u"id") << " " << book->GetNamespaceURI() << " "
         << book->GetAttributeNS(u"urn:example:extra", u"shelf") << " ";
    ALog << title->GetText() << " " << title->GetInnerXML() << " ";
    // The default match ignores case.
    TVnDOMElement *price = book->FindElement(u"PRICE");
    ALog << price->GetAsDouble() << " " << price->FindAttribute(u"currency")->GetNodeValue() << " ";
    ALog << book->FindElement(u"published")->GetAsDateTime().Val << " ";
    ALog << book->GetChildElementValue(Variant(UnicodeString(u"note"))).AsString() << " ";
    ALog << book->GetElements()->GetItem(Variant(Integer(1)))->GetText() << " ";
    ALog << book->HasAttribute(u"lang") << book->HasAttribute(u"missing") << "\n";
  }
  TVnDOMNode *first = books->Find(u"book");
  ALog << (first ? As<TVnDOMElement>(first)->GetAttribute(u"id") : u"none") << "\n";
}

// Changes a catalogue: attributes set and removed, elements added, typed, renamed and removed,
// text with characters that need escaping.
void Edit(TVnDOMDocument *ADoc) {
  TVnDOMElement *root = ADoc->GetRootNode();
  std::vector<TVnDOMElement *> books;
  for (TVnDOMNode *n : *root->GetElements()) books.push_back(As<TVnDOMElement>(n));
  for (std::size_t i = 0; i < books.size(); ++i) {
    TVnDOMElement *b = books[i];
    if (i % 5 == 4) {
      root->RemoveElement(b);
      continue;
    }
    if (i % 3 == 0) {
      b->SetAttribute(u"seen", IntToStr(Int64(i)));
      b->RemoveAttribute(u"lang");
      TVnDOMElement *count = b->AddElement(u"count");
      count->SetAsInteger(Integer(i) * 7);
      TVnDOMElement *when = b->AddElement(u"x:checked");
      when->SetAsDateTime(EncodeDateTime(2020, 2, 29, 12, Word(i % 60), 30, 250));
      b->AddText(u"a <b> & \"c\" 'd' \u00e9");
    }
    if (i % 4 == 1) {
      b->FindElement(u"title")->SetNodeValue(u"Renamed & <retitled> " + IntToStr(Int64(i)));
      b->SetQualifiedName(u"cat:item");
      b->FindElement(u"price")->SetAsDouble(0.1 * double(i));
    }
    if (i % 6 == 2) b->AddComment(u"edited " + IntToStr(Int64(i)));
  }
  root->AddElement(u"urn:example:extra", u"summary")->SetAsString(u"end \u2603");
}

// Every way of writing a document: plain and formatted, in UTF-8 and UTF-16.
void Save(TVnDOMDocument *ADoc, TLog &ALog) {
  ALog << ADoc->GetXML() << "\n" << ADoc->GetFormattedXML() << "\n";
  for (Word page : {Word(CP_UTF8), Word(CP_UTF16)}) {
    for (bool formatted : {false, true}) {
      TMemoryStream s;
      ADoc->SaveToStream(&s, page, formatted, true);
      ALog << Bytes(s) << "\n";
    }
  }
}

// The whole life of one document on the calling thread.
std::string Life(const UnicodeString &AXML) {
  TLog log;
  Doc d(TVnDOMDocument::CreateFromXML(AXML));
  Query(d.get(), log);
  Edit(d.get());
  Query(d.get(), log);
  Save(d.get(), log);
  // What was written in UTF-16 reads back as the same document.
  TMemoryStream s;
  d->SaveToStream(&s, CP_UTF16, false, true);
  s.SetPosition(0);
  Doc back(New<TVnDOMDocument>());
  back->LoadFromStream(&s);
  log << (back->GetXML() == d->GetXML()) << "\n";
  return log.Text();
}

TEST(Documents, IndependentDocumentsOnEveryThread) {
  // Two documents: threads with even and odd numbers work on different ones.
  const UnicodeString xml[2] = {Catalogue(1, cBooks), Catalogue(2, cBooks)};
  const std::string expected[2] = {Life(xml[0]), Life(xml[1])};
  ASSERT_NE(expected[0], expected[1]);
  // The work did read the values, wrote the documents in both encodings, and read the UTF-16
  // form back as the same document.
  EXPECT_NE(expected[0].find("Title 1000 & caf\xC3\xA9"), std::string::npos);
  EXPECT_NE(expected[0].find("\xFF\xFE<\0", 0, 4), std::string::npos);
  EXPECT_NE(expected[0].find("Renamed &amp; &lt;retitled&gt; 1"), std::string::npos);
  EXPECT_EQ(expected[0].substr(expected[0].size() - 5), "true\n");
  constexpr int cRounds = 3;
  std::vector<std::vector<std::string>> results =
      OnThreads<std::vector<std::string>>(cThreads, [&](int AThread) {
        std::vector<std::string> r;
        for (int round = 0; round < cRounds; ++round) r.push_back(Life(xml[AThread % 2]));
        return r;
      });
  for (int t = 0; t < cThreads; ++t) {
    SCOPED_TRACE("thread " + std::to_string(t));
    ExpectAllEqual(results[static_cast<std::size_t>(t)], expected[t % 2]);
  }
}

// Loaders hand whole documents to other threads, which check and free them; the loaders go on
// loading meanwhile, so the pages of finished loads die on other threads while new loads cut
// theirs.
// ACount documents made by AMake on each of half the threads, handed over a queue to the other
// half, which describe each with ADescribe and free it: every description must be AExpected.
void MadeHereFreedThere(int ACount, const std::function<TVnDOMDocument *()> &AMake,
                        const std::function<std::string(TVnDOMDocument *)> &ADescribe,
                        const std::string &AExpected) {
  TQueue<TVnDOMDocument *> queue;
  std::atomic<int> makersLeft{cThreads / 2};
  std::vector<std::vector<std::string>> results =
      OnThreads<std::vector<std::string>>(cThreads, [&](int AThread) {
        std::vector<std::string> r;
        if (AThread % 2 == 0) {
          for (int i = 0; i < ACount; ++i) queue.Push(AMake());
          if (--makersLeft == 0) queue.Close();
          return r;
        }
        while (std::optional<TVnDOMDocument *> d = queue.Pop()) {
          Doc doc(*d);
          r.push_back(ADescribe(doc.get()));
        }
        return r;
      });
  std::size_t checked = 0;
  for (const std::vector<std::string> &r : results) {
    ExpectAllEqual(r, AExpected);
    checked += r.size();
  }
  EXPECT_EQ(checked, std::size_t(cThreads / 2 * ACount));
}

std::string Queried(TVnDOMDocument *ADoc) {
  TLog log;
  Query(ADoc, log);
  return log.Text();
}

TEST(Documents, FreedOnOtherThreads) {
  const UnicodeString xml = Catalogue(3, cBooks);
  Doc d(TVnDOMDocument::CreateFromXML(xml));
  MadeHereFreedThere(
      6, [&] { return TVnDOMDocument::CreateFromXML(xml); }, Queried, Queried(d.get()));
}

// Elements that paths create share their thread's edit pages: documents built that way on some
// threads are freed on others while the builders go on cutting from pages that hold nodes of
// the documents being freed.
TEST(Documents, CreatedElementsFreedOnOtherThreads) {
  auto build = [] {
    Doc d(TVnDOMDocument::CreateFromXML(u"<r/>"));
    for (int i = 0; i < 300; ++i)
      d->GetRootNode()->SelectSingleNode(u"p" + IntToStr(i) + u"/a/b", {soCreate});
    return d.release();
  };
  auto xml = [](TVnDOMDocument *ADoc) { return UTF8Encode(ADoc->GetXML()); };
  Doc d(build());
  MadeHereFreedThere(6, build, xml, xml(d.get()));
}

// A document handed out as an interface: from then on it lives while an interface on it or on
// one of its nodes does, whatever thread drops the last one.
using DocIntf = DelphiInterface<IVnDOMDocument>;

DocIntf Held(TVnDOMDocument *ADoc) {
  return VnDOMIntf<IVnDOMDocument>(ADoc);
}

TVnDOMElement *RootOf(IVnDOMDocument *ADoc) {
  return As<TVnDOMDocument>(TVnDOMObjectImpl::Node(ADoc))->GetRootNode();
}

// Takes the first element of AParent out with RemoveChild while an interface holds it, so that
// it lives on as the top of its own tree; nil when there is none.
DelphiInterface<IVnDOMElement> TakeFirst(TVnDOMElement *AParent) {
  if (AParent->ElementCount() == 0) return nullptr;
  TVnDOMElement *first = AParent->FirstElement();
  DelphiInterface<IVnDOMElement> held = VnDOMIntf<IVnDOMElement>(first);
  AParent->RemoveChild(first);
  return held;
}

// The books of one load, taken out while held, spread over several threads that check and drop
// them; the rest of the document is dropped by one of these threads too. The books share the
// pages and the name records of their load, so the counts of both are taken down on several
// threads at once.
TEST(Documents, SubtreesOfOneLoadDieOnSeveralThreads) {
  const UnicodeString xml = Catalogue(4, cBooks);
  std::vector<std::string> expectedBooks;
  std::string expectedRest;
  {
    DocIntf d = Held(TVnDOMDocument::CreateFromXML(xml));
    while (DelphiInterface<IVnDOMElement> b = TakeFirst(RootOf(d)))
      expectedBooks.push_back(UTF8Encode(b->GetXML()));
    expectedRest = UTF8Encode(d->GetXML());
  }
  ASSERT_EQ(expectedBooks.size(), std::size_t(cBooks));
  ASSERT_EQ(expectedBooks[0].find("<book "), 0u);

  struct TBook {
    std::size_t Index;
    DelphiInterface<IVnDOMElement> Held;  // the only reference: dropping it frees the book
  };
  constexpr int cRounds = 4;
  constexpr int cDroppers = cThreads - 1;
  for (int round = 0; round < cRounds; ++round) {
    std::vector<TQueue<TBook>> books(cDroppers);
    TQueue<DocIntf> rest;
    std::vector<std::string> results = OnThreads<std::string>(cThreads, [&](int AThread) {
      TLog log;
      if (AThread == 0) {
        // The loader: every book goes to another thread, the rest of the document last.
        DocIntf d = Held(TVnDOMDocument::CreateFromXML(xml));
        std::size_t i = 0;
        while (DelphiInterface<IVnDOMElement> b = TakeFirst(RootOf(d))) {
          books[i % cDroppers].Push(TBook{i, std::move(b)});
          ++i;
        }
        rest.Push(std::move(d));
        rest.Close();
        for (TQueue<TBook> &q : books) q.Close();
        return log.Text();
      }
      while (std::optional<TBook> b = books[static_cast<std::size_t>(AThread - 1)].Pop()) {
        if (UTF8Encode(b->Held->GetXML()) != expectedBooks[b->Index])
          log << "book " << Int64(b->Index) << " differs\n";
      }
      if (AThread == 1) {
        while (std::optional<DocIntf> d = rest.Pop()) {
          if (UTF8Encode((*d)->GetXML()) != expectedRest) log << "rest differs\n";
        }
      }
      return log.Text();
    });
    for (const std::string &r : results) EXPECT_EQ(r, "");
  }
}

// Books of a load on one thread are moved into documents of other threads, changed there, saved
// and freed with those documents; the loader drops what is left of its document meanwhile.
TEST(Documents, NodesMovedBetweenThreads) {
  const UnicodeString xml = Catalogue(5, cBooks);
  const UnicodeString shelf = u"<shelf xmlns=\"urn:example:books\"><label>moved</label></shelf>";
  constexpr int cTakers = cThreads - 1;
  auto place = [](IVnDOMDocument *AShelf, IVnDOMElement *ABook) {
    ABook->SetAttrib(u"moved", u"yes");
    RootOf(AShelf)->AppendChild(TVnDOMObjectImpl::Node(ABook));
  };
  // A taker with number t ends with the books t, t + cTakers ... of the load, in that order.
  std::vector<std::string> expected(cTakers);
  {
    DocIntf d = Held(TVnDOMDocument::CreateFromXML(xml));
    std::vector<DocIntf> shelves;
    for (int t = 0; t < cTakers; ++t) shelves.push_back(Held(TVnDOMDocument::CreateFromXML(shelf)));
    std::size_t i = 0;
    while (DelphiInterface<IVnDOMElement> b = TakeFirst(RootOf(d)))
      place(shelves[i++ % cTakers], b);
    for (int t = 0; t < cTakers; ++t) {
      TLog log;
      Save(As<TVnDOMDocument>(TVnDOMObjectImpl::Node(shelves[static_cast<std::size_t>(t)])), log);
      expected[static_cast<std::size_t>(t)] = log.Text();
    }
  }
  ASSERT_NE(expected[0].find("moved=\"yes\""), std::string::npos);

  constexpr int cRounds = 3;
  for (int round = 0; round < cRounds; ++round) {
    std::vector<TQueue<DelphiInterface<IVnDOMElement>>> moving(cTakers);
    std::vector<std::string> results = OnThreads<std::string>(cThreads, [&](int AThread) {
      if (AThread == 0) {
        DocIntf d = Held(TVnDOMDocument::CreateFromXML(xml));
        std::size_t i = 0;
        while (DelphiInterface<IVnDOMElement> b = TakeFirst(RootOf(d)))
          moving[i++ % cTakers].Push(std::move(b));
        for (auto &q : moving) q.Close();
        return std::string();
      }
      // The taker's document is loaded on its own thread, before the books arrive.
      DocIntf mine = Held(TVnDOMDocument::CreateFromXML(shelf));
      while (std::optional<DelphiInterface<IVnDOMElement>> b =
                 moving[static_cast<std::size_t>(AThread - 1)].Pop())
        place(mine, *b);
      TLog log;
      Save(As<TVnDOMDocument>(TVnDOMObjectImpl::Node(mine)), log);
      return log.Text();
    });
    for (int t = 0; t < cTakers; ++t) {
      SCOPED_TRACE("taker " + std::to_string(t));
      ExpectAllEqual({results[static_cast<std::size_t>(t + 1)]},
                     expected[static_cast<std::size_t>(t)]);
    }
  }
}

}  // namespace
}  // namespace threadtest
