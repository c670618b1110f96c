#include "kvreverbconsole/dsp/fdn/stereofdn.h"
#include <cmath>
#if defined(__SSE2__)
#include <immintrin.h>
#endif
#include "host/qwassert.h"
#include "kvbase/common/common_cast.h"

namespace {
const uint32_t s_auPrimes[StereoFDN::NUM_PRIMES] = {2,  3,  5,  7,  11, 13, 17, 19, 23, 29,  31,  37,  41,  43,  47,  53,
                                                    59, 61, 67, 71, 73, 79, 83, 89, 97, 101, 103, 107, 109, 113, 127, 131};

// Natural logarithm in single precision, with the module's stand-in for the log of ~0.
float LogOrFloor(float x)
{
    return std::fabs(x) < 1e-36f ? -1e35f : std::log(x);
}

#if defined(__SSE2__)
// Every loop over lines, groups or channels is unrolled, so that the line vectors stay in
// registers rather than in an indexed array.
#define KV_UNROLL _Pragma("GCC unroll 32")

// Stage of half-width H of the fast Walsh-Hadamard transform on N line vectors, then the later
// stages; the scaling rides on the last stage, as in the whole-buffer transform.
template <uint32_t N, uint32_t H>
inline void HadamardStages(__m128* io_pL, __m128 in_scale)
{
    KV_UNROLL
    for (uint32_t g = 0; g < N; g += 2 * H) {
        KV_UNROLL
        for (uint32_t j = 0; j < H; ++j) {
            const __m128 a = io_pL[g + j], b = io_pL[g + j + H];
            if constexpr (2 * H < N) {
                io_pL[g + j] = _mm_add_ps(a, b);
                io_pL[g + j + H] = _mm_sub_ps(a, b);
            } else {
                io_pL[g + j] = _mm_mul_ps(_mm_add_ps(a, b), in_scale);
                io_pL[g + j + H] = _mm_mul_ps(_mm_sub_ps(a, b), in_scale);
            }
        }
    }
    if constexpr (2 * H < N)
        HadamardStages<N, 2 * H>(io_pL, in_scale);
}

// The band filters of N lines as G = N / 4 groups of four lanes: coefficients and state are
// loaded once a call and the state stored back at its end.
template <uint32_t G>
struct BandGroups
{
    __m128 b0[G], b1[G], b2[G], a1[G], a2[G], z1[G], z2[G];

