#include "live/ReplyLog.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "emu/Engine.h"

namespace ylmsim {
namespace {

const char* iface(int type) {
    return type == 1 ? "p2p" : "sta";
}

}  // namespace

ReplyLog::~ReplyLog() {
    if (file != nullptr) {
        std::fclose(file);
    }
}

bool ReplyLog::open(const std::string& path, std::string& error) {
    file = std::fopen(path.c_str(), "w");
    if (file == nullptr) {
        error = "cannot write the reply log " + path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

std::string ReplyLog::bytesAsText(const std::string& bytes) {
    std::string out;
    for (const char c : bytes) {
        const auto b = static_cast<unsigned char>(c);
        if (b < 0x80) {
            out += c;
        } else {
            out += static_cast<char>(0xC0 | b >> 6);
            out += static_cast<char>(0x80 | (b & 0x3F));
        }
    }
    return out;
}

void ReplyLog::write(nlohmann::json entry) {
    if (file == nullptr) {
        return;
    }
    const emu::Engine& e = emu::Engine::instance();
    entry["time"] = e.now();
    entry["sent"] = e.messages.size();
    std::fprintf(file, "%s\n", entry.dump().c_str());
    std::fflush(file);  // a run that is killed keeps what it logged
}

void ReplyLog::step(size_t index, int line) {
    write({{"step", index}, {"line", line}});
}

void ReplyLog::scanReady() {
    write({{"call", "scan_ready"}});
}

void ReplyLog::notice(const std::string& text) {
    write({{"notice", bytesAsText(text)}});
}

void ReplyLog::end() {
    write({{"end", true}});
}

bool ReplyLog::command(int type, const std::string& cmd, std::string& reply) {
    const bool ok = inner->command(type, cmd, reply);
    // The engine has noted the call before passing it on: its form says whether the plug-in
    // gave a buffer for the reply, and how much of the reply that buffer holds.
    const auto& calls = emu::Engine::instance().supplicantEvents;
    const bool buffer = !calls.empty() && calls.back().kind == emu::SupplicantEvent::Command;
    nlohmann::json entry{{"call", "command"},
                         {"iface", iface(type)},
                         {"cmd", bytesAsText(cmd)},
                         {"room", buffer ? calls.back().replyRoom : 0},
                         {"ok", ok}};
    if (ok) {
        entry["reply"] = bytesAsText(reply);
    }
    write(std::move(entry));
    return ok;
}

bool ReplyLog::connect(int type) {
    const bool ok = inner->connect(type);
    write({{"call", "connect"}, {"iface", iface(type)}, {"ok", ok}});
    return ok;
}

bool ReplyLog::disconnect(int type) {
    const bool ok = inner->disconnect(type);
    write({{"call", "disconnect"}, {"iface", iface(type)}, {"ok", ok}});
    return ok;
}

bool ReplyLog::setFrequencyFilter(const std::string& freqs) {
    const bool ok = inner->setFrequencyFilter(freqs);
    write({{"call", "frequency_filter"}, {"text", bytesAsText(freqs)}, {"ok", ok}});
    return ok;
}

bool ReplyLog::setBssidFilter(const std::string& bssids) {
    const bool ok = inner->setBssidFilter(bssids);
    write({{"call", "bssid_filter"}, {"text", bytesAsText(bssids)}, {"ok", ok}});
    return ok;
}

}  // namespace ylmsim
