// The distortion's host-side table agrees with the effect: identifiers, defaults, block size,
// and algorithm names that follow the module's display names.
#include <gtest/gtest.h>
#include <cctype>
#include <cstring>
#include <string>
#include "qwfx/lib/meta_distortion.h"
#include "qwfx/lib/qweffectmeta.h"
#include "qwfx/lib/qwparamvalue.h"
#include "shareddsp/distortions/skreldistortion/distortion_algorithm_info.h"
#include "skrel_console/distortion/qwent/audioenginefx/kvskreldistortionfxparams.h"
#include "support/testhost.h"

namespace {

// "Drive - Amp Drainer" -> "amp-drainer", "<None>" -> "none".
std::string ShortName(const char* in_pszDisplay)
{
    std::string s = in_pszDisplay;
    const size_t uDash = s.find(" - ");
    if (uDash != std::string::npos)
        s = s.substr(uDash + 3);
    std::string out;
    for (char c : s) {
        if (c == ' ')
            out += '-';
        else if (std::isalnum(static_cast<unsigned char>(c)))
            out += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return out;
}

} // namespace

TEST(MetaDistortion, AlgorithmNamesFollowTheModuleTable)
{
    for (uint32_t a = 0; a < QW_DISTORTION_ALGORITHMS; ++a)
        EXPECT_EQ(g_apszDistortionAlgorithmNames[a], ShortName(g_aDistortionAlgorithms[a].pName)) << a;
}

TEST(MetaDistortion, TableMatchesTheParameterObject)
{
    const QwEffectMeta* pMeta = QwFindEffectMeta("distortion");
    ASSERT_NE(pMeta, nullptr);
    EXPECT_EQ(pMeta->uPluginId, 3u);
    EXPECT_EQ(pMeta->uBlockBytes, KvSkrelDistortionFXParams::BLOCK_BYTES);
    ASSERT_EQ(pMeta->uParamCount, 12u);

    TestHost host;
    QwPluginParam* pParams = KvSkrelDistortionFXParams::Create(&host.allocator);
    pParams->Init(&host.allocator, nullptr, 0);
    const auto& defaults = *static_cast<KvSkrelDistortionFXParams*>(pParams);
    for (uint32_t i = 0; i < pMeta->uParamCount; ++i) {
        const QwParamMeta& p = pMeta->pParams[i];
        EXPECT_EQ(p.uId, i);
        const auto& slot = defaults.m_aSlots[i / 6];
        const double aDefault[6] = {slot.fInputGainDb, slot.fDrive,         slot.fCharacter,
                                    slot.fMix,         slot.fOutputGainDb, static_cast<double>(slot.uAlgorithm)};
        EXPECT_EQ(p.fDefault, aDefault[i % 6]) << p.pszName;
        EXPECT_EQ(p.eType == QwParamType::U32, i % 6 == 5) << p.pszName;
        if (i % 6 == 5) {
            EXPECT_EQ(p.uChoiceCount, 48u);
            EXPECT_STREQ(p.apszChoices[36], "bit-aliasing");
        }
    }
    EXPECT_EQ(QwFindParam(*pMeta, "algorithm2")->uId, 11u);
    pParams->Term(&host.allocator);
}

TEST(MetaDistortion, PresetsParseAndNamesEqualNumbers)
{
    const QwEffectMeta* pMeta = QwFindEffectMeta("distortion");
    ASSERT_NE(pMeta, nullptr);
    std::vector<QwParamSetting> settings;
    std::string sError;
    EXPECT_TRUE(QwParseSettings(pMeta, pMeta->pDemoPreset->pszSettings, settings, sError)) << sError;
    ASSERT_GE(pMeta->uBenchPresetCount, 8u);
    for (uint32_t i = 0; i < pMeta->uBenchPresetCount; ++i)
        EXPECT_TRUE(QwParseSettings(pMeta, pMeta->pBenchPresets[i].pszSettings, settings, sError))
            << pMeta->pBenchPresets[i].pszName << ": " << sError;
    QwParamSetting byName = {}, byNumber = {};
    ASSERT_TRUE(QwParseSetting(pMeta, "algorithm2=iron-fuzz", byName, sError)) << sError;
    ASSERT_TRUE(QwParseSetting(pMeta, "algorithm2=46", byNumber, sError)) << sError;
    EXPECT_EQ(byName.uBits, 46u);
    EXPECT_EQ(byNumber.uBits, 46u);
    EXPECT_FALSE(QwParseSetting(pMeta, "algorithm1=Iron Fuzz", byName, sError));
}
