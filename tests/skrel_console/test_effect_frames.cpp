// What every effect owes its host, checked once for all seven through their registration records
// and the tool's parameter tables: the block and id frame and the start values, and an Execute
// that allocates nothing, writes only the valid frames, pads short blocks and leaves misfit
// blocks alone. (Init under allocation failure is the module sweep's.)
#include <gtest/gtest.h>
#include <cmath>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>
#include "qwfx/lib/qweffectmeta.h"
#include "qwfx/lib/qwparamvalue.h"
#include "reverb_console/qwent/audioenginefx/src/bivrelreverb_qwentfx.h"
#include "skrel_console/box_modeler/qwent/audioenginefx/kvskrelboxmodelerfx.h"
#include "skrel_console/delay/qwent/audioenginefx/kvskreldelayfx.h"
#include "skrel_console/distortion/qwent/audioenginefx/kvskreldistortionfx.h"
#include "skrel_console/dynamics/qwent/audioenginefx/kvskreldynamicsfx.h"
#include "skrel_console/effectrig.h"
#include "skrel_console/filter/qwent/audioenginefx/kvskrelfiltersfx.h"
#include "skrel_console/mbdistortion/qwent/audioenginefx/kvskrelmultibanddistortionfx.h"
#include "support/dspreference.h"
#include "support/testhost.h"

namespace {

constexpr uint16_t BLOCK = 256;

struct Effect
{
    const QwEffectMeta* pMeta;
    const QwPluginRegistration* pRecord;
    std::vector<uint8_t> media;
};

const std::vector<Effect>& AllEffects()
{
    static std::vector<Effect> s_effects;
    if (s_effects.empty()) {
        for (const QwPluginRegistration* p :
             {BivrelReverbRegistration(), KvSkrelDistortionRegistration(), KvSkrelDelayRegistration(),
              KvSkrelDynamicsRegistration(), KvSkrelFiltersRegistration(), KvSkrelBoxModelerRegistration(),
              KvSkrelMultibandDistortionRegistration()}) {
            const QwEffectMeta* pMeta = QwFindEffectMeta(p->uPluginID);
            if (!pMeta)
                continue;
            s_effects.push_back({pMeta, p, {}});
            if (pMeta->pfnMakeMedia)
                s_effects.back().media = pMeta->pfnMakeMedia(48000, pMeta->pBenchPresets[0].pszName);
        }
    }
    EXPECT_EQ(s_effects.size(), 7u);
    return s_effects;
}

// One effect with default parameters and its media, on a stereo block at 48 kHz.
struct Instance : EffectRig<>
{
    Instance(TestHost& io_host, const Effect& in_effect)
        : EffectRig(io_host, in_effect.pRecord->pCreateParams(&io_host.allocator), in_effect.pRecord->pCreateFX, 2, BLOCK,
                    QW_MASK_STEREO)
    {
        context.media = in_effect.media;
    }
};

} // namespace

