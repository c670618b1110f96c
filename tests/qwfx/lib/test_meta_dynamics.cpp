#include <gtest/gtest.h>
#include <cstring>
#include <sstream>
#include <string>
#include "qwfx/lib/qweffectmeta.h"
#include "skrel_console/dynamics/qwent/audioenginefx/kvskreldynamicsfxparams.h"
#include "support/testhost.h"

namespace {

// Every NAME=VALUE of a preset must name a parameter of the table.
void ExpectKnownNames(const QwEffectMeta& in_meta, const QwPresetMeta& in_preset)
{
    std::istringstream settings(in_preset.pszSettings);
    std::string sItem;
    while (settings >> sItem) {
        const size_t uEq = sItem.find('=');
        ASSERT_NE(uEq, std::string::npos) << in_preset.pszName << ": " << sItem;
        EXPECT_NE(QwFindParam(in_meta, sItem.substr(0, uEq).c_str()), nullptr) << in_preset.pszName << ": " << sItem;
    }
}

} // namespace

TEST(MetaDynamics, TableAgreesWithTheParameterObject)
{
    const QwEffectMeta* pMeta = QwFindEffectMeta("dynamics");
    ASSERT_NE(pMeta, nullptr);
    EXPECT_EQ(pMeta, QwFindEffectMeta(5u));
    EXPECT_EQ(pMeta->uBlockBytes, 40u);
    ASSERT_EQ(pMeta->uParamCount, 10u);

    // The table's defaults, packed as a block, must read back as the module's own defaults.
    TestHost host;
    QwPluginParam* pParams = KvSkrelDynamicsFXParams::Create(&host.allocator);
    pParams->Init(&host.allocator, nullptr, 0);
    KvSkrelDynamicsFXParams fromTable;
    uint8_t block[40] = {};
    for (uint32_t i = 0; i < pMeta->uParamCount; ++i) {
        const QwParamMeta& param = pMeta->pParams[i];
        ASSERT_LT(param.uId, 10u);
        uint32_t uBits = static_cast<uint32_t>(param.fDefault);
        if (param.eType == QwParamType::F32) {
            const float f = static_cast<float>(param.fDefault);
            std::memcpy(&uBits, &f, 4);
        }
        std::memcpy(block + 4 * param.uId, &uBits, 4); // little-endian host
    }
    fromTable.SetParamsBlock(block, 40);
    EXPECT_EQ(std::memcmp(&fromTable.m_uBypass, &static_cast<KvSkrelDynamicsFXParams*>(pParams)->m_uBypass, 40), 0);
    EXPECT_EQ(host.asserts.Total(), 0u);
    pParams->Term(&host.allocator);

    EXPECT_EQ(QwFindParam(*pMeta, "comp-attack")->uId, KvSkrelDynamicsFXParams::ID_COMP_ATTACK);
    EXPECT_EQ(QwFindParam(*pMeta, "exp-release")->uId, KvSkrelDynamicsFXParams::ID_EXP_RELEASE);
    ExpectKnownNames(*pMeta, *pMeta->pDemoPreset);
    for (uint32_t i = 0; i < pMeta->uBenchPresetCount; ++i)
        ExpectKnownNames(*pMeta, pMeta->pBenchPresets[i]);
}
