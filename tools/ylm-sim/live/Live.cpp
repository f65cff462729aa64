#include "live/Live.h"

#include <unistd.h>

#include <cstdlib>
#include <set>
#include <utility>

#include "VorSupplicantWrapper.h"

namespace ylmsim {
namespace {

std::vector<std::string> splitList(const std::string& text) {
    std::vector<std::string> out;
    size_t pos = 0;
    while (pos <= text.size()) {
        size_t end = text.find(',', pos);
        if (end == std::string::npos) {
            end = text.size();
        }
        std::string item = text.substr(pos, end - pos);
        const size_t first = item.find_first_not_of(" \t");
        const size_t last = item.find_last_not_of(" \t");
        if (first != std::string::npos) {
            out.push_back(item.substr(first, last - first + 1));
        }
        pos = end + 1;
    }
    return out;
}

// 20 MHz channel centres of each band code.
std::vector<unsigned> bandFrequencies(unsigned code) {
    std::vector<unsigned> f;
    if (code == 1) {
        for (unsigned mhz = 2412; mhz <= 2472; mhz += 5) {
            f.push_back(mhz);
        }
        f.push_back(2484);
    } else if (code == 2) {
        for (unsigned mhz = 3660; mhz <= 3690; mhz += 5) {
            f.push_back(mhz);
        }
    } else if (code == 3) {
        for (unsigned mhz = 5180; mhz <= 5320; mhz += 20) {
            f.push_back(mhz);
        }
        for (unsigned mhz = 5500; mhz <= 5720; mhz += 20) {
            f.push_back(mhz);
        }
        for (unsigned mhz = 5745; mhz <= 5825; mhz += 20) {
            f.push_back(mhz);
        }
    }
    return f;
}

// The event name without the interface and priority prefixes ("IFNAME=wlan0 <3>CTRL-...").
std::string eventText(const std::string& msg) {
    size_t pos = 0;
    if (msg.compare(0, 7, "IFNAME=") == 0) {
        pos = msg.find(' ');
        pos = pos == std::string::npos ? msg.size() : pos + 1;
    }
    if (pos < msg.size() && msg[pos] == '<') {
        const size_t close = msg.find('>', pos);
        pos = close == std::string::npos ? msg.size() : close + 1;
    }
    return msg.substr(pos);
}

bool isScanResults(const std::string& msg) {
    return eventText(msg).compare(0, 23, "CTRL-EVENT-SCAN-RESULTS") == 0;
}

std::string firstLine(const std::string& text) {
    const size_t eol = text.find('\n');
    return eol == std::string::npos ? text : text.substr(0, eol);
}

std::string secondsText(double s) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%g", s);
    return buf;
}

}  // namespace

std::string scanFrequencies(const std::string& channelFilter) {
    std::vector<unsigned> freqs;
    for (const auto& item : splitList(channelFilter)) {
        char* end = nullptr;
        const unsigned long code = std::strtoul(item.c_str(), &end, 10);
        if (end == item.c_str() || *end != '\0' || code == 0) {
            continue;  // not a channel code
        }
        if (code == 65535) {
            return "";
        }
        const auto band = bandFrequencies(static_cast<unsigned>(code));
        if (band.empty()) {
            freqs.push_back(static_cast<unsigned>(code));
        } else {
            freqs.insert(freqs.end(), band.begin(), band.end());
        }
    }
    std::string out;
    std::set<unsigned> seen;
    for (unsigned f : freqs) {
        if (seen.insert(f).second) {
            out += (out.empty() ? "" : ",") + std::to_string(f);
        }
    }
    return out;
}

std::string bssidFilterValue(const std::string& bssidFilter) {
    std::string out;
    for (const auto& item : splitList(bssidFilter)) {
        if (item == "ff:ff:ff:ff:ff:ff") {
            return "";
        }
        out += (out.empty() ? "" : " ") + item;
    }
    return out;
}

