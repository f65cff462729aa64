// The records a scenario hands the plug-in, from their fields by name: the modem's indications and
// the quality service's verdicts and network configurations, as the bytes the plug-in receives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "VorCde.h"
#include "dsd_wifi_v01.h"
#include "scenario/Fields.h"

namespace ylmsim::records {

// An indication and the DSD client index (dsd, default 0) it goes to.
template <class Record>
struct FromClient {
    size_t dsd = 0;
    Record record{};
};

FromClient<dsd_start_wifi_meas_ind_msg_v01> startMeasurement(const fields::Field& f);
FromClient<dsd_stop_wifi_meas_ind_msg_v01> stopMeasurement(const fields::Field& f);
FromClient<dsd_wqe_profile_init_ind_msg_v01> profileInit(const fields::Field& f);
FromClient<dsd_wqe_profile_type_ind_msg_v01> profileMask(const fields::Field& f);
// A record's values as a scenario and the timeline write them: a mask in hex ("0x5"), an address
// as six lower-case hex pairs joined by colons.
std::string hexText(uint64_t v);
std::string macText(const uint8_t* b);

// The client of an indication without a record of its own (default_profile, stop_all).
size_t client(const fields::Field& f);
// The dsd field of a map (0 when not given).
size_t dsdIndex(const fields::MapReader& m);

// A record of the quality service and the registration (by name; none: the unnamed one) it goes
// to.
struct ForRegistration {
    std::optional<std::string> name;
    CasWlanNetConfigType record{};
};
ForRegistration casVerdict(const fields::Field& f);
// The name field of a map: required, or none for the unnamed registration.
std::optional<std::string> registrationName(const fields::MapReader& m, bool required);
ForRegistration netConfig(const fields::Field& f);

// The bit of profile p (4 to 42) in a profile type mask: 36-42 on bits 3-9, 4-35 on bits 32-63.
int profileBit(int64_t p);

}  // namespace ylmsim::records
