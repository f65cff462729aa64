// Runtime layout checks of every record shared with the engine and the modem. The headers pin the
// offsets at compile time; these tests also prove byte order and placement on the target itself:
// a pattern written into the record's bytes at the expected offset must read back through the
// member as the little-endian value, and a value written through the member must land on exactly
// those bytes and no others. The suite runs on x86-64, 32-bit ARM and 64-bit ARM.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>
#include <vector>

#include "VorCde.h"
#include "VorSupplicantWrapper.h"
#include "VorUtils.h"
#include "WifiStatus.h"
#include "dsd_wifi_v01.h"

namespace {

constexpr bool kIs32Bit = sizeof(void*) == 4;

// The record's own storage seen as bytes.
struct ByteView {
    unsigned char* bytes;
    size_t size;
};

// First index where the record's bytes differ from the image the member write should produce.
size_t firstStrayByte(const ByteView& view, size_t offset, const std::vector<unsigned char>& want) {
    for (size_t i = 0; i < view.size; ++i) {
        const bool inside = i >= offset && i < offset + want.size();
        const unsigned char expected = inside ? want[i - offset] : 0;
        if (view.bytes[i] != expected) {
            return i;
        }
    }
    return view.size;
}

// The integer type that carries a scalar member's bits.
template <class V, bool = std::is_enum_v<V>>
struct Integer {
    using type = V;
};
template <class V>
struct Integer<V, true> {
    using type = std::underlying_type_t<V>;
};

template <class V>
void probeScalar(const ByteView& view, V& member, size_t offset, unsigned char seed) {
    ASSERT_LE(offset + sizeof(V), view.size);
    std::vector<unsigned char> want(sizeof(V));
    V value{};
    if constexpr (std::is_floating_point_v<V>) {
        static_assert(sizeof(V) == 4, "only 32-bit floats travel in the records");
        value = static_cast<V>(-1.5);  // 0xbfc00000
        want = {0x00, 0x00, 0xc0, 0xbf};
    } else {
        using U = std::make_unsigned_t<typename Integer<V>::type>;
        uint64_t wide = 0;
        for (size_t i = 0; i < sizeof(V); ++i) {
            want[i] = static_cast<unsigned char>(seed + i);
            wide |= static_cast<uint64_t>(want[i]) << (8 * i);
        }
        value = static_cast<V>(static_cast<U>(wide));
    }
    // Bytes in, member out.
    std::memset(view.bytes, 0, view.size);
    std::memcpy(view.bytes + offset, want.data(), want.size());
    EXPECT_TRUE(member == value) << "member does not read the bytes at offset " << offset;
    // Member in, bytes out.
    std::memset(view.bytes, 0, view.size);
    member = value;
    const size_t stray = firstStrayByte(view, offset, want);
    EXPECT_EQ(stray, view.size) << "member write touched byte " << stray << ", expected bytes "
                                << offset << ".." << offset + want.size() - 1;
}

// Scalars, arrays of scalars (first and last element, recursively) and pointers (place only).
// Arrays of records are probed through explicit paths into their elements.
template <class V>
void probe(const ByteView& view, V& member, size_t offset, unsigned char seed) {
    if constexpr (std::is_array_v<V>) {
        constexpr size_t n = std::extent_v<V>;
        probe(view, member[0], offset, seed);
        probe(view, member[n - 1], offset + (n - 1) * sizeof(member[0]),
              static_cast<unsigned char>(seed + 0x40));
    } else if constexpr (std::is_pointer_v<V>) {
        EXPECT_EQ(reinterpret_cast<unsigned char*>(&member) - view.bytes,
                  static_cast<std::ptrdiff_t>(offset));
    } else if constexpr (std::is_arithmetic_v<V> || std::is_enum_v<V>) {
        probeScalar(view, member, offset, seed);
    }
}

template <class T, class Access>
void checkField(const char* name, size_t compiledOffset, size_t memberSize, size_t offset,
                size_t size, Access access) {
    SCOPED_TRACE(name);
    static_assert(std::is_trivially_copyable_v<T>, "records cross the engine boundary as bytes");
    EXPECT_EQ(compiledOffset, offset);
    EXPECT_EQ(memberSize, size);
    auto* rec = new T;
    probe(ByteView{reinterpret_cast<unsigned char*>(rec), sizeof(T)}, access(*rec), offset, 0x11);
    delete rec;
}

}  // namespace

