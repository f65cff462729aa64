// Runtime layout checks of every record shared with the engine and the modem. The headers pin
// most offsets at compile time; this proves all of them again on each target the suite runs on
// (x86-64, 32-bit ARM and 64-bit ARM), as that target's compiler lays them out.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <type_traits>

#include "VorCde.h"
#include "VorSupplicantWrapper.h"
#include "VorUtils.h"
#include "WifiStatus.h"
#include "dsd_wifi_v01.h"

namespace {

constexpr size_t kPtr = sizeof(void*);

struct Member {
    const char* name;
    size_t offset, size, wantOffset, wantSize;
};

void check(const char* record, size_t size, size_t wantSize,
           std::initializer_list<Member> members) {
    SCOPED_TRACE(record);
    EXPECT_EQ(size, wantSize);
    for (const Member& m : members) {
        SCOPED_TRACE(m.name);
        EXPECT_EQ(m.offset, m.wantOffset);
        EXPECT_EQ(m.size, m.wantSize);
    }
}

// One record: its size and, for each AT(member, offset, size), where the member sits. Member
// names cannot be parenthesised, hence the NOLINT.
// NOLINTBEGIN(bugprone-macro-parentheses)
// clang-format off
#define RECORD(T, size, ...)                                                                   \
    [] {                                                                                       \
        using R = T;                                                                           \
        static_assert(std::is_trivially_copyable_v<R>, "records cross the boundary as bytes"); \
        check(#T, sizeof(R), static_cast<size_t>(size), {__VA_ARGS__});                       \
    }()
#define AT(f, off, size)                                                                       \
    {#f, offsetof(R, f), sizeof(static_cast<R*>(nullptr)->f), static_cast<size_t>(off),        \
     static_cast<size_t>(size)}
// clang-format on
// NOLINTEND(bugprone-macro-parentheses)

}  // namespace

TEST(LayoutTest, EveryRecordOnThisTarget) {
    RECORD(dsd_wifi_ident_bssid_type_v01, 44, AT(bssid, 0, 6), AT(channel_list_len, 8, 4),
           AT(channel_list, 12, 32));
    RECORD(dsd_wifi_ident_ssid_type_v01, 748, AT(reserved0, 0, 4), AT(ssid, 4, 33),
           AT(bssid_list_len, 40, 4), AT(bssid_list, 44, 16 * 44));
    RECORD(dsd_start_wifi_meas_ind_msg_v01, 6184, AT(meas_id, 0, 4), AT(meas_param_mask, 8, 8),
           AT(reserved16, 16, 30), AT(ssid_list_valid, 46, 1), AT(ssid_list_len, 48, 4),
           AT(ssid_list, 52, 8 * 748), AT(sampling_interval_valid, 6036, 1),
           AT(sampling_interval, 6040, 4), AT(reporting_interval_valid, 6044, 1),
           AT(reporting_interval, 6048, 4), AT(alpha_valid, 6052, 1), AT(alpha, 6056, 4),
           AT(reserved6060, 6060, 124),
           AT(ssid_list[7].bssid_list[15].channel_list, 52 + 7 * 748 + 44 + 15 * 44 + 12, 32));
    RECORD(dsd_stop_wifi_meas_ind_msg_v01, 4, AT(meas_id, 0, 4));
    RECORD(dsd_wifi_bssid_meas_type_v01, 48, AT(bssid, 0, 6), AT(frequency, 8, 2),
           AT(reserved10, 10, 6), AT(param_mask, 16, 8), AT(rssi, 24, 2), AT(reserved26, 26, 4),
           AT(channel_utilization, 30, 2), AT(reserved32, 32, 16));
    RECORD(dsd_wifi_meas_report_req_msg_v01, 2872, AT(meas_id, 0, 4), AT(report_seq, 4, 4),
           AT(reserved8, 8, 4), AT(last_report, 12, 1), AT(ssid_len, 16, 4), AT(ssid, 20, 32),
           AT(bssid_list_valid, 52, 1), AT(bssid_list_len, 56, 4), AT(bssid_list, 64, 58 * 48),
           AT(reserved2848, 2848, 24),
           AT(bssid_list[57].channel_utilization, 64 + 57 * 48 + 30, 2));
    RECORD(dsd_wqe_profile_init_ind_msg_v01, 40, AT(profile_type, 0, 4), AT(rssi_low_valid, 4, 1),
           AT(rssi_low, 6, 2), AT(rssi_high_valid, 8, 1), AT(rssi_high, 10, 2),
           AT(iccid_valid, 12, 1), AT(iccid_len, 16, 4), AT(iccid, 20, 10),
           AT(meas_id_valid, 30, 1), AT(meas_id, 32, 8));
    RECORD(dsd_wqe_profile_type_ind_msg_v01, 40, AT(profile_type_mask, 0, 8), AT(reserved8, 8, 18),
           AT(meas_id_valid, 26, 1), AT(meas_id, 32, 8));
    RECORD(dsd_set_wqe_profile_quality_status_req_msg_v01, 32, AT(profile_type, 0, 4),
           AT(quality_status_valid, 4, 1), AT(quality_status, 8, 4), AT(status_code_valid, 12, 1),
           AT(status_code, 16, 4), AT(meas_id_valid, 20, 1), AT(meas_id, 24, 8));
    RECORD(dsd_notify_data_settings_req_msg_v01, 16, AT(reserved0, 0, 12),
           AT(wifi_state_valid, 12, 1), AT(wifi_state, 13, 1));
    RECORD(dsd_wqe_profile_type_enum_v01, 4);
    RECORD(dsd_wlan_available_req_msg_v01, 240, AT(bssid, 0, 6), AT(ipv4_addr_valid, 6, 1),
           AT(ipv4_addr, 8, 4), AT(ipv6_addr_valid, 12, 1), AT(ipv6_addr, 13, 16),
           AT(ipv6_prefix_len, 29, 1), AT(reserved30, 30, 1), AT(reserved32, 32, 4),
           AT(dns_ipv4_1_valid, 36, 1), AT(dns_ipv4_1, 40, 4), AT(dns_ipv4_2_valid, 44, 1),
           AT(dns_ipv4_2, 48, 4), AT(dns_ipv6_1_valid, 52, 1), AT(dns_ipv6_1, 53, 16),
           AT(dns_ipv6_2_valid, 69, 1), AT(dns_ipv6_2, 70, 16), AT(reserved86, 86, 48),
           AT(ssid_valid, 134, 1), AT(ssid_len, 136, 4), AT(ssid, 140, 32), AT(freq_valid, 172, 1),
           AT(freq, 174, 2), AT(reserved176, 176, 16), AT(wlan_type_valid, 192, 1),
           AT(wlan_type, 196, 4), AT(wifi_mode_valid, 200, 1), AT(wifi_mode, 204, 4),
           AT(conn_status_valid, 208, 1), AT(conn_status, 212, 4), AT(reserved216, 216, 12),
           AT(net_flag_valid, 228, 1), AT(net_flag, 229, 1), AT(hessid_valid, 230, 1),
           AT(hessid, 231, 6), AT(country_code_valid, 237, 1), AT(country_code, 238, 2));
    RECORD(CasWlanNetConfigType, 204, AT(netType, 24, 4), AT(ipv4Addr, 44, 4), AT(ipv6Addr, 48, 16),
           AT(netFlag, 68, 1), AT(isActive, 80, 1), AT(bssid, 88, 25), AT(ssid, 113, 35),
           AT(dnsIpv4, 148, 8), AT(dnsIpv6, 156, 32), AT(state, 188, 4), AT(reason, 196, 4),
           AT(stationFlag, 200, 1), AT(countryCode, 201, 2));
    RECORD(_CQEClientOverrides, 4, AT(rssiHigh, 0, 2), AT(rssiLow, 2, 2));
    // The signal poll's RSSI is read in place from the channel object.
    RECORD(VorSupplicantWrapper, sizeof(VorSupplicantWrapper), AT(rssi, 0, 2));
    RECORD(BssLoad, 10, AT(reservedA, 0, 2), AT(channelUtilization, 2, 2), AT(reservedB, 4, 2),
           AT(channelWidth, 6, 2), AT(vhtSegment1, 8, 2));
    // Ten 32-bit words on 32-bit ARM. On 64-bit targets word 1 is the native output-buffer
    // pointer: word 0 is padded to 8 bytes before it, the eight words after it follow at 16, and
    // the record rounds up to 48 bytes for the pointer's alignment.
    RECORD(_VorForkExecOpt, kPtr == 4 ? 40 : 48, AT(word0, 0, 4), AT(outBuf, kPtr, kPtr),
           AT(outBufSize, 2 * kPtr, 4), AT(word3, 2 * kPtr + 4, 4),
           AT(word9, kPtr == 4 ? 36 : 44, 4));
    EXPECT_EQ(alignof(dsd_start_wifi_meas_ind_msg_v01), 8u);
    EXPECT_EQ(alignof(_VorForkExecOpt), kPtr);
}

// Every target stores integers little-endian and floats as IEEE-754 singles, as the wire does:
// the one property of the records the offsets cannot show.
TEST(LayoutTest, TargetByteOrderMatchesTheWire) {
    const unsigned char bytes[] = {0x00, 0x00, 0xc0, 0xbf, 0x15, 0x16, 0x17, 0x18};
    dsd_start_wifi_meas_ind_msg_v01 start{};
    std::memcpy(&start.meas_param_mask, bytes, 8);
    std::memcpy(&start.alpha, bytes, 4);
    EXPECT_EQ(start.meas_param_mask, 0x18171615bfc00000u);
    EXPECT_EQ(start.alpha, -1.5f);
}
