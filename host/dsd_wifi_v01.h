// DSD wire records exchanged with the engine's DSD client. Little-endian, natural alignment.
// The layouts are a contract with the modem side: every offset and size is pinned below and must
// hold on 32-bit and 64-bit ARM as on x86-64, so only fixed-width members and explicit padding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

// ---- start / stop of a raw measurement -------------------------------------------------------

struct dsd_wifi_ident_bssid_type_v01 {
    uint8_t bssid[6];
    uint8_t pad6[2];
    uint32_t channel_list_len;
    uint16_t channel_list[16];
};

struct dsd_wifi_ident_ssid_type_v01 {
    uint32_t reserved0;
    char ssid[33];
    uint8_t pad37[3];
    uint32_t bssid_list_len;
    dsd_wifi_ident_bssid_type_v01 bssid_list[16];
};

struct dsd_start_wifi_meas_ind_msg_v01 {
    int32_t meas_id;
    uint8_t pad4[4];
    uint64_t meas_param_mask;
    uint8_t reserved16[30];
    uint8_t ssid_list_valid;
    uint8_t pad47;
    uint32_t ssid_list_len;
    dsd_wifi_ident_ssid_type_v01 ssid_list[8];
    uint8_t sampling_interval_valid;
    uint8_t pad6037[3];
    uint32_t sampling_interval;
    uint8_t reporting_interval_valid;
    uint8_t pad6045[3];
    uint32_t reporting_interval;
    uint8_t alpha_valid;
    uint8_t pad6053[3];
    float alpha;
    uint8_t reserved6060[124];
};

struct dsd_stop_wifi_meas_ind_msg_v01 {
    int32_t meas_id;
};

// ---- measurement report ----------------------------------------------------------------------

struct dsd_wifi_bssid_meas_type_v01 {
    uint8_t bssid[6];
    uint8_t pad6[2];
    uint16_t frequency;
    uint8_t reserved10[6];
    uint64_t param_mask;
    int16_t rssi;
    uint8_t reserved26[4];
    uint16_t channel_utilization;
    uint8_t reserved32[16];
};

// The records that fit in the fixed 2872-byte message after its 64-byte head.
constexpr std::size_t DSD_WIFI_MEAS_REPORT_BSSID_MAX_V01 = 58;

struct dsd_wifi_meas_report_req_msg_v01 {
    uint32_t meas_id;
    uint32_t report_seq;
    uint32_t reserved8;
    uint8_t last_report;
    uint8_t pad13[3];
    uint32_t ssid_len;
    uint8_t ssid[32];
    uint8_t bssid_list_valid;
    uint8_t pad53[3];
    uint32_t bssid_list_len;
    uint8_t pad60[4];
    dsd_wifi_bssid_meas_type_v01 bssid_list[DSD_WIFI_MEAS_REPORT_BSSID_MAX_V01];
    uint8_t reserved2848[24];
};

// ---- quality profiles ------------------------------------------------------------------------

enum dsd_wqe_profile_type_enum_v01 : int32_t {
    DSD_WQE_PROFILE_TYPE_ENUM_MIN_ENUM_VAL_V01 = -2147483647 - 1,
    DSD_WQE_PROFILE_DEFAULT_V01 = 0,
    DSD_WQE_PROFILE_TYPE_ENUM_MAX_ENUM_VAL_V01 = 2147483647,
};

struct dsd_wqe_profile_init_ind_msg_v01 {
    int32_t profile_type;
    uint8_t rssi_low_valid;
    uint8_t pad5;
    int16_t rssi_low;
    uint8_t rssi_high_valid;
    uint8_t pad9;
    int16_t rssi_high;
    uint8_t iccid_valid;
    uint8_t pad13[3];
    uint32_t iccid_len;
    uint8_t iccid[10];
    uint8_t meas_id_valid;
    uint8_t pad31;
    uint64_t meas_id;
};

struct dsd_wqe_profile_type_ind_msg_v01 {
    uint64_t profile_type_mask;
    uint8_t reserved8[18];
    uint8_t meas_id_valid;
    uint8_t pad27[5];
    uint64_t meas_id;
};

struct dsd_set_wqe_profile_quality_status_req_msg_v01 {
    int32_t profile_type;
    uint8_t quality_status_valid;
    uint8_t pad5[3];
    int32_t quality_status;
    uint8_t status_code_valid;
    uint8_t pad13[3];
    int32_t status_code;
    uint8_t meas_id_valid;
    uint8_t pad21[3];
    uint64_t meas_id;
};

