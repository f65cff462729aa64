// 802.11 information elements as hex text: the element walk, the BSS load facts and the element
// objects that the BSS reply parser reads.
#include "WifiInformationElementParser.h"

#include <cstdio>
#include <cstring>

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
// An element header is two hex digits of id and two of body length; each octet is two digits.
constexpr size_t kHeaderChars = 4;
constexpr size_t kHeaderOctets = 2;
constexpr size_t kMaxBody = 255;

using Parser = WifiInformationElementParser;
using Tlv = Parser::Tlv;

// '0' and every non-hex character read as 0; bad digits are not reported. A table, since every
// body octet of every element is read through it.
struct HexValues {
    unsigned char of[256] = {};
    constexpr HexValues() {
        for (int c = '1'; c <= '9'; ++c) {
            of[c] = static_cast<unsigned char>(c - '0');
        }
        for (int c = 0; c < 6; ++c) {
            of['A' + c] = static_cast<unsigned char>(10 + c);
            of['a' + c] = static_cast<unsigned char>(10 + c);
        }
    }
};
constexpr HexValues kHexValues;

int hexValue(char c) {
    return kHexValues.of[static_cast<unsigned char>(c)];
}

unsigned char octetAt(const char* digits) {
    return static_cast<unsigned char>(hexValue(digits[0]) * 16 + hexValue(digits[1]));
}

// What stands where an element's header should start.
enum class Header { Element, TextEnd, EmptyBody, CutShort };

// Reads the header at text into e. Each character is checked for the terminator before anything
// past it is read, so a truncated element ends the walk.
Header readHeader(const char* text, Tlv& e) {
    for (size_t i = 0; i < kHeaderChars; ++i) {
        if (text[i] == '\0') {
            return Header::TextEnd;
        }
    }
    e.id = octetAt(text);
    e.length = octetAt(text + 2);
    // An element with an empty body ends the walk, hidden-network SSID elements included.
    if (e.length == 0) {
        return Header::EmptyBody;
    }
    return std::memchr(text + kHeaderChars, '\0', 2 * e.length) == nullptr ? Header::Element
                                                                           : Header::CutShort;
}

// A new element object of a class the element map keeps, with the body read into it (a rejected
// body leaves its fields as they started), or null for any other id.
template <class Element>
Parser::InformationElement* made(const unsigned char* body, size_t length) {
    auto* element = new Element();
    element->read(body, length);
    return element;
}

Parser::InformationElement* readElement(unsigned char id, const unsigned char* body,
                                        size_t length) {
    switch (id) {
        case kIdSupportedRates:
            return made<Parser::SupportedRateElement>(body, length);
        case kIdCountry:
            return made<Parser::CountryElement>(body, length);
        case kIdErp:
            return made<Parser::ERPElement>(body, length);
        case kIdExtendedRates:
            return made<Parser::ExtendedSupportedRateElement>(body, length);
        case kIdHtOperation:
            return made<Parser::HTOperationElement>(body, length);
        case kIdInterworking:
            return made<Parser::InterworkingElement>(body, length);
        case kIdVhtOperation:
            return made<Parser::VHTOperationElement>(body, length);
        default:
            return nullptr;
    }
}

// The body of an element the walk read, decoded into body.
void readBody(const char* text, const Tlv& e, unsigned char (&body)[kMaxBody]) {
    const char* digits = text + 2 * (e.at + kHeaderOctets);
    for (size_t i = 0; i < e.length; ++i) {
        body[i] = octetAt(digits + 2 * i);
    }
}

// Every element read is traced: its header, then each body octet on its own line.
void logTlv(const Tlv& e, const unsigned char* body) {
    YLM_LOG(1, "Parsed TLV: id=%u len=%d ", static_cast<unsigned>(e.id),
            static_cast<int>(e.length));
    for (size_t i = 0; i < e.length; ++i) {
        YLM_LOG(1, "%u", static_cast<unsigned>(body[i]));
    }
}

// Reads a fixed-length element of the load walk when the id and the body's length are its own,
// and traces it.
template <class Element>
bool readFixed(Element& element, const Tlv& e, const unsigned char* body) {
    if (e.id != element.get_id() || !element.read(body, e.length)) {
        return false;
    }
    char text[Parser::kTextRoom];
    element.format(text);
    YLM_LOG(1, "--- %s", text);
    return true;
}

}  // namespace

// ---- element types ---------------------------------------------------------------------------

std::string WifiInformationElementParser::InformationElement::to_string() {
    return "ERR";
}