    explicit BandGroups(const BandGainFilter::Arrays& in_bands)
    {
        KV_UNROLL
        for (uint32_t g = 0; g < G; ++g) {
            b0[g] = _mm_loadu_ps(in_bands.pB0 + 4 * g);
            b1[g] = _mm_loadu_ps(in_bands.pB1 + 4 * g);
            b2[g] = _mm_loadu_ps(in_bands.pB2 + 4 * g);
            a1[g] = _mm_loadu_ps(in_bands.pA1 + 4 * g);
            a2[g] = _mm_loadu_ps(in_bands.pA2 + 4 * g);
            z1[g] = _mm_loadu_ps(in_bands.pZ1 + 4 * g);
            z2[g] = _mm_loadu_ps(in_bands.pZ2 + 4 * g);
        }
    }
    void Store(const BandGainFilter::Arrays& in_bands) const
    {
        KV_UNROLL
        for (uint32_t g = 0; g < G; ++g) {
            _mm_storeu_ps(in_bands.pZ1 + 4 * g, z1[g]);
            _mm_storeu_ps(in_bands.pZ2 + 4 * g, z2[g]);
        }
    }
};

// One sub-block of the network, four frames at a time, with every step of the sub-block done
// on those frames before the next four: the band filter (after a 4 x 4 transpose per group of
// lines, so that each lane is one line), the taps, the mix and the feed. The operations and their
// order are those of the whole-buffer steps, so the result is the same to the bit; the groups'
// filter recursions are independent and overlap in the pipeline. Returns the frames done.
template <uint32_t N, uint32_t C>
uint32_t FusedBlockSse2(uint32_t in_uFrames, float* const* io_ppLines, float* const* io_ppX,
                        const float* in_pfOutputGain, const float* in_pfInputGain,
                        const BandGainFilter::Arrays& in_bands, float in_fScale, bool in_bMix)
{
    constexpr uint32_t G = N / 4;
    BandGroups<G> bg(in_bands);
    auto& [b0, b1, b2, a1, a2, z1, z2] = bg;
    const __m128 scale = _mm_set1_ps(in_fScale);
    __m128 og[N], ig[N];
    KV_UNROLL
    for (uint32_t i = 0; i < N; ++i) {
        og[i] = _mm_set1_ps(in_pfOutputGain[i]);
        ig[i] = _mm_set1_ps(in_pfInputGain[i]);
    }
    uint32_t t = 0;
    for (; t + 4 <= in_uFrames; t += 4) {
        __m128 L[N];
        KV_UNROLL
        for (uint32_t i = 0; i < N; ++i)
            L[i] = _mm_loadu_ps(io_ppLines[i] + t);
        KV_UNROLL
        for (uint32_t g = 0; g < G; ++g)
            _MM_TRANSPOSE4_PS(L[4 * g], L[4 * g + 1], L[4 * g + 2], L[4 * g + 3]);
        KV_UNROLL
        for (uint32_t k = 0; k < 4; ++k) {
            KV_UNROLL
            for (uint32_t g = 0; g < G; ++g) {
                const __m128 x = L[4 * g + k];
                const __m128 w = _mm_sub_ps(_mm_sub_ps(x, _mm_mul_ps(a1[g], z1[g])), _mm_mul_ps(a2[g], z2[g]));
                L[4 * g + k] = _mm_add_ps(_mm_add_ps(_mm_mul_ps(b0[g], w), _mm_mul_ps(b1[g], z1[g])),
                                          _mm_mul_ps(b2[g], z2[g]));
                z2[g] = z1[g];
                z1[g] = w;
            }
        }
        KV_UNROLL
        for (uint32_t g = 0; g < G; ++g)
            _MM_TRANSPOSE4_PS(L[4 * g], L[4 * g + 1], L[4 * g + 2], L[4 * g + 3]);
        __m128 X[C], O[C];
        KV_UNROLL
        for (uint32_t c = 0; c < C; ++c) {
            X[c] = _mm_loadu_ps(io_ppX[c] + t);
            O[c] = _mm_setzero_ps();
        }
        KV_UNROLL
        for (uint32_t i = 0; i < N; ++i)
            O[i % C] = _mm_add_ps(O[i % C], _mm_mul_ps(L[i], og[i]));
        if (in_bMix)
            HadamardStages<N, 1>(L, scale);
        KV_UNROLL
        for (uint32_t i = 0; i < N; ++i)
            _mm_storeu_ps(io_ppLines[i] + t,
                          _mm_add_ps(L[i], _mm_mul_ps(X[i % C], ig[i])));
        KV_UNROLL
        for (uint32_t c = 0; c < C; ++c)
            _mm_storeu_ps(io_ppX[c] + t, O[c]);
    }
    bg.Store(in_bands);
    return t;
}

#if defined(__x86_64__)
// The same pass on eight frames, for processors with AVX2: taps, mix and feed run on 256-bit
// vectors. The filter recursion stays four lines wide, frames 0 to 3 from the low halves and 4
// to 7 from the high ones. No fused multiply-add is enabled, so every product is rounded before
// its sum, as in the other forms.
#define KV_AVX2 __attribute__((target("avx2")))

KV_AVX2 inline void Transpose4InLanes(__m256& r0, __m256& r1, __m256& r2, __m256& r3)
{
    const __m256 t0 = _mm256_unpacklo_ps(r0, r1), t1 = _mm256_unpacklo_ps(r2, r3);
    const __m256 t2 = _mm256_unpackhi_ps(r0, r1), t3 = _mm256_unpackhi_ps(r2, r3);
    r0 = _mm256_shuffle_ps(t0, t1, _MM_SHUFFLE(1, 0, 1, 0));
    r1 = _mm256_shuffle_ps(t0, t1, _MM_SHUFFLE(3, 2, 3, 2));
    r2 = _mm256_shuffle_ps(t2, t3, _MM_SHUFFLE(1, 0, 1, 0));
    r3 = _mm256_shuffle_ps(t2, t3, _MM_SHUFFLE(3, 2, 3, 2));
}

// Direct form II on four lines, one per lane.
KV_AVX2 inline __m128 SectionStep(__m128 x, __m128 b0, __m128 b1, __m128 b2, __m128 a1, __m128 a2, __m128& io_z1,
                                  __m128& io_z2)
{
    const __m128 w = _mm_sub_ps(_mm_sub_ps(x, _mm_mul_ps(a1, io_z1)), _mm_mul_ps(a2, io_z2));
    const __m128 y = _mm_add_ps(_mm_add_ps(_mm_mul_ps(b0, w), _mm_mul_ps(b1, io_z1)), _mm_mul_ps(b2, io_z2));
    io_z2 = io_z1;
    io_z1 = w;
    return y;
}

template <uint32_t N, uint32_t H>
KV_AVX2 inline void HadamardStagesAvx2(__m256* io_pL, __m256 in_scale)
{
    KV_UNROLL
    for (uint32_t g = 0; g < N; g += 2 * H) {
        KV_UNROLL
        for (uint32_t j = 0; j < H; ++j) {
            const __m256 a = io_pL[g + j], b = io_pL[g + j + H];
            if constexpr (2 * H < N) {
                io_pL[g + j] = _mm256_add_ps(a, b);
                io_pL[g + j + H] = _mm256_sub_ps(a, b);
            } else {
                io_pL[g + j] = _mm256_mul_ps(_mm256_add_ps(a, b), in_scale);
                io_pL[g + j + H] = _mm256_mul_ps(_mm256_sub_ps(a, b), in_scale);
            }
        }
    }
    if constexpr (2 * H < N)
        HadamardStagesAvx2<N, 2 * H>(io_pL, in_scale);
}

template <uint32_t N, uint32_t C>
KV_AVX2 uint32_t FusedBlockAvx2(uint32_t in_uFrames, float* const* io_ppLines, float* const* io_ppX,
                                const float* in_pfOutputGain, const float* in_pfInputGain,
                                const BandGainFilter::Arrays& in_bands, float in_fScale, bool in_bMix)
{
    constexpr uint32_t G = N / 4;
    BandGroups<G> bg(in_bands);
    auto& [b0, b1, b2, a1, a2, z1, z2] = bg;
    const __m256 scale = _mm256_set1_ps(in_fScale);
    __m256 og[N], ig[N];
    KV_UNROLL
    for (uint32_t i = 0; i < N; ++i) {
        og[i] = _mm256_set1_ps(in_pfOutputGain[i]);
        ig[i] = _mm256_set1_ps(in_pfInputGain[i]);
    }
    uint32_t t = 0;
    for (; t + 8 <= in_uFrames; t += 8) {
        __m256 L[N];
        KV_UNROLL
        for (uint32_t i = 0; i < N; ++i)
            L[i] = _mm256_loadu_ps(io_ppLines[i] + t);
        KV_UNROLL
        for (uint32_t g = 0; g < G; ++g)
            Transpose4InLanes(L[4 * g], L[4 * g + 1], L[4 * g + 2], L[4 * g + 3]);
        KV_UNROLL
        for (uint32_t k = 0; k < 4; ++k)
            KV_UNROLL
            for (uint32_t g = 0; g < G; ++g)
                L[4 * g + k] = _mm256_insertf128_ps(
                    L[4 * g + k],
                    SectionStep(_mm256_castps256_ps128(L[4 * g + k]), b0[g], b1[g], b2[g], a1[g], a2[g], z1[g], z2[g]),
                    0);
        KV_UNROLL
        for (uint32_t k = 0; k < 4; ++k)
            KV_UNROLL
            for (uint32_t g = 0; g < G; ++g)
                L[4 * g + k] = _mm256_insertf128_ps(
                    L[4 * g + k],
                    SectionStep(_mm256_extractf128_ps(L[4 * g + k], 1), b0[g], b1[g], b2[g], a1[g], a2[g], z1[g], z2[g]),
                    1);
        KV_UNROLL
        for (uint32_t g = 0; g < G; ++g)
            Transpose4InLanes(L[4 * g], L[4 * g + 1], L[4 * g + 2], L[4 * g + 3]);
        __m256 X[C], O[C];
        KV_UNROLL
        for (uint32_t c = 0; c < C; ++c) {
            X[c] = _mm256_loadu_ps(io_ppX[c] + t);
            O[c] = _mm256_setzero_ps();
        }
        KV_UNROLL
        for (uint32_t i = 0; i < N; ++i)
            O[i % C] = _mm256_add_ps(O[i % C], _mm256_mul_ps(L[i], og[i]));
        if (in_bMix)
            HadamardStagesAvx2<N, 1>(L, scale);
        KV_UNROLL
        for (uint32_t i = 0; i < N; ++i)
            _mm256_storeu_ps(io_ppLines[i] + t, _mm256_add_ps(L[i], _mm256_mul_ps(X[i % C], ig[i])));
        KV_UNROLL
        for (uint32_t c = 0; c < C; ++c)
            _mm256_storeu_ps(io_ppX[c] + t, O[c]);
    }
    bg.Store(in_bands);
    return t;
}

bool HasAvx2()
{
    static const bool s_bAvx2 = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx2") != 0;
    }();
    return s_bAvx2;
}
#endif
#endif
} // namespace

