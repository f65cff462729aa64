// The access-point channel: interface selector, option words, output capture, failure reporting.
#include "HostapdWrapper.h"
#include "RawTestSupport.h"

namespace {

class HostapdTest : public ylmtest::RawTest {};

TEST_F(HostapdTest, CommandLineOptionWordsAndCapturedOutput) {
    const std::string status = ylmtest::fixture("hostapd-status.txt"), a999(999, 'a');
    // The engine cuts at the buffer size and then leaves no terminating zero.
    const struct {
        int chipset;
        const char* selector;
        std::string printed;
        int rc;
        std::string out;
    } cases[] = {{4, " -i softap0 ", status, 0, status},
                 {0, " -i wlan0 ", std::string("ab\0cd", 5), 0, "ab"},
                 {3, " -i wlan0 ", a999, 0, a999},
                 {5, " -i wlan0 ", a999 + "a", 0, a999 + "a"},
                 {-1, " -i wlan0 ", a999 + a999, 0, a999 + "a"},
                 {0, " -i wlan0 ", "partial", 3, ""}};
    for (const auto& c : cases) {
        engine().reset();
        engine().chipsetType = c.chipset;
        const std::string line = HostapdWrapper::HOSTAPD_CLI_CMD + c.selector + "STATUS";
        engine().scriptedForkExec().setResult(line, c.printed, c.rc);
        std::string out = "kept|";
        EXPECT_EQ(HostapdWrapper::getInstance()->execHostapdCommand("STATUS", out), c.rc == 0);
        EXPECT_EQ(out, "kept|" + c.out) << c.chipset;
        EXPECT_EQ(logsOf("src/HostapdWrapper"),
                  ylmtest::Strings{c.rc == 0 ? "91 0 10359 Command : STATUS and Response: " + out
                                             : "87 4 10359 forkExec failed with error 3"});
        ASSERT_EQ(engine().forkCalls.size(), 1U);
        const auto& call = engine().forkCalls[0];
        EXPECT_TRUE(call.cmdLine == line && call.bufferGiven && call.bufferSize == 1000U);
        EXPECT_EQ(std::vector<uint32_t>(call.words, call.words + 10),
                  (std::vector<uint32_t>{0, call.words[1], 1000, 0, 0, 0, 0, 2, 0, 0}));
    }
}

TEST_F(HostapdTest, InstanceCanBeDeletedTwiceAndMadeAgain) {
    HostapdWrapper::deleteInstance();
    HostapdWrapper::deleteInstance();
    std::string out;
    HostapdWrapper::getInstance()->execHostapdCommand("STATUS", out);
    EXPECT_EQ(engine().forkCalls.size(), 1U);
}

}  // namespace
