// The date, time and duration functions through filters on documents: their order in the
// registry, counts and messages, the parts they read from lexical forms, and the zones they
// take from the machine's rules, under UTC and Europe/Berlin and across its clock changes.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "xpath_util.h"

namespace xpathtest {
namespace {

// Sets TZ (and tzset) for the life of the object, then puts back what was there.
class TZoneGuard {
 public:
  explicit TZoneGuard(const char *AZone) {
    if (const char *old = std::getenv("TZ")) FOld = old;
    setenv("TZ", AZone, 1);
    tzset();
  }
  ~TZoneGuard() {
    if (FOld)
      setenv("TZ", FOld->c_str(), 1);
    else
      unsetenv("TZ");
    tzset();
  }

 private:
  std::optional<std::string> FOld;
};

const char16_t *cEvents =
    u"<events>"
    u"<ev id=\"1\" at=\"2021-03-28T01:30:00Z\" len=\"PT1H30M\"/>"
    u"<ev id=\"2\" at=\"2021-10-31T02:30:00+02:00\" len=\"-P1DT12H\"/>"
    u"<ev id=\"3\" at=\"1999-12-31\" len=\"P2Y\" d=\"2020-01-02+02:00\" t=\"08:30:00\"/>"
    u"</events>";

class DateFunctions : public ::testing::Test {
 protected:
  void SetUp() override { FDoc = Load(cEvents); }
  std::string Sel(const UnicodeString &APath) { return Selected(FDoc->GetRootNode(), APath); }
  // The value of a term on the first event, as "Type:text".
  std::string Value(const UnicodeString &ATerm) {
    NodeList events(FDoc->GetRootNode()->CreateNodeList(u"ev", {}));
    return Typed(Eval(events->GetItem(0), ATerm));
  }
  Doc FDoc;
};

// What does not depend on the zone gives the same under each.
class DateFunctionsInZone : public DateFunctions,
                            public ::testing::WithParamInterface<const char *> {
 protected:
  void SetUp() override {
    FZone.emplace(GetParam());
    DateFunctions::SetUp();
  }
  void TearDown() override { FZone.reset(); }
  std::optional<TZoneGuard> FZone;
};

INSTANTIATE_TEST_SUITE_P(Zones, DateFunctionsInZone, ::testing::Values("UTC", "Europe/Berlin"));

TEST(DateFunctionRegistry, TheDateFamilyFollowsNotInItsOrder) {
  std::vector<std::string> all;
  RegisterStandardXPathFunctions([&](const UnicodeString &AName, TVnXPathFunctionClass AClass) {
    all.push_back(UTF8Encode(AName) + "=" + UTF8Encode(AClass->FClass->ClassName()));
  });
  const std::vector<std::string> expected = {
      "years-from-duration=TVnXPathFnYearsFromDuration",
      "months-from-duration=TVnXPathFnMonthsFromDuration",
      "days-from-duration=TVnXPathFnDaysFromDuration",
      "hours-from-duration=TVnXPathFnHoursFromDuration",
      "minutes-from-duration=TVnXPathFnMinutesFromDuration",
      "seconds-from-duration=TVnXPathFnSecondsFromDuration",
      "dateTime=TVnXPathFnDateTime",
      "year-from-dateTime=TVnXPathFnYearFromDateTime",
      "month-from-dateTime=TVnXPathFnMonthFromDateTime",
      "day-from-dateTime=TVnXPathFnDayFromDateTime",
      "hours-from-dateTime=TVnXPathFnHoursFromDateTime",
      "minutes-from-dateTime=TVnXPathFnMinutesFromDateTime",
      "seconds-from-dateTime=TVnXPathFnSecondsFromDateTime",
      "timezone-from-dateTime=TVnXPathFnTimeZoneFromDateTime",
      "year-from-date=TVnXPathFnYearFromDate",
      "month-from-date=TVnXPathFnMonthFromDate",
      "day-from-date=TVnXPathFnDayFromDate",
      "timezone-from-date=TVnXPathFnTimeZoneFromDate",
      "hours-from-time=TVnXPathFnHoursFromTime",
      "minutes-from-time=TVnXPathFnMinutesFromTime",
      "seconds-from-time=TVnXPathFnSecondsFromTime",
      "timezone-from-time=TVnXPathFnTimeZoneFromTime",
      "adjust-dateTime-to-timezone=TVnXPathFnAdjustDateTimeToTimeZone",
      "adjust-date-to-timezone=TVnXPathFnAdjustDateToTimeZone",
      "adjust-time-to-timezone=TVnXPathFnAdjustTimeToTimeZone",
  };
  ASSERT_GT(all.size(), expected.size());
  const auto notAt = std::find(all.begin(), all.end(), "not=TVnXPathFnNot");
  ASSERT_NE(notAt, all.end());
  EXPECT_EQ(std::vector<std::string>(notAt + 1, all.end()), expected);
}

struct TCountCase {
  const char16_t *Call;
  const char *Message;
};

const TCountCase cDateCountCases[] = {
    {u"years-from-duration()",
     "The \"fn:years-from-duration(arg)\" function must have 1 parameter!"},
    {u"months-from-duration(a, b)",
     "The \"fn:months-from-duration(arg)\" function must have 1 parameter!"},
    {u"days-from-duration()", "The \"fn:days-from-duration(arg)\" function must have 1 parameter!"},
    {u"hours-from-duration(a, b)",
     "The \"fn:hours-from-duration(arg)\" function must have 1 parameter!"},
    {u"minutes-from-duration()",
     "The \"fn:minutes-from-duration(arg)\" function must have 1 parameter!"},
    {u"seconds-from-duration(a, b)",
     "The \"fn:seconds-from-duration(arg)\" function must have 1 parameter!"},
    {u"dateTime(a)", "The \"fn:dateTime(date, time)\" function must have 2 parameters!"},
    {u"dateTime(a, b, c)", "The \"fn:dateTime(date, time)\" function must have 2 parameters!"},
    {u"year-from-dateTime()",
     "The \"fn:year-from-dateTime(dateTime)\" function must have 1 parameter!"},
    {u"month-from-dateTime(a, b)",
     "The \"fn:month-from-dateTime(dateTime)\" function must have 1 parameter!"},
    {u"day-from-dateTime()",
     "The \"fn:day-from-dateTime(dateTime)\" function must have 1 parameter!"},
    {u"hours-from-dateTime(a, b)",
     "The \"fn:hours-from-dateTime(dateTime)\" function must have 1 parameter!"},
    {u"minutes-from-dateTime()",
     "The \"fn:minutes-from-dateTime(dateTime)\" function must have 1 parameter!"},
    {u"seconds-from-dateTime(a, b)",
     "The \"fn:seconds-from-dateTime(dateTime)\" function must have 1 parameter!"},
    {u"timezone-from-dateTime()",
     "The \"fn:timezone-from-dateTime(dateTime)\" function must have 1 parameter!"},
    {u"year-from-date(a, b)", "The \"fn:year-from-date(date)\" function must have 1 parameter!"},
    {u"month-from-date()", "The \"fn:month-from-date(date)\" function must have 1 parameter!"},
    {u"day-from-date(a, b)", "The \"fn:day-from-date(date)\" function must have 1 parameter!"},
    {u"timezone-from-date()",
     "The \"fn:timezone-from-date(date)\" function must have 1 parameter!"},
    {u"hours-from-time(a, b)", "The \"fn:hours-from-time(time)\" function must have 1 parameter!"},
    {u"minutes-from-time()", "The \"fn:minutes-from-time(time)\" function must have 1 parameter!"},
    {u"seconds-from-time(a, b)",
     "The \"fn:seconds-from-time(time)\" function must have 1 parameter!"},
    {u"timezone-from-time()",
     "The \"fn:timezone-from-time(time)\" function must have 1 parameter!"},
    {u"adjust-dateTime-to-timezone(a, b, c)",
     "The \"fn:adjust-dateTime-to-timezone(dt,timezone)\" function may not have more than 2 "
     "parameters!"},
};

TEST_F(DateFunctions, AWrongCountRaisesItsMessageAtTheFirstCandidate) {
  for (const TCountCase &c : cDateCountCases) {
    const UnicodeString path = UnicodeString(u"ev[") + c.Call + u"]";
    EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Sel(path); }), c.Message) << UTF8Encode(path);
    EXPECT_EQ(Sel(UnicodeString(u"none[") + c.Call + u"]"), "") << UTF8Encode(path);
  }
  // Without any parameter the first one is missing from the list.
  EXPECT_THROW(Sel(u"ev[adjust-dateTime-to-timezone()]"), EListError);
}

