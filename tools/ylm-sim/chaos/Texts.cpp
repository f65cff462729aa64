#include "chaos/Texts.h"

#include <fstream>
#include <sstream>
#include <utility>

#include "emu/DsdDecoder.h"
#include "record/ScenarioText.h"

namespace ylmsim::chaos {
namespace {

const std::map<ReplyKind, std::vector<std::string>>& captures() {
    static const std::map<ReplyKind, std::vector<std::string>> files = {
        {ReplyKind::Status,
         {"sta-status.txt", "sta5-status.txt", "sta-he-status.txt", "sta-status-with-p2p.txt"}},
        {ReplyKind::SignalPoll,
         {"sta-signal-poll.txt", "sta5-signal-poll.txt", "sta-he-signal-poll.txt"}},
        {ReplyKind::ScanResults, {"sta-scan-results.txt", "sta5-scan-results-with-p2p.txt"}},
        {ReplyKind::Bss,
         {"sta-bss-ap2g.txt", "sta-bss-ap5g.txt", "sta-bss-aphe.txt", "sta5-bss-ap5g.txt",
          "sta5-bss-p2p-go.txt", "sta-he-bss-aphe.txt"}},
        {ReplyKind::P2pStatus, {"p2p-status.txt"}},
        {ReplyKind::Hostapd,
         {"hostapd-status.txt", "hostapd-5g-status.txt", "hostapd-he-status.txt"}},
    };
    return files;
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        out.push_back(line);
    }
    return out;
}

std::string joined(const std::vector<std::string>& ls) {
    std::string out;
    for (const auto& l : ls) {
        out += l + "\n";
    }
    return out;
}

std::string ssid(Rng& r) {
    switch (r.below(9)) {
        case 0:
            return "testbed-2g";
        case 1:
            return "testbed-5g";
        case 2:
            return "testbed-he";
        case 3:
            return "DIRECT-4m";
        case 4:
            return "";  // a hidden network's row
        case 5:
            return "Caf\\xc3\\xa9";  // as wpa_supplicant escapes it
        case 6:
            return std::string(static_cast<size_t>(r.range(33, 48)), 'L');
        case 7:
            return "crowd";
        default: {
            std::string s(static_cast<size_t>(r.range(1, 32)), ' ');
            for (auto& c : s) {
                c = static_cast<char>(r.range(0x21, 0x7E));
            }
            return s;
        }
    }
}

std::string number(Rng& r) {
    switch (r.below(6)) {
        case 0:
            return "";
        case 1:
            return "abc";
        case 2:
            return std::to_string(r.range(-2147483648LL, 2147483647LL));
        default:
            return std::to_string(r.range(-130, 70000));
    }
}

// An information element of an id the parser knows, with a body of a likely or a wrong length.
std::string element(Rng& r) {
    const uint8_t id = r.pick<uint8_t>({0, 1, 7, 11, 42, 45, 50, 61, 107, 191, 192, 221, 255});
    size_t len = static_cast<size_t>(r.below(24));
    if (r.percent(50)) {
        const std::map<uint8_t, size_t> usual = {{11, 5},  {61, 22}, {192, 5}, {42, 1},
                                                 {107, 9}, {7, 6},   {1, 8},   {50, 4}};
        const auto it = usual.find(id);
        len = it != usual.end() ? it->second : len;
    }
    return std::string(1, static_cast<char>(id)) + static_cast<char>(len) + r.bytes(len);
}

}  // namespace

std::string mutate(std::string text, Rng& r) {
    const auto times = r.range(1, 4);
    for (int64_t i = 0; i < times; ++i) {
        const size_t at = static_cast<size_t>(r.below(text.size() + 1));
        const size_t len = static_cast<size_t>(r.range(1, 16));
        switch (r.below(6)) {
            case 0:
                if (at < text.size()) {
                    text[at] = static_cast<char>(r.next() & 0xFF);
                }
                break;
            case 1:
                text.erase(at, len);
                break;
            case 2:
                text.insert(at, text.substr(at, len));
                break;
            case 3:
                text.insert(at, r.bytes(len));
                break;
            case 4:
                text.resize(at);
                break;
            default:
                text.insert(at, r.pick<std::string>({"\t", "\n", "=", std::string(1, '\0'), ":"}));
                break;
        }
    }
    return text;
}

const std::vector<std::string>& Texts::bssids() {
    static const std::vector<std::string> pool = {
        "02:00:00:00:03:00", "02:00:00:00:04:00", "02:00:00:00:05:00", "06:00:00:00:00:00",
        "02:00:00:00:06:00", "02:00:00:00:0a:00", "ff:ff:ff:ff:ff:ff", "00:00:00:00:00:00"};
    return pool;
}

bool Texts::load(const std::string& dir, std::string& error) {
    for (const auto& [kind, names] : captures()) {
        for (const auto& name : names) {
            std::string path = dir;
            path.append("/").append(name);
            std::ifstream in(path, std::ios::binary);
            if (!in) {
                error = "cannot read the capture " + path;
                return false;
            }
            std::ostringstream text;
            text << in.rdbuf();
            files[name] = text.str();
        }
    }
    for (const auto& name : captures().at(ReplyKind::ScanResults)) {
        const auto ls = lines(files[name]);
        scanRows.insert(scanRows.end(), ls.begin() + (ls.empty() ? 0 : 1), ls.end());
    }
    return true;
}

