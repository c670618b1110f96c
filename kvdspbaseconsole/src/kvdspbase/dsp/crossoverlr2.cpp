#include "kvdspbase/dsp/crossoverlr2.h"
#include <cmath>
#include "host/qwassert.h"
#include "kvbase/common/common_cast.h"
#include "kvdspbase/dsp/filtercoeffs.h"

const float_range CrossoverLR2::CUTOFF_RANGE(20.0f, 20000.0f);

CrossoverLR2::CrossoverLR2(float fSampleRate, uint32_t uNumChannels, uint32_t uNumBands,
                           const common_vector<float>& fCutoffs)
    : m_uFadeLength(round_cast<uint32_t>(static_cast<double>(fSampleRate) * 0.0014512471)),
      m_uNumChannels(uNumChannels),
      m_fSampleRate(fSampleRate),
      m_Coeffs{0.0f, 0.0f, 0.0f, 0.0f},
      m_uNumBands(uNumBands)
{
    m_fCutoffs.resize(MAX_CROSSOVER_BANDS - 1, 0.0f);
    if (IsOutOfMemory())
        return;
    QW_ASSERT(!(fCutoffs.size()>m_fCutoffs.size()));
    for (uint32_t i = 0; i < fCutoffs.size() && i < m_fCutoffs.size(); ++i)
        m_fCutoffs[i] = fCutoffs[i];

    const uint32_t uBankSize = uNumChannels * MAX_CROSSOVER_BANDS * MAX_PROCESS_SAMPLE_FRAMES;
    m_afBands.resize(uBankSize, 0.0f);
    m_afFadingBands.resize(uBankSize, 0.0f);
    m_afScratch.resize(MAX_PROCESS_SAMPLE_FRAMES, 0.0f);
    m_afDeinterleaved.resize(uNumChannels * MAX_PROCESS_SAMPLE_FRAMES, 0.0f);
    m_apDeinterleaved.resize(uNumChannels, nullptr);
    if (IsOutOfMemory())
        return;
    for (uint32_t c = 0; c < uNumChannels; ++c)
        m_apDeinterleaved[c] = m_afDeinterleaved.data() + c * MAX_PROCESS_SAMPLE_FRAMES;
    for (common_smart_ptr<CrossoverFilterSet>& pSet : m_FilterSets) {
        pSet = common_smart_ptr<CrossoverFilterSet>(QwNew<CrossoverFilterSet>(uNumChannels));
        if (IsOutOfMemory())
            return;
    }

    m_fFadeIn.resize(m_uFadeLength, 0.0f);
    m_fFadeOut.resize(m_uFadeLength, 0.0f);
    if (IsOutOfMemory())
        return;
    const double fPi = 3.14159265358979323846;
    for (uint32_t i = 0; i < m_uFadeLength; ++i) {
        m_fFadeIn[i] = static_cast<float>((1.0 - std::cos((i * fPi + fPi / 2) / m_uFadeLength)) * 0.5);
        m_fFadeOut[i] = 1.0f - m_fFadeIn[i];
    }
    Design(*m_FilterSets[m_uActiveSet]);
}

void CrossoverLR2::SetCutoff(uint32_t iBand, float fCutoffFreq)
{
    QW_ASSERT(iBand<m_fCutoffs.size() && CUTOFF_RANGE.Contains(fCutoffFreq));
    if (iBand >= m_fCutoffs.size())
        return;
    m_fCutoffs[iBand] = fCutoffFreq;
    if (m_FilterSets[m_uActiveSet])
        Design(*m_FilterSets[m_uActiveSet]);
}

void CrossoverLR2::SetCutoffs(const common_vector<float>& fCutoffs)
{
    uint32_t uCount = 0;
    for (; uCount < fCutoffs.size() && uCount < m_fCutoffs.size(); ++uCount)
        m_fCutoffs[uCount] = fCutoffs[uCount];
    m_uNumBands = uCount + 1 < MAX_CROSSOVER_BANDS ? uCount + 1 : MAX_CROSSOVER_BANDS;
    if (m_FilterSets[m_uActiveSet])
        Design(*m_FilterSets[m_uActiveSet]);
}

float CrossoverLR2::GetCutoff(uint32_t in_uIndex) const
{
    if (in_uIndex >= m_fCutoffs.size()) {
        QW_ASSERT(false);
        return 0.0f;
    }
    return m_fCutoffs[in_uIndex];
}

void CrossoverLR2::BeginCutoffCrossfade()
{
    if (m_uFadeRemaining == 0)
        m_uActiveSet ^= 1u;
    m_uFadeRemaining = m_uFadeLength;
    if (m_FilterSets[m_uActiveSet])
        Design(*m_FilterSets[m_uActiveSet]);
}

