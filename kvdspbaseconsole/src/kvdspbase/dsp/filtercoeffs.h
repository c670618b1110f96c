// IIR coefficient design: stateless functions from frequency, sample rate and shape to
// coefficients, each in single and double precision. A biquad is written as b0, b1, b2, a0,
// a1, a2 and a first-order section as b0, b1, a0, a1, with a0 = 1 and every other value
// already divided by the raw a0, for y[n] = b0 x[n] + b1 x[n-1] + b2 x[n-2] - a1 y[n-1] - a2 y[n-2].
// Biquads above half the sample rate get fixed results (low-pass, band-pass, peak and shelves
// pass through; high-pass gives silence). Nothing here allocates.
#pragma once
#include <cstdint>

class AnalogPrototype;

void DesignLowPass(float* coeffs, float fSamplesPerSecond, float fFrequency, float fQ);
void DesignLowPass(double* coeffs, double fSamplesPerSecond, double fFrequency, double fQ);
void DesignHighPass(float* coeffs, float fSamplesPerSecond, float fFrequency, float fQ);
void DesignHighPass(double* coeffs, double fSamplesPerSecond, double fFrequency, double fQ);
void DesignBandPass(float* coeffs, float fSamplesPerSecond, float fFrequency, float fQ);
void DesignBandPass(double* coeffs, double fSamplesPerSecond, double fFrequency, double fQ);
void DesignPeaking(float* coeffs, float fSamplesPerSecond, float fFrequency, float fGainDb, float fQ);
void DesignPeaking(double* coeffs, double fSamplesPerSecond, double fFrequency, double fGainDb, double fQ);
// The shelf gain is applied twice over in dB (a 6 dB shelf reaches 12 dB): deliberate, and the
// tuning of every preset that uses a shelf depends on it.
void DesignLowShelf(float* coeffs, float fSamplesPerSecond, float fFrequency, float fGainDb, float fSlope);
void DesignLowShelf(double* coeffs, double fSamplesPerSecond, double fFrequency, double fGainDb, double fSlope);
void DesignHighShelf(float* coeffs, float fSamplesPerSecond, float fFrequency, float fGainDb, float fSlope);
void DesignHighShelf(double* coeffs, double fSamplesPerSecond, double fFrequency, double fGainDb, double fSlope);

// First-order sections (four values). The pre-warp divides the angle by the sample rate twice,
// so it barely moves the cut-off at audio rates. Deliberate, not the textbook pre-warp: the
// band edges of the effects that use it are set with it as it stands.
void DesignFirstOrderLowPass(float* coeffs, float fSamplesPerSecond, float fFrequency, bool bPrewarp);
void DesignFirstOrderLowPass(double* coeffs, double fSamplesPerSecond, double fFrequency, bool bPrewarp);
void DesignFirstOrderHighPass(float* coeffs, float fSamplesPerSecond, float fFrequency, bool bPrewarp);
void DesignFirstOrderHighPass(double* coeffs, double fSamplesPerSecond, double fFrequency, bool bPrewarp);

// With bEnabled the transform is exact at fFrequency (Hz).
template <class T>
struct BilinearWarp
{
    T fFrequency;
    bool bEnabled;
};

// Maps an analogue section of order 1 (b0, b1, a0, a1) or 2 (b0, b1, b2, a0, a1, a2), lowest
// power of s first, to the digital section in coeffs (which may be the input array). Any other
// order reports "false", writes nothing and still divides the 2 (order + 1) values of coeffs by
// the one at index order + 1.
void BilinearTransform(float* coeffs, const float* pAnalog, uint32_t uOrder, float fSamplesPerSecond,
                       const BilinearWarp<float>& warp);
void BilinearTransform(double* coeffs, const double* pAnalog, uint32_t uOrder, double fSamplesPerSecond,
                       const BilinearWarp<double>& warp);

// Low-pass and high-pass from a prototype at cut-off fCutoff: six values per prototype section.
// Each section is transformed with the warp at fCutoff, so the cut-off lands exactly where asked.
void DesignPrototypeLowPass(float* coeffs, float fSamplesPerSecond, float fCutoff, const AnalogPrototype& prototype);
void DesignPrototypeLowPass(double* coeffs, double fSamplesPerSecond, double fCutoff,
                            const AnalogPrototype& prototype);
void DesignPrototypeHighPass(float* coeffs, float fSamplesPerSecond, float fCutoff, const AnalogPrototype& prototype);
void DesignPrototypeHighPass(double* coeffs, double fSamplesPerSecond, double fCutoff,
                             const AnalogPrototype& prototype);

// uNumSections all-pass biquads (six values each) whose group delay follows pDelay, given in
// samples over uNumBins bins from 0 to half the sample rate.
void DesignGroupDelayAllPass(float* coeffs, const float* pDelay, uint32_t uNumBins, uint32_t uNumSections);
void DesignGroupDelayAllPass(double* coeffs, const double* pDelay, uint32_t uNumBins, uint32_t uNumSections);
