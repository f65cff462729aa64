// The access points of one scan under their text keys, and the request filters over those keys.
#include "WifiScanResult.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "YlmLog.h"

namespace {

constexpr const char* kLogFile = "src/WifiScanResult";
constexpr int kLogModule = ylm::kModuleYlm;

constexpr const char* kSeparator = "&";
// Appended to a prefix to bound a key range from above.
constexpr const char* kRangeEnd = "~";
constexpr const char* kBroadcastBssid = "ff:ff:ff:ff:ff:ff";
constexpr const char* kAnySsid = "AnySSID";

constexpr const char* kBand24 = "24ghtz";
constexpr const char* kBand36 = "36ghtz";
constexpr const char* kBand5 = "5ghtz";

constexpr uint16_t kCodeBand24 = 1;
constexpr uint16_t kCodeBand36 = 2;
constexpr uint16_t kCodeBand5 = 3;
constexpr size_t kChannelKeyRoom = 10;

// Band key of a frequency in MHz; empty outside the three bands.
const char* bandKey(uint16_t freq) {
    if (freq >= 2412 && freq <= 2484) {
        return kBand24;
    }
    if (freq >= 3657 && freq <= 3692) {
        return kBand36;
    }
    if (freq >= 5035 && freq <= 5825) {
        return kBand5;
    }
    return "";
}

// Text form of a channel code: a band key for codes 1 to 3, the decimal number otherwise.
std::string channelKeyOf(uint16_t code) {
    char* buf = static_cast<char*>(std::malloc(kChannelKeyRoom));
    if (buf == nullptr) {
        YLM_LOG_AT(214, 4, "buf is NULL. Unable to allocate memory");
        return "";
    }
    if (code == kCodeBand24) {
        std::snprintf(buf, kChannelKeyRoom, "%s", kBand24);
    } else if (code == kCodeBand36) {
        std::snprintf(buf, kChannelKeyRoom, "%s", kBand36);
    } else if (code == kCodeBand5) {
        std::snprintf(buf, kChannelKeyRoom, "%s", kBand5);
    } else {
        std::snprintf(buf, kChannelKeyRoom, "%lu", static_cast<unsigned long>(code));
    }
    std::string key(buf);
    std::free(buf);
    return key;
}

// The entries whose key lies in [prefix, prefix + "~"], in key order.
template <class Map>
std::pair<typename Map::iterator, typename Map::iterator> prefixRange(Map& map,
                                                                      const std::string& prefix) {
    return {map.lower_bound(prefix), map.upper_bound(prefix + kRangeEnd)};
}

template <class Container>
void takeOver(Container& target, Container& source) {
    target.clear();
    target.swap(source);
}

}  // namespace

WifiScanResult::WifiScanResult()
    : arena(std::make_unique<ScanArena>()),
      scratch(std::make_unique<ScanArena>()),
      byFreqBssidSsid(Store::allocator_type(arena.get())),
      byBssid(Store::allocator_type(arena.get())),
      byFreqOrBand(Store::allocator_type(arena.get())),
      matches(BssidList::allocator_type(arena.get())),
      reportBySsid(Groups::allocator_type(arena.get())) {}

WifiScanResult::WifiScanResult(WifiScanResult&& other) noexcept : WifiScanResult() {
    *this = std::move(other);
}

WifiScanResult& WifiScanResult::operator=(WifiScanResult&& other) noexcept {
    if (this == &other) {
        return *this;
    }
    // Swapping into emptied containers leaves the source empty, which callers rely on. The
    // containers take their arenas along, so the arenas change hands with them.
    takeOver(byFreqBssidSsid, other.byFreqBssidSsid);
    takeOver(byBssid, other.byBssid);
    takeOver(byFreqOrBand, other.byFreqOrBand);
    takeOver(matches, other.matches);
    takeOver(reportBySsid, other.reportBySsid);
    takeOver(ssidBssids, other.ssidBssids);
    arena.swap(other.arena);
    scratch.swap(other.scratch);
    return *this;
}