void CrossoverLR2::WriteFirst(CrossoverFilterSet& io_set, uint32_t in_uBand)
{
    for (uint32_t c = 0; c < m_uNumChannels; ++c)
        io_set.First(c, in_uBand)->SetTaps(m_Coeffs, true);
}

void CrossoverLR2::WriteSecond(CrossoverFilterSet& io_set, uint32_t in_uBand)
{
    for (uint32_t c = 0; c < m_uNumChannels; ++c) {
        IirFilterFast* pFilter = io_set.Second(c, in_uBand);
        if (pFilter)
            pFilter->SetTaps(m_Coeffs, true);
    }
}

void CrossoverLR2::Design(CrossoverFilterSet& io_set)
{
    if (m_uNumBands == 0) {
        QW_ASSERT(false);
        return;
    }
    if (!uint_range(1, MAX_CROSSOVER_BANDS).Contains(m_uNumBands)) {
        QW_ASSERT(uint_range(1, MAX_CROSSOVER_BANDS).Contains(m_uNumBands));
        return;
    }
    // A descending pair ends the design silently, leaving the filters as they were.
    if (m_uNumBands == 3 && m_fCutoffs[0] > m_fCutoffs[1])
        return;
    const float fNyquist = 0.5f * m_fSampleRate;
    m_uNumValidBands = 0;
    float fHigher = 0.0f;
    float fLowest = 0.0f;
    // From the highest cut-off down; only those strictly below half the rate are used.
    for (uint32_t i = m_uNumBands - 1; i-- > 0;) {
        const float c = m_fCutoffs[i];
        if (!(c < fNyquist))
            continue;
        if (m_uNumValidBands == 0) {
            DesignFirstOrderHighPass(m_Coeffs, m_fSampleRate, c, true);
            WriteFirst(io_set, m_uNumBands - 1);
        } else {
            DesignFirstOrderLowPass(m_Coeffs, m_fSampleRate, fHigher, true);
            WriteFirst(io_set, i + 1);
            DesignFirstOrderHighPass(m_Coeffs, m_fSampleRate, c, true);
            WriteSecond(io_set, i + 1);
        }
        fHigher = c;
        fLowest = c;
        ++m_uNumValidBands;
    }
    const bool bAnyUsable = m_uNumValidBands > 0;
    ++m_uNumValidBands;
    if (bAnyUsable) {
        DesignFirstOrderLowPass(m_Coeffs, m_fSampleRate, fLowest, true);
        WriteFirst(io_set, 0);
    }
}

void CrossoverLR2::GetBandResponse(uint32_t iBand, common_vector<float>& dBAmplitudes) const
{
    QW_ASSERT(dBAmplitudes.size() == m_fFIRFreqs.size());
    QW_ASSERT(uint_range(0, m_uNumBands-1).Contains(iBand));
    const uint32_t uCount = dBAmplitudes.size() < m_fFIRFreqs.size() ? dBAmplitudes.size() : m_fFIRFreqs.size();
    if (m_uNumBands <= 1 || iBand >= MAX_CROSSOVER_BANDS || !m_FilterSets[m_uActiveSet].raw()) {
        for (uint32_t i = 0; i < uCount; ++i)
            dBAmplitudes[i] = 0.0f;
        return;
    }
    const CrossoverFilterSet& set = *m_FilterSets[m_uActiveSet].raw();
    common_vector<float> taps;
    for (uint32_t i = 0; i < uCount; ++i) {
        const double w = 2.0 * 3.14159265358979323846 * m_fFIRFreqs[i] / m_fSampleRate;
        double fMagnitude = set.StageGain(0, iBand);
        for (const IirFilterFast* pFilter : {set.First(0, iBand), set.Second(0, iBand)}) {
            if (!pFilter)
                continue;
            taps.resize(4, 0.0f);
            pFilter->GetTaps(taps);
            // |b0 + b1 z^-1| / |a0 + a1 z^-1| at z = e^{jw}
            const double fNumRe = taps[0] + taps[1] * std::cos(w), fNumIm = -taps[1] * std::sin(w);
            const double fDenRe = taps[2] + taps[3] * std::cos(w), fDenIm = -taps[3] * std::sin(w);
            fMagnitude *= std::sqrt((fNumRe * fNumRe + fNumIm * fNumIm) / (fDenRe * fDenRe + fDenIm * fDenIm));
        }
        dBAmplitudes[i] = static_cast<float>(20.0 * std::log10(fMagnitude > 1e-30 ? fMagnitude : 1e-30));
    }
}

