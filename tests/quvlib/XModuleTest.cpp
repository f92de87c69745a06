#include <gtest/gtest.h>

#include <vector>

#include "FourCC.h"
#include "XModule.h"

namespace {
// Records what arrives on its inputs.
class Recorder : public XModule {
  public:
    std::vector<std::pair<int, int>> ints;
    std::vector<std::pair<int, float>> floats;
    void OnReceive(int id, int value) override { ints.push_back({id, value}); }
    void OnReceive(int id, float value) override { floats.push_back({id, value}); }
};
}  // namespace

TEST(XModule, IntegerInputWithRangeZeroZeroAcceptsEveryValue) {
    Recorder r;
    r.AddInputInt(1, 0, 0);
    r.Receive(1, -1000);
    r.Receive(1, 123456);
    ASSERT_EQ(r.ints.size(), 2u);
    EXPECT_EQ(r.ints[0].second, -1000);
    EXPECT_EQ(r.ints[1].second, 123456);
}

TEST(XModule, IntegerInputZeroToHundredDropsMinusOneAnd101AndPassesZeroAnd100) {
    Recorder r;
    r.AddInputInt(1, 0, 100);
    r.Receive(1, -1);
    r.Receive(1, 101);
    r.Receive(1, 0);
    r.Receive(1, 100);
    ASSERT_EQ(r.ints.size(), 2u);
    EXPECT_EQ(r.ints[0].second, 0);
    EXPECT_EQ(r.ints[1].second, 100);
}

TEST(XModule, FloatInputDropsValuesOutsideItsRange) {
    Recorder r;
    r.AddInputFlt(2, 0.0f, 1.0f);
    r.Receive(2, -0.5f);
    r.Receive(2, 1.5f);
    r.Receive(2, 0.5f);
    ASSERT_EQ(r.floats.size(), 1u);
    EXPECT_FLOAT_EQ(r.floats[0].second, 0.5f);
}

TEST(XModule, ConnectFromIntegerOutputToFloatInputReturnsZero) {
    Recorder src, dst;
    src.AddOutputInt(1);
    dst.AddInputFlt(2, 0, 0);
    EXPECT_EQ(src.Connect(1, &dst, 2), 0);
    EXPECT_EQ(src.Transmit(1, 5), 1);
    EXPECT_TRUE(dst.floats.empty());
    EXPECT_TRUE(dst.ints.empty());
}

TEST(XModule, ConnectToUnknownPortsReturnsZero) {
    Recorder src, dst;
    src.AddOutputInt(1);
    dst.AddInputInt(2, 0, 0);
    EXPECT_EQ(src.Connect(9, &dst, 2), 0);
    EXPECT_EQ(src.Connect(1, &dst, 9), 0);
    EXPECT_EQ(src.Connect(1, nullptr, 2), 0);
    EXPECT_EQ(src.Connect(1, &dst, 2), 1);
}

TEST(XModule, TransmittingOnAnOutputWithNoLinksReturnsOneAndDoesNothing) {
    Recorder src;
    src.AddOutputInt(1);
    src.AddInputInt(1, 0, 0);  // an input of the same id is not a link
    EXPECT_EQ(src.Transmit(1, 7), 1);
    EXPECT_TRUE(src.ints.empty());
}

TEST(XModule, TransmitOnAnUnknownOutputReturnsZero) {
    Recorder src;
    EXPECT_EQ(src.Transmit(1, 7), 0);
    EXPECT_EQ(src.Transmit(1, 7.0f), 0);
}

TEST(XModule, LinksDeliverInConnectionOrderAndTwiceWhenConnectedTwice) {
    Recorder src, a, b;
    src.AddOutputInt(FourCC("ival"));
    a.AddInputInt(10, 0, 0);
    b.AddInputInt(20, 0, 0);
    ASSERT_EQ(src.Connect(FourCC("ival"), &b, 20), 1);
    ASSERT_EQ(src.Connect(FourCC("ival"), &a, 10), 1);
    ASSERT_EQ(src.Connect(FourCC("ival"), &a, 10), 1);
    std::vector<int> order;
    EXPECT_EQ(src.Transmit(FourCC("ival"), 3), 1);
    EXPECT_EQ(b.ints.size(), 1u);
    EXPECT_EQ(a.ints.size(), 2u);
    EXPECT_EQ(a.ints[0], std::make_pair(10, 3));
}

TEST(XModule, ReceiveIgnoresThePortFormat) {
    Recorder r;
    r.AddInputFlt(5, 0, 0);
    r.Receive(5, 42);  // integer value on a float input still arrives
    ASSERT_EQ(r.ints.size(), 1u);
    EXPECT_EQ(r.ints[0].second, 42);
}

TEST(XModule, FirstPortWithAnIdWins) {
    Recorder r;
    r.AddInputInt(1, 0, 10);
    r.AddInputInt(1, 0, 0);
    r.Receive(1, 50);  // dropped by the first port's range
    EXPECT_TRUE(r.ints.empty());
    EXPECT_EQ(r.FindInput(1)->iMax, 10);
}

namespace {
// Passes what it receives on to its own output: transmission is synchronous.
class Relay : public XModule {
  public:
    std::vector<int>* log = nullptr;
    void OnReceive(int, int value) override {
        Transmit(1, value + 1);
        log->push_back(value);
    }
};
}  // namespace

TEST(XModule, TransmissionIsSynchronousAndRecursive) {
    std::vector<int> log;
    Recorder src, sink;
    Relay relay;
    relay.log = &log;
    src.AddOutputInt(1);
    relay.AddInputInt(1, 0, 0);
    relay.AddOutputInt(1);
    sink.AddInputInt(1, 0, 0);
    src.Connect(1, &relay, 1);
    relay.Connect(1, &sink, 1);
    src.Transmit(1, 1);
    ASSERT_EQ(sink.ints.size(), 1u);  // arrived before Transmit returned
    EXPECT_EQ(sink.ints[0].second, 2);
    EXPECT_EQ(log, std::vector<int>{1});
}
