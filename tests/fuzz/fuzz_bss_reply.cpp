// A reply to the BSS command, read both for the Wi-Fi generation facts and for the BSS load.
#include "FuzzText.h"
#include "WifiParser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::startRun();
    const fuzz::Text text(data, size);
    WifiParser& parser = *WifiParser::getInstance();
    WifiStatus status;
    status.freq = size > 0 && (data[0] & 1) != 0 ? 5180 : 2412;
    parser.parseBssCmdWifiInfo(text.get(), status);
    BssLoad load{};
    parser.parseBssLoadCmdData(text.get(), load);
    return 0;
}
