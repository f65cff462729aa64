// Request filters over a scan table, both decoded from the input: a few SSIDs, BSSIDs and
// frequencies from small sets (so that keys collide and prefixes overlap) plus free texts.
#include <fuzzer/FuzzedDataProvider.h>

#include <list>

#include "emu/Engine.h"
#include "WifiScanResult.h"

namespace {

std::string pick(FuzzedDataProvider& in, std::initializer_list<const char*> fixed) {
    const size_t choice = in.ConsumeIntegralInRange<size_t>(0, fixed.size());
    if (choice == fixed.size()) {
        return in.ConsumeRandomLengthString(12);
    }
    return *(fixed.begin() + choice);
}

std::string ssid(FuzzedDataProvider& in) {
    return pick(in, {"Home", "HomeNet", "Home~", "", "AnySSID"});
}
std::string bssid(FuzzedDataProvider& in) {
    return pick(in, {"ff:ff:ff:ff:ff:ff", "02:00:00:00:03:00", "02:00:00:00:03:00&", ""});
}

uint16_t code(FuzzedDataProvider& in) {
    static const uint16_t fixed[] = {1, 2, 3, ANY_CHANNEL, 2412, 2437, 5180, 0};
    const size_t choice = in.ConsumeIntegralInRange<size_t>(0, sizeof(fixed) / sizeof(fixed[0]));
    return choice < sizeof(fixed) / sizeof(fixed[0]) ? fixed[choice]
                                                     : in.ConsumeIntegral<uint16_t>();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    emu::Engine::instance().logs.clear();
    FuzzedDataProvider in(data, size);
    WifiScanResult scan;
    for (int n = in.ConsumeIntegralInRange(0, 12); n > 0; --n) {
        const std::string freq = pick(in, {"2412", "2437", "5180", "3660", "67948", "", "0"});
        scan.addData(bssid(in), freq, in.ConsumeIntegral<int16_t>(), ssid(in));
    }
    std::list<MeasurementRequestReport> reports;
    for (int n = in.ConsumeIntegralInRange(0, 4); n > 0; --n) {
        MeasurementRequestReport report;
        report.ssid = ssid(in);
        for (int b = in.ConsumeIntegralInRange(0, 3); b > 0; --b) {
            auto& codes = report.bssidChannels[bssid(in)];
            for (int c = in.ConsumeIntegralInRange(0, 3); c > 0; --c) {
                codes.insert(code(in));
            }
        }
        reports.push_back(report);
    }
    scan.filterData(reports);
    // Every grouped hit is also one of the matches.
    size_t grouped = 0;
    for (const auto& group : scan.reportBySsid) {
        grouped += group.second.size();
    }
    if (grouped > scan.matches.size()) {
        __builtin_trap();
    }
    return 0;
}