// Item n of the packed block at byte 4n is parameter id n (the reverb's carries its order, id
// 14, after the six model values), and the values an effect starts from are the tool's table
// defaults: the same audio whichever road the values take. The chosen values lie inside each
// range, the integers but the bypass off their defaults.
TEST(EffectFrames, BlockItemsAreTheIdsAndStartValuesAreTheTableDefaults)
{
    for (const Effect& e : AllEffects()) {
        const std::string sName = e.pMeta->pszShortName;
        const bool bReverb = e.pMeta->uPluginId == 2;
        auto Item = [bReverb](uint16_t id) { return !bReverb || id < 6 ? id : (id == 14 ? 6 : id + 1); };
        std::vector<uint32_t> defaults(e.pMeta->uBlockBytes / 4, 0xFFFFFFFFu), values = defaults;
        for (uint32_t i = 0; i < e.pMeta->uParamCount; ++i) {
            const QwParamMeta& param = e.pMeta->pParams[i];
            const uint32_t n = Item(param.uId);
            ASSERT_LT(n, defaults.size()) << sName;
            const double fSpan = param.fMax - param.fMin;
            if (param.eType == QwParamType::F32) {
                const float fDefault = static_cast<float>(param.fDefault);
                const float fValue = static_cast<float>(param.fMin + fSpan * (0.2 + 0.6 * std::fmod(0.618 * i, 1.0)));
                std::memcpy(&defaults[n], &fDefault, 4);
                std::memcpy(&values[n], &fValue, 4);
            } else {
                defaults[n] = static_cast<uint32_t>(param.fDefault);
                const uint32_t uRange = static_cast<uint32_t>(fSpan) + 1;
                values[n] = std::string(param.pszName) == "bypass"
                                ? defaults[n]
                                : static_cast<uint32_t>(param.fMin) + (defaults[n] + 1 + i) % uRange;
            }
        }
        for (uint32_t u : defaults)
            ASSERT_NE(u, 0xFFFFFFFFu) << sName << ": a block item without an id";
        const std::vector<float> noise = RefNoise(2 * BLOCK, 5, 0.5f);
        // 0: as created; 1: the defaults' block, sent with a size 4 short and 4 over first (read
        // all the same, reported once each); 2: a clone of the values' block; 3: the values one id
        // at a time, and two unknown ids.
        std::vector<float> aOut[4];
        for (int road = 0; road < 4; ++road) {
            TestHost host;
            {
                Instance fx(host, e);
                for (uint32_t uBytes : {e.pMeta->uBlockBytes - 4, e.pMeta->uBlockBytes + 4, e.pMeta->uBlockBytes}) {
                    if (road == 1 || (road == 2 && uBytes == e.pMeta->uBlockBytes)) {
                        EXPECT_EQ(fx.pParams->SetParamsBlock((road == 1 ? defaults : values).data(), uBytes), QW_Success);
                    }
                }
                if (road == 2) {
                    QwPluginParam* pCopy = fx.pParams->Clone(&host.allocator);
                    ASSERT_NE(pCopy, nullptr) << sName;
                    fx.pParams->Term(&host.allocator);
                    fx.pParams = pCopy;
                }
                uint16_t uLastId = 0;
                for (uint32_t i = 0; road == 3 && i < e.pMeta->uParamCount; ++i) {
                    const uint16_t uId = e.pMeta->pParams[i].uId;
                    EXPECT_EQ(fx.pParams->SetParam(uId, &values[Item(uId)], 4), QW_Success) << sName << " id " << uId;
                    uLastId = std::max(uLastId, uId);
                }
                for (uint16_t uId : {uint16_t(uLastId + 1), uint16_t(0xFFFF)}) {
                    if (road == 3) {
                        EXPECT_EQ(fx.pParams->SetParam(uId, &values[0], 4), QW_UnknownParam) << sName;
                    }
                }
                ASSERT_EQ(fx.Init(), QW_Success) << sName << " road " << road;
                for (int b = 0; b < 4; ++b) {
                    fx.data = noise;
                    fx.Execute(BLOCK);
                    aOut[road].insert(aOut[road].end(), fx.data.begin(), fx.data.end());
                }
            }
            EXPECT_EQ(host.asserts.Count("in_ulBlockSize == 0 || eResult != QW_Success"), road == 1 ? 2u : 0u) << sName;
            EXPECT_EQ(host.asserts.Total(), road == 1 ? 2u : 0u) << sName << " road " << road;
            EXPECT_TRUE(host.allocator.Balanced()) << sName << " road " << road;
        }
        EXPECT_EQ(aOut[1], aOut[0]) << sName;
        EXPECT_EQ(aOut[3], aOut[2]) << sName;
        for (size_t c = 0; c < 2; ++c) { // the values reach both channels
            bool bDiffers = false;
            for (size_t n = 0; n < aOut[0].size(); ++n)
                bDiffers |= (n / BLOCK) % 2 == c && aOut[2][n] != aOut[0][n];
            EXPECT_TRUE(bDiffers) << sName << " channel " << c;
        }
    }
}

