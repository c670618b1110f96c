// What the module's result codes mean, for messages a user reads.
#pragma once
#include "host/qwtypes.h"

// "out of memory, or media that could not be applied" and so on; "unknown result" otherwise.
const char* QwResultMeaning(QwResult in_eResult);