bool StereoFDN::HasKernel(Kernel in_eKernel)
{
#if defined(__SSE2__) && defined(__x86_64__)
    return in_eKernel != Kernel::AVX2 || HasAvx2();
#elif defined(__SSE2__)
    return in_eKernel != Kernel::AVX2;
#else
    return in_eKernel == Kernel::PORTABLE || in_eKernel == Kernel::BEST;
#endif
}

StereoFDN::FusedBlock StereoFDN::ChooseFusedBlock(Kernel in_eKernel, uint32_t in_uOrder, uint32_t in_uChannels)
{
    if (in_uChannels != 1 && in_uChannels != 2 && in_uChannels != 4)
        return nullptr;
    if (in_uOrder != 8 && in_uOrder != 16)
        return nullptr;
    const uint32_t uCase = in_uOrder * 8 + in_uChannels;
#if defined(__SSE2__) && defined(__x86_64__)
    if (in_eKernel == Kernel::AVX2 || (in_eKernel == Kernel::BEST && HasAvx2())) {
        if (!HasAvx2())
            return nullptr;
        switch (uCase) {
        case 8 * 8 + 1: return &FusedBlockAvx2<8, 1>;
        case 8 * 8 + 2: return &FusedBlockAvx2<8, 2>;
        case 8 * 8 + 4: return &FusedBlockAvx2<8, 4>;
        case 16 * 8 + 1: return &FusedBlockAvx2<16, 1>;
        case 16 * 8 + 2: return &FusedBlockAvx2<16, 2>;
        default: return &FusedBlockAvx2<16, 4>;
        }
    }
#endif
#if defined(__SSE2__)
    if (in_eKernel == Kernel::SSE2 || in_eKernel == Kernel::BEST) {
        switch (uCase) {
        case 8 * 8 + 1: return &FusedBlockSse2<8, 1>;
        case 8 * 8 + 2: return &FusedBlockSse2<8, 2>;
        case 8 * 8 + 4: return &FusedBlockSse2<8, 4>;
        case 16 * 8 + 1: return &FusedBlockSse2<16, 1>;
        case 16 * 8 + 2: return &FusedBlockSse2<16, 2>;
        default: return &FusedBlockSse2<16, 4>;
        }
    }
#endif
    (void)uCase;
    return nullptr;
}