void CrossoverLR2::Process(uint32_t uSampleFrames, uint32_t uNumChannels, const float* pInput,
                           float* const* ppChannels)
{
    QW_ASSERT(uSampleFrames <= MAX_PROCESS_SAMPLE_FRAMES);
    QW_ASSERT(uint_range(1, MAX_CROSSOVER_BANDS).Contains(m_uNumBands));
    // One channel needs no de-interleaving; the input may be the channel buffer itself.
    if (uNumChannels == 1) {
        if (ppChannels[0] != pInput)
            for (uint32_t i = 0; i < uSampleFrames; ++i)
                ppChannels[0][i] = pInput[i];
    } else {
        for (uint32_t c = 0; c < uNumChannels; ++c)
            for (uint32_t i = 0; i < uSampleFrames; ++i)
                ppChannels[c][i] = pInput[i * uNumChannels + c];
    }
    if (m_uMode != 0) {
        QW_ASSERT(false);
        return;
    }
    RunThreeBand(*m_FilterSets[m_uActiveSet], uSampleFrames, ppChannels);
}

void CrossoverLR2::ProcessChannels(uint32_t uSampleFrames, const float* const* ppChannels)
{
    QW_ASSERT(uSampleFrames <= MAX_PROCESS_SAMPLE_FRAMES);
    QW_ASSERT(uint_range(1, MAX_CROSSOVER_BANDS).Contains(m_uNumBands));
    if (m_uMode != 0) {
        QW_ASSERT(false);
        return;
    }
    RunThreeBand(*m_FilterSets[m_uActiveSet], uSampleFrames, ppChannels);
}

void CrossoverLR2::RunThreeBand(CrossoverFilterSet& io_set, uint32_t uSampleFrames, const float* const* ppInputs)
{
    QW_ASSERT(m_uNumBands == 3);
    for (uint32_t c = 0; c < m_uNumChannels; ++c) {
        const float* pInput = ppInputs[c];
        QW_ASSERT(pInput);
        if (m_uNumValidBands == 1) {
            float* pOutput = GetBandBuffer(c, 0);
            QW_ASSERT(pOutput);
            for (uint32_t i = 0; i < uSampleFrames; ++i)
                pOutput[i] = pInput[i];
            continue; // bands 1 and 2 keep their old contents
        }
        float* pOutputBand0 = GetBandBuffer(c, 0);
        float* pOutputBand1 = GetBandBuffer(c, 1);
        float* pOutputBand2 = GetBandBuffer(c, 2);
        QW_ASSERT(m_uNumValidBands==3);
        QW_ASSERT(pOutputBand0 && pOutputBand1 && pOutputBand2);
        // All three branches read the original input: a parallel split, not a tree.
        float* pScratch = m_afScratch.data();
        const float fGain0 = io_set.StageGain(c, 0), fGain1 = io_set.StageGain(c, 1), fGain2 = io_set.StageGain(c, 2);
        // The four first-order recursions side by side, sample by sample, where each alone
        // would wait on its own feedback; the same values as the passes below.
        QwIppFirstOrder32f f0, f1, s1, f2;
        const bool bApart = pInput != pOutputBand0 && pInput != pOutputBand1 && pInput != pOutputBand2;
        if (bApart && io_set.First(c, 0)->LoadFirstOrder(f0) && io_set.First(c, 1)->LoadFirstOrder(f1) &&
            io_set.Second(c, 1)->LoadFirstOrder(s1) && io_set.First(c, 2)->LoadFirstOrder(f2)) {
            for (uint32_t i = 0; i < uSampleFrames; ++i) {
                const float x = pInput[i];
                pOutputBand0[i] = f0.Run(x) * fGain0;
                pOutputBand1[i] = s1.Run(f1.Run(x) * fGain1);
                pOutputBand2[i] = f2.Run(x) * fGain2;
            }
            io_set.First(c, 0)->StoreFirstOrder(f0);
            io_set.First(c, 1)->StoreFirstOrder(f1);
            io_set.Second(c, 1)->StoreFirstOrder(s1);
            io_set.First(c, 2)->StoreFirstOrder(f2);
            continue;
        }
        io_set.First(c, 0)->Process(uSampleFrames, pInput, pOutputBand0);
        for (uint32_t i = 0; i < uSampleFrames; ++i)
            pOutputBand0[i] *= fGain0;
        io_set.First(c, 1)->Process(uSampleFrames, pInput, pScratch);
        for (uint32_t i = 0; i < uSampleFrames; ++i)
            pScratch[i] *= fGain1;
        io_set.Second(c, 1)->Process(uSampleFrames, pScratch, pOutputBand1);
        io_set.First(c, 2)->Process(uSampleFrames, pInput, pOutputBand2);
        for (uint32_t i = 0; i < uSampleFrames; ++i)
            pOutputBand2[i] *= fGain2;
    }
}

bool CrossoverLR2::CheckFaded(uint32_t uSampleFrames)
{
    QW_ASSERT(uSampleFrames < MAX_PROCESS_SAMPLE_FRAMES);
    QW_ASSERT(uint_range(1, MAX_CROSSOVER_BANDS).Contains(m_uNumBands));
    if (m_uMode != 0) {
        QW_ASSERT(false);
        return false;
    }
    return true;
}

