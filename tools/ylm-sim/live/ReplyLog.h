// The replies the plug-in got, for a judge that works out from them what it must have sent: every
// call on the supplicant channel with the reply it brought, between the scenario's steps, the
// scan-ready callbacks and the live link's notices, one JSON object per line. Each line carries
// the engine's clock and how many DSD messages the plug-in had sent by then, which places it
// among the messages.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

#include <nlohmann/json.hpp>

#include "run/SupplicantTap.h"

namespace ylmsim {

class ReplyLog : public SupplicantTap {
  public:
    ReplyLog() = default;
    ReplyLog(const ReplyLog&) = delete;
    ReplyLog& operator=(const ReplyLog&) = delete;
    ~ReplyLog() override;

    bool open(const std::string& path, std::string& error);
    bool isOpen() const { return file != nullptr; }

    // Before the scenario's step of that index (0-based, as in its steps list) runs.
    void step(size_t index, int line);
    // Before the engine calls the plug-in's scan-ready callback.
    void scanReady();
    void notice(const std::string& text);
    // After the last step: the measurements still running have had their timers until now.
    void end();

    bool command(int type, const std::string& cmd, std::string& reply) override;
    bool connect(int type) override;
    bool disconnect(int type) override;
    bool setFrequencyFilter(const std::string& freqs) override;
    bool setBssidFilter(const std::string& bssids) override;

    // Daemon text as JSON: each byte is the code point of its value, so that texts which are not
    // UTF-8 come back byte for byte (Python: text.encode("latin-1")).
    static std::string bytesAsText(const std::string& bytes);

  private:
    void write(nlohmann::json entry);

    FILE* file = nullptr;
};

}  // namespace ylmsim