void WifiScanResult::addData(std::string_view bssid, std::string_view frequency, int16_t level,
                             std::string_view ssid) {
    BssidInfo info;
    info.ssid = arena->text({ssid});
    info.bssid = arena->text({bssid});
    info.frequency = arena->text({frequency});
    info.level = level;
    // Frequencies are compared in 16 bits, as the modem's channel codes are.
    const uint16_t freq =
        frequency.empty() ? 0 : static_cast<uint16_t>(atoi(info.frequency.data()));
    const std::string_view band = bandKey(freq);

    // try_emplace keeps an existing entry: the first scan line with a given key wins.
    byFreqBssidSsid.try_emplace(
        arena->text({info.frequency, kSeparator, info.bssid, kSeparator, info.ssid}), info);
    byBssid.try_emplace(arena->text({info.bssid, kSeparator, info.frequency}), info);
    byFreqOrBand.try_emplace(arena->text({info.frequency, kSeparator, info.bssid}), info);
    if (freq != 0) {
        // Also with an empty band key; those keys are never asked for by a channel code.
        byBssid.try_emplace(arena->text({info.bssid, kSeparator, band}), info);
        byFreqOrBand.try_emplace(arena->text({band, kSeparator, info.bssid}), info);
    }
}

void WifiScanResult::filterData(std::list<MeasurementRequestReport>& reports) {
    for (const MeasurementRequestReport& report : reports) {
        for (const auto& [bssid, codes] : report.bssidChannels) {
            for (uint16_t code : codes) {
                findPartialKey(report.ssid, bssid, code);
            }
        }
    }
    YLM_LOG_AT(243, 1, "dumpReport after filterData");
    dumpReport();
}

void WifiScanResult::findPartialKey(std::string ssid, std::string bssid, uint16_t code) {
    YLM_LOG_AT(198, 1, "WifiScanResult::findPartialKey  %s %s %d", ssid.c_str(), bssid.c_str(),
               static_cast<int>(code));
    std::string channelKey = channelKeyOf(code);
    {
        // The hits of one step live in the scratch arena, given back when the step is done.
        Hits hits{Hits::allocator_type(scratch.get())};
        filterFreqAndBssid(bssid, code, channelKey, hits);
        filterSsid(ssid, std::move(hits));
    }
    scratch->reset();
}

void WifiScanResult::filterFreqAndBssid(std::string& bssid, uint16_t code, std::string& channelKey,
                                        Hits& hits) {
    // Each record counts once per (SSID, BSSID); the first key in order wins.
    auto addHits = [this, &hits](Store::iterator first, Store::iterator last) {
        for (auto it = first; it != last; ++it) {
            const BssidInfo& info = it->second;
            hits.try_emplace(scratch->text({info.ssid, kSeparator, info.bssid}), info);
        }
    };
    const bool anyChannel = code == ANY_CHANNEL;
    const bool anyBssid = bssid == kBroadcastBssid;
    if (!anyChannel && anyBssid) {
        auto range = prefixRange(byFreqOrBand, channelKey);
        addHits(range.first, range.second);
    } else if (anyChannel && !anyBssid) {
        auto range = prefixRange(byBssid, bssid);
        addHits(range.first, range.second);
    } else if (anyChannel && anyBssid) {
        addHits(byBssid.begin(), byBssid.end());
    } else {
        auto it = byBssid.find(bssid + kSeparator + channelKey);
        if (it != byBssid.end()) {
            addHits(it, std::next(it));
        }
    }
}

void WifiScanResult::filterSsid(std::string& ssid, Hits hits) {
    const BssidList::allocator_type keep(arena.get());
    if (std::strcmp(ssid.c_str(), kAnySsid) == 0) {
        // Any SSID: every hit is filed under its own SSID.
        for (const auto& entry : hits) {
            const BssidInfo& info = entry.second;
            matches.push_back(info);
            reportBySsid.try_emplace(info.ssid, keep).first->second.push_back(info);
        }
        return;
    }
    if (hits.empty()) {
        return;
    }
    // A prefix range: SSIDs that begin with the requested one are filed under it too.
    BssidList group(keep);
    auto range = prefixRange(hits, ssid);
    for (auto it = range.first; it != range.second; ++it) {
        matches.push_back(it->second);
        group.push_back(it->second);
    }
    // The first group of a requested SSID is kept; later steps only add to the matches.
    if (reportBySsid.find(ssid) == reportBySsid.end()) {
        reportBySsid.emplace(arena->text({ssid}), std::move(group));
    }
}

void WifiScanResult::dumpReport() {
    for (const auto& [ssid, list] : reportBySsid) {
        YLM_LOG_AT(254, 1, "ssid :%s", ssid.data());
        YLM_LOG_AT(255, 1, "bssid lsit length :%d", static_cast<int>(list.size()));
        for (const BssidInfo& info : list) {
            YLM_LOG_AT(261, 1, "RawMeasurement bssid channel %s  %s  %d", info.bssid.data(),
                       info.frequency.data(), static_cast<int>(info.level));
        }
    }
}
