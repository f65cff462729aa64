// The daemons' text replies read into link records and scan results; MAC, octet and BCD text.
#include "WifiParser.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>

#include "YlmLog.h"

namespace {

constexpr const char* kLogFile = "src/WifiParser";
constexpr int kLogModule = ylm::kModuleYlm;

// The signal-poll trace reports the size of the reply pointer on the handset, not the reply's.
constexpr int kReplyPointerSize = 4;

constexpr int kIdSupportedRates = 1;
constexpr int kIdCountry = 7;
constexpr int kIdErp = 42;
constexpr int kIdExtendedRates = 50;
constexpr int kIdHtOperation = 61;
constexpr int kIdInterworking = 107;
constexpr int kIdVhtOperation = 192;

constexpr int kModeVht = 7;
constexpr int kModeHt = 5;
constexpr int kModeErp = 3;
constexpr int kModeA = 1;
constexpr int kModeB = 2;
constexpr int kModeG = 3;
constexpr int kModeUnknown = -1;
constexpr int kFastestBRate = 24000000;

constexpr int kMacOctets = 6;
constexpr size_t kPairsAtOnce = 32;
constexpr size_t kMaxBcdOctets = 10;

using Ie = WifiInformationElementParser;

// A heap copy of a reply, so that the tokeniser can cut it; null when out of memory.
char* heapCopy(const char* text) {
    const size_t size = std::strlen(text) + 1;
    char* copy = static_cast<char*>(std::malloc(size));
    if (copy != nullptr) {
        std::memcpy(copy, text, size);
    }
    return copy;
}

struct FreeText {
    void operator()(char* text) const { std::free(text); }
};
using ReplyText = std::unique_ptr<char, FreeText>;

bool is(const char* key, const char* name) {
    return std::strcmp(key, name) == 0;
}

uint16_t toFreq(const char* value) {
    return static_cast<uint16_t>(atoi(value));
}

// Stores a reply value into one field of the link record.
using Store = void (*)(WifiStatus&, const char*);

template <std::string WifiStatus::*kField>
void storeText(WifiStatus& status, const char* value) {
    status.*kField = value;
}
void storeFreq(WifiStatus& status, const char* value) {
    status.freq = toFreq(value);
}
void storeRssi(WifiStatus& status, const char* value) {
    status.rssi = static_cast<int16_t>(atoi(value));
}

struct KeyField {
    const char* key;
    Store store;
};

constexpr KeyField kSsid0 = {"ssid[0]", storeText<&WifiStatus::ssid>};
constexpr KeyField kFreq = {"freq", storeFreq};
constexpr KeyField kStatusKeys[] = {{"ssid", storeText<&WifiStatus::ssid>},
                                    {"bssid", storeText<&WifiStatus::bssid>},
                                    {"ip_address", storeText<&WifiStatus::ipAddress>},
                                    {"address", storeText<&WifiStatus::address>},
                                    {"mode", storeText<&WifiStatus::mode>},
                                    kFreq,
                                    {"wpa_state", storeText<&WifiStatus::wpaState>}};
constexpr KeyField kSignalPollKeys[] = {{"FREQUENCY", storeFreq}, {"RSSI", storeRssi}};
constexpr KeyField kApStatusKeys[] = {kSsid0, kFreq, {"bssid[0]", storeText<&WifiStatus::bssid>}};
constexpr KeyField kP2pStatusKeys[] = {kSsid0, kFreq, {"bssid", storeText<&WifiStatus::bssid>}};
// The soft access point's own BSSID is the device's address in that role.
constexpr KeyField kHostapdKeys[] = {kSsid0, {"bssid[0]", storeText<&WifiStatus::address>}, kFreq};

// What one operation logs while it reads a reply.
struct ReplyRules {
    const char* nullText;  // level 4
    const char* allocText;
    int allocLevel;
    bool tracesPoll;            // the pointer size, then the whole reply
    const char* ignoredFormat;  // null: missing values and unknown keys pass without a line
    int ignoredLevel;
};

constexpr const char* kNoReply = "rspData is NULL";
constexpr const char* kIgnoring = "Ignoring key: %s";

constexpr ReplyRules kStatusReply = {
    kNoReply, "parseStatusCmdData: Unable to allocate memory", 4, false, "Ignoring key: %s ", 0};
constexpr ReplyRules kSignalPollReply = {
    kNoReply, "parseSignalPollCmdData: Unable to allocate memory", 4, true, kIgnoring, 1};
constexpr ReplyRules kApStatusReply = {
    kNoReply, "parseApStatusCmdData: Unable to allocate memory", 4, false, nullptr, 0};
constexpr ReplyRules kP2pStatusReply = {
    kNoReply, "parseP2pStatusCmdData: Unable to allocate memory", 4, false, nullptr, 0};
constexpr ReplyRules kBssReply = {
    kNoReply, "parseBssCmdWifiInfo: Unable to allocate memory", 4, false, kIgnoring, 1};
// Its allocation failure goes out under the signal poll's name, at level 3.
constexpr ReplyRules kBssLoadReply = {
    kNoReply, "parseSignalPollCmdData: Unable to allocate memory", 3, false, kIgnoring, 1};
// The access point's status and the scan table have texts of their own and no line per key.
constexpr ReplyRules kQuietReply = {
    "a_tag_list is NULL", "changeable is NULL. Unable to allocate memory", 4, false, nullptr, 0};

// A writable copy of the reply, or null once the reason is logged.
ReplyText copyReply(const char* rspData, const ReplyRules& rules) {
    if (rspData == nullptr) {
        YLM_LOG(4, "%s", rules.nullText);
        return nullptr;
    }
    if (rules.tracesPoll) {
        YLM_LOG(1, "parseSignalPollCmdData sizeof: %d", kReplyPointerSize);
    }
    ReplyText copy(heapCopy(rspData));
    if (copy == nullptr) {
        YLM_LOG(rules.allocLevel, "%s", rules.allocText);
    } else if (rules.tracesPoll) {
        YLM_LOG(1, "signalPollData: %s", copy.get());
    }
    return copy;
}

// Walks the "key=value" pairs of a reply in order. take(key, value) stores a value and says
// whether the operation knows the key.
template <class Take>
void readPairs(char* text, const ReplyRules& rules, Take&& take) {
    const bool quiet = rules.ignoredFormat == nullptr;
    for (const WifiParser::ReplyPair& pair : WifiParser::cutReply(text)) {
        if (pair.value == nullptr) {
            if (!quiet) {
                YLM_LOG(1, "Value is null for key: %s", pair.key);
            }
        } else if (!take(pair.key, pair.value) && !quiet) {
            YLM_LOG(rules.ignoredLevel, rules.ignoredFormat, pair.key);
        }
    }
}

// strtok_r's cutting on a text it leaves as it is: leading delimiters are skipped, and a token
// ends at the next delimiter, which goes with it.
class Cutter {
  public:
    explicit Cutter(const char* text) : at(text) {}

