#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "qv_services/module.hpp"
#include "qv_services/tracer.hpp"
#include "tessel/console.hpp"
#include "tessel/interpreter.hpp"
#include "tessel/module.hpp"

namespace {

using qvsv::detail::RecordTracerSpanForTesting;

// Work the optimiser cannot remove, so that a traced span is never empty.
void spin() {
  volatile int sink = 0;
  for (int i = 0; i < 20000; ++i) sink = sink + i;
}

class Tracer : public ::testing::Test {
 protected:
  void SetUp() override {
    QvTracerSetOff();
    QvTracerClearStat();
  }
  void TearDown() override { SetUp(); }
  static QvTracerStats stat(const std::string& name) {
    const QvTracerStatMap stats = QvTracerGetStat();
    const auto it = stats.find(name);
    return it == stats.end() ? QvTracerStats{} : it->second;
  }
  static bool has(const std::string& name) { return QvTracerGetStat().count(name) == 1; }
  static std::string printed() {
    tessel::ConsoleCapture capture;
    QvTracerPrintStat();
    return capture.take();
  }
};

TEST_F(Tracer, WhatCountsIsWhetherTracingWasOnWhenTheTracerWasMade) {
  {
    QvTracer madeOff("madeOff");
    QvTracerSetOn();
    QvTracer madeOn("madeOn");
    QvTracerSetOff();
    spin();
  }
  EXPECT_FALSE(has("madeOff"));
  const QvTracerStats s = stat("madeOn");
  EXPECT_EQ(s.calls, 1u);
  EXPECT_GT(s.last, 0);
  EXPECT_EQ(s.totalTime, s.last);
  EXPECT_FALSE(s.active);
}

TEST_F(Tracer, NestedTracersOfOneNameGiveOneCallTimedByTheOuterSpan) {
  QvTracerSetOn();
  {
    QvTracer outer("nested");
    {
      QvTracer inner("nested");
      QvTracer other("other");
      spin();
    }
    // The inner one ended without ending the outer measurement.
    EXPECT_EQ(stat("nested").calls, 0u);
    EXPECT_TRUE(stat("nested").active);
    EXPECT_EQ(stat("other").calls, 1u);
    spin();
  }
  const QvTracerStats nested = stat("nested");
  EXPECT_EQ(nested.calls, 1u);
  EXPECT_FALSE(nested.active);
  EXPECT_GT(nested.last, stat("other").last) << "the outer span encloses the inner work";
}

TEST_F(Tracer, ClearWhileMeasuringRecreatesTheEntryWithOneCall) {
  RecordTracerSpanForTesting("cleared", 500);
  RecordTracerSpanForTesting("cleared", 700);
  QvTracerSetOn();
  {
    QvTracer tracer("cleared");
    QvTracerClearStat();
    EXPECT_FALSE(has("cleared"));
  }
  EXPECT_EQ(stat("cleared").calls, 1u);
}

TEST_F(Tracer, RunningVarianceAndWrappingTotalOfKnownSpans) {
  RecordTracerSpanForTesting("v", 10);
  EXPECT_EQ(stat("v").variance, 0.0) << "one measurement has no spread";
  RecordTracerSpanForTesting("v", 20);
  EXPECT_DOUBLE_EQ(stat("v").variance, 25.0);  // mean 15: 0/2 + 5^2/1
  RecordTracerSpanForTesting("v", 30);
  EXPECT_DOUBLE_EQ(stat("v").variance, 2.0 / 3.0 * 25.0 + 100.0 / 2.0);  // mean 20
  const QvTracerStats s = stat("v");
  EXPECT_EQ(s.totalTime, 60);
  EXPECT_EQ(s.calls, 3u);
  EXPECT_EQ(s.last, 30);
  EXPECT_EQ(s.leakCount, 3u);

  RecordTracerSpanForTesting("wrap", INT_MAX);
  RecordTracerSpanForTesting("wrap", 1);
  EXPECT_EQ(stat("wrap").totalTime, INT_MIN) << "the 32-bit total wraps";
}

TEST_F(Tracer, PrintedReportHasTheLabelsAndSecondsPerNameAndZeroForOneStillMeasuring) {
  RecordTracerSpanForTesting("b", 1000000);
  RecordTracerSpanForTesting("b", 3000000);
  RecordTracerSpanForTesting("a", 2500);
  EXPECT_EQ(printed(),
            "--- Profiling Statistics ---\n"
            "==>  a\n"
            "     calls: 1\n"
            "total time: 2.5e-06\n"
            " time/call: 2.5e-06\n"
            "    stdDev: 0\n"
            "      leak: 0\n"
            " leak/call: 0\n"
            "==>  b\n"
            "     calls: 2\n"
            "total time: 0.004\n"
            " time/call: 0.002\n"
            "    stdDev: 0.001\n"
            "      leak: 0\n"
            " leak/call: 0\n"
            "--- End of Profiling Statistics ---\n"
            "\n");
  QvTracerClearStat();
  QvTracerSetOn();
  QvTracer open("open");
  const std::string text = printed();
  EXPECT_NE(text.find("==>  open\n     calls: 0\ntotal time: 0\n time/call: 0\n"), std::string::npos)
      << "a name still measuring prints zero per call: " << text;
}

TEST_F(Tracer, JsonHasOneObjectPerNameInNameOrder) {
  QvTracerStatMap stats;
  stats["z"] = QvTracerStats{30, 2, 25.0, 20, 0, 2, false};
  stats["a\"\\\n\x01\xff"] = QvTracerStats{};
  EXPECT_EQ(QvTracerStatToJson(stats),
            "[\n"
            "  {\"name\":\"a\\\"\\\\\\n\\u0001\xEF\xBF\xBD\",\"calls\":0,\"total_ns\":0,\"mean_ns\":0,\"stddev_ns\":0},\n"
            "  {\"name\":\"z\",\"calls\":2,\"total_ns\":30,\"mean_ns\":15,\"stddev_ns\":5}\n"
            "]");
  EXPECT_EQ(QvTracerStatToJson({}), "[]");
}

class TracerHostEntry : public Tracer {
 protected:
  tessel::ScopedModule module_{TLInitialize_qv_services, TLTerminate_qv_services, QueryTLFcnTable_qv_services};

