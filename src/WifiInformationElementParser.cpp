// PLACEHOLDER: replaced by the parsing-core work.
#include "WifiInformationElementParser.h"
