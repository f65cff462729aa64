// The scan-results table, read into a scan result store.
#include "FuzzText.h"
#include "WifiParser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::startRun();
    const fuzz::Text text(data, size);
    WifiScanResult result = WifiParser::getInstance()->parseScanData(text.get());
    WifiScanResult moved;
    moved = std::move(result);
    return 0;
}
