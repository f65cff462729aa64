// Walks 802.11 information elements given as hex text.
#pragma once

#include <cstddef>
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

    // Every element also reads a body in place (parse reads a copy), so that the walk needs no
    // copy of each body; the three of the load walk write their text form into a buffer.
    static constexpr size_t kTextRoom = 1024;

    class BSSLoadElement : public InformationElement {
      public:
        bool parse(std::vector<unsigned char> body) override;
        const char* get_name() override;
        int get_id() override;
        std::string to_string() override;
        bool read(const unsigned char* body, size_t length);
        void format(char (&text)[kTextRoom]);
        unsigned char mChannelUtilization = 0;
    };

    class HTOperationElement : public InformationElement {
      public:
        bool parse(std::vector<unsigned char> body) override;
        const char* get_name() override;
        int get_id() override;
        std::string to_string() override;
        bool read(const unsigned char* body, size_t length);
        void format(char (&text)[kTextRoom]);
        unsigned char mPrimaryChannel = 0;
        unsigned char mChannelWidth = 0;
    };

    class VHTOperationElement : public InformationElement {
      public:
        bool parse(std::vector<unsigned char> body) override;
        const char* get_name() override;
        int get_id() override;
        std::string to_string() override;
        bool read(const unsigned char* body, size_t length);
        void format(char (&text)[kTextRoom]);
        unsigned char mChannelWidth = 0;
        unsigned char mSeg1CenterFreq = 0;
    };

    class ERPElement : public InformationElement {
      public:
        bool parse(std::vector<unsigned char> body) override;
        bool read(const unsigned char* body, size_t length);
        const char* get_name() override;
        int get_id() override;
    };

    class SupportedRateElement : public InformationElement {
      public:
        ~SupportedRateElement() override = default;
        bool parse(std::vector<unsigned char> body) override;
        bool read(const unsigned char* body, size_t length);
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
        bool read(const unsigned char* body, size_t length);
        const char* get_name() override;
        int get_id() override;
        std::string hessid;
    };

    class CountryElement : public InformationElement {
      public:
        bool parse(std::vector<unsigned char> body) override;
        bool read(const unsigned char* body, size_t length);
        const char* get_name() override;
        int get_id() override;
        std::string countryCode;
    };

    using ElementMap = std::map<int, InformationElement*>;

    // One element as the walk finds it: its id, its body length and where its header starts,
    // in octets from the start of the elements.
    struct Tlv {
        unsigned char id = 0;
        size_t length = 0;
        size_t at = 0;
    };
    // The walk over the elements of a hex text, from the element at octet from: the elements
    // read, in order, and whether an element with an empty body ended it. Otherwise the text
    // ended, or its last element was cut short.
    struct Walk {
        std::vector<Tlv> elements;
        bool endedByEmpty = false;
        Tlv empty;          // the element that ended it, when endedByEmpty
        size_t resume = 0;  // where a walk past that element would go on
    };
    Walk walk(const char* text, size_t from = 0);
    // Body octet i of an element that the walk read from text.
    unsigned char octet(const char* text, const Tlv& element, size_t i);

    int hex_to_dec(char c);
    char* parse_next_tlv(char* text, unsigned char* id, std::vector<unsigned char>* value);
    void parse(char* text, BssLoad& load);
    void parse(char* text, ElementMap& elements);
    int calc_freq(unsigned char htChannelWidth, unsigned char vhtChannelWidth);
    unsigned char convert_lowest(unsigned char value);
};