// Member names cannot be parenthesised, hence the NOLINT.
// NOLINTBEGIN(bugprone-macro-parentheses)
// One member of a record: its offset and size in bytes on every target.
#define FIELD(T, f, off, size)                                                              \
    checkField<T>(                                                                          \
        #T "::" #f, offsetof(T, f), sizeof(std::declval<T&>().f), static_cast<size_t>(off), \
        static_cast<size_t>(size), [](T & r) -> auto& { return r.f; })
// A member reached through nested arrays of records, at its absolute offset.
#define PATH(T, path, off, size)                                                  \
    checkField<T>(                                                                \
        #T "::" #path, static_cast<size_t>(off), sizeof(std::declval<T&>().path), \
        static_cast<size_t>(off), static_cast<size_t>(size),                      \
        [](T & r) -> auto& { return r.path; })
// NOLINTEND(bugprone-macro-parentheses)

TEST(LayoutTest, StartIndicationAndItsLists) {
    using B = dsd_wifi_ident_bssid_type_v01;
    EXPECT_EQ(sizeof(B), 44u);
    FIELD(B, bssid, 0, 6);
    FIELD(B, channel_list_len, 8, 4);
    FIELD(B, channel_list, 12, 32);

    using S = dsd_wifi_ident_ssid_type_v01;
    EXPECT_EQ(sizeof(S), 748u);
    FIELD(S, reserved0, 0, 4);
    FIELD(S, ssid, 4, 33);
    FIELD(S, bssid_list_len, 40, 4);
    FIELD(S, bssid_list, 44, 16 * 44);

    using T = dsd_start_wifi_meas_ind_msg_v01;
    EXPECT_EQ(sizeof(T), 6184u);
    EXPECT_EQ(alignof(T), 8u);
    FIELD(T, meas_id, 0, 4);
    FIELD(T, meas_param_mask, 8, 8);
    FIELD(T, reserved16, 16, 30);
    FIELD(T, ssid_list_valid, 46, 1);
    FIELD(T, ssid_list_len, 48, 4);
    FIELD(T, ssid_list, 52, 8 * 748);
    FIELD(T, sampling_interval_valid, 6036, 1);
    FIELD(T, sampling_interval, 6040, 4);
    FIELD(T, reporting_interval_valid, 6044, 1);
    FIELD(T, reporting_interval, 6048, 4);
    FIELD(T, alpha_valid, 6052, 1);
    FIELD(T, alpha, 6056, 4);
    FIELD(T, reserved6060, 6060, 124);
    // The last channel of the last BSSID of the last SSID: every stride of the nesting at once.
    PATH(T, ssid_list[7].ssid, 52 + 7 * 748 + 4, 33);
    PATH(T, ssid_list[7].bssid_list_len, 52 + 7 * 748 + 40, 4);
    PATH(T, ssid_list[7].bssid_list[15].bssid, 52 + 7 * 748 + 44 + 15 * 44, 6);
    PATH(T, ssid_list[7].bssid_list[15].channel_list_len, 52 + 7 * 748 + 44 + 15 * 44 + 8, 4);
    PATH(T, ssid_list[7].bssid_list[15].channel_list, 52 + 7 * 748 + 44 + 15 * 44 + 12, 32);

    using P = dsd_stop_wifi_meas_ind_msg_v01;
    EXPECT_EQ(sizeof(P), 4u);
    FIELD(P, meas_id, 0, 4);
}

