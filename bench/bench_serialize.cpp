// The object serializer against cereal and nlohmann/json: one order book of 100,000 orders written
// to JSON and to XML and read back, all in the same run on the same content.
//
// The data is made once, outside the timed loops, by one generator with a fixed seed: first as
// plain structs (std::string in UTF-8, std::unique_ptr for the polymorphic payment), which the
// peers write, then copied into registered classes and records, which VnSerialize writes. Each
// order has an id, a creation time, a status (an enumeration), a customer record, one to ten
// order-line records, a note (a quarter of them with quotes, < and & to escape, a few with
// non-ASCII text) and a payment declared as the base class, holding a card or an invoice.
//
// Families, each "<family>/<who>":
//   SerializeJSON    VnSerialize(dsfJSON, TValue(book)) to a UTF-8 string; cereal's
//                    JSONOutputArchive without indentation (it still breaks the line after each
//                    value) into a std::ostringstream; nlohmann/json with a hand-written to_json
//                    that builds the tree, then dump().
//   SerializeXML     VnSerialize(dsfXML, TValue(book)); cereal's XMLOutputArchive without
//                    indentation into a std::ostringstream.
//   DeserializeJSON  VnDeserialize(dsfJSON, TValue(book), text, nullptr) into a new, empty book;
//                    cereal's JSONInputArchive over a std::istream on the text; nlohmann/json's
//                    parse() to the tree, then a hand-written from_json into the plain structs.
//   DeserializeXML   VnDeserialize(dsfXML, ...); cereal's XMLInputArchive.
//
// The peers write the same content in their own way. nlohmann's to_json mirrors this library's
// JSON member for member: a "className" for every object and record, the enumeration as
// {"className", "asString", "asInt"}, dates in the lexical form of XML Schema. cereal writes its
// own tags (polymorphic_id/polymorphic_name/ptr_wrapper for the payment, value0... for array
// elements in XML), the enumeration as {asString, asInt} and the same date texts; it writes no
// class names for records. Each library's throughput counts the bytes it wrote itself (out_MB),
// or, reading, the bytes of the text it wrote itself for the book (in_MB), which is made once
// before the timed runs; "objects" counts orders written or read per second, which compares the
// libraries regardless of how verbose their notation is.
//
// Each reader's first read is untimed: the book it gives is written again by the same library
// and must give the text read byte for byte, or the benchmark fails. Reading builds the whole
// book, with its order objects, strings and payments; freeing it is not timed.
//
// Each benchmark writes the book once untimed before it measures, and freed memory stays in the
// heap (KeepFreedMemory below), so the timed runs do not depend on the order of the benchmarks.
// VNBENCH_SERIALIZE_DUMP=<directory> saves the output of the writing benchmarks as
// <directory>/<who>.<ext>, for a look at what was measured.
#include <cereal/archives/json.hpp>
#include <cereal/archives/xml.hpp>
#include <cereal/cereal.hpp>
#include <cereal/types/memory.hpp>
#include <cereal/types/polymorphic.hpp>
#include <cereal/types/string.hpp>
#include <cereal/types/vector.hpp>
#include <malloc.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <istream>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

#include "bench_util.h"
#include "vnxml/common/uVnTypes.h"
#include "vnxml/rtl/Classes.h"
#include "vnxml/rtl/DateUtils.h"
#include "vnxml/rtl/Rtti.h"
#include "vnxml/rtl/SysUtils.h"

#if __has_include("vnxml/common/uVnSerializer.h")
#include "vnxml/common/uVnSerializer.h"
#include "vnxml/json/uVnJSONSerializer.h"
#include "vnxml/xml/uVnXMLSerializer.h"
#define VNBENCH_HAVE_SERIALIZER 1
#else
#define VNBENCH_HAVE_SERIALIZER 0
#endif

