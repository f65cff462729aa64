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
    float alpha = 0.5F;
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
