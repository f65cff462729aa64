// The default profile's availability messages: what the service's record says goes into them as
// it is, and the SSIDs each proxy remembers between them (the station's or soft AP's, and the P2P
// group's), reported once when the network goes.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "VorCde.h"
#include "dsd_wifi_v01.h"

namespace ylmsim::chaos {

class Availability {
  public:
    // False, with why, when the message is not what the record and the proxy's remembered SSIDs
    // call for.
    bool check(const void* proxy, const CasWlanNetConfigType& c,
               const dsd_wlan_available_req_msg_v01& m, std::string& why);

  private:
    bool station(std::optional<std::string>& slot, const CasWlanNetConfigType& c,
                 const dsd_wlan_available_req_msg_v01& m, std::string& why);

    // Unset: what the proxy remembers came from a daemon's reply, which the checker does not read.
    struct Slots {
        std::optional<std::string> station{""};
        std::optional<std::string> p2p{""};
    };
    std::map<const void*, Slots> proxies;
};

}  // namespace ylmsim::chaos
