// Network-configuration and verdict records of the quality service, and Wi-Fi on/off, delivered
// to live profile proxies: the default profile, a numbered and a dynamic profile.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "TpxWifiClientMgr.h"
#include "emu/Engine.h"

namespace {

// The daemons answer with the test bed's genuine replies, read from the shared fixtures next to
// the source tree; without them the daemons simply do not answer.
std::string fixture(const char* name) {
    std::string path = __FILE__;
    path.erase(path.rfind("tests/fuzz/"));
    std::ifstream in(path + "../shared/fixtures/real-daemons/" + name, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

const char kHostapdLine[] =
    "hostapd_cli -p /data/vendor/wifi/hostapd/ctrl -s /data/vendor/wifi/hostapd/ctrl -i wlan0 "
    "STATUS";

void setUpOnce() {
    static bool done = [] {
        emu::Engine& e = emu::Engine::instance();
        e.scriptedSupplicant().setReply("STATUS", fixture("sta-status.txt"));
        e.scriptedSupplicant().setReply("SIGNAL_POLL", fixture("sta-signal-poll.txt"));
        e.scriptedSupplicant().setReply("BSS 02:00:00:00:03:00", fixture("sta-bss-ap2g.txt"));
        e.scriptedSupplicant().setReply("STATUS", fixture("p2p-status.txt"), 1);
        e.scriptedForkExec().setResult(kHostapdLine, fixture("hostapd-status.txt"));
        TpxWifiClientMgr* m = TpxWifiClientMgr::getInstance();
        m->initializeLinks(e.com(), e.timer(), e.supplicant());
        m->createDefaultProfile(e.dsd());
        dsd_wqe_profile_init_ind_msg_v01 init{};
        init.meas_id_valid = 1;
        init.meas_id = 3;
        for (int32_t p : {4, 36}) {
            init.profile_type = p;
            m->wqeProfileInit(e.dsd(), init);
        }
        dsd_wqe_profile_type_ind_msg_v01 mask{};
        mask.profile_type_mask = (1ULL << 32) | (1ULL << 3);
        mask.meas_id_valid = 1;
        mask.meas_id = 3;
        m->setWqeProfile(e.dsd(), mask);
        return true;
    }();
    (void)done;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    setUpOnce();
    if (size == 0) {
        return 0;
    }
    emu::Engine& e = emu::Engine::instance();
    const uint8_t selector = data[0];
    CasWlanNetConfigType record;
    std::memset(&record, 0, sizeof(record));
    std::memcpy(&record, data + 1, size - 1 < sizeof(record) ? size - 1 : sizeof(record));

    // Daemons that answer or fail, and the other soft-AP interface.
    e.scriptedSupplicant().setFailure("STATUS", (selector & 0x10U) != 0);
    e.scriptedSupplicant().setConnectFailure(1, (selector & 0x20U) != 0);
    e.chipsetType = (selector & 0x40U) != 0 ? 4 : 0;

    switch (selector & 3U) {
        case 0:
            e.deliverNotification(nullptr, &record);
            break;
        case 1:
            e.deliverNotification("profile4", &record);
            break;
        case 2:
            e.deliverNotification("dynamic", &record);
            break;
        default:
            e.deliverWifiState((selector & 4U) != 0);
            break;
    }
    e.logs.clear();
    e.messages.clear();
    e.supplicantEvents.clear();
    e.forkCalls.clear();
    return 0;
}
