// The access-point channel: command line, option words, output capture, failure reporting.
#include "EmuFixture.h"
#include "HostapdWrapper.h"

namespace {

constexpr const char* kFile = "src/HostapdWrapper";
constexpr int kModule = 10359;
const std::string kBase =
    "hostapd_cli -p /data/vendor/wifi/hostapd/ctrl -s /data/vendor/wifi/hostapd/ctrl";

class HostapdTest : public ylmtest::EmuTest {
  protected:
    HostapdWrapper& hostapd() { return *HostapdWrapper::getInstance(); }
};

TEST_F(HostapdTest, ChipsetTypeFourSelectsSoftApEveryOtherWlan0) {
    const struct {
        int chipset;
        std::string selector;
    } cases[] = {{4, " -i softap0 "},
                 {0, " -i wlan0 "},
                 {3, " -i wlan0 "},
                 {5, " -i wlan0 "},
                 {-1, " -i wlan0 "}};
    for (const auto& c : cases) {
        engine().reset();
        engine().chipsetType = c.chipset;
        std::string out;
        hostapd().execHostapdCommand(HostapdWrapper::statusCmd, out);
        ASSERT_EQ(engine().forkCalls.size(), 1U);
        EXPECT_EQ(engine().forkCalls[0].cmdLine, kBase + c.selector + "STATUS") << c.chipset;
    }
}

TEST_F(HostapdTest, OptionWordsNameTheThousandByteBuffer) {
    std::string out;
    hostapd().execHostapdCommand("STATUS", out);
    ASSERT_EQ(engine().forkCalls.size(), 1U);
    const auto& call = engine().forkCalls[0];
    EXPECT_TRUE(call.bufferGiven);
    EXPECT_EQ(call.bufferSize, 1000U);
    const uint32_t expected[10] = {0, call.words[1], 1000, 0, 0, 0, 0, 2, 0, 0};
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(call.words[i], expected[i]) << "word " << i;
    }
}

TEST_F(HostapdTest, ReplyIsAppendedAndLogged) {
    const std::string reply = ylmtest::fixture("hostapd-status.txt");
    engine().scriptedForkExec().setResult(kBase + " -i wlan0 STATUS", reply);
    std::string out = "kept|";
    EXPECT_TRUE(hostapd().execHostapdCommand("STATUS", out));
    EXPECT_EQ(out, "kept|" + reply);
    const auto* line = findLog("Command : STATUS and Response: kept|" + reply);
    ASSERT_NE(line, nullptr);
    EXPECT_EQ(line->line, 91);
    EXPECT_EQ(line->level, 0);
    EXPECT_EQ(line->module, kModule);
    EXPECT_EQ(line->file, kFile);
}

TEST_F(HostapdTest, OutputFillingTheWholeBufferIsReadUpToItsEnd) {
    // The engine cuts at the buffer size and then has no room for a terminating zero.
    for (const size_t size : {999U, 1000U, 1001U, 5000U}) {
        engine().reset();
        engine().scriptedForkExec().setResult(kBase + " -i wlan0 X", std::string(size, 'a'));
        std::string out;
        EXPECT_TRUE(hostapd().execHostapdCommand("X", out));
        EXPECT_EQ(out, std::string(std::min<size_t>(size, 1000), 'a'));
    }
}

TEST_F(HostapdTest, OutputStopsAtTheFirstZeroByte) {
    engine().scriptedForkExec().setResult(kBase + " -i wlan0 X", std::string("ab\0cd", 5));
    std::string out;
    EXPECT_TRUE(hostapd().execHostapdCommand("X", out));
    EXPECT_EQ(out, "ab");
}

TEST_F(HostapdTest, FailingClientIsReportedWithItsCodeAndLeavesOutputAlone) {
    engine().scriptedForkExec().setResult(kBase + " -i wlan0 STATUS", "partial", 3);
    std::string out = "before";
    EXPECT_FALSE(hostapd().execHostapdCommand("STATUS", out));
    EXPECT_EQ(out, "before");
    const auto* line = findLog("forkExec failed with error 3");
    ASSERT_NE(line, nullptr);
    EXPECT_EQ(line->line, 87);
    EXPECT_EQ(line->level, 4);
    EXPECT_EQ(line->module, kModule);
    EXPECT_EQ(countLog("Command : STATUS and Response: before"), 0U);
}

TEST_F(HostapdTest, InstanceCanBeDeletedAndMadeAgain) {
    ASSERT_NE(HostapdWrapper::getInstance(), nullptr);
    HostapdWrapper::deleteInstance();
    HostapdWrapper::deleteInstance();  // a second delete finds nothing to free
    HostapdWrapper* again = HostapdWrapper::getInstance();
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(HostapdWrapper::getInstance(), again);
    std::string out;
    again->execHostapdCommand("STATUS", out);
    EXPECT_EQ(engine().forkCalls.size(), 1U);
}

}  // namespace
