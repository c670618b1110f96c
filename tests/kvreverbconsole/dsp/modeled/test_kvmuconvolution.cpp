#include <gtest/gtest.h>
#include <random>
#include <vector>
#include "kvreverbconsole/dsp/modeled/kvmuconvolution.h"
#include "support/dspreference.h"
#include "support/testhost.h"

TEST(KvMuConvolution, EachChannelConvolvesWithItsArrayWithoutLatency)
{
    TestHost host;
    std::mt19937 rng(21);
    std::vector<float> h0 = RefNoise(1500, 21), h1 = RefNoise(1500, 22);
    for (size_t k = 0; k < h0.size(); ++k) {
        h0[k] *= std::exp(-0.003f * k);
        h1[k] *= std::exp(-0.003f * k);
    }
    // Offset by one float so the arrays are not 16-byte aligned, as inside a model record.
    std::vector<float> storage(1 + 2 * 1500);
    std::copy(h0.begin(), h0.end(), storage.begin() + 1);
    std::copy(h1.begin(), h1.end(), storage.begin() + 1 + 1500);
    const float* taps[2] = {storage.data() + 1, storage.data() + 1 + 1500};
    // Four channels over two arrays: channels 2 and 3 reuse arrays 0 and 1. The second load
    // outgrows the construction size, so the kernels move. A twin on the arrays swapped runs
    // beside it on the same input.
    KvMuConvolution conv(600, 4, 9, 9), twin(600, 4, 9, 9);
    conv.SetTaps(2, 700, taps);
    conv.SetTaps(2, 1500, taps);
    const float* swapped[2] = {taps[1], taps[0]};
    twin.SetTaps(2, 1500, swapped);
    ASSERT_TRUE(conv.TapsLoaded());
    const size_t n = 5000;
    const std::vector<std::vector<float>> x = {RefNoise(n, 1), RefNoise(n, 2), RefNoise(n, 3), RefNoise(n, 4)};
    auto y = x, z = x;
    std::uniform_int_distribution<uint32_t> len(1, 1536);
    for (size_t t = 0; t < n;) {
        const uint32_t k = static_cast<uint32_t>(std::min<size_t>(len(rng), n - t));
        float* p[4] = {y[0].data() + t, y[1].data() + t, y[2].data() + t, y[3].data() + t};
        float* q[4] = {z[0].data() + t, z[1].data() + t, z[2].data() + t, z[3].data() + t};
        conv.ProcessBeside(k, p, twin, q);
        t += k;
    }
    for (int c = 0; c < 4; ++c) { // float FFT over 1500 taps
        EXPECT_LT(RefMaxError(y[c], RefConvolution(x[c], c % 2 ? h1 : h0)), 2e-4) << "channel " << c;
        EXPECT_LT(RefMaxError(z[c], RefConvolution(x[c], c % 2 ? h0 : h1)), 2e-4) << "twin channel " << c;
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}

// Audio passes untouched until taps are loaded; zero taps give silence.
TEST(KvMuConvolution, PassThroughZeroTapsAndReset)
{
    TestHost host;
    KvMuConvolution conv(4096, 1, 9, 9);
    std::vector<float> h = {0.5f, 0.25f}, a(100, 1.0f);
    float* p[1] = {a.data()};
    conv.Process(100, p);
    EXPECT_EQ(a, std::vector<float>(100, 1.0f));
    const float* taps[1] = {h.data()};
    conv.SetTaps(1, 2, taps);
    conv.Process(100, p);
    EXPECT_NEAR(a[50], 0.75f, 1e-6f);
    conv.Reset();
    std::vector<float> impulse(10, 0.0f);
    impulse[0] = 1.0f;
    p[0] = impulse.data();
    conv.Process(10, p);
    EXPECT_NEAR(impulse[0], 0.5f, 1e-6f);
    EXPECT_NEAR(impulse[1], 0.25f, 1e-6f);
    EXPECT_NEAR(impulse[2], 0.0f, 1e-6f); // nothing left of the signal before the reset

    conv.SetTaps(1, 0, taps);
    std::vector<float> b(64, 1.0f);
    p[0] = b.data();
    conv.Process(64, p);
    for (float v : b)
        ASSERT_EQ(v, 0.0f);
}
