// The built module as a host sees it: one exported list head with the assertion slot behind it.
#include <gtest/gtest.h>
#include <dlfcn.h>
#include <vector>
#include "host/qwassert.h"
#include "host/qwpluginregistration.h"

namespace {
struct Module
{
    Module() { pHandle = dlopen(KVFX_MODULE_PATH, RTLD_NOW | RTLD_LOCAL); }
    ~Module()
    {
        if (pHandle)
            dlclose(pHandle);
    }
    void* pHandle;
};
} // namespace

TEST(KvfxModule, ExportsOnlyTheListHeadWithTheSlotBehindItAndWalksEachEffectOnce)
{
    Module module;
    ASSERT_NE(module.pHandle, nullptr) << dlerror();
    auto** ppHead = static_cast<QwPluginRegistration**>(dlsym(module.pHandle, "g_pQWPluginList"));
    ASSERT_NE(ppHead, nullptr);
    // The slot is the next pointer-sized word and is null at load.
    auto* pSlot = reinterpret_cast<QwAssertHookFn*>(ppHead + 1);
    EXPECT_EQ(*pSlot, nullptr);
    // Internal names stay hidden.
    EXPECT_EQ(dlsym(module.pHandle, "_Z18QwPushRegistrationP20QwPluginRegistration"), nullptr);
    EXPECT_EQ(dlsym(module.pHandle, "_Z13BindAllocatorP16QwPluginMemAllochh"), nullptr);
    // Each effect once, in reverse push order.
    std::vector<uint32_t> walk;
    for (QwPluginRegistration* p = *ppHead; p; p = p->next) {
        EXPECT_EQ(p->eType, 3u);
        EXPECT_EQ(p->uCompanyID, 259u);
        EXPECT_NE(p->pCreateFX, nullptr);
        EXPECT_NE(p->pCreateParams, nullptr);
        for (void* pCallback : p->apUnusedCallbacks)
            EXPECT_EQ(pCallback, nullptr);
        walk.push_back(p->uPluginID);
    }
    EXPECT_EQ(walk, (std::vector<uint32_t>{9, 6, 5, 3, 4, 7, 2}));
}
