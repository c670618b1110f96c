// Every engine's interleaved entry against its planar one, over one helper: the same numbers,
// channel by channel, through full, short and empty blocks.
#include <gtest/gtest.h>
#include <vector>
#include "kvbase/common/common_allocator.h"
#include "skrel_console/box_modeler/src/interface/skrelboxmodelerimpl.h"
#include "skrel_console/delay/src/interface/skreldelayimpl.h"
#include "skrel_console/distortion/src/interface/skreldistimpl.h"
#include "skrel_console/dynamics/src/interface/skreldynamicsimpl.h"
#include "skrel_console/filter/src/interface/skrelfiltersimpl.h"
#include "skrel_console/mbdistortion/src/interface/skrelmultibanddistimpl.h"
#include "support/dspreference.h"
#include "support/testboxmodel.h"
#include "support/testhost.h"

namespace {

// Eleven calls of in_uBlock frames but for a short and an empty one; each engine is set up so
// that its channels differ and carry state from call to call.
template <class Impl, class Planar>
void ExpectInterleavedMatchesPlanar(const char* in_pszName, Impl& io_planar, Impl& io_woven, uint32_t C, uint32_t B,
                                    Planar in_process)
{
    uint32_t uSeed = 1;
    for (uint32_t uFrames : {B, B / 2 + 3, 0u, B, B, B, B, B, B, B, B}) {
        const std::vector<float> input = RefNoise(C * B, uSeed++, 0.6f);
        std::vector<float> channels(input), mixed(C * uFrames);
        std::vector<float*> ap(C);
        for (uint32_t c = 0; c < C; ++c) {
            ap[c] = channels.data() + c * B;
            for (uint32_t i = 0; i < uFrames; ++i)
                mixed[C * i + c] = input[c * B + i];
        }
        in_process(io_planar, uFrames, ap.data());
        io_woven.ProcessInterleaved(C * uFrames, mixed.data());
        for (uint32_t c = 0; c < C; ++c)
            for (uint32_t i = 0; i < uFrames; ++i)
                ASSERT_EQ(mixed[C * i + c], channels[c * B + i]) << in_pszName << " call " << uSeed - 1 << " channel " << c;
    }
}

} // namespace