struct dsd_notify_data_settings_req_msg_v01 {
    uint8_t reserved0[12];
    uint8_t wifi_state_valid;
    uint8_t wifi_state;
    uint8_t reserved14[2];
};

// ---- Wi-Fi availability ----------------------------------------------------------------------

struct dsd_wlan_available_req_msg_v01 {
    uint8_t bssid[6];
    uint8_t ipv4_addr_valid;
    uint8_t pad7;
    uint32_t ipv4_addr;
    uint8_t ipv6_addr_valid;
    uint8_t ipv6_addr[16];
    uint8_t ipv6_prefix_len;
    uint8_t reserved30;  // 1 in station messages
    uint8_t pad31;
    uint32_t reserved32;  // 1 in station messages
    uint8_t dns_ipv4_1_valid;
    uint8_t pad37[3];
    uint32_t dns_ipv4_1;
    uint8_t dns_ipv4_2_valid;
    uint8_t pad45[3];
    uint32_t dns_ipv4_2;
    uint8_t dns_ipv6_1_valid;
    uint8_t dns_ipv6_1[16];
    uint8_t dns_ipv6_2_valid;
    uint8_t dns_ipv6_2[16];
    uint8_t reserved86[48];
    uint8_t ssid_valid;
    uint8_t pad135;
    uint32_t ssid_len;
    uint8_t ssid[32];
    uint8_t freq_valid;
    uint8_t pad173;
    uint16_t freq;
    uint8_t reserved176[16];
    uint8_t wlan_type_valid;
    uint8_t pad193[3];
    uint32_t wlan_type;
    uint8_t wifi_mode_valid;
    uint8_t pad201[3];
    int32_t wifi_mode;
    uint8_t conn_status_valid;
    uint8_t pad209[3];
    uint32_t conn_status;
    uint8_t reserved216[12];
    uint8_t net_flag_valid;
    uint8_t net_flag;
    uint8_t hessid_valid;
    uint8_t hessid[6];
    uint8_t country_code_valid;
    char country_code[2];
};

// ---- layout pins -----------------------------------------------------------------------------
#define DSD_PIN(T, f, off) static_assert(offsetof(T, f) == (off), #T "::" #f)

static_assert(sizeof(dsd_wifi_ident_bssid_type_v01) == 44, "bssid entry size");
DSD_PIN(dsd_wifi_ident_bssid_type_v01, bssid, 0);
DSD_PIN(dsd_wifi_ident_bssid_type_v01, channel_list_len, 8);
DSD_PIN(dsd_wifi_ident_bssid_type_v01, channel_list, 12);

static_assert(sizeof(dsd_wifi_ident_ssid_type_v01) == 748, "ssid entry size");
DSD_PIN(dsd_wifi_ident_ssid_type_v01, ssid, 4);
DSD_PIN(dsd_wifi_ident_ssid_type_v01, bssid_list_len, 40);
DSD_PIN(dsd_wifi_ident_ssid_type_v01, bssid_list, 44);

static_assert(sizeof(dsd_start_wifi_meas_ind_msg_v01) == 6184, "start indication size");
DSD_PIN(dsd_start_wifi_meas_ind_msg_v01, meas_id, 0);
DSD_PIN(dsd_start_wifi_meas_ind_msg_v01, meas_param_mask, 8);
DSD_PIN(dsd_start_wifi_meas_ind_msg_v01, reserved16, 16);
DSD_PIN(dsd_start_wifi_meas_ind_msg_v01, ssid_list_valid, 46);
DSD_PIN(dsd_start_wifi_meas_ind_msg_v01, ssid_list_len, 48);
DSD_PIN(dsd_start_wifi_meas_ind_msg_v01, ssid_list, 52);
DSD_PIN(dsd_start_wifi_meas_ind_msg_v01, sampling_interval_valid, 6036);
DSD_PIN(dsd_start_wifi_meas_ind_msg_v01, sampling_interval, 6040);
DSD_PIN(dsd_start_wifi_meas_ind_msg_v01, reporting_interval_valid, 6044);
DSD_PIN(dsd_start_wifi_meas_ind_msg_v01, reporting_interval, 6048);
DSD_PIN(dsd_start_wifi_meas_ind_msg_v01, alpha_valid, 6052);
DSD_PIN(dsd_start_wifi_meas_ind_msg_v01, alpha, 6056);
DSD_PIN(dsd_start_wifi_meas_ind_msg_v01, reserved6060, 6060);

