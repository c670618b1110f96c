#include <gtest/gtest.h>
#include <vector>
#include "host/qwtailhandler.h"
#include "support/testhost.h"

namespace {
const uint32_t ENDED = QW_InputEnded, READY = QW_DataReady, NOT_STARTED = QwTailHandler::NOT_STARTED;

// One call: the block as the host hands it over, the total tail asked for, and what follows.
struct Step
{
    uint32_t eState;
    uint16_t uValid;
    uint32_t uTotal;
    uint32_t uRemaining; // frames of tail still owed afterwards
    uint16_t uValidOut;
    uint32_t eStateOut;
};
struct Case
{
    const char* pszName;
    uint16_t uMax;
    std::vector<Step> steps;
};
} // namespace

TEST(QwTailHandler, TailSequences)
{
    const Case aCases[] = {
        // 150 frames of tail from an empty last block: 64 + 64 + 22, each block padded whole.
        {"empty last block", 64,
         {{ENDED, 0, 150, 86, 64, READY}, {ENDED, 0, 150, 22, 64, READY}, {ENDED, 0, 150, 0, 64, ENDED},
          {ENDED, 0, 150, 0, 0, ENDED}}}, // over: later empty blocks are left as the host made them
        {"running stream untouched", 64, {{ENDED, 0, 150, 86, 64, READY}, {READY, 10, 1000, NOT_STARTED, 10, READY}}},
        {"zero tail pads once", 32, {{ENDED, 10, 0, 0, 32, ENDED}, {ENDED, 0, 0, 0, 0, ENDED}, {ENDED, 0, 0, 0, 0, ENDED}}},
        {"full last block leaves the count", 64, {{ENDED, 64, 100, 100, 64, READY}}},
        {"one frame left is still owed", 64, {{ENDED, 0, 65, 1, 64, READY}, {ENDED, 0, 65, 0, 64, ENDED}}},
        {"resumed stream gets a new tail", 64,
         {{ENDED, 0, 200, 136, 64, READY}, {READY, 64, 200, NOT_STARTED, 64, READY}, {ENDED, 0, 200, 136, 64, READY}}},
        // Growing the total extends the tail (+100, then 64 used); shrinking it is ignored; new
        // input in an ended block restarts the tail at the current total.
        {"growing and shrinking total", 64,
         {{ENDED, 0, 200, 136, 64, READY}, {ENDED, 0, 300, 172, 64, READY}, {ENDED, 0, 10, 108, 64, READY},
          {ENDED, 5, 10, 0, 64, ENDED}}},
    };
    for (const Case& c : aCases) {
        QwTailHandler tail;
        std::vector<float> data(2 * c.uMax);
        size_t uStep = 0;
        for (const Step& s : c.steps) {
            SCOPED_TRACE(testing::Message() << c.pszName << ", step " << uStep++);
            std::fill(data.begin(), data.end(), 1.0f);
            QwAudioBuffer buffer{data.data(), QwMakeChannelConfig(2, QW_MASK_STEREO), s.eState, c.uMax, s.uValid};
            tail.HandleTail(buffer, s.uTotal);
            EXPECT_EQ(tail.m_uTailFramesRemaining, s.uRemaining);
            EXPECT_EQ(buffer.uValidFrames, s.uValidOut);
            EXPECT_EQ(buffer.eState, s.eStateOut);
            for (uint32_t i = 0; i < data.size(); ++i) // the padding is silence, the rest untouched
                ASSERT_EQ(data[i], i % c.uMax >= s.uValid && s.uValidOut > s.uValid ? 0.0f : 1.0f) << i;
        }
    }
}
