// Information elements as hex text, walked into an element map and into a BSS load record.
#include "FuzzText.h"
#include "WifiInformationElementParser.h"
#include "WifiParser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::startRun();
    WifiInformationElementParser parser;
    {
        const fuzz::Text text(data, size);
        WifiInformationElementParser::ElementMap elements;
        parser.parse(text.get(), elements);
        WifiParser& reader = *WifiParser::getInstance();
        reader.getWifiMode(elements, 2412);
        reader.getHESSIDInfo(elements);
        reader.getCountryCode(elements);
        for (auto& entry : elements) {
            entry.second->to_string();
            delete entry.second;
        }
    }
    const fuzz::Text text(data, size);
    BssLoad load{};
    parser.parse(text.get(), load);
    return 0;
}