TEST_F(DateFunctions, AdjustingADateOrATimeDoesNothing) {
  EXPECT_EQ(Value(u"adjust-date-to-timezone(\"2020-01-01Z\", \"PT1H\")"), "Empty:");
  EXPECT_EQ(Value(u"adjust-time-to-timezone()"), "Empty:");
  // Its parameters are never evaluated; Empty makes a predicate false alone and equals "".
  EXPECT_EQ(Sel(u"ev[adjust-date-to-timezone(error())]"), "");
  EXPECT_EQ(Sel(u"ev[adjust-time-to-timezone(1, 2, 3)=\"\"]"), "ev#1 ev#2 ev#3");
}

TEST_P(DateFunctionsInZone, DurationPartsAreSignedAndMonthsAndSecondsAreTotals) {
  EXPECT_EQ(Value(u"years-from-duration(\"P3Y14M\")"), "Integer:4");
  EXPECT_EQ(Value(u"years-from-duration(\"-P1Y11M\")"), "Integer:-1");
  EXPECT_EQ(Value(u"months-from-duration(\"P1Y2M\")"), "Integer:14");
  EXPECT_EQ(Value(u"days-from-duration(\"-P1DT12H\")"), "Int64:-1");
  EXPECT_EQ(Value(u"hours-from-duration(\"-P1DT12H\")"), "Int64:-12");
  EXPECT_EQ(Value(u"minutes-from-duration(\"PT90M\")"), "Int64:30");
  EXPECT_EQ(Value(u"minutes-from-duration(\"P2DT3H4M5.9S\")"), "Int64:4");
  EXPECT_EQ(Value(u"seconds-from-duration(\"PT1M\")"), "Double:60");
  EXPECT_EQ(Value(u"seconds-from-duration(\"-PT1M30S\")"), "Double:-90");
  // The reader's fraction: ".25" is 2500 milliseconds.
  EXPECT_EQ(Value(u"seconds-from-duration(\"PT1.25S\")"), "Double:3.5");
  // Components in any order; an empty sequence is Null, a sequence of one its item.
  EXPECT_EQ(Value(u"years-from-duration(\"P1D2Y\")"), "Integer:2");
  EXPECT_EQ(Value(u"days-from-duration(())"), "Null:");
  EXPECT_EQ(Value(u"days-from-duration((\"P2D\"))"), "Int64:2");
  EXPECT_EQ(Sel(u"ev[minutes-from-duration(@len)=30]"), "ev#1");
  EXPECT_EQ(Sel(u"ev[days-from-duration(@len)<0]"), "ev#2");
  EXPECT_EQ(Sel(u"ev[years-from-duration(@len)=2]"), "ev#3");
}

