#include "RawMeasurement.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "VorSupplicantWrapper.h"
#include "VorTimer.h"
#include "VorTpxDsd.h"
#include "WifiInfoProvider.h"
#include "WifiParser.h"
#include "WifiScanResult.h"
#include "YlmLog.h"

namespace {
constexpr const char* kLogFile = "src/RawMeasurement";
constexpr int kLogModule = ylm::kModuleYlm;

constexpr uint64_t kParamRssi = 1ULL << 0;
constexpr uint64_t kParamBssLoad = 1ULL << 2;
constexpr uint64_t kReportRssi = 1;
constexpr uint64_t kReportRssiAndBssLoad = 5;

// The SSID field of an indication entry holds at most this many text bytes.
constexpr size_t kSsidBytes = 32;
constexpr uint32_t kMaxSsids = 8;
constexpr uint32_t kMaxBssids = 16;
constexpr uint32_t kMaxChannels = 16;
constexpr size_t kChannelTextSize = 10;

using Raw = WifiMeasurementRequest::RawMeasurement;
using SsidEntry = dsd_wifi_ident_ssid_type_v01;
using BssidEntry = dsd_wifi_ident_bssid_type_v01;

bool allBytesAre(const char* p, size_t n, unsigned char value) {
    return std::all_of(p, p + n,
                       [value](char c) { return static_cast<unsigned char>(c) == value; });
}

// The SSID text of an entry, never read past its 32 text bytes.
std::string ssidText(const SsidEntry& entry) {
    return std::string(entry.ssid, strnlen(entry.ssid, kSsidBytes));
}

// A list length from the wire, bounded by the room the record has for it.
uint32_t clampedLength(uint32_t length, uint32_t capacity, const char* what) {
    if (length <= capacity) {
        return length;
    }
    YLM_LOG(3, "%s %u is above its capacity %u: only %u entries read", what, length, capacity,
            capacity);
    return capacity;
}

// The timer service takes signed 64-bit periods; a 32-bit field of 2^31 or more arrives negative.
int64_t timerPeriod(uint32_t interval) {
    return static_cast<int64_t>(static_cast<int32_t>(interval));
}

void advanceSeq(uint32_t& seq) {
    // 0 is never sent: the sequence runs from 0xFFFFFFFF back to 1.
    if (seq == 0xFFFFFFFFU) {
        seq = 0;
    }
    ++seq;
}

void copySsid(dsd_wifi_meas_report_req_msg_v01& msg, const std::string& ssid) {
    msg.ssid_len = static_cast<uint32_t>(std::min(ssid.size(), sizeof msg.ssid));
    std::memcpy(msg.ssid, ssid.data(), msg.ssid_len);
}

// Appends one channel number; the text buffer is its own allocation, which may fail.
void appendChannel(std::string& text, uint16_t channel) {
    char* buf = new (std::nothrow) char[kChannelTextSize];
    if (buf == nullptr) {
        YLM_LOG(4, "buf is NULL. Unable to allocate memory");
        return;
    }
    std::snprintf(buf, kChannelTextSize, "%lu", static_cast<unsigned long>(channel));
    text += buf;
    delete[] buf;
}

// The one record of a message on the associated access point.
void fillConnectedMessage(dsd_wifi_meas_report_req_msg_v01& msg, const WifiStatus& status,
                          int16_t reportedRssi) {
    copySsid(msg, status.ssid);
    msg.bssid_list_valid = 1;
    msg.bssid_list_len = 1;
    dsd_wifi_bssid_meas_type_v01& record = msg.bssid_list[0];
    WifiParser::getInstance()->getBSSID(record.bssid, status.bssid.c_str());
    record.rssi = reportedRssi;
    record.param_mask = kReportRssi;
    record.frequency = status.freq;
}

}  // namespace

Raw::RawMeasurement(VorTpxDsd& dsdRef, VorCom& /*com*/, VorTimer& timerRef,
                    VorSupplicantWrapper& supplicantRef, WifiInfoProvider& info,
                    dsd_start_wifi_meas_ind_msg_v01 ind, DeleteCb /*deleteCb*/)
    : dsd(dsdRef), timer(timerRef), supplicant(supplicantRef), infoProvider(info), request(ind) {
    YLM_LOG(2, "RawMeasurement Xtor");
}

Raw::~RawMeasurement() {
    if (!discarded()) {
        YLM_LOG(2, "RawMeasurement D-Xtor");
    }
    // A report loop running further up the stack must stop touching this object.
    if (destroyedFlag != nullptr) {
        *destroyedFlag = true;
    }
    // Stopping has already cleared the provider; this covers an object freed without a stop.
    if (infoProvider.getScanCallbackContext() == this) {
        infoProvider.cleanUp();
    }
}

