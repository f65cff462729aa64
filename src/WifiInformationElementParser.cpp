// 802.11 information elements as hex text: the element walk, the BSS load facts and the element
// objects that the BSS reply parser reads.
#include "WifiInformationElementParser.h"

#include <cstdio>

#include "YlmLog.h"

namespace {

constexpr const char* kLogFile = "src/WifiInformationElementParser";
constexpr int kLogModule = ylm::kModuleIe;

constexpr unsigned char kIdSupportedRates = 1;
constexpr unsigned char kIdCountry = 7;
constexpr unsigned char kIdBssLoad = 11;
constexpr unsigned char kIdErp = 42;
constexpr unsigned char kIdExtendedRates = 50;
constexpr unsigned char kIdHtOperation = 61;
constexpr unsigned char kIdInterworking = 107;
constexpr unsigned char kIdVhtOperation = 192;

constexpr size_t kBssLoadLength = 5;
constexpr size_t kHtOperationLength = 22;
constexpr size_t kVhtOperationLength = 5;
constexpr size_t kMaxRates = 8;
constexpr size_t kMinCountryLength = 4;

constexpr int kWidth20 = 20000;
constexpr int kTextRoom = 1024;

using Parser = WifiInformationElementParser;

// A new, empty element object for an id that the element map keeps, or null.
Parser::InformationElement* newElement(unsigned char id) {
    switch (id) {
        case kIdSupportedRates:
            return new Parser::SupportedRateElement();
        case kIdCountry:
            return new Parser::CountryElement();
        case kIdErp:
            return new Parser::ERPElement();
        case kIdExtendedRates:
            return new Parser::ExtendedSupportedRateElement();
        case kIdHtOperation:
            return new Parser::HTOperationElement();
        case kIdInterworking:
            return new Parser::InterworkingElement();
        case kIdVhtOperation:
            return new Parser::VHTOperationElement();
        default:
            return nullptr;
    }
}

// Every element read is traced: its header, then each body octet on its own line.
void logTlv(unsigned char id, const std::vector<unsigned char>& value) {
    YLM_LOG(1, "Parsed TLV: id=%u len=%d ", static_cast<unsigned>(id),
            static_cast<int>(value.size()));
    for (unsigned char octet : value) {
        YLM_LOG(1, "%u", static_cast<unsigned>(octet));
    }
}

// Reads a fixed-length element of the load walk when the id and the body's length are its own,
// and traces it.
template <class Element>
bool readFixed(Element& element, unsigned char id, const std::vector<unsigned char>& value) {
    if (id != element.get_id() || !element.parse(value)) {
        return false;
    }
    YLM_LOG(1, "--- %s", element.to_string().c_str());
    return true;
}

}  // namespace

// ---- element types ---------------------------------------------------------------------------

std::string WifiInformationElementParser::InformationElement::to_string() {
    return "ERR";
}

bool WifiInformationElementParser::BSSLoadElement::parse(std::vector<unsigned char> body) {
    if (body.size() != kBssLoadLength) {
        return false;
    }
    mChannelUtilization = body[2];
    return true;
}
const char* WifiInformationElementParser::BSSLoadElement::get_name() {
    return "BSSLoadElement";
}
int WifiInformationElementParser::BSSLoadElement::get_id() {
    return kIdBssLoad;
}
std::string WifiInformationElementParser::BSSLoadElement::to_string() {
    char text[kTextRoom];
    // The percentage is the integer quotient by 255: 0 for every load but a full one.
    std::snprintf(text, sizeof(text), "%s mChannelUtilization=%u (%u%%)", get_name(),
                  static_cast<unsigned>(mChannelUtilization),
                  static_cast<unsigned>(mChannelUtilization / 255));
    return text;
}

bool WifiInformationElementParser::HTOperationElement::parse(std::vector<unsigned char> body) {
    if (body.size() != kHtOperationLength) {
        return false;
    }
    mPrimaryChannel = body[0];
    mChannelWidth = body[2];
    return true;
}
const char* WifiInformationElementParser::HTOperationElement::get_name() {
    return "HTOperationElement";
}
int WifiInformationElementParser::HTOperationElement::get_id() {
    return kIdHtOperation;
}
std::string WifiInformationElementParser::HTOperationElement::to_string() {
    char text[kTextRoom];
    std::snprintf(text, sizeof(text), "%s mPrimaryChannel=%u mChannelWidth=%u", get_name(),
                  static_cast<unsigned>(mPrimaryChannel), static_cast<unsigned>(mChannelWidth));
    return text;
}

