// Serializable objects written and read by several threads at once: each walk or read of the
// instance holds its critical section from the first to the last step, so they come one after
// the other; one that fails on the way leaves the section free for the next.
#include <chrono>

#include "threads_util.h"
#include "vnxml/common/uVnSerializer.h"
#include "vnxml/json/uVnJSONSerializer.h"
#include "vnxml/xml/uVnXMLSerializer.h"

namespace threadtest {
namespace {

// Its two getters note how many walks are inside the instance; the first waits a little, so
// that walks that are not kept apart overlap.
class TAccount : public TVnSerializableObject {
  VN_CLASS(TAccount, TVnSerializableObject)
 public:
  Integer GetBalance() const {
    Integer now = Inside.fetch_add(1) + 1;
    Integer seen = MostInside.load();
    while (now > seen && !MostInside.compare_exchange_weak(seen, now)) {
    }
    ++Reads;  // unguarded on purpose: a race here without the section
    std::this_thread::sleep_for(std::chrono::microseconds(300));
    if (Fail) throw EVnSerializeException(u"balance unavailable");
    return Balance;
  }
  Integer GetReads() const {
    Integer r = Reads;
    Inside.fetch_sub(1);
    return r;
  }

  Integer Balance = 100;
  bool Fail = false;
  mutable Integer Reads = 0;
  mutable std::atomic<Integer> Inside{0};
  mutable std::atomic<Integer> MostInside{0};
};

}  // namespace

VN_RTTI(TAccount, u"threadtest") {
  R.Property(u"Balance", &TAccount::GetBalance, nullptr);
  R.Property(u"Reads", &TAccount::GetReads, nullptr);
}

TEST(SerializerThreads, WalksOfOneInstanceComeOneAfterTheOther) {
  Owned<TAccount> account = MakeOwned<TAccount>();
  constexpr int cRounds = 20;
  auto texts = OnThreads<std::string>(cThreads, [&](int AThread) {
    std::string all;
    for (int i = 0; i < cRounds; ++i)
      all += VnSerialize(AThread % 2 ? dsfXML : dsfJSON, TValue(account.get())).substr(0, 39);
    return all;
  });
  EXPECT_EQ(account->MostInside.load(), 1) << "two walks were inside the instance at once";
  EXPECT_EQ(account->Reads, cThreads * cRounds);
  EXPECT_FALSE(account->Serializing());
  EXPECT_EQ(texts[0].substr(0, 39), "{\"className\":\"TAccount\",\"balance\":100,\"");
}

TEST(SerializerThreads, AFailedWalkLeavesTheSectionFree) {
  Owned<TAccount> account = MakeOwned<TAccount>();
  account->Fail = true;
  std::thread failing(
      [&] { EXPECT_THROW(VnSerialize(dsfJSON, TValue(account.get())), EVnSerializeException); });
  failing.join();
  account->Inside = 0;
  account->Fail = false;
  EXPECT_FALSE(account->Serializing());
  // Another thread gets the section; were it still held by the ended thread, this would wait
  // for ever.
  std::atomic<bool> done{false};
  std::thread next([&] {
    VnSerialize(dsfXML, TValue(account.get()));
    done = true;
  });
  next.join();
  EXPECT_TRUE(done);
  EXPECT_EQ(account->RefCount(), 1) << "only the owner holds the instance after the walks";
}

namespace {

// Read by several threads at once: the setters note how many reads are inside the instance.
class TLedger : public TVnSerializableObject {
  VN_CLASS(TLedger, TVnSerializableObject)
 public:
  void SetOwner(const UnicodeString &A) {
    Integer now = Inside.fetch_add(1) + 1;
    Integer seen = MostInside.load();
    while (now > seen && !MostInside.compare_exchange_weak(seen, now)) {
    }
    std::this_thread::sleep_for(std::chrono::microseconds(200));
    Owner = A;  // unguarded on purpose: a race here without the section
  }
  const UnicodeString &GetOwner() const { return Owner; }
  void SetTotal(Integer A) {
    Total = A;
    Inside.fetch_sub(1);
  }
  Integer GetTotal() const { return Total; }

  UnicodeString Owner;
  Integer Total = 0;
  std::atomic<Integer> Inside{0};
  std::atomic<Integer> MostInside{0};
};

}  // namespace

VN_RTTI(TLedger, u"threadtest") {
  R.Property(u"Owner", &TLedger::GetOwner, &TLedger::SetOwner);
  R.Property(u"Total", &TLedger::GetTotal, &TLedger::SetTotal);
}

TEST(SerializerThreads, ReadsIntoOneInstanceComeOneAfterTheOther) {
  Owned<TLedger> ledger = MakeOwned<TLedger>();
  constexpr int cRounds = 10;
  OnThreads<int>(cThreads, [&](int AThread) {
    for (int i = 0; i < cRounds; ++i) {
      if (AThread % 2)
        VnSerializer(ledger.get())
            .Deserialize(dsfXML, "<object><Owner>x" + std::to_string(AThread) +
                                     "</Owner><Total>" + std::to_string(i) + "</Total></object>");
      else
        VnSerializer(ledger.get())
            .Deserialize(dsfJSON, R"({"owner":"j)" + std::to_string(AThread) + R"(","total":)" +
                                      std::to_string(i) + "}");
    }
    return 0;
  });
  EXPECT_EQ(ledger->MostInside.load(), 1) << "two reads were inside the instance at once";
  EXPECT_FALSE(ledger->Deserializing());
  EXPECT_EQ(ledger->Total, cRounds - 1);
  // A read that fails leaves the section free for the next one.
  EXPECT_ANY_THROW(VnSerializer(ledger.get()).Deserialize(dsfJSON, R"({"owner":"a","nope":1})"));
  ledger->Inside = 0;
  std::thread next([&] { VnSerializer(ledger.get()).Deserialize(dsfJSON, R"({"total":5})"); });
  next.join();
  EXPECT_EQ(ledger->Total, 5);
  EXPECT_FALSE(ledger->Deserializing());
}

}  // namespace threadtest