TEST_F(DateFunctions, ATextThatIsNoDurationRaisesFORG0006) {
  EXPECT_EQ(XPathErrorOf([&] { Value(u"years-from-duration(\"1Y\")"); }),
            "FORG0006|An invalid parameter was passed to fn:years-from-duration(arg)|");
  EXPECT_EQ(XPathErrorOf([&] { Value(u"months-from-duration(\"P1X\")"); }),
            "FORG0006|An invalid parameter was passed to fn:months-from-duration(arg)|");
  EXPECT_EQ(XPathErrorOf([&] { Value(u"days-from-duration(\"\")"); }),
            "FORG0006|An invalid parameter was passed to fn:days-from-duration(arg)|");
  EXPECT_EQ(XPathErrorOf([&] { Value(u"hours-from-duration(\"PT\")"); }),
            "FORG0006|An invalid parameter was passed to fn:hours-from-duration(arg)|");
  EXPECT_EQ(XPathErrorOf([&] { Value(u"minutes-from-duration(\"-\")"); }),
            "FORG0006|An invalid parameter was passed to fn:minutes-from-duration(arg)|");
  // A path that selects nothing has the empty text.
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"ev[seconds-from-duration(@none)=0]"); }),
            "FORG0006|An invalid parameter was passed to fn:seconds-from-duration(arg)|");
}