TEST(LayoutTest, MeasurementReport) {
    using B = dsd_wifi_bssid_meas_type_v01;
    EXPECT_EQ(sizeof(B), 48u);
    FIELD(B, bssid, 0, 6);
    FIELD(B, frequency, 8, 2);
    FIELD(B, reserved10, 10, 6);
    FIELD(B, param_mask, 16, 8);
    FIELD(B, rssi, 24, 2);
    FIELD(B, reserved26, 26, 4);
    FIELD(B, channel_utilization, 30, 2);
    FIELD(B, reserved32, 32, 16);

    using T = dsd_wifi_meas_report_req_msg_v01;
    EXPECT_EQ(sizeof(T), 2872u);
    FIELD(T, meas_id, 0, 4);
    FIELD(T, report_seq, 4, 4);
    FIELD(T, reserved8, 8, 4);
    FIELD(T, last_report, 12, 1);
    FIELD(T, ssid_len, 16, 4);
    FIELD(T, ssid, 20, 32);
    FIELD(T, bssid_list_valid, 52, 1);
    FIELD(T, bssid_list_len, 56, 4);
    FIELD(T, bssid_list, 64, 58 * 48);
    FIELD(T, reserved2848, 2848, 24);
    constexpr size_t last = 64 + size_t{57} * 48;
    PATH(T, bssid_list[57].bssid, last, 6);
    PATH(T, bssid_list[57].frequency, last + 8, 2);
    PATH(T, bssid_list[57].param_mask, last + 16, 8);
    PATH(T, bssid_list[57].rssi, last + 24, 2);
    PATH(T, bssid_list[57].channel_utilization, last + 30, 2);
}

TEST(LayoutTest, ProfileIndicationsAndReplies) {
    using I = dsd_wqe_profile_init_ind_msg_v01;
    EXPECT_EQ(sizeof(I), 40u);
    FIELD(I, profile_type, 0, 4);
    FIELD(I, rssi_low_valid, 4, 1);
    FIELD(I, rssi_low, 6, 2);
    FIELD(I, rssi_high_valid, 8, 1);
    FIELD(I, rssi_high, 10, 2);
    FIELD(I, iccid_valid, 12, 1);
    FIELD(I, iccid_len, 16, 4);
    FIELD(I, iccid, 20, 10);
    FIELD(I, meas_id_valid, 30, 1);
    FIELD(I, meas_id, 32, 8);

    using M = dsd_wqe_profile_type_ind_msg_v01;
    EXPECT_EQ(sizeof(M), 40u);
    FIELD(M, profile_type_mask, 0, 8);
    FIELD(M, reserved8, 8, 18);
    FIELD(M, meas_id_valid, 26, 1);
    FIELD(M, meas_id, 32, 8);

    using Q = dsd_set_wqe_profile_quality_status_req_msg_v01;
    EXPECT_EQ(sizeof(Q), 32u);
    FIELD(Q, profile_type, 0, 4);
    FIELD(Q, quality_status_valid, 4, 1);
    FIELD(Q, quality_status, 8, 4);
    FIELD(Q, status_code_valid, 12, 1);
    FIELD(Q, status_code, 16, 4);
    FIELD(Q, meas_id_valid, 20, 1);
    FIELD(Q, meas_id, 24, 8);

    using N = dsd_notify_data_settings_req_msg_v01;
    EXPECT_EQ(sizeof(N), 16u);
    FIELD(N, reserved0, 0, 12);
    FIELD(N, wifi_state_valid, 12, 1);
    FIELD(N, wifi_state, 13, 1);

    EXPECT_EQ(sizeof(dsd_wqe_profile_type_enum_v01), 4u);
}