namespace {

constexpr std::size_t cOrders = 100000;

// --- The plain model the peers write ---------------------------------------------------------

namespace plain {

using namespace std::chrono;

// A point in time to the millisecond and a calendar day, written as the text of XML Schema's
// dateTime ("2024-03-05T10:20:30.123") and date ("2027-12-01").
struct PDateTime {
  sys_time<milliseconds> Value;
};
struct PDate {
  sys_days Value;
};

inline char *Put2(char *p, unsigned v) {
  p[0] = static_cast<char>('0' + v / 10);
  p[1] = static_cast<char>('0' + v % 10);
  return p + 2;
}
inline char *PutDay(char *p, sys_days d) {
  const year_month_day ymd{d};
  const unsigned y = static_cast<unsigned>(static_cast<int>(ymd.year()));
  p = Put2(Put2(p, y / 100), y % 100);
  *p++ = '-';
  p = Put2(p, static_cast<unsigned>(ymd.month()));
  *p++ = '-';
  return Put2(p, static_cast<unsigned>(ymd.day()));
}
inline std::string Text(const PDate &d) {
  char b[16];
  return std::string(b, PutDay(b, d.Value));
}
inline std::string Text(const PDateTime &t) {
  const sys_days day = floor<days>(t.Value);
  const auto ms = static_cast<unsigned>((t.Value - day).count());
  char b[32];
  char *p = PutDay(b, day);
  *p++ = 'T';
  p = Put2(p, ms / 3600000);
  *p++ = ':';
  p = Put2(p, ms / 60000 % 60);
  *p++ = ':';
  p = Put2(p, ms / 1000 % 60);
  *p++ = '.';
  const unsigned frac = ms % 1000;
  *p++ = static_cast<char>('0' + frac / 100);
  p = Put2(p, frac % 100);
  return std::string(b, p);
}
// The readers of the two texts above, which both peers use: digits at fixed places, no checks
// beyond the length (the input is what Text wrote); a text of another length gives the epoch.
inline unsigned Get2(const char *p) {
  return static_cast<unsigned>(p[0] - '0') * 10 + static_cast<unsigned>(p[1] - '0');
}
inline sys_days GetDay(const char *p) {
  const int y = static_cast<int>(Get2(p) * 100 + Get2(p + 2));
  return sys_days{year{y} / month{Get2(p + 5)} / day{Get2(p + 8)}};
}
inline PDate ParseDate(std::string_view s) {
  if (s.size() != 10) return {};
  return {GetDay(s.data())};
}
inline PDateTime ParseDateTime(std::string_view s) {
  if (s.size() != 23) return {};
  const char *p = s.data();
  const unsigned ms = ((Get2(p + 11) * 60 + Get2(p + 14)) * 60 + Get2(p + 17)) * 1000 +
                      static_cast<unsigned>(p[20] - '0') * 100 + Get2(p + 21);
  return {time_point_cast<milliseconds>(GetDay(p)) + milliseconds{ms}};
}

enum class POrderStatus { New, Paid, Shipped, Cancelled };
constexpr const char *cStatusNames[] = {"osNew", "osPaid", "osShipped", "osCancelled"};

struct PCustomer {
  std::int64_t Id = 0;
  std::string Name;
  std::string Email;
};

struct POrderLine {
  std::string Article;
  std::int32_t Quantity = 0;
  double Price = 0;
};

struct PPayment {
  virtual ~PPayment() = default;
};
struct PCardPayment : PPayment {
  std::string CardNumber;
  PDate Expires;
};
struct PInvoicePayment : PPayment {
  std::int32_t DueDays = 0;
  std::string Iban;
};

struct POrder {
  std::int32_t Id = 0;
  PDateTime Created;
  POrderStatus Status = POrderStatus::New;
  PCustomer Customer;
  std::vector<POrderLine> Lines;
  std::string Note;
  std::unique_ptr<PPayment> Payment;
};

struct POrderBook {
  std::vector<POrder> Orders;
};

// cereal. Dates are minimal values (a bare text); the status an object of name and ordinal.
template <class A>
std::string save_minimal(const A &, const PDate &d) {
  return Text(d);
}
template <class A>
void load_minimal(const A &, PDate &d, const std::string &s) {
  d = ParseDate(s);
}
template <class A>
std::string save_minimal(const A &, const PDateTime &t) {
  return Text(t);
}
template <class A>
void load_minimal(const A &, PDateTime &t, const std::string &s) {
  t = ParseDateTime(s);
}

struct PStatusOut {
  POrderStatus Value;
  template <class A>
  void save(A &ar) const {
    ar(cereal::make_nvp("asString", std::string(cStatusNames[static_cast<int>(Value)])),
       cereal::make_nvp("asInt", static_cast<int>(Value)));
  }
};

// Reads what PStatusOut wrote; the ordinal decides.
struct PStatusIn {
  POrderStatus &Value;
  template <class A>
  void load(A &ar) {
    std::string name;
    int ordinal = 0;
    ar(cereal::make_nvp("asString", name), cereal::make_nvp("asInt", ordinal));
    Value = static_cast<POrderStatus>(ordinal);
  }
};

template <class A>
void save(A &ar, const PCustomer &c) {
  ar(cereal::make_nvp("id", c.Id), cereal::make_nvp("name", c.Name),
     cereal::make_nvp("email", c.Email));
}
template <class A>
void save(A &ar, const POrderLine &l) {
  ar(cereal::make_nvp("article", l.Article), cereal::make_nvp("quantity", l.Quantity),
     cereal::make_nvp("price", l.Price));
}
template <class A>
void load(A &ar, PCustomer &c) {
  ar(cereal::make_nvp("id", c.Id), cereal::make_nvp("name", c.Name),
     cereal::make_nvp("email", c.Email));
}
template <class A>
void load(A &ar, POrderLine &l) {
  ar(cereal::make_nvp("article", l.Article), cereal::make_nvp("quantity", l.Quantity),
     cereal::make_nvp("price", l.Price));
}
template <class A>
void serialize(A &, PPayment &) {}  // the base holds nothing; cereal wants it all the same
template <class A>
void serialize(A &ar, PCardPayment &p) {
  ar(cereal::make_nvp("cardNumber", p.CardNumber), cereal::make_nvp("expires", p.Expires));
}
template <class A>
void serialize(A &ar, PInvoicePayment &p) {
  ar(cereal::make_nvp("dueDays", p.DueDays), cereal::make_nvp("iban", p.Iban));
}
template <class A>
void save(A &ar, const POrder &o) {
  ar(cereal::make_nvp("id", o.Id), cereal::make_nvp("created", o.Created),
     cereal::make_nvp("status", PStatusOut{o.Status}), cereal::make_nvp("customer", o.Customer),
     cereal::make_nvp("lines", o.Lines), cereal::make_nvp("note", o.Note),
     cereal::make_nvp("payment", o.Payment));
}
template <class A>
void save(A &ar, const POrderBook &b) {
  ar(cereal::make_nvp("orders", b.Orders));
}
template <class A>
void load(A &ar, POrder &o) {
  PStatusIn status{o.Status};
  ar(cereal::make_nvp("id", o.Id), cereal::make_nvp("created", o.Created),
     cereal::make_nvp("status", status), cereal::make_nvp("customer", o.Customer),
     cereal::make_nvp("lines", o.Lines), cereal::make_nvp("note", o.Note),
     cereal::make_nvp("payment", o.Payment));
}
template <class A>
void load(A &ar, POrderBook &b) {
  ar(cereal::make_nvp("orders", b.Orders));
}

// nlohmann/json, written by hand in the shape of this library's JSON.
using json = nlohmann::json;

void to_json(json &j, const PCustomer &c) {
  j = json{{"className", "TCustomer"}, {"id", c.Id}, {"name", c.Name}, {"email", c.Email}};
}
void to_json(json &j, const POrderLine &l) {
  j = json{{"className", "TOrderLine"},
           {"article", l.Article},
           {"quantity", l.Quantity},
           {"price", l.Price}};
}
// The payment is written as the class it really is; no payment is an empty object.
json PaymentJson(const PPayment *p) {
  if (auto *c = dynamic_cast<const PCardPayment *>(p))
    return json{{"className", "TCardPayment"},
                {"cardNumber", c->CardNumber},
                {"expires", Text(c->Expires)}};
  if (auto *i = dynamic_cast<const PInvoicePayment *>(p))
    return json{{"className", "TInvoicePayment"}, {"dueDays", i->DueDays}, {"iban", i->Iban}};
  return json::object();
}
void to_json(json &j, const POrder &o) {
  const int status = static_cast<int>(o.Status);
  j = json{{"className", "TOrder"},
           {"id", o.Id},
           {"created", Text(o.Created)},
           {"status",
            {{"className", "TOrderStatus"}, {"asString", cStatusNames[status]}, {"asInt", status}}},
           {"customer", o.Customer},
           {"lines", o.Lines},
           {"note", o.Note},
           {"payment", PaymentJson(o.Payment.get())}};
}
void to_json(json &j, const POrderBook &b) {
  j = json{{"className", "TOrderBook"}, {"orders", b.Orders}};
}

// And back: the members by name, the payment by its "className", the status by its ordinal.
const std::string &Str(const json &j, const char *AName) {
  return j.at(AName).get_ref<const std::string &>();
}
void from_json(const json &j, PCustomer &c) {
  j.at("id").get_to(c.Id);
  j.at("name").get_to(c.Name);
  j.at("email").get_to(c.Email);
}
void from_json(const json &j, POrderLine &l) {
  j.at("article").get_to(l.Article);
  j.at("quantity").get_to(l.Quantity);
  j.at("price").get_to(l.Price);
}
std::unique_ptr<PPayment> PaymentFromJson(const json &j) {
  const auto name = j.find("className");
  if (name == j.end()) return nullptr;
  const std::string &cls = name->get_ref<const std::string &>();
  if (cls == "TCardPayment") {
    auto card = std::make_unique<PCardPayment>();
    j.at("cardNumber").get_to(card->CardNumber);
    card->Expires = ParseDate(Str(j, "expires"));
    return card;
  }
  if (cls == "TInvoicePayment") {
    auto invoice = std::make_unique<PInvoicePayment>();
    j.at("dueDays").get_to(invoice->DueDays);
    j.at("iban").get_to(invoice->Iban);
    return invoice;
  }
  return nullptr;
}
void from_json(const json &j, POrder &o) {
  j.at("id").get_to(o.Id);
  o.Created = ParseDateTime(Str(j, "created"));
  o.Status = static_cast<POrderStatus>(j.at("status").at("asInt").get<int>());
  j.at("customer").get_to(o.Customer);
  j.at("lines").get_to(o.Lines);
  j.at("note").get_to(o.Note);
  o.Payment = PaymentFromJson(j.at("payment"));
}
void from_json(const json &j, POrderBook &b) {
  j.at("orders").get_to(b.Orders);
}

}  // namespace plain

}  // namespace

