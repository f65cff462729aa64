// The strategy that serves one raw Wi-Fi measurement: decoding, timers, smoothing, reports.
#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "../host/dsd_wifi_v01.h"
#include "MeasurementRequestReport.h"
#include "WifiMeasurementRequest.h"

class WifiScanResult;

class WifiMeasurementRequest::RawMeasurement : public MeasurementStrategy {
  public:
    RawMeasurement(VorTpxDsd& dsd, VorCom& com, VorTimer& timer, VorSupplicantWrapper& supplicant,
                   WifiInfoProvider& info, dsd_start_wifi_meas_ind_msg_v01 ind, DeleteCb deleteCb);
    RawMeasurement(const RawMeasurement&) = delete;
    RawMeasurement& operator=(const RawMeasurement&) = delete;
    ~RawMeasurement() override;

    bool startMeasurement() override;
    bool stopMeasurement() override;

    static int samplingTimerExprCb(void* arg);
    static int reportingTimerExprCb(void* arg);
    static void scanResultsCb(void* data, void* self);

    bool isConfigParamOk();
    void parseMeasurementRequestTpxMessage();
    bool isAnySsid(dsd_wifi_ident_ssid_type_v01& entry);

    // What a start indication asks of the scans: a filter per SSID entry, and the BSSID and
    // channel filter texts the scan is restricted by (the last entry's). Logs as it decodes.
    struct ScanRequest {
        std::list<MeasurementRequestReport> reports;
        std::string bssidFilter;
        std::string channelFilter;
    };
    static ScanRequest decodeScanRequest(const dsd_start_wifi_meas_ind_msg_v01& ind);
    // Scan mode, unless the first SSID entry is all zero: the associated access point.
    static bool asksForScans(const dsd_start_wifi_meas_ind_msg_v01& ind);
    // The weight of the history in the smoothing: the request's alpha when it is given strictly
    // between 0 and 1, else 0.5.
    static float historyWeight(const dsd_start_wifi_meas_ind_msg_v01& ind);
    // The smoothed RSSI after a sample, from the average before it (none before the first sample).
    static int16_t foldedRssi(float alpha, bool firstSampleSeen, int16_t average, int16_t sample);
    // Fills a zeroed record with one scanned access point, as a scan report carries it.
    static void fillScanRecord(dsd_wifi_bssid_meas_type_v01& record, const BssidInfo& info);

    void getMeasurementData();
    void computeAvgRSSI(int16_t sample);

    void sendReport();
    void sendScanReport();
    void sendConnectedReport();
    void sendAndsfReport();

    // Read access for the engine-side tests.
    int16_t getRssi() const { return rssi; }
    int16_t getAvgRssi() const { return avgRssi; }
    uint32_t getReportSeq() const { return reportSeq; }
    bool getIsScanReport() const { return isScanReport; }
    float getAlpha() const { return alpha; }
    uint32_t getSamplingInterval() const { return samplingInterval; }
    uint32_t getReportingInterval() const { return reportingInterval; }
    const std::list<MeasurementRequestReport>& getRequestList() const { return requestList; }
    const std::string& getBssidFilter() const { return bssidFilter; }
    const std::string& getChannelFilter() const { return channelFilter; }
    bool getFirstSampleSeen() const { return firstSampleSeen; }
    void setReportSeqForTest(uint32_t seq) { reportSeq = seq; }

  private:
    static constexpr float kDefaultAlpha = 0.5F;
    void traceRequestList();

    VorTpxDsd& dsd;
    VorTimer& timer;
    VorSupplicantWrapper& supplicant;
    WifiInfoProvider& infoProvider;
    WifiScanResult* scanData = nullptr;
    uint32_t measId = 0;
    int32_t samplingTimerId = 0;
    int32_t reportingTimerId = 0;
    int16_t rssi = 0;
    int16_t avgRssi = 0;
    uint32_t samplingInterval = 2;
    uint32_t reportingInterval = 5;
    float alpha = kDefaultAlpha;
    uint32_t reportSeq = 1;
    bool firstSampleSeen = false;
    bool isScanReport = false;
    dsd_start_wifi_meas_ind_msg_v01 request;
    std::list<MeasurementRequestReport> requestList;
    std::string bssidFilter;
    std::string channelFilter;
    // Set while a report batch is being sent, so that the batch learns when a send freed us.
    bool* destroyedFlag = nullptr;
};
