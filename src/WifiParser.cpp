// PLACEHOLDER: replaced by the parsing-core work.
#include "WifiParser.h"