// ---- live supplicant -------------------------------------------------------------------------

LiveSupplicant::LiveSupplicant(LiveOptions options) : opts(std::move(options)) {
    char dir[] = "/tmp/ylm-sim-XXXXXX";
    if (::mkdtemp(dir) != nullptr) {
        tempDir = dir;
    }
}

LiveSupplicant::~LiveSupplicant() {
    finish();
}

std::string LiveSupplicant::serverPath(int type) const {
    return opts.ctrlDir + "/" + (type == 1 ? opts.p2pIface : opts.iface);
}

bool LiveSupplicant::openType(int type, std::string& error) {
    if (sockets[type].isOpen() && sockets[type].stale()) {
        drop(type, "its socket file was removed or replaced");
    }
    if (sockets[type].isOpen()) {
        return true;
    }
    const std::string path = serverPath(type);
    std::string why;
    if (tempDir.empty()) {
        error = "cannot create a temporary directory for the client sockets";
        return false;
    }
    if (!sockets[type].open(path, tempDir + (type == 1 ? "/p2p" : "/sta"), why)) {
        error = "cannot reach wpa_supplicant at " + why;
        return false;
    }
    std::string reply;
    std::vector<std::string> events;
    const auto r = sockets[type].request("PING", reply, opts.timeout, why, events);
    if (r == CtrlSocket::Ok && reply.compare(0, 4, "PONG") == 0) {
        if (lost[type]) {
            lost[type] = false;
            notices.push_back("wpa_supplicant at " + path + " is back: reconnected");
        }
        return true;
    }
    sockets[type].close();
    if (r == CtrlSocket::Timeout) {
        error = "wpa_supplicant at " + path + " did not answer PING within " +
                secondsText(opts.timeout) + " s";
    } else if (r == CtrlSocket::Failed) {
        error = "cannot reach wpa_supplicant at " + path + ": " + why;
    } else {
        error = "unexpected answer to PING from " + path + ": " + firstLine(reply);
    }
    return false;
}

bool LiveSupplicant::start(std::string& error) {
    return openType(0, error) && attachMonitor(error);
}

bool LiveSupplicant::attachMonitor(std::string& error) {
    std::string why;
    if (!monitor.open(serverPath(0), tempDir + "/mon", why)) {
        error = "cannot open the event monitor: " + why;
        return false;
    }
    std::string reply;
    std::vector<std::string> events;
    const auto r = monitor.request("ATTACH", reply, opts.timeout, why, events);
    countScanEvents(events);
    if (r != CtrlSocket::Ok || reply.compare(0, 2, "OK") != 0) {
        error =
            "wpa_supplicant at " + serverPath(0) + " refused ATTACH" +
            (r == CtrlSocket::Timeout ? " (no answer within " + secondsText(opts.timeout) + " s)"
                                      : ": " + firstLine(r == CtrlSocket::Ok ? reply : why));
        monitor.close();
        return false;
    }
    return true;
}

void LiveSupplicant::finish() {
    if (bssidFilterSet && sockets[0].isOpen()) {
        std::string reply;
        exchange(0, "SET bssid_filter ", reply);
        bssidFilterSet = false;
    }
    if (monitor.isOpen()) {
        std::string reply;
        std::string why;
        std::vector<std::string> events;
        monitor.request("DETACH", reply, 1.0, why, events);
    }
    monitor.close();
    sockets[0].close();
    sockets[1].close();
    if (!tempDir.empty()) {
        ::rmdir(tempDir.c_str());
        tempDir.clear();
    }
}

