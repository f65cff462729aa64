#include "emu/SupplicantText.h"

#include <cstdio>
#include <cstdlib>

namespace emu {

bool signalPollRssi(const std::string& reply, int16_t& rssi) {
    // The reply is KEY=value lines; RSSI is the one the engine keeps.
    size_t pos = 0;
    while (pos < reply.size()) {
        if (reply.compare(pos, 5, "RSSI=") == 0) {
            rssi = static_cast<int16_t>(std::atoi(reply.c_str() + pos + 5));
            return true;
        }
        const size_t eol = reply.find('\n', pos);
        if (eol == std::string::npos) {
            return false;
        }
        pos = eol + 1;
    }
    return false;
}

std::string writtenSsid(const std::string& bytes) {
    std::string out;
    for (const char c : bytes) {
        switch (c) {
            case '\\':
            case '"':
                out += '\\';
                out += c;
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            case '\x1b':
                out += "\\e";
                break;
            default:
                if (c >= 0x20 && c < 0x7f) {
                    out += c;
                } else {
                    char hex[5];
                    std::snprintf(hex, sizeof hex, "\\x%02x", static_cast<unsigned char>(c));
                    out += hex;
                }
        }
    }
    return out;
}

}  // namespace emu
