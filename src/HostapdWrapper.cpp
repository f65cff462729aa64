// PLACEHOLDER: replaced by the raw-measurement work.
#include "HostapdWrapper.h"

HostapdWrapper* HostapdWrapper::instancePtr = nullptr;
void HostapdWrapper::deleteInstance() {}
int WifiUtility::loadDriver() { return 0; }
int WifiUtility::unloadDriver() { return 0; }
