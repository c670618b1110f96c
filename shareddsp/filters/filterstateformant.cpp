#include "shareddsp/filters/filterstateformant.h"
#include "host/qwassert.h"

namespace {

// Held in double: rounded to float, these tenth-order sections are no longer stable.
const double s_aadVowels[NUM_FORMANT_VOWELS][FilterStateFormant::ORDER + 1] = {
    {8.11044e-06, 8.943665402, -36.83889529, 92.01697887, -154.337906, 181.6233289, -151.8651235, 89.09614114,
     -35.10298511, 8.388101016, -0.923313471},
    {4.36215e-06, 8.90438318, -36.55179099, 91.05750846, -152.422234, 179.1170248, -149.6496211, 87.78352223,
     -34.60687431, 8.282228154, -0.914150747},
    {3.33819e-06, 8.893102966, -36.49532826, 90.96543286, -152.4545478, 179.4835618, -150.315433, 88.43409371,
     -34.98612086, 8.407803364, -0.932568035},
    {1.13572e-06, 8.994734087, -37.2084849, 93.22900521, -156.6929844, 184.596544, -154.3755513, 90.49663749,
     -35.58964535, 8.478996281, -0.929252233},
    {4.09431e-07, 8.997322763, -37.20218544, 93.11385476, -156.2530937, 183.7080141, -153.2631681, 89.59539726,
     -35.12454591, 8.338655623, -0.910251753},
};

} // namespace

FilterStateFormant::FilterStateFormant(const FilterState* in_pSource) : FilterStateLadder(in_pSource)
{
    m_history.resize(ORDER, 0.0);
}

const double* FilterStateFormant::VowelCoefficients(uint32_t in_uVowel)
{
    return s_aadVowels[in_uVowel < NUM_FORMANT_VOWELS ? in_uVowel : 0];
}

void FilterStateFormant::Configure(uint32_t in_uType, float in_fSampleRate)
{
    QW_ASSERT(in_uType >= FILTER_FORMANT_LOW && in_uType <= FILTER_FORMANT_LAST);
    Update(in_fSampleRate, m_fFrequency, m_fGainDb, m_fQ, m_fResonance);
}

void FilterStateFormant::Reset()
{
    FilterStateLadder::Reset();
    for (double& h : m_history)
        h = 0.0;
}

void FilterStateFormant::Process(uint32_t in_uFrames, float* io_pSamples)
{
    uint32_t uIndex = 0;
    if (m_uType >= FILTER_FORMANT_LOW && m_uType <= FILTER_FORMANT_LAST)
        uIndex = m_uType - FILTER_FORMANT_LOW;
    else
        QW_ASSERT(m_uType >= FILTER_FORMANT_LOW && m_uType <= FILTER_FORMANT_LAST);
    if (!HasHistory())
        return;
    ProcessTap(uIndex % FORMANT_TAPS_PER_VOWEL, in_uFrames, io_pSamples);

    const double* c = s_aadVowels[uIndex / FORMANT_TAPS_PER_VOWEL];
    double* h = m_history.data();
    double h0 = h[0], h1 = h[1], h2 = h[2], h3 = h[3], h4 = h[4], h5 = h[5], h6 = h[6], h7 = h[7], h8 = h[8],
           h9 = h[9];
    for (uint32_t n = 0; n < in_uFrames; ++n) {
        // y = c0 x + c1 h0 + ... + c10 h9, summed as a tree with the newest term last, so that
        // only one multiply and one add wait on the previous output.
        const double older = ((c[0] * static_cast<double>(io_pSamples[n]) + c[10] * h9) + (c[9] * h8 + c[8] * h7)) +
                             ((c[7] * h6 + c[6] * h5) + (c[5] * h4 + c[4] * h3)) + (c[3] * h2 + c[2] * h1);
        const double y = older + c[1] * h0;
        h9 = h8, h8 = h7, h7 = h6, h6 = h5, h5 = h4, h4 = h3, h3 = h2, h2 = h1, h1 = h0, h0 = y;
        io_pSamples[n] = static_cast<float>(y);
    }
    h[0] = h0, h[1] = h1, h[2] = h2, h[3] = h3, h[4] = h4, h[5] = h5, h[6] = h6, h[7] = h7, h[8] = h8, h[9] = h9;
}
