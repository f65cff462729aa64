// Shared ground of the raw-measurement tests: indications as the modem sends them, the report
// records the plug-in must answer with, and compact views of what the engine saw.
#pragma once

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "EmuFixture.h"
#include "RawMeasurement.h"
#include "TpxWifiClientMgr.h"
#include "WifiInfoProvider.h"
#include "emu/DsdDecoder.h"

namespace ylmtest {

constexpr const char* kRawFile = "src/RawMeasurement";
using Raw = WifiMeasurementRequest::RawMeasurement;
using Ind = dsd_start_wifi_meas_ind_msg_v01;
using Report = dsd_wifi_meas_report_req_msg_v01;
using Record = dsd_wifi_bssid_meas_type_v01;
using Mac = std::array<uint8_t, 6>;
using BssidEntry = std::pair<Mac, std::vector<uint16_t>>;           // a BSSID and its channels
using SsidEntry = std::pair<std::string, std::vector<BssidEntry>>;  // "" asks for the associated AP

// The manager linked to the emulated services (which links the provider), fed start and stop
// indications; what linking logged and did is dropped.
class RawTest : public EmuTest {
  protected:
    void SetUp() override {
        EmuTest::SetUp();
        mgr->initializeLinks(engine().com(), engine().timer(), engine().supplicant());
        engine().supplicantEvents.clear();
        engine().logs.clear();
    }
    static Mac mac(uint8_t b4) { return {2, 0, 0, 0, b4, 0}; }
    // Timing is marked valid when given; alpha is left invalid.
    static Ind indication(int32_t id, uint64_t mask, const std::vector<SsidEntry>& ssids,
                          bool listValid = true, uint32_t sampling = 0, uint32_t reporting = 0) {
        const auto n = static_cast<uint32_t>(ssids.size());
        const uint8_t timed = sampling != 0 || reporting != 0;
        // Id, mask, the list's flag and length, its entries, timing and alpha, with the padding.
        Ind ind{id, {},       mask,  {}, listValid, {}, n,  {},   timed,
                {}, sampling, timed, {}, reporting, 0,  {}, 0.0F, {}};
        for (size_t i = 0; i < n; ++i) {
            auto& e = ind.ssid_list[i];
            std::memcpy(e.ssid, ssids[i].first.data(), std::min<size_t>(ssids[i].first.size(), 33));
            e.bssid_list_len = static_cast<uint32_t>(ssids[i].second.size());
            for (size_t j = 0; j < ssids[i].second.size(); ++j) {
                const BssidEntry& b = ssids[i].second[j];
                std::memcpy(e.bssid_list[j].bssid, b.first.data(), 6);
                e.bssid_list[j].channel_list_len = static_cast<uint32_t>(b.second.size());
                std::copy(b.second.begin(), b.second.end(), e.bssid_list[j].channel_list);
            }
        }
        return ind;
    }
    static Ind connected(int32_t id, uint32_t sampling = 0, uint32_t reporting = 0) {
        return indication(id, 1, {{"", {}}}, true, sampling, reporting);
    }
    static Ind anyScan(int32_t id, uint64_t mask = 5, uint32_t reporting = 0) {
        const Mac any{0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
        return indication(id, mask, {{std::string(32, '\xff'), {{any, {65535}}}}}, true, 0,
                          reporting);
    }
    // Expected records. The layouts have only explicit padding, so {} zeroes every byte.
    static Record rec(Mac b, uint16_t freq, uint64_t mask, int16_t rssi, uint16_t load) {
        return {{b[0], b[1], b[2], b[3], b[4], b[5]}, {}, freq, {}, mask, rssi, {}, load, {}};
    }
    static Report report(uint32_t id, uint32_t seq, bool last, const std::string& ssid,
                         const std::vector<Record>& recs) {
        const auto n = static_cast<uint32_t>(recs.size());
        Report m{id, seq, 0,  last, {}, std::min<uint32_t>(ssid.size(), 32), {}, n > 0,
                 {}, n,   {}, {},   {}};
        std::memcpy(m.ssid, ssid.data(), m.ssid_len);
        std::copy(recs.begin(), recs.end(), m.bssid_list);
        return m;
    }
    // The messages from index `from` on are exactly these, byte for byte; decoded fields name
    // a mismatch.
    static void expectReports(size_t from, const std::vector<Report>& want) {
        const auto& sent = emu::Engine::instance().messages;
        ASSERT_EQ(sent.size(), from + want.size());
        for (size_t i = 0; i < want.size(); ++i) {
            const auto* p = reinterpret_cast<const uint8_t*>(&want[i]);
            const std::vector<uint8_t> bytes(p, p + sizeof(Report));
            const emu::DsdMessage& s = sent[from + i];
            EXPECT_EQ(emu::decodeDsd(s.op, s.bytes), emu::decodeDsd(s.op, bytes)) << from + i;
            EXPECT_TRUE(s.op == emu::DsdOp::WifiMeasurementReport && s.bytes == bytes) << from + i;
        }
    }
    bool start(Ind ind) { return mgr->startWifiMeasurement(engine().dsd(), ind); }
    void stop(int32_t id) {
        dsd_stop_wifi_meas_ind_msg_v01 ind{id};
        mgr->stopWifiMeasurement(engine().dsd(), ind);
    }
    std::unique_ptr<Raw> make(const Ind& ind) {  // one of its own, outside the manager
        return std::make_unique<Raw>(*engine().dsd(), *engine().com(), *engine().timer(),
                                     *engine().supplicant(), *provider, ind, nullptr);
    }
    void replies(const std::vector<std::pair<std::string, std::string>>& commandAndFixture) {
        for (const auto& r : commandAndFixture) {
            engine().scriptedSupplicant().setReply(r.first, fixture(r.second));
        }
    }
    // Supplicant events as "type:command; " or "kind type:text; "; a reply room follows when it
    // is not the 4095 bytes of a command's reply buffer, or none for the other kinds.
    std::string events() const {
        std::string out;
        for (const auto& e : emu::Engine::instance().supplicantEvents) {
            const bool cmd = e.kind == emu::SupplicantEvent::Command;
            out +=
                (cmd ? "" : std::string(emu::supplicantEventName(e.kind)) + " ") +
                std::to_string(e.type) + ":" + e.text +
                (e.replyRoom == (cmd ? 4095U : 0U) ? "" : " room " + std::to_string(e.replyRoom)) +
                "; ";
        }
        return out;
    }
    std::string timers() const {  // periods added, ids removed
        std::string out = "added";
        for (const auto& t : emu::Engine::instance().timers) {
            out += " " + std::to_string(t.period);
        }
        out += ", removed";
        for (const int32_t id : emu::Engine::instance().removedTimerIds) {
            out += " " + std::to_string(id);
        }
        return out;
    }
    TpxWifiClientMgr* mgr = TpxWifiClientMgr::getInstance();
    WifiInfoProvider* provider = WifiInfoProvider::getInstance();
};

}  // namespace ylmtest