TEST(SkrelImpls, InterleavedMatchesPlanar)
{
    TestHost host;
    {
        SkrelDistImpl planar(16, 48000.0f, 2, false), woven(16, 48000.0f, 2, true);
        for (SkrelDistImpl* p : {&planar, &woven}) {
            p->SetAlgorithm(35, 0);
            p->SetCharacter(0.3f, 0);
            p->SetAlgorithm(5, 1);
        }
        ExpectInterleavedMatchesPlanar("distortion", planar, woven, 2, 16,
                                       [](SkrelDistImpl& p, uint32_t n, float** ap) { p.Process(n, ap); });
    }
    {
        SkrelDynamicsImpl planar(32, 48000.0f, 3, false), woven(32, 48000.0f, 3, true);
        for (SkrelDynamicsImpl* p : {&planar, &woven}) {
            p->SetFloatParam(SkrelDynamicsImpl::ID_COMP_THRESHOLD, -12.0f);
            p->SetFloatParam(SkrelDynamicsImpl::ID_COMP_RATIO, 3.0f);
            p->SetFloatParam(SkrelDynamicsImpl::ID_EXP_THRESHOLD, -30.0f);
            p->SetFloatParam(SkrelDynamicsImpl::ID_EXP_RATIO, 2.0f);
        }
        ExpectInterleavedMatchesPlanar("dynamics", planar, woven, 3, 32,
                                       [](SkrelDynamicsImpl& p, uint32_t n, float** ap) { p.Process(n, ap); });
        // More frames than the block: reported, nothing processed.
        std::vector<float> tooMany(3 * 33, 0.5f);
        woven.ProcessInterleaved(3 * 33, tooMany.data());
        EXPECT_EQ(host.asserts.Count("false"), 1u);
        EXPECT_EQ(tooMany[0], 0.5f);
    }
    {
        // Filter 0 a modulated ladder, filter 1 a driven SVF.
        SkrelFiltersImpl* pPlanar = QwNew<SkrelFiltersImpl>(128u, 48000.0f, 3u, false);
        SkrelFiltersImpl* pWoven = QwNew<SkrelFiltersImpl>(128u, 48000.0f, 3u, true);
        for (SkrelFiltersImpl* p : {pPlanar, pWoven}) {
            EXPECT_TRUE(p->SetIntParam(0, FILTER_LADDER_BAND));
            EXPECT_TRUE(p->SetIntParam(5, FILTER_MODE_MODULATED));
            EXPECT_TRUE(p->SetFloatParam(7, 20.0f));
            EXPECT_TRUE(p->SetFloatParam(3, 0.7f));
            EXPECT_TRUE(p->SetIntParam(12, FILTER_SVF_DRIVEN_PEAK));
        }
        ExpectInterleavedMatchesPlanar("filters", *pPlanar, *pWoven, 3, 128,
                                       [](SkrelFiltersImpl& p, uint32_t n, float** ap) { p.ProcessDeinterleaved(n, ap); });
        // The LFO (960 samples) moved on by eleven whole blocks, the short and the empty one too.
        EXPECT_EQ(pWoven->Channel(2)->GetLfoPosition(0), (11u * 128u) % 960u);
        QwDelete(pPlanar);
        QwDelete(pWoven);
    }
    {
        // Wet only, 10 ms (480 samples) at 50 percent feedback: the echoes come within the run.
        SkrelDelayImpl planar(128, 48000, 2, false), woven(128, 48000, 2, true);
        for (SkrelDelayImpl* p : {&planar, &woven}) {
            p->SetFloatParam(1, 0.0f);
            p->SetFloatParam(2, 100.0f);
            p->SetFloatParam(7, 10.0f);
            p->SetFloatParam(8, 50.0f);
            p->Reset();
        }
        ExpectInterleavedMatchesPlanar("delay", planar, woven, 2, 128,
                                       [](SkrelDelayImpl& p, uint32_t n, float** ap) { p.ProcessDeinterleaved(n, ap); });
    }
    {
        const std::vector<uint8_t> blob = MakeBoxModelBlob(0.0f, RefNoise(100, 1));
        SkrelBoxModelerImpl planar(48000.0f, 2, 64, "", false), woven(48000.0f, 2, 64, "", true);
        for (SkrelBoxModelerImpl* p : {&planar, &woven}) {
            ASSERT_TRUE(p->SetMedia(uint32_t(blob.size()), blob.data()));
            ASSERT_TRUE(p->SetIntParam(SkrelBoxModelerImpl::INT_MODEL, 0));
        }
        ExpectInterleavedMatchesPlanar("box modeler", planar, woven, 2, 64,
                                       [](SkrelBoxModelerImpl& p, uint32_t n, float** ap) { p.Process(n, ap); });
    }
    {
        SkrelMultibandDistImpl planar(64, 48000.0f, 2, false), woven(64, 48000.0f, 2, true);
        for (SkrelMultibandDistImpl* p : {&planar, &woven}) {
            p->SetAlgorithm(35, 0, 1);
            p->SetCutoff(0, 800.0f);
        }
        ExpectInterleavedMatchesPlanar("multiband", planar, woven, 2, 64,
                                       [](SkrelMultibandDistImpl& p, uint32_t n, float** ap) { p.Process(n, ap); });
    }
    EXPECT_TRUE(host.allocator.Balanced());
}

// Before any value arrives the engines stand on the effects' documented defaults.
TEST(SkrelImpls, StartOnTheDocumentedDefaults)
{
    TestHost host;
    SkrelMultibandDistImpl multiband(64, 48000.0f, 1, false);
    EXPECT_EQ(multiband.GetCutoff(0), 5000.0f);
    EXPECT_EQ(multiband.GetCutoff(1), 10000.0f);
    SkrelDistImpl distortion(64, 48000.0f, 1, false);
    for (uint32_t uSlot = 0; uSlot < 2; ++uSlot) {
        EXPECT_EQ(distortion.GetParameter(1, uSlot), 5.0f);
        EXPECT_EQ(distortion.GetParameter(2, uSlot), 0.5f);
        EXPECT_EQ(multiband.GetParameter(2, uSlot, 2), 0.5f);
    }
}