const float StereoFDN::MIN_DELAY_MS = 80.0f;
const float StereoFDN::MAX_DELAY_MS = 150.0f;
const float StereoFDN::DECAY_BASE = 0.177827939f;

StereoFDN::StereoFDN(float in_fSampleRate, uint32_t in_uBlockHint, uint32_t in_uNumChannels,
                     uint32_t in_uExtraDelaySets, uint32_t in_uOrder)
    : m_fSampleRate(in_fSampleRate), m_uBlockHint(in_uBlockHint), m_uNumChannels(in_uNumChannels)
{
    m_afDelayMs.resize(in_uOrder, 0.0f);
    m_afPhases.resize(in_uOrder / 2 > 0 ? in_uOrder / 2 - 1 : 0, 0.0f);
    m_aLines.resize(in_uOrder);
    if (IsOutOfMemory())
        return;
    m_pCirculant = common_smart_ptr<CirculantMatrix>(QwNew<CirculantMatrix>(in_uOrder));
    m_pHadamard = common_smart_ptr<Hadamard>(QwNew<Hadamard>());
    m_aEigenvalues.resize(in_uOrder / 2 + 1, std::complex<float>(0.0f, 0.0f));
    m_pBandGain = common_smart_ptr<BandGainFilter>(QwNew<BandGainFilter>(static_cast<double>(in_fSampleRate), in_uOrder));
    m_aExtraDelays.resize(in_uExtraDelaySets);
    m_uOrder = in_uOrder;
    if (IsOutOfMemory())
        return;

    QW_ASSERT(m_uOrder % m_uNumChannels == 0);
    QW_ASSERT(m_uOrder <= NUM_PRIMES);
    uint32_t uOrderPow2Exponent = 1;
    for (uint32_t v = 2; v < m_uOrder && uOrderPow2Exponent < 31; v *= 2)
        ++uOrderPow2Exponent;
    QW_ASSERT((1u << uOrderPow2Exponent) == m_uOrder);
    m_pHadamard->SetDepth(uOrderPow2Exponent);

    m_aEigenvalues[0] = std::complex<float>(1.0f, 0.0f);
    m_aEigenvalues[m_uOrder / 2] = std::complex<float>(-1.0f, 0.0f);

    // All delay memory at the longest length, so no later delay change has to grow it.
    const uint32_t uMaxSamples = MaxSamples();
    for (uint32_t i = 0; i < m_uOrder; ++i) {
        m_aLines[i].pDelay = common_smart_ptr<RingBuffer>(QwNew<RingBuffer>(uMaxSamples));
        if (IsOutOfMemory())
            return;
    }
    for (uint32_t s = 0; s < in_uExtraDelaySets; ++s) {
        m_aExtraDelays[s].resize(m_uOrder);
        for (uint32_t i = 0; i < m_uOrder && !IsOutOfMemory(); ++i)
            m_aExtraDelays[s][i] = common_smart_ptr<RingBuffer>(QwNew<RingBuffer>(uMaxSamples));
        if (IsOutOfMemory())
            return;
    }

    const float fN = static_cast<float>(m_uOrder);
    float fOutputGain = 0.0625f;
    if (m_uOrder == 0)
        QW_ASSERT(false);
    else
        fOutputGain = 1.0f / std::sqrt(fN);
    for (uint32_t i = 0; i < m_uOrder; ++i) {
        SetDelayTime(i, MIN_DELAY_MS + static_cast<float>(i) / fN * (MAX_DELAY_MS - MIN_DELAY_MS));
        m_aLines[i].fInputGain = 1.0f;
        m_aLines[i].fOutputGain = fOutputGain;
    }

    // Phases fall towards 0 and climb again, always within 0 to pi/2.
    const uint32_t q = m_uOrder / 4;
    const uint32_t h = m_uOrder / 2;
    const float fHalfPi = 1.57079632679f;
    for (uint32_t k = 0; k + 2 <= h; ++k) {
        const float fPhase = k < q ? (1.0f - static_cast<float>(k + 1) / static_cast<float>(q + 1)) * fHalfPi
                                   : (static_cast<float>(k + 1 - q) / static_cast<float>(h - q)) * fHalfPi;
        SetPhase(k, fPhase);
    }

    SetDecayTime(0.5f);
    SetLowCrossover(400.0f);
    SetHighCrossover(10000.0f);
    SetLowMultiplier(1.0f);
    SetMidMultiplier(1.0f);
    SetHighMultiplier(1.0f);
    m_eMatrixType = 1;

    m_afOutput.reserve(2 * uMaxSamples);
    m_aafLineBuffers.resize(m_uOrder);
    if (IsOutOfMemory())
        return;
    for (uint32_t i = 0; i < m_uOrder; ++i)
        m_aafLineBuffers[i].reserve(uMaxSamples);
    m_afInput.reserve(uMaxSamples);
    m_apfLineBuffers.resize(m_uOrder, nullptr);
}

