// What ylm-sim prints: the built-in scenario against its expected output (which shows every kind
// of message decoded), the JSON lines, what the decoder makes of odd records, and the example
// scenarios.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>

#include "SimSupport.h"
#include "emu/DsdDecoder.h"
#include "picture/SvgCanvas.h"
#include "timeline/Printer.h"

namespace {

using nlohmann::json;

const std::string kExpected = YLM_SIM_EXPECTED_DIR;
constexpr const char* kRegenerate = "regenerate with scripts/update-sim-expected.sh BUILD_DIR";

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        out.push_back(line);
    }
    return out;
}

TEST(DefaultScenario, TimelineMatchesTheExpectedOutput) {
    const auto run = simtest::runSim({});
    ASSERT_EQ(run.rc, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.out, simtest::readFile(kExpected + "/default.txt")) << kRegenerate;
    // The library's log joins the timeline when asked for.
    const auto verbose = simtest::runSim({"--log-level", "0"});
    ASSERT_EQ(verbose.rc, 0);
    EXPECT_NE(verbose.out.find("log 1 src/TpxWifiClientMgr:"), std::string::npos);
    EXPECT_GT(lines(verbose.out).size(), lines(run.out).size());
}

// A log line as "[level module file] text": without the source line, which code motion moves
// and compilers give differently for a call over several lines. The lines whose number is part of
// the contract are held by the library's own tests.
std::string withoutSourceLine(const std::string& line) {
    const size_t close = line.find(']');
    const size_t colon = line.rfind(':', close);
    return close == std::string::npos || colon == std::string::npos
               ? line
               : line.substr(0, colon) + line.substr(close);
}

std::string logView(const std::string& text) {
    std::string out;
    for (const auto& line : lines(text)) {
        out += withoutSourceLine(line) + "\n";
    }
    return out;
}

// What the engine sees of every scenario, the built-in one included: the DSD messages as JSON and
// the library's log lines at level 0, in order and byte for byte but for their source lines. The
// simulator's own notes share stderr with the log lines but are not the engine's, so they are left
// out.
class EngineView : public testing::TestWithParam<std::string> {};

TEST_P(EngineView, MessagesAndLogLinesMatchTheExpectedOutput) {
    const std::string name = GetParam();
    std::vector<std::string> args = {"--json", "--log-level", "0"};
    if (name != "default") {
        args.insert(args.begin(), std::string(YLM_SCENARIOS_DIR) + "/" + name + ".yaml");
    }
    const auto run = simtest::runSim(args);
    ASSERT_EQ(run.rc, 0) << run.err;
    EXPECT_EQ(run.out, simtest::readFile(kExpected + "/" + name + ".jsonl")) << kRegenerate;
    std::string logLines;
    for (const auto& line : lines(run.err)) {
        // stdout stays pure: the log lines and the notes go to stderr, one object per line.
        ASSERT_TRUE(line.rfind('[', 0) == 0 || json::parse(line).contains("note")) << line;
        logLines += line.rfind('[', 0) == 0 ? line + "\n" : "";
    }
    EXPECT_EQ(logView(logLines), logView(simtest::readFile(kExpected + "/" + name + ".log")))
        << kRegenerate;
}

std::vector<std::string> scenarioNames() {
    std::vector<std::string> names = {"default"};
    for (const auto& entry : std::filesystem::directory_iterator(YLM_SCENARIOS_DIR)) {
        if (entry.path().extension() == ".yaml") {
            names.push_back(entry.path().stem().string());
        }
    }
    std::sort(names.begin() + 1, names.end());
    return names;
}

INSTANTIATE_TEST_SUITE_P(Scenarios, EngineView, testing::ValuesIn(scenarioNames()),
                         [](const auto& info) {
                             std::string id = info.param;
                             std::replace(id.begin(), id.end(), '-', '_');
                             return id;
                         });

TEST(DefaultScenario, HexAddsTheBytesOfEveryMessage) {
    const auto plain = lines(simtest::runSim({"--json"}).out);
    const auto hex = lines(simtest::runSim({"--json", "--hex"}).out);
    ASSERT_EQ(hex.size(), plain.size());
    for (const auto& line : hex) {
        const auto bytes = json::parse(line)["hex"].get<std::string>();
        EXPECT_TRUE(bytes.size() % 2 == 0 && bytes.size() >= 32) << line;
    }
}

