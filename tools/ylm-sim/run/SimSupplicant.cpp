#include "run/SimSupplicant.h"

#include <algorithm>

#include "VorSupplicantWrapper.h"

namespace ylmsim {

void SimSupplicant::apply(const DaemonConfig& config) {
    for (const auto& rule : config.rules) {
        scripts[{rule.type, rule.command}] = Script{rule.replies, 0};
    }
    if (config.scanDelay) {
        scanDelay = *config.scanDelay;
    }
    for (const auto& [type, fail] : config.connectFailure) {
        if (fail) {
            connectFailures.insert(type);
        } else {
            connectFailures.erase(type);
        }
    }
}

bool SimSupplicant::command(int type, const std::string& cmd, std::string& reply) {
    auto it = scripts.find({type, cmd});
    if (it == scripts.end()) {
        ++missing[std::string(type == 1 ? "p2p: " : "sta: ") + cmd];
        return false;
    }
    Script& s = it->second;
    const Reply& r = s.replies[s.next];
    if (s.next + 1 < s.replies.size()) {
        ++s.next;
    }
    if (r.fail) {
        return false;
    }
    reply = r.text;
    // An accepted scan finishes after the scripted delay, as the daemon's results event would.
    if (type == 0 && cmd == VorSupplicantWrapper::scanCmd && scanDelay >= 0) {
        const int64_t due = emu::Engine::instance().now() + scanDelay;
        pendingScans.insert(std::upper_bound(pendingScans.begin(), pendingScans.end(), due), due);
    }
    return true;
}

}  // namespace ylmsim