uint32_t StereoFDN::MaxSamples() const
{
    return round_cast<uint32_t>(static_cast<double>(MAX_DELAY_MS) * 0.001 * static_cast<double>(m_fSampleRate));
}

void StereoFDN::SetDelayTime(uint32_t in_iLine, float in_fMs)
{
    m_afDelayMs[in_iLine] = in_fMs;
    const uint32_t uSamples = round_cast<uint32_t>(static_cast<double>(in_fMs) * 0.001 * static_cast<double>(m_fSampleRate));
    const uint32_t uMax = MaxSamples();
    const float fLogPrime = LogOrFloor(static_cast<float>(s_auPrimes[in_iLine % NUM_PRIMES]));
    const uint32_t uCeiling = static_cast<uint32_t>(LogOrFloor(static_cast<float>(uMax)) / fLogPrime);
    const uint32_t uPower = round_cast<uint32_t>(LogOrFloor(static_cast<float>(uSamples)) / fLogPrime);
    const uint32_t uExponent = uPower < uCeiling ? uPower : uCeiling;
    const uint32_t uLength =
        static_cast<uint32_t>(std::pow(static_cast<double>(s_auPrimes[in_iLine % NUM_PRIMES]), uExponent));

    Line& line = m_aLines[in_iLine];
    if (!line.pDelay)
        return;
    line.pDelay->SetLength(uLength, 0.0f);
    m_pBandGain->SetDelay(in_iLine, static_cast<double>(uLength));

    checked_value<uint32_t> uMin;
    for (uint32_t i = 0; i < m_aLines.size(); ++i) {
        if (!m_aLines[i].pDelay)
            continue;
        const uint32_t uLen = static_cast<uint32_t>(m_aLines[i].pDelay->GetLength());
        if (!uMin.IsValid() || uLen < uMin.Unchecked())
            uMin = uLen;
    }
    m_uMinDelay = uMin.Get();
    for (uint32_t s = 0; s < m_aExtraDelays.size(); ++s)
        for (uint32_t j = 0; j < m_aExtraDelays[s].size() && j < m_aLines.size(); ++j)
            if (m_aExtraDelays[s][j] && m_aLines[j].pDelay)
                m_aExtraDelays[s][j]->SetLength(m_aLines[j].pDelay->GetLength() - m_uMinDelay + 1, 0.0f);
}

