// Every parser of daemon text, and hostapd_cli output through the access-point channel: the first
// byte picks the parser (and, above 14, one of its options), the rest is its input as an
// exact-size NUL-terminated heap copy, so that a read past the terminator is caught.
#include <cstdlib>
#include <cstring>
#include <memory>

#include "HostapdWrapper.h"
#include "WifiInfoProvider.h"
#include "WifiInformationElementParser.h"
#include "WifiParser.h"
#include "emu/Engine.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    emu::Engine::instance().logs.clear();  // formatting still runs; the capture does not grow
    const std::unique_ptr<char, decltype(&std::free)> copy(static_cast<char*>(std::malloc(size)),
                                                           &std::free);
    char* text = copy.get();
    std::memcpy(text, data + 1, size - 1);
    text[size - 1] = '\0';
    WifiParser& parser = *WifiParser::getInstance();
    WifiStatus status;
    BssLoad load{};
    unsigned char mac[6] = {};
    const unsigned option = data[0] / 14U;
    switch (data[0] % 14) {
        case 0:
            parser.parseStatusCmdData(text, status);
            break;
        case 1:
            parser.parseSignalPollCmdData(text, status);
            break;
        case 2:
            parser.parseApStatusCmdData(text, status);
            break;
        case 3:
            parser.parseP2pStatusCmdData(text, status);
            break;
        case 4:
            parser.hostapdStatus(text);
            break;
        case 5:  // a BSS reply, for the Wi-Fi generation facts and for the load
            status.freq = (option & 1U) != 0 ? 5180 : 2412;
            parser.parseBssCmdWifiInfo(text, status);
            parser.parseBssLoadCmdData(text, load);
            break;
        case 6: {  // information elements as hex, into an element map and a load record
            WifiInformationElementParser elements;
            WifiInformationElementParser::ElementMap map;
            elements.parse(text, map);
            parser.getWifiMode(map, 2412);
            parser.getHESSIDInfo(map);
            parser.getCountryCode(map);
            for (auto& entry : map) {
                entry.second->to_string();
                delete entry.second;
            }
            std::memcpy(text, data + 1, size - 1);  // the walk may have written into it
            elements.parse(text, load);
            break;
        }
        case 7: {
            WifiScanResult moved;
            moved = parser.parseScanData(text);
            break;
        }
        case 8:
            parser.getBSSID(mac, text);
            WifiParser::MacAddressToString(mac);
            break;
        case 9:
            parser.StringToMac(mac, text);
            break;
        case 10:
            parser.genNumericOctet(text);
            break;
        case 11: {
            unsigned char out[3];
            parser.extractOctetStr(text, static_cast<int>(option % 8), 6, ':', out);
            break;
        }
        case 12: {
            unsigned char octets[10] = {};
            std::memcpy(octets, data + 1, size - 1 < sizeof(octets) ? size - 1 : sizeof(octets));
            WifiParser::BCDToString(octets, static_cast<unsigned char>(size > 1 ? data[1] : 0));
            break;
        }
        default: {  // option: the chipset type (bits 0-2) and a failing command (bit 3)
            emu::Engine& e = emu::Engine::instance();
            e.reset();
            e.chipsetType = static_cast<int>(option & 7U);
            const int rc = (option & 8U) != 0 ? 1 : 0;
            e.scriptedForkExec().setResult(
                HostapdWrapper::HOSTAPD_CLI_CMD +
                    (e.chipsetType == 4 ? " -i softap0 " : " -i wlan0 ") + "STATUS",
                std::string(reinterpret_cast<const char*>(data) + 1, size - 1), rc);
            WifiInfoProvider::getInstance()->initializeLinks(e.supplicant());
            WifiInfoProvider::getInstance()->getAPStatus();
            std::string captured = "x";
            const bool ok = HostapdWrapper::getInstance()->execHostapdCommand("STATUS", captured);
            // Never more than the capture buffer holds, and nothing appended on failure.
            if (captured.size() > 1001 || (!ok && captured != "x") || ok != (rc == 0)) {
                __builtin_trap();
            }
            break;
        }
    }
    return 0;
}
