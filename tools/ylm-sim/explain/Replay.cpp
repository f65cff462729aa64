#include "explain/Replay.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace ylmsim::replay {
namespace {

constexpr uint16_t kAnyChannel = 65535;
constexpr const char* kBroadcast = "ff:ff:ff:ff:ff:ff";
constexpr const char* kAnySsid = "AnySSID";
constexpr size_t kSsidBytes = 32;
constexpr uint32_t kMaxSsids = 8;
constexpr uint32_t kMaxBssids = 16;
constexpr uint32_t kMaxChannels = 16;

using Store = std::map<std::string, ScanRecord>;
using Hits = std::map<std::string, ScanRecord>;

// A C text of its own, as the plug-in tokenises a copy of the reply.
std::vector<char> cText(const std::string& text) {
    std::vector<char> copy(text.begin(), text.end());
    copy.push_back('\0');
    return copy;
}

const char* bandKey(uint16_t f) {
    if (f >= 2412 && f <= 2484) {
        return "24ghtz";
    }
    if (f >= 3657 && f <= 3692) {
        return "36ghtz";
    }
    return f >= 5035 && f <= 5825 ? "5ghtz" : "";
}

std::string channelKey(uint16_t code) {
    switch (code) {
        case 1:
            return "24ghtz";
        case 2:
            return "36ghtz";
        case 3:
            return "5ghtz";
        default:
            return std::to_string(code);
    }
}

// A hit counts once per SSID and BSSID, the first key in order winning.
template <class It>
void addHits(It first, It last, Hits& hits) {
    for (It it = first; it != last; ++it) {
        hits.emplace(it->second.ssid + "&" + it->second.bssid, it->second);
    }
}

// Every entry whose key begins with prefix and goes on below "~", as the filter's ranges take.
void addRange(const Store& store, const std::string& prefix, Hits& hits) {
    addHits(store.lower_bound(prefix), store.upper_bound(prefix + "~"), hits);
}

struct Stores {
    Store byBssid;
    Store byFreqOrBand;

    explicit Stores(const std::vector<ScanRecord>& records) {
        for (const auto& r : records) {
            const auto f =
                r.frequency.empty() ? 0 : static_cast<uint16_t>(std::atoi(r.frequency.c_str()));
            byBssid.emplace(r.bssid + "&" + r.frequency, r);
            byFreqOrBand.emplace(r.frequency + "&" + r.bssid, r);
            if (f != 0) {
                byBssid.emplace(r.bssid + "&" + bandKey(f), r);
                byFreqOrBand.emplace(std::string(bandKey(f)) + "&" + r.bssid, r);
            }
        }
    }

    Hits hitsFor(const std::string& bssid, uint16_t code) const {
        Hits hits;
        const bool anyChannel = code == kAnyChannel;
        const bool anyBssid = bssid == kBroadcast;
        if (!anyChannel && anyBssid) {
            addRange(byFreqOrBand, channelKey(code), hits);
        } else if (anyChannel && !anyBssid) {
            addRange(byBssid, bssid, hits);
        } else if (anyChannel) {
            addHits(byBssid.begin(), byBssid.end(), hits);
        } else {
            const auto it = byBssid.find(bssid + "&" + channelKey(code));
            if (it != byBssid.end()) {
                addHits(it, std::next(it), hits);
            }
        }
        return hits;
    }
};

void groupHits(const std::string& ssid, const Hits& hits, Groups& groups) {
    if (std::strcmp(ssid.c_str(), kAnySsid) == 0) {
        for (const auto& [key, r] : hits) {
            groups[r.ssid].push_back(r);
        }
        return;
    }
    if (hits.empty()) {
        return;
    }
    std::vector<ScanRecord> group;
    const auto last = hits.upper_bound(ssid + "~");
    for (auto it = hits.lower_bound(ssid); it != last; ++it) {
        group.push_back(it->second);
    }
    groups.emplace(ssid, std::move(group));
}

int hexDigit(char c) {
    if (c >= '1' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : 0;
}

// One element at pos: false when the text ends inside it or its body is empty (both end the walk).
bool nextElement(const std::string& hex, size_t pos, Element& e) {
    if (hex.size() < pos + 4) {
        return false;
    }
    e.id = static_cast<unsigned>(hexDigit(hex[pos]) * 16 + hexDigit(hex[pos + 1]));
    e.length = static_cast<size_t>(hexDigit(hex[pos + 2])) * 16 +
               static_cast<size_t>(hexDigit(hex[pos + 3]));
    e.offset = pos / 2;
    return e.length != 0 && hex.size() >= pos + 4 + 2 * e.length;
}

bool isHex(char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

}  // namespace

std::vector<ScanRecord> readScanTable(const std::string& text) {
    std::vector<char> copy = cText(text);
    char* const base = copy.data();
    std::vector<size_t> lineStarts{0};
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n') {
            lineStarts.push_back(i + 1);
        }
    }
    // The row of a token is the line it starts on, the header being row 0.
    auto row = [&](const char* token) {
        const auto at = static_cast<size_t>(token - base);
        return static_cast<size_t>(std::upper_bound(lineStarts.begin(), lineStarts.end(), at) -
                                   lineStarts.begin() - 1);
    };
    std::vector<ScanRecord> out;
    ScanRecord holder;
    char* save = nullptr;
    strtok_r(base, "\n", &save);
    char* token = strtok_r(nullptr, "\t", &save);
    while (token != nullptr) {
        holder.bssid = token;
        holder.row = row(token);
        if ((token = strtok_r(nullptr, "\t", &save)) != nullptr) {
            holder.frequency = token;
        }
        if ((token = strtok_r(nullptr, "\t", &save)) != nullptr) {
            holder.level = static_cast<int16_t>(std::atoi(token));
        }
        strtok_r(nullptr, "\t", &save);
        if ((token = strtok_r(nullptr, "\t\n", &save)) != nullptr) {
            holder.ssid = token;
        }
        out.push_back(holder);
        token = strtok_r(nullptr, "\t", &save);
    }
    return out;
}