uint32_t StereoFDN::GetLineLength(uint32_t in_iLine) const
{
    return static_cast<uint32_t>(m_aLines[in_iLine].pDelay->GetLength());
}

void StereoFDN::SetPhase(uint32_t in_uIndex, float in_fRadians)
{
    if (m_afPhases.empty())
        return;
    m_afPhases[in_uIndex] = in_fRadians;
    m_aEigenvalues[in_uIndex + 1] = std::polar(1.0f, in_fRadians);
    if (m_pCirculant)
        m_pCirculant->SetEigenvalues(m_aEigenvalues.data());
}

float StereoFDN::BandGain(float in_fMultiplier) const
{
    // Exactly 5.0 means the band never decays.
    if (m_fDecayTime == 5.0f)
        return 1.0f;
    return std::pow(DECAY_BASE, 1.0f / (m_fDecayTime * in_fMultiplier * m_fSampleRate));
}

void StereoFDN::UpdateBand(uint32_t in_uBand, float in_fMultiplier)
{
    if (!m_pBandGain)
        return;
    const double fGain = static_cast<double>(BandGain(in_fMultiplier));
    if (in_uBand == 0)
        m_pBandGain->SetLowGain(fGain);
    else if (in_uBand == 1)
        m_pBandGain->SetMidGain(fGain);
    else
        m_pBandGain->SetHighGain(fGain);
}