// A record of the wrong size is named, not read; a stray reserved byte shows.
TEST(DsdJson, WrongSizeAndStrayReservedBytes) {
    std::vector<std::string> sub;
    const emu::DsdMessage bad{nullptr, emu::DsdOp::WqeProfileStatus, 0, {1, 2, 3}};
    EXPECT_EQ(emu::toJson(bad, 1) + " " + ylmsim::Printer::describe(bad, sub),
              R"({"op":"sendWqeProfileStatus","time":0,"dsd":1,"error":"unexpected size 3"} )"
              R"(error="unexpected size 3")");
    emu::DsdMessage report{nullptr, emu::DsdOp::WifiMeasurementReport, 0,
                           std::vector<uint8_t>(sizeof(dsd_wifi_meas_report_req_msg_v01))};
    EXPECT_NE(emu::toJson(report).find(R"("reserved_zero":true})"), std::string::npos);
    report.bytes.back() = 1;
    EXPECT_NE(emu::toJson(report).find(R"("reserved_zero":false})"), std::string::npos);
}

// SSIDs and scenario texts may hold any bytes; the picture must stay well-formed XML, so that
// it renders at all.
TEST(SvgPicture, OutsideTextBecomesWellFormedXml) {
    const std::string bad = "\xef\xbf\xbd";  // U+FFFD
    EXPECT_EQ(ylmsim::SvgCanvas::escape("<a&\"b'>\t"
                                        "caf\xc3\xa9"
                                        "\xff"
                                        "\xed\xa0\x80"),
              "&lt;a&amp;&quot;b&apos;&gt;" + bad + "caf\xc3\xa9" + bad + bad + bad + bad);
}

// Scenarios whose reports look wrong but are right carry the note that says why; the others none.
TEST(ExampleScenarios, AllRunToTheirEndExplainingOddReports) {
    const std::map<std::string, std::vector<std::string>> notes = {
        {"hidden-ssid-row.yaml",
         {"!! SCAN_RESULTS               row 2 (02:00:00:00:0a:00) has an empty SSID column",
          R"(BSSID "2437" frequency "-20" (sent as 65516) SSID "5180")",
          R"(query goes out as "BSS 2437" and "BSS -27")"}},
        {"escaped-ssid.yaml",
         {R"(row 2 (02:00:00:00:0b:00) has the SSID "Caf\xc3\xa9", the daemon's escaped )"
          R"(writing of "Café"; the request for "Café" (meas_id 4))"}},
        {"hidden-ssid-element.yaml",
         {"!! BSS 02:00:00:00:0a:00      the elements of 02:00:00:00:0a:00 begin with an SSID "
          "element of length 0",
          R"(the plug-in takes Wi-Fi generation, country code, channel utilization and HESSID )"
          R"(as -1, "", 65535 and "" where the elements give 5, "US", 0 and "02:00:00:00:03:00")"}},
        {"long-scan-table.yaml",
         {"4494 bytes but the plug-in's reply buffer holds 4095",
          "the last 5 rows (56 to 60, from 02:00:00:00:47:00 on) never reach the plug-in",
          R"(row 55 is cut short and read as BSSID "02:00:00:00:46:00" frequency "5240" SSID )"
          R"("conference-floor-6-room-4")"}},
        {"crowded-ssid.yaml",
         {R"("venue" has 64 matching access points but a report holds 58 records: the 6 after )"
          "02:00:00:00:79:00 in SSID and BSSID order (02:00:00:00:7a:00 to 02:00:00:00:7f:00)"}},
    };
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(YLM_SCENARIOS_DIR)) {
        const std::string name = entry.path().filename().string();
        if (entry.path().extension() != ".yaml") {
            continue;
        }
        ++count;
        const auto run = simtest::runSim({entry.path().string()});
        EXPECT_EQ(run.rc, 0) << name << ": " << run.err;
        EXPECT_NE(run.out.find("\nsummary\n"), std::string::npos) << name;
        const auto want = notes.find(name);
        if (want == notes.end()) {
            EXPECT_EQ(run.out.find(" !! "), std::string::npos) << name << run.out;
            continue;
        }
        for (const auto& text : want->second) {
            EXPECT_NE(run.out.find(text), std::string::npos) << name << ": " << text << run.out;
        }
    }
    EXPECT_GE(count, notes.size() + 2);
    // In JSON mode the note goes to stderr as an object of its own; stdout keeps the messages.
    const auto json =
        simtest::runSim({std::string(YLM_SCENARIOS_DIR) + "/crowded-ssid.yaml", "--json"});
    ASSERT_EQ(lines(json.err).size(), 1U) << json.err;
    const auto note = json::parse(json.err);
    EXPECT_EQ(note.at("time"), 2);
    EXPECT_EQ(note.at("about"), "sendWifiMeasurementReport");
    EXPECT_NE(note.at("note").get<std::string>().find("has 64 matching"), std::string::npos);
    for (const auto& line : lines(json.out)) {
        EXPECT_TRUE(json::parse(line).contains("op")) << line;
    }
}

}  // namespace
