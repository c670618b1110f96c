// Allocation failure everywhere, for all seven effects of the built module: the k-th
// allocation of parameter and effect set-up fails (or every one from the k-th on), Term
// follows, and the allocator must get every block back; then an Init on the same allocator
// succeeds and its Execute allocates nothing. The filters' type change, the one allocation
// Execute may make, is failed at each of its steps too.
#include <gtest/gtest.h>
#include <vector>
#include "qwfx/lib/qweffectinstance.h"
#include "qwfx/lib/qweffectmeta.h"
#include "qwfx/lib/qwlayout.h"
#include "qwfx/lib/qwmodule.h"
#include "support/dspreference.h"
#include "support/testhost.h"

namespace {

const uint32_t RATE = 48000;

struct Sweep
{
    Sweep()
    {
        std::string sError;
        bOpen = module.Open(KVFX_MODULE_PATH, sError);
        module.SetAssertHook(&QwAssertLog::Hook);
    }
    // Parameter object and effect from the module's own factories; the first failing result.
    QwResult Create(QwEffectInstance& io_instance, const QwEffectMeta& in_meta, uint16_t in_uMaxFrames)
    {
        const QwPluginRegistration* pRecord = module.Find(in_meta.uPluginId);
        const QwResult eParams = io_instance.CreateParams(*pRecord, {}, in_meta.uBlockBytes);
        if (eParams != QW_Success)
            return eParams;
        const std::vector<uint8_t> media =
            in_meta.pfnMakeMedia ? in_meta.pfnMakeMedia(RATE, in_meta.pBenchPresets[0].pszName) : std::vector<uint8_t>();
        const QwFormat format = {RATE, QwFindLayout("5.1")->ChannelConfig(), 0};
        return io_instance.CreateEffect(*pRecord, format, in_uMaxFrames, media);
    }
    QwModule module;
    QwAssertLog asserts;
    QwHostAllocator allocator;
    bool bOpen = false;
};

// Blocks of noise, full, short and empty, then the end of the stream.
void RunBlocks(QwEffectPlugin& io_effect, uint16_t in_uMaxFrames, uint32_t in_uSeed)
{
    const uint16_t auValid[] = {in_uMaxFrames, 1, 0, static_cast<uint16_t>(in_uMaxFrames / 3), in_uMaxFrames, 7};
    for (uint32_t b = 0; b < 6; ++b) {
        std::vector<float> block = RefNoise(6u * in_uMaxFrames, in_uSeed * 6 + b);
        QwAudioBuffer buffer = {block.data(), QwFindLayout("5.1")->ChannelConfig(), b == 5 ? 17u : 45u,
                                in_uMaxFrames, auValid[b]};
        io_effect.Execute(&buffer);
    }
}

} // namespace

TEST(AllocationSweep, EveryEffectSurvivesEveryFailedAllocationOfItsSetUp)
{
    Sweep sweep;
    ASSERT_TRUE(sweep.bOpen);
    uint64_t uCases = 0;
    // 512 runs the box modeler without its ring, 1000 with it (the ring's failure gives 2).
    for (const QwEffectMeta* pMeta : QwAllEffectMeta()) {
        for (uint16_t uMaxFrames : {uint16_t(512), uint16_t(1000)}) {
            uint64_t uSetUpCalls = 0;
            {
                QwEffectInstance instance(sweep.allocator);
                const uint64_t uBefore = sweep.allocator.AllocCalls();
                ASSERT_EQ(sweep.Create(instance, *pMeta, uMaxFrames), QW_Success) << pMeta->pszShortName;
                uSetUpCalls = sweep.allocator.AllocCalls() - uBefore;
            }
            ASSERT_TRUE(sweep.allocator.Balanced());
            EXPECT_GT(uSetUpCalls, 3u) << pMeta->pszShortName;
            uint64_t uRingFailures = 0;
            for (bool bFromK : {false, true}) {
                for (uint64_t k = 1; k <= uSetUpCalls; ++k) {
                    QwEffectInstance failing(sweep.allocator);
                    if (bFromK)
                        sweep.allocator.FailFrom(k);
                    else
                        sweep.allocator.FailAt(k);
                    const QwResult eResult = sweep.Create(failing, *pMeta, uMaxFrames);
                    sweep.allocator.FailAt(0);
                    uRingFailures += eResult == 2u;
                    EXPECT_TRUE(eResult == QW_OutOfMemory || (eResult == 2u && pMeta->uPluginId == 7))
                        << pMeta->pszShortName << " H " << uMaxFrames << " k " << k << " result " << eResult;
                    failing.Release();
                    EXPECT_TRUE(sweep.allocator.Balanced()) << pMeta->pszShortName << " k " << k;
                    ++uCases;
                }
            }
            // Only the box modeler's ring, first of its Init, answers 2: once per sweep kind.
            EXPECT_EQ(uRingFailures, pMeta->uPluginId == 7 && uMaxFrames == 1000 ? 2u : 0u) << pMeta->pszShortName;
            // The flag a failure left is cleared by the next Init, which runs as before.
            QwEffectInstance after(sweep.allocator);
            ASSERT_EQ(sweep.Create(after, *pMeta, uMaxFrames), QW_Success) << pMeta->pszShortName;
            const uint64_t uBeforeRun = sweep.allocator.AllocCalls();
            RunBlocks(*after.Effect(), uMaxFrames, 2);
            EXPECT_EQ(sweep.allocator.AllocCalls(), uBeforeRun) << pMeta->pszShortName;
        }
    }
    EXPECT_TRUE(sweep.allocator.Balanced());
    EXPECT_EQ(sweep.allocator.BadFrees(), 0u);
    std::printf("allocation sweep: %llu failing set-ups, %zu assertions\n",
                static_cast<unsigned long long>(uCases), sweep.asserts.Total());
    // The transform's set-up reports its own failed allocation; nothing else may fire.
    for (const QwAssertRecord& record : sweep.asserts.Records())
        EXPECT_EQ(record.sExpression, "bAllocSuccess") << record.sFile << ":" << record.iLine;
}