void StereoFDN::SetDecayTime(float in_fSeconds)
{
    m_fDecayTime = in_fSeconds;
    UpdateBand(0, m_fLowMultiplier);
    UpdateBand(1, m_fMidMultiplier);
    UpdateBand(2, m_fHighMultiplier);
}

void StereoFDN::SetLowCrossover(float in_fHz)
{
    m_fLowCrossover = in_fHz;
    if (m_pBandGain)
        m_pBandGain->SetLowCrossover(static_cast<double>(in_fHz));
}

void StereoFDN::SetHighCrossover(float in_fHz)
{
    m_fHighCrossover = in_fHz;
    if (m_pBandGain)
        m_pBandGain->SetHighCrossover(static_cast<double>(in_fHz));
}

void StereoFDN::SetLowMultiplier(float in_fRatio)
{
    m_fLowMultiplier = in_fRatio;
    UpdateBand(0, in_fRatio);
}

void StereoFDN::SetMidMultiplier(float in_fRatio)
{
    m_fMidMultiplier = in_fRatio;
    UpdateBand(1, in_fRatio);
}

void StereoFDN::SetHighMultiplier(float in_fRatio)
{
    m_fHighMultiplier = in_fRatio;
    UpdateBand(2, in_fRatio);
}

void StereoFDN::SetMatrixType(uint32_t in_eType)
{
    if (in_eType >= 3) {
        QW_ASSERT(false);
        return;
    }
    m_eMatrixType = in_eType;
}

void StereoFDN::Process(uint32_t in_uFrames, float* const* io_ppChannels)
{
    ProcessWith(Kernel::BEST, in_uFrames, io_ppChannels);
}

void StereoFDN::ProcessWith(Kernel in_eKernel, uint32_t in_uFrames, float* const* io_ppChannels)
{
    const uint32_t uMin = m_uMinDelay;
    const uint32_t uChannels = m_uNumChannels;
    m_afOutput.resize(uChannels * uMin, 0.0f);
    m_afInput.resize(uMin, 0.0f);
    for (uint32_t i = 0; i < m_aafLineBuffers.size(); ++i) {
        m_aafLineBuffers[i].resize(uMin, 0.0f);
        m_apfLineBuffers[i] = m_aafLineBuffers[i].data();
    }
    if (m_afOutput.size() != uChannels * uMin || m_afInput.size() != uMin)
        return;
    float* const* ppLines = m_apfLineBuffers.data();

    FusedBlock fused = nullptr;
    float afInputGain[NUM_PRIMES];
    float afOutputGain[NUM_PRIMES];
    const BandGainFilter::Arrays bands = m_pBandGain->GetArrays();
    if (in_eKernel != Kernel::PORTABLE && bands.pB0 && m_pHadamard->GetSize() == m_uOrder) {
        fused = ChooseFusedBlock(in_eKernel, m_uOrder, uChannels);
        // Gains are read once a block: they only change between blocks. The kernels take at most 16 lines.
        for (uint32_t i = 0; fused && i < m_uOrder; ++i) {
            afInputGain[i] = m_aLines[i].fInputGain;
            afOutputGain[i] = m_aLines[i].fOutputGain;
        }
    }
    float* apX[4] = {nullptr, nullptr, nullptr, nullptr};
    float* apRun[NUM_PRIMES];
    float* apRest[NUM_PRIMES];

    uint32_t uOffset = 0;
    uint32_t n = in_uFrames;
    bool abStaged[NUM_PRIMES];
    while (n > 0 && fused) {
        const uint32_t b = n < uMin ? n : uMin;
        // The kernels work in place on a line's own memory, since a sub-block overwrites the
        // oldest entries it reads; only a line whose memory wraps within the sub-block is copied
        // out and back.
        for (uint32_t i = 0; i < m_uOrder; ++i) {
            uint64_t uRun = 0;
            apRun[i] = m_aLines[i].pDelay->HeadRun(uRun);
            abStaged[i] = uRun < b;
            if (abStaged[i]) {
                m_aLines[i].pDelay->Read(ppLines[i], b);
                apRun[i] = ppLines[i];
            }
        }
        QW_ASSERT(m_uOrder % 4 == 0);
        for (uint32_t c = 0; c < uChannels && c < 4; ++c)
            apX[c] = io_ppChannels[c] + uOffset;
        const uint32_t uDone =
            fused(b, apRun, apX, afOutputGain, afInputGain, bands, m_pHadamard->GetScale(), m_eMatrixType == 1);
        for (uint32_t i = 0; i < m_uOrder; ++i)
            apRest[i] = apRun[i] + uDone;
        if (uDone < b)
            SubBlock(apRest, b - uDone, io_ppChannels, uOffset + uDone);
        for (uint32_t i = 0; i < m_uOrder; ++i) {
            if (abStaged[i])
                m_aLines[i].pDelay->Write(ppLines[i], b);
            else
                m_aLines[i].pDelay->Advance(b);
        }
        uOffset += b;
        n -= b;
    }
    while (n > 0) {
        const uint32_t b = n < uMin ? n : uMin;
        // Reading precedes writing, so a line of length d delays by d + 1 samples.
        for (uint32_t i = 0; i < m_uOrder; ++i)
            m_aLines[i].pDelay->Read(ppLines[i], b);
        QW_ASSERT(m_uOrder % 4 == 0);
        SubBlock(ppLines, b, io_ppChannels, uOffset);
        for (uint32_t i = 0; i < m_uOrder; ++i)
            m_aLines[i].pDelay->Write(ppLines[i], b);
        uOffset += b;
        n -= b;
    }
}

