#include "qwfx/qwfxcli.h"
#include <cstdio>
#include <cstring>

int QwfxError(int in_iStatus, const std::string& in_sMessage)
{
    std::fprintf(stderr, "qwfx: %s\n", in_sMessage.c_str());
    return in_iStatus;
}

bool QwfxSession::Open(const std::string& in_sModulePath)
{
    std::string sError;
    if (!module.Open(in_sModulePath, sError)) {
        QwfxError(QWFX_FAILED, sError);
        return false;
    }
    module.SetAssertHook(&QwAssertLog::Hook);
    return true;
}

bool QwfxTakeOption(const std::vector<std::string>& in_args, size_t& io_i, const char* in_pszName,
                    std::string& out_sValue, std::string& out_sError)
{
    const std::string& sArg = in_args[io_i];
    const size_t uLength = std::strlen(in_pszName);
    if (sArg.compare(0, uLength, in_pszName) != 0)
        return false;
    if (sArg.size() == uLength) {
        if (io_i + 1 >= in_args.size()) {
            out_sError = std::string("option ") + in_pszName + " needs a value";
            return true;
        }
        out_sValue = in_args[++io_i];
        return true;
    }
    if (sArg[uLength] != '=')
        return false;
    out_sValue = sArg.substr(uLength + 1);
    return true;
}
