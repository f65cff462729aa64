#include "HostapdWrapper.h"

#include <cstring>

#include "VorUtils.h"
#include "YlmLog.h"

namespace {
constexpr const char* kLogFile = "src/HostapdWrapper";
constexpr int kLogModule = ylm::kModuleHostapd;

// Room for the client's output; the engine cuts anything longer.
constexpr size_t kOutputSize = 1000;
// Chipset type whose soft access point runs on its own interface.
constexpr int kSoftApChipset = 4;

constexpr const char* kSoftApInterface = " -i softap0 ";
constexpr const char* kWlanInterface = " -i wlan0 ";
}  // namespace

const std::string HostapdWrapper::statusCmd = "STATUS";
const std::string HostapdWrapper::HOSTAPD_CLI_CMD =
    "hostapd_cli -p /data/vendor/wifi/hostapd/ctrl -s /data/vendor/wifi/hostapd/ctrl";

HostapdWrapper* HostapdWrapper::instancePtr = nullptr;

HostapdWrapper* HostapdWrapper::getInstance() {
    if (instancePtr == nullptr) {
        instancePtr = new HostapdWrapper();
    }
    return instancePtr;
}

void HostapdWrapper::deleteInstance() {
    delete instancePtr;
    instancePtr = nullptr;
}

bool HostapdWrapper::execHostapdCommand(std::string command, std::string& output) {
    char captured[kOutputSize] = {};
    const bool softAp = VorUtils::getWlanChipsetType() == kSoftApChipset;
    const std::string cmdLine =
        HOSTAPD_CLI_CMD + (softAp ? kSoftApInterface : kWlanInterface) + command;

    _VorForkExecOpt options{};
    options.outBuf = captured;
    options.outBufSize = kOutputSize;
    options.word7 = 2;
    const int rc = VorUtils::forkExec(cmdLine.c_str(), &options);
    if (rc != 0) {
        YLM_LOG_AT(87, 4, "forkExec failed with error %d", rc);
        return false;
    }
    // A client that fills the whole buffer leaves no terminating zero.
    output.append(captured, strnlen(captured, kOutputSize));
    YLM_LOG_AT(91, 0, "Command : %s and Response: %s", command.c_str(), output.c_str());
    return true;
}

int WifiUtility::loadDriver() {
    return 0;
}

int WifiUtility::unloadDriver() {
    return 0;
}