std::vector<std::vector<std::string>> tableRows(const std::string& text) {
    std::vector<std::vector<std::string>> rows;
    size_t pos = text.find('\n');
    while (pos != std::string::npos && pos + 1 < text.size()) {
        const size_t start = pos + 1;
        pos = text.find('\n', start);
        const std::string line = text.substr(start, pos == std::string::npos ? pos : pos - start);
        std::vector<std::string> columns;
        size_t from = 0;
        for (size_t tab = line.find('\t'); tab != std::string::npos; tab = line.find('\t', from)) {
            columns.push_back(line.substr(from, tab - from));
            from = tab + 1;
        }
        columns.push_back(line.substr(from));
        rows.push_back(std::move(columns));
    }
    return rows;
}

bool scanMode(const dsd_start_wifi_meas_ind_msg_v01& ind) {
    const char* ssid = ind.ssid_list[0].ssid;
    return ind.ssid_list_valid == 0 ||
           std::any_of(ssid, ssid + kSsidBytes, [](char c) { return c != 0; });
}

std::vector<Filter> requestFilters(const dsd_start_wifi_meas_ind_msg_v01& ind) {
    std::vector<Filter> filters;
    if (ind.ssid_list_valid == 0) {
        return filters;
    }
    for (uint32_t i = 0; i < std::min(ind.ssid_list_len, kMaxSsids); ++i) {
        const auto& entry = ind.ssid_list[i];
        Filter f;
        const bool any = std::all_of(entry.ssid, entry.ssid + kSsidBytes,
                                     [](char c) { return static_cast<unsigned char>(c) == 0xFF; });
        f.ssid = any ? kAnySsid : std::string(entry.ssid, strnlen(entry.ssid, kSsidBytes));
        for (uint32_t j = 0; j < std::min(entry.bssid_list_len, kMaxBssids); ++j) {
            const auto& b = entry.bssid_list[j];
            char mac[18];
            std::snprintf(mac, sizeof mac, "%02x:%02x:%02x:%02x:%02x:%02x", b.bssid[0], b.bssid[1],
                          b.bssid[2], b.bssid[3], b.bssid[4], b.bssid[5]);
            const uint32_t n = std::min(b.channel_list_len, kMaxChannels);
            f.bssidChannels.emplace(mac, std::set<uint16_t>(std::begin(b.channel_list),
                                                            std::begin(b.channel_list) + n));
        }
        filters.push_back(std::move(f));
    }
    return filters;
}

Groups groupMatches(const std::vector<ScanRecord>& records, const std::vector<Filter>& filters) {
    const Stores stores(records);
    Groups groups;
    for (const auto& f : filters) {
        for (const auto& [bssid, codes] : f.bssidChannels) {
            for (const uint16_t code : codes) {
                groupHits(f.ssid, stores.hitsFor(bssid, code), groups);
            }
        }
    }
    return groups;
}

std::vector<std::string> replyValues(const std::string& reply, const std::string& key) {
    std::vector<std::string> values;
    std::vector<char> copy = cText(reply);
    char* save = nullptr;
    for (char* k = strtok_r(copy.data(), "=", &save); k != nullptr;
         k = strtok_r(nullptr, "=", &save)) {
        const char* value = strtok_r(nullptr, "=\n", &save);
        if (value != nullptr && key == k) {
            values.emplace_back(value);
        }
    }
    return values;
}

ElementWalk walkElements(const std::string& hex) {
    ElementWalk walk;
    size_t pos = 0;
    Element e;
    while (nextElement(hex, pos, e)) {
        walk.read.push_back(e);
        pos += 4 + 2 * e.length;
    }
    if (hex.size() < pos + 4 || e.length != 0) {
        return walk;  // the text ended, or its last element is cut short
    }
    walk.endedByEmpty = true;
    walk.empty = e;
    // Past it, empty elements are stepped over, so everything the walk missed is counted.
    for (pos += 4; hex.size() >= pos + 4; pos += 4 + 2 * e.length) {
        if (nextElement(hex, pos, e)) {
            walk.unread.push_back(e);
        } else if (e.length != 0) {
            break;
        }
    }
    return walk;
}

std::string unescapeSsid(const std::string& text) {
    static const std::map<char, char> kSimple = {{'\\', '\\'}, {'"', '"'},  {'n', '\n'},
                                                 {'r', '\r'},  {'t', '\t'}, {'e', '\x1b'}};
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool escape = text[i] == '\\';
        const auto simple =
            escape && i + 1 < text.size() ? kSimple.find(text[i + 1]) : kSimple.end();
        if (simple != kSimple.end()) {
            out += simple->second;
            ++i;
        } else if (escape && i + 3 < text.size() && text[i + 1] == 'x' && isHex(text[i + 2]) &&
                   isHex(text[i + 3])) {
            out += static_cast<char>(std::stoi(text.substr(i + 2, 2), nullptr, 16));
            i += 3;
        } else {
            out += text[i];  // a lone backslash stays as it is
        }
    }
    return out;
}

bool readsAsMac(const std::string& bssid) {
    unsigned v[6];
    return std::sscanf(bssid.c_str(), "%x:%x:%x:%x:%x:%x", &v[0], &v[1], &v[2], &v[3], &v[4],
                       &v[5]) == 6;
}

}  // namespace ylmsim::replay