TEST_P(DateFunctionsInZone, FieldsAreReadAsWrittenWhateverTheZone) {
  EXPECT_EQ(Value(u"year-from-dateTime(\"-0044-03-15T00:00:00\")"), "Integer:-44");
  EXPECT_EQ(Value(u"year-from-date(\"2020-05-06\")"), "Smallint:2020");
  EXPECT_EQ(Value(u"month-from-date(\"2020-05-06\")"), "Smallint:5");
  EXPECT_EQ(Value(u"day-from-date(\"2020-05-06\")"), "Smallint:6");
  // One decoder for all three forms; a field the text lacks is 0, and ranges are not checked.
  EXPECT_EQ(Value(u"year-from-date(\"2020-05-06T07:08:09\")"), "Smallint:2020");
  EXPECT_EQ(Value(u"hours-from-time(\"2020-05-06\")"), "Smallint:0");
  EXPECT_EQ(Value(u"day-from-dateTime(\"2021-02-30T00:00:00\")"), "Smallint:30");
  // The zone does not move the time.
  EXPECT_EQ(Value(u"hours-from-dateTime(\"2020-05-06T23:08:09.25+02:00\")"), "Smallint:23");
  EXPECT_EQ(Value(u"minutes-from-dateTime(\"2020-05-06T23:08:09.25Z\")"), "Smallint:8");
  EXPECT_EQ(Value(u"seconds-from-dateTime(\"2020-05-06T23:08:09.25Z\")"), "Double:9.25");
  EXPECT_EQ(Value(u"hours-from-time(\"23:59:58.5Z\")"), "Smallint:23");
  EXPECT_EQ(Value(u"seconds-from-time(\"10:20:30\")"), "Double:30");
  EXPECT_EQ(Sel(u"ev[month-from-dateTime(@at)=10]"), "ev#2");
  EXPECT_EQ(Sel(u"ev[year-from-date(@at)<2000]"), "ev#3");
  EXPECT_EQ(Sel(u"ev[hours-from-time(@at)=2]"), "ev#2");
}

TEST_F(DateFunctions, FieldsOfNullOrOfBadTextRaiseTheirConversionErrors) {
  EXPECT_THROW(Sel(u"ev[year-from-date(@none)=1]"), EVariantTypeCastError);
  EXPECT_EQ(MessageOf<EConvertError>([&] { Value(u"month-from-date(\"2020-5-6\")"); }),
            "'2020-5-6' is not a valid ISO 8601 date and time");
  EXPECT_EQ(MessageOf<EConvertError>([&] { Value(u"timezone-from-time(\"10:00\")"); }),
            "'10:00' is not a valid ISO 8601 date and time");
}

TEST_P(DateFunctionsInZone, AnOffsetGivesItsDurationAndNoZoneNull) {
  EXPECT_EQ(Value(u"timezone-from-dateTime(\"2020-01-01T00:00:00\")"), "Null:");
  EXPECT_EQ(Value(u"timezone-from-dateTime(\"2020-01-01T00:00:00+02:00\")"), "UnicodeString:PT2H");
  EXPECT_EQ(Value(u"timezone-from-dateTime(\"2020-07-01T00:00:00-05:30\")"),
            "UnicodeString:-PT5H30M");
  EXPECT_EQ(Value(u"timezone-from-date(\"2020-01-01+00:00\")"), "UnicodeString:P0Y");
  EXPECT_EQ(Value(u"timezone-from-time(\"10:00:00+14:00\")"), "UnicodeString:PT14H");
  EXPECT_EQ(Sel(u"ev[timezone-from-dateTime(@at)=\"PT2H\"]"), "ev#2");
}

