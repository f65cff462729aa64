#include "WifiInfoProvider.h"

#include "HostapdWrapper.h"
#include "VorSupplicantWrapper.h"
#include "WifiParser.h"
#include "YlmLog.h"

namespace {
constexpr const char* kLogFile = "src/WifiInfoProvider";
constexpr int kLogModule = ylm::kModuleYlm;

// One zero-filled reply buffer per command; the last byte is kept for the terminating zero.
struct Reply {
    static constexpr size_t kSize = 4096;
    char text[kSize] = {};
    size_t length = kSize - 1;

    // Sends on the station interface. The last byte is forced to zero whatever the channel wrote.
    bool send(VorSupplicantWrapper& channel, const char* cmd) {
        const bool ok = channel.sendCommandToSupplicant(cmd, text, &length);
        text[kSize - 1] = '\0';
        return ok;
    }
    bool send(VorSupplicantWrapper& channel, const char* cmd, supplicantType_t type) {
        const bool ok = channel.sendCommandToSupplicant(cmd, text, &length, type);
        text[kSize - 1] = '\0';
        return ok;
    }
};

constexpr uint16_t kUnknownLoad = 65535;
}  // namespace

WifiInfoProvider* WifiInfoProvider::instance = nullptr;

WifiInfoProvider* WifiInfoProvider::getInstance() {
    if (instance == nullptr) {
        instance = new WifiInfoProvider();
    }
    return instance;
}

WifiInfoProvider::~WifiInfoProvider() {
    reports.clear();
}

void WifiInfoProvider::initializeLinks(VorSupplicantWrapper* supplicantPtr) {
    supplicant = supplicantPtr;
    parser = WifiParser::getInstance();
    if (supplicant != nullptr) {
        supplicant->registerForScanReadyCb(scanResultsReadyCb, this);
    }
    hostapd = HostapdWrapper::getInstance();
    if (hostapd == nullptr) {
        YLM_LOG_AT(74, 4, "hostapd instance is Null");
    }
    YLM_LOG_AT(76, 1, "WifiInfoProvider intialize done");
}

WifiStatus WifiInfoProvider::getSTAStatus() {
    WifiStatus status;
    status.wifiMode = -1;
    if (supplicant == nullptr) {
        YLM_LOG_AT(94, 3, "SupplicantWrapper instance is null");
        return status;
    }

    Reply poll;
    if (!poll.send(*supplicant, VorSupplicantWrapper::signalPollCmd)) {
        YLM_LOG_AT(100, 1, "Signal Poll command returned error");
        return status;
    }
    if (parser != nullptr) {
        parser->parseSignalPollCmdData(poll.text, status);
    }

    Reply stat;
    if (!stat.send(*supplicant, VorSupplicantWrapper::statusCmd)) {
        YLM_LOG_AT(110, 1, "Status command returned error");
        return status;
    }
    if (parser != nullptr) {
        parser->parseStatusCmdData(stat.text, status);
    }

    // Not associated: there is no access point to ask about.
    if (status.bssid.empty()) {
        return status;
    }
    Reply bss;
    const std::string bssCmd = "BSS " + status.bssid;
    if (!bss.send(*supplicant, bssCmd.c_str())) {
        YLM_LOG_AT(121, 1, "Bss command returned error");
    } else if (parser != nullptr) {
        parser->parseBssCmdWifiInfo(bss.text, status);
    }
    return status;
}

WifiStatus WifiInfoProvider::getP2pStatus() {
    WifiStatus status;
    if (supplicant == nullptr) {
        YLM_LOG_AT(140, 3, "SupplicantWrapper instance is null");
        return status;
    }
    if (!supplicant->connectToSupplicant(SUPPLICANT_TYPE_P2P)) {
        YLM_LOG_AT(146, 1, "Error: connectToSupplicant error");
    } else {
        Reply reply;
        if (!reply.send(*supplicant, VorSupplicantWrapper::statusCmd, SUPPLICANT_TYPE_P2P)) {
            YLM_LOG_AT(152, 1, "Error: sendCommandToSupplicant error");
        } else if (parser != nullptr) {
            // The group interface answers the station status command with station keys.
            parser->parseStatusCmdData(reply.text, status);
            YLM_LOG_AT(162, 0, "Response: BSSID: %s, Frequency: %d, SSID: %s", status.bssid.c_str(),
                       status.freq, status.ssid.c_str());
        }
    }
    supplicant->disconnectFromSupplicant(SUPPLICANT_TYPE_P2P);
    return status;
}

