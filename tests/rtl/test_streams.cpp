#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <string>

#include "vnxml/rtl/Streams.h"
#include "vnxml/rtl/SysUtils.h"

using namespace vn;

namespace {
struct TempFile {
  TempFile() {
    char name[] = "/tmp/vnxml_stream_XXXXXX";
    int fd = mkstemp(name);
    close(fd);
    Name = ASCIIToString(name);
    Native = name;
  }
  ~TempFile() { std::remove(Native.c_str()); }
  UnicodeString Name;
  std::string Native;
};
}  // namespace

TEST(StreamsTest, MemoryStreamGrowsSeeksAndReads) {
  TMemoryStream *m = New<TMemoryStream>();
  std::string big(100000, 'x');
  m->WriteBuffer("abc", 3);
  m->WriteBuffer(big.data(), static_cast<Int64>(big.size()));
  EXPECT_EQ(m->GetSize(), 100003);
  EXPECT_EQ(m->GetPosition(), 100003);
  EXPECT_EQ(m->Seek(-2, soEnd), 100001);
  m->SetPosition(1);
  char buf[4] = {};
  EXPECT_EQ(m->Read(buf, 2), 2);
  EXPECT_EQ(std::string(buf, 2), "bc");
  m->SetPosition(100003);
  EXPECT_EQ(m->Read(buf, 4), 0);
  EXPECT_THROW(m->ReadBuffer(buf, 1), EReadError);
  // Writing behind the end fills the gap with zeros.
  m->SetPosition(100005);
  m->WriteBuffer("z", 1);
  EXPECT_EQ(m->GetSize(), 100006);
  EXPECT_EQ(static_cast<const char *>(m->Memory())[100003], '\0');
  m->SetSize(2);
  EXPECT_EQ(m->GetPosition(), 2);
  m->Clear();
  EXPECT_EQ(m->GetSize(), 0);
  m->Free();
}

TEST(StreamsTest, PointerStreamIsReadOnly) {
  const char text[] = "view";
  TPointerStream *p = New<TPointerStream>(text, 4);
  char buf[4];
  p->ReadBuffer(buf, 4);
  EXPECT_EQ(std::string(buf, 4), "view");
  EXPECT_THROW(p->WriteBuffer("x", 1), EStreamError);
  p->Free();
}

TEST(StreamsTest, FileStreamModes) {
  TempFile f;
  TFileStream *w = New<TFileStream>(f.Name, fmCreate);
  w->WriteBuffer("hello world", 11);
  w->Free();

  TFileStream *r = New<TFileStream>(f.Name, fmOpenRead | fmShareDenyWrite);
  EXPECT_EQ(r->GetSize(), 11);
  char buf[16];
  r->ReadBuffer(buf, 5);
  EXPECT_EQ(std::string(buf, 5), "hello");
  EXPECT_THROW(r->WriteBuffer("x", 1), EWriteError) << "opened for reading only";
  r->Free();

  TFileStream *rw = New<TFileStream>(f.Name, fmOpenReadWrite);
  rw->Seek(6, soBeginning);
  rw->WriteBuffer("there", 5);
  rw->SetSize(8);
  rw->Free();

  TMemoryStream *m = New<TMemoryStream>();
  m->LoadFromFile(f.Name);
  EXPECT_EQ(std::string(static_cast<const char *>(m->Memory()), 8), "hello th");
  m->Free();
  EXPECT_TRUE(FileExists(f.Name));
}

TEST(StreamsTest, FileErrorsNameTheFile) {
  try {
    New<TFileStream>(u"/nonexistent/dir/file.xml", fmOpenRead);
    FAIL();
  } catch (EFOpenError &e) {
    EXPECT_EQ(e.Message.rfind(u"Cannot open file \"/nonexistent/dir/file.xml\". ", 0), 0u);
  }
  EXPECT_THROW(New<TFileStream>(u"/nonexistent/dir/file.xml", fmCreate), EFCreateError);
  EXPECT_FALSE(FileExists(u"/nonexistent/dir/file.xml"));
}

TEST(StreamsTest, CopyFromCopiesAllOrACount) {
  TMemoryStream *a = New<TMemoryStream>();
  a->WriteBuffer("0123456789", 10);
  TMemoryStream *b = New<TMemoryStream>();
  EXPECT_EQ(b->CopyFrom(a, 0), 10) << "0 copies the whole source from its start";
  a->SetPosition(2);
  EXPECT_EQ(b->CopyFrom(a, 3), 3);
  EXPECT_EQ(std::string(static_cast<const char *>(b->Memory()), 13), "0123456789234");
  EXPECT_THROW(b->CopyFrom(a, 100), EReadError);
  a->Free();
  b->Free();
}

TEST(StreamsTest, ShrinkingTheCapacityCutsTheContent) {
  TMemoryStream *m = New<TMemoryStream>();
  m->WriteBuffer("0123456789", 10);
  m->SetCapacity(4);
  EXPECT_EQ(m->GetSize(), 4);
  EXPECT_EQ(m->GetPosition(), 4);
  EXPECT_EQ(std::string(static_cast<const char *>(m->Memory()), 4), "0123");
  m->SetCapacity(0);
  EXPECT_EQ(m->GetSize(), 0);
  m->WriteBuffer("x", 1);
  EXPECT_EQ(m->GetSize(), 1);
  m->Free();
}