  static txArray* fetch() {
    txArray* out[1] = {nullptr};
    tessel::feval("QvTracerGetStat", 1, out, 0, nullptr);
    return out[0];
  }
};

TEST_F(TracerHostEntry, StructArrayHasFourFieldsAndWholeMilliseconds) {
  txArray* empty = fetch();
  EXPECT_EQ(txGetN(empty), 0u);
  EXPECT_EQ(txGetNumberOfFields(empty), 4) << "an empty report keeps its fields";
  txDestroyArray(empty);

  RecordTracerSpanForTesting("slow", 2999999);
  RecordTracerSpanForTesting("slow", 1);
  RecordTracerSpanForTesting("fast", 999999);
  RecordTracerSpanForTesting("wrapped", INT_MIN);  // -2147.48 ms, truncated toward zero
  txArray* report = fetch();
  ASSERT_TRUE(txIsStruct(report));
  EXPECT_EQ(txGetM(report), 1u);
  ASSERT_EQ(txGetNumberOfFields(report), 4);
  std::vector<std::string> fields;
  for (int f = 0; f < 4; ++f) fields.push_back(txGetFieldNameByNumber(report, f));
  EXPECT_EQ(fields, (std::vector<std::string>{"name", "calls", "time", "leak"}));
  std::string rows;
  for (txIndex i = 0; i < txGetN(report); ++i) {
    rows += txGetStringUTF8(txGetField(report, i, "name"));
    for (const char* field : {"calls", "time", "leak"}) rows += " " + std::to_string(txGetScalar(txGetField(report, i, field)));
    rows += ";";
  }
  EXPECT_EQ(rows, "fast 1.000000 0.000000 0.000000;slow 2.000000 3.000000 0.000000;wrapped 1.000000 -2147.000000 0.000000;");
  txDestroyArray(report);
}

}  // namespace
