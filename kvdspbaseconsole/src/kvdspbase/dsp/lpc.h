// Linear prediction: the covariance-method predictor fit, and LpcResidualAnalyzer, which slides a
// predictor over a multi-channel signal and measures, sample by sample, how badly forward and
// backward prediction both fail there: high at clicks, edits and other isolated
// discontinuities, low in tonal or noisy stretches. Nothing in the effects calls these.
#pragma once
#include <cstdint>
#include "kvbase/common/common_vector.h"
#include "kvdspbase/dsp/autocorrelation.h"
#include "kvdspbase/dsp/datatail.h"
#include "kvdspbase/dsp/levinsondurbin.h"

// Least-squares predictor of order uLpcOrder for in_pfSignal[0..sLen): the rows predict
// x[r + uLpcOrder] from x[r..r + uLpcOrder - 1]. Writes uLpcOrder + 1 values: 1, then the
// negated predictor coefficients, oldest sample first (so not in the usual order of a
// prediction-error filter). Allocates its work matrix; not for the audio path.
void LpcFit(const float* in_pfSignal, uint32_t sLen, float* out_pfCoeffs, uint32_t uLpcOrder);

// The autocorrelation fit with its stability check: Levinson-Durbin of order uLpcOrder (at
// least 2), coefficient 0 set to -1, so that the dot product with x[n], x[n-1], ... is minus
// the prediction error. Where a coefficient exceeds 10 in magnitude the order is cut by an
// eighth plus one and the fit tried again; below order 4 the coefficients stay cleared.
// io_pfCoeffs holds max(uLpcOrder, 2) + 1 values. Returns the order taken, 0 when cleared.
uint32_t LpcStableFit(LevinsonDurbin& io_levinson, const float* in_pfLags, uint32_t uLpcOrder, float* io_pfCoeffs);

class LpcResidualAnalyzer
{
public:
    // sDelay is the room for new samples in the input buffer: the most one Analyze call may
    // take. Re-configuring an initialised analyser resets it: silent history, fresh fit.
    // Init sizes the buffer for the sDelay configured before it.
    void Configure(uint32_t uNumChannels, int32_t sDelay, float fSampleRate);
    // Frame and hop in seconds at the configured rate (at least 8 and 1 samples). Allocates.
    void Init(float fFrameSeconds, uint32_t uLpcOrder, float fHopSeconds);

    // Analyses uCount samples a channel. Outputs, each at + uOutOffset, lag the input by
    // GetLatency() samples: the measure (2|f||b| / (|f| + |b| + 1e-9), f and b the forward and
    // backward residuals), and, where not null, the signed residuals and the input as it
    // leaves the delay. Allocates nothing.
    void Analyze(uint32_t uCount, const float* const* in_ppInput, float* const* out_ppMeasure,
                 float* const* out_ppForward, float* const* out_ppBackward, float* const* out_ppDelayed,
                 uint32_t uOutOffset);

    // max(frame, order) after Configure and Init with the same sDelay; a later Configure with
    // a smaller sDelay adds the difference.
    uint32_t GetLatency() const;
    uint32_t GetFrame() const { return m_sFrame; }
    uint32_t GetHop() const { return m_sHop; }
    uint32_t GetOrder() const { return m_uLpcOrder; }
    // The channel's current predictor, GetOrder() + 1 values, natural order; null before Init.
    const float* GetCoefficients(uint32_t in_uChannel) const { return m_Coeffs.GetChannel(in_uChannel); }

private:
    void Reset();
    void UpdateCoefficients(int32_t t);
    bool HasStorage() const;

    uint32_t m_uNumChannels = 0;
    int32_t m_sDelay = 0;
    uint32_t m_uLpcOrder = 0;
    uint32_t m_sFrame = 8;
    uint32_t m_sHop = 1;
    float m_fSamplingRate = 0.0f;
    DataTail m_Input;
    DataTail m_Coeffs;
    DataTail m_ReversedCoeffs;
    Autocorrelation m_Autocorrelation;
    LevinsonDurbin m_Levinson;
    common_vector<float> m_afLags;
    int32_t m_iLastUpdate = -1000000;
};
