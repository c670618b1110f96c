// The delay processes a block in chunks of passes (reads, character, filters, writes); a block
// of one frame is the sample-by-sample order. Both must give the same bits in every mode, with
// the feedback loop busy, the read head gliding after a time change and the line short enough
// at a low rate (40 samples at 1 kHz) that the chunks must shrink.
#include <gtest/gtest.h>
#include <cstring>
#include <random>
#include <vector>
#include "shareddsp/delays/delay_dsp.h"
#include "support/testhost.h"

TEST(SkrelDelayChunks, BlocksEqualSampleBySample)
{
    TestHost host;
    const struct { uint32_t uRate; float fMs, fNewMs, fFeedback; } cases[] = {
        {48000, 300.0f, 120.0f, 50.0f}, {48000, 40.0f, 41.0f, 90.0f}, {8000, 40.0f, 200.0f, 110.0f}, {1000, 40.0f, 45.0f, 80.0f}};
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> dist(-0.8f, 0.8f);
    std::vector<float> input(30000);
    for (float& f : input)
        f = dist(rng);
    for (const auto& c : cases) {
        for (uint32_t uMode = 0; uMode < SkrelDelayDsp::NUM_DELAY_MODES; ++uMode) {
            SkrelDelayDsp blocks(c.uRate), single(c.uRate);
            std::vector<float> a = input, b = input;
            for (SkrelDelayDsp* p : {&blocks, &single}) {
                p->SetParam(SkrelDelayDsp::PARAM_WET_PERCENT, 60.0f);
                p->SetParam(SkrelDelayDsp::PARAM_FEEDBACK_PERCENT, c.fFeedback);
                p->SetParam(SkrelDelayDsp::PARAM_DELAY_MS, c.fMs);
                p->SetMode(uMode);
                p->SetAmount(0.7f);
                p->Reset();
            }
            for (size_t uStart = 0; uStart < a.size(); uStart += 512) {
                if (uStart == 10240) { // mid-stream: the head glides to the new time
                    blocks.SetParam(SkrelDelayDsp::PARAM_DELAY_MS, c.fNewMs);
                    single.SetParam(SkrelDelayDsp::PARAM_DELAY_MS, c.fNewMs);
                }
                const uint32_t n = static_cast<uint32_t>(std::min<size_t>(512, a.size() - uStart));
                blocks.Process(n, a.data() + uStart);
                for (uint32_t i = 0; i < n; ++i)
                    single.Process(1, b.data() + uStart + i);
            }
            EXPECT_EQ(0, std::memcmp(a.data(), b.data(), a.size() * sizeof(float)))
                << c.uRate << " Hz, " << c.fMs << " ms, mode " << uMode;
        }
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}