    bool next(const char* delimiters, std::string_view& token) {
        at += std::strspn(at, delimiters);
        if (*at == '\0') {
            return false;
        }
        const size_t length = std::strcspn(at, delimiters);
        token = {at, length};
        at += length;
        if (*at != '\0') {
            ++at;
        }
        return true;
    }

  private:
    const char* at;
};

// The line (0: the header) that each of an ascending run of positions in a text lies on.
class LineCounter {
  public:
    explicit LineCounter(const char* text) : counted(text) {}

    size_t lineOf(const char* position) {
        const void* end = nullptr;
        while ((end = std::memchr(counted, '\n', static_cast<size_t>(position - counted))) !=
               nullptr) {
            ++line;
            counted = static_cast<const char*>(end) + 1;
        }
        counted = position;
        return line;
    }

  private:
    const char* counted;
    size_t line = 0;
};

// Reads a link-record reply through its key table.
template <size_t kCount>
void readStatus(const char* rspData, const ReplyRules& rules, const KeyField (&keys)[kCount],
                WifiStatus& status) {
    ReplyText copy = copyReply(rspData, rules);
    if (copy == nullptr) {
        return;
    }
    readPairs(copy.get(), rules, [&keys, &status](const char* key, const char* value) {
        for (const KeyField& field : keys) {
            if (is(key, field.key)) {
                field.store(status, value);
                return true;
            }
        }
        return false;
    });
}

// The element as class Element, or null when it says it is of another class. The library is built
// without run-time type information, so an element's class is known from the id it gives: one of
// classIds, those of Element and of the classes derived from it.
template <class Element>
Element* elementAs(Ie::InformationElement* element, std::initializer_list<int> classIds) {
    if (element == nullptr) {
        return nullptr;
    }
    const int own = element->get_id();
    for (int id : classIds) {
        if (own == id) {
            return static_cast<Element*>(element);
        }
    }
    return nullptr;
}

// The last rate of a rates element in the map, or 0 when it holds none.
int lastRate(const WifiParser::ElementMap& elements, int id) {
    auto it = elements.find(id);
    if (it == elements.end()) {
        return 0;
    }
    auto* rates =
        elementAs<Ie::SupportedRateElement>(it->second, {kIdSupportedRates, kIdExtendedRates});
    if (rates == nullptr || rates->rates.empty()) {
        return 0;
    }
    return rates->rates.back();
}

// A text field of the element under id, empty when the map holds none of that class (whose
// elements give id as their own).
template <class Element>
std::string elementText(const WifiParser::ElementMap& elements, int id, std::string Element::*field,
                        const char* foundText) {
    auto it = elements.find(id);
    if (it == elements.end()) {
        return "";
    }
    YLM_LOG(1, "%s", foundText);
    auto* element = elementAs<Element>(it->second, {id});
    return element == nullptr ? "" : element->*field;
}

// Value of one hex digit character, letters past f included; -1 for anything else.
int octetDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'z') {
        return c - 87;
    }
    if (c >= 'A' && c <= 'Z') {
        return c - 55;
    }
    return -1;
}