// The clocks of 2021 in Berlin went forward at 02:00 on 28 March and back at 03:00 on
// 31 October. A "Z" value is taken as local time for the offset in force.
TEST_F(DateFunctions, UTCGivesTheLocalOffsetOfItsMomentAcrossClockChanges) {
  {
    TZoneGuard zone("Europe/Berlin");
    EXPECT_EQ(Value(u"timezone-from-dateTime(\"2021-01-15T12:00:00Z\")"), "UnicodeString:PT1H");
    EXPECT_EQ(Value(u"timezone-from-dateTime(\"2021-07-15T12:00:00Z\")"), "UnicodeString:PT2H");
    EXPECT_EQ(Value(u"timezone-from-dateTime(\"2021-03-28T01:59:59Z\")"), "UnicodeString:PT1H");
    EXPECT_EQ(Value(u"timezone-from-dateTime(\"2021-03-28T03:00:00Z\")"), "UnicodeString:PT2H");
    EXPECT_EQ(Value(u"timezone-from-dateTime(\"2021-10-31T01:59:00Z\")"), "UnicodeString:PT2H");
    EXPECT_EQ(Value(u"timezone-from-dateTime(\"2021-10-31T03:00:00Z\")"), "UnicodeString:PT1H");
    // Hours that are skipped or repeated take standard time.
    EXPECT_EQ(Value(u"timezone-from-dateTime(\"2021-03-28T02:30:00Z\")"), "UnicodeString:PT1H");
    EXPECT_EQ(Value(u"timezone-from-dateTime(\"2021-10-31T02:30:00Z\")"), "UnicodeString:PT1H");
    EXPECT_EQ(Value(u"timezone-from-date(\"2021-07-15Z\")"), "UnicodeString:PT2H");
    // A time alone stands on 1899-12-30, in winter.
    EXPECT_EQ(Value(u"timezone-from-time(\"12:00:00Z\")"), "UnicodeString:PT1H");
    EXPECT_EQ(Sel(u"ev[timezone-from-dateTime(@at)=\"PT1H\"]"), "ev#1");
  }
  {
    TZoneGuard zone("UTC");
    EXPECT_EQ(Value(u"timezone-from-dateTime(\"2021-07-15T12:00:00Z\")"), "UnicodeString:P0Y");
    EXPECT_EQ(Value(u"timezone-from-time(\"12:00:00Z\")"), "UnicodeString:P0Y");
    EXPECT_EQ(Sel(u"ev[timezone-from-dateTime(@at)=\"P0Y\"]"), "ev#1");
  }
  {
    TZoneGuard zone("America/New_York");
    EXPECT_EQ(Value(u"timezone-from-date(\"2021-01-15Z\")"), "UnicodeString:-PT5H");
  }
}

TEST_P(DateFunctionsInZone, DateTimeJoinsADayAndATimeWithOneZone) {
  EXPECT_EQ(Value(u"dateTime(\"2020-01-01\", \"10:00:00Z\")"),
            "UnicodeString:2020-01-01T10:00:00.000Z");
  EXPECT_EQ(Value(u"dateTime(\"2020-01-01\", \"10:00:00\")"),
            "UnicodeString:2020-01-01T10:00:00.000");
  EXPECT_EQ(Value(u"dateTime(\"2020-01-01+02:00\", \"10:00:00.5\")"),
            "UnicodeString:2020-01-01T10:00:00.500+02:00");
  EXPECT_EQ(Value(u"dateTime(\"2020-01-01-03:30\", \"23:59:59\")"),
            "UnicodeString:2020-01-01T23:59:59.000-03:30");
  // Two offsets are not compared: the time's wins.
  EXPECT_EQ(Value(u"dateTime(\"2020-01-01+02:00\", \"10:00:00-05:00\")"),
            "UnicodeString:2020-01-01T10:00:00.000-05:00");
  // Only the date of the one and the time of the other count.
  EXPECT_EQ(Value(u"dateTime(\"2020-01-01T05:00:00\", \"1999-09-09T08:00:00\")"),
            "UnicodeString:2020-01-01T08:00:00.000");
  // A leading "-" negates the value: 2020-01-01 10:00 mirrored before 1899-12-30.
  EXPECT_EQ(Value(u"dateTime(\"-2020-01-01\", \"10:00:00\")"),
            "UnicodeString:1779-12-28T10:00:00.000");
  // Candidates without a date are left out first: a Null parameter raises.
  EXPECT_EQ(Sel(u"ev[@d][dateTime(@d, @t)=\"2020-01-02T08:30:00.000+02:00\"]"), "ev#3");
}

TEST_F(DateFunctions, DateTimeRefusesZonesOfTwoFormsAndDaysThatDoNotExist) {
  EXPECT_EQ(XPathErrorOf([&] { Value(u"dateTime(\"2020-01-01Z\", \"10:00:00+01:00\")"); }),
            "FORG0008|An invalid parameter was passed to fn:dateTime(arg)|");
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"ev[dateTime(\"2020-01-01+01:00\", \"10:00:00Z\")]"); }),
            "FORG0008|An invalid parameter was passed to fn:dateTime(arg)|");
  EXPECT_THROW(Value(u"dateTime(\"2020-02-30\", \"10:00:00\")"), EConvertError);
  EXPECT_THROW(Value(u"dateTime(\"2020-01-01\", @none)"), EVariantTypeCastError);
}

