#include "qwfx/qwfxcli.h"
#include <cstdio>
#include <cstdlib>
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

bool QwfxParseWhole(const std::string& in_sText, long in_sMin, long in_sMax, long& out_sValue)
{
    if (in_sText.empty() || in_sText.size() > 12 || in_sText.find_first_not_of("0123456789") != std::string::npos)
        return false;
    const long sValue = std::strtol(in_sText.c_str(), nullptr, 10);
    if (sValue < in_sMin || sValue > in_sMax)
        return false;
    out_sValue = sValue;
    return true;
}

std::string QwfxMemoryLimitNote(const QwHostAllocator& in_allocator)
{
    if (in_allocator.LimitRefusals() == 0)
        return std::string();
    char acText[200];
    std::snprintf(acText, sizeof acText,
                  "; the memory limit of %llu MB refused %llu request%s, the largest for %.1f MB (--memory-limit)",
                  static_cast<unsigned long long>(in_allocator.Limit() >> 20),
                  static_cast<unsigned long long>(in_allocator.LimitRefusals()),
                  in_allocator.LimitRefusals() == 1 ? "" : "s", in_allocator.LargestRefused() / 1048576.0);
    return acText;
}