// ---- decoding --------------------------------------------------------------------------------

bool Raw::isConfigParamOk() {
    const uint64_t mask = request.meas_param_mask;
    bool ok = true;
    if (mask == 0) {
        YLM_LOG(1, "No params specified for measurement");
        ok = false;
    } else if ((mask & kParamRssi) == 0) {
        YLM_LOG(1, "Measurement parameters does not include RSSI");
        ok = false;
    }
    if (request.sampling_interval_valid != 0) {
        samplingInterval = request.sampling_interval;
    }
    if (request.reporting_interval_valid != 0) {
        reportingInterval = request.reporting_interval;
    }
    alpha = historyWeight(request);
    YLM_LOG(0, "samplingInterval  : %u", samplingInterval);
    YLM_LOG(0, "reportingInterval : %u", reportingInterval);
    YLM_LOG(0, "alpha             : %f", static_cast<double>(alpha));
    return ok;
}

bool Raw::isAnySsid(dsd_wifi_ident_ssid_type_v01& entry) {
    return allBytesAre(entry.ssid, kSsidBytes, 0xFF);
}

void Raw::parseMeasurementRequestTpxMessage() {
    if (request.ssid_list_valid == 0) {
        return;
    }
    ScanRequest decoded = decodeScanRequest(request);
    requestList.splice(requestList.end(), decoded.reports);
    bssidFilter = std::move(decoded.bssidFilter);
    channelFilter = std::move(decoded.channelFilter);
    traceRequestList();
}

Raw::ScanRequest Raw::decodeScanRequest(const dsd_start_wifi_meas_ind_msg_v01& ind) {
    ScanRequest out;
    if (ind.ssid_list_valid == 0) {
        return out;
    }
    const uint64_t mask = ind.meas_param_mask;
    const uint32_t ssids = clampedLength(ind.ssid_list_len, kMaxSsids, "ssid_list_len");
    for (uint32_t i = 0; i < ssids; ++i) {
        const SsidEntry& entry = ind.ssid_list[i];
        MeasurementRequestReport report;
        std::string bssids;
        std::string channels;

        if (allBytesAre(entry.ssid, kSsidBytes, 0xFF)) {
            YLM_LOG(1, "Any SSID found ");
            report.ssid = "AnySSID";
        } else {
            report.ssid = ssidText(entry);
        }
        if ((mask & kParamRssi) != 0) {
            YLM_LOG(1, "Measurement parameters includes RSSI");
            report.isRssiMask = 1;
        } else {
            YLM_LOG(1, "Measurement parameters does not include RSSI");
        }
        if ((mask & kParamBssLoad) != 0) {
            YLM_LOG(1, "Measurement parameters includes BSS Load");
            report.isBssLoadMask = 1;
        } else {
            YLM_LOG(1, "Measurement parameters does not include BSS Load");
        }

        const uint32_t count = clampedLength(entry.bssid_list_len, kMaxBssids, "bssid_list_len");
        for (uint32_t j = 0; j < count; ++j) {
            BssidEntry bssid = entry.bssid_list[j];  // the address text is made from a copy
            const std::string bssidText = WifiParser::MacAddressToString(bssid.bssid);
            bssids += bssidText;
            if (j + 1 < count) {
                bssids += ",";
            }
            // Separates the channels of this BSSID from those of the one before.
            if (!channels.empty()) {
                channels += ",";
            }
            std::set<uint16_t> channelSet;
            const uint32_t n =
                clampedLength(bssid.channel_list_len, kMaxChannels, "channel_list_len");
            for (uint32_t k = 0; k < n; ++k) {
                appendChannel(channels, bssid.channel_list[k]);
                if (k + 1 < n) {
                    channels += ",";
                }
                channelSet.insert(bssid.channel_list[k]);
            }
            report.bssidChannels.emplace(bssidText, std::move(channelSet));
        }
        // The scan is filtered by the last entry's lists; each report keeps its own map.
        out.bssidFilter = bssids;
        out.channelFilter = channels;
        out.reports.push_back(std::move(report));
    }
    return out;
}

bool Raw::asksForScans(const dsd_start_wifi_meas_ind_msg_v01& ind) {
    // Only the first entry decides: an all-zero SSID there asks for the associated network.
    return ind.ssid_list_valid == 0 || !allBytesAre(ind.ssid_list[0].ssid, kSsidBytes, 0);
}

