#include "CasProxy.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include "../host/VorTpxDsd.h"
#include "WifiInfoProvider.h"
#include "WifiParser.h"
#include "WifiStatus.h"
#include "YlmLog.h"

namespace {
constexpr const char* kLogFile = "src/CasProxy";
constexpr int kLogModule = ylm::kModuleYlm;

using CasProxy = WifiMeasurementRequest::CasProxy;

constexpr int32_t kDefaultProfile = 0;
constexpr int32_t kFirstDynamicProfile = 36;
constexpr uint32_t kClientType = 2;  // first word of every client record of this plug-in

// Network types of the service's configuration record.
constexpr int32_t kNetStation = 1;
constexpr int32_t kNetStationAlt = 254;
constexpr int32_t kNetSoftAp = 100;
constexpr int32_t kNetP2p = 101;

// Station states of the configuration record.
constexpr int32_t kStateConnected = 1;
constexpr int32_t kStateGone = 4;

// wlan_type values of the availability message.
constexpr uint32_t kWlanP2pGo = 0;
constexpr uint32_t kWlanP2pClient = 1;
constexpr uint32_t kWlanStation = 2;
constexpr uint32_t kWlanSoftAp = 3;

constexpr size_t kMaxSsid = 32;
constexpr uint8_t kIpv6PrefixLen = 64;
constexpr size_t kIpv6TextRoom = 46;

const CasWlanNetConfigType* asConfig(const void* p) {
    return static_cast<const CasWlanNetConfigType*>(p);
}

bool allZero(const uint8_t (&bytes)[16]) {
    return std::all_of(std::begin(bytes), std::end(bytes), [](uint8_t b) { return b == 0; });
}

// A text field of the service's record, read no further than the field itself, NUL or not.
template <size_t N>
std::string fieldText(const char (&field)[N]) {
    return std::string(field, strnlen(field, N));
}

// Sets the message's SSID from a text, cut to the room the message has.
size_t putSsid(dsd_wlan_available_req_msg_v01* msg, const char* text, size_t len) {
    len = std::min(len, kMaxSsid);
    std::memcpy(msg->ssid, text, len);
    msg->ssid_len = static_cast<uint32_t>(len);
    msg->ssid_valid = 1;
    return len;
}

template <size_t N>
void remember(char (&slot)[N], const char* text, size_t len) {
    std::memset(slot, 0, N);
    std::memcpy(slot, text, std::min(len, N - 1));
}

// Reports the SSID remembered from the last "up" report and forgets it.
template <size_t N>
void reportAndForget(char (&slot)[N], dsd_wlan_available_req_msg_v01* msg) {
    putSsid(msg, slot, strnlen(slot, N - 1));
    std::memset(slot, 0, N);
}

// Opens a soft AP or P2P group message. False when nothing more is to be filled in: an argument
// is null, or the group went down, which reports the SSID it had, once.
template <size_t N>
bool groupIsUp(const void* config, dsd_wlan_available_req_msg_v01* msg, char (&remembered)[N]) {
    if (config == nullptr || msg == nullptr) {
        YLM_LOG(3, "dsd_wlan_available_req_msg_v01 or CasWlanNetConfigType is null");
        return false;
    }
    msg->conn_status_valid = 1;
    if (asConfig(config)->isActive == 0) {
        msg->conn_status = 0;
        reportAndForget(remembered, msg);
        return false;
    }
    return true;
}

void parseBssid(unsigned char (&out)[6], const char* text) {
    WifiParser* parser = WifiParser::getInstance();
    if (parser != nullptr) {
        parser->getBSSID(out, text);
    }
}

const char* ipv4Text(uint32_t networkOrder) {
    in_addr a{};
    a.s_addr = networkOrder;
    return inet_ntoa(a);
}
void ipv6Text(const uint8_t (&addr)[16], char (&text)[46]) {
    std::memset(text, 0, sizeof(text));
    if (inet_ntop(AF_INET6, addr, text, sizeof(text)) == nullptr || text[0] == '\0') {
        std::snprintf(text, sizeof(text), "%s", "::");
    }
}

void putDns(const CasWlanNetConfigType* c, dsd_wlan_available_req_msg_v01* msg) {
    if (c->dnsIpv4[0] != 0) {
        msg->dns_ipv4_1_valid = 1;
        msg->dns_ipv4_1 = ntohl(c->dnsIpv4[0]);
        YLM_LOG(0, "DNS address 1: %s", ipv4Text(c->dnsIpv4[0]));
    }
    if (c->dnsIpv4[1] != 0) {
        msg->dns_ipv4_2_valid = 1;
        msg->dns_ipv4_2 = ntohl(c->dnsIpv4[1]);
        YLM_LOG(0, "DNS address 2: %s", ipv4Text(c->dnsIpv4[1]));
    }
    char text[kIpv6TextRoom] = {};
    if (!allZero(c->dnsIpv6[0])) {
        ipv6Text(c->dnsIpv6[0], text);
        YLM_LOG(0, "DNS V6 address 1: %s", text);
        msg->dns_ipv6_1_valid = 1;
        std::memcpy(msg->dns_ipv6_1, c->dnsIpv6[0], sizeof(msg->dns_ipv6_1));
    }
    if (!allZero(c->dnsIpv6[1])) {
        ipv6Text(c->dnsIpv6[1], text);
        YLM_LOG(0, "DNS V6 address 2: %s", text);
        msg->dns_ipv6_2_valid = 1;
        std::memcpy(msg->dns_ipv6_2, c->dnsIpv6[1], sizeof(msg->dns_ipv6_2));
    }
}

// A station that is gone reports the SSID it was connected to, once.
void putStationSsid(char (&rememberedSsid)[33], const CasWlanNetConfigType* c,
                    dsd_wlan_available_req_msg_v01* msg) {
    if (c->state == kStateGone) {
        reportAndForget(rememberedSsid, msg);
        return;
    }
    const size_t len = putSsid(msg, c->ssid, strnlen(c->ssid, sizeof(c->ssid)));
    if (c->state == kStateConnected) {
        remember(rememberedSsid, c->ssid, len);
    }
}

// The location services' code wins over the one the access point advertises.
void putCountryCode(const CasWlanNetConfigType* c, const WifiStatus& sta,
                    dsd_wlan_available_req_msg_v01* msg) {
    if (c->countryCode[0] != '\0') {
        const std::string code = fieldText(c->countryCode);
        YLM_LOG(1, "CountryCode obtained from location services: %s", code.c_str());
        msg->country_code_valid = 1;
        std::memcpy(msg->country_code, c->countryCode, sizeof(msg->country_code));
    } else if (!sta.countryCode.empty()) {
        YLM_LOG(1, "CountryCode obtained from Wifi AP: %s", sta.countryCode.c_str());
        std::memcpy(msg->country_code, sta.countryCode.data(),
                    std::min(sta.countryCode.size(), sizeof(msg->country_code)));
        msg->country_code_valid = 1;
    } else {
        YLM_LOG(1, "Country Code not populated");
    }
}

// The group's addresses arrive as text; they go to the modem in network order.
void putP2pAddresses(const WifiStatus& p2p, dsd_wlan_available_req_msg_v01* msg) {
    if (!p2p.ipAddress.empty()) {
        msg->ipv4_addr_valid = 1;
        const int r = inet_pton(AF_INET, p2p.ipAddress.c_str(), &msg->ipv4_addr);
        if (r != 1) {
            YLM_LOG(4, "inet_pton return %d, unable to convert ipv4 from string to uint32_t", r);
        }
    }
    if (!p2p.extraText.empty()) {
        msg->ipv6_addr_valid = 1;
        const int r = inet_pton(AF_INET6, p2p.extraText.c_str(), msg->ipv6_addr);
        if (r != 1) {
            YLM_LOG(4, "inet_pton return %d, unable to convert ipv6 from string to int[16]", r);
        }
        msg->ipv6_prefix_len = kIpv6PrefixLen;
    }
}
}  // namespace