// Every parameter swept over its range between blocks (but the filter types, whose change
// builds a new filter), short blocks, the tail, Reset and TimeSkip: no allocation, and frames
// past the valid ones come back as the host left them.
TEST(EffectFrames, ExecuteAllocatesNothingAndWritesOnlyTheValidFrames)
{
    for (const Effect& e : AllEffects()) {
        const std::string sName = e.pMeta->pszShortName;
        TestHost host;
        Instance fx(host, e);
        ASSERT_EQ(fx.Init(), QW_Success) << sName;
        const uint64_t uBefore = host.allocator.AllocCalls();
        const std::vector<float> noise = RefNoise(2 * BLOCK, 3, 0.5f);
        for (uint32_t i = 0; i < e.pMeta->uParamCount; ++i) {
            const QwParamMeta& param = e.pMeta->pParams[i];
            const bool bFloat = param.eType == QwParamType::F32;
            if (!bFloat && e.pMeta->uPluginId == 6)
                continue;
            std::vector<double> values = {param.fMax, param.fMin, param.fDefault};
            for (double u = param.fMin + 1; !bFloat && u < param.fMax; ++u)
                values.insert(values.end() - 1, u);
            for (double fValue : values) {
                const float f = static_cast<float>(fValue);
                const uint32_t u = static_cast<uint32_t>(fValue);
                fx.pParams->SetParam(param.uId, bFloat ? static_cast<const void*>(&f) : &u, 4);
                const uint16_t uValid = fValue == param.fMin ? 100 : BLOCK;
                fx.data = noise;
                for (uint32_t c = 0; c < 2; ++c)
                    std::fill(fx.data.begin() + c * BLOCK + uValid, fx.data.begin() + (c + 1) * BLOCK, 7.0f);
                fx.Execute(uValid);
                for (uint32_t c = 0; c < 2; ++c)
                    for (uint32_t n = uValid; n < BLOCK; ++n)
                        ASSERT_EQ(fx.data[c * BLOCK + n], 7.0f) << sName << " " << param.pszName << " " << n;
            }
        }
        fx.Execute(100, QW_InputEnded);
        for (int k = 0; k < 40 && fx.buffer.eState == QW_DataReady; ++k)
            fx.Execute(0, QW_InputEnded);
        EXPECT_EQ(fx.pFx->Reset(), QW_Success) << sName;
        fx.pFx->TimeSkip(BLOCK);
        fx.Execute(BLOCK);
        EXPECT_EQ(host.allocator.AllocCalls(), uBefore) << sName;
    }
}

// What the effect says of itself after a good Init. A block with fewer channels than the
// effect was built for (the reverb and the box modeler map the layout they are handed instead),
// and a block that arrives with a parameter change while an allocation failure is pending (the
// reverb's changes need no memory, so it does not wait): reported or skipped, and the audio
// left as it was.
TEST(EffectFrames, MisfitBlocksAreLeftAlone)
{
    for (const Effect& e : AllEffects()) {
        const std::string sName = e.pMeta->pszShortName;
        TestHost host;
        Instance fx(host, e);
        ASSERT_EQ(fx.Init(), QW_Success) << sName;
        QwPluginInfo info = {0, 0, false};
        EXPECT_EQ(fx.pFx->GetPluginInfo(nullptr, info), QW_Success) << sName;
        // The effects that read media (reverb, box modeler) raise the probe flag.
        EXPECT_EQ(std::make_tuple(info.eType, info.uBuildVersion, info.bIsInPlace, fx.pFx->ProbeFlag()),
                  std::make_tuple(3u, 0x7E501u, true, e.pMeta->pfnMakeMedia != nullptr)) << sName;
        const std::vector<float> noise = RefNoise(2 * BLOCK, 4, 0.5f);
        fx.data = noise;
        if (e.pMeta->uPluginId != 2 && e.pMeta->uPluginId != 7) {
            fx.buffer.uChannelConfig = QwMakeChannelConfig(1, 0);
            fx.Execute(BLOCK);
            fx.buffer.uChannelConfig = fx.format.uChannelConfig;
            EXPECT_EQ(fx.data, noise) << sName;
            EXPECT_EQ(host.asserts.Count("in_uIndex < NumChannels()"), 1u) << sName;
        }
        if (e.pMeta->uPluginId == 2)
            continue;
        // The demo settings, which are audible, and 427 ms of noise: the delay (350 ms in the demo)
        // sends some of it back.
        std::vector<QwParamSetting> settings;
        std::string sError;
        ASSERT_TRUE(QwParseSettings(e.pMeta, e.pMeta->pDemoPreset->pszSettings, settings, sError)) << sError;
        for (const QwParamSetting& setting : settings)
            fx.pParams->SetParam(setting.pParam->uId, &setting.uBits, 4);
        for (int b = 0; b < 80; ++b) {
            fx.data = noise;
            fx.Execute(BLOCK);
        }
        fx.data = noise;
        const QwParamMeta* pFloat = e.pMeta->pParams;
        while (pFloat->eType != QwParamType::F32)
            ++pFloat;
        const float fValue = static_cast<float>(pFloat->fDefault);
        fx.pParams->SetParam(pFloat->uId, &fValue, 4);
        GetAllocatorBinding().m_bOutOfMemory = 1;
        fx.Execute(BLOCK);
        GetAllocatorBinding().m_bOutOfMemory = 0;
        EXPECT_EQ(fx.data, noise) << sName;
    }
}
