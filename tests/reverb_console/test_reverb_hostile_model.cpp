// Model records that the size test passes but whose contents are hostile; both cases were
// found by the model-record fuzzer as undefined behaviour.
#include <gtest/gtest.h>
#include <cmath>
#include "qwfx/lib/qweffectinstance.h"
#include "reverb_console/qwent/audioenginefx/src/bivrelreverb_qwentfx.h"
#include "support/testboxmodel.h"
#include "support/testhost.h"

namespace {

// The 36-byte record of a model with no taps at all: N1 = N2 = 0.
std::vector<uint8_t> EmptyModel(float in_fDecay)
{
    std::vector<uint8_t> model(36, 0);
    const float afValues[7] = {in_fDecay, 400.0f, 10000.0f, 1.0f, 1.0f, 1.0f, 1.0f};
    std::memcpy(model.data(), afValues, sizeof afValues);
    return model;
}

} // namespace

// No taps: both convolutions are silent, the network is fed nothing, and with the dry path at
// 0 dB the output is the input. The empty response used to reach the convolver's partitions as
// pointer arithmetic on null.
TEST(ReverbHostileModel, NoTapsGiveTheDrySignal)
{
    TestHost host;
    const QwPluginRegistration& record = *BivrelReverbRegistration();
    QwEffectInstance instance(host.allocator);
    ASSERT_EQ(instance.CreateParams(record, {}, 60), QW_Success);
    const float fZeroDb = 0.0f;
    instance.SetParam(11, &fZeroDb, 4); // front-dry-out
    const std::vector<uint8_t> model = EmptyModel(0.5f);
    ASSERT_EQ(instance.CreateEffect(record, QwFormat{48000, QwMakeChannelConfig(2, QW_MASK_STEREO), 0}, 256, model),
              QW_Success);
    const std::vector<float> input = TestNoise(2 * 256, 4);
    for (int b = 0; b < 8; ++b) {
        std::vector<float> block = input;
        QwAudioBuffer buffer = {block.data(), QwMakeChannelConfig(2, QW_MASK_STEREO), 45u, 256, 256};
        instance.Effect()->Execute(&buffer);
        for (size_t i = 0; i < block.size(); ++i)
            ASSERT_NEAR(block[i], input[i], 1e-6) << "block " << b << " sample " << i;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

// The tail is the time to fall 120 dB, 8 x decay x rate x the largest multiplier. A decay from
// the record that makes it NaN, negative or beyond 32 bits used to be an undefined conversion:
// now no tail, no tail, and the longest tail there is. One block of 17 shows which.
TEST(ReverbHostileModel, TailFromAnyDecayInTheRecord)
{
    // Decay, and the state after the end: 8 x 1e-9 x 48000 is below 1 frame, 0.5 gives 192000.
    const std::pair<float, uint32_t> aCases[] = {
        {std::nanf(""), 17u}, {-1.0f, 17u}, {1e30f, 45u}, {1e-9f, 17u}, {0.5f, 45u}};
    for (const auto& [fDecay, eStateAfterEnd] : aCases) {
        TestHost host;
        const QwPluginRegistration& record = *BivrelReverbRegistration();
        QwEffectInstance instance(host.allocator);
        ASSERT_EQ(instance.CreateParams(record, {}, 60), QW_Success);
        ASSERT_EQ(instance.CreateEffect(record, QwFormat{48000, QwMakeChannelConfig(2, QW_MASK_STEREO), 0}, 256,
                                        EmptyModel(fDecay)),
                  QW_Success);
        std::vector<float> block(2 * 256, 0.0f);
        QwAudioBuffer buffer = {block.data(), QwMakeChannelConfig(2, QW_MASK_STEREO), 17u, 256, 100};
        instance.Effect()->Execute(&buffer);
        EXPECT_EQ(buffer.eState, eStateAfterEnd) << fDecay;
        EXPECT_EQ(buffer.uValidFrames, 256u) << fDecay;
    }
}
