// MAC, octet and BCD text: the first byte picks the conversion, the rest is its input.
#include "FuzzText.h"
#include "WifiParser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    fuzz::startRun();
    const fuzz::Text text(data + 1, size - 1);
    WifiParser& parser = *WifiParser::getInstance();
    unsigned char mac[6] = {};
    switch (data[0] % 5) {
        case 0:
            parser.getBSSID(mac, text.get());
            WifiParser::MacAddressToString(mac);
            break;
        case 1:
            parser.StringToMac(mac, text.get());
            break;
        case 2:
            parser.genNumericOctet(text.get());
            break;
        case 3: {
            unsigned char out[3];
            parser.extractOctetStr(text.get(), data[0] / 5 % 8, 6, ':', out);
            break;
        }
        default: {
            unsigned char octets[10] = {};
            std::memcpy(octets, data + 1, size - 1 < sizeof(octets) ? size - 1 : sizeof(octets));
            WifiParser::BCDToString(octets, static_cast<unsigned char>(size > 1 ? data[1] : 0));
            break;
        }
    }
    return 0;
}
