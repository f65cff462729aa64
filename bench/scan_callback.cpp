// One scan-ready callback as the engine runs it, start to end: the scan table read, filtered for a
// measurement of any SSID on the 2.4 and 5 GHz bands with BSS load, a BSS query per access point
// answered with the testbed's genuine BSS replies, and the reports sent. The engine's logger drops
// every line, as an engine that filters the plug-in's lines out does. Beside it, one memchr pass
// over the same bytes (the table and the BSS replies) that finds every line end: bench/run.sh
// prints the callback's cost as a multiple of that pass, and the cost per access point at 45
// against 4 access points.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "TpxWifiClientMgr.h"
#include "VorSupplicantWrapper.h"
#include "emu/Engine.h"

// Every heap allocation of the process is counted (glibc's malloc behind a counting front), so that
// a callback's allocations per access point show beside its time: the plug-in's and the
// emulator's alike.
namespace {
size_t gAllocations = 0;
}
extern "C" void* __libc_malloc(size_t size);
extern "C" void* malloc(size_t size) {
    ++gAllocations;
    return __libc_malloc(size);
}

namespace {

// From a quiet home to a busy street; the table of 45 still fits the 4095-byte reply buffer.
constexpr int kMaxAccessPoints = 45;

std::string readFixture(const char* name) {
    std::ifstream in(std::string(YLM_FIXTURES_DIR) + "/" + name, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string bssid(int i) {
    char text[18];
    std::snprintf(text, sizeof text, "02:00:00:%02x:%02x:00", (i >> 8) & 0xff, i & 0xff);
    return text;
}

// The reply to "BSS <bssid>" of access point i: one of the three genuine captures in turn.
const std::string& bssReply(int i) {
    static const std::string replies[] = {readFixture("sta-bss-ap2g.txt"),
                                          readFixture("sta-bss-ap5g.txt"),
                                          readFixture("sta-bss-aphe.txt")};
    return replies[i % 3];
}

std::string scanTable(int n) {
    static const int freqs[] = {2437, 5180, 5745, 2412, 5200, 2462};
    std::string out = "bssid / frequency / signal level / flags / ssid\n";
    char line[128];
    for (int i = 0; i < n; ++i) {
        std::snprintf(line, sizeof line, "%s\t%d\t%d\t[WPA2-PSK-CCMP][ESS]\tnet-%d\n",
                      bssid(i).c_str(), freqs[i % 6], -30 - (i % 60), i % 8);
        out += line;
    }
    return out;
}

// The engine with the plug-in linked and one scan-mode measurement running, set up once.
void setUpEngine() {
    static bool done = false;
    if (done) {
        return;
    }
    done = true;
    emu::Engine& e = emu::Engine::instance();
    e.reset();
    e.discardLogs = true;
    e.scriptedSupplicant().setReply(VorSupplicantWrapper::scanCmd, "OK\n");
    for (int i = 0; i < kMaxAccessPoints; ++i) {
        e.scriptedSupplicant().setReply("BSS " + bssid(i), bssReply(i));
    }
    TpxWifiClientMgr* mgr = init();
    mgr->initializeLinks(e.com(), e.timer(), e.supplicant());
    dsd_start_wifi_meas_ind_msg_v01 ind{};
    ind.meas_id = 1;
    ind.meas_param_mask = 5;  // RSSI and BSS load
    ind.ssid_list_valid = 1;
    ind.ssid_list_len = 1;
    auto& entry = ind.ssid_list[0];
    std::memset(entry.ssid, 0xff, sizeof entry.ssid);  // any SSID
    entry.bssid_list_len = 1;
    std::memset(entry.bssid_list[0].bssid, 0xff, sizeof entry.bssid_list[0].bssid);
    entry.bssid_list[0].channel_list_len = 2;
    entry.bssid_list[0].channel_list[0] = 1;
    entry.bssid_list[0].channel_list[1] = 3;
    mgr->startWifiMeasurement(e.dsd(), ind);
}

void BM_ScanReadyCallback(benchmark::State& state) {
    setUpEngine();
    emu::Engine& e = emu::Engine::instance();
    const int n = static_cast<int>(state.range(0));
    e.scriptedSupplicant().setReply(VorSupplicantWrapper::scanResultCmd, scanTable(n));
    size_t allocations = 0;
    for (auto _ : state) {
        const size_t before = gAllocations;
        e.fireScanReady();
        allocations += gAllocations - before;
        state.PauseTiming();
        if (e.messages.empty()) {
            state.SkipWithError("no report sent");
        }
        e.messages.clear();
        e.supplicantEvents.clear();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * n);
    state.counters["allocs_per_ap"] =
        static_cast<double>(allocations) / static_cast<double>(state.iterations() * n);
}
BENCHMARK(BM_ScanReadyCallback)->Arg(4)->Arg(16)->Arg(kMaxAccessPoints);

// The floor of reading line-oriented replies: one memchr pass that finds every line end of the
// table and of the BSS replies, each reply in a buffer of its own as the engine hands them over.
void BM_MemchrPass(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    std::vector<std::string> replies = {scanTable(n)};
    for (int i = 0; i < n; ++i) {
        replies.push_back(bssReply(i));
    }
    size_t bytes = 0;
    for (const auto& r : replies) {
        bytes += r.size();
    }
    for (auto _ : state) {
        // The bytes may have changed since the last pass, so the pass is made every time.
        benchmark::ClobberMemory();
        size_t lines = 0;
        for (const auto& r : replies) {
            const char* end = r.data() + r.size();
            for (const char* p = r.data(); p != nullptr && p < end; ++lines) {
                p = static_cast<const char*>(std::memchr(p, '\n', static_cast<size_t>(end - p)));
                p = p == nullptr ? nullptr : p + 1;
            }
        }
        benchmark::DoNotOptimize(lines);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}
BENCHMARK(BM_MemchrPass)->Arg(4)->Arg(16)->Arg(kMaxAccessPoints);

}  // namespace