char bcdDigit(unsigned nibble) {
    return static_cast<char>('0' + nibble);
}

}  // namespace

WifiParser* WifiParser::instance = nullptr;

WifiParser* WifiParser::getInstance() {
    if (instance == nullptr) {
        instance = new WifiParser();
    }
    return instance;
}

// ---- status replies --------------------------------------------------------------------------

void WifiParser::parseStatusCmdData(const char* rspData, WifiStatus& status) {
    readStatus(rspData, kStatusReply, kStatusKeys, status);
}

void WifiParser::parseSignalPollCmdData(const char* rspData, WifiStatus& status) {
    readStatus(rspData, kSignalPollReply, kSignalPollKeys, status);
}

void WifiParser::parseApStatusCmdData(const char* rspData, WifiStatus& status) {
    readStatus(rspData, kApStatusReply, kApStatusKeys, status);
}

void WifiParser::parseP2pStatusCmdData(const char* rspData, WifiStatus& status) {
    readStatus(rspData, kP2pStatusReply, kP2pStatusKeys, status);
}

WifiStatus WifiParser::hostapdStatus(const char* rspData) {
    WifiStatus status;
    readStatus(rspData, kQuietReply, kHostapdKeys, status);
    return status;
}

void WifiParser::parseBssCmdWifiInfo(const char* rspData, WifiStatus& status) {
    ReplyText copy = copyReply(rspData, kBssReply);
    if (copy == nullptr) {
        return;
    }
    WifiInformationElementParser ieParser;
    ElementMap elements;
    readPairs(copy.get(), kBssReply, [&ieParser, &elements](const char* key, char* value) {
        if (!is(key, "ie")) {
            return false;
        }
        YLM_LOG(1, "ie found: %s \n", value);
        ieParser.parse(value, elements);
        return true;
    });
    if (elements.empty()) {
        status.hessid = "";
        status.wifiMode = kModeUnknown;
        status.countryCode = "";
    } else {
        // The mode needs the frequency, so the status reply is parsed into this record first.
        status.wifiMode = getWifiMode(elements, status.freq);
        status.hessid = getHESSIDInfo(elements);
        status.countryCode = getCountryCode(elements);
    }
    for (auto& entry : elements) {
        delete entry.second;
    }
}

void WifiParser::parseBssLoadCmdData(const char* rspData, BssLoad& load) {
    ReplyText copy = copyReply(rspData, kBssLoadReply);
    if (copy == nullptr) {
        return;
    }
    load.channelUtilization = 0xFFFF;
    load.channelWidth = 0;
    load.vhtSegment1 = 0;
    WifiInformationElementParser ieParser;
    readPairs(copy.get(), kBssLoadReply, [&ieParser, &load](const char* key, char* value) {
        if (!is(key, "ie")) {
            return false;
        }
        YLM_LOG(1, "ie found: %s", value);
        ieParser.parse(value, load);
        YLM_LOG(1, "Parsed ie channel Utilization : %d", static_cast<int>(load.channelUtilization));
        return true;
    });
}

// ---- scan results and element facts ----------------------------------------------------------

WifiScanResult WifiParser::parseScanData(const char* rspData) {
    WifiScanResult result;
    ReplyText copy = copyReply(rspData, kQuietReply);
    if (copy == nullptr) {
        return result;
    }
    for (const ScanRecord& r : readScanTable(copy.get())) {
        result.addData(r.bssid, r.frequency, r.level, r.ssid);
    }
    return result;
}