TEST_P(DateFunctionsInZone, AdjustingADateTimeChangesOnlyTheZoneText) {
  // Without a zone of its own the text gets the zone appended.
  EXPECT_EQ(Value(u"adjust-dateTime-to-timezone(\"2020-01-01T10:00:00\", \"PT2H\")"),
            "UnicodeString:2020-01-01T10:00:00+02:00");
  EXPECT_EQ(Value(u"adjust-dateTime-to-timezone(\"2020-01-01T10:00:00\", \"-PT5H30M\")"),
            "UnicodeString:2020-01-01T10:00:00-05:30");
  // Whole hours and minutes of the seconds; months do not count.
  EXPECT_EQ(Value(u"adjust-dateTime-to-timezone(\"2020-01-01T10:00:00\", \"P1DT2H30M59S\")"),
            "UnicodeString:2020-01-01T10:00:00+26:30");
  EXPECT_EQ(Value(u"adjust-dateTime-to-timezone(\"2020-01-01T10:00:00\", \"P1M\")"),
            "UnicodeString:2020-01-01T10:00:00+00:00");
  // With a zone of its own it is written anew from its fields, the time unmoved.
  EXPECT_EQ(Value(u"adjust-dateTime-to-timezone(\"2020-01-01T10:00:00Z\", \"PT2H\")"),
            "UnicodeString:2020-01-01T10:00:00.000+02:00");
  EXPECT_EQ(Value(u"adjust-dateTime-to-timezone(\"2020-01-01T10:00:00.5+01:00\", \"\")"),
            "UnicodeString:2020-01-01T10:00:00.500");
  EXPECT_EQ(Value(u"adjust-dateTime-to-timezone(\"10:00:00Z\", \"PT1H\")"),
            "UnicodeString:0000-00-00T10:00:00.000+01:00");
  EXPECT_EQ(Value(u"adjust-dateTime-to-timezone(\"-0044-03-15T00:00:00Z\", \"\")"),
            "UnicodeString:0044-03-15T00:00:00.000");
  // Neither a zone nor one given: the value as it came; an empty value is Null.
  EXPECT_EQ(Value(u"adjust-dateTime-to-timezone(\"2020-01-01T10:00:00\", \"\")"),
            "UnicodeString:2020-01-01T10:00:00");
  EXPECT_EQ(Value(u"adjust-dateTime-to-timezone(\"\", \"PT1H\")"), "Null:");
  EXPECT_EQ(Value(u"adjust-dateTime-to-timezone(@none, \"PT1H\")"), "Null:");
  EXPECT_EQ(Sel(u"ev[adjust-dateTime-to-timezone(@at, \"\")=\"2021-03-28T01:30:00.000\"]"), "ev#1");
  // Errors of the readers pass as they are.
  EXPECT_THROW(Value(u"adjust-dateTime-to-timezone(\"2020-01-01 10:00\", \"PT1H\")"),
               EConvertError);
  EXPECT_EQ(MessageOf<Exception>(
                [&] { Value(u"adjust-dateTime-to-timezone(\"2020-01-01T10:00:00\", \"1H\")"); }),
            "VnXMLToDuration; A duration must start with a \"P\"!");
}

// The machine's offset now, by the C library, as "+hh:mm".
std::string OffsetNow() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  const long minutes = local.tm_gmtoff / 60;
  const long a = minutes < 0 ? -minutes : minutes;
  char buf[48];
  std::snprintf(buf, sizeof buf, "%c%02ld:%02ld", minutes < 0 ? '-' : '+', a / 60, a % 60);
  return buf;
}

TEST_F(DateFunctions, AdjustingWithoutAZoneTakesTheLocalOffsetNow) {
  {
    TZoneGuard zone("UTC");
    EXPECT_EQ(Value(u"adjust-dateTime-to-timezone(\"2020-07-01T10:00:00\")"),
              "UnicodeString:2020-07-01T10:00:00+00:00");
  }
  {
    TZoneGuard zone("Europe/Berlin");
    const std::string offset = OffsetNow();
    EXPECT_TRUE(offset == "+01:00" || offset == "+02:00") << offset;
    EXPECT_EQ(Value(u"adjust-dateTime-to-timezone(\"2020-07-01T10:00:00Z\")"),
              "UnicodeString:2020-07-01T10:00:00.000" + offset);
  }
}

}  // namespace
}  // namespace xpathtest
