#include "qwfx/lib/qwmodule.h"
#include <dlfcn.h>
#include <unistd.h>
#include <climits>

namespace {
// A list longer than this is taken to be corrupt (a cycle) rather than walked for ever.
const size_t MAX_RECORDS = 256;
}

QwModule::~QwModule()
{
    if (m_pHandle)
        dlclose(m_pHandle);
}

bool QwModule::Open(const std::string& in_sPath, std::string& out_sError)
{
    void* pHandle = dlopen(in_sPath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!pHandle) {
        const char* pszError = dlerror();
        out_sError = "cannot load module '" + in_sPath + "': " + (pszError ? pszError : "unknown error");
        return false;
    }
    dlerror();
    void* pSymbol = dlsym(pHandle, "g_pQWPluginList");
    if (!pSymbol) {
        out_sError = "'" + in_sPath + "' is not an effect module: it does not export g_pQWPluginList";
        dlclose(pHandle);
        return false;
    }
    if (m_pHandle)
        dlclose(m_pHandle);
    m_pHandle = pHandle;
    m_ppList = static_cast<QwPluginRegistration**>(pSymbol);
    m_sPath = in_sPath;
    return true;
}

std::vector<const QwPluginRegistration*> QwModule::Records() const
{
    std::vector<const QwPluginRegistration*> records;
    if (!m_ppList)
        return records;
    for (const QwPluginRegistration* pRecord = *m_ppList; pRecord && records.size() < MAX_RECORDS;
         pRecord = pRecord->next)
        records.push_back(pRecord);
    return records;
}

const QwPluginRegistration* QwModule::Find(uint32_t in_uPluginId) const
{
    for (const QwPluginRegistration* pRecord : Records())
        if (pRecord->uPluginID == in_uPluginId)
            return pRecord;
    return nullptr;
}

void QwModule::SetAssertHook(QwAssertHookFn in_pfnHook)
{
    if (m_ppList)
        reinterpret_cast<QwAssertHookFn*>(m_ppList + 1)[0] = in_pfnHook;
}

QwAssertHookFn QwModule::AssertHook() const
{
    return m_ppList ? reinterpret_cast<QwAssertHookFn*>(m_ppList + 1)[0] : nullptr;
}

std::string QwDefaultModulePath()
{
    char aPath[PATH_MAX];
    const ssize_t sLength = readlink("/proc/self/exe", aPath, sizeof(aPath) - 1);
    if (sLength <= 0)
        return "libkvfx.so";
    std::string sExe(aPath, static_cast<size_t>(sLength));
    const size_t uSlash = sExe.rfind('/');
    const std::string sDir = uSlash == std::string::npos ? std::string(".") : sExe.substr(0, uSlash);
    // Installed, the program is in P/bin and the module in P/lib.
    const std::string sInstalled = sDir + "/../lib/libkvfx.so";
    if (access((sDir + "/libkvfx.so").c_str(), F_OK) != 0 && access(sInstalled.c_str(), F_OK) == 0)
        return sInstalled;
    return sDir + "/libkvfx.so";
}