float Raw::historyWeight(const dsd_start_wifi_meas_ind_msg_v01& ind) {
    return ind.alpha_valid != 0 && ind.alpha > 0.0F && ind.alpha < 1.0F ? ind.alpha : kDefaultAlpha;
}

void Raw::traceRequestList() {
    for (const auto& report : requestList) {
        YLM_LOG(1, "RawMeasurement bssidfilter: %s ", bssidFilter.c_str());
        YLM_LOG(1, "RawMeasurement channelfilter: %s ", channelFilter.c_str());
        YLM_LOG(1, "RawMeasurement ssid: %s ", report.ssid.c_str());
        for (const auto& entry : report.bssidChannels) {
            YLM_LOG(1, "RawMeasurement bssid: %s ", entry.first.c_str());
            for (const uint16_t channel : entry.second) {
                YLM_LOG(1, "RawMeasurement channel: %d ", channel);
            }
        }
    }
    YLM_LOG(0, "bssids   : %s", bssidFilter.c_str());
    YLM_LOG(0, "channels : %s", channelFilter.c_str());
}

// ---- cycle -----------------------------------------------------------------------------------

bool Raw::startMeasurement() {
    if (!isConfigParamOk()) {
        return false;
    }
    parseMeasurementRequestTpxMessage();
    measId = static_cast<uint32_t>(request.meas_id);

    isScanReport = asksForScans(request);
    YLM_LOG(1, "startMeasurement  tpx ssid %s", ssidText(request.ssid_list[0]).c_str());
    YLM_LOG(1, "RawMeasurement::startMeasurement isScanReport: %d", isScanReport ? 1 : 0);

    if (isScanReport) {
        infoProvider.startScan(requestList, channelFilter, bssidFilter, measId, scanResultsCb,
                               this);
    } else {
        samplingTimerId =
            timer.addTimedCallback(timerPeriod(samplingInterval), samplingTimerExprCb, this);
    }
    reportingTimerId =
        timer.addTimedCallback(timerPeriod(reportingInterval), reportingTimerExprCb, this);
    return true;
}

bool Raw::stopMeasurement() {
    reportSeq = 1;
    if (!isScanReport) {
        timer.removeTimedCallback(samplingTimerId);
    }
    timer.removeTimedCallback(reportingTimerId);
    infoProvider.cleanUp();
    return true;
}

int Raw::samplingTimerExprCb(void* arg) {
    if (arg == nullptr) {
        YLM_LOG(3, "arg is null");
        return -1;
    }
    static_cast<Raw*>(arg)->getMeasurementData();
    return 0;
}

int Raw::reportingTimerExprCb(void* arg) {
    if (arg == nullptr) {
        YLM_LOG(3, "arg is null");
        return -1;
    }
    auto* self = static_cast<Raw*>(arg);
    if (self->isScanReport) {
        self->infoProvider.startScan(self->requestList, self->channelFilter, self->bssidFilter,
                                     self->measId, scanResultsCb, self);
    } else {
        self->sendAndsfReport();
    }
    return 0;
}

void Raw::scanResultsCb(void* data, void* selfPtr) {
    YLM_LOG(1, "LTEU callback RawMeasurement scanResultsCb called ");
    auto* self = static_cast<Raw*>(selfPtr);
    if (self == nullptr) {
        YLM_LOG(4, "RawMeasurement self is null");
        return;
    }
    self->scanData = static_cast<WifiScanResult*>(data);
    if (self->isScanReport) {
        self->sendScanReport();
    } else {
        self->sendAndsfReport();
    }
}

void Raw::getMeasurementData() {
    if (!supplicant.sendCommandToSupplicant(VorSupplicantWrapper::signalPollCmd)) {
        return;
    }
    // The channel keeps the RSSI of the poll it just ran.
    computeAvgRSSI(supplicant.rssi);
}

void Raw::computeAvgRSSI(int16_t sample) {
    avgRssi = foldedRssi(alpha, firstSampleSeen, avgRssi, sample);
    rssi = avgRssi;
    firstSampleSeen = true;
}

int16_t Raw::foldedRssi(float alpha, bool firstSampleSeen, int16_t average, int16_t sample) {
    if (!firstSampleSeen) {
        return sample;
    }
    // Each product is rounded to single precision before the sum, as the modem's own smoothing
    // does; volatile keeps the compiler from fusing them into one operation.
    const volatile float history = alpha * static_cast<float>(average);
    const volatile float fresh = (1.0F - alpha) * static_cast<float>(sample);
    return static_cast<int16_t>(static_cast<int32_t>(history + fresh));
}

// ---- reports ---------------------------------------------------------------------------------