bool WifiInformationElementParser::VHTOperationElement::parse(std::vector<unsigned char> body) {
    if (body.size() != kVhtOperationLength) {
        return false;
    }
    mChannelWidth = body[0];
    mSeg1CenterFreq = body[2];
    return true;
}
const char* WifiInformationElementParser::VHTOperationElement::get_name() {
    return "VHTOperationElement";
}
int WifiInformationElementParser::VHTOperationElement::get_id() {
    return kIdVhtOperation;
}
std::string WifiInformationElementParser::VHTOperationElement::to_string() {
    char text[kTextRoom];
    std::snprintf(text, sizeof(text), "%s mChannelWidth=%u mSeg1CenterFreq=%u", get_name(),
                  static_cast<unsigned>(mChannelWidth), static_cast<unsigned>(mSeg1CenterFreq));
    return text;
}

bool WifiInformationElementParser::ERPElement::parse(std::vector<unsigned char> body) {
    return !body.empty();
}
const char* WifiInformationElementParser::ERPElement::get_name() {
    return "ERPElement";
}
int WifiInformationElementParser::ERPElement::get_id() {
    return kIdErp;
}

bool WifiInformationElementParser::SupportedRateElement::parse(std::vector<unsigned char> body) {
    // Extended Supported Rates shares this limit, so a longer extended list is refused.
    if (body.empty() || body.size() > kMaxRates) {
        YLM_LOG(1, "Invalid length of rate");
        return false;
    }
    for (unsigned char octet : body) {
        const int rate = getRateFromByte(octet);
        if (rate < 0) {
            YLM_LOG(1, "Invalid rate present");
            return false;
        }
        rates.push_back(rate);
    }
    return true;
}
const char* WifiInformationElementParser::SupportedRateElement::get_name() {
    return "SupportedRateElement";
}
int WifiInformationElementParser::SupportedRateElement::get_id() {
    return kIdSupportedRates;
}

int WifiInformationElementParser::SupportedRateElement::getRateFromByte(int octet) {
    // The low seven bits count 500 kb/s; the top bit only flags a basic rate.
    switch (octet & 0x7F) {
        case 2:
            return 1000000;
        case 4:
            return 2000000;
        case 11:
            return 5500000;
        case 12:
            return 6000000;
        case 18:
            return 9000000;
        case 22:
            return 11000000;
        case 24:
            return 12000000;
        case 36:
            return 18000000;
        case 44:
            return 22000000;
        case 48:
            return 24000000;
        case 66:
            return 33000000;
        case 72:
            return 36000000;
        case 96:
            return 48000000;
        case 108:
            return 54000000;
        default:
            return -1;
    }
}

const char* WifiInformationElementParser::ExtendedSupportedRateElement::get_name() {
    return "ExtendedSupportedRateElement";
}
int WifiInformationElementParser::ExtendedSupportedRateElement::get_id() {
    return kIdExtendedRates;
}

bool WifiInformationElementParser::InterworkingElement::parse(std::vector<unsigned char> body) {
    // The HESSID is the last six octets of a 7- or 9-octet body (after the access network
    // options, and after the venue info when present).
    size_t first = 0;
    switch (body.size()) {
        case 1:
        case 3:
            YLM_LOG(1, "HESSID not present");
            return true;
        case 7:
            first = 1;
            break;
        case 9:
            first = 3;
            break;
        default:
            YLM_LOG(1, "Invalid Interworking element length");
            return false;
    }
    char text[18];
    std::snprintf(text, sizeof(text), "%02x:%02x:%02x:%02x:%02x:%02x", body[first], body[first + 1],
                  body[first + 2], body[first + 3], body[first + 4], body[first + 5]);
    hessid = text;
    return true;
}
const char* WifiInformationElementParser::InterworkingElement::get_name() {
    return "InterworkingElement";
}
int WifiInformationElementParser::InterworkingElement::get_id() {
    return kIdInterworking;
}