std::string Texts::file(const std::string& name) const {
    return files.at(name);
}

std::string Texts::genuine(ReplyKind kind, Rng& r) const {
    if (kind == ReplyKind::Scan) {
        return "OK\n";
    }
    return file(r.pick(captures().at(kind)));
}

Reply Texts::reply(ReplyKind kind, Rng& r) const {
    const auto u = r.below(100);
    if (kind == ReplyKind::Scan) {
        return u < 15 ? Reply{true, ""} : Reply{false, u < 30 ? "FAIL-BUSY\n" : "OK\n"};
    }
    if (u < 8) {
        return {true, ""};
    }
    if (u < 13) {
        return {false, ""};
    }
    if (u < 19) {
        // Longer than the 4095 bytes the plug-in's buffer holds.
        const auto size = static_cast<size_t>(r.range(4100, 12000));
        std::string big;
        while (big.size() < size) {
            big += madeOver(kind, r);
        }
        return {false, big.substr(0, size)};
    }
    if (u < 25) {
        return {false, r.bytes(static_cast<size_t>(r.below(600)))};
    }
    if (u < 40) {
        return {false, mutate(genuine(kind, r), r)};
    }
    if (u < 70) {
        return {false, madeOver(kind, r)};
    }
    return {false, genuine(kind, r)};
}

std::string Texts::madeOver(ReplyKind kind, Rng& r) const {
    switch (kind) {
        case ReplyKind::ScanResults:
            return scanTable(r);
        case ReplyKind::Bss:
            return bssReply(r);
        default:
            return keyValues(kind, r);
    }
}

std::string Texts::scanTable(Rng& r) const {
    std::string out = "bssid / frequency / signal level / flags / ssid\n";
    // More access points of one SSID than a report message holds (58), most of the time within
    // the 4095 bytes the plug-in reads.
    const bool crowded = r.percent(25);
    const auto rows = crowded ? r.range(56, 88) : r.range(0, 8);
    for (int64_t i = 0; i < rows; ++i) {
        if (!crowded && r.percent(50)) {
            out += r.pick(scanRows) + "\n";
            continue;
        }
        char bssid[18];
        std::snprintf(bssid, sizeof bssid, "02:00:00:00:%02x:%02x", static_cast<unsigned>(i),
                      static_cast<unsigned>(r.below(4)));
        out += (crowded || r.percent(30) ? std::string(bssid) : r.pick(bssids())) + "\t" +
               std::to_string(r.pick<int>({2412, 2437, 2462, 2484, 5180, 5745, 5825, 0})) + "\t" +
               std::to_string(r.range(-95, -20)) + "\t" +
               r.pick<std::string>({"[ESS]", "[WPA2-PSK-CCMP][ESS]", "[WPS][ESS][P2P]", ""}) +
               "\t" + (crowded ? std::string("crowd") : ssid(r)) + "\n";
    }
    return out;
}

std::string Texts::bssReply(Rng& r) const {
    auto ls = lines(genuine(ReplyKind::Bss, r));
    for (auto& l : ls) {
        if (l.compare(0, 3, "ie=") != 0 || r.percent(10)) {
            continue;
        }
        std::string ie;
        if (!hexBytes(l.substr(3), ie)) {
            continue;
        }
        const auto edits = r.range(1, 3);
        for (int64_t i = 0; i < edits; ++i) {
            const size_t at = static_cast<size_t>(r.below(ie.size() + 1));
            switch (r.below(5)) {
                case 0:
                    ie.insert(at, element(r));
                    break;
                case 1:
                    ie.insert(0, 2, '\0');  // a hidden network's empty SSID first
                    break;
                case 2:
                    ie.resize(at);
                    break;
                case 3:
                    if (at < ie.size()) {
                        ie[at] = static_cast<char>(r.next() & 0xFF);
                    }
                    break;
                default:
                    ie = element(r) + element(r);
                    break;
            }
        }
        l = "ie=" + emu::toHex(std::vector<uint8_t>(ie.begin(), ie.end())) +
            r.pick<std::string>({"", "", "", "0", "zz"});
    }
    return joined(ls);
}

std::string Texts::keyValues(ReplyKind kind, Rng& r) const {
    auto ls = lines(genuine(kind, r));
    const auto edits = r.range(1, 3);
    for (int64_t i = 0; i < edits && !ls.empty(); ++i) {
        auto& l = ls[r.below(ls.size())];
        const std::string key = l.substr(0, l.find('=') + 1);
        switch (r.below(6)) {
            case 0:
                l = ls.back();
                ls.pop_back();  // a line gone (bssid gone: not associated)
                break;
            case 1:
                l = key + number(r);
                break;
            case 2:
                l = key + ssid(r);
                break;
            case 3:
                l = key + r.pick(bssids()).substr(0, static_cast<size_t>(r.range(0, 17)));
                break;
            case 4:
                l = key + r.pick<std::string>({"P2P GO", "station", "P2P client", "COMPLETED",
                                               "ASSOCIATED", "DISCONNECTED", "ENABLED",
                                               "192.168.49.1", "fe80::1", "300.1.1.1"});
                break;
            default:
                ls.push_back(r.pick<std::string>({"ip_address=", "wifi_generation=", "RSSI=",
                                                  "ssid[0]=", "freq=", "mode=", "country="}) +
                             number(r));
                break;
        }
    }
    return joined(ls);
}

}  // namespace ylmsim::chaos