CEREAL_REGISTER_TYPE_WITH_NAME(plain::PCardPayment, "TCardPayment")
CEREAL_REGISTER_TYPE_WITH_NAME(plain::PInvoicePayment, "TInvoicePayment")
CEREAL_REGISTER_POLYMORPHIC_RELATION(plain::PPayment, plain::PCardPayment)
CEREAL_REGISTER_POLYMORPHIC_RELATION(plain::PPayment, plain::PInvoicePayment)

// --- The registered model VnSerialize writes --------------------------------------------------

namespace shop {

using namespace vn;

enum TOrderStatus { osNew, osPaid, osShipped, osCancelled };
VN_RTTI(TOrderStatus, u"shop") {
  R.Names({u"osNew", u"osPaid", u"osShipped", u"osCancelled"});
}

struct TCustomer {
  Int64 Id = 0;
  UnicodeString Name;
  UnicodeString Email;
};
VN_RTTI(TCustomer, u"shop") {
  R.Field(u"Id", &TCustomer::Id);
  R.Field(u"Name", &TCustomer::Name);
  R.Field(u"Email", &TCustomer::Email);
}

struct TOrderLine {
  UnicodeString Article;
  Integer Quantity = 0;
  Double Price = 0;
};
using TOrderLines = std::vector<TOrderLine>;
VN_RTTI(TOrderLine, u"shop") {
  R.Field(u"Article", &TOrderLine::Article);
  R.Field(u"Quantity", &TOrderLine::Quantity);
  R.Field(u"Price", &TOrderLine::Price);
}
VN_RTTI(TOrderLines, u"shop") {}

class TPayment : public TPersistent {
  VN_CLASS(TPayment, TPersistent)
};
VN_RTTI(TPayment, u"shop") {}

class TCardPayment : public TPayment {
  VN_CLASS(TCardPayment, TPayment)
 public:
  UnicodeString CardNumber;
  TDate Expires;
};
VN_RTTI(TCardPayment, u"shop") {
  R.Property(u"CardNumber", &TCardPayment::CardNumber, &TCardPayment::CardNumber);
  R.Property(u"Expires", &TCardPayment::Expires, &TCardPayment::Expires);
}

class TInvoicePayment : public TPayment {
  VN_CLASS(TInvoicePayment, TPayment)
 public:
  Integer DueDays = 0;
  UnicodeString Iban;
};
VN_RTTI(TInvoicePayment, u"shop") {
  R.Property(u"DueDays", &TInvoicePayment::DueDays, &TInvoicePayment::DueDays);
  R.Property(u"Iban", &TInvoicePayment::Iban, &TInvoicePayment::Iban);
}

// The order owns its payment; the member is declared as the base class, so the walk has to
// write the class the instance really has, and the reader create the class the text names. The
// payment and the book's orders are read-write: the reader stores what it creates through them.
class TOrder : public TPersistent {
  VN_CLASS(TOrder, TPersistent)
 public:
  ~TOrder() override { Free(Payment); }
  Integer Id = 0;
  TDateTime Created;
  TOrderStatus Status = osNew;
  TCustomer Customer;
  TOrderLines Lines;
  UnicodeString Note;
  TPayment *Payment = nullptr;
};
VN_RTTI(TOrder, u"shop") {
  R.Property(u"Id", &TOrder::Id, &TOrder::Id);
  R.Property(u"Created", &TOrder::Created, &TOrder::Created);
  R.Property(u"Status", &TOrder::Status, &TOrder::Status);
  R.Property(u"Customer", &TOrder::Customer, &TOrder::Customer);
  R.Property(u"Lines", &TOrder::Lines, &TOrder::Lines);
  R.Property(u"Note", &TOrder::Note, &TOrder::Note);
  R.Property(u"Payment", &TOrder::Payment, &TOrder::Payment);
}

class TOrderBook : public TPersistent {
  VN_CLASS(TOrderBook, TPersistent)
 public:
  ~TOrderBook() override {
    for (TOrder *o : Orders) Free(o);
  }
  std::vector<TOrder *> Orders;
};
VN_RTTI(TOrderBook, u"shop") {
  R.Property(u"Orders", &TOrderBook::Orders, &TOrderBook::Orders);
}

}  // namespace shop