void CrossoverLR2::ProcessFadedInterleaved(uint32_t uSampleFrames, const float* pInput)
{
    if (!CheckFaded(uSampleFrames))
        return;
    const uint32_t n = uSampleFrames < MAX_PROCESS_SAMPLE_FRAMES ? uSampleFrames : MAX_PROCESS_SAMPLE_FRAMES;
    for (uint32_t c = 0; c < m_uNumChannels; ++c) {
        float* pDst = m_afDeinterleaved.data() + c * MAX_PROCESS_SAMPLE_FRAMES;
        for (uint32_t i = 0; i < n; ++i)
            pDst[i] = pInput[i * m_uNumChannels + c];
    }
    ProcessFaded(n, m_apDeinterleaved.data());
}

void CrossoverLR2::ProcessFaded(uint32_t uSampleFrames, const float* const* ppChannels)
{
    if (!CheckFaded(uSampleFrames))
        return;
    if (m_uFadeRemaining == 0) {
        RunGeneral(*m_FilterSets[m_uActiveSet], uSampleFrames, ppChannels, m_afBands.data(), nullptr, 0);
        return;
    }
    const uint32_t n = uSampleFrames < m_uFadeRemaining ? uSampleFrames : m_uFadeRemaining;
    const uint32_t uOffset = m_uFadeLength - m_uFadeRemaining;
    RunGeneral(*m_FilterSets[m_uActiveSet], uSampleFrames, ppChannels, m_afBands.data(), m_fFadeIn.data(), uOffset);
    RunGeneral(*m_FilterSets[m_uActiveSet ^ 1u], n, ppChannels, m_afFadingBands.data(), m_fFadeOut.data(), uOffset);
    for (uint32_t c = 0; c < m_uNumChannels; ++c)
        for (uint32_t b = 0; b < MAX_CROSSOVER_BANDS; ++b) {
            float* pMain = Band(m_afBands.data(), c, b);
            const float* pFading = Band(m_afFadingBands.data(), c, b);
            for (uint32_t i = 0; i < n; ++i)
                pMain[i] += pFading[i];
        }
    m_uFadeRemaining -= n;
}

void CrossoverLR2::RunGeneral(CrossoverFilterSet& io_set, uint32_t uSampleFrames, const float* const* ppInputs,
                              float* pBank, const float* pWindow, uint32_t uOffset)
{
    const uint32_t uWindowed = pWindow ? (uSampleFrames < m_uFadeLength - uOffset ? uSampleFrames : m_uFadeLength - uOffset)
                                       : 0;
    for (uint32_t c = 0; c < m_uNumChannels; ++c) {
        const float* pInput = ppInputs[c];
        QW_ASSERT(pInput);
        uint32_t uWritten = 0;
        if (m_uNumValidBands == 1) {
            float* pOutput = Band(pBank, c, 0);
            for (uint32_t i = 0; i < uSampleFrames; ++i)
                pOutput[i] = pInput[i];
            for (uint32_t i = 0; i < uWindowed; ++i)
                pOutput[i] *= pWindow[uOffset + i];
            uWritten = 1;
        } else {
            for (uint32_t v = 0; v < m_uNumValidBands && v < MAX_CROSSOVER_BANDS; ++v) {
                // The last valid band always takes the top band's filter, where the design put
                // the high-pass (band 2 of three, band 1 of two).
                const uint32_t f = v + 1 == m_uNumValidBands ? m_uNumBands - 1 : v;
                float* pOutput = Band(pBank, c, v);
                const float fGain = io_set.StageGain(c, f);
                IirFilterFast* pSecond = io_set.Second(c, f);
                if (pSecond) {
                    float* pScratch = m_afScratch.data();
                    io_set.First(c, f)->Process(uSampleFrames, pInput, pScratch);
                    for (uint32_t i = 0; i < uSampleFrames; ++i)
                        pScratch[i] *= fGain;
                    pSecond->Process(uSampleFrames, pScratch, pOutput);
                } else {
                    io_set.First(c, f)->Process(uSampleFrames, pInput, pOutput);
                    for (uint32_t i = 0; i < uSampleFrames; ++i)
                        pOutput[i] *= fGain;
                }
                for (uint32_t i = 0; i < uWindowed; ++i)
                    pOutput[i] *= pWindow[uOffset + i];
            }
            uWritten = m_uNumValidBands;
        }
        // Unlike the three-band path, bands past the valid ones are cleared.
        for (uint32_t b = uWritten; b < m_uNumBands && b < MAX_CROSSOVER_BANDS; ++b) {
            float* pOutput = Band(pBank, c, b);
            for (uint32_t i = 0; i < uSampleFrames; ++i)
                pOutput[i] = 0.0f;
        }
    }
}
