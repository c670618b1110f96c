#include <gtest/gtest.h>
#include "filterharness.h"
#include "shareddsp/filters/filterstateformant.h"
#include "support/dspreference.h"
#include "support/testhost.h"

using namespace filtertest;

namespace {

// The vowel sections, c0 (input gain) then c1..c10 on the newest to oldest output.
const long double s_aaVowels[5][11] = {
    {8.11044e-06L, 8.943665402L, -36.83889529L, 92.01697887L, -154.337906L, 181.6233289L, -151.8651235L,
     89.09614114L, -35.10298511L, 8.388101016L, -0.923313471L},
    {4.36215e-06L, 8.90438318L, -36.55179099L, 91.05750846L, -152.422234L, 179.1170248L, -149.6496211L,
     87.78352223L, -34.60687431L, 8.282228154L, -0.914150747L},
    {3.33819e-06L, 8.893102966L, -36.49532826L, 90.96543286L, -152.4545478L, 179.4835618L, -150.315433L,
     88.43409371L, -34.98612086L, 8.407803364L, -0.932568035L},
    {1.13572e-06L, 8.994734087L, -37.2084849L, 93.22900521L, -156.6929844L, 184.596544L, -154.3755513L,
     90.49663749L, -35.58964535L, 8.478996281L, -0.929252233L},
    {4.09431e-07L, 8.997322763L, -37.20218544L, 93.11385476L, -156.2530937L, 183.7080141L, -153.2631681L,
     89.59539726L, -35.12454591L, 8.338655623L, -0.910251753L},
};

// y_n = c0 x_n + sum c_j y_n-j, in long double.
std::vector<long double> AllPole(const std::vector<float>& in_x, uint32_t in_uVowel)
{
    const long double* c = s_aaVowels[in_uVowel];
    std::vector<long double> y(in_x.size(), 0.0L);
    for (size_t n = 0; n < in_x.size(); ++n) {
        long double v = c[0] * in_x[n];
        for (size_t j = 1; j <= 10 && j <= n; ++j)
            v += c[j] * y[n - j];
        y[n] = v;
    }
    return y;
}

} // namespace

TEST(FilterStateFormant, IsTheLadderTapFollowedByTheVowelSection)
{
    TestHost host;
    const std::vector<float> input = RefNoise(9600, 11, 0.3f);
    for (uint32_t uType = FILTER_FORMANT_LOW; uType <= FILTER_FORMANT_LAST; ++uType) {
        const uint32_t uVowel = (uType - FILTER_FORMANT_LOW) / 3;
        const uint32_t uTap = (uType - FILTER_FORMANT_LOW) % 3;
        Filter formant(uType, 3000.0f, 0.4f);
        Filter ladder(FILTER_LADDER_LOW + uTap, 3000.0f, 0.4f);
        std::vector<float> got = input, tapped = input;
        RunBlocks(*formant, got);
        RunBlocks(*ladder, tapped);
        const std::vector<long double> expected = AllPole(tapped, uVowel);
        long double err = 0.0L, ref = 0.0L;
        for (size_t n = 0; n < got.size(); ++n) {
            err += (got[n] - expected[n]) * (got[n] - expected[n]);
            ref += expected[n] * expected[n];
        }
        // Double against long double through a tenth-order section whose poles sit close to
        // the unit circle, plus float output: 1e-5 of the signal's RMS.
        EXPECT_LT(std::sqrt(err / ref), 1e-5L) << "type " << uType;
        EXPECT_GT(ref, 0.0L);
    }
}

TEST(FilterStateFormant, UnknownTypeFallsBackToTheFirstVowel)
{
    TestHost host;
    const std::vector<float> input = RefNoise(1024, 11, 0.3f);
    Filter reference(FILTER_FORMANT_LOW, 2000.0f, 0.2f);
    Filter stray(FILTER_FORMANT_BAND + 6, 2000.0f, 0.2f);
    stray->m_uType = 50;
    std::vector<float> a = input, b = input;
    RunBlocks(*reference, a);
    RunBlocks(*stray, b);
    EXPECT_EQ(a, b);
    EXPECT_GT(host.asserts.Total(), 0u);
}
