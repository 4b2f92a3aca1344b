// A fixture base that runs each test in a fixed time zone (the TZ variable) and puts the
// machine's setting back afterwards, so that local times in expected texts do not depend on
// where the tests run.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

namespace vntest {

class TimeZoneTest : public ::testing::Test {
 protected:
  explicit TimeZoneTest(const char *AZone) : FZone(AZone) {}
  void SetUp() override {
    const char *tz = std::getenv("TZ");
    FHadZone = tz != nullptr;
    if (tz) FOldZone = tz;
    setenv("TZ", FZone, 1);
    tzset();
  }
  void TearDown() override {
    if (FHadZone)
      setenv("TZ", FOldZone.c_str(), 1);
    else
      unsetenv("TZ");
    tzset();
  }

 private:
  const char *FZone;
  bool FHadZone = false;
  std::string FOldZone;
};

}  // namespace vntest
