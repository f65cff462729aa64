// Reads the Wi-Fi daemons' text replies into records; converts address and BCD text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "WifiInformationElementParser.h"
#include "WifiScanResult.h"
#include "WifiStatus.h"

class WifiParser {
  public:
    using ElementMap = std::map<int, WifiInformationElementParser::InformationElement*>;

    static WifiParser* getInstance();

    // One key=value pair of a reply as every reply reader cuts it: a key ends at '=', its value at
    // the next '=' or line end; value is null when the text ends first. Both point into the text.
    struct ReplyPair {
        char* key;
        char* value;
    };
    // Cuts a writable C text into its pairs, in order (strtok_r in place).
    static std::vector<ReplyPair> cutReply(char* text);

    // One access point as the scan-table reader takes it, with the table row its BSSID came from
    // (1: the first after the header). The texts point into the table read.
    struct ScanRecord {
        std::string_view bssid;
        std::string_view frequency;
        int16_t level = 0;
        std::string_view ssid;
        size_t row = 0;
    };
    // Reads a scan table (a C text, left as it is) the way parseScanData does.
    static std::vector<ScanRecord> readScanTable(const char* table);
    // True when the text begins with six colon-separated hex numbers, stored cut to 8 bits.
    static bool readMac(const char* text, unsigned char (&mac)[6]);

    void parseStatusCmdData(const char* rspData, WifiStatus& status);
    void parseSignalPollCmdData(const char* rspData, WifiStatus& status);
    void parseApStatusCmdData(const char* rspData, WifiStatus& status);
    void parseP2pStatusCmdData(const char* rspData, WifiStatus& status);
    WifiStatus hostapdStatus(const char* rspData);
    void parseBssCmdWifiInfo(const char* rspData, WifiStatus& status);
    void parseBssLoadCmdData(const char* rspData, BssLoad& load);

    WifiScanResult parseScanData(const char* rspData);
    void getScanData();
    int getWifiMode(ElementMap elements, unsigned short freq);
    std::string getHESSIDInfo(ElementMap elements);
    std::string getCountryCode(ElementMap elements);

    void getBSSID(unsigned char (&bssid)[6], const char* text);
    bool extractOctetStr(const char* p, int index, int length, char delimiter, unsigned char* out);
    unsigned char genNumericOctet(const char* octetText);
    static char* MacAddressToString(unsigned char* mac);
    void StringToMac(unsigned char (&mac)[6], const char* str);
    static char* BCDToString(unsigned char (&octets)[10], unsigned char count);

  private:
    WifiParser() = default;
    static WifiParser* instance;
};
