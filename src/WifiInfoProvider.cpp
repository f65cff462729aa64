// PLACEHOLDER: replaced by the raw-measurement work.
#include "WifiInfoProvider.h"

WifiInfoProvider* WifiInfoProvider::instance = nullptr;
WifiInfoProvider* WifiInfoProvider::getInstance() {
    if (instance == nullptr) {
        instance = new WifiInfoProvider();
    }
    return instance;
}
WifiInfoProvider::~WifiInfoProvider() = default;
void WifiInfoProvider::initializeLinks(VorSupplicantWrapper* s) { supplicant = s; }
