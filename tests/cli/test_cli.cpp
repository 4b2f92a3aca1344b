#include <gtest/gtest.h>

#include "cli/run_tool.h"

using namespace cli_test;

TEST(CliHelp, TopLevel) {
  TRun r = RunTool({"--help"});
  EXPECT_EQ(r.Exit, 0);
}