WifiMeasurementRequest::CasProxy::CasProxy(VorTpxDsd& dsdRef, VorCom& /*com*/, VorTimer& /*timer*/,
                                           VorSupplicantWrapper& /*supplicant*/,
                                           WifiInfoProvider& info, unsigned long long id,
                                           ProfileInfoType profile, DeleteCb /*deleteCb*/)
    : dsd(&dsdRef),
      infoProvider(&info),
      profileNumber(profile.profileNumber),
      overrides(profile.overrides),
      operatorName(std::move(profile.operatorName)),
      measId(id) {
    YLM_LOG(2, "CasProxy Xtor for profile %d RSSI high override %d RSSI Low override %d",
            profileNumber, static_cast<int>(overrides.rssiHigh),
            static_cast<int>(overrides.rssiLow));
    VorCde* cde = VorCde::getInstance();
    if (cde == nullptr) {
        return;
    }
    cas = cde->getCasInstance();
    if (cas != nullptr && profileNumber == kDefaultProfile) {
        cas->registerForWifiStateChangeNotification(updateWifiStateChangeCb, this);
        wifiStateRegistered = true;
    }
}

WifiMeasurementRequest::CasProxy::~CasProxy() {
    if (!discarded()) {
        YLM_LOG(2, "CasProxy D-Xtor");
    }
}

