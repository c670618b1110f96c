// The loaded effect module: its registration list and its assertion slot.
#pragma once
#include <string>
#include <vector>
#include "host/qwassert.h"
#include "host/qwpluginregistration.h"

class QwModule
{
public:
    QwModule() = default;
    ~QwModule();
    QwModule(const QwModule&) = delete;
    QwModule& operator=(const QwModule&) = delete;

    // Loads the library and finds its list head; on failure says why in out_sError.
    bool Open(const std::string& in_sPath, std::string& out_sError);
    bool IsOpen() const { return m_ppList != nullptr; }
    const std::string& Path() const { return m_sPath; }

    // The records in walk order, head first.
    std::vector<const QwPluginRegistration*> Records() const;
    const QwPluginRegistration* Find(uint32_t in_uPluginId) const;

    // The module exports only the list head; its assertion slot is the pointer-sized word
    // directly behind it.
    void SetAssertHook(QwAssertHookFn in_pfnHook);
    QwAssertHookFn AssertHook() const;

private:
    void* m_pHandle = nullptr;
    QwPluginRegistration** m_ppList = nullptr;
    std::string m_sPath;
};

// libkvfx.so in the folder of the running executable, or in ../lib beside it once installed.
std::string QwDefaultModulePath();
