// Walks 802.11 information elements given as hex text.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "WifiStatus.h"

class WifiInformationElementParser {
  public:
    class InformationElement {
      public:
        virtual ~InformationElement() = default;
        virtual bool parse(std::vector<unsigned char> body) = 0;
        virtual const char* get_name() = 0;
        virtual int get_id() = 0;
        virtual std::string to_string();
    };

    class BSSLoadElement : public InformationElement {
      public:
        bool parse(std::vector<unsigned char> body) override;
        const char* get_name() override;
        int get_id() override;
        std::string to_string() override;
        unsigned char mChannelUtilization = 0;
    };

    class HTOperationElement : public InformationElement {
      public:
        bool parse(std::vector<unsigned char> body) override;
        const char* get_name() override;
        int get_id() override;
        std::string to_string() override;
        unsigned char mPrimaryChannel = 0;
        unsigned char mChannelWidth = 0;
    };

    class VHTOperationElement : public InformationElement {
      public:
        bool parse(std::vector<unsigned char> body) override;
        const char* get_name() override;
        int get_id() override;
        std::string to_string() override;
        unsigned char mChannelWidth = 0;
        unsigned char mSeg1CenterFreq = 0;
    };

    class ERPElement : public InformationElement {
      public:
        bool parse(std::vector<unsigned char> body) override;
        const char* get_name() override;
        int get_id() override;
    };

    class SupportedRateElement : public InformationElement {
      public:
        ~SupportedRateElement() override = default;
        bool parse(std::vector<unsigned char> body) override;
        const char* get_name() override;
        int get_id() override;
        static int getRateFromByte(int octet);
        std::vector<int> rates;
    };

    class ExtendedSupportedRateElement : public SupportedRateElement {
      public:
        const char* get_name() override;
        int get_id() override;
    };

    class InterworkingElement : public InformationElement {
      public:
        bool parse(std::vector<unsigned char> body) override;
        const char* get_name() override;
        int get_id() override;
        std::string hessid;
    };

    class CountryElement : public InformationElement {
      public:
        bool parse(std::vector<unsigned char> body) override;
        const char* get_name() override;
        int get_id() override;
        std::string countryCode;
    };

    using ElementMap = std::map<int, InformationElement*>;

    int hex_to_dec(char c);
    char* parse_next_tlv(char* text, unsigned char* id, std::vector<unsigned char>* value);
    void parse(char* text, BssLoad& load);
    void parse(char* text, ElementMap& elements);
    int calc_freq(unsigned char htChannelWidth, unsigned char vhtChannelWidth);
    unsigned char convert_lowest(unsigned char value);
};