size_t LiveSupplicant::readEvents() {
    std::string msg;
    while (monitor.receive(msg)) {
        if (isScanResults(msg)) {
            ++scanEvents;
        } else if (eventText(msg).compare(0, 22, "CTRL-EVENT-TERMINATING") == 0) {
            notices.push_back("wpa_supplicant is terminating");
            monitor.close();
            monitorDropped = true;
        }
    }
    // The monitor hears nothing from a daemon started anew at the same path: it watches the
    // socket file, which the new daemon replaces.
    if (monitor.stale()) {
        monitor.close();
        monitorDropped = true;
        if (!lost[0]) {
            drop(0, "its socket file was removed or replaced");
        }
    }
    // No socket file, no daemon: nothing to try. A file without a daemon refuses at once.
    std::string why;
    if (monitorDropped && ::access(serverPath(0).c_str(), F_OK) == 0 && attachMonitor(why)) {
        monitorDropped = false;
        notices.push_back("wpa_supplicant at " + serverPath(0) +
                          " is back: scan-results events attached again");
    }
    const size_t n = scanEvents;
    scanEvents = 0;
    return n;
}

std::vector<std::string> LiveSupplicant::takeNotices() {
    std::vector<std::string> out;
    out.swap(notices);
    return out;
}

bool LiveSupplicant::exchange(int type, const std::string& cmd, std::string& reply) {
    std::string why;
    std::vector<std::string> events;
    const auto r = sockets[type].request(cmd, reply, opts.timeout, why, events);
    countScanEvents(events);
    if (r == CtrlSocket::Timeout) {
        notices.push_back("no reply to \"" + cmd + "\" within " + secondsText(opts.timeout) + " s");
        drop(type, "no reply within " + secondsText(opts.timeout) + " s");
        return false;
    }
    if (r == CtrlSocket::Failed) {
        notices.push_back("\"" + cmd + "\" failed: " + why);
        drop(type, why);
        return false;
    }
    return true;
}

void LiveSupplicant::countScanEvents(const std::vector<std::string>& events) {
    for (const auto& ev : events) {
        if (isScanResults(ev)) {
            ++scanEvents;
        }
    }
}

void LiveSupplicant::drop(int type, const std::string& why) {
    sockets[type].close();
    if (!lost[type]) {
        lost[type] = true;
        notices.push_back("wpa_supplicant at " + serverPath(type) + " is gone (" + why +
                          "): its commands fail until it is back");
    }
}

bool LiveSupplicant::command(int type, const std::string& cmd, std::string& reply) {
    if (!connect(type)) {
        return false;
    }
    std::string wire = cmd;
    if (type == 0 && cmd == VorSupplicantWrapper::scanCmd && !scanFreqs.empty()) {
        wire = "SCAN freq=" + scanFreqs;
        notices.push_back("sent " + wire);
    }
    return exchange(type, wire, reply);
}

bool LiveSupplicant::connect(int type) {
    if (type != 0 && type != 1) {
        return false;
    }
    std::string error;
    if (!openType(type, error)) {
        notices.push_back(error);
        return false;
    }
    return true;
}

bool LiveSupplicant::disconnect(int type) {
    // The station link is the engine's own and stays; the P2P link lives from connect to here.
    if (type == 1) {
        sockets[1].close();
    }
    return true;
}

bool LiveSupplicant::setFrequencyFilter(const std::string& freqs) {
    scanFreqs = scanFrequencies(freqs);
    return true;
}

bool LiveSupplicant::setBssidFilter(const std::string& bssids) {
    const std::string value = bssidFilterValue(bssids);
    if (value.empty() && !bssidFilterSet) {
        return true;  // nothing of ours to take back
    }
    std::string error;
    if (!openType(0, error)) {
        notices.push_back(error);
        return false;
    }
    const std::string cmd = "SET bssid_filter " + value;
    notices.push_back("sent " + cmd);
    std::string reply;
    if (!exchange(0, cmd, reply)) {
        return false;
    }
    if (reply.compare(0, 2, "OK") != 0) {
        notices.push_back("\"" + cmd + "\" refused: " + firstLine(reply));
        return false;
    }
    bssidFilterSet = !value.empty();
    return true;
}

}  // namespace ylmsim
