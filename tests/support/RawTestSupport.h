// Builders for raw-measurement tests: start indications as the modem sends them and the report
// records the plug-in must answer with.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "EmuFixture.h"
#include "TpxWifiClientMgr.h"
#include "dsd_wifi_v01.h"
#include "emu/DsdDecoder.h"
#include "emu/Engine.h"

namespace ylmtest {

using Mac = std::array<uint8_t, 6>;

inline Mac mac(uint8_t last4, uint8_t last5 = 0) {
    return {2, 0, 0, 0, last4, last5};
}
inline const Mac kBroadcast{0xff, 0xff, 0xff, 0xff, 0xff, 0xff};

struct BssidSpec {
    Mac bssid;
    std::vector<uint16_t> channels;
};

struct SsidSpec {
    std::string ssid;  // up to 33 bytes copied; "\xff" x 32 for any SSID, "" for connected mode
    std::vector<BssidSpec> bssids;
};

inline std::string anySsid() {
    return std::string(32, '\xff');
}

// An indication with the given lists; intervals and alpha are left invalid (defaults apply).
inline dsd_start_wifi_meas_ind_msg_v01 indication(int32_t measId, uint64_t mask,
                                                  const std::vector<SsidSpec>& ssids,
                                                  bool listValid = true) {
    dsd_start_wifi_meas_ind_msg_v01 ind;
    std::memset(&ind, 0, sizeof ind);
    ind.meas_id = measId;
    ind.meas_param_mask = mask;
    ind.ssid_list_valid = listValid ? 1 : 0;
    ind.ssid_list_len = static_cast<uint32_t>(ssids.size());
    for (size_t i = 0; i < ssids.size() && i < 8; ++i) {
        auto& e = ind.ssid_list[i];
        std::memcpy(e.ssid, ssids[i].ssid.data(), std::min<size_t>(ssids[i].ssid.size(), 33));
        e.bssid_list_len = static_cast<uint32_t>(ssids[i].bssids.size());
        for (size_t j = 0; j < ssids[i].bssids.size() && j < 16; ++j) {
            auto& b = e.bssid_list[j];
            std::memcpy(b.bssid, ssids[i].bssids[j].bssid.data(), 6);
            b.channel_list_len = static_cast<uint32_t>(ssids[i].bssids[j].channels.size());
            for (size_t k = 0; k < ssids[i].bssids[j].channels.size() && k < 16; ++k) {
                b.channel_list[k] = ssids[i].bssids[j].channels[k];
            }
        }
    }
    return ind;
}

inline void setTiming(dsd_start_wifi_meas_ind_msg_v01& ind, uint32_t sampling, uint32_t reporting) {
    ind.sampling_interval_valid = 1;
    ind.sampling_interval = sampling;
    ind.reporting_interval_valid = 1;
    ind.reporting_interval = reporting;
}

// One expected BSSID record of a report.
struct RecordSpec {
    Mac bssid;
    uint16_t frequency;
    uint64_t paramMask;
    int16_t rssi;
    uint16_t utilization;
};

inline dsd_wifi_meas_report_req_msg_v01 report(uint32_t measId, uint32_t seq, bool last,
                                               const std::string& ssid,
                                               const std::vector<RecordSpec>& records,
                                               bool listValid = true) {
    dsd_wifi_meas_report_req_msg_v01 m;
    std::memset(&m, 0, sizeof m);
    m.meas_id = measId;
    m.report_seq = seq;
    m.last_report = last ? 1 : 0;
    m.ssid_len = static_cast<uint32_t>(std::min<size_t>(ssid.size(), 32));
    std::memcpy(m.ssid, ssid.data(), m.ssid_len);
    m.bssid_list_valid = listValid && !records.empty() ? 1 : 0;
    m.bssid_list_len = static_cast<uint32_t>(records.size());
    for (size_t i = 0; i < records.size(); ++i) {
        auto& r = m.bssid_list[i];
        std::memcpy(r.bssid, records[i].bssid.data(), 6);
        r.frequency = records[i].frequency;
        r.param_mask = records[i].paramMask;
        r.rssi = records[i].rssi;
        r.channel_utilization = records[i].utilization;
    }
    return m;
}

inline std::vector<uint8_t> bytesOf(const dsd_wifi_meas_report_req_msg_v01& m) {
    const auto* p = reinterpret_cast<const uint8_t*>(&m);
    return std::vector<uint8_t>(p, p + sizeof m);
}

// Every byte of a sent report against the expected record; the decoded fields name a mismatch.
inline void expectReport(const emu::DsdMessage& sent,
                         const dsd_wifi_meas_report_req_msg_v01& want) {
    ASSERT_EQ(sent.op, emu::DsdOp::WifiMeasurementReport);
    const auto expected = bytesOf(want);
    EXPECT_EQ(emu::decodeDsd(sent.op, sent.bytes), emu::decodeDsd(sent.op, expected));
    EXPECT_TRUE(sent.bytes == expected) << "record bytes differ";
}

// The sent reports, from index `from` on.
inline std::vector<emu::DsdMessage> reportsFrom(size_t from) {
    const auto& all = emu::Engine::instance().messages;
    return std::vector<emu::DsdMessage>(all.begin() + static_cast<long>(std::min(from, all.size())),
                                        all.end());
}

// The engine's view: the manager, linked to the emulated services, fed start and stop indications.
class RawEndToEnd : public EmuTest {
  protected:
    void SetUp() override {
        EmuTest::SetUp();
        mgr = TpxWifiClientMgr::getInstance();
        mgr->initializeLinks(engine().com(), engine().timer(), engine().supplicant());
    }
    bool start(dsd_start_wifi_meas_ind_msg_v01 ind, size_t client = 0) {
        return mgr->startWifiMeasurement(engine().dsd(client), ind);
    }
    void stop(int32_t id, size_t client = 0) {
        dsd_stop_wifi_meas_ind_msg_v01 ind{id};
        mgr->stopWifiMeasurement(engine().dsd(client), ind);
    }
    // Supplicant events of one kind, as their texts.
    std::vector<std::string> eventTexts(emu::SupplicantEvent::Kind kind) {
        std::vector<std::string> out;
        for (const auto& e : engine().supplicantEvents) {
            if (e.kind == kind) {
                out.push_back(e.text);
            }
        }
        return out;
    }
    TpxWifiClientMgr* mgr = nullptr;
};

}  // namespace ylmtest