void Raw::sendReport() {
    if (isScanReport) {
        sendScanReport();
    } else {
        sendAndsfReport();
    }
}

void Raw::sendScanReport() {
    // The result lives only inside the provider's callback: it is reported once and let go.
    const WifiScanResult* data = scanData;
    scanData = nullptr;
    if (data == nullptr || data->reportBySsid.empty()) {
        return;
    }
    // The engine may handle a stop indication inside a send and free this object: the batch
    // then ends at once, without touching it again.
    bool destroyed = false;
    bool* const outer = destroyedFlag;
    destroyedFlag = &destroyed;

    const size_t groups = data->reportBySsid.size();
    size_t index = 0;
    for (const auto& group : data->reportBySsid) {
        dsd_wifi_meas_report_req_msg_v01 msg;
        std::memset(&msg, 0, sizeof msg);
        msg.meas_id = measId;
        msg.report_seq = reportSeq;
        if (++index == groups) {
            msg.last_report = 1;
            advanceSeq(reportSeq);
        }
        const std::string ssid(group.first.substr(0, sizeof msg.ssid));
        copySsid(msg, ssid);
        YLM_LOG(1, "sendScanReport ssid called %s", ssid.c_str());

        const WifiScanResult::BssidList& infos = group.second;
        YLM_LOG(1, "sendScanReport bssid lenght :%d ssid length:%d ",
                static_cast<int>(infos.size()), static_cast<int>(groups));
        const size_t kept = std::min(infos.size(), DSD_WIFI_MEAS_REPORT_BSSID_MAX_V01);
        if (kept < infos.size()) {
            YLM_LOG(3, "sendScanReport: %d BSSIDs of %s do not fit in the report and are left out",
                    static_cast<int>(infos.size() - kept), ssid.c_str());
        }
        size_t k = 0;
        for (auto it = infos.begin(); k < kept; ++it, ++k) {
            msg.bssid_list_len = static_cast<uint32_t>(kept);
            msg.bssid_list_valid = 1;
            fillScanRecord(msg.bssid_list[k], *it);
        }
        dsd.sendWifiMeasurementReport(msg);
        if (destroyed) {
            if (outer != nullptr) {
                *outer = true;
            }
            return;
        }
    }
    destroyedFlag = outer;
}

void Raw::fillScanRecord(dsd_wifi_bssid_meas_type_v01& record, const BssidInfo& info) {
    record.rssi = info.level;
    record.frequency = static_cast<uint16_t>(std::atoi(info.frequency.data()));
    record.param_mask = info.isBssLoadValid != 0 ? kReportRssiAndBssLoad : kReportRssi;
    record.channel_utilization = info.bssLoad.channelUtilization;
    WifiParser::getInstance()->StringToMac(record.bssid, info.bssid.data());
    const uint8_t* b = record.bssid;
    YLM_LOG(1, "sendScanReport bssid %x:%x:%x:%x:%x:%x", b[0], b[1], b[2], b[3], b[4], b[5]);
}

void Raw::sendAndsfReport() {
    YLM_LOG(0, "%s:%d", "sendAndsfReport", __LINE__);
    dsd_wifi_meas_report_req_msg_v01 msg;
    std::memset(&msg, 0, sizeof msg);
    msg.meas_id = measId;
    msg.report_seq = reportSeq;
    advanceSeq(reportSeq);
    msg.last_report = 1;
    const WifiStatus status = infoProvider.getSTAStatus();
    // The smoothed value, not the one of the status's own poll.
    fillConnectedMessage(msg, status, rssi);
    dsd.sendWifiMeasurementReport(msg);
}

void Raw::sendConnectedReport() {
    YLM_LOG(0, " sending connected report %s:%d", "sendConnectedReport", __LINE__);
    dsd_wifi_meas_report_req_msg_v01 msg;
    std::memset(&msg, 0, sizeof msg);
    msg.meas_id = measId;
    msg.report_seq = reportSeq;
    const WifiStatus status = infoProvider.getSTAStatus();
    fillConnectedMessage(msg, status, status.rssi);
    const dsd_wifi_bssid_meas_type_v01& record = msg.bssid_list[0];
    YLM_LOG(1, "sendConnectedReport ssid called %s", status.ssid.c_str());
    YLM_LOG(1, "sendConnectedReport channel :%d  signal :%d", record.frequency, record.rssi);
    const uint8_t* b = record.bssid;
    YLM_LOG(1, "sendConnectedReport bssid %x:%x:%x:%x:%x:%x", b[0], b[1], b[2], b[3], b[4], b[5]);
    dsd.sendWifiMeasurementReport(msg);
}