WifiStatus WifiInfoProvider::getAPStatus() {
    WifiStatus status;
    if (hostapd == nullptr) {
        YLM_LOG_AT(173, 3, "HostapdWrapper instance is null");
        return status;
    }
    std::string reply;
    if (!hostapd->execHostapdCommand(HostapdWrapper::statusCmd, reply)) {
        YLM_LOG_AT(178, 1, "Status command returned error");
        return status;
    }
    if (parser != nullptr) {
        parser->parseApStatusCmdData(reply.c_str(), status);
    }
    YLM_LOG_AT(187, 0, "Response: BSSID: %s, Frequency: %d, SSID: %s", status.bssid.c_str(),
               status.freq, status.ssid.c_str());
    return status;
}

BssLoad WifiInfoProvider::getBssLoadInfo(std::string_view bssid) {
    bssCommand.clear();
    if (!bssid.empty()) {
        bssCommand.append("BSS ").append(bssid);
    }
    BssLoad load;
    if (supplicant == nullptr) {
        YLM_LOG_AT(202, 4, "SupplicantWrapper instance is null");
        return load;
    }
    Reply reply;
    if (!reply.send(*supplicant, bssCommand.c_str())) {
        YLM_LOG_AT(208, 1, "Signal Poll command returned error");
    } else if (parser != nullptr) {
        parser->parseBssLoadCmdData(reply.text, load);
    }
    return load;
}

void WifiInfoProvider::addBssLoadInfoToFilterData(WifiInfoProvider* provider,
                                                  WifiScanResult& result) {
    if (provider == nullptr || provider->reports.empty()) {
        return;
    }
    // The first filter speaks for the whole request.
    const uint8_t wanted = provider->reports.front().isBssLoadMask;
    YLM_LOG_AT(223, 4, "scanResultsReadyCb isBssLoadMask: %d", wanted);
    if (wanted == 0) {
        return;
    }
    for (auto& group : result.reportBySsid) {
        for (auto& info : group.second) {
            info.bssLoad = provider->getBssLoadInfo(info.bssid);
            info.isBssLoadValid = info.bssLoad.channelUtilization < kUnknownLoad ? 1 : 0;
        }
    }
}

void WifiInfoProvider::scanResultsReadyCb(void* /*hostContext*/, void* providerPtr) {
    YLM_LOG_AT(250, 1, "WifiInfoProvider scanResultsReadyCb called");
    auto* provider = static_cast<WifiInfoProvider*>(providerPtr);
    if (provider == nullptr) {
        return;
    }
    Reply reply;
    if (provider->supplicant != nullptr) {
        reply.send(*provider->supplicant, VorSupplicantWrapper::scanResultCmd);
    }
    WifiScanResult result;
    if (provider->parser != nullptr) {
        result = provider->parser->parseScanData(reply.text);
    }
    result.filterData(provider->reports);
    addBssLoadInfoToFilterData(provider, result);
    if (provider->scanCallback != nullptr && provider->scanCallbackContext != nullptr) {
        provider->scanCallback(&result, provider->scanCallbackContext);
    }
}

void WifiInfoProvider::startScan(std::list<MeasurementRequestReport>& requestReports,
                                 std::string frequencyFilter, std::string bssidFilter,
                                 uint32_t /*measId*/, ScanCallback cb, void* ctx) {
    scanCallback = cb;
    scanCallbackContext = ctx;
    if (&requestReports != &reports) {
        reports = requestReports;
    }
    YLM_LOG_AT(285, 1, "LTEU callback startScan called");
    if (supplicant == nullptr) {
        YLM_LOG(3, "SupplicantWrapper instance is null");
        return;
    }
    supplicant->setBssidFileterForScan(bssidFilter);
    supplicant->setFrequencyFilterForScan(frequencyFilter);
    Reply reply;
    reply.send(*supplicant, VorSupplicantWrapper::scanCmd);
}

void WifiInfoProvider::cleanUp() {
    scanCallback = nullptr;
    scanCallbackContext = nullptr;
}