TEST(LayoutTest, WlanAvailable) {
    using T = dsd_wlan_available_req_msg_v01;
    EXPECT_EQ(sizeof(T), 240u);
    FIELD(T, bssid, 0, 6);
    FIELD(T, ipv4_addr_valid, 6, 1);
    FIELD(T, ipv4_addr, 8, 4);
    FIELD(T, ipv6_addr_valid, 12, 1);
    FIELD(T, ipv6_addr, 13, 16);
    FIELD(T, ipv6_prefix_len, 29, 1);
    FIELD(T, reserved30, 30, 1);
    FIELD(T, reserved32, 32, 4);
    FIELD(T, dns_ipv4_1_valid, 36, 1);
    FIELD(T, dns_ipv4_1, 40, 4);
    FIELD(T, dns_ipv4_2_valid, 44, 1);
    FIELD(T, dns_ipv4_2, 48, 4);
    FIELD(T, dns_ipv6_1_valid, 52, 1);
    FIELD(T, dns_ipv6_1, 53, 16);
    FIELD(T, dns_ipv6_2_valid, 69, 1);
    FIELD(T, dns_ipv6_2, 70, 16);
    FIELD(T, reserved86, 86, 48);
    FIELD(T, ssid_valid, 134, 1);
    FIELD(T, ssid_len, 136, 4);
    FIELD(T, ssid, 140, 32);
    FIELD(T, freq_valid, 172, 1);
    FIELD(T, freq, 174, 2);
    FIELD(T, reserved176, 176, 16);
    FIELD(T, wlan_type_valid, 192, 1);
    FIELD(T, wlan_type, 196, 4);
    FIELD(T, wifi_mode_valid, 200, 1);
    FIELD(T, wifi_mode, 204, 4);
    FIELD(T, conn_status_valid, 208, 1);
    FIELD(T, conn_status, 212, 4);
    FIELD(T, reserved216, 216, 12);
    FIELD(T, net_flag_valid, 228, 1);
    FIELD(T, net_flag, 229, 1);
    FIELD(T, hessid_valid, 230, 1);
    FIELD(T, hessid, 231, 6);
    FIELD(T, country_code_valid, 237, 1);
    FIELD(T, country_code, 238, 2);
}

TEST(LayoutTest, EngineRecords) {
    using C = CasWlanNetConfigType;
    EXPECT_EQ(sizeof(C), 204u);
    FIELD(C, netType, 24, 4);
    FIELD(C, ipv4Addr, 44, 4);
    FIELD(C, ipv6Addr, 48, 16);
    FIELD(C, netFlag, 68, 1);
    FIELD(C, isActive, 80, 1);
    FIELD(C, bssid, 88, 25);
    FIELD(C, ssid, 113, 35);
    FIELD(C, dnsIpv4, 148, 8);
    FIELD(C, dnsIpv6, 156, 32);
    FIELD(C, state, 188, 4);
    FIELD(C, reason, 196, 4);
    FIELD(C, stationFlag, 200, 1);
    FIELD(C, countryCode, 201, 2);

    using O = _CQEClientOverrides;
    EXPECT_EQ(sizeof(O), 4u);
    FIELD(O, rssiHigh, 0, 2);
    FIELD(O, rssiLow, 2, 2);

    // The signal poll's RSSI is read in place from the channel object.
    FIELD(VorSupplicantWrapper, rssi, 0, 2);

    using L = BssLoad;
    EXPECT_EQ(sizeof(L), 10u);
    FIELD(L, reservedA, 0, 2);
    FIELD(L, channelUtilization, 2, 2);
    FIELD(L, reservedB, 4, 2);
    FIELD(L, channelWidth, 6, 2);
    FIELD(L, vhtSegment1, 8, 2);
}

// Ten 32-bit words on 32-bit ARM. On 64-bit targets word 1 is the native output-buffer pointer:
// word 0 is padded to 8 bytes before it, the eight words after it follow at 16, and the record
// rounds up to 48 bytes for the pointer's alignment.
TEST(LayoutTest, ForkExecOptionsPerTarget) {
    using F = _VorForkExecOpt;
    const size_t ptr = sizeof(void*);
    EXPECT_EQ(sizeof(F), kIs32Bit ? 40u : 48u);
    EXPECT_EQ(alignof(F), ptr);
    FIELD(F, word0, 0, 4);
    FIELD(F, outBuf, ptr, ptr);
    FIELD(F, outBufSize, 2 * ptr, 4);
    FIELD(F, word3, 2 * ptr + 4, 4);
    FIELD(F, word9, 2 * ptr + 28, 4);
    if (kIs32Bit) {
        EXPECT_EQ(offsetof(F, outBuf), 4u);
        EXPECT_EQ(offsetof(F, word9), 36u);
    } else {
        EXPECT_EQ(offsetof(F, outBuf), 8u);
        EXPECT_EQ(offsetof(F, word9), 44u);
    }
}