CasClientCb WifiMeasurementRequest::CasProxy::clientRecord() {
    CasClientCb record;
    std::memset(&record, 0, sizeof(record));
    record.type = kClientType;
    record.cb = profileNumber == kDefaultProfile ? updateWifiStatus : updateWqeProfileStatus;
    record.ctx = this;
    return record;
}

// Every dynamic profile shares the one name; numbered profiles carry their number.
void WifiMeasurementRequest::CasProxy::clientName(char (&name)[10]) const {
    if (profileNumber < kFirstDynamicProfile) {
        // The service takes a 10-byte name; numbered profiles (4 to 35) always fit in it.
        char text[24];
        std::snprintf(text, sizeof(text), "profile%d", profileNumber);
        const size_t len = strnlen(text, sizeof(name) - 1);
        std::memcpy(name, text, len);
        name[len] = '\0';
    } else {
        std::snprintf(name, sizeof(name), "%s", "dynamic");
    }
}

bool WifiMeasurementRequest::CasProxy::startMeasurement() {
    if (cas == nullptr) {
        YLM_LOG(1, "CAS is NULL");
        return false;
    }
    CasClientCb record = clientRecord();
    char name[10] = {};
    const char* namePtr = nullptr;
    if (profileNumber != kDefaultProfile) {
        clientName(name);
        namePtr = name;
    }
    cas->registerForWifiNotification(record, namePtr, overrides, operatorName, record.cb, this);
    return true;
}

bool WifiMeasurementRequest::CasProxy::stopMeasurement() {
    // Without a quality service nothing was registered, so there is nothing to take back.
    if (cas == nullptr) {
        YLM_LOG(1, "CAS is NULL");
        return false;
    }
    const CasClientCb record = clientRecord();
    if (profileNumber == kDefaultProfile) {
        cas->deregisterForWlanNetConfigChange(record);
    } else {
        char name[10] = {};
        clientName(name);
        cas->deregisterForNoninternetService(record, name, operatorName, overrides);
    }
    YLM_LOG(2, "Request deregistered for profile: %d", profileNumber);
    return true;
}

void WifiMeasurementRequest::CasProxy::sendReport() {
    YLM_LOG(0, "%s:%d", "sendReport", __LINE__);
}

int WifiMeasurementRequest::CasProxy::getTpxStatusCode(VorWQEResultReason reason) {
    switch (static_cast<int32_t>(reason)) {
        case 10:
            return 1;
        case 11:
            return 2;
        case 12:
            return 3;
        case 13:
            return 5;
        case 14:
        case 15:
            return 4;
        default:
            return 0;
    }
}