static_assert(sizeof(dsd_stop_wifi_meas_ind_msg_v01) == 4, "stop indication size");
DSD_PIN(dsd_stop_wifi_meas_ind_msg_v01, meas_id, 0);

static_assert(sizeof(dsd_wifi_bssid_meas_type_v01) == 48, "bssid record size");
DSD_PIN(dsd_wifi_bssid_meas_type_v01, bssid, 0);
DSD_PIN(dsd_wifi_bssid_meas_type_v01, frequency, 8);
DSD_PIN(dsd_wifi_bssid_meas_type_v01, reserved10, 10);
DSD_PIN(dsd_wifi_bssid_meas_type_v01, param_mask, 16);
DSD_PIN(dsd_wifi_bssid_meas_type_v01, rssi, 24);
DSD_PIN(dsd_wifi_bssid_meas_type_v01, reserved26, 26);
DSD_PIN(dsd_wifi_bssid_meas_type_v01, channel_utilization, 30);
DSD_PIN(dsd_wifi_bssid_meas_type_v01, reserved32, 32);

static_assert(sizeof(dsd_wifi_meas_report_req_msg_v01) == 2872, "report size");
DSD_PIN(dsd_wifi_meas_report_req_msg_v01, meas_id, 0);
DSD_PIN(dsd_wifi_meas_report_req_msg_v01, report_seq, 4);
DSD_PIN(dsd_wifi_meas_report_req_msg_v01, reserved8, 8);
DSD_PIN(dsd_wifi_meas_report_req_msg_v01, last_report, 12);
DSD_PIN(dsd_wifi_meas_report_req_msg_v01, ssid_len, 16);
DSD_PIN(dsd_wifi_meas_report_req_msg_v01, ssid, 20);
DSD_PIN(dsd_wifi_meas_report_req_msg_v01, bssid_list_valid, 52);
DSD_PIN(dsd_wifi_meas_report_req_msg_v01, bssid_list_len, 56);
DSD_PIN(dsd_wifi_meas_report_req_msg_v01, bssid_list, 64);

static_assert(sizeof(dsd_wqe_profile_init_ind_msg_v01) == 40, "profile init size");
DSD_PIN(dsd_wqe_profile_init_ind_msg_v01, profile_type, 0);
DSD_PIN(dsd_wqe_profile_init_ind_msg_v01, rssi_low_valid, 4);
DSD_PIN(dsd_wqe_profile_init_ind_msg_v01, rssi_low, 6);
DSD_PIN(dsd_wqe_profile_init_ind_msg_v01, rssi_high_valid, 8);
DSD_PIN(dsd_wqe_profile_init_ind_msg_v01, rssi_high, 10);
DSD_PIN(dsd_wqe_profile_init_ind_msg_v01, iccid_valid, 12);
DSD_PIN(dsd_wqe_profile_init_ind_msg_v01, iccid_len, 16);
DSD_PIN(dsd_wqe_profile_init_ind_msg_v01, iccid, 20);
DSD_PIN(dsd_wqe_profile_init_ind_msg_v01, meas_id_valid, 30);
DSD_PIN(dsd_wqe_profile_init_ind_msg_v01, meas_id, 32);

static_assert(sizeof(dsd_wqe_profile_type_ind_msg_v01) == 40, "profile mask size");
DSD_PIN(dsd_wqe_profile_type_ind_msg_v01, profile_type_mask, 0);
DSD_PIN(dsd_wqe_profile_type_ind_msg_v01, reserved8, 8);
DSD_PIN(dsd_wqe_profile_type_ind_msg_v01, meas_id_valid, 26);
DSD_PIN(dsd_wqe_profile_type_ind_msg_v01, meas_id, 32);

