// A start indication of arbitrary bytes, then timer periods and scan-ready callbacks with an
// arbitrary scan table, then the stop. Input: the 6184-byte record (zero-padded when shorter),
// and whatever follows it is the scan-results reply.
#include <cstdint>
#include <cstring>
#include <string>

#include "RawMeasurement.h"
#include "TpxWifiClientMgr.h"
#include "WifiInfoProvider.h"
#include "dsd_wifi_v01.h"
#include "emu/Engine.h"

namespace {

// A BSS reply with a BSS Load, HT and VHT elements, for every BSSID of the table it can spot.
const char* const kBssReply =
    "bssid=02:00:00:00:04:00\nfreq=5180\nie=000a746573746265642d35670b0501001e00003d1624050000"
    "000000000000000000000000000000000000c005012a00fcff\n";

void scriptBssReplies(emu::ScriptedSupplicant& s, const std::string& table) {
    size_t pos = table.find('\n');
    for (int n = 0; n < 8 && pos != std::string::npos; ++n) {
        const size_t tab = table.find('\t', pos + 1);
        if (tab == std::string::npos) {
            break;
        }
        s.setReply("BSS " + table.substr(pos + 1, tab - pos - 1), kBssReply);
        pos = table.find('\n', tab);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    emu::Engine& e = emu::Engine::instance();
    e.reset();
    TpxWifiClientMgr* mgr = TpxWifiClientMgr::getInstance();
    mgr->initializeLinks(e.com(), e.timer(), e.supplicant());

    dsd_start_wifi_meas_ind_msg_v01 ind;
    std::memset(&ind, 0, sizeof ind);
    std::memcpy(&ind, data, size < sizeof ind ? size : sizeof ind);
    const std::string table =
        size > sizeof ind
            ? std::string(reinterpret_cast<const char*>(data) + sizeof ind, size - sizeof ind)
            : std::string();
    auto& s = e.scriptedSupplicant();
    s.setReply("SCAN_RESULTS", table);
    s.setReply("SIGNAL_POLL", "RSSI=-50\nFREQUENCY=2437\n");
    s.setReply("STATUS", "bssid=02:00:00:00:04:00\nfreq=5180\nssid=fuzz\nwpa_state=COMPLETED\n");
    scriptBssReplies(s, table);

    if ((ind.meas_param_mask & 1) == 0) {
        // Refused by the measurement itself; kept off the manager, which parks refused requests
        // for the life of the process.
        WifiMeasurementRequest::RawMeasurement raw(*e.dsd(), *e.com(), *e.timer(), *e.supplicant(),
                                                   *WifiInfoProvider::getInstance(), ind, nullptr);
        raw.startMeasurement();
        return 0;
    }
    if (!mgr->startWifiMeasurement(e.dsd(), ind)) {
        return 0;
    }
    for (int i = 0; i < 3; ++i) {
        e.advance(7);
        e.fireScanReady();
    }
    dsd_stop_wifi_meas_ind_msg_v01 stop{ind.meas_id};
    mgr->stopWifiMeasurement(e.dsd(), stop);
    e.fireScanReady();
    e.advance(7);
    return 0;
}
