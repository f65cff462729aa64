// Costs of the work done on the engine's event thread for every scan: reading the scan table,
// filtering it for a request, and walking a BSS's information elements. Results are compared as
// ratios (cost per access point as the table grows), never as absolute times.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <list>
#include <string>

#include "MeasurementRequestReport.h"
#include "WifiInformationElementParser.h"
#include "WifiParser.h"
#include "WifiScanResult.h"
#include "emu/Engine.h"

namespace {

// A scan-results table of n access points spread over the three bands, SSIDs shared by groups.
std::string scanTable(int n) {
    static const int freqs[] = {2412, 2437, 2462, 5180, 5200, 5745, 3660};
    std::string out = "bssid / frequency / signal level / flags / ssid\n";
    char line[160];
    for (int i = 0; i < n; ++i) {
        std::snprintf(line, sizeof line,
                      "02:00:00:%02x:%02x:00\t%d\t%d\t[WPA2-PSK-CCMP][ESS]\tnet-%d\n",
                      (i >> 8) & 0xff, i & 0xff, freqs[i % 7], -30 - (i % 60), i % 8);
        out += line;
    }
    return out;
}

std::list<MeasurementRequestReport> anyRequest() {
    MeasurementRequestReport r;
    r.ssid = "AnySSID";
    r.isRssiMask = 1;
    r.bssidChannels["ff:ff:ff:ff:ff:ff"] = {ANY_CHANNEL, 1, 3};
    return {r};
}

void BM_ParseScanData(benchmark::State& state) {
    emu::Engine::instance().reset();
    const std::string table = scanTable(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        WifiScanResult result = WifiParser::getInstance()->parseScanData(table.c_str());
        benchmark::DoNotOptimize(result.byBssid.size());
        emu::Engine::instance().logs.clear();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ParseScanData)->Arg(4)->Arg(16)->Arg(64)->Arg(256);

void BM_FilterAnySsid(benchmark::State& state) {
    emu::Engine::instance().reset();
    const std::string table = scanTable(static_cast<int>(state.range(0)));
    auto reports = anyRequest();
    for (auto _ : state) {
        state.PauseTiming();
        WifiScanResult result = WifiParser::getInstance()->parseScanData(table.c_str());
        emu::Engine::instance().logs.clear();
        state.ResumeTiming();
        result.filterData(reports);
        benchmark::DoNotOptimize(result.reportBySsid.size());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_FilterAnySsid)->Arg(4)->Arg(16)->Arg(64)->Arg(256);

void BM_ParseElements(benchmark::State& state) {
    emu::Engine::instance().reset();
    // SSID, rates, DS, Country, BSS Load, HT Operation, Interworking, VHT Operation.
    std::string ie =
        "000a746573746265642d3567"
        "01088c129824b048606c"
        "030124"
        "0706555320240417"
        "0b0501002a0000"
        "3d162400050000000000000000000000000000000000000000"
        "6b0701001122334455"
        "c005012a000000";
    WifiInformationElementParser parser;
    for (auto _ : state) {
        WifiInformationElementParser::ElementMap map;
        parser.parse(ie.data(), map);
        for (auto& kv : map) {
            delete kv.second;
        }
        emu::Engine::instance().logs.clear();
    }
}
BENCHMARK(BM_ParseElements);

}  // namespace

BENCHMARK_MAIN();