std::vector<WifiParser::ScanRecord> WifiParser::readScanTable(const char* table) {
    std::vector<ScanRecord> records;
    if (table == nullptr) {
        return records;
    }
    // Mostly a record per line: one allocation for the whole table.
    size_t lines = 1;
    for (const char* p = table; (p = std::strchr(p, '\n')) != nullptr; ++p) {
        ++lines;
    }
    records.reserve(lines);
    // The holder outlives each row: a column missing at the end keeps the previous row's value.
    // Empty columns are skipped, as strtok_r skips them, so a row without an SSID shifts the rows
    // after it by one column; the modem side is built on that reading.
    ScanRecord record;
    Cutter cut(table);
    LineCounter rows(table);
    std::string_view token;
    cut.next("\n", token);  // header line
    bool more = cut.next("\t", token);
    while (more) {
        record.bssid = token;
        record.row = rows.lineOf(token.data());
        if (cut.next("\t", token)) {
            record.frequency = token;
        }
        // atoi stops at the delimiter after the token, as it would at the zero strtok_r writes.
        if (cut.next("\t", token)) {
            record.level = static_cast<int16_t>(atoi(token.data()));
        }
        cut.next("\t", token);  // flags
        if (cut.next("\t\n", token)) {
            record.ssid = token;
        }
        records.push_back(record);
        more = cut.next("\t", token);
    }
    return records;
}

std::vector<WifiParser::ReplyPair> WifiParser::cutReply(char* text) {
    std::vector<ReplyPair> pairs;
    if (text == nullptr) {
        return pairs;
    }
    // Room for a BSS reply's pairs at once; a longer reply grows the list geometrically.
    pairs.reserve(kPairsAtOnce);
    char* save = nullptr;
    for (char* key = strtok_r(text, "=", &save); key != nullptr;
         key = strtok_r(nullptr, "=", &save)) {
        pairs.push_back({key, strtok_r(nullptr, "=\n", &save)});
    }
    return pairs;
}

void WifiParser::getScanData() {}

int WifiParser::getWifiMode(ElementMap elements, unsigned short freq) {
    if (elements.count(kIdVhtOperation) != 0) {
        YLM_LOG(1, "Found VHTOperation Element in wifiInfoMap");
        return kModeVht;
    }
    if (elements.count(kIdHtOperation) != 0) {
        YLM_LOG(1, "Found HTOperation Element in wifiInfoMap");
        return kModeHt;
    }
    if (elements.count(kIdErp) != 0) {
        YLM_LOG(1, "Found ERP Element in wifiInfoMap");
        return kModeErp;
    }
    if (freq > 2999) {
        YLM_LOG(1, " Frequency is greater than 3000");
        return kModeA;
    }
    // The last entry of each list stands for the fastest rate, as the access point orders them.
    const bool hasRates = elements.count(kIdSupportedRates) != 0;
    int rate = 0;
    int extendedRate = 0;
    if (hasRates) {
        YLM_LOG(1, "Found SupportedRate Element in wifiInfoMap");
        rate = lastRate(elements, kIdSupportedRates);
    }
    if (elements.count(kIdExtendedRates) != 0) {
        YLM_LOG(1, "Found ExtendedSupportedRate Element in wifiInfoMap");
        extendedRate = lastRate(elements, kIdExtendedRates);
    }
    if (hasRates) {
        const int top = rate > extendedRate ? rate : extendedRate;
        return top < kFastestBRate ? kModeB : kModeG;
    }
    return kModeUnknown;
}

std::string WifiParser::getHESSIDInfo(ElementMap elements) {
    std::string hessid = elementText(elements, kIdInterworking, &Ie::InterworkingElement::hessid,
                                     "Found Interworking Element in wifiInfoMap");
    YLM_LOG(1, "getHESSIDInfo: Returned HESSID: %s", hessid.c_str());
    return hessid;
}

std::string WifiParser::getCountryCode(ElementMap elements) {
    std::string code = elementText(elements, kIdCountry, &Ie::CountryElement::countryCode,
                                   "Found Country Element in wifiInfoMap");
    YLM_LOG(1, "getCountryCode: Returned countryCode: %s", code.c_str());
    return code;
}

// ---- address and octet text ------------------------------------------------------------------