static_assert(sizeof(dsd_set_wqe_profile_quality_status_req_msg_v01) == 32, "quality status size");
DSD_PIN(dsd_set_wqe_profile_quality_status_req_msg_v01, profile_type, 0);
DSD_PIN(dsd_set_wqe_profile_quality_status_req_msg_v01, quality_status_valid, 4);
DSD_PIN(dsd_set_wqe_profile_quality_status_req_msg_v01, quality_status, 8);
DSD_PIN(dsd_set_wqe_profile_quality_status_req_msg_v01, status_code_valid, 12);
DSD_PIN(dsd_set_wqe_profile_quality_status_req_msg_v01, status_code, 16);
DSD_PIN(dsd_set_wqe_profile_quality_status_req_msg_v01, meas_id_valid, 20);
DSD_PIN(dsd_set_wqe_profile_quality_status_req_msg_v01, meas_id, 24);

static_assert(sizeof(dsd_notify_data_settings_req_msg_v01) == 16, "data settings size");
DSD_PIN(dsd_notify_data_settings_req_msg_v01, wifi_state_valid, 12);
DSD_PIN(dsd_notify_data_settings_req_msg_v01, wifi_state, 13);

static_assert(sizeof(dsd_wlan_available_req_msg_v01) == 240, "wlan available size");
DSD_PIN(dsd_wlan_available_req_msg_v01, bssid, 0);
DSD_PIN(dsd_wlan_available_req_msg_v01, ipv4_addr_valid, 6);
DSD_PIN(dsd_wlan_available_req_msg_v01, ipv4_addr, 8);
DSD_PIN(dsd_wlan_available_req_msg_v01, ipv6_addr_valid, 12);
DSD_PIN(dsd_wlan_available_req_msg_v01, ipv6_addr, 13);
DSD_PIN(dsd_wlan_available_req_msg_v01, ipv6_prefix_len, 29);
DSD_PIN(dsd_wlan_available_req_msg_v01, reserved30, 30);
DSD_PIN(dsd_wlan_available_req_msg_v01, reserved32, 32);
DSD_PIN(dsd_wlan_available_req_msg_v01, dns_ipv4_1_valid, 36);
DSD_PIN(dsd_wlan_available_req_msg_v01, dns_ipv4_1, 40);
DSD_PIN(dsd_wlan_available_req_msg_v01, dns_ipv4_2_valid, 44);
DSD_PIN(dsd_wlan_available_req_msg_v01, dns_ipv4_2, 48);
DSD_PIN(dsd_wlan_available_req_msg_v01, dns_ipv6_1_valid, 52);
DSD_PIN(dsd_wlan_available_req_msg_v01, dns_ipv6_1, 53);
DSD_PIN(dsd_wlan_available_req_msg_v01, dns_ipv6_2_valid, 69);
DSD_PIN(dsd_wlan_available_req_msg_v01, dns_ipv6_2, 70);
DSD_PIN(dsd_wlan_available_req_msg_v01, ssid_valid, 134);
DSD_PIN(dsd_wlan_available_req_msg_v01, ssid_len, 136);
DSD_PIN(dsd_wlan_available_req_msg_v01, ssid, 140);
DSD_PIN(dsd_wlan_available_req_msg_v01, freq_valid, 172);
DSD_PIN(dsd_wlan_available_req_msg_v01, freq, 174);
DSD_PIN(dsd_wlan_available_req_msg_v01, wlan_type_valid, 192);
DSD_PIN(dsd_wlan_available_req_msg_v01, wlan_type, 196);
DSD_PIN(dsd_wlan_available_req_msg_v01, wifi_mode_valid, 200);
DSD_PIN(dsd_wlan_available_req_msg_v01, wifi_mode, 204);
DSD_PIN(dsd_wlan_available_req_msg_v01, conn_status_valid, 208);
DSD_PIN(dsd_wlan_available_req_msg_v01, conn_status, 212);
DSD_PIN(dsd_wlan_available_req_msg_v01, net_flag_valid, 228);
DSD_PIN(dsd_wlan_available_req_msg_v01, net_flag, 229);
DSD_PIN(dsd_wlan_available_req_msg_v01, hessid_valid, 230);
DSD_PIN(dsd_wlan_available_req_msg_v01, hessid, 231);
DSD_PIN(dsd_wlan_available_req_msg_v01, country_code_valid, 237);
DSD_PIN(dsd_wlan_available_req_msg_v01, country_code, 238);

#undef DSD_PIN

// The records travel as bytes: integers little-endian, alpha an IEEE-754 single, as on every
// target the plug-in is built for.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "little-endian target");
static_assert(std::numeric_limits<float>::is_iec559, "IEEE-754 floats");
