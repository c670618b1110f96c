#include "qwfx/lib/qwresultcodes.h"

const char* QwResultMeaning(QwResult in_eResult)
{
    switch (in_eResult) {
    case QW_Success:
        return "success";
    case QW_InputEnded:
        return "input ended";
    case QW_UnknownParam:
        return "unknown parameter identifier";
    case QW_DataReady:
        return "output ready, more to come";
    case QW_NoDataReady:
        return "no output ready";
    case QW_OutOfMemory:
        return "out of memory, or plug-in media that could not be applied";
    case QW_UnsupportedChannels:
        return "unsupported channel configuration";
    case QW_MediaMissing:
        return "required plug-in media missing or empty";
    default:
        return "unknown result code";
    }
}