bool WifiInformationElementParser::CountryElement::parse(std::vector<unsigned char> body) {
    if (body.size() < kMinCountryLength) {
        YLM_LOG(1, "Country Code not present");
        return false;
    }
    // Two characters as a C text; the environment octet that follows is not part of the code.
    const char code[3] = {static_cast<char>(body[0]), static_cast<char>(body[1]), '\0'};
    countryCode = code;
    YLM_LOG(1, "Valid country code value is present");
    YLM_LOG(1, "WifiInformationElementParser: CountryCode %s", countryCode.c_str());
    return true;
}
const char* WifiInformationElementParser::CountryElement::get_name() {
    return "CountryElement";
}
int WifiInformationElementParser::CountryElement::get_id() {
    return kIdCountry;
}

// ---- element walk ----------------------------------------------------------------------------

int WifiInformationElementParser::hex_to_dec(char c) {
    // '0' and every non-hex character read as 0; bad digits are not reported.
    if (c >= '1' && c <= '9') {
        return c - '0';
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    return 0;
}

char* WifiInformationElementParser::parse_next_tlv(char* text, unsigned char* id,
                                                   std::vector<unsigned char>* value) {
    if (text == nullptr || id == nullptr || value == nullptr) {
        return nullptr;
    }
    for (int i = 0; i < 4; ++i) {
        if (text[i] == '\0') {
            return nullptr;
        }
    }
    *id = static_cast<unsigned char>(hex_to_dec(text[0]) * 16 + hex_to_dec(text[1]));
    const int header = hex_to_dec(text[2]) * 16 + hex_to_dec(text[3]);
    const auto length = static_cast<size_t>(header);
    value->clear();
    // An element with an empty body ends the walk, hidden-network SSID elements included.
    if (length == 0) {
        return nullptr;
    }
    const char* body = text + 4;
    for (size_t i = 0; i < length; ++i) {
        const char high = body[2 * i];
        if (high == '\0') {
            return nullptr;
        }
        const char low = body[2 * i + 1];
        if (low == '\0') {
            return nullptr;
        }
        value->push_back(static_cast<unsigned char>(hex_to_dec(high) * 16 + hex_to_dec(low)));
    }
    return text + 4 + 2 * length;
}

void WifiInformationElementParser::parse(char* text, BssLoad& load) {
    unsigned char id = 0;
    std::vector<unsigned char> value;
    char* next = parse_next_tlv(text, &id, &value);
    if (next == nullptr) {
        load.channelWidth = kWidth20;
        return;
    }
    unsigned char htWidth = 0;
    unsigned char vhtWidth = 0;
    while (next != nullptr) {
        logTlv(id, value);
        BSSLoadElement bssLoad;
        HTOperationElement ht;
        VHTOperationElement vht;
        if (readFixed(bssLoad, id, value)) {
            load.channelUtilization = bssLoad.mChannelUtilization;
        } else if (readFixed(ht, id, value)) {
            htWidth = ht.mChannelWidth;
        } else if (readFixed(vht, id, value)) {
            vhtWidth = vht.mChannelWidth;
            load.vhtSegment1 = convert_lowest(vht.mSeg1CenterFreq);
        }
        next = parse_next_tlv(next, &id, &value);
    }
    // Kept in 16 bits: 80 MHz reads 14464 and 160 MHz 28928, the values every consumer expects.
    load.channelWidth = static_cast<uint16_t>(calc_freq(htWidth, vhtWidth));
}

void WifiInformationElementParser::parse(char* text, ElementMap& elements) {
    unsigned char id = 0;
    std::vector<unsigned char> value;
    char* next = parse_next_tlv(text, &id, &value);
    while (next != nullptr) {
        logTlv(id, value);
        InformationElement* element = newElement(id);
        if (element != nullptr) {
            // A rejected body still yields an element, with its fields as they started.
            element->parse(value);
            // The first element of an id wins; a later one is dropped at once.
            if (!elements.emplace(id, element).second) {
                delete element;
            }
        }
        next = parse_next_tlv(next, &id, &value);
    }
}

int WifiInformationElementParser::calc_freq(unsigned char htChannelWidth,
                                            unsigned char vhtChannelWidth) {
    static const int kVhtWidths[] = {40000, 80000, 160000, 0};
    if (htChannelWidth == 0) {
        return kWidth20;
    }
    if (vhtChannelWidth < 4) {
        return kVhtWidths[vhtChannelWidth];
    }
    YLM_LOG(1, "ERR Bad Frequency Value\n");
    return kWidth20;
}

unsigned char WifiInformationElementParser::convert_lowest(unsigned char value) {
    return value > 6 ? static_cast<unsigned char>(value - 6) : 0;
}