void StereoFDN::SubBlock(float* const* ppLines, uint32_t b, float* const* io_ppChannels, uint32_t uOffset)
{
    const uint32_t uMin = m_uMinDelay;
    const uint32_t uChannels = m_uNumChannels;
    float* pOutput = m_afOutput.data();
    float* pInput = m_afInput.data();
    for (uint32_t c = 0; c < uChannels; ++c)
        for (uint32_t t = 0; t < b; ++t)
            pOutput[c * uMin + t] = 0.0f;
    for (uint32_t g = 0; g < m_uOrder / 4; ++g)
        m_pBandGain->ProcessFour(g, b, ppLines + 4 * g);
    // Taps after the filter, ahead of the mix.
    for (uint32_t i = 0; i < m_uOrder; ++i) {
        float* pOut = pOutput + (i % uChannels) * uMin;
        const float* pLine = ppLines[i];
        const float fGain = m_aLines[i].fOutputGain;
        for (uint32_t t = 0; t < b; ++t)
            pOut[t] += pLine[t] * fGain;
    }
    if (m_eMatrixType == 1)
        m_pHadamard->Transform(ppLines, b);
    for (uint32_t i = 0; i < m_uOrder; ++i) {
        const float* pX = io_ppChannels[i % uChannels] + uOffset;
        for (uint32_t t = 0; t < b; ++t)
            pInput[t] = pX[t];
        float* pLine = ppLines[i];
        const float fGain = m_aLines[i].fInputGain;
        for (uint32_t t = 0; t < b; ++t)
            pLine[t] += pInput[t] * fGain;
    }
    for (uint32_t c = 0; c < uChannels; ++c) {
        float* pX = io_ppChannels[c] + uOffset;
        const float* pOut = pOutput + c * uMin;
        for (uint32_t t = 0; t < b; ++t)
            pX[t] = pOut[t];
    }
}

void StereoFDN::Reset()
{
    for (uint32_t i = 0; i < m_aLines.size(); ++i)
        if (m_aLines[i].pDelay)
            m_aLines[i].pDelay->Reset();
    if (m_pBandGain)
        m_pBandGain->Reset();
}
