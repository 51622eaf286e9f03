// `qvsv float`: values from the command line and from stdin, exit statuses.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "qv_services/float_formatter.hpp"
#include "tests/support/test_support.hpp"

namespace {

struct ToolRun {
  int status;
  std::string out;
  std::string err;
};

// Runs the tool through the shell; `arguments` are passed as written.
ToolRun RunTool(const qvsv::test::TempDir& dir, const std::string& arguments) {
  const std::string errFile = (dir.path() / "stderr.txt").string();
  const std::string command = std::string(QVSV_TOOL_PATH) + " float " + arguments + " 2>'" + errFile + "'";
  ToolRun run{-1, {}, {}};
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return run;
  char buffer[4096];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) run.out.append(buffer, n);
  const int status = pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  std::ifstream err(errFile);
  std::stringstream text;
  text << err.rdbuf();
  run.err = text.str();
  return run;
}

class FloatTool : public ::testing::Test {
 protected:
  qvsv::test::TempDir dir_;
};

TEST_F(FloatTool, WritesOneLinePerArgumentWithTargetOneByDefault) {
  const ToolRun run = RunTool(dir_, "0.1 1 1e20 -0.0 inf 0x1.8p3");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "0.1\n1.0\n1.0E+20\n-0.0\nInf\n12.0\n");
  EXPECT_EQ(run.err, "");
}

TEST_F(FloatTool, TakesTargetSinglesAndBitPatterns) {
  EXPECT_EQ(RunTool(dir_, "--target 5 --single 0.1 inf").out, "0.1F\nrtInfF\n");
  EXPECT_EQ(RunTool(dir_, "--target=7 --bits 3FF0000000000000 fff0000000000000").out, "+1.0\n-rtInf\n");
  EXPECT_EQ(RunTool(dir_, "--single --bits 0x7f7fffff").out, "3.402823466E+38\n");
  EXPECT_EQ(RunTool(dir_, "-- -1.5").out, "-1.5\n");
}

TEST_F(FloatTool, ReadsStdinLineByLineLikeTheLibraryWrites) {
  std::mt19937_64 rng(5);
  std::ostringstream input;
  std::string expected;
  const QvfrgFltToAscii formatter(QVSV_Flt2Ascii::TARGET_WEFT_CONCISE);
  for (int i = 0; i < 2000; ++i) {
    const double v = std::bit_cast<double>(rng());
    if (!std::isfinite(v)) continue;
    char text[64];
    std::snprintf(text, sizeof text, "%.17g", v);
    input << (i % 3 == 0 ? "  " : "") << text << (i % 5 == 0 ? "\r\n" : "\n") << (i % 7 == 0 ? "\n" : "");
    formatter.writeDoubleFlt(text, v);
    expected += std::string(text) + "\n";
  }
  const auto file = dir_.write("values.txt", input.str());
  const ToolRun run = RunTool(dir_, "--target 5 < '" + file.string() + "'");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, expected);
}

TEST_F(FloatTool, ValueThatDoesNotParseExitsOneWithOneLineNamingIt) {
  const ToolRun run = RunTool(dir_, "1 abc 2");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "1.0\n");
  EXPECT_EQ(run.err, "qvsv float: 'abc' is not a number\n");
  EXPECT_EQ(RunTool(dir_, "1e400").err, "qvsv float: '1e400' is out of range for a double\n");
  EXPECT_EQ(RunTool(dir_, "--single 1e39").status, 1);
  EXPECT_EQ(RunTool(dir_, "--bits 3ff").err, "qvsv float: '3ff' is not a bit pattern of 16 hexadecimal digits\n");
  const auto file = dir_.write("bad.txt", "0.5\n1,5\n");
  const ToolRun fromStdin = RunTool(dir_, "< '" + file.string() + "'");
  EXPECT_EQ(fromStdin.status, 1);
  EXPECT_EQ(fromStdin.out, "0.5\n");
  EXPECT_EQ(fromStdin.err, "qvsv float: '1,5' is not a number\n");
}

TEST_F(FloatTool, BadUsageExitsTwo) {
  EXPECT_EQ(RunTool(dir_, "--target x 1").status, 2);
  EXPECT_EQ(RunTool(dir_, "--precision 3 1").status, 2);
  EXPECT_EQ(RunTool(dir_, "--target").status, 2);
}

}  // namespace
