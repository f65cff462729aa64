// Runs hostapd_cli through the engine and returns what it printed.
#pragma once

#include <string>

#define YLM_EXPORT __attribute__((visibility("default")))

class HostapdWrapper {
  public:
    static const std::string statusCmd;
    static const std::string HOSTAPD_CLI_CMD;

    static HostapdWrapper* getInstance();
    YLM_EXPORT static void deleteInstance();

    bool execHostapdCommand(std::string command, std::string& output);

  private:
    HostapdWrapper() = default;
    ~HostapdWrapper() = default;
    static HostapdWrapper* instancePtr;
};

// Driver hooks kept for the engine; both do nothing.
class WifiUtility {
  public:
    YLM_EXPORT static int loadDriver();
    YLM_EXPORT static int unloadDriver();
};
