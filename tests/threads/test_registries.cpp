// The process-wide registries and tables read from several threads at once: the type registry by
// name and by handle, the collations, the code pages, the value conversions and a shared regular
// expression. What is made on first use (descriptions, the name tables, the collators, the page
// tables) is first asked for by several threads at once, before any test runs.
#include <array>
#include <functional>
#include <utility>

#include "threads_util.h"
#include "vnxml/common/uVnNetEncoding.h"
#include "vnxml/common/uVnTypes.h"
#include "vnxml/xml/uVnXSTypes.h"
#include "vnxml/rtl/Classes.h"
#include "vnxml/rtl/CodePages.h"
#include "vnxml/rtl/DateUtils.h"
#include "vnxml/rtl/RegularExpressions.h"
#include "vnxml/xml/uVnXMLDOM.h"
#include "vnxml/xml/uVnXMLUtils.h"

namespace threadtest {

// Types that only the first-use probe touches.
struct TFirstUseRecord {
  Integer A = 0;
  UnicodeString B;
  Double C = 0;
};
VN_RTTI(TFirstUseRecord, u"threadtest") {
  R.Field(u"A", &TFirstUseRecord::A)
      .Field(u"B", &TFirstUseRecord::B)
      .Field(u"C", &TFirstUseRecord::C);
}

enum TFirstUseColour { fucRed, fucGreen, fucBlue };
VN_RTTI(TFirstUseColour, u"threadtest") {
  R.Names({u"fucRed", u"fucGreen", u"fucBlue"});
}

class TFirstUseBase : public TPersistent {
  VN_CLASS(TFirstUseBase, TPersistent)
 public:
  Integer Count = 0;
  UnicodeString GetLabel() const { return u"base"; }
};
VN_RTTI(TFirstUseBase, u"threadtest") {
  R.Field(u"Count", &TFirstUseBase::Count);
  R.Property(u"Label", &TFirstUseBase::GetLabel, nullptr);
}

class TFirstUseDerived : public TFirstUseBase {
  VN_CLASS(TFirstUseDerived, TFirstUseBase)
 public:
  TFirstUseColour Colour = fucGreen;
};
VN_RTTI(TFirstUseDerived, u"threadtest") {
  R.Field(u"Colour", &TFirstUseDerived::Colour);
}

// A class that nothing registers: its class reference and description are made on first use.
class TFirstUseUnregistered : public TPersistent {
  VN_CLASS(TFirstUseUnregistered, TPersistent)
};

// A type that only the shared probe uses.
struct TSharedPoint {
  Integer X = 0, Y = 0;
};
VN_RTTI(TSharedPoint, u"threadtest") {
  R.Field(u"X", &TSharedPoint::X).Field(u"Y", &TSharedPoint::Y);
}

namespace {

void LogType(TLog &ALog, const TVnTypeInfo *AInfo) {
  if (!AInfo) {
    ALog << "nil\n";
    return;
  }
  ALog << static_cast<const void *>(AInfo) << " " << AInfo->Name << " " << AInfo->QualifiedName
       << " " << Integer(AInfo->Kind) << " " << AInfo->SchemaName() << " "
       << Integer(AInfo->GetMainTypeKind()) << " ";
  if (const TVnTypeInfo *e = AInfo->GetElementType())
    ALog << "of " << static_cast<const void *>(e) << " " << e->Name;
  ALog << "\n";
}

// A description with its members, bases included.
void LogDescription(TLog &ALog, const TRttiType *AType) {
  ALog << static_cast<const void *>(AType) << " " << AType->GetQualifiedName() << " "
       << Integer(AType->GetTypeKind());
  for (const TRttiField *f : AType->GetFields())
    ALog << " " << f->GetName() << ":" << f->GetFieldType()->GetName();
  for (const TRttiProperty *p : AType->GetProperties())
    ALog << " " << p->GetName() << ":" << p->GetPropertyType()->GetName();
  ALog << "\n";
}

struct TNameQuery {
  const char16_t *Name;
  TVnTypeNameType Space;
  TVnMainTypeKind Kind;
};

void LogNames(TLog &ALog, std::initializer_list<TNameQuery> AQueries) {
  for (const TNameQuery &q : AQueries) {
    ALog << q.Name << ": ";
    LogType(ALog, TVnTypes::GetTypeInfo(q.Name, q.Space, false, q.Kind));
    ALog << Integer(TVnTypes::GetVarType(q.Name, q.Space, varError)) << "\n";
  }
}

const UnicodeString cPairs[][2] = {
    {u"abc", u"ABC"},
    {u"abc", u"abd"},
    {u"a-b", u"ab"},
    {u"Item", u"item"},
    {u"co-op", u"coop"},
    {u"r\u00e9sum\u00e9", u"resume"},
    {u"\u00c4pfel", u"apfel"},
    {u"Stra\u00dfe", u"STRASSE"},
    {u"\u6f22\u5b57", u"\u6f22"},
    {u"", u"a"},
    {u"Zebra", u"apple"},
    {u"a\u0301", u"\u00e1"},
};

void LogCollations(TLog &ALog) {
  for (TVnXPathCollationClass c :
       {TVnXPathCollationCodepoint::StaticClass(), TVnXPathCollationASCIICI::StaticClass()}) {
    ALog << c->ClassName() << ":";
    for (const auto &p : cPairs) {
      ALog << " " << c->Compare(p[0], p[1]) << "/" << c->Compare(p[1], p[0]) << "/"
           << c->Pos(p[1], p[0]);
    }
    ALog << "\n";
  }
}

const UnicodeString cText =
    u"Caf\u00e9 \u00fcber \u0416\u0443\u043a \u6f22\u5b57 \u20ac5 \U0001F600";

void LogCodePages(TLog &ALog, std::initializer_list<Word> APages,
                  std::initializer_list<const char16_t *> ANames) {
  for (Word page : APages) {
    ALog << Integer(page) << " " << IsValidCodePage(page) << IsSingleByteCodePage(page) << " "
         << CodePageIANAName(page) << " ";
    const RawByteString bytes = UnicodeToCodePage(cText, page);
    ALog << bytes << " " << CodePageToUnicode(bytes.data(), bytes.size(), page) << " ";
    const std::array<char16_t, 256> &table = CodePageByteTable(page);
    for (int b = 0x80; b < 0x100; b += 9)
      ALog << Integer(table[static_cast<std::size_t>(b)]) << ",";
    ALog << " " << TVnEncoding::ConvertA(AnsiString("\xC0\xE9\xFF", page)) << "\n";
  }
  for (const char16_t *name : ANames) {
    ALog << name << " " << Integer(CodePageFromName(name)) << " ";
    try {
      ALog << Integer(VnCodePage(UnicodeStringView(name)));
    } catch (...) {
      ALog << FailureText();
    }
    ALog << "\n";
  }
}

void LogConversions(TLog &ALog) {
  ALog << VnXMLToDate(u"2024-02-29").Val << " "
       << VnXMLToDateTime(u"2024-02-29T12:34:56.789+02:00", tzfUTC).Val << " "
       << VnXMLToDateTime(u"1999-12-31T23:59:59Z", tzfOffset).Val << " "
       << VnXMLToTime(u"08:15:00.5").Val << "\n";
  const TDateTime when = EncodeDateTime(2021, 7, 4, 16, 5, 9, 123);
  ALog << VnDateTimeToXML(when) << " " << VnDateToXML(when) << " " << VnTimeToXML(when, tzfUTC)
       << " " << VnDateTimeToXML(when, xdtfTimezone) << "\n";
  ALog << VnStrToXML(u"<a & 'b' \"c\"> \u00e9") << " " << VnStrToXML(u"'q'", false, true) << "\n";
  ALog << VnXMLToStr(u"&lt;&eacute;&#x20AC;&amp;&#233;&hearts;&apos;&nbsp;x") << "\n";
  ALog << VnXMLToDouble(u"1.5E3") << " " << VnDoubleToXML(0.1) << " " << VnExtToXML(-2.5e-7) << " "
       << VnXMLToBool(u"true") << VnXMLToBool(u"0") << " " << VnXMLToInt64(u"-9000000000") << " "
       << VnIntToXML(-42) << "\n";
  try {
    VnXMLToDateTime(u"2024-13-45T99:00:00");
  } catch (...) {
    ALog << FailureText() << "\n";
  }
  const std::string raw = "binary \x01\x02\xFF data that is longer than one line of base64 text ..";
  const RawByteString b64 = TVnNetEncoding::Base64().Encode(raw.data(), raw.size());
  ALog << b64 << " " << (TVnNetEncoding::Base64().Decode(b64) == raw) << " "
       << TVnNetEncoding::Hex().Encode(raw.data(), 8) << "\n";
  ALog << FloatToStr(1.0 / 3.0) << " " << Format(u"%d|%5.2f|%s|%x", {42, 3.14159, u"text", 255})
       << "\n";
  TXsDateTime xs;
  xs.FromString(u"2020-01-02T03:04:05.5Z");
  TXsInt xi;
  xi.FromString(u"-17");
  ALog << xs.ToString(true) << " " << xi.ToString() << "\n";
}

void LogRegEx(TLog &ALog, const TRegEx &ARegEx) {
  const UnicodeString input = u"ann@example.com, bob@test.org;  \u00e9ve@caf\u00e9.com, x@y.net";
  for (const TMatch &m : ARegEx.Matches(input)) {
    ALog << m.Index() << ":" << m.Value() << "=" << m.Groups()[1].Value() << "+"
         << m.Groups()[2].Value() << " ";
  }
  ALog << ARegEx.Replace(input, u"<$2 at $1>") << "\n";
  for (const UnicodeString &s : TRegEx::Split(input, u"[,;] *")) ALog << "[" << s << "]";
  ALog << TRegEx::IsMatch(input, u"(?i)BOB") << "\n";
}

// --- first use

// Records, descriptions and virtual arrays of many types of one shape, each made on first use:
// threads that run through them side by side keep meeting at a type that nobody has asked for
// yet.
template <std::size_t... N>
void LogManyFirstUses(TLog &ALog, std::index_sequence<N...>) {
  (LogType(ALog, TVnTypes::GetTypeInfo(TypeInfo<std::array<TFirstUseRecord, N + 1>>())
                     ->VirtualType(sdtArray)),
   ...);
}

// Everything that is made on first use, asked for as a client would.
std::string FirstUseProbe() {
  TLog log;
  // The name tables are built at the first lookup by name.
  LogNames(log, {{u"TFirstUseRecord", tntName, mtkUnknown},
                 {u"threadtest.TFirstUseDerived", tntQualifiedName, mtkUnknown},
                 {u"TFirstUseColour", tntSchemaName, mtkUnknown},
                 {u"ArrayOfTFirstUseRecord", tntSchemaName, mtkArray},
                 {u"ArrayOfArrayOfTFirstUseColour", tntSchemaName, mtkArray}});
  // Records of the registry, descriptions and member lists made on first use.
  LogManyFirstUses(log, std::make_index_sequence<48>());
  LogType(log, TVnTypes::GetTypeInfo(TypeInfo<std::vector<TFirstUseRecord>>()));
  LogType(log, TVnTypes::GetTypeInfo(TypeInfo<std::array<TFirstUseColour, 3>>()));
  LogType(log, TVnTypes::GetTypeInfo(TypeInfo<Set<TFirstUseColour, fucRed, fucBlue>>()));
  LogType(log, TVnTypes::GetTypeInfo(TFirstUseUnregistered::StaticClass()));
  LogType(log, TVnTypes::Of<TFirstUseDerived>()->VirtualType(sdtArray));
  LogDescription(log, TypeInfo<TFirstUseDerived>()->RttiType());
  LogDescription(log, TypeInfo<TFirstUseRecord>()->RttiType());
  LogDescription(log, TypeInfo<std::function<void(TFirstUseRecord)>>()->RttiType());
  log << TFirstUseDerived::StaticClass()->ClassName() << " "
      << TFirstUseUnregistered::StaticClass()->ClassParent()->ClassName() << "\n";
  // The collators, the code-page name table and byte tables, the entity table, the number
  // settings and the encodings.
  LogCollations(log);
  LogCodePages(log, {1251, 866}, {u"latin1", u"KOI8-R", u"csShiftJIS"});
  LogConversions(log);
  return log.Text();
}

// Threads of the first-use race. What is made on first use is made once per process, so the
// race has one chance per run: many threads make it likely that two of them, running at the
// same moment, meet at something nobody has asked for yet.
constexpr int cFirstUseThreads = 16;

// The first-use probe on every thread at once, before the first test.
class TFirstUseRace : public ::testing::Environment {
 public:
  static std::vector<std::string> &Results() {
    static std::vector<std::string> r;
    return r;
  }
  void SetUp() override {
    Results() = OnThreads<std::string>(cFirstUseThreads, [](int) {
      try {
        return FirstUseProbe();
      } catch (...) {
        return FailureText();
      }
    });
  }
};

[[maybe_unused]] ::testing::Environment *const gFirstUseRace =
    ::testing::AddGlobalTestEnvironment(new TFirstUseRace);

TEST(Registries, FirstUseRacedFromSeveralThreads) {
  ASSERT_EQ(TFirstUseRace::Results().size(), std::size_t(cFirstUseThreads));
  // Each thread saw what one thread sees now, the same records (by address) included.
  const std::string expected = FirstUseProbe();
  ExpectAllEqual(TFirstUseRace::Results(), expected);
  // The descriptions are whole: the members of a class with those of its base, nested virtual
  // arrays.
  EXPECT_NE(expected.find("threadtest.TFirstUseRecord 14 A:Integer B:string C:Double"),
            std::string::npos);
  EXPECT_NE(expected.find("Colour:TFirstUseColour Count:Integer Label:string"), std::string::npos);
  EXPECT_NE(expected.find("TArray<TArray<threadtest.TFirstUseColour>>"), std::string::npos);
}

// --- shared reading

std::string SharedProbe(const TRegEx &ARegEx) {
  TLog log;
  LogNames(log, {{u"Integer", tntName, mtkUnknown},
                 {u"integer", tntName, mtkUnknown},
                 {u"System.string", tntQualifiedName, mtkUnknown},
                 {u"int", tntSchemaName, mtkUnknown},
                 {u"dateTime", tntSchemaName, mtkUnknown},
                 {u"StringList", tntName, mtkUnknown},
                 {u"TStringList", tntName, mtkComplex},
                 {u"TVnTypeKind", tntName, mtkUnknown},
                 {u"TXsInt", tntName, mtkUnknown},
                 {u"base64Binary", tntSchemaName, mtkUnknown},
                 {u"TSharedPoint", tntName, mtkUnknown},
                 {u"ArrayOfInt", tntSchemaName, mtkArray},
                 {u"ArrayOfArrayOfString", tntSchemaName, mtkArray},
                 {u"NoSuchType", tntName, mtkUnknown}});
  try {
    TVnTypes::GetTypeInfo(u"NoSuchType", tntName, true, mtkUnknown);
  } catch (...) {
    log << FailureText() << "\n";
  }
  for (PTypeInfo h :
       {TypeInfo<Integer>(), TypeInfo<Int64>(), TypeInfo<UnicodeString>(), TypeInfo<Double>(),
        TypeInfo<TDateTime>(), TypeInfo<bool>(), TypeInfo<Variant>(), TypeInfo<TStringList>(),
        TypeInfo<TSharedPoint>(), TypeInfo<std::vector<Integer>>(), TypeInfo<TXsDateTime>()}) {
    LogType(log, TVnTypes::GetTypeInfo(h));
    LogDescription(log, h->RttiType());
  }
  LogType(log, TVnTypes::VarTypeInfo(Variant(3.5)));
  LogCollations(log);
  LogCodePages(log, {1252, 28591, 28595, 932, 936, 65001},
               {u"utf-8", u"ISO-8859-1", u"windows-1251", u"Shift_JIS", u"cp866", u"bogus"});
  LogConversions(log);
  LogRegEx(log, ARegEx);
  return log.Text();
}

TEST(Registries, SharedReadOnlyBySeveralThreads) {
  // One expression object serves every thread.
  const TRegEx regex(u"([\\w\u00e9]+)@([\\w\u00e9]+)\\.(com|org)");
  const std::string expected = SharedProbe(regex);
  // The probe did find what it asked for.
  for (const char *part : {"integer: ", "System.Integer 7 int", "ArrayOfArrayOfString 6 of",
                           "threadtest.TSharedPoint 14 X:Integer Y:Integer", "cp866 866 866",
                           "&lt;a &amp; &apos;b&apos;", "<example at ann>"})
    EXPECT_NE(expected.find(part), std::string::npos) << part;
  constexpr int cRounds = 8;
  std::vector<std::vector<std::string>> results =
      OnThreads<std::vector<std::string>>(cThreads, [&](int) {
        std::vector<std::string> r;
        for (int i = 0; i < cRounds; ++i) r.push_back(SharedProbe(regex));
        return r;
      });
  for (int t = 0; t < cThreads; ++t) {
    SCOPED_TRACE("thread " + std::to_string(t));
    ExpectAllEqual(results[static_cast<std::size_t>(t)], expected);
  }
}

}  // namespace
}  // namespace threadtest