dsd_set_wqe_profile_quality_status_req_msg_v01 WifiMeasurementRequest::CasProxy::qualityStatus()
    const {
    dsd_set_wqe_profile_quality_status_req_msg_v01 msg{};
    msg.profile_type = profileNumber;
    msg.quality_status_valid = 1;
    if (measId != 0) {
        msg.meas_id_valid = 1;
        msg.meas_id = measId;
    }
    return msg;
}

void WifiMeasurementRequest::CasProxy::updateWqeProfileStatus(void* result, void* proxy) {
    if (result == nullptr || proxy == nullptr) {
        YLM_LOG(3, "CasProxy/CasWlanNetConfigType is null");
        return;
    }
    auto* self = static_cast<CasProxy*>(proxy);
    const CasWlanNetConfigType* verdict = asConfig(result);
    dsd_set_wqe_profile_quality_status_req_msg_v01 msg = self->qualityStatus();
    msg.status_code_valid = 1;
    if (verdict->isActive != 0) {
        msg.quality_status = 0;
        msg.status_code = 0;
    } else {
        msg.quality_status = 1;
        msg.status_code = getTpxStatusCode(static_cast<VorWQEResultReason>(verdict->reason));
    }
    self->dsd->sendWqeProfileStatus(msg);
}

void WifiMeasurementRequest::CasProxy::sendDefaultWqeProfileStatus(CasProxy* proxy, void* result) {
    if (proxy == nullptr || result == nullptr) {
        YLM_LOG(3, "self pointer or CasWlanNetConfigType is null");
        return;
    }
    const CasWlanNetConfigType* config = asConfig(result);
    dsd_set_wqe_profile_quality_status_req_msg_v01 msg = proxy->qualityStatus();
    const bool good =
        config->state == kStateConnected && config->netFlag != 0 && config->stationFlag != 0;
    msg.quality_status = good ? 0 : 1;
    proxy->dsd->sendWqeProfileStatus(msg);
}

void WifiMeasurementRequest::CasProxy::updateWifiStateChangeCb(bool wifiOn, void* proxy) {
    if (proxy == nullptr) {
        YLM_LOG(4, "CasProxy is null");
        return;
    }
    YLM_LOG(0, "Wifi State: %d", static_cast<int>(wifiOn));
    dsd_notify_data_settings_req_msg_v01 msg{};
    msg.wifi_state_valid = 1;
    msg.wifi_state = wifiOn ? 1 : 0;
    static_cast<CasProxy*>(proxy)->dsd->sendNotifyDataSettings(msg);
}

// ---- Wi-Fi availability ----------------------------------------------------------------------

void WifiMeasurementRequest::CasProxy::updateWifiStatus(void* config, void* proxy) {
    if (config == nullptr || proxy == nullptr) {
        YLM_LOG(4, "CasProxy/CasWlanNetConfigType is null");
        return;
    }
    auto* self = static_cast<CasProxy*>(proxy);
    dsd_wlan_available_req_msg_v01 msg{};
    msg.wlan_type_valid = 1;
    switch (asConfig(config)->netType) {
        case kNetStation:
        case kNetStationAlt:
            msg.wlan_type = kWlanStation;
            self->buildSTAInfo(config, &msg);
            YLM_LOG(2, "sta info message got built and sending wqe profile");
            sendDefaultWqeProfileStatus(self, config);
            break;
        case kNetSoftAp:
            msg.wlan_type = kWlanSoftAp;
            YLM_LOG(2, "getting hostapd info");
            self->buildSoftAPInfo(config, &msg);
            break;
        case kNetP2p:
            self->buildP2pInfo(config, &msg);
            break;
        default:
            break;
    }
    self->dsd->sendWifiAvailableStatus(msg);
}