bool WifiInformationElementParser::BSSLoadElement::parse(std::vector<unsigned char> body) {
    return read(body.data(), body.size());
}
bool WifiInformationElementParser::BSSLoadElement::read(const unsigned char* body, size_t length) {
    if (length != kBssLoadLength) {
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
    format(text);
    return text;
}
void WifiInformationElementParser::BSSLoadElement::format(char (&text)[kTextRoom]) {
    // The percentage is the integer quotient by 255: 0 for every load but a full one.
    std::snprintf(text, sizeof(text), "%s mChannelUtilization=%u (%u%%)", get_name(),
                  static_cast<unsigned>(mChannelUtilization),
                  static_cast<unsigned>(mChannelUtilization / 255));
}

bool WifiInformationElementParser::HTOperationElement::parse(std::vector<unsigned char> body) {
    return read(body.data(), body.size());
}
bool WifiInformationElementParser::HTOperationElement::read(const unsigned char* body,
                                                            size_t length) {
    if (length != kHtOperationLength) {
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
    format(text);
    return text;
}
void WifiInformationElementParser::HTOperationElement::format(char (&text)[kTextRoom]) {
    std::snprintf(text, sizeof(text), "%s mPrimaryChannel=%u mChannelWidth=%u", get_name(),
                  static_cast<unsigned>(mPrimaryChannel), static_cast<unsigned>(mChannelWidth));
}

bool WifiInformationElementParser::VHTOperationElement::parse(std::vector<unsigned char> body) {
    return read(body.data(), body.size());
}
bool WifiInformationElementParser::VHTOperationElement::read(const unsigned char* body,
                                                             size_t length) {
    if (length != kVhtOperationLength) {
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
    format(text);
    return text;
}
void WifiInformationElementParser::VHTOperationElement::format(char (&text)[kTextRoom]) {
    std::snprintf(text, sizeof(text), "%s mChannelWidth=%u mSeg1CenterFreq=%u", get_name(),
                  static_cast<unsigned>(mChannelWidth), static_cast<unsigned>(mSeg1CenterFreq));
}

bool WifiInformationElementParser::ERPElement::parse(std::vector<unsigned char> body) {
    return read(body.data(), body.size());
}
bool WifiInformationElementParser::ERPElement::read(const unsigned char* /*body*/, size_t length) {
    return length != 0;
}
const char* WifiInformationElementParser::ERPElement::get_name() {
    return "ERPElement";
}
int WifiInformationElementParser::ERPElement::get_id() {
    return kIdErp;
}

bool WifiInformationElementParser::SupportedRateElement::parse(std::vector<unsigned char> body) {
    return read(body.data(), body.size());
}
bool WifiInformationElementParser::SupportedRateElement::read(const unsigned char* body,
                                                              size_t length) {
    // Extended Supported Rates shares this limit, so a longer extended list is refused.
    if (length == 0 || length > kMaxRates) {
        YLM_LOG(1, "Invalid length of rate");
        return false;
    }
    for (size_t i = 0; i < length; ++i) {
        const int rate = getRateFromByte(body[i]);
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
    return read(body.data(), body.size());
}
bool WifiInformationElementParser::InterworkingElement::read(const unsigned char* body,
                                                             size_t length) {
    // The HESSID is the last six octets of a 7- or 9-octet body (after the access network
    // options, and after the venue info when present).
    size_t first = 0;
    switch (length) {
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
    return read(body.data(), body.size());
}
bool WifiInformationElementParser::CountryElement::read(const unsigned char* body, size_t length) {
    if (length < kMinCountryLength) {
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
    return hexValue(c);
}

char* WifiInformationElementParser::parse_next_tlv(char* text, unsigned char* id,
                                                   std::vector<unsigned char>* value) {
    if (text == nullptr || id == nullptr || value == nullptr) {
        return nullptr;
    }
    Tlv e;
    const Header header = readHeader(text, e);
    if (header == Header::TextEnd) {
        return nullptr;
    }
    *id = e.id;
    value->clear();
    if (header == Header::EmptyBody) {
        return nullptr;
    }
    // The octets before a cut stay in value.
    for (size_t i = 0; i < e.length; ++i) {
        const char* digits = text + kHeaderChars + 2 * i;
        if (digits[0] == '\0' || digits[1] == '\0') {
            return nullptr;
        }
        value->push_back(octetAt(digits));
    }
    return text + kHeaderChars + 2 * e.length;
}

WifiInformationElementParser::Walk WifiInformationElementParser::walk(const char* text,
                                                                      size_t from) {
    Walk w;
    // A start beyond the text's end finds nothing.
    if (text == nullptr || strnlen(text, 2 * from) < 2 * from) {
        return w;
    }
    const char* p = text + 2 * from;
    w.elements.reserve(std::strlen(p) / kHeaderChars);
    Tlv e;
    e.at = from;
    for (;;) {
        switch (readHeader(p, e)) {
            case Header::Element:
                w.elements.push_back(e);
                p += kHeaderChars + 2 * e.length;
                e.at += kHeaderOctets + e.length;
                break;
            case Header::EmptyBody:
                w.endedByEmpty = true;
                w.empty = e;
                w.resume = e.at + kHeaderOctets;
                return w;
            default:
                return w;
        }
    }
}

unsigned char WifiInformationElementParser::octet(const char* text, const Tlv& element, size_t i) {
    return octetAt(text + 2 * (element.at + kHeaderOctets + i));
}

void WifiInformationElementParser::parse(char* text, BssLoad& load) {
    const Walk w = walk(text);
    if (w.elements.empty()) {
        load.channelWidth = kWidth20;
        return;
    }
    unsigned char htWidth = 0;
    unsigned char vhtWidth = 0;
    unsigned char body[kMaxBody];
    for (const Tlv& e : w.elements) {
        readBody(text, e, body);
        logTlv(e, body);
        BSSLoadElement bssLoad;
        HTOperationElement ht;
        VHTOperationElement vht;
        if (readFixed(bssLoad, e, body)) {
            load.channelUtilization = bssLoad.mChannelUtilization;
        } else if (readFixed(ht, e, body)) {
            htWidth = ht.mChannelWidth;
        } else if (readFixed(vht, e, body)) {
            vhtWidth = vht.mChannelWidth;
            load.vhtSegment1 = convert_lowest(vht.mSeg1CenterFreq);
        }
    }
    // Kept in 16 bits: 80 MHz reads 14464 and 160 MHz 28928, the values every consumer expects.
    load.channelWidth = static_cast<uint16_t>(calc_freq(htWidth, vhtWidth));
}

void WifiInformationElementParser::parse(char* text, ElementMap& elements) {
    unsigned char body[kMaxBody];
    for (const Tlv& e : walk(text).elements) {
        readBody(text, e, body);
        logTlv(e, body);
        InformationElement* element = readElement(e.id, body, e.length);
        // The first element of an id wins; a later one is dropped at once.
        if (element != nullptr && !elements.emplace(e.id, element).second) {
            delete element;
        }
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
