// Reading an integer member through the reflection table allocates nothing. The program's
// operator new counts the allocations of the thread that asks.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "vnxml/common/uVnTypes.h"
#include "vnxml/rtl/Classes.h"
#include "vnxml/rtl/Rtti.h"

namespace {
thread_local long tAllocations = 0;
}

void *operator new(std::size_t ASize) {
  ++tAllocations;
  if (void *p = std::malloc(ASize ? ASize : 1)) return p;
  throw std::bad_alloc();
}
void *operator new[](std::size_t ASize) {
  return operator new(ASize);
}
void *operator new(std::size_t ASize, const std::nothrow_t &) noexcept {
  ++tAllocations;
  return std::malloc(ASize ? ASize : 1);
}
void *operator new[](std::size_t ASize, const std::nothrow_t &) noexcept {
  return operator new(ASize, std::nothrow);
}
void operator delete(void *APtr) noexcept {
  std::free(APtr);
}
void operator delete[](void *APtr) noexcept {
  std::free(APtr);
}
void operator delete(void *APtr, std::size_t) noexcept {
  std::free(APtr);
}
void operator delete[](void *APtr, std::size_t) noexcept {
  std::free(APtr);
}
void operator delete(void *APtr, const std::nothrow_t &) noexcept {
  std::free(APtr);
}
void operator delete[](void *APtr, const std::nothrow_t &) noexcept {
  std::free(APtr);
}

using namespace vn;

namespace atest {
class TRow : public TPersistent {
  VN_CLASS(TRow, TPersistent)
 public:
  Integer Id = 0;
  Double Price = 0;
  UnicodeString Name;
  Integer GetId() const { return Id; }
  void SetId(Integer AValue) { Id = AValue; }
};
VN_RTTI(TRow, u"atest") {
  R.Field(u"Id", &TRow::Id);
  R.Field(u"Price", &TRow::Price);
  R.Field(u"Name", &TRow::Name);
  R.Property(u"IdProp", &TRow::GetId, &TRow::SetId);
}
}  // namespace atest

TEST(Allocation, SimpleMembersGoThroughTheTableWithoutAllocating) {
  atest::TRow row;
  TRttiType *t = TypeInfo<atest::TRow>()->RttiType();
  TRttiField *id = t->GetField(u"Id");
  TRttiField *price = t->GetField(u"Price");
  TRttiProperty *idProp = t->GetProperty(u"IdProp");
  const TVnTypeInfo *info = TVnTypes::GetTypeInfo(TypeInfo<atest::TRow>());
  ASSERT_NE(info, nullptr);

  const long before = tAllocations;
  Int64 sum = 0;
  for (int i = 0; i < 100; ++i) {
    id->SetValue(&row, i);
    sum += id->GetValue(&row).AsInteger();
    price->SetValue(&row, 1.5);
    idProp->SetValue(&row, idProp->GetValue(&row).AsInteger() + 1);
    sum += TVnTypes::GetTypeInfo(TypeInfo<atest::TRow>()) == info;
  }
  EXPECT_EQ(tAllocations - before, 0);
  EXPECT_EQ(sum, 4950 + 100);
  EXPECT_EQ(row.Id, 100);

  // A string longer than the short-string buffer needs its copy, and the counter sees it.
  row.Name = UnicodeString(40, u'n');
  const long beforeText = tAllocations;
  EXPECT_EQ(t->GetField(u"Name")->GetValue(&row).AsString().size(), 40u);
  EXPECT_GT(tAllocations - beforeText, 0);
}