namespace {

// --- The generator ---------------------------------------------------------------------------

// splitmix64: small, fast and the same on every platform.
class TRandom {
 public:
  explicit TRandom(std::uint64_t ASeed) : FState(ASeed) {}
  std::uint64_t Next() {
    std::uint64_t z = (FState += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  unsigned Below(unsigned AN) { return static_cast<unsigned>(Next() % AN); }
  template <class T, std::size_t N>
  const T &Pick(const T (&AItems)[N]) {
    return AItems[Below(N)];
  }

 private:
  std::uint64_t FState;
};

plain::POrderBook MakeBook(std::size_t ACount) {
  using namespace std::chrono;
  static const char *const cFirst[] = {"Ann",  "Bob",   "Carla", "David",  "Eva",   "Frank",
                                       "Zoë",  "Björn", "José",  "Łukasz", "Søren", "Mei",
                                       "Ines", "Omar",  "Petra", "Quinn"};
  static const char *const cLast[] = {"Smith", "Müller", "Garcia",   "Rossi",  "Novák",   "Jensen",
                                      "Brown", "Dubois", "Kowalski", "Tanaka", "O'Brien", "Weber"};
  static const char *const cMail[] = {"example.com", "mail.test", "shop.invalid", "corp.example"};
  static const char *const cArticle[] = {"Widget",  "Gadget", "Sprocket", "Bracket", "Hinge",
                                         "Bolt M8", "Nut M8", "Cable 2m", "Adapter", "Lamp",
                                         "Chair",   "Table",  "Shelf",    "Drawer",  "Pen"};
  static const char *const cPlainNote[] = {"Deliver before noon", "Gift wrap, please",
                                           "Call on arrival", "Second attempt",
                                           "Leave with the neighbour"};
  static const char *const cEscapedNote[] = {
      R"(Ring twice & leave at the "back door")", "Fragile <glass> & ceramics",
      R"(Customer says: "no <b>bold</b> labels")", "A&B order, 'urgent' & <priority>"};
  static const char *const cUnicodeNote[] = {"Zustellung über Nachbarn", "Café — étage 2",
                                             "配達は午前中"};

  TRandom rnd(20240601);
  plain::POrderBook book;
  book.Orders.resize(ACount);
  for (std::size_t n = 0; n < ACount; ++n) {
    plain::POrder &o = book.Orders[n];
    o.Id = static_cast<std::int32_t>(n + 1);
    const sys_days day = sys_days{year{2023} / January / 1} + days{rnd.Below(730)};
    o.Created.Value = time_point_cast<milliseconds>(day) + milliseconds{rnd.Below(86400000)};
    o.Status = static_cast<plain::POrderStatus>(rnd.Below(4));

    const std::string first = rnd.Pick(cFirst), last = rnd.Pick(cLast);
    o.Customer.Id = 1000000000000ll + rnd.Below(50000);
    o.Customer.Name = first + " " + last;
    o.Customer.Email = "customer" + std::to_string(o.Customer.Id % 100000) + "@" + rnd.Pick(cMail);

    o.Lines.resize(1 + rnd.Below(10));
    for (plain::POrderLine &l : o.Lines) {
      l.Article = std::string(rnd.Pick(cArticle)) + " #" + std::to_string(rnd.Below(1000));
      l.Quantity = static_cast<std::int32_t>(1 + rnd.Below(20));
      l.Price = static_cast<double>(50 + rnd.Below(50000)) / 100.0;
    }

    const unsigned kind = rnd.Below(100);
    if (kind < 30)
      o.Note.clear();
    else if (kind < 65)
      o.Note = rnd.Pick(cPlainNote);
    else if (kind < 90)
      o.Note = rnd.Pick(cEscapedNote);
    else
      o.Note = rnd.Pick(cUnicodeNote);

    if (rnd.Below(2) == 0) {
      auto card = std::make_unique<plain::PCardPayment>();
      card->CardNumber = "4" + std::to_string(100000000000000ull + rnd.Next() % 900000000000000ull);
      card->Expires.Value =
          sys_days{year{2025 + static_cast<int>(rnd.Below(6))} / month{1 + rnd.Below(12)} / 1};
      o.Payment = std::move(card);
    } else {
      auto invoice = std::make_unique<plain::PInvoicePayment>();
      static const std::int32_t cDue[] = {14, 30, 60, 90};
      invoice->DueDays = rnd.Pick(cDue);
      invoice->Iban = "DE" + std::to_string(10 + rnd.Below(90)) +
                      std::to_string(1000000000ull + rnd.Next() % 9000000000ull) +
                      std::to_string(10000000ull + rnd.Next() % 90000000ull);
      o.Payment = std::move(invoice);
    }
  }
  return book;
}

vn::TDateTime ToDateTime(std::chrono::sys_time<std::chrono::milliseconds> AValue) {
  using namespace std::chrono;
  const sys_days day = floor<days>(AValue);
  const year_month_day ymd{day};
  const auto ms = static_cast<unsigned>((AValue - day).count());
  return vn::EncodeDateTime(
      static_cast<vn::Word>(static_cast<int>(ymd.year())),
      static_cast<vn::Word>(static_cast<unsigned>(ymd.month())),
      static_cast<vn::Word>(static_cast<unsigned>(ymd.day())), static_cast<vn::Word>(ms / 3600000),
      static_cast<vn::Word>(ms / 60000 % 60), static_cast<vn::Word>(ms / 1000 % 60),
      static_cast<vn::Word>(ms % 1000));
}

// The same content in the registered classes.
shop::TOrderBook *ToShop(const plain::POrderBook &ABook) {
  using namespace shop;
  TOrderBook *book = New<TOrderBook>();
  book->Orders.reserve(ABook.Orders.size());
  for (const plain::POrder &p : ABook.Orders) {
    TOrder *o = New<TOrder>();
    book->Orders.push_back(o);
    o->Id = p.Id;
    o->Created = ToDateTime(p.Created.Value);
    o->Status = static_cast<TOrderStatus>(static_cast<int>(p.Status));
    o->Customer.Id = p.Customer.Id;
    o->Customer.Name = UTF8ToString(p.Customer.Name);
    o->Customer.Email = UTF8ToString(p.Customer.Email);
    o->Lines.reserve(p.Lines.size());
    for (const plain::POrderLine &l : p.Lines)
      o->Lines.push_back(TOrderLine{UTF8ToString(l.Article), l.Quantity, l.Price});
    o->Note = UTF8ToString(p.Note);
    if (auto *c = dynamic_cast<const plain::PCardPayment *>(p.Payment.get())) {
      TCardPayment *card = New<TCardPayment>();
      card->CardNumber = UTF8ToString(c->CardNumber);
      card->Expires =
          ToDateTime(std::chrono::time_point_cast<std::chrono::milliseconds>(c->Expires.Value));
      o->Payment = card;
    } else if (auto *i = dynamic_cast<const plain::PInvoicePayment *>(p.Payment.get())) {
      TInvoicePayment *invoice = New<TInvoicePayment>();
      invoice->DueDays = i->DueDays;
      invoice->Iban = UTF8ToString(i->Iban);
      o->Payment = invoice;
    }
  }
  return book;
}

const plain::POrderBook &PlainBook() {
  static const plain::POrderBook book = MakeBook(cOrders);
  return book;
}

[[maybe_unused]] shop::TOrderBook *ShopBook() {
  struct THolder {
    shop::TOrderBook *Book = ToShop(PlainBook());
    ~THolder() { vn::Free(Book); }
  };
  static THolder holder;
  return holder.Book;
}

// --- Running ---------------------------------------------------------------------------------

void Dump(const char *AName, std::string_view AText) {
  const char *dir = std::getenv("VNBENCH_SERIALIZE_DUMP");
  if (!dir || !*dir) return;
  std::ofstream(std::string(dir) + "/" + AName, std::ios::binary)
      .write(AText.data(), static_cast<std::streamsize>(AText.size()));
}

// Freed memory stays with the process. By default glibc maps large blocks anew for each run and
// hands them back on free, and on this size of output the page faults of the fresh memory weigh
// as much as the writing; how many a library meets depends on what ran before it in the process
// (a large tree freed earlier leaves heap that is already mapped). So the numbers changed with
// the order of the benchmarks by up to 2.5x. Kept memory makes every library's timed runs reuse
// what its untimed run mapped.
void KeepFreedMemory() {
  static const bool done = [] {
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
    return true;
  }();
  (void)done;
}

// One untimed run first: it makes the data on the first call, dumps the output when asked, and
// maps the memory that the timed runs then reuse. Each timed run writes the whole book into a
// fresh std::string.
template <class Write>
void Run(benchmark::State &AState, const char *ADumpName, Write AWrite) {
  KeepFreedMemory();
  std::size_t size = 0;
  {
    const std::string text = AWrite();
    size = text.size();
    Dump(ADumpName, text);
  }
  for (auto _ : AState) {
    std::string text = AWrite();
    benchmark::DoNotOptimize(text.data());
  }
  AState.SetBytesProcessed(static_cast<std::int64_t>(size) *
                           static_cast<std::int64_t>(AState.iterations()));
  AState.counters["objects"] =
      benchmark::Counter(static_cast<double>(cOrders) * static_cast<double>(AState.iterations()),
                         benchmark::Counter::kIsRate);
  AState.counters["out_MB"] = static_cast<double>(size) / 1e6;
}

// --- The benchmarks --------------------------------------------------------------------------

#if VNBENCH_HAVE_SERIALIZER
void SerializeJSON_vnxml(benchmark::State &state) {
  shop::TOrderBook *book = ShopBook();
  Run(state, "vnxml.json", [book] { return vn::VnSerialize(vn::dsfJSON, vn::TValue(book)); });
}
void SerializeXML_vnxml(benchmark::State &state) {
  shop::TOrderBook *book = ShopBook();
  Run(state, "vnxml.xml", [book] { return vn::VnSerialize(vn::dsfXML, vn::TValue(book)); });
}
BENCHMARK(SerializeJSON_vnxml)->Name("SerializeJSON/vnxml")->Unit(benchmark::kMillisecond);
BENCHMARK(SerializeXML_vnxml)->Name("SerializeXML/vnxml")->Unit(benchmark::kMillisecond);
#endif

template <class Archive>
std::string WriteCereal(const plain::POrderBook &ABook, typename Archive::Options AOptions) {
  std::ostringstream out;
  {
    Archive ar(out, AOptions);
    ar(cereal::make_nvp("orderBook", ABook));
  }  // the XML archive writes its document here
  return std::move(out).str();
}
std::string WriteCerealJSON(const plain::POrderBook &ABook) {
  return WriteCereal<cereal::JSONOutputArchive>(ABook,
                                                cereal::JSONOutputArchive::Options::NoIndent());
}
std::string WriteCerealXML(const plain::POrderBook &ABook) {
  return WriteCereal<cereal::XMLOutputArchive>(ABook,
                                               cereal::XMLOutputArchive::Options().indent(false));
}
std::string WriteNlohmann(const plain::POrderBook &ABook) {
  const nlohmann::json tree = ABook;
  return tree.dump();
}

void SerializeJSON_cereal(benchmark::State &state) {
  const plain::POrderBook &book = PlainBook();
  Run(state, "cereal.json", [&book] { return WriteCerealJSON(book); });
}
void SerializeXML_cereal(benchmark::State &state) {
  const plain::POrderBook &book = PlainBook();
  Run(state, "cereal.xml", [&book] { return WriteCerealXML(book); });
}

void SerializeJSON_nlohmann(benchmark::State &state) {
  const plain::POrderBook &book = PlainBook();
  Run(state, "nlohmann.json", [&book] { return WriteNlohmann(book); });
}

BENCHMARK(SerializeJSON_cereal)->Name("SerializeJSON/cereal")->Unit(benchmark::kMillisecond);
BENCHMARK(SerializeJSON_nlohmann)->Name("SerializeJSON/nlohmann")->Unit(benchmark::kMillisecond);
BENCHMARK(SerializeXML_cereal)->Name("SerializeXML/cereal")->Unit(benchmark::kMillisecond);

// --- Reading ---------------------------------------------------------------------------------

// The text a peer wrote for the book, made once on first use.
template <auto Write>
const std::string &TextOf() {
  static const std::string text = Write(PlainBook());
  return text;
}

// One untimed read first, written again by the same library and compared with the input byte
// for byte: a reader that drops or changes anything fails its benchmark instead of being
// measured. Each timed run reads the whole text into a new book, which is freed with the clock
// stopped (freeing is no part of reading).
template <class Read, class Write>
void RunRead(benchmark::State &AState, const std::string &AText, Read ARead, Write AWrite) {
  KeepFreedMemory();
  try {
    if (AWrite(ARead(AText)) != AText) {
      AState.SkipWithError("the book read back does not write the text it was read from");
      return;
    }
  } catch (const std::exception &e) {
    AState.SkipWithError(e.what());
    return;
  }
  for (auto _ : AState) {
    {
      auto book = ARead(AText);
      benchmark::DoNotOptimize(book);
      AState.PauseTiming();
    }
    AState.ResumeTiming();
  }
  AState.SetBytesProcessed(static_cast<std::int64_t>(AText.size()) *
                           static_cast<std::int64_t>(AState.iterations()));
  AState.counters["objects"] =
      benchmark::Counter(static_cast<double>(cOrders) * static_cast<double>(AState.iterations()),
                         benchmark::Counter::kIsRate);
  AState.counters["in_MB"] = static_cast<double>(AText.size()) / 1e6;
}

#if VNBENCH_HAVE_SERIALIZER
struct TFreeBook {
  void operator()(shop::TOrderBook *ABook) const { vn::Free(ABook); }
};
using TShopBookPtr = std::unique_ptr<shop::TOrderBook, TFreeBook>;

// Into a new, empty book; the orders and payments it creates belong to the book.
template <vn::TVnDataSerializationFormatType Format>
TShopBookPtr ReadVn(const std::string &AText) {
  TShopBookPtr book(vn::New<shop::TOrderBook>());
  vn::VnDeserialize(Format, vn::TValue(book.get()), AText, nullptr);
  return book;
}
template <vn::TVnDataSerializationFormatType Format>
std::string WriteVn(const TShopBookPtr &ABook) {
  return vn::VnSerialize(Format, vn::TValue(ABook.get()));
}
template <vn::TVnDataSerializationFormatType Format>
const std::string &VnText() {
  static const std::string text = vn::VnSerialize(Format, vn::TValue(ShopBook()));
  return text;
}

void DeserializeJSON_vnxml(benchmark::State &state) {
  RunRead(state, VnText<vn::dsfJSON>(), ReadVn<vn::dsfJSON>, WriteVn<vn::dsfJSON>);
}
void DeserializeXML_vnxml(benchmark::State &state) {
  RunRead(state, VnText<vn::dsfXML>(), ReadVn<vn::dsfXML>, WriteVn<vn::dsfXML>);
}
BENCHMARK(DeserializeJSON_vnxml)->Name("DeserializeJSON/vnxml")->Unit(benchmark::kMillisecond);
BENCHMARK(DeserializeXML_vnxml)->Name("DeserializeXML/vnxml")->Unit(benchmark::kMillisecond);
#endif

// cereal reads from a std::istream; this one reads the text in place rather than a copy.
class TTextBuf : public std::streambuf {
 public:
  explicit TTextBuf(const std::string &AText) {
    char *p = const_cast<char *>(AText.data());
    setg(p, p, p + AText.size());
  }
};
template <class Archive>
plain::POrderBook ReadCereal(const std::string &AText) {
  TTextBuf buf(AText);
  std::istream in(&buf);
  plain::POrderBook book;
  Archive ar(in);
  ar(cereal::make_nvp("orderBook", book));
  return book;
}

void DeserializeJSON_cereal(benchmark::State &state) {
  RunRead(state, TextOf<WriteCerealJSON>(), ReadCereal<cereal::JSONInputArchive>, WriteCerealJSON);
}
void DeserializeXML_cereal(benchmark::State &state) {
  RunRead(state, TextOf<WriteCerealXML>(), ReadCereal<cereal::XMLInputArchive>, WriteCerealXML);
}

// The tree first, then from_json into the plain structs.
plain::POrderBook ReadNlohmann(const std::string &AText) {
  return nlohmann::json::parse(AText).get<plain::POrderBook>();
}
void DeserializeJSON_nlohmann(benchmark::State &state) {
  RunRead(state, TextOf<WriteNlohmann>(), ReadNlohmann, WriteNlohmann);
}

BENCHMARK(DeserializeJSON_cereal)->Name("DeserializeJSON/cereal")->Unit(benchmark::kMillisecond);
BENCHMARK(DeserializeJSON_nlohmann)
    ->Name("DeserializeJSON/nlohmann")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(DeserializeXML_cereal)->Name("DeserializeXML/cereal")->Unit(benchmark::kMillisecond);

}  // namespace

VNBENCH_MAIN()
