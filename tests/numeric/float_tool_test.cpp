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

class FloatTool : public ::testing::Test {
 protected:
  // Runs the tool through the shell; `arguments` are passed as written.
  ToolRun run(const std::string& arguments) const {
    const std::string errFile = (dir_.path() / "stderr.txt").string();
    FILE* pipe = popen((std::string(QVSV_TOOL_PATH) + " float " + arguments + " 2>'" + errFile + "'").c_str(), "r");
    ToolRun result{-1, {}, {}};
    if (pipe == nullptr) return result;
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) result.out.append(buffer, n);
    const int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    std::stringstream err;
    err << std::ifstream(errFile).rdbuf();
    result.err = err.str();
    return result;
  }
  qvsv::test::TempDir dir_;
};

TEST_F(FloatTool, WritesOneLinePerArgumentWithTargetOneByDefault) {
  const ToolRun plain = run("0.1 1 1e20 -0.0 inf 0x1.8p3");
  EXPECT_EQ(plain.status, 0);
  EXPECT_EQ(plain.out, "0.1\n1.0\n1.0E+20\n-0.0\nInf\n12.0\n");
  EXPECT_EQ(plain.err, "");
  EXPECT_EQ(run("--target 5 --single 0.1 inf").out, "0.1F\nrtInfF\n");
  EXPECT_EQ(run("--target=7 --bits 3FF0000000000000 fff0000000000000").out, "+1.0\n-rtInf\n");
  EXPECT_EQ(run("--single --bits 0x7f7fffff").out, "3.402823466E+38\n");
  EXPECT_EQ(run("-- -1.5").out, "-1.5\n");
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
  const ToolRun fromStdin = run("--target 5 < '" + dir_.write("values.txt", input.str()).string() + "'");
  EXPECT_EQ(fromStdin.status, 0);
  EXPECT_EQ(fromStdin.out, expected);
}

TEST_F(FloatTool, BadValueExitsOneWithOneLineNamingItAndBadUsageExitsTwo) {
  const ToolRun bad = run("1 abc 2");
  EXPECT_EQ(bad.status, 1);
  EXPECT_EQ(bad.out, "1.0\n");
  EXPECT_EQ(bad.err, "qvsv float: 'abc' is not a number\n");
  EXPECT_EQ(run("1e400").err, "qvsv float: '1e400' is out of range for a double\n");
  EXPECT_EQ(run("--single 1e39").status, 1);
  EXPECT_EQ(run("--bits 3ff").err, "qvsv float: '3ff' is not a bit pattern of 16 hexadecimal digits\n");
  const ToolRun badLine = run("< '" + dir_.write("bad.txt", "0.5\n1,5\n").string() + "'");
  EXPECT_EQ(badLine.status, 1);
  EXPECT_EQ(badLine.out, "0.5\n");
  EXPECT_EQ(badLine.err, "qvsv float: '1,5' is not a number\n");
  for (const char* usage : {"--target x 1", "--precision 3 1", "--target"}) EXPECT_EQ(run(usage).status, 2) << usage;
}

}  // namespace