// A new filter type is built inside Execute. When that fails the block passes untouched and
// the change stays pending. The out-of-memory flag is shared and sticky, so blocks keep passing
// untouched (each retrying the change) until an Init anywhere binds the allocator again; the
// next block then applies the change.
TEST(AllocationSweep, FiltersTypeChangeFailsAtEachStepAndIsRetried)
{
    Sweep sweep;
    ASSERT_TRUE(sweep.bOpen);
    const QwEffectMeta& meta = *QwFindEffectMeta(6);
    const uint32_t uLadderLow = 11, uTypeOfFilter1 = 0;
    const float fFreq = 2000.0f;
    uint64_t uChangeCalls = 0;
    {
        QwEffectInstance instance(sweep.allocator);
        ASSERT_EQ(sweep.Create(instance, meta, 256), QW_Success);
        RunBlocks(*instance.Effect(), 256, 3);
        instance.SetParam(uTypeOfFilter1, &uLadderLow, 4);
        const uint64_t uBefore = sweep.allocator.AllocCalls();
        RunBlocks(*instance.Effect(), 256, 4);
        uChangeCalls = sweep.allocator.AllocCalls() - uBefore;
    }
    ASSERT_GT(uChangeCalls, 0u);
    for (uint64_t k = 1; k <= uChangeCalls; ++k) {
        QwEffectInstance instance(sweep.allocator);
        ASSERT_EQ(sweep.Create(instance, meta, 256), QW_Success);
        RunBlocks(*instance.Effect(), 256, 3);
        instance.SetParam(uTypeOfFilter1, &uLadderLow, 4);
        instance.SetParam(uTypeOfFilter1 + 1, &fFreq, 4);
        std::vector<float> block(6 * 256);
        for (size_t i = 0; i < block.size(); ++i)
            block[i] = (i / 7) & 1 ? 0.25f : -0.25f;
        const std::vector<float> input = block;
        QwAudioBuffer buffer = {block.data(), QwFindLayout("5.1")->ChannelConfig(), 45u, 256, 256};
        sweep.allocator.FailAt(k);
        instance.Effect()->Execute(&buffer);
        sweep.allocator.FailAt(0);
        EXPECT_EQ(block, input) << "k " << k;
        instance.Effect()->Execute(&buffer);
        EXPECT_EQ(block, input) << "the flag is sticky until the next binding, k " << k;
        {
            QwEffectInstance other(sweep.allocator);
            ASSERT_EQ(sweep.Create(other, meta, 256), QW_Success);
        }
        instance.Effect()->Execute(&buffer);
        EXPECT_NE(block, input) << "the pending change was not applied, k " << k;
        instance.Release();
        EXPECT_TRUE(sweep.allocator.Balanced()) << "k " << k;
    }
}
