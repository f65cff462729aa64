// PLACEHOLDER: replaced by the parsing-core work.
#include "WifiScanResult.h"
