// The key=value reply parsers: the first byte picks the parser, the rest is the reply text.
#include "FuzzText.h"
#include "WifiParser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    fuzz::startRun();
    const fuzz::Text text(data + 1, size - 1);
    WifiParser& parser = *WifiParser::getInstance();
    WifiStatus status;
    switch (data[0] % 5) {
        case 0:
            parser.parseStatusCmdData(text.get(), status);
            break;
        case 1:
            parser.parseSignalPollCmdData(text.get(), status);
            break;
        case 2:
            parser.parseApStatusCmdData(text.get(), status);
            break;
        case 3:
            parser.parseP2pStatusCmdData(text.get(), status);
            break;
        default:
            status = parser.hostapdStatus(text.get());
            break;
    }
    return 0;
}
