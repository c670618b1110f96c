#include <gtest/gtest.h>
#include <cstring>
#include "qwfx/lib/qweffectmeta.h"
#include "skrel_console/dynamics/qwent/audioenginefx/kvskreldynamicsfxparams.h"
#include "support/testhost.h"

// The host table's ids and defaults, packed as a block, must read back as the module's defaults.
TEST(MetaDynamics, TableAgreesWithTheParameterObject)
{
    const QwEffectMeta* pMeta = QwFindEffectMeta("dynamics");
    ASSERT_NE(pMeta, nullptr);
    EXPECT_EQ(pMeta->uPluginId, 5u);
    EXPECT_EQ(pMeta->uBlockBytes, 40u);
    ASSERT_EQ(pMeta->uParamCount, 10u);
    uint8_t block[40] = {};
    for (uint32_t i = 0; i < pMeta->uParamCount; ++i) {
        const QwParamMeta& param = pMeta->pParams[i];
        ASSERT_LT(param.uId, 10u);
        uint32_t uBits = static_cast<uint32_t>(param.fDefault);
        const float f = static_cast<float>(param.fDefault);
        if (param.eType == QwParamType::F32)
            std::memcpy(&uBits, &f, 4);
        std::memcpy(block + 4 * param.uId, &uBits, 4); // little-endian host
    }
    TestHost host;
    KvSkrelDynamicsFXParams fromTable, defaults;
    fromTable.SetParamsBlock(block, 40);
    defaults.Init(nullptr, nullptr, 0);
    EXPECT_EQ(std::memcmp(&fromTable.m_uBypass, &defaults.m_uBypass, 40), 0);
    EXPECT_EQ(QwFindParam(*pMeta, "comp-attack")->uId, KvSkrelDynamicsFXParams::ID_COMP_ATTACK);
    EXPECT_EQ(QwFindParam(*pMeta, "exp-release")->uId, KvSkrelDynamicsFXParams::ID_EXP_RELEASE);
    EXPECT_EQ(host.asserts.Total(), 0u);
}
