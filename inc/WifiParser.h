// Reads the Wi-Fi daemons' text replies into records; converts address and BCD text.
#pragma once

#include <map>
#include <string>

#include "WifiInformationElementParser.h"
#include "WifiScanResult.h"
#include "WifiStatus.h"

class WifiParser {
  public:
    using ElementMap = std::map<int, WifiInformationElementParser::InformationElement*>;

    static WifiParser* getInstance();

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