void WifiParser::getBSSID(unsigned char (&bssid)[6], const char* text) {
    for (int i = 0; i < kMacOctets; ++i) {
        auto* buf = static_cast<unsigned char*>(std::malloc(3));
        if (buf == nullptr) {
            YLM_LOG(4, "Unable to malloc space for reading bssid.");
            return;
        }
        bool extracted = false;
        if (text == nullptr) {
            YLM_LOG(4, "Invalid parameter");
        } else {
            extracted = extractOctetStr(text, i, kMacOctets, ':', buf);
        }
        if (!extracted) {
            YLM_LOG(4, "extract failed");
            std::free(buf);
            YLM_LOG(4, "BSSID conversion failed");
            return;
        }
        bssid[i] = genNumericOctet(reinterpret_cast<const char*>(buf));
        std::free(buf);
    }
    for (int i = 0; i < kMacOctets; ++i) {
        YLM_LOG(1, "bssid octet %d = 0x%x", i, static_cast<unsigned>(bssid[i]));
    }
}

bool WifiParser::extractOctetStr(const char* p, int index, int length, char delimiter,
                                 unsigned char* out) {
    if (p == nullptr || index < 0 || index >= length || length < 1 || out == nullptr) {
        YLM_LOG(4, "Invalid parameter");
        return false;
    }
    YLM_LOG(1, "bssid extractOctetStr p: %s index:%d length:%d", p, index, length);
    if (index == 0 && *p == '\0') {
        return false;
    }
    int passed = 0;
    while (passed < index) {
        if (*p == '\0') {
            return false;
        }
        if (*p++ == delimiter) {
            ++passed;
            while (*p == delimiter) {
                ++p;
            }
        }
    }
    // Two characters whatever the field's width; never past the end of the text.
    out[0] = static_cast<unsigned char>(p[0]);
    out[1] = p[0] == '\0' ? '\0' : static_cast<unsigned char>(p[1]);
    out[2] = '\0';
    return true;
}

unsigned char WifiParser::genNumericOctet(const char* octetText) {
    if (octetText == nullptr) {
        return 0;
    }
    unsigned value = 0;
    bool high = true;
    for (const char* c = octetText; *c != '\0'; ++c) {
        const int digit = octetDigit(*c);
        if (digit < 0) {
            YLM_LOG(4, "Malformed octet data!");
            return 0;
        }
        // A new high nibble starts the octet over, so only the last pair counts.
        value = high ? static_cast<unsigned>(digit) * 16 : value + static_cast<unsigned>(digit);
        high = !high;
    }
    return static_cast<unsigned char>(value);
}

char* WifiParser::MacAddressToString(unsigned char* mac) {
    static char text[18];
    std::memset(text, 0, sizeof(text));
    if (mac == nullptr) {
        return text;
    }
    std::snprintf(text, sizeof(text), "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2],
                  mac[3], mac[4], mac[5]);
    return text;
}

bool WifiParser::readMac(const char* text, unsigned char (&mac)[6]) {
    unsigned int octets[kMacOctets] = {};
    if (text == nullptr ||
        std::sscanf(text, "%x:%x:%x:%x:%x:%x", &octets[0], &octets[1], &octets[2], &octets[3],
                    &octets[4], &octets[5]) < kMacOctets) {
        return false;
    }
    for (int i = 0; i < kMacOctets; ++i) {
        mac[i] = static_cast<unsigned char>(octets[i]);
    }
    return true;
}

void WifiParser::StringToMac(unsigned char (&mac)[6], const char* str) {
    if (!readMac(str, mac)) {
        YLM_LOG(4, "Malformed mac address!");
    }
}

char* WifiParser::BCDToString(unsigned char (&octets)[10], unsigned char count) {
    static char text[2 * kMaxBcdOctets + 1];
    std::memset(text, 0, sizeof(text));
    size_t n = count;
    if (n > kMaxBcdOctets) {
        YLM_LOG(4, "BCD octet count %d clamped to 10", static_cast<int>(count));
        n = kMaxBcdOctets;
    }
    for (size_t i = 0; i < n; ++i) {
        unsigned low = octets[i] & 0x0Fu;
        unsigned high = octets[i] >> 4;
        // The messages name the offending nibble, not the octet's position.
        if (low > 9) {
            YLM_LOG(4, "Invalid lower nibble in octet %d", static_cast<int>(low));
            low = 0;
        }
        if (high > 9) {
            YLM_LOG(4, "Invalid upper nibble in octet %d", static_cast<int>(high));
            high = 0;
        }
        text[2 * i] = bcdDigit(low);
        text[2 * i + 1] = bcdDigit(high);
    }
    return text;
}
