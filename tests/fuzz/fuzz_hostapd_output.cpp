// Arbitrary hostapd_cli output, up to and beyond the capture buffer, through the access-point
// channel and the provider's status parsing. Input: chipset type byte, exit-status byte, output.
#include <cstdint>
#include <string>

#include "HostapdWrapper.h"
#include "WifiInfoProvider.h"
#include "emu/Engine.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) {
        return 0;
    }
    emu::Engine& e = emu::Engine::instance();
    e.reset();
    e.chipsetType = data[0] % 8;
    const int rc = (data[1] & 0x80) != 0 ? data[1] & 0x7f : 0;
    const std::string output(reinterpret_cast<const char*>(data) + 2, size - 2);
    const std::string selector = e.chipsetType == 4 ? " -i softap0 " : " -i wlan0 ";
    e.scriptedForkExec().setResult(HostapdWrapper::HOSTAPD_CLI_CMD + selector + "STATUS", output,
                                   rc);

    WifiInfoProvider* provider = WifiInfoProvider::getInstance();
    provider->initializeLinks(e.supplicant());
    provider->getAPStatus();

    std::string captured = "x";
    const bool ok = HostapdWrapper::getInstance()->execHostapdCommand("STATUS", captured);
    // Never more than the capture buffer holds, and nothing appended on failure.
    if (captured.size() > 1001 || (!ok && captured != "x") || ok != (rc == 0)) {
        __builtin_trap();
    }
    return 0;
}