void WifiMeasurementRequest::CasProxy::buildSTAInfo(void* config,
                                                    dsd_wlan_available_req_msg_v01* msg) {
    if (config == nullptr || msg == nullptr) {
        YLM_LOG(3, "dsd_wlan_available_req_msg_v01 or CasWlanNetConfigType is null");
        return;
    }
    const CasWlanNetConfigType* c = asConfig(config);
    if (c->ipv4Addr != 0) {
        YLM_LOG(0, "IPv4 address: %s", ipv4Text(c->ipv4Addr));
        msg->ipv4_addr_valid = 1;
        msg->ipv4_addr = ntohl(c->ipv4Addr);
    }
    if (!allZero(c->ipv6Addr)) {
        msg->ipv6_addr_valid = 1;
        std::memcpy(msg->ipv6_addr, c->ipv6Addr, sizeof(msg->ipv6_addr));
        msg->ipv6_prefix_len = kIpv6PrefixLen;
    }
    putDns(c, msg);
    putStationSsid(rememberedSsid, c, msg);

    const std::string bssid = fieldText(c->bssid);
    YLM_LOG(0, "BSSID: %s", bssid.c_str());
    parseBssid(msg->bssid, bssid.c_str());

    msg->conn_status_valid = 1;
    msg->wlan_type_valid = 1;
    msg->reserved30 = 1;
    msg->reserved32 = 1;
    if (c->state == kStateConnected) {
        msg->conn_status = c->stationFlag != 0 ? 2 : 1;
    } else if (c->state == 0) {
        msg->conn_status = 1;
    } else {
        msg->conn_status = 0;
    }

    const WifiStatus sta = infoProvider->getSTAStatus();
    if (sta.freq != 0) {
        msg->freq_valid = 1;
        msg->freq = sta.freq;
        YLM_LOG(1, "Frequency: %d", static_cast<int>(sta.freq));
    }
    if (!sta.hessid.empty()) {
        msg->hessid_valid = 1;
        parseBssid(msg->hessid, sta.hessid.c_str());
    }
    if (sta.wifiMode != -1) {
        msg->wifi_mode_valid = 1;
        msg->wifi_mode = sta.wifiMode;
    }
    msg->net_flag_valid = 1;
    msg->net_flag = c->netFlag;
    putCountryCode(c, sta, msg);
}

void WifiMeasurementRequest::CasProxy::buildSoftAPInfo(void* config,
                                                       dsd_wlan_available_req_msg_v01* msg) {
    if (!groupIsUp(config, msg, rememberedSsid)) {
        return;
    }
    msg->conn_status = 1;
    const WifiStatus ap = infoProvider->getAPStatus();
    if (!ap.ssid.empty()) {
        const size_t len = putSsid(msg, ap.ssid.data(), ap.ssid.size());
        remember(rememberedSsid, ap.ssid.data(), len);
    }
    if (ap.freq != 0) {
        msg->freq_valid = 1;
        msg->freq = ap.freq;
        YLM_LOG(1, "Frequency: %d", static_cast<int>(ap.freq));
    }
    if (!ap.bssid.empty()) {
        parseBssid(msg->bssid, ap.bssid.c_str());
    }
}

void WifiMeasurementRequest::CasProxy::buildP2pInfo(void* config,
                                                    dsd_wlan_available_req_msg_v01* msg) {
    if (!groupIsUp(config, msg, rememberedP2pSsid)) {
        return;
    }
    const WifiStatus p2p = infoProvider->getP2pStatus();
    if (!p2p.wpaState.empty()) {
        if (p2p.wpaState == "COMPLETED") {
            msg->conn_status = 2;
        } else if (p2p.wpaState == "ASSOCIATED") {
            msg->conn_status = 1;
        } else {
            msg->conn_status = 0;
        }
    }
    if (p2p.mode == "P2P GO") {
        msg->wlan_type_valid = 1;
        msg->wlan_type = kWlanP2pGo;
    } else if (p2p.mode == "station") {
        msg->wlan_type_valid = 1;
        msg->wlan_type = kWlanP2pClient;
    }
    if (p2p.freq != 0) {
        msg->freq_valid = 1;
        msg->freq = p2p.freq;
    }
    if (!p2p.ssid.empty()) {
        const size_t len = putSsid(msg, p2p.ssid.data(), p2p.ssid.size());
        remember(rememberedP2pSsid, p2p.ssid.data(), len);
    }
    if (!p2p.bssid.empty()) {
        parseBssid(msg->bssid, p2p.bssid.c_str());
    }
    putP2pAddresses(p2p, msg);
}
